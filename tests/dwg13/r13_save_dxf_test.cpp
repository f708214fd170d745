// Saving a release 13 drawing that was read from DXF as a DWG "AC1012": there is no DWG to
// borrow from, so the head, the header variables and the classes are made from memory and
// nothing is carried. The written file reads back through the library's open with the same
// entities, blocks, tables and header values, but for the differences named in SaveSink.
#include "support/r13_written_file.h"
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/dxf_text.h"

#include "r13_edit_support.h"

#include "dwg13/r13_file_head.h"
#include "dwg13/r13_object_map.h"
#include "io/drawing_file.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>

namespace velko_test {
namespace {

// ---- A small release 13 DXF ---------------------------------------------------------------

// Header values that differ from a new drawing's, with a drag mode whose flags do not fill
// the bits a search for the tree depth would expect in front of it.
void Header(DxfText &d) {
    d.Section("HEADER")
        .G(9, "$ACADVER")
        .G(1, "AC1012")
        .G(9, "$HANDSEED")
        .G(5, "80")
        .G(9, "$DRAGMODE")
        .G(70, 1)
        .G(9, "$LTSCALE")
        .G(40, 2.5)
        .G(9, "$TEXTSIZE")
        .G(40, 0.35)
        .G(9, "$ORTHOMODE")
        .G(70, 1)
        .G(9, "$LUPREC")
        .G(70, 6)
        .G(9, "$CECOLOR")
        .G(62, 3)
        .G(9, "$MENU")
        .G(1, "velko")
        .G(9, "$EXTMIN")
        .G(10, -1.0)
        .G(20, -2.0)
        .G(30, 0.0)
        .G(9, "$EXTMAX")
        .G(10, 30.0)
        .G(20, 20.0)
        .G(30, 0.0)
        .G(9, "$DIMSCALE")
        .G(40, 4.0)
        .EndSection();
}

void Tables(DxfText &d) {
    d.Section("TABLES");
    d.R13Table("LTYPE", "5", 1);
    d.R13Record("LTYPE", "14", "AcDbLinetypeTableRecord")
        .G(2, "CONTINUOUS")
        .G(70, 0)
        .G(3, "Solid line")
        .G(72, 65)
        .G(73, 0)
        .G(40, 0.0);
    d.EndTable();
    d.R13Table("LAYER", "2", 2);
    d.R13Record("LAYER", "10", "AcDbLayerTableRecord")
        .G(2, "0")
        .G(70, 0)
        .G(62, 7)
        .G(6, "CONTINUOUS");
    // Frozen and locked.
    d.R13Record("LAYER", "11", "AcDbLayerTableRecord")
        .G(2, "WALLS")
        .G(70, 5)
        .G(62, 5)
        .G(6, "CONTINUOUS");
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
    d.R13Table("APPID", "9", 1);
    d.R13Record("APPID", "12", "AcDbRegAppTableRecord").G(2, "ACAD").G(70, 0);
    d.EndTable();
    // WINDOW has a block and no record: its record is made by the reader, without a handle.
    d.R13Table("BLOCK_RECORD", "1", 3);
    d.R13Record("BLOCK_RECORD", "1F", "AcDbBlockTableRecord").G(2, "*MODEL_SPACE");
    d.R13Record("BLOCK_RECORD", "1B", "AcDbBlockTableRecord").G(2, "*PAPER_SPACE");
    d.R13Record("BLOCK_RECORD", "40", "AcDbBlockTableRecord").G(2, "DOOR").G(70, 0);
    d.EndTable();
    d.EndSection();
}

DxfText &Entity(DxfText &d, const char *kind, const char *handle, const char *layer = "0") {
    return d.G(0, kind).G(5, handle).G(100, "AcDbEntity").G(8, layer);
}

DxfText &Line(DxfText &d, const char *handle, double x, const char *layer = "0") {
    return Entity(d, "LINE", handle, layer)
        .G(100, "AcDbLine")
        .G(10, x)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, x + 1.0)
        .G(21, 1.0)
        .G(31, 0.0);
}

DxfText &Block(DxfText &d, const char *name, const char *handle, double x) {
    return Entity(d, "BLOCK", handle)
        .G(100, "AcDbBlockBegin")
        .G(2, name)
        .G(70, 0)
        .G(10, x)
        .G(20, 2.0)
        .G(30, 0.0)
        .G(3, name)
        .G(1, "");
}

DxfText &EndBlock(DxfText &d, const char *handle) {
    return Entity(d, "ENDBLK", handle).G(100, "AcDbBlockEnd");
}

void Blocks(DxfText &d) {
    d.Section("BLOCKS");
    Block(d, "*MODEL_SPACE", "21", 0.0);
    EndBlock(d, "22");
    Block(d, "*PAPER_SPACE", "1C", 0.0);
    EndBlock(d, "1D");
    Block(d, "DOOR", "41", 1.0);
    Line(d, "42", 5.0);
    EndBlock(d, "43");
    Block(d, "WINDOW", "44", 3.0);
    Line(d, "45", 7.0, "WALLS");
    Entity(d, "CIRCLE", "46").G(100, "AcDbCircle").G(10, 1.0).G(20, 1.0).G(30, 0.0).G(40, 0.5);
    EndBlock(d, "47");
    d.EndSection();
}

void Entities(DxfText &d) {
    d.Section("ENTITIES");
    Line(d, "50", 0.0);
    Line(d, "51", 10.0, "WALLS");
    Entity(d, "CIRCLE", "52").G(100, "AcDbCircle").G(10, 4.0).G(20, 5.0).G(30, 0.0).G(40, 2.0);
    Entity(d, "ARC", "53")
        .G(100, "AcDbCircle")
        .G(10, 1.0)
        .G(20, 1.0)
        .G(30, 0.0)
        .G(40, 3.0)
        .G(100, "AcDbArc")
        .G(50, 30.0)
        .G(51, 120.0);
    Entity(d, "TEXT", "54")
        .G(100, "AcDbText")
        .G(10, 2.0)
        .G(20, 3.0)
        .G(30, 0.0)
        .G(40, 0.25)
        .G(1, "velko")
        .G(100, "AcDbText");
    Entity(d, "POLYLINE", "55").G(100, "AcDb2dPolyline").G(66, 1).G(10, 0.0).G(20, 0.0).G(30, 0.0);
    Entity(d, "VERTEX", "56").G(100, "AcDbVertex").G(100, "AcDb2dVertex").G(10, 0.0).G(20, 0.0);
    Entity(d, "VERTEX", "57").G(100, "AcDbVertex").G(100, "AcDb2dVertex").G(10, 3.0).G(20, 1.0);
    Entity(d, "SEQEND", "58");
    Entity(d, "INSERT", "59")
        .G(100, "AcDbBlockReference")
        .G(2, "DOOR")
        .G(10, 8.0)
        .G(20, 8.0)
        .G(30, 0.0);
    // Paper space.
    Entity(d, "LINE", "5A")
        .G(67, 1)
        .G(100, "AcDbLine")
        .G(10, 0.0)
        .G(20, 0.0)
        .G(30, 0.0)
        .G(11, 2.0)
        .G(21, 2.0)
        .G(31, 0.0);
    d.EndSection();
}

void Objects(DxfText &d) {
    d.Section("OBJECTS");
    d.G(0, "DICTIONARY").G(5, "C").G(100, "AcDbDictionary").G(3, "ACAD_MLINESTYLE").G(350, "17");
    d.G(0, "DICTIONARY").G(5, "17").G(100, "AcDbDictionary").G(3, "STANDARD").G(350, "18");
    d.G(0, "MLINESTYLE")
        .G(5, "18")
        .G(100, "AcDbMlineStyle")
        .G(2, "STANDARD")
        .G(70, 0)
        .G(3, "")
        .G(62, 256)
        .G(51, 90.0)
        .G(52, 90.0)
        .G(71, 2)
        .G(49, 0.5)
        .G(62, 256)
        .G(6, "BYLAYER")
        .G(49, -0.5)
        .G(62, 256)
        .G(6, "BYLAYER");
    d.EndSection();
}

std::string SmallDrawing() {
    DxfText d;
    Header(d);
    Tables(d);
    Blocks(d);
    Entities(d);
    Objects(d);
    return d.Eof().Ascii();
}

// ---- Reading the written file -------------------------------------------------------------

// Equal to 12 digits (angles go back through a shorter pi than the reader's) but for what
// the road from a DXF through a DWG changes by design, each named here:
// - placement: a DXF places an entity by the section it stands in, a DWG by its mode bits
//   and owner, which the save sets and the DWG reader reads (mode_model, mode_paper,
//   has_owner, owner); the links to neighbours and dictionaries come from the objects;
// - the main list closes with paper space's ENDBLK after a DWG read and with model space's
//   after a DXF read: its handle and space differ;
// - handles given by the save to what the DXF left without one (block records made by the
//   reader), the block records' references to their entities, and the seed;
// - an absent text comes back empty;
// - block names: an anonymous "*D12" or "*U3" goes out as "*D" or "*U", and a block's flags
//   go out in the record's fixed byte (0xC0, 200 for "*D" and "*U");
// - a vertex that is no face record reads its four face indices as -1 from a DWG, 0 from
//   a DXF; a 3D polyline's vertex takes its elevation from its point in a DWG;
// - a 3D polyline loses its closed bit, a dimension the flags 64 and 128 of its type, a
//   spline with knots its fit data (it goes out by its knots), a modeler object (REGION,
//   3DSOLID, BODY) its layer and format version (its object has no trailer of its own),
//   a viewport entity its number (the DWG reader numbers them);
// - a layer's raw flag byte, which a DXF does not have and the save makes from the flags;
//   a viewport record's UCS icon and view mode bits;
// - header: the variables that the header section does not hold (the view variables, the
//   times and the timer, the code page), $HANDLING, which it holds as one bit, the tree depth
//   (always 3020 in a DWG), the handle texts the DXF left unset (empty), and the current line type
//   BYLAYER, which a DXF names "-1" and a DWG by the handle of the BYLAYER line type.
class SaveSink : public snapshot::DigitsSink {
public:
    SaveSink() : snapshot::DigitsSink(12) {}

