// What the release 13 DXF writer tests share: a small drawing as DXF groups, its load into a
// CR13Drawing the way the library's open does it, the save, and the written file read back
// as groups.
#ifndef VELKO_TEST_R13_DXF_WRITE_SUPPORT_H
#define VELKO_TEST_R13_DXF_WRITE_SUPPORT_H

#include "support/dxf_text.h"
#include "support/dwg13_builder.h"
#include "support/r13_dxf_fixture.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_entity_kinds.h"
#include "dxf/dxf_sniff.h"
#include "interface/test_files.h"
#include "io/drawing_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {

using DxfGroups = std::vector<std::pair<int, std::string>>;

inline std::string WholeFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The groups of an ASCII DXF text: code line and value line, carriage returns dropped.
inline DxfGroups AsciiGroups(const std::string &text) {
    std::vector<std::string> lines;
    std::string line;
    for (char c : text) {
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else if (c != '\r') {
            line += c;
        }
    }
    DxfGroups groups;
    for (size_t i = 0; i + 1 < lines.size(); i += 2)
        groups.emplace_back(std::atoi(lines[i].c_str()), lines[i + 1]);
    return groups;
}

// The groups of the section `name`, between its 2 name and its 0 ENDSEC (or the end).
inline DxfGroups SectionOf(const DxfGroups &all, const std::string &name) {
    DxfGroups out;
    bool in = false;
    for (size_t i = 0; i < all.size(); ++i) {
        if (!in) {
            in = i > 0 && all[i - 1] == std::make_pair(0, std::string("SECTION")) &&
                 all[i] == std::make_pair(2, name);
            continue;
        }
        if (all[i] == std::make_pair(0, std::string("ENDSEC")))
            break;
        out.push_back(all[i]);
    }
    return out;
}

// The groups cut at each group 0: one piece per object, its group 0 first.
inline std::vector<DxfGroups> ObjectsOf(const DxfGroups &section) {
    std::vector<DxfGroups> out;
    for (const auto &g : section) {
        if (g.first == 0 || out.empty())
            out.emplace_back();
        out.back().push_back(g);
    }
    return out;
}

inline std::vector<int> CodesOf(const DxfGroups &groups) {
    std::vector<int> codes;
    for (const auto &g : groups)
        codes.push_back(g.first);
    return codes;
}

// The value of the first group `code`, or "<none>".
inline std::string ValueOf(const DxfGroups &groups, int code) {
    for (const auto &g : groups)
        if (g.first == code)
            return g.second;
    return "<none>";
}

// A small release 13 drawing: header, the nine tables (layers "0", "WALLS", "ROOF"), the
// spaces and a block DOOR with a line, then `entities`, then an OBJECTS section with one
// multiline style. `header` adds variables behind $ACADVER.
inline DxfText SmallR13Dxf(const std::function<void(DxfText &)> &entities,
                           const std::function<void(DxfText &)> &header = {}) {
    DxfText d;
    d.Section("HEADER").G(9, "$ACADVER").G(1, "AC1012");
    if (header)
        header(d);
    d.G(9, "$HANDSEED").G(5, "200").EndSection();
    d.Section("TABLES");
    d.R13Table("VPORT", "8", 0);
    d.EndTable();
    d.R13Table("LTYPE", "5", 1);
    d.R13Record("LTYPE", "14", "AcDbLinetypeTableRecord")
        .G(2, "DASHED")
        .G(70, 0)
        .G(3, "__ __")
        .G(72, 65)
        .G(73, 2)
        .G(40, 0.75)
        .G(49, 0.5)
        .G(74, 0)
        .G(49, -0.25)
        .G(74, 0);
    d.EndTable();
    d.R13Table("LAYER", "2", 3);
    d.R13Record("LAYER", "10", "AcDbLayerTableRecord")
        .G(2, "0")
        .G(70, 0)
        .G(62, 7)
        .G(6, "CONTINUOUS");
    d.R13Record("LAYER", "11", "AcDbLayerTableRecord")
        .G(2, "WALLS")
        .G(70, 0)
        .G(62, 1)
        .G(6, "DASHED");
    d.R13Record("LAYER", "12", "AcDbLayerTableRecord")
        .G(2, "ROOF")
        .G(70, 0)
        .G(62, 2)
        .G(6, "DASHED");
    d.EndTable();
    d.R13Table("STYLE", "3", 1);
    d.R13Record("STYLE", "20", "AcDbTextStyleTableRecord")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(40, 0.0)
        .G(41, 1.0)
        .G(50, 0.0)
        .G(71, 0)
        .G(42, 0.2)
        .G(3, "txt")
        .G(4, "");
    d.EndTable();
    d.R13Table("VIEW", "6", 0);
    d.EndTable();
    d.R13Table("UCS", "7", 0);
    d.EndTable();
    d.R13Table("APPID", "9", 1);
    d.R13Record("APPID", "13", "AcDbRegAppTableRecord").G(2, "ACAD").G(70, 0);
    d.EndTable();
    d.R13Table("DIMSTYLE", "A", 1);
    d.G(0, "DIMSTYLE")
        .G(105, "1D")
        .G(100, "AcDbSymbolTableRecord")
        .G(100, "AcDbDimStyleTableRecord")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(340, "20")
        .G(271, 4);
    d.EndTable();
    d.R13Table("BLOCK_RECORD", "1", 3);
    d.R13Record("BLOCK_RECORD", "1F", "AcDbBlockTableRecord").G(2, "*MODEL_SPACE");
    d.R13Record("BLOCK_RECORD", "1B", "AcDbBlockTableRecord").G(2, "*PAPER_SPACE");
    d.R13Record("BLOCK_RECORD", "40", "AcDbBlockTableRecord").G(2, "DOOR");
    d.EndTable();
    d.EndSection();
    d.Section("BLOCKS");
    auto block = [&d](const char *name, const char *start, const char *end,
                      const std::function<void()> &inside) {
        d.G(0, "BLOCK")
            .G(5, start)
            .G(100, "AcDbEntity")
            .G(8, "0")
            .G(100, "AcDbBlockBegin")
            .G(2, name)
            .G(70, 0)
            .G(10, 0.0)
            .G(20, 0.0)
            .G(30, 0.0)
            .G(3, name)
            .G(1, "");
        if (inside)
            inside();
        d.G(0, "ENDBLK").G(5, end).G(100, "AcDbEntity").G(8, "0").G(100, "AcDbBlockEnd");
    };
    block("*MODEL_SPACE", "21", "22", {});
    block("*PAPER_SPACE", "1C", "1D", {});
    block("DOOR", "41", "43", [&d] {
        d.G(0, "LINE")
            .G(5, "42")
            .G(100, "AcDbEntity")
            .G(8, "0")
            .G(100, "AcDbLine")
            .G(10, 1.0)
            .G(20, 2.0)
            .G(30, 0.0)
            .G(11, 3.0)
            .G(21, 4.0)
            .G(31, 0.0);
    });
    d.EndSection();
    d.Section("ENTITIES");
    if (entities)
        entities(d);
    d.EndSection();
    d.Section("OBJECTS");
    d.G(0, "DICTIONARY")
        .G(5, "C")
        .G(100, "AcDbDictionary")
        .G(3, "ACAD_GROUP")
        .G(350, "D")
        .G(3, "ACAD_MLINESTYLE")
        .G(350, "17");
    d.G(0, "MLINESTYLE")
        .G(5, "18")
        .G(100, "AcDbMlineStyle")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(3, "")
        .G(62, 256)
        .G(51, 90.0)
        .G(52, 90.0)
        .G(71, 1)
        .G(49, 0.5)
        .G(62, 256)
        .G(6, "BYLAYER");
    d.EndSection();
    return d.Eof();
}

