// Entity frames written back: every kind's record encoded by EncodeDWG and read again by the
// drawing's reader gives the record back bit for bit, and the presence bits of the frame
// are those the record asks for.
#include "dwg12/r12_entity_layout.h"
#include "dwg12/r12_header.h"
#include "dwg12/r12_loaded_drawing.h"
#include "support/bitwise_crc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace velko_test;

namespace {

const int kKinds[] = {1, 2, 3, 4, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 19, 20, 22, 23, 24};

template <typename T> T GetAt(const CDB_ENTITY *r, size_t offset) {
    T v;
    std::memcpy(&v, reinterpret_cast<const uint8_t *>(r) + offset, sizeof v);
    return v;
}
template <typename T> void PutAt(CDB_ENTITY *r, size_t offset, T v) {
    std::memcpy(reinterpret_cast<uint8_t *>(r) + offset, &v, sizeof v);
}

char *Dup(const std::string &text) {
    char *p = static_cast<char *>(std::malloc(text.size() + 1));
    std::memcpy(p, text.c_str(), text.size() + 1);
    return p;
}

uint8_t *DupBytes(const std::vector<uint8_t> &bytes) {
    uint8_t *p = static_cast<uint8_t *>(std::malloc(bytes.size() + 1));
    if (!bytes.empty())
        std::memcpy(p, bytes.data(), bytes.size());
    return p;
}

bool IsText(const R12EntityField &f) {
    return f.value == R12Value::kText || f.value == R12Value::kNameText;
}

// An entity of a drawing without a file, for encoding.
struct Writer {
    CR12Drawing drawing{nullptr, 0};
    std::unique_ptr<CR12Entity> Make(int code) {
        return std::unique_ptr<CR12Entity>(MakeR12Entity(&drawing, code));
    }
};

// What the writer's record must hold for the reader to give it back: the reader's rules
// applied to it (the z that takes the elevation, the polyline's origin, the block start's
// xref path that is never null).
void ApplyReaderRules(CR12Entity &e) {
    CDB_ENTITY *r = e.GetData();
    const R12EntityLayout *l = e.Layout();
    if ((l->rules & kR12ZeroZTakesElevation) && GetAt<double>(r, l->z_point + 16) == 0.0)
        PutAt(r, l->z_point + 16, r->elevation);
    if (l->rules & kR12OriginIsElevation)
        r->polyline.origin = CDB_POINT3{0.0, 0.0, r->elevation};
    if ((l->rules & kR12XrefPathNeverNull) && !r->block.xref_path)
        r->block.xref_path = Dup("");
}

// The viewport's view and its "MVIEW" block packed from it.
void FillViewport(CR12Entity &e, bool negative_zero) {
    CDB_VIEWPORT_type &v = e.GetData()->viewport;
    v.eed_version = 2;
    std::memcpy(v.eed_application, "MVIEW", 6);
    v.data_version = 16;
    v.view_target = CDB_POINT3{negative_zero ? -0.0 : 1.0, 2.0, 3.0};
    v.view_direction = CDB_POINT3{0.0, 0.0, 1.0};
    v.twist_angle = negative_zero ? -0.0 : RadiansToDegrees(0.3);
    v.view_height = 9.5;
    v.view_center = CDB_POINT2{4.0, -3.0};
    v.snap_angle = RadiansToDegrees(0.125);
    v.circle_zoom = 100;
    v.hidden_in_plot = 1;
    auto *layers = static_cast<int16_t *>(std::malloc(2 * sizeof(int16_t)));
    layers[0] = 1;
    layers[1] = 3;
    v.frozen_layers = layers;
    v.frozen_layer_count = 2;
    const std::vector<uint8_t> packed = R12PackMview(v);
    CDB_ENTITY *r = e.GetData();
    std::free(r->eed_data);
    r->eed_data = DupBytes(packed);
    r->eed_size = static_cast<uint16_t>(packed.size());
}

// Sets every field of the kind to a value other than what the reader leaves when it is
// absent (with `negative_zero`, every free double to -0.0), and the common part too.
void FillAllOn(CR12Entity &e, bool negative_zero) {
    CDB_ENTITY *r = e.GetData();
    const R12EntityLayout *l = e.Layout();
    const bool flat_kind = R12IsFlatCoordinateKind(l->code);
    double next = 1.5;
    auto real = [&] { return negative_zero ? -0.0 : (next += 1.25); };
    r->layer_index = 2;
    r->color = 5;
    r->line_type_index = 3;
    r->elevation = flat_kind ? 0.0 : (negative_zero ? -0.0 : 2.5);
    r->thickness = negative_zero ? -0.0 : 0.75;
    r->handle = Dup("2A0F");
    r->space = 1;
    const std::vector<uint8_t> eed = {1, 2, 3, 4, 5};
    r->eed_data = DupBytes(eed);
    r->eed_size = static_cast<uint16_t>(eed.size());
    for (size_t i = 0; i < l->count; ++i) {
        const R12EntityField &f = l->fields[i];
        switch (f.value) {
        case R12Value::kF64:
            PutAt(r, f.offset, real());
            break;
        case R12Value::kAngle:
            PutAt(r, f.offset, negative_zero ? -0.0 : RadiansToDegrees(0.25 * double(i + 1)));
            break;
        case R12Value::kXY:
        case R12Value::kXY0:
            PutAt(r, f.offset, real());
            PutAt(r, f.offset + 8, real());
            PutAt(r, f.offset + 16, 0.0);
            break;
        case R12Value::kXYZ:
            for (int axis = 0; axis < 3; ++axis)
                PutAt(r, f.offset + 8 * axis, real());
            break;
        case R12Value::kXYz:
            PutAt(r, f.offset, real());
            PutAt(r, f.offset + 8, real());
            PutAt(r, f.offset + 16, flat_kind ? real() : 0.0);
            break;
        case R12Value::kU8:
            PutAt(r, f.offset, static_cast<int16_t>(17 + i));
            break;
        case R12Value::kU8Byte:
            PutAt(r, f.offset, static_cast<uint8_t>(3 + i));
            break;
        case R12Value::kI16:
            PutAt(r, f.offset, static_cast<int16_t>(-300 + 7 * int(i)));
            break;
        case R12Value::kI32:
            static_cast<CR12SeqEnd &>(e).owner_position = 123456;
            break;
        case R12Value::kText:
        case R12Value::kNameText:
            std::free(GetAt<char *>(r, f.offset));
            PutAt(r, f.offset, Dup("text " + std::to_string(i)));
            break;
        case R12Value::kFlag80:
            PutAt(r, f.offset, static_cast<int16_t>(1));
            break;
        }
    }
    if (l->code == CDB_VIEWPORT)
        FillViewport(e, negative_zero);
    ApplyReaderRules(e);
    // A vertex with a fourth polyface index has no location in the frame, and so no z
    // that takes the elevation.
    if (l->code == 20 && r->vertex.polyface_index_4 != 0)
        r->vertex.location = CDB_POINT3{0.0, 0.0, 0.0};
}

int g_file_number = 0;

// The entities that the drawing reads from a file whose entity section is `section`.
std::unique_ptr<LoadedR12> ReadSection(const Bytes &section) {
    Dwg12FileBuilder b;
    BuildDrawing(b, section);
    auto d =
        std::make_unique<LoadedR12>(CurrentTestName() + std::to_string(++g_file_number), b.bytes());
    EXPECT_TRUE(d->opened());
    EXPECT_EQ(d->drawing().TriggerLoading(), 1);
    return d;
}

// The first difference of two records of the kind of `written`, or "" when they are the
// same bit for bit: the texts, handle, extended data and frozen layers by content, all
// other bytes of the common part and the kind's part as they stand.
std::string Difference(CR12Entity &written, const CDB_ENTITY *read) {
    const R12EntityLayout *l = written.Layout();
    CDB_ENTITY a, b;
    std::memcpy(static_cast<void *>(&a), written.GetData(), sizeof a);
    std::memcpy(static_cast<void *>(&b), read, sizeof b);
    auto same_text = [](const char *x, const char *y) {
        return (!x && !y) || (x && y && std::strcmp(x, y) == 0);
    };
    if (!same_text(a.handle, b.handle))
        return "handle";
    if (a.eed_size != b.eed_size || !a.eed_data != !b.eed_data ||
        (a.eed_data && std::memcmp(a.eed_data, b.eed_data, a.eed_size) != 0))
        return "extended data";
    a.handle = b.handle = nullptr;
    a.eed_data = b.eed_data = nullptr;
    for (size_t i = 0; i < l->count; ++i) {
        const R12EntityField &f = l->fields[i];
        if (!IsText(f))
            continue;
        if (!same_text(GetAt<char *>(&a, f.offset), GetAt<char *>(&b, f.offset)))
            return "text at " + std::to_string(f.offset);
        PutAt(&a, f.offset, static_cast<char *>(nullptr));
        PutAt(&b, f.offset, static_cast<char *>(nullptr));
    }
    if (l->code == CDB_VIEWPORT) {
        const int16_t n = a.viewport.frozen_layer_count;
        if (n != b.viewport.frozen_layer_count ||
            (n > 0 && std::memcmp(a.viewport.frozen_layers, b.viewport.frozen_layers,
                                  size_t(n) * sizeof(int16_t)) != 0))
            return "frozen layers";
        a.viewport.frozen_layers = b.viewport.frozen_layers = nullptr;
    }
    const auto *pa = reinterpret_cast<const uint8_t *>(&a);
    const auto *pb = reinterpret_cast<const uint8_t *>(&b);
    for (size_t i = 0; i < l->record_bytes; ++i)
        if (pa[i] != pb[i])
            return "byte " + std::to_string(i) + " of the record";
    return "";
}

// Encodes the entity, checks the frame's length and CRC, reads it back and compares.
void ExpectRoundTrip(CR12Entity &e, const std::string &what) {
    std::vector<uint8_t> frame;
    ASSERT_EQ(e.EncodeDWG(frame), 1) << what;
    ASSERT_GE(frame.size(), 10u) << what;
    EXPECT_EQ(size_t(frame[2] | frame[3] << 8), frame.size()) << what;
    EXPECT_EQ(StoredCrc(frame.data() + frame.size() - 2),
              BitwiseDwgCrc(frame.data(), frame.size() - 2))
        << what;
    auto d = ReadSection(frame);
    ASSERT_GE(d->Count(), 1) << what;
    const CDB_ENTITY *read = d->Entity(0);
    ASSERT_NE(read, nullptr) << what;
    EXPECT_EQ(Difference(e, read), "") << what;
    if (e.Code() == CDB_SEQEND) {
        auto *end = dynamic_cast<CR12SeqEnd *>(d->drawing().Entities().At(0));
        ASSERT_NE(end, nullptr);
        EXPECT_EQ(end->owner_position, static_cast<CR12SeqEnd &>(e).owner_position) << what;
    }
}

// The options bits that a record with every field set asks for.
void ExpectedOptions(const R12EntityLayout &l, uint8_t &options_1, uint8_t &options_2) {
    options_1 = options_2 = 0;
    for (size_t i = 0; i < l.count; ++i) {
        if (l.fields[i].when == R12When::kOptions1)
            options_1 |= l.fields[i].bit;
        if (l.fields[i].when == R12When::kOptions2)
            options_2 |= l.fields[i].bit;
    }
}

std::vector<uint8_t> Encode(CR12Entity &e) {
    std::vector<uint8_t> frame;
    EXPECT_EQ(e.EncodeDWG(frame), 1);
    return frame;
}

// The common part of a frame behind its head: 8 bytes into the frame.
constexpr size_t kBody = 8;

} // namespace