    void Real(const std::string &field, int group, double a, double b) override {
        if (!Named(field))
            snapshot::DigitsSink::Real(field, group, a, b);
    }
    void Int(const std::string &field, int group, long a, long b) override {
        if (Named(field) || NamedInt(field, a, b))
            return;
        snapshot::DigitsSink::Int(field, group, a, b);
    }
    void Text(const std::string &field, int group, const char *a, const char *b) override {
        const bool absent_is_empty = (!a && b && !*b) || (!b && a && !*a);
        if (absent_is_empty || Named(field) || NamedText(field, a, b))
            return;
        snapshot::DigitsSink::Text(field, group, a, b);
    }

private:
    static bool Starts(const std::string &field, const char *prefix) {
        return field.rfind(prefix, 0) == 0;
    }
    bool Entity(int kind) const { return record_ == "ENTITY" && kind_ == kind; }
    bool Modeler() const { return Entity(CDB_REGION) || Entity(CDB_3DSOLID) || Entity(CDB_BODY); }
    bool ThreeDPolylineVertex() const {
        return Entity(CDB_VERTEX) && a_ && (a_->vertex.flags & 32) != 0;
    }

    bool Named(const std::string &field) const {
        if (record_ == "ENTITY" &&
            (field == "mode_model" || field == "mode_paper" || field == "has_owner" ||
             Starts(field, "owner.") || Starts(field, "next.") || Starts(field, "previous.") ||
             Starts(field, "dictionary.")))
            return true;
        if (Entity(CDB_ENDBLK) && Starts(where_, "main list") &&
            (field == "handle" || field == "space"))
            return true;
        if (Entity(CDB_SPLINE) && (Starts(field, "fit_") || Starts(field, "start_tangent") ||
                                   Starts(field, "end_tangent") || field == "flags"))
            return true;
        if (Modeler() && (Starts(field, "layer_") || field == "format_version"))
            return true;
        if (Entity(CDB_VIEWPORT) && field == "viewport_id")
            return true;
        if (ThreeDPolylineVertex() && field == "elevation")
            return true;
        if ((record_ == "BLOCK" || record_ == "BLOCK_TBL") && field == "flags")
            return true;
        if (record_ == "BLOCK_TBL" && Starts(field, "links."))
            return true;
        if (record_ == "VPORT" && (field == "ucs_icon" || field == "view_mode"))
            return true;
        if (record_ == "HEADER" &&
            (Starts(field, "viewctr") || Starts(field, "viewdir") || Starts(field, "viewsize") ||
             field == "$TREEDEPTH" || field == "handseed" || field == "$HANDSEED" ||
             Starts(field, "$TD") || field == "$USRTIMER" || field == "$DWGCODEPAGE"))
            return true;
        return false;
    }

