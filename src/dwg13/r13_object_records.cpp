// The release 13 objects that are table records of their own kind: the multiline style,
// the block header and the viewport entity header.
#include "dwg13/r13_tables.h"

#include "dwg13/r13_record_layout.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

using MlineB = R13Body<CDB_MLINESTYLE_TBL_type>;

// The multiline style has a head of its own: no entry code, and 5 bytes and 4 bits passed
// over behind the handle. No references close it. The elements follow as a named step.
constexpr R13Field kMlineLayout[] = {
    R13_FIELD(kHT, MlineB, record.handle),         R13_SKIP(5, 4),
    R13_FIELD(kTV, MlineB, record.name),           R13_FIELD(kTV, MlineB, record.description),
    R13_FIELD(kBS, MlineB, record.flags),          R13_FIELD(kBS, MlineB, record.fill_color),
    R13_FIELD(kAngle, MlineB, record.start_angle), R13_FIELD(kAngle, MlineB, record.end_angle),
    R13_BITS(8, MlineB, record.element_count),
};
constexpr R13Field kElementLayout[] = {
    R13_FIELD(kBD, CDB_MLINESTYLE_ELEMENT, offset),
    R13_FIELD(kBS, CDB_MLINESTYLE_ELEMENT, color),
    R13_FIELD(kBS, CDB_MLINESTYLE_ELEMENT, line_type_index),
};
// The fewest bits an element takes: a short BD and two short BS.
constexpr int64_t kMinElementBits = 6;

using BlockB = R13BlockBody;
// Up to the entry code; the name and the block's flags follow as a named step.
constexpr R13Field kBlockHead[] = {
    R13_FIELD(kHT, BlockB, record.handle),
    R13_FIELD(kRL, BlockB, object_bits),
    R13_BITS(4, BlockB, record.links.ref_count),
};
constexpr R13Field kBlockTail[] = {
    R13_FIELD(k3BD, BlockB, base_point),
    R13_FIELD(kTV, BlockB, xref_path),
    R13_FIELD(kH, BlockB, record.links.refs[0]),
    R13_FIELD(kH, BlockB, record.links.refs[1]),
    R13_FIELD(kH, BlockB, record.links.refs[2]),
    // The first entity, the block start, the last entity and the block end.
    R13_FIELD(kH, BlockB, record.links.refs[3]),
    R13_FIELD(kH, BlockB, record.links.refs[4]),
    R13_FIELD(kH, BlockB, record.links.refs[5]),
    R13_FIELD(kH, BlockB, record.links.refs[6]),
};

constexpr R13Field kVpEntHdrHead[] = {
    R13_HEAD(R13VpEntHdrBody, record.entry_code),
};

static_assert(R13FieldsFit(kMlineLayout, sizeof(MlineB)), "multiline style layout");
static_assert(R13FieldsFit(kElementLayout, sizeof(CDB_MLINESTYLE_ELEMENT)), "element layout");
static_assert(R13FieldsFit(kBlockHead, sizeof(BlockB)) && R13FieldsFit(kBlockTail, sizeof(BlockB)),
              "block header layouts");
static_assert(R13FieldsFit(kVpEntHdrHead, sizeof(R13VpEntHdrBody)), "viewport entity header");

} // namespace

// ---- Multiline style -----------------------------------------------------------------------

CR13MlineStyleRecord::CR13MlineStyleRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13MlineStyle, offsetof(CDB_MLINESTYLE_TBL_type, flags), 2,
                   offsetof(MlineB, object_bits)) {}

namespace {

constexpr int kFlagGroupA = 0x4440;
constexpr int kFlagGroupB = 0x2220;

int SwapLowBits(int value) {
    return ((value & 1) << 1) | ((value >> 1) & 1);
}

// One group present and not the other: it moves to the other group's place (A right to
// B, B left to A). The two low bits are then those of `value`, swapped.
int TradeGroups(int value, int shifted_source) {
    int result = shifted_source;
    const bool a = (shifted_source & kFlagGroupA) != 0;
    const bool b = (shifted_source & kFlagGroupB) != 0;
    if (a && !b)
        result = shifted_source >> 1;
    else if (b && !a)
        result = shifted_source << 1;
    return (result & ~3) | SwapLowBits(value);
}

} // namespace