// A small release 13 DWG of the test builder: a layer WALLS (0x30) and two lines in model
// space (0x60, 0x61) on it, the handle seed 80.
inline std::vector<uint8_t> SmallR13Dwg() {
    constexpr int16_t kLineType = 19;
    Dwg13Builder b;
    b.tables[Dwg13Builder::kLayerTable].records.push_back(LayerObject(0x30, "WALLS", 3));
    for (uint32_t handle : {0x60u, 0x61u}) {
        std::unique_ptr<CR13Entity> line(FindR13EntityKind(kLineType)->make(nullptr, kLineType));
        SetEntityHead(*line, R13EntityHead{}.Type(kLineType).Handle(handle).Layer("30"));
        line->GetData()->line.end_point = CDB_POINT3{double(handle), 1.0, 0.0};
        b.Space(kModelSpaceName)->entities.push_back(EntityObjectOf(*line));
    }
    b.SetHandseed("80");
    return b.Build();
}

// A release 13 drawing loaded from DXF bytes as the library's open does it: the sniff,
// OpenDXFFrom, the load. The file stays as long as the object.
class LoadedR13Dxf {
public:
    LoadedR13Dxf(const std::string &name, const std::vector<uint8_t> &bytes, bool binary)
        : file_(name, bytes) {
        auto opened = std::make_unique<CDrawingFile>();
        EXPECT_EQ(opened->Open(file_.c_str(), kDrawingFileRead), 1);
        const DxfSniff sniff = SniffDxf(*opened);
        EXPECT_EQ(sniff.release, 13);
        drawing_ = std::make_unique<CR13Drawing>(nullptr, 0);
        EXPECT_EQ(drawing_->OpenDXFFrom(opened, file_.c_str(), binary ? 1 : 0), 1);
        loaded_ = drawing_->LoadDWG();
    }
    LoadedR13Dxf(const std::string &name, const std::string &text)
        : LoadedR13Dxf(name, std::vector<uint8_t>(text.begin(), text.end()), false) {}

    bool Loaded() const { return loaded_ == 1; }
    CR13Drawing &Drawing() { return *drawing_; }
    const TempFile &File() const { return file_; }

    // Saves as DXF to a file of this name: SaveAsDXF's result; the text stays in Saved().
    short Save(const std::string &name, bool binary = false) {
        out_ = std::make_unique<TempFile>(name);
        const short result = drawing_->SaveAsDXF(out_->c_str(), binary ? 1 : 0);
        saved_ = WholeFile(out_->path());
        return result;
    }
    const std::string &Saved() const { return saved_; }
    DxfGroups SavedGroups() const { return AsciiGroups(saved_); }
    const TempFile &Out() const { return *out_; }

private:
    TempFile file_;
    std::unique_ptr<CR13Drawing> drawing_;
    std::unique_ptr<TempFile> out_;
    std::string saved_;
    int loaded_ = 0;
};

} // namespace velko_test

#endif