    bool NamedInt(const std::string &field, long a, long b) const {
        if (Entity(CDB_VERTEX) && Starts(field, "polyface_index_") && a == 0 && b == -1)
            return true;
        if (Entity(CDB_POLYLINE) && field == "flags" && (a & 8) && (a & ~1L) == b)
            return true;
        if (Entity(CDB_DIMENSION) && field == "dimension_type" && ((a ^ b) & ~0xC0L) == 0)
            return true;
        // A DXF's BYLAYER is the index -1; the DWG names the BYLAYER record, whose index
        // comes back.
        if (record_ == "HEADER" && field == "$CELTYPE" && a == -1 && b >= 0)
            return true;
        if (record_ == "HEADER" && field == "$HANDLING" && b == (a != 0 ? 1 : 0))
            return true;
        if (record_ == "LAYER" && field == "flags_copy")
            return true;
        return false;
    }

    bool NamedText(const std::string &field, const char *a, const char *b) const {
        if (record_ == "BLOCK_TBL" && field == "handle" && !a)
            return true;
        const bool name = field == "name" || field == "name_2";
        if ((record_ == "BLOCK" || record_ == "BLOCK_TBL") && name && a && b &&
            std::strlen(b) == 2 && std::strncmp(a, b, 2) == 0 &&
            (std::strcmp(b, "*D") == 0 || std::strcmp(b, "*U") == 0))
            return true;
        if (record_ == "HEADER" && field == "hceltype" && a && std::strcmp(a, "-1") == 0)
            return true;
        return false;
    }
};

int16_t OpenedVersion(const std::string &path) {
    const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (h < 0)
        return h;
    const int16_t version = CDBGetAutoCADVersion(h);
    CDBEndOperation(h);
    return version;
}

// Every object the map points at ends in FF FF; the map ends in 00 02 01 D0; the head
// has three section records. "" when all holds, else the first thing that does not.
std::string FileShape(const std::string &path) {
    const std::vector<uint8_t> bytes = FileBytes(path);
    if (bytes.size() < R13FileHead::SizeFor(3) || std::memcmp(bytes.data(), "AC1012", 6) != 0)
        return "no release 13 head";
    if (bytes[R13FileHead::kRecordCountAt] != 3)
        return "record count " + std::to_string(bytes[R13FileHead::kRecordCountAt]);
    const uint32_t map_at = LongAt(bytes, R13FileHead::kMapAt);
    const uint32_t map_size = LongAt(bytes, R13FileHead::kMapSizeAt);
    if (map_size < 4 || uint64_t(map_at) + map_size > bytes.size())
        return "the map lies outside the file";
    const uint8_t *end = bytes.data() + map_at + map_size - 4;
    if (end[0] != 0x00 || end[1] != 0x02 || end[2] != 0x01 || end[3] != 0xD0)
        return "the map does not end in 00 02 01 D0";
    const std::vector<ObjectMapEntry> entries = MapEntriesOf(path);
    if (entries.empty())
        return "an empty map, or none";
    return ObjectChecksProblem(bytes, entries);
}

class Release13DxfSavedAsDwg : public ::testing::Test {
protected:
    void SetUp() override {
        source = std::make_unique<snapshot::Snapshot>(dxf.path());
        ASSERT_TRUE(source->opened()) << "code " << source->code();
        ASSERT_EQ(CDBGetAutoCADVersion(source->handle()), 13);
        ASSERT_EQ(CDBSaveAsDWG(source->handle(), out.c_str()), 0)
            << "error " << CDBGetErrorNumber(source->handle());
    }