// ---- Every kind ------------------------------------------------------------------------

TEST(R12EntityWrite, EveryKindWithAllOptionsOffReadsBackBitForBit) {
    Writer w;
    for (int code : kKinds) {
        auto e = w.Make(code);
        ASSERT_NE(e, nullptr);
        CDB_ENTITY *r = e->GetData();
        // The values that a frame without options reads as: an insert at scale 1, a
        // viewport whose block is its packed view.
        if (code == CDB_INSERT)
            r->insert.x_scale = r->insert.y_scale = r->insert.z_scale = 1.0;
        if (code == CDB_VIEWPORT) {
            const std::vector<uint8_t> packed = R12PackMview(r->viewport);
            r->eed_data = DupBytes(packed);
            r->eed_size = static_cast<uint16_t>(packed.size());
        }
        ApplyReaderRules(*e);
        ExpectRoundTrip(*e, "kind " + std::to_string(code));
        const std::vector<uint8_t> frame = Encode(*e);
        const uint8_t flags = R12IsFlatCoordinateKind(code) ? 0x04 : 0x00;
        if (code == CDB_VIEWPORT) {
            // The viewport always carries its MVIEW block.
            EXPECT_EQ(frame[1], flags | 0x40) << code;
        } else {
            EXPECT_EQ(frame[1], flags) << code;
        }
        EXPECT_EQ(frame[6], 0) << code;
        EXPECT_EQ(frame[7], 0) << code;
    }
}

