// Edits end to end: a drawing made by CDBNew from the shipped template data/sample.dwg,
// with added layers (one of them deleted again), line types with dashes, text styles, a block with
// attribute definitions, inserts with attributes, a polyline with its vertices and one entity of
// every other kind that has a class, is saved as DWG and as DXF (ASCII and binary) and
// read back. What comes back is what was added: from DWG exactly, from DXF within the
// writer's digits and the rules of the DXF road (support/drawing_snapshot.h), held
// against the drawing in memory.
//
// Two things of a new record are not carried by a release 12 file by design, and are
// named where they are set aside: `line_type_scale`, which release 12 has not (the
// default record holds 1.0), and the extended data of a new viewport, a marker that
// stands for its fields (the writer packs the fields; the file holds the packed block).
#include "support/drawing_snapshot.h"
#include "support/dwg12_crc_walk.h"
#include "support/corpus.h"
#include "walk/walk_support.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#ifndef VELKO_SOURCE_DIR
#define VELKO_SOURCE_DIR "."
#endif

namespace velko_test {
namespace {

using snapshot::RoundTripFolder;
using snapshot::SaveForm;
using snapshot::SaveOpenDrawing;
using snapshot::Snapshot;
using walk::Val;

std::string Template() {
    return std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";
}

// What the test added, to find it again.
struct Added {
    int16_t layer = -1;
    int16_t dashed = -1;
    int16_t style = -1;
    int16_t block = -1;
    std::vector<int> main_kinds;  // the kinds added to the main list, in order
    std::vector<int> block_kinds; // the kinds added to the block, in order
};

// Adds one entity to `block` (-1 the main list) and notes its kind.
void Add(int16_t h, int16_t block, CDB_ENTITY &e, std::vector<int> *kinds) {
    const int32_t at = CDBEntityAdd(h, block, &e);
    ASSERT_GE(at, 0) << "CDBEntityAdd of kind " << e.entity_type << ": code "
                     << CDBGetErrorNumber(h);
    kinds->push_back(e.entity_type);
}

CDB_ENTITY Default(int16_t h, int kind) {
    CDB_ENTITY e = walk::NewRecord();
    EXPECT_EQ(CDBEntityDefault(h, &e, static_cast<int16_t>(kind)), 0) << kind;
    return e;
}

CDB_POINT3 P(double x, double y, double z = 0.0) {
    return CDB_POINT3{x, y, z};
}

// The tables: a layer, a dashed line type, a text style.
void AddTables(int16_t h, Added *added) {
    char line_type_name[32] = "velko_dash";
    char description[48] = "Dashed __  __  __";
    static double dashes[2] = {0.5, -0.25};
    CDB_LTYPE_TBL_type lt;
    std::memset(static_cast<void *>(&lt), 0, sizeof lt);
    ASSERT_EQ(CDBLineTypeTableDefault(&lt), 0);
    std::free(lt.description); // the default's own blocks: ours replace them
    std::free(lt.dashes);
    lt.name = line_type_name;
    lt.description = description;
    lt.alignment = 65;
    lt.dash_count = 2;
    lt.pattern_length = 0.75;
    lt.dashes = dashes;
    added->dashed = CDBLineTypeTableAdd(h, &lt);
    ASSERT_GE(added->dashed, 0) << "code " << CDBGetErrorNumber(h);
    EXPECT_STREQ(line_type_name, "VELKO_DASH") << "the name is upper-cased in place";

    char layer_name[32] = "velko_walls";
    CDB_LAYER_TBL_type layer;
    std::memset(static_cast<void *>(&layer), 0, sizeof layer);
    ASSERT_EQ(CDBLayerTableDefault(&layer), 0);
    layer.name = layer_name;
    layer.color = 3;
    layer.line_type_index = added->dashed;
    added->layer = CDBLayerTableAdd(h, &layer);
    ASSERT_GE(added->layer, 0) << "code " << CDBGetErrorNumber(h);

    // A layer added and deleted: it keeps its place, flagged deleted (a DWG holds zeros
    // there).
    char gone_name[32] = "VELKO_GONE";
    CDB_LAYER_TBL_type gone;
    std::memset(static_cast<void *>(&gone), 0, sizeof gone);
    ASSERT_EQ(CDBLayerTableDefault(&gone), 0);
    gone.name = gone_name;
    const int16_t gone_index = CDBLayerTableAdd(h, &gone);
    ASSERT_GE(gone_index, 0) << "code " << CDBGetErrorNumber(h);
    ASSERT_EQ(CDBLayerTableDelete(h, gone_index), 0);

    char style_name[32] = "VELKO_NARROW";
    char font[64] = "romans";
    CDB_STYLE_TBL_type style;
    std::memset(static_cast<void *>(&style), 0, sizeof style);
    ASSERT_EQ(CDBStyleTableDefault(&style), 0);
    std::free(style.font_file);
    std::free(style.bigfont_file);
    style.name = style_name;
    style.font_file = font;
    style.bigfont_file = nullptr;
    style.width_factor = 0.75;
    style.oblique_angle = 15.0;
    style.last_height = 2.5;
    added->style = CDBStyleTableAdd(h, &style);
    ASSERT_GE(added->style, 0) << "code " << CDBGetErrorNumber(h);
}

// A block "VELKO_DOOR" with a line and two attribute definitions.
void AddBlock(int16_t h, Added *added) {
    char name[32] = "velko_door";
    CDB_STARTBLOCK_ENTITY_type b = walk::NewBlockRecord();
    ASSERT_EQ(CDBBlockDefault(h, &b), 0);
    b.name = name;
    b.base_point = P(1.0, 2.0);
    added->block = CDBBlockAdd(h, &b);
    ASSERT_GE(added->block, 0) << "code " << CDBGetErrorNumber(h);

    CDB_ENTITY line = Default(h, CDB_LINE);
    line.layer_index = added->layer;
    line.line.start_point = P(0, 0, 0);
    line.line.end_point = P(0, 2.1, 0);
    Add(h, added->block, line, &added->block_kinds);

    char tags[2][8] = {"WIDTH", "MAKER"};
    char prompts[2][16] = {"Door width", "Made by"};
    char values[2][8] = {"0.9", "ACME"};
    for (int i = 0; i < 2; ++i) {
        CDB_ENTITY a = Default(h, CDB_ATTDEF);
        a.attdef.insertion_point = P(0.1, 0.5 + i);
        a.attdef.height = 0.25;
        a.attdef.tag = tags[i];
        a.attdef.prompt = prompts[i];
        a.attdef.default_value = values[i];
        a.attdef.style_index = added->style;
        a.attdef.rotation = 90.0;
        Add(h, added->block, a, &added->block_kinds);
    }
}

// Two inserts of the block, the first with its attributes; a polyline with three
// vertices; and one entity of every other kind with a class.
void AddEntities(int16_t h, Added *added) {
    char values[2][8] = {"1.2", "BOLT"};
    char tags[2][8] = {"WIDTH", "MAKER"};
    CDB_ENTITY insert = Default(h, CDB_INSERT);
    insert.insert.block_index = added->block;
    insert.insert.attributes_follow = 1;
    insert.insert.insertion_point = P(10, 10);
    insert.insert.x_scale = 2.0;
    insert.insert.y_scale = 2.0;
    insert.insert.rotation = 45.0;
    Add(h, -1, insert, &added->main_kinds);
    for (int i = 0; i < 2; ++i) {
        CDB_ENTITY a = Default(h, CDB_ATTRIB);
        a.attrib.insertion_point = P(10.2, 11 + i);
        a.attrib.height = 0.5;
        a.attrib.value = values[i];
        a.attrib.tag = tags[i];
        Add(h, -1, a, &added->main_kinds);
    }
    CDB_ENTITY end = Default(h, CDB_SEQEND);
    end.entity_type = CDB_SEQEND;
    Add(h, -1, end, &added->main_kinds);

    CDB_ENTITY plain = Default(h, CDB_INSERT);
    plain.insert.block_index = added->block;
    plain.insert.insertion_point = P(20, 10);
    plain.insert.column_count = 3;
    plain.insert.column_spacing = 2.5;
    Add(h, -1, plain, &added->main_kinds);

    CDB_ENTITY polyline = Default(h, CDB_POLYLINE);
    polyline.polyline.vertices_follow = 1;
    polyline.polyline.flags = 1;
    polyline.layer_index = added->layer;
    Add(h, -1, polyline, &added->main_kinds);
    const double corners[3][2] = {{0, 0}, {5, 0}, {5, 3}};
    for (const auto &c : corners) {
        CDB_ENTITY v = Default(h, CDB_VERTEX);
        v.vertex.location = P(c[0], c[1]);
        v.vertex.bulge = c[0] == 5 && c[1] == 0 ? 0.5 : 0.0;
        v.layer_index = added->layer;
        Add(h, -1, v, &added->main_kinds);
    }
    end = Default(h, CDB_SEQEND);
    end.entity_type = CDB_SEQEND;
    Add(h, -1, end, &added->main_kinds);

    CDB_ENTITY line = Default(h, CDB_LINE);
    line.line.start_point = P(1, 2, 3);
    line.line.end_point = P(4, 5, 6);
    line.color = 1;
    line.line_type_index = added->dashed;
    line.thickness = 0.5;
    Add(h, -1, line, &added->main_kinds);

    CDB_ENTITY point = Default(h, CDB_POINT);
    point.point.location = P(7, 8, 9);
    Add(h, -1, point, &added->main_kinds);

    CDB_ENTITY circle = Default(h, CDB_CIRCLE);
    circle.circle.center = P(3, 3);
    circle.circle.radius = 1.25;
    circle.elevation = 2.0;
    Add(h, -1, circle, &added->main_kinds);

    CDB_ENTITY shape = Default(h, CDB_SHAPE);
    shape.shape.insertion_point = P(6, 1);
    shape.shape.size = 1.0;
    shape.shape.shape_number = 1;
    shape.shape.shape_style_index = 0;
    Add(h, -1, shape, &added->main_kinds);

    char words[] = "Velko round trip";
    CDB_ENTITY text = Default(h, CDB_TEXT);
    text.text.insertion_point = P(0, 12);
    text.text.height = 0.8;
    text.text.text = words;
    text.text.rotation = 30.0;
    text.text.style_index = added->style;
    Add(h, -1, text, &added->main_kinds);

    CDB_ENTITY arc = Default(h, CDB_ARC);
    arc.arc.center = P(8, 8);
    arc.arc.radius = 2.0;
    arc.arc.start_angle = 10.0;
    arc.arc.end_angle = 200.0;
    Add(h, -1, arc, &added->main_kinds);

    for (int kind : {CDB_TRACE, CDB_SOLID}) {
        CDB_ENTITY t = Default(h, kind);
        t.trace.corner_1 = P(0, 20);
        t.trace.corner_2 = P(1, 20);
        t.trace.corner_3 = P(0, 21);
        t.trace.corner_4 = P(1, 21);
        Add(h, -1, t, &added->main_kinds);
    }

    CDB_ENTITY face = Default(h, CDB_3DFACE);
    face.face.corner_1 = P(0, 0, 0);
    face.face.corner_2 = P(1, 0, 1);
    face.face.corner_3 = P(1, 1, 2);
    face.face.corner_4 = P(0, 1, 3);
    face.face.invisible_edges = 5;
    Add(h, -1, face, &added->main_kinds);

    char measure[] = "<>";
    CDB_ENTITY dimension = Default(h, CDB_DIMENSION);
    dimension.dimension.text = measure;
    dimension.dimension.block_index = added->block;
    dimension.dimension.definition_point = P(0, -2);
    dimension.dimension.text_midpoint = P(2.5, -1.5);
    dimension.dimension.definition_point_2 = P(0, 0);
    dimension.dimension.definition_point_3 = P(5, 0);
    Add(h, -1, dimension, &added->main_kinds);

    CDB_ENTITY viewport = Default(h, CDB_VIEWPORT);
    viewport.space = 1;
    viewport.viewport.center = P(5, 4);
    Add(h, -1, viewport, &added->main_kinds);
}

// The kinds of a list, the block start and end and the main list's end marker left out.
std::vector<int> Kinds(const std::vector<CDB_ENTITY> &list) {
    std::vector<int> kinds;
    for (const CDB_ENTITY &e : list) {
        if (e.entity_type != CDB_BLOCK && e.entity_type != CDB_ENDBLK)
            kinds.push_back(e.entity_type);
    }
    return kinds;
}

// Entities added to the main list stand behind its end marker in memory (the marker is
// where the list ended when they came); a file ends the list with the marker that its
// reader makes. Moves the memory's marker to the end, where the file has it.
void MarkerToTheEnd(Snapshot &memory) {
    std::vector<CDB_ENTITY> &list = memory.main_;
    for (size_t i = 0; i + 1 < list.size(); ++i) {
        if (list[i].entity_type == CDB_ENDBLK) {
            const CDB_ENTITY marker = list[i];
            list.erase(list.begin() + static_cast<long>(i));
            list.push_back(marker);
            return;
        }
    }
}

// Sets aside what a release 12 file does not carry of a new record: the line type
// scale of release 13 takes the value the file gives, and a viewport's extended data,
// which in memory is the marker of a new viewport, is not held byte for byte (its fields
// are).
void SetAsideUncarried(Snapshot &memory, const Snapshot &file) {
    auto lists = [](Snapshot &s) {
        std::vector<std::vector<CDB_ENTITY> *> all = {&s.main_};
        for (snapshot::BlockCopy &b : s.blocks_)
            all.push_back(&b.list);
        return all;
    };
    std::vector<std::vector<CDB_ENTITY> *> ours = lists(memory);
    std::vector<std::vector<CDB_ENTITY> *> theirs = lists(const_cast<Snapshot &>(file));
    for (size_t l = 0; l < ours.size() && l < theirs.size(); ++l) {
        for (size_t i = 0; i < ours[l]->size() && i < theirs[l]->size(); ++i) {
            CDB_ENTITY &m = (*ours[l])[i];
            CDB_ENTITY &f = (*theirs[l])[i];
            m.line_type_scale = f.line_type_scale;
            if (m.entity_type == CDB_VIEWPORT && f.entity_type == CDB_VIEWPORT) {
                EXPECT_GT(Val(f.eed_size), 0) << file.path() << ": a viewport without its data";
                m.eed_data = f.eed_data = nullptr;
                m.eed_size = f.eed_size = 0;
            }
        }
    }
}

class EditRoundTrip : public testing::Test {
protected:
    void SetUp() override {
        // CDBNew writes the file itself: a name of each test, as tests may run at once.
        const std::string made = RoundTripFolder() + "edit_new_" +
                                 testing::UnitTest::GetInstance()->current_test_info()->name() +
                                 ".dwg";
        h_ = CDBNew(Template().c_str(), made.c_str());
        ASSERT_GE(h_, 0) << "CDBNew from " << Template() << ": code " << CDBGetErrorNumber(-123);
        AddTables(h_, &added_);
        AddBlock(h_, &added_);
        AddEntities(h_, &added_);
    }
    void TearDown() override {
        if (h_ >= 0)
            CDBEndOperation(h_);
    }