int16_t CR13MlineStyleRecord::FlagsFromFile(int16_t stored) {
    const int f = static_cast<uint16_t>(stored);
    return static_cast<int16_t>(TradeGroups(f, f));
}

int16_t CR13MlineStyleRecord::FlagsToFile(int16_t flags) {
    const int f = static_cast<uint16_t>(flags);
    return static_cast<int16_t>(TradeGroups(f, f & ~3));
}

int CR13MlineStyleRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kMlineLayout), &body);
    body.record.flags = FlagsFromFile(body.record.flags);
    return ReadElements(stream);
}

// The elements, allocated once their count is known to fit the rest of the object. The
// file's colour -1 (BYLAYER) is the record's 256, its line type 32767 the record's -1.
int CR13MlineStyleRecord::ReadElements(CBitStream &stream) {
    CDB_MLINESTYLE_TBL_type &r = body.record;
    const size_t n = static_cast<size_t>(r.element_count);
    if (n == 0)
        return 1;
    if (int64_t(n) * kMinElementBits > R13BitsLeft(stream))
        return 0;
    r.elements = R13NewArray<CDB_MLINESTYLE_ELEMENT>(n);
    if (!r.elements)
        return 0;
    for (size_t i = 0; i < n; ++i) {
        CDB_MLINESTYLE_ELEMENT element{};
        ReadR13Fields(stream, R13LayoutOf(kElementLayout), &element);
        if (element.color == -1)
            element.color = 256;
        if (element.line_type_index == 32767)
            element.line_type_index = -1;
        std::memcpy(&r.elements[i], &element, sizeof element);
    }
    return 1;
}

void CR13MlineStyleRecord::WriteElements(CBitWriter &writer) const {
    const CDB_MLINESTYLE_TBL_type &r = body.record;
    for (int16_t i = 0; r.elements && i < r.element_count; ++i) {
        CDB_MLINESTYLE_ELEMENT element;
        std::memcpy(&element, &r.elements[i], sizeof element);
        if (element.color == 256)
            element.color = -1;
        if (element.line_type_index == -1)
            element.line_type_index = 32767;
        WriteR13Fields(writer, R13LayoutOf(kElementLayout), &element);
    }
}

void CR13MlineStyleRecord::Encode(CBitWriter &writer) const {
    MlineB stored;
    std::memcpy(&stored, &body, sizeof stored);
    stored.record.flags = FlagsToFile(body.record.flags);
    WriteR13Fields(writer, R13LayoutOf(kMlineLayout), &stored);
    WriteElements(writer);
}

void CR13MlineStyleRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kMlineLayout));
    CDB_MLINESTYLE_TBL_type &r = body.record;
    const CDB_MLINESTYLE_ELEMENT *source = r.elements;
    r.elements = nullptr;
    if (!source || r.element_count <= 0)
        return;
    const size_t count = static_cast<size_t>(r.element_count);
    r.elements = static_cast<CDB_MLINESTYLE_ELEMENT *>(std::calloc(count, sizeof *r.elements));
    if (!r.elements) {
        r.element_count = 0;
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        r.elements[i] = source[i];
        r.elements[i].line_type_handle = DuplicateText(source[i].line_type_handle);
    }
}

void CR13MlineStyleRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kMlineLayout));
    CDB_MLINESTYLE_TBL_type &r = body.record;
    for (int16_t i = 0; r.elements && i < r.element_count; ++i)
        std::free(r.elements[i].line_type_handle);
    std::free(r.elements);
    r.elements = nullptr;
}

// ---- Block header --------------------------------------------------------------------------