TEST(R12EntityWrite, EveryKindWithAllOptionsOnReadsBackBitForBit) {
    Writer w;
    for (int code : kKinds) {
        auto e = w.Make(code);
        FillAllOn(*e, false);
        ExpectRoundTrip(*e, "kind " + std::to_string(code));
        const std::vector<uint8_t> frame = Encode(*e);
        uint8_t options_1 = 0, options_2 = 0;
        ExpectedOptions(*e->Layout(), options_1, options_2);
        EXPECT_EQ(frame[6], options_1) << code;
        EXPECT_EQ(frame[7], options_2) << code;
        // Colour, line type, thickness, handle and the extension byte; the elevation, or
        // for the flat kinds three-dimensional coordinates (bit 0x04 clear).
        uint8_t flags = 0x01 | 0x02 | 0x08 | 0x20 | 0x40;
        if (!R12IsFlatCoordinateKind(code))
            flags |= 0x04;
        if (code == CDB_INSERT || code == CDB_POLYLINE)
            flags |= 0x80;
        EXPECT_EQ(frame[1], flags) << code;
        EXPECT_EQ(frame[kBody], 0x02 | 0x04) << code;
    }
}

TEST(R12EntityWrite, AVertexWithLocationAndNoFourthIndexReadsBack) {
    Writer w;
    auto e = w.Make(20);
    FillAllOn(*e, false);
    e->GetData()->vertex.polyface_index_4 = 0;
    e->GetData()->vertex.location = CDB_POINT3{3.0, 4.0, 0.0};
    ApplyReaderRules(*e);
    ExpectRoundTrip(*e, "vertex");
    EXPECT_EQ(Encode(*e)[7], 0);
}

