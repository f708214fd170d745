// Drawings for the tests of the release 12 DXF writer: a drawing read from groups, saved to
// temporary files, and read back.
#pragma once

#include "dxf/dxf_written.h"
#include "interface/test_files.h"
#include "support/dxf_text.h"

#include "dwg12/r12_drawing.h"
#include "dxf/dxf_numbers.h"
#include "dwg12/r12_dxf_layout.h"
#include "dwg12/r12_entity_kinds.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {

// A file name of its own for each call within the running test.
inline std::string UniqueName(const std::string &what) {
    static int counter = 0;
    const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string test = info ? std::string(info->test_suite_name()) + "_" + info->name() : "";
    return "dxfw_" + test + "_" + std::to_string(++counter) + "_" + what;
}

// A drawing opened from bytes (a DWG or DXF of release 12) and loaded whole.
class R12FromBytes {
public:
    R12FromBytes(const std::vector<uint8_t> &bytes, bool dwg = false)
        : file_(UniqueName(dwg ? "in.dwg" : "in.dxf"), bytes) {
        opened_ = dwg ? drawing_.OpenDWG(file_.c_str(), CDB_OPEN_READ) && drawing_.LoadDWG() &&
                            drawing_.TriggerLoading()
                      : drawing_.OpenDXF(file_.c_str(), CDB_OPEN_READ) && drawing_.LoadDXF();
    }
    explicit R12FromBytes(const DxfText &dxf) : R12FromBytes(AsBytes(dxf.Ascii())) {}

    bool opened() const { return opened_; }
    CR12Drawing &drawing() { return drawing_; }
    CR12Drawing *operator->() { return &drawing_; }
    // The record of main-list entity `i`, resolved (null past the end).
    CDB_ENTITY *Entity(int i) {
        CModelEntity *e = drawing_.Entities().At(i);
        return e ? e->GetResolvedRecord() : nullptr;
    }
    template <typename Rec> Rec *Record(int t, int i) {
        CR12TableRecord *r = drawing_.Table(t).At(i);
        return r ? static_cast<Rec *>(r->GetRecord()) : nullptr;
    }

    // Saves the drawing to a new temporary file: its bytes. `status` gets SaveAsDXF's result.
    std::vector<uint8_t> Save(bool binary, short *status = nullptr) {
        outputs_.push_back(std::make_unique<TempFile>(UniqueName(binary ? "bin.dxf" : "out.dxf")));
        const short result = drawing_.SaveAsDXF(outputs_.back()->c_str(), binary ? 1 : 0);
        if (status)
            *status = result;
        else
            EXPECT_EQ(result, 0);
        return FileBytes(outputs_.back()->path());
    }
    const std::string &LastSavedPath() const { return outputs_.back()->path(); }

    static std::vector<uint8_t> AsBytes(const std::string &text) {
        return std::vector<uint8_t>(text.begin(), text.end());
    }

private:
    TempFile file_;
    std::vector<std::unique_ptr<TempFile>> outputs_;
    // Destroyed first: the drawing's file may be one of the outputs.
    CR12Drawing drawing_{nullptr, 0};
    bool opened_ = false;
};