    TempFile dxf{"r13_small_for_dwg.dxf", SmallDrawing()};
    TempFile out{"r13_small_from_dxf.dwg"};
    std::unique_ptr<snapshot::Snapshot> source;
};

TEST_F(Release13DxfSavedAsDwg, ReadsBackAsADwgOfRelease13WithEveryRecordEqual) {
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened()) << "code " << saved.code();
    EXPECT_EQ(CDBGetAutoCADVersion(saved.handle()), 13);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(FileBytes(out.path()).data()), 6),
              "AC1012");
    EXPECT_EQ(saved.KindCounts(), source->KindCounts());
    EXPECT_EQ(saved.blocks_.size(), source->blocks_.size());
    EXPECT_EQ(saved.layers_.size(), 2u);
    SaveSink sink;
    snapshot::CompareDrawings(*source, saved, sink, sink);
}

TEST_F(Release13DxfSavedAsDwg, KeepsTheHeaderValuesOfTheDxf) {
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened());
    EXPECT_EQ(saved.header_.dragmode, 1);
    EXPECT_EQ(saved.header_.orthomode, 1);
    EXPECT_EQ(saved.header_.luprec, 6);
    EXPECT_EQ(saved.header_.cecolor, 3);
    EXPECT_DOUBLE_EQ(saved.header_.ltscale, 2.5);
    EXPECT_DOUBLE_EQ(saved.header_.textsize, 0.35);
    EXPECT_DOUBLE_EQ(saved.header_.dimscale, 4.0);
    EXPECT_DOUBLE_EQ(saved.header_.extmax.x, 30.0);
    EXPECT_STREQ(saved.header_.menu, "velko");
}