TEST(R12EntityWrite, NegativeZeroIsWrittenAndReadsBackAsNegativeZero) {
    Writer w;
    for (int code : kKinds) {
        auto e = w.Make(code);
        FillAllOn(*e, true);
        ExpectRoundTrip(*e, "kind " + std::to_string(code));
        // -0.0 differs from the absent +0.0, so every field is there.
        uint8_t options_1 = 0, options_2 = 0;
        ExpectedOptions(*e->Layout(), options_1, options_2);
        const std::vector<uint8_t> frame = Encode(*e);
        EXPECT_EQ(frame[6], options_1) << code;
        EXPECT_EQ(frame[7], options_2) << code;
        EXPECT_TRUE(frame[1] & 0x08) << code;
        if (!R12IsFlatCoordinateKind(code)) {
            EXPECT_TRUE(frame[1] & 0x04) << "the elevation -0.0 is written, kind " << code;
        }
    }
}

TEST(R12EntityWrite, ANegativeZeroZMakesAFlatKindThreeDimensional) {
    Writer w;
    for (int code : {1, 2, 22}) {
        auto e = w.Make(code);
        const R12EntityLayout *l = e->Layout();
        // One z of -0.0 among zeros.
        PutAt(e->GetData(), l->fields[0].offset + 16, -0.0);
        const std::vector<uint8_t> frame = Encode(*e);
        EXPECT_EQ(frame[1] & 0x04, 0) << code;
        ExpectRoundTrip(*e, "kind " + std::to_string(code));
        const CDB_ENTITY *r = e->GetData();
        EXPECT_TRUE(std::signbit(GetAt<double>(r, l->fields[0].offset + 16)));
    }
}