    // The drawing in memory holds what was added.
    void ExpectAdded(const Snapshot &m) {
        ASSERT_TRUE(m.opened());
        ASSERT_LT(static_cast<size_t>(added_.layer), m.layers_.size());
        EXPECT_STREQ(m.layers_[static_cast<size_t>(added_.layer)].name, "VELKO_WALLS");
        ASSERT_LT(static_cast<size_t>(added_.dashed), m.ltypes_.size());
        EXPECT_EQ(Val(m.ltypes_[static_cast<size_t>(added_.dashed)].dash_count), 2);
        ASSERT_LT(static_cast<size_t>(added_.block), m.blocks_.size());
        EXPECT_STREQ(m.blocks_[static_cast<size_t>(added_.block)].start.name, "VELKO_DOOR");
        EXPECT_EQ(Kinds(m.blocks_[static_cast<size_t>(added_.block)].list), added_.block_kinds);
        const std::vector<int> main = Kinds(m.main_);
        ASSERT_GE(main.size(), added_.main_kinds.size());
        EXPECT_EQ(
            std::vector<int>(main.end() - static_cast<long>(added_.main_kinds.size()), main.end()),
            added_.main_kinds)
            << "the added entities stand at the end of the main list";
    }

    // Saves the edited drawing in `form` and holds what reads back against memory.
    void SaveAndCompare(SaveForm form, const std::string &name) {
        const std::string path = RoundTripFolder() + name;
        Snapshot memory(h_, "the edited drawing in memory");
        ExpectAdded(memory);
        ASSERT_EQ(SaveOpenDrawing(h_, path, form), "");
        Snapshot file(path);
        ASSERT_TRUE(file.opened()) << path << " does not open: code " << file.code();
        MarkerToTheEnd(memory);
        SetAsideUncarried(memory, file);
        if (form == SaveForm::kDwg) {
            snapshot::CompareDwgSave(memory, file);
            std::vector<uint8_t> bytes;
            ASSERT_TRUE(ReadWholeFile(path, &bytes));
            const Dwg12CrcReport crcs = WalkDwg12Crcs(bytes);
            EXPECT_TRUE(crcs.ok()) << path << ":\n" << crcs.Describe();
        } else {
            snapshot::CompareDxfSave(memory, file, form == SaveForm::kBinaryDxf);
        }
    }