TEST_F(Release13DxfSavedAsDwg, KeepsALayerFrozenAndLocked) {
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened());
    ASSERT_EQ(saved.layers_.size(), 2u);
    EXPECT_STREQ(saved.layers_[1].name, "WALLS");
    EXPECT_EQ(saved.layers_[1].flags, 5);
    EXPECT_EQ(saved.layers_[1].color, 5);
}

TEST_F(Release13DxfSavedAsDwg, HasThreeSectionRecordsObjectsEndingInFFFFAndTheMapEnd) {
    EXPECT_EQ(FileShape(out.path()), "");
}

TEST_F(Release13DxfSavedAsDwg, GivesFreshHandlesThatCollideWithNone) {
    CDrawingFile file;
    CObjectMap objects;
    ASSERT_TRUE(file.Open(out.c_str(), kDrawingFileRead));
    ASSERT_EQ(objects.Read(file), 1);
    file.Close();
    std::map<uint32_t, int> seen;
    for (const ObjectMapEntry &e : objects.Entries())
        ++seen[e.handle];
    for (const auto &entry : seen) {
        EXPECT_NE(entry.first, 0u);
        EXPECT_EQ(entry.second, 1) << "handle " << std::hex << entry.first;
    }
    // The DXF's own handles stay: its lines, its block DOOR's record, its layer WALLS.
    for (uint32_t handle : {0x50u, 0x5Au, 0x40u, 0x11u, 0x18u})
        EXPECT_EQ(seen.count(handle), 1u) << "handle " << std::hex << handle;
    // The seed of the written file stands above every object.
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened());
    const uint32_t seed = static_cast<uint32_t>(std::strtoul(saved.header_.handseed, nullptr, 16));
    EXPECT_GT(seed, seen.rbegin()->first);
}

// Every record of the written drawing has its own handle: the block record WINDOW, which
// the DXF lacks, took a fresh one that collides with none of the DXF's.
TEST_F(Release13DxfSavedAsDwg, EveryRecordReadBackHasAHandleOfItsOwn) {
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened());
    std::map<std::string, int> seen;
    auto note = [&seen](const char *handle) {
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(std::strtoul(handle, nullptr, 16), 0ul) << handle;
        ++seen[handle];
    };
    for (const CDB_ENTITY &e : saved.main_)
        if (e.entity_type != CDB_ENDBLK)
            note(e.handle);
    for (const snapshot::BlockCopy &block : saved.blocks_)
        for (const CDB_ENTITY &e : block.list)
            note(e.handle);
    for (const CDB_BLOCK_TBL &r : saved.block_table_)
        note(r.handle);
    for (const CDB_LAYER_TBL_type &r : saved.layers_)
        note(r.handle);
    for (const CDB_LTYPE_TBL_type &r : saved.ltypes_)
        note(r.handle);
    for (const CDB_STYLE_TBL_type &r : saved.styles_)
        note(r.handle);
    for (const CDB_APPID_TBL_type &r : saved.appids_)
        note(r.handle);
    for (const auto &entry : seen)
        EXPECT_EQ(entry.second, 1) << "handle " << entry.first;
    ASSERT_EQ(saved.block_table_.size(), 2u);
    EXPECT_STREQ(saved.block_table_[1].name, "WINDOW");
    EXPECT_GT(std::strtoul(saved.block_table_[1].handle, nullptr, 16), 0x80ul)
        << "a fresh handle from the seed of the DXF";
}