TEST(R12EntityWrite, AFlatKindWithAllZOfPositiveZeroIsTwoDimensional) {
    Writer w;
    auto e = w.Make(1);
    e->GetData()->line.start_point = CDB_POINT3{1.0, 2.0, 0.0};
    e->GetData()->line.end_point = CDB_POINT3{3.0, 4.0, 0.0};
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[1], 0x04);
    // Head, four doubles, CRC.
    EXPECT_EQ(frame.size(), 8u + 32u + 2u);
    ExpectRoundTrip(*e, "2D line");
}

TEST(R12EntityWrite, AFlatKindWritesNoElevation) {
    Writer w;
    auto e = w.Make(1);
    e->GetData()->elevation = 7.0;
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame.size(), 8u + 32u + 2u);
    auto d = ReadSection(frame);
    EXPECT_EQ(Field(d->Entity(0)->elevation), 0.0);
}

TEST(R12EntityWrite, ACircleWithElevationWritesItAndItsCenterTakesIt) {
    Writer w;
    auto e = w.Make(3);
    CDB_ENTITY *r = e->GetData();
    r->elevation = 5.0;
    r->circle.center = CDB_POINT3{1.0, 2.0, 5.0};
    r->circle.radius = 3.0;
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[1], 0x04);
    EXPECT_EQ(get_f64(frame, kBody), 5.0);
    ExpectRoundTrip(*e, "circle");
}

TEST(R12EntityWrite, InsertScalesOfOneAreLeftOutAndOthersWritten) {
    Writer w;
    auto e = w.Make(14);
    CDB_ENTITY *r = e->GetData();
    r->insert.x_scale = 1.0;
    r->insert.y_scale = 1.0;
    r->insert.z_scale = 1.0;
    EXPECT_EQ(Encode(*e)[6], 0);
    ExpectRoundTrip(*e, "insert at scale 1");
    r->insert.y_scale = 0.0;
    r->insert.z_scale = -0.0;
    EXPECT_EQ(Encode(*e)[6], 0x02 | 0x08);
    ExpectRoundTrip(*e, "insert at scales 0 and -0");
}

TEST(R12EntityWrite, ExtrusionOfZeroZeroOneIsLeftOut) {
    Writer w;
    auto e = w.Make(3);
    EXPECT_EQ(Encode(*e)[6], 0);
    e->GetData()->extrusion = CDB_POINT3{0.0, 0.0, -1.0};
    EXPECT_EQ(Encode(*e)[6], 0x01);
    ExpectRoundTrip(*e, "circle with extrusion 0, 0, -1");
}

// ---- The common part ----------------------------------------------------------------------