CR13BlockRecord::CR13BlockRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13BlockHeader, offsetof(CDB_BLOCK_TBL, flags), 1,
                   offsetof(BlockB, object_bits)) {}

int CR13BlockRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kBlockHead), &body);
    ReadNameAndFlags(stream);
    ReadR13Fields(stream, R13LayoutOf(kBlockTail), &body);
    return 1;
}

// Behind the name the block's bits are picked one pair at a time, and then the stream goes
// a byte back and reads the flags: a 0 in the second pair means a model block (and the
// flags are the byte just picked); otherwise a byte is passed over first. A 3 in the
// fourth pair marks a block of an external reference.
void CR13BlockRecord::ReadNameAndFlags(CBitStream &stream) {
    body.record.name = stream.ReadText();
    stream.ReadBits(2);
    if (stream.ReadBits(2) == 0) {
        body.in_model_flag = 1;
    } else {
        stream.Skip(1, 0);
        body.in_model_flag = 0;
    }
    stream.ReadBits(2);
    body.is_xref_block = stream.ReadBits(2) == 3 ? 1 : 0;
    stream.Skip(-1, 0);
    body.record.flags = static_cast<uint8_t>(stream.ReadBits(8));
}

// An anonymous block of the kinds "*D" and "*U" is written under that bare name and the
// bits 200; any other block under its name and the bits 0xC0, 0xC3 for a block of an
// external reference (its fourth pair 3). The number of an anonymous name is lost here:
// "*D12" goes out as "*D".
void CR13BlockRecord::WriteNameAndFlags(CBitWriter &writer) const {
    const char *name = body.record.name ? body.record.name : "";
    if (std::strncmp(name, "*D", 2) == 0 || std::strncmp(name, "*U", 2) == 0) {
        const char bare[3] = {name[0], name[1], 0};
        writer.WriteText(bare);
        writer.WriteBits(200, 8);
    } else {
        writer.WriteText(name);
        writer.WriteBits(body.is_xref_block ? 0xC3 : 0xC0, 8);
    }
}

void CR13BlockRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kBlockHead), &body);
    WriteNameAndFlags(writer);
    WriteR13Fields(writer, R13LayoutOf(kBlockTail), &body);
}

void CR13BlockRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kBlockHead));
    DuplicateTexts(R13LayoutOf(kBlockTail));
    body.record.name = DuplicateText(body.record.name);
}

void CR13BlockRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kBlockHead));
    ReleaseTexts(R13LayoutOf(kBlockTail));
    std::free(body.record.name);
    body.record.name = nullptr;
}

// ---- Viewport entity header ----------------------------------------------------------------

CR13VpEntHdrRecord::CR13VpEntHdrRecord(CBaseDrawing *drawing)
    : CR13RecordOf(drawing, kR13VpEntHdr, offsetof(R13VpEntHdrRecord, flags), 1,
                   offsetof(R13VpEntHdrBody, object_bits)) {}

int CR13VpEntHdrRecord::Decode(CBitStream &stream) {
    ReadR13Fields(stream, R13LayoutOf(kVpEntHdrHead), &body);
    return 1;
}

void CR13VpEntHdrRecord::Encode(CBitWriter &writer) const {
    WriteR13Fields(writer, R13LayoutOf(kVpEntHdrHead), &body);
}

void CR13VpEntHdrRecord::KeepObject(const uint8_t *object, size_t size) {
    raw.assign(object, object + size);
}

// The object goes out as it was read; a record that was never read writes its head.
void CR13VpEntHdrRecord::WriteDWG(CBitWriter &writer) const {
    if (raw.empty()) {
        CR13TableRecord::WriteDWG(writer);
        return;
    }
    writer.WriteRawBytes(raw.data(), raw.size());
}

void CR13VpEntHdrRecord::DuplicateOwned() {
    DuplicateTexts(R13LayoutOf(kVpEntHdrHead));
}

void CR13VpEntHdrRecord::ReleaseOwned() {
    ReleaseTexts(R13LayoutOf(kVpEntHdrHead));
}