TEST_F(Release13DxfSavedAsDwg, SavesAgainFromTheFileJustWritten) {
    TempFile again{"r13_small_from_dxf_again.dwg"};
    ASSERT_EQ(CDBSaveAsDWG(source->handle(), again.c_str()), 0)
        << "error " << CDBGetErrorNumber(source->handle());
    snapshot::Snapshot first(out.path());
    snapshot::Snapshot second(again.path());
    ASSERT_TRUE(first.opened());
    ASSERT_TRUE(second.opened());
    EXPECT_EQ(second.KindCounts(), first.KindCounts());
    snapshot::ExactSink sink;
    snapshot::CompareDrawings(first, second, sink);
}

TEST_F(Release13DxfSavedAsDwg, TheFileJustWrittenSavesAgainWithThreeRecordsAndNoTrailingSection) {
    TempFile again{"r13_small_from_dxf_third.dwg"};
    ASSERT_EQ(CDBSaveAsDWG(source->handle(), again.c_str()), 0);
    EXPECT_EQ(FileShape(again.path()), "");
}

// Saving under the drawing's own name writes a DWG only over a DWG: a drawing read from DXF
// is refused, and its file stays as it was.
TEST(Release13DxfSave, SaveUnderItsOwnNameRefusesADrawingReadFromDxf) {
    const std::string text = SmallDrawing();
    TempFile dxf{"r13_save_own_name.dxf", text};
    const int16_t h = CDBStartFileReading(dxf.c_str(), nullptr);
    ASSERT_GE(h, 0);
    EXPECT_EQ(CDBSave(h), -123);
    CDBEndOperation(h);
    const std::vector<uint8_t> after = FileBytes(dxf.path());
    EXPECT_EQ(std::string(after.begin(), after.end()), text);
}

TEST(Release13DxfTemplate, CDBNewWithADwgNameGivesAHandleAndAReadableDwg) {
    TempFile dxf{"r13_template.dxf", SmallDrawing()};
    TempFile out{"r13_new_from_template.dwg"};
    const int16_t h = CDBNew(dxf.c_str(), out.c_str());
    ASSERT_GE(h, 0) << "error " << CDBGetErrorNumber(-1);
    CDBEndOperation(h);
    EXPECT_EQ(OpenedVersion(out.path()), 13);
    EXPECT_EQ(FileShape(out.path()), "");
}

// ---- Edits before the save -----------------------------------------------------------------

class Release13DxfEditedThenSaved : public r13edit::R13EditTest {};

// A line in model space and one in the block DOOR, and a layer, added to a drawing read
// from DXF: all three are in the DWG, the new objects under the handles editing gave them.
TEST_F(Release13DxfEditedThenSaved, KeepsTheAddedEntitiesAndLayer) {
    const std::string text = SmallDrawing();
    OpenBytes(std::vector<uint8_t>(text.begin(), text.end()), "r13_edit_small.dxf");
    if (HasFatalFailure())
        return;
    CDB_ENTITY line = Line(42.0, 1);
    const int32_t in_model = CDBEntityAdd(h, -1, &line);
    ASSERT_GE(in_model, 0) << CDBGetErrorNumber(h);
    const std::string model_handle = EntityAt(-1, in_model)->handle;
    CDB_ENTITY member = Line(7.0);
    const int32_t in_door = CDBEntityAdd(h, 0, &member);
    ASSERT_GE(in_door, 0) << CDBGetErrorNumber(h);
    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char name[] = "edited";
    layer.name = name;
    ASSERT_EQ(CDBLayerTableAdd(h, &layer), 2);

    TempFile out{"r13_edited_from_dxf.dwg"};
    ASSERT_EQ(CDBSaveAsDWG(h, out.c_str()), 0) << CDBGetErrorNumber(h);
    EXPECT_EQ(FileShape(out.path()), "");
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened()) << "code " << saved.code();
    ASSERT_EQ(saved.layers_.size(), 3u);
    EXPECT_STREQ(saved.layers_[2].name, "EDITED");
    bool found = false;
    for (const CDB_ENTITY &e : saved.main_)
        if (e.entity_type == CDB_LINE && e.handle && model_handle == e.handle) {
            found = true;
            EXPECT_DOUBLE_EQ(e.line.end_point.x, 42.0);
            EXPECT_EQ(e.layer_index, 1);
        }
    EXPECT_TRUE(found) << "the added line " << model_handle;
    ASSERT_GE(saved.blocks_.size(), 1u);
    int door_lines = 0;
    for (const CDB_ENTITY &e : saved.blocks_[0].list)
        door_lines += e.entity_type == CDB_LINE ? 1 : 0;
    EXPECT_EQ(door_lines, 2);
}