TEST(R12EntityWrite, HandleTextBecomesTheFewestBytesThatHoldIt) {
    Writer w;
    const struct {
        const char *text;
        std::vector<uint8_t> bytes;
    } cases[] = {
        {"2A0F", {0x2A, 0x0F}},
        {"0", {0x00}},
        {"ABC", {0x0A, 0xBC}},
        {"7", {0x07}},
        {"FFFFFFFFFFFFFFFFFF", {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const auto &c : cases) {
        auto e = w.Make(3);
        e->GetData()->handle = Dup(c.text);
        const std::vector<uint8_t> frame = Encode(*e);
        EXPECT_EQ(frame[1], 0x20) << c.text;
        ASSERT_GT(frame.size(), kBody + c.bytes.size());
        EXPECT_EQ(frame[kBody], c.bytes.size()) << c.text;
        EXPECT_EQ(std::vector<uint8_t>(frame.begin() + kBody + 1,
                                       frame.begin() + kBody + 1 + long(c.bytes.size())),
                  c.bytes)
            << c.text;
        ExpectRoundTrip(*e, c.text);
    }
}

TEST(R12EntityWrite, EmptyExtendedDataStillWritesTheExtensionByte) {
    Writer w;
    auto e = w.Make(1);
    e->GetData()->eed_data = static_cast<uint8_t *>(std::calloc(1, 1));
    e->GetData()->eed_size = 0;
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[1], 0x40 | 0x04);
    EXPECT_EQ(frame[kBody], 0x02);
    EXPECT_EQ(get_u16(frame, kBody + 1), 0);
    ExpectRoundTrip(*e, "empty extended data");
}

TEST(R12EntityWrite, ExtendedDataOfOddSizeGetsNoPadding) {
    Writer w;
    auto e = w.Make(3);
    e->GetData()->eed_data = DupBytes({1, 2, 3});
    e->GetData()->eed_size = 3;
    // Head, extension byte, size, three bytes, centre xy, radius, CRC.
    EXPECT_EQ(Encode(*e).size(), 8u + 1u + 2u + 3u + 24u + 2u);
    ExpectRoundTrip(*e, "odd extended data");
}

TEST(R12EntityWrite, PaperSpaceWritesTheExtensionByteAndTheWord) {
    Writer w;
    auto e = w.Make(3);
    e->GetData()->space = 1;
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[1], 0x40);
    EXPECT_EQ(frame[kBody], 0x04);
    EXPECT_EQ(get_i16(frame, kBody + 1), 1);
    ExpectRoundTrip(*e, "paper space");
}

TEST(R12EntityWrite, ByBlockLineTypeIsWrittenAs7FFE) {
    Writer w;
    auto e = w.Make(8);
    e->GetData()->line_type_index = -2;
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[1], 0x02);
    EXPECT_EQ(get_u16(frame, kBody), 0x7FFE);
    ExpectRoundTrip(*e, "BYBLOCK line type");
}

TEST(R12EntityWrite, ByLayerColourAndLineTypeAreLeftOut) {
    Writer w;
    auto e = w.Make(3);
    EXPECT_EQ(Encode(*e)[1], 0);
    // 256 is BYLAYER as release 13 says it.
    e->GetData()->color = 256;
    EXPECT_EQ(Encode(*e)[1], 0);
    auto d = ReadSection(Encode(*e));
    EXPECT_EQ(Field(d->Entity(0)->color), -1);
}

TEST(R12EntityWrite, ColourZeroByBlockIsWritten) {
    Writer w;
    auto e = w.Make(3);
    e->GetData()->color = 0;
    EXPECT_EQ(Encode(*e)[1], 0x01);
    ExpectRoundTrip(*e, "colour 0");
}

TEST(R12EntityWrite, IndexesAreWrittenLessTheDrawingsBases) {
    Writer w;
    w.drawing.SetBase(TableBase::kBlocks, 4);
    w.drawing.SetBase(TableBase::kLayers, 10);
    w.drawing.SetBase(TableBase::kLtypes, 20);
    w.drawing.SetBase(TableBase::kStyles, 2);
    auto e = w.Make(14);
    CDB_ENTITY *r = e->GetData();
    r->layer_index = 13;
    r->line_type_index = 25;
    r->insert.block_index = 9;
    r->insert.x_scale = r->insert.y_scale = r->insert.z_scale = 1.0;
    std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(get_i16(frame, 4), 3);
    EXPECT_EQ(get_i16(frame, kBody), 5);
    EXPECT_EQ(get_i16(frame, kBody + 2), 5);
    // BYBLOCK does not move with the base.
    r->line_type_index = -2;
    frame = Encode(*e);
    EXPECT_EQ(get_u16(frame, kBody), 0x7FFE);

    auto text = w.Make(7);
    text->GetData()->text.style_index = 5;
    frame = Encode(*text);
    EXPECT_EQ(frame[6], 0x08);
    // Insertion xy, height, text length 0, then the style byte.
    EXPECT_EQ(frame[kBody + 24 + 2], 3);
}