// The drawing that the tests build on. Line types CONTINUOUS (0) and DASHED (1); layers
// "0" (0) and WALLS (1); styles STANDARD (0) and ROMANS (1); a view FRONT, a UCS MYUCS;
// application ids ACAD (0) and MYAPP (1); with `dimstyles` the dimension styles STANDARD
// (0) and DS2 (1); the block B1 holding one line; `entities` in ENTITIES.
inline DxfText BaseDrawing(const DxfText &entities, int handling = 1, bool dimstyles = true) {
    DxfText d;
    d.Section("HEADER")
        .G(9, "$ACADVER")
        .G(1, "AC1009")
        .G(9, "$HANDLING")
        .G(70, handling)
        .G(9, "$HANDSEED")
        .G(5, "2A0F")
        .EndSection();
    d.Section("TABLES");
    d.Table("VPORT", 1)
        .G(0, "VPORT")
        .G(2, "*ACTIVE")
        .G(70, 0)
        .G(10, 0.125)
        .G(20, 0.25)
        .G(11, 1.0)
        .G(21, 0.875)
        .G(12, 6.0)
        .G(22, 4.5)
        .G(13, 0.5)
        .G(23, 0.75)
        .G(14, 1.25)
        .G(24, 1.5)
        .G(15, 2.0)
        .G(25, 2.5)
        .G(16, 0.0)
        .G(26, -1.0)
        .G(36, 1.0)
        .G(17, 3.0)
        .G(27, 4.0)
        .G(37, 5.0)
        .G(40, 9.0)
        .G(41, 1.5)
        .G(42, 50.0)
        .G(43, 0.5)
        .G(44, 0.25)
        .G(50, 15.0)
        .G(51, 30.0)
        .G(71, 1)
        .G(72, 100)
        .G(73, 1)
        .G(74, 3)
        .G(75, 1)
        .G(76, 1)
        .G(77, 1)
        .G(78, 2)
        .EndTable();
    d.Table("LTYPE", 2)
        .G(0, "LTYPE")
        .G(2, "CONTINUOUS")
        .G(70, 0)
        .G(3, "Solid line")
        .G(72, 65)
        .G(73, 0)
        .G(40, 0.0)
        .G(0, "LTYPE")
        .G(2, "DASHED")
        .G(70, 64)
        .G(3, "__ __ __")
        .G(72, 65)
        .G(73, 2)
        .G(40, 0.75)
        .G(49, 0.5)
        .G(49, -0.25)
        .EndTable();
    d.Table("LAYER", 2).Layer("0").Layer("WALLS", 3, "DASHED", 4).EndTable();
    d.Table("STYLE", 2)
        .G(0, "STYLE")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(40, 0.0)
        .G(41, 1.0)
        .G(50, 0.0)
        .G(71, 0)
        .G(42, 0.2)
        .G(3, "txt")
        .G(0, "STYLE")
        .G(2, "ROMANS")
        .G(70, 0)
        .G(40, 2.5)
        .G(41, 0.75)
        .G(50, 15.0)
        .G(71, 2)
        .G(42, 3.5)
        .G(3, "romans")
        .EndTable();
    d.Table("VIEW", 1)
        .G(0, "VIEW")
        .G(2, "FRONT")
        .G(70, 0)
        .G(40, 9.0)
        .G(10, 6.0)
        .G(20, 4.5)
        .G(41, 12.0)
        .G(11, 0.0)
        .G(21, -1.0)
        .G(31, 0.5)
        .G(12, 1.0)
        .G(22, 2.0)
        .G(32, 3.0)
        .G(42, 50.0)
        .G(43, 0.25)
        .G(44, 0.125)
        .G(50, 10.0)
        .G(71, 1)
        .EndTable();
    d.Table("UCS", 1)
        .G(0, "UCS")
        .G(2, "MYUCS")
        .G(70, 0)
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 3.0)
        .G(11, 0.0)
        .G(21, 1.0)
        .G(31, 0.0)
        .G(12, -1.0)
        .G(22, 0.0)
        .G(32, 0.0)
        .EndTable();
    d.Table("APPID", 2)
        .G(0, "APPID")
        .G(2, "ACAD")
        .G(70, 0)
        .G(0, "APPID")
        .G(2, "MYAPP")
        .G(70, 0)
        .EndTable();
    if (dimstyles) {
        d.Table("DIMSTYLE", 2)
            .G(0, "DIMSTYLE")
            .G(2, "STANDARD")
            .G(70, 0)
            .G(0, "DIMSTYLE")
            .G(2, "DS2")
            .G(70, 0)
            .G(3, "<> mm")
            .G(5, "ARROW")
            .G(40, 2.0)
            .G(48, 0.5)
            .G(140, 0.18)
            .G(147, 0.09)
            .G(71, 1)
            .G(78, 8)
            .G(170, 1)
            .G(175, 1)
            .G(176, 2)
            .G(178, 3)
            .EndTable();
    }
    d.EndSection();
    d.Section("BLOCKS")
        .G(0, "BLOCK")
        .G(8, "0")
        .G(2, "B1")
        .G(70, 0)
        .G(10, 1.0)
        .G(20, 2.0)
        .G(30, 0.0)
        .G(3, "B1")
        .G(0, "LINE")
        .G(8, "0")
        .G(10, 0.0)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, 1.0)
        .G(21, 1.0)
        .G(31, 0.0)
        .G(0, "ENDBLK")
        .G(8, "0")
        .EndSection();
    d.Section("ENTITIES");
    for (const auto &g : entities.Groups())
        d.G(g.first, g.second);
    d.EndSection().Eof();
    return d;
}