// ---- The corpus ---------------------------------------------------------------------------

// The corpus's release 13 DXF files that the reader opens, each saved as a DWG and read
// back. Every one that opens reads back; none is known to fail. The one file the reader
// refuses (an empty BLOCKS section: no *MODEL_SPACE block for the entities to go into)
// has nothing to save.
constexpr const char *kRefusedByTheReader[] = {"dxf13/ixmilia_r13.dxf"};

bool RefusedByTheReader(const std::string &relative) {
    for (const char *path : kRefusedByTheReader)
        if (relative == path)
            return true;
    return false;
}

TEST(Release13DxfCorpusSavedAsDwg, TheCurrentLineTypeBylayerNamesTheBylayerRecord) {
    VELKO_REQUIRE_CORPUS();
    // The DXF says BYLAYER, kept as "-1"; the DWG's header refers to the BYLAYER line type
    // record by its handle, as a DWG does.
    snapshot::Snapshot source(CorpusPath("dxf13/example_r13.dxf"));
    ASSERT_TRUE(source.opened());
    ASSERT_STREQ(source.header_.hceltype, "-1");
    TempFile out("r13_celtype_from_dxf.dwg");
    ASSERT_EQ(CDBSaveAsDWG(source.handle(), out.c_str()), 0);
    snapshot::Snapshot saved(out.path());
    ASSERT_TRUE(saved.opened());
    CDB_LTYPE_TBL_type record;
    ASSERT_EQ(CDBLineTypeTableGet(saved.handle(), saved.header_.celtype, &record), 0);
    EXPECT_STREQ(record.name, "BYLAYER");
    EXPECT_STREQ(saved.header_.hceltype, record.handle);
}

TEST(Release13DxfCorpusSavedAsDwg, EveryOpenedFileReadsBackWithTheSameRecords) {
    VELKO_REQUIRE_CORPUS();
    int saved_files = 0;
    for (const std::string &relative : CorpusFiles("dxf13")) {
        SCOPED_TRACE(relative);
        snapshot::Snapshot source(CorpusPath(relative));
        if (!source.opened()) {
            EXPECT_TRUE(RefusedByTheReader(relative)) << "code " << source.code();
            continue;
        }
        TempFile out{"r13_corpus_from_dxf.dwg"};
        ASSERT_EQ(CDBSaveAsDWG(source.handle(), out.c_str()), 0)
            << "error " << CDBGetErrorNumber(source.handle());
        EXPECT_EQ(FileShape(out.path()), "");
        snapshot::Snapshot saved(out.path());
        ASSERT_TRUE(saved.opened()) << "code " << saved.code();
        EXPECT_EQ(CDBGetAutoCADVersion(saved.handle()), 13);
        EXPECT_EQ(saved.KindCounts(), source.KindCounts());
        EXPECT_EQ(saved.blocks_.size(), source.blocks_.size());
        EXPECT_EQ(saved.layers_.size(), source.layers_.size());
        EXPECT_EQ(saved.ltypes_.size(), source.ltypes_.size());
        EXPECT_EQ(saved.styles_.size(), source.styles_.size());
        EXPECT_EQ(saved.dimstyles_.size(), source.dimstyles_.size());
        SaveSink sink;
        snapshot::CompareDrawings(source, saved, sink, sink);
        ++saved_files;
    }
    EXPECT_GT(saved_files, 0);
}

} // namespace
} // namespace velko_test