    int16_t h_ = -1;
    Added added_;
};

TEST_F(EditRoundTrip, SavedAsDwgGivesBackExactlyWhatWasAdded) {
    SaveAndCompare(SaveForm::kDwg, "edit_saved.dwg");
}

TEST_F(EditRoundTrip, SavedAsAsciiDxfGivesBackWhatWasAdded) {
    SaveAndCompare(SaveForm::kAsciiDxf, "edit_saved.ascii.dxf");
}

// The template holds a dimension style record, which a release 12 binary file cannot
// carry to the library's binary reader (groups 140 to 178 have no value there): the
// binary file is held against the ASCII file of the same drawing, group for group, and
// ezdxf reads it (ezdxf_check_test). A drawing without one reads back and is compared.
TEST_F(EditRoundTrip, SavedAsBinaryDxfGivesBackWhatWasAdded) {
    if (CDBDimStyleTableCount(h_) == 0) {
        SaveAndCompare(SaveForm::kBinaryDxf, "edit_saved.binary.dxf");
        return;
    }
    const std::string ascii = RoundTripFolder() + "edit_pair.ascii.dxf";
    const std::string binary = RoundTripFolder() + "edit_pair.binary.dxf";
    ASSERT_EQ(SaveOpenDrawing(h_, ascii, SaveForm::kAsciiDxf), "");
    ASSERT_EQ(SaveOpenDrawing(h_, binary, SaveForm::kBinaryDxf), "");
    EXPECT_EQ(snapshot::CompareDxfForms(ascii, binary), "");
}

} // namespace
} // namespace velko_test