// The codes of an entity's own groups: behind group 0 and the common groups, up to its
// extended data.
inline std::vector<int> KindCodes(const WrittenGroups &object) {
    static const int kCommon[] = {8, 6, 62, 5, 38, 39, 67, 210, 220, 230};
    std::vector<int> codes;
    size_t i = 1;
    auto common = [](int code) {
        for (int c : kCommon)
            if (c == code)
                return true;
        return false;
    };
    while (i < object.size() && common(object[i].code))
        ++i;
    for (; i < object.size() && object[i].code < 1000; ++i)
        codes.push_back(object[i].code);
    return codes;
}

template <typename T> T LoadField(const void *record, size_t offset) {
    T value;
    std::memcpy(&value, static_cast<const uint8_t *>(record) + offset, sizeof value);
    return value;
}

inline std::string TextOrNull(const char *text) {
    return text ? std::string(text) : std::string("<null>");
}

// `written` read back from a file that held `original` at `digits` significant digits.
inline void ExpectRealBack(double original, double written, const std::string &what,
                           int digits = 8) {
    EXPECT_EQ(DxfRoundSignificant(original, digits), written) << what;
}

// The common part and every field of the kind's DXF groups came back.
inline void ExpectSameEntity(const CDB_ENTITY &a, const CDB_ENTITY &b, int code, int digits = 8) {
    EXPECT_EQ(+a.entity_type, +b.entity_type);
    EXPECT_EQ(+a.layer_index, +b.layer_index);
    EXPECT_EQ(+a.line_type_index, +b.line_type_index);
    EXPECT_EQ(+a.color, +b.color);
    EXPECT_EQ(+a.space, +b.space);
    ExpectRealBack(a.elevation, b.elevation, "elevation", digits);
    ExpectRealBack(a.thickness, b.thickness, "thickness", digits);
    ExpectRealBack(a.extrusion.x, b.extrusion.x, "extrusion x", digits);
    ExpectRealBack(a.extrusion.y, b.extrusion.y, "extrusion y", digits);
    ExpectRealBack(a.extrusion.z, b.extrusion.z, "extrusion z", digits);
    EXPECT_EQ(TextOrNull(a.handle), TextOrNull(b.handle));
    if (code != CDB_VIEWPORT) {
        ASSERT_EQ(+a.eed_size, +b.eed_size);
        if (a.eed_size) {
            EXPECT_EQ(std::memcmp(a.eed_data, b.eed_data, a.eed_size), 0);
        }
    }
    const R12EntityKind *kind = FindR12EntityKind(code);
    ASSERT_NE(kind, nullptr);
    const R12DxfLayout *layout = kind->groups;
    for (size_t i = 0; i < layout->count; ++i) {
        const R12DxfGroup &g = layout->groups[i];
        const std::string what =
            std::string(EntityKindName(code)) + " group " + std::to_string(g.code);
        switch (g.value) {
        case R12DxfValue::kReal:
        case R12DxfValue::kZElevation:
        case R12DxfValue::kZBoth:
            ExpectRealBack(LoadField<double>(&a, g.offset), LoadField<double>(&b, g.offset), what,
                           digits);
            break;
        case R12DxfValue::kInt16:
        case R12DxfValue::kStyle:
        case R12DxfValue::kDimstyle:
        case R12DxfValue::kBlockName:
        case R12DxfValue::kShapeName:
            EXPECT_EQ(LoadField<int16_t>(&a, g.offset), LoadField<int16_t>(&b, g.offset)) << what;
            break;
        case R12DxfValue::kByte:
            EXPECT_EQ(LoadField<uint8_t>(&a, g.offset), LoadField<uint8_t>(&b, g.offset)) << what;
            break;
        case R12DxfValue::kText:
        case R12DxfValue::kTextKept:
            EXPECT_EQ(TextOrNull(LoadField<char *>(&a, g.offset)),
                      TextOrNull(LoadField<char *>(&b, g.offset)))
                << what;
            break;
        default:
            break;
        }
    }
}

} // namespace velko_test