TEST(R12EntityWrite, AngleInDegreesReadFromAFileGoesBackToTheSameRadians) {
    Writer w;
    auto e = w.Make(8);
    CDB_ENTITY *r = e->GetData();
    r->arc.radius = 1.0;
    r->arc.start_angle = RadiansToDegrees(0.1);
    r->arc.end_angle = RadiansToDegrees(2.9);
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(get_f64(frame, kBody + 24), 0.1);
    EXPECT_EQ(get_f64(frame, kBody + 32), 2.9);
    ExpectRoundTrip(*e, "arc");
}

TEST(R12EntityWrite, FollowerFlagOfInsertAndPolylineComesFromTheRecord) {
    Writer w;
    for (int code : {14, 19}) {
        auto e = w.Make(code);
        if (code == 14)
            e->GetData()->insert.x_scale = e->GetData()->insert.y_scale =
                e->GetData()->insert.z_scale = 1.0;
        EXPECT_EQ(Encode(*e)[1] & 0x80, 0) << code;
        if (code == 14)
            e->GetData()->insert.attributes_follow = 1;
        else
            e->GetData()->polyline.vertices_follow = 1;
        EXPECT_EQ(Encode(*e)[1] & 0x80, 0x80) << code;
        ApplyReaderRules(*e);
        ExpectRoundTrip(*e, "follower " + std::to_string(code));
    }
}

TEST(R12EntityWrite, SequenceEndWritesItsOwnerPosition) {
    Writer w;
    auto e = w.Make(17);
    static_cast<CR12SeqEnd &>(*e).owner_position = 0x01020304;
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame.size(), 8u + 4u + 2u);
    EXPECT_EQ(get_u32(frame, kBody), 0x01020304u);
}

TEST(R12EntityWrite, EmptyTextReadsBackAsNoText) {
    Writer w;
    auto e = w.Make(7);
    e->GetData()->text.text = Dup("");
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(get_i16(frame, kBody + 24), 0);
    auto d = ReadSection(frame);
    EXPECT_EQ(Field(d->Entity(0)->text.text), nullptr);
}

TEST(R12EntityWrite, BlockStartNamesKeepTheirEmptyForms) {
    Writer w;
    auto e = w.Make(12);
    CDB_ENTITY *r = e->GetData();
    // An empty xref path is what a missing one reads as; an empty second name is not.
    r->block.xref_path = Dup("");
    r->block.name_2 = Dup("");
    EXPECT_EQ(Encode(*e)[6], 0x04);
    ExpectRoundTrip(*e, "empty second name");
}

TEST(R12EntityWrite, A3DLineIsWrittenInTheFrameTheReaderReadsItFrom) {
    Writer w;
    auto e = w.Make(21);
    e->GetData()->line.end_point = CDB_POINT3{1.0, 2.0, 3.0};
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[0], 1);
    auto d = ReadSection(frame);
    EXPECT_EQ(Field(d->Entity(0)->line.end_point.z), 3.0);
}

TEST(R12EntityWrite, AFrameAbove32767BytesCannotBeWritten) {
    Writer w;
    auto e = w.Make(7);
    // Head, insertion xy, height, text length, the characters, CRC.
    const size_t fixed = 8 + 16 + 8 + 2 + 2;
    e->GetData()->text.text = Dup(std::string(32767 - fixed, 'x'));
    std::vector<uint8_t> frame;
    EXPECT_EQ(e->EncodeDWG(frame), 1);
    EXPECT_EQ(frame.size(), 32767u);
    std::free(e->GetData()->text.text);
    e->GetData()->text.text = Dup(std::string(32767 - fixed + 1, 'x'));
    EXPECT_EQ(e->EncodeDWG(frame), 0);
}

TEST(R12EntityWrite, OneBufferServesEveryFrame) {
    Writer w;
    auto big = w.Make(7);
    big->GetData()->text.text = Dup(std::string(1000, 'x'));
    auto small = w.Make(1);
    std::vector<uint8_t> frame;
    ASSERT_EQ(big->EncodeDWG(frame), 1);
    const uint8_t *storage = frame.data();
    ASSERT_EQ(small->EncodeDWG(frame), 1);
    EXPECT_EQ(frame.data(), storage);
    EXPECT_EQ(frame.size(), 8u + 32u + 2u);
}

// ---- The viewport -------------------------------------------------------------------------

TEST(R12EntityWrite, ViewportWritesItsRecordAsItsMviewBlock) {
    Writer w;
    auto e = w.Make(24);
    FillViewport(*e, false);
    // The record says something else than the stored block: the record wins.
    e->GetData()->viewport.view_height = 42.0;
    const std::vector<uint8_t> stored(e->GetData()->eed_data,
                                      e->GetData()->eed_data + e->GetData()->eed_size);
    const std::vector<uint8_t> expected = R12PackMview(e->GetData()->viewport);
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(get_u16(frame, kBody + 1), expected.size());
    EXPECT_EQ(std::vector<uint8_t>(frame.begin() + kBody + 3,
                                   frame.begin() + kBody + 3 + long(expected.size())),
              expected);
    auto d = ReadSection(frame);
    EXPECT_EQ(Field(d->Entity(0)->viewport.view_height), 42.0);
    // The record itself is not changed by the writing.
    EXPECT_EQ(std::vector<uint8_t>(e->GetData()->eed_data,
                                   e->GetData()->eed_data + e->GetData()->eed_size),
              stored);
    EXPECT_EQ(Field(e->GetData()->viewport.view_height), 42.0);
}

TEST(R12EntityWrite, ViewportKeepsWhatItsBlockHoldsBehindTheMviewPart) {
    Writer w;
    auto e = w.Make(24);
    FillViewport(*e, false);
    CDB_ENTITY *r = e->GetData();
    std::vector<uint8_t> stored(r->eed_data, r->eed_data + r->eed_size);
    const std::vector<uint8_t> more = {1, 5, 0, 2, 0, 70, 9, 0, 2, 1};
    stored.insert(stored.end(), more.begin(), more.end());
    std::free(r->eed_data);
    r->eed_data = DupBytes(stored);
    r->eed_size = static_cast<uint16_t>(stored.size());
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(get_u16(frame, kBody + 1), stored.size());
    ExpectRoundTrip(*e, "viewport with more extended data");
    EXPECT_EQ(e->GetData()->eed_size, stored.size());
}

TEST(R12EntityWrite, ViewportWithoutStoredBlockWritesThePackedOne) {
    Writer w;
    auto e = w.Make(24);
    const std::vector<uint8_t> expected = R12PackMview(e->GetData()->viewport);
    const std::vector<uint8_t> frame = Encode(*e);
    EXPECT_EQ(frame[1], 0x40);
    EXPECT_EQ(get_u16(frame, kBody + 1), expected.size());
    EXPECT_EQ(e->GetData()->eed_data, nullptr);
}

TEST(R12EntityWrite, ViewportWithAShortBlockWritesOnlyThePackedPart) {
    Writer w;
    auto e = w.Make(24);
    CDB_ENTITY *r = e->GetData();
    r->eed_data = DupBytes({1, 2, 0, 0, 5});
    r->eed_size = 5;
    const std::vector<uint8_t> expected = R12PackMview(r->viewport);
    EXPECT_EQ(get_u16(Encode(*e), kBody + 1), expected.size());
}
