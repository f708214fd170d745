// The load of a release 13 DWG, on whole files made by the test builder: where the object
// area starts, the open and its errors, the order of the load, the first pass over the
// blocks, the tables and the objects behind them, what the end of the load does to the
// tables and the header, the two spaces, and the extended data cursor of the flat
// interface. Packed record fields are handed to gtest as copies (unary plus).
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/bit_writer.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using Builder = Dwg13Builder;

// A drawing opened on the built bytes and loaded: the result of LoadDWG in `loaded`.
struct Loaded {
    std::unique_ptr<TempFile> file;
    std::unique_ptr<CR13Drawing> drawing;
    int opened = 0;
    int loaded = 0;
};

Loaded Load(Builder &b, const char *name = "r13_load.dwg") {
    Loaded l;
    l.file = std::make_unique<TempFile>(name, b.Build());
    l.drawing = std::make_unique<CR13Drawing>(nullptr, 0);
    l.opened = l.drawing->OpenDWG(l.file->c_str(), CDB_OPEN_READ);
    l.loaded = l.opened == 1 ? l.drawing->LoadDWG() : 0;
    return l;
}

// The handle texts of an entity list, in order.
std::vector<std::string> Handles(CEntityList &list) {
    std::vector<std::string> handles;
    for (int i = 0; i < list.Count(); ++i) {
        const char *h = list.At(i)->GetData()->handle;
        handles.push_back(h ? h : "");
    }
    return handles;
}

// The handle texts of a list without a closing ENDBLK, which the chain of a space keeps
// as long as no pass takes it off.
std::vector<std::string> HandlesWithoutEnd(CEntityList &list) {
    std::vector<std::string> handles;
    for (int i = 0; i < list.Count(); ++i) {
        const CDB_ENTITY *r = list.At(i)->GetData();
        if (r->entity_type != CDB_ENDBLK)
            handles.push_back(r->handle ? r->handle : "");
    }
    return handles;
}

R13Object Seqend(uint32_t handle) {
    return EntityObject(R13EntityHead{}.Handle(handle));
}

// A plain block with the given handles for header, BLOCK and ENDBLK.
R13BlockSpec PlainBlock(const char *name, uint32_t first_handle) {
    R13BlockSpec block;
    block.name = name;
    block.header_handle = first_handle;
    block.start_handle = first_handle + 1;
    block.end_handle = first_handle + 2;
    return block;
}

// An entity object whose extended data opens with a byte that is no application marker:
// its head fails to decode.
R13Object EntityWithBadEed(uint32_t handle) {
    CBitWriter w;
    R13BeginObject(w, kR13SeqEndType);
    w.WriteBits(0, 4);
    w.WriteHandleText(R13HandleText(handle).c_str());
    w.WriteBitShort(2);
    w.WriteByte(0x40);
    w.WriteByte(0);
    w.WriteByte(0);
    w.WriteBitShort(0);
    R13EndObject(w);
    return R13Object(w.Data(), w.Data() + w.TellSize());
}

// A line type object whose dash count cannot fit what is left of it: it does not decode.
R13Object LtypeThatDoesNotDecode(uint32_t handle) {
    CBitWriter w;
    R13BeginObject(w, kR13Ltype);
    w.WriteBits(0, 4);
    w.WriteHandleText(R13HandleText(handle).c_str());
    w.WriteRawLong(0);
    w.WriteBits(0, 4);
    w.WriteText("BROKEN");
    w.WriteBits(0, 4);
    w.WriteText("");
    w.WriteBitDouble(0.0);
    w.WriteByte('A');
    w.WriteByte(200);
    R13EndObject(w);
    return R13Object(w.Data(), w.Data() + w.TellSize());
}

// ---- Where the object area starts -------------------------------------------------------------

TEST(R13Load, ByteTwentyOneThreeStartsAtTheLowestOffsetOfTheMap) {
    Builder b;
    b.record_count = 3;
    // The trailing section points at the header section: a reader that took it would
    // not find the block control.
    b.trailing_objects_start = Builder::HeaderSectionOffset();
    Loaded three = Load(b);
    ASSERT_EQ(three.opened, 1);
    EXPECT_EQ(three.loaded, 1) << three.drawing->LoadFailure();
    EXPECT_EQ(three.drawing->ObjectsStart(), b.ObjectsStart());

    b.record_count = 4;
    Loaded four = Load(b);
    EXPECT_EQ(four.loaded, 0);
}

TEST(R13Load, ByteTwentyOneFourStartsAtTheOffsetTheTrailingSectionHolds) {
    Builder b;
    b.record_count = 4;
    // The lowest offset of the map is the header section's.
    b.extra_map_entries.push_back(ObjectMapEntry{0x7000, Builder::HeaderSectionOffset()});
    Loaded four = Load(b);
    ASSERT_EQ(four.opened, 1);
    EXPECT_EQ(four.loaded, 1) << four.drawing->LoadFailure();
    EXPECT_EQ(four.drawing->ObjectsStart(), b.ObjectsStart());

    b.record_count = 3;
    Loaded three = Load(b);
    EXPECT_EQ(three.loaded, 0);
}

// ---- Open -------------------------------------------------------------------------------------

TEST(R13Load, AFileBeginningAC1009GivesVersionMismatchAndFailure) {
    Builder b;
    std::vector<uint8_t> bytes = b.Build();
    std::memcpy(bytes.data(), "AC1009", 6);
    TempFile file("r13_as_r12.dwg", bytes);
    CR13Drawing drawing(nullptr, 0);
    EXPECT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), CDB_FAIL);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_VERSION_MISMATCH);
    EXPECT_EQ(drawing.File(), nullptr);
}

TEST(R13Load, OpeningTwiceGivesFileAlreadyOpen) {
    Builder b;
    TempFile file("r13_twice.dwg", b.Build());
    CR13Drawing drawing(nullptr, 0);
    ASSERT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 1);
    EXPECT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 0);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_FILE_ALREADY_OPEN);
    EXPECT_NE(drawing.File(), nullptr);
}

TEST(R13Load, AMissingFileGivesErrorOpeningFile) {
    TempFile file("r13_missing.dwg");
    CR13Drawing drawing(nullptr, 0);
    EXPECT_EQ(drawing.OpenDWG(file.c_str(), CDB_OPEN_READ), 0);
    EXPECT_EQ(drawing.GetError(), CDB_ERR_OPENING_FILE);
}

// ---- The order of the load --------------------------------------------------------------------

TEST(R13Load, HeaderMapBlocksTablesAndSpacesAreAllLoaded) {
    Builder b;
    b.header.vars.extmin = CDB_POINT3{1.0, 2.0, 3.0};
    b.header.vars.extmax = CDB_POINT3{10.0, 20.0, 30.0};
    b.header.vars.ltscale = 2.5;
    b.SetHandseed("2F0");
    b.blocks.push_back(PlainBlock("DOOR", 0x50));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();

    // The header.
    const CDB_HEADER_type *vars = l.drawing->GetAllVars();
    EXPECT_EQ(+vars->treedepth, 3020);
    EXPECT_EQ(+vars->extmin.y, 2.0);
    EXPECT_EQ(+vars->extmax.z, 30.0);
    EXPECT_EQ(+vars->ltscale, 2.5);
    EXPECT_STREQ(vars->handseed, "2F0");
    EXPECT_STREQ(vars->acadver, "AC1012");
    // The map: every object, and the next handle behind the last one.
    CObjectMap &map = l.drawing->ObjectMap();
    EXPECT_EQ(map.Count(), b.MapEntries().size());
    EXPECT_EQ(map.NextHandle(), b.MapEntries().back().handle + 1);
    EXPECT_EQ(map.GetOffset(0x50), b.OffsetOf(0x50));
    // The blocks and the tables.
    EXPECT_EQ(l.drawing->GetBlockTableCount(), 1);
    EXPECT_EQ(l.drawing->Blocks().Count(), 1);
    EXPECT_EQ(l.drawing->GetLayerTableCount(), 1);
    EXPECT_EQ(l.drawing->GetLtypeTableCount(), 1);
    EXPECT_EQ(l.drawing->GetStyleTableCount(), 1);
    EXPECT_EQ(l.drawing->GetAppidTableCount(), 1);
    EXPECT_EQ(l.drawing->GetDimstyleTableCount(), 1);
    EXPECT_EQ(l.drawing->GetMLineStyleTableCount(), 1);
}

TEST(R13Load, AHeaderBehindBytesInFrontIsFoundByItsTreeDepth) {
    for (size_t prefix : {size_t(0), size_t(20), size_t(33)}) {
        Builder b;
        b.header_prefix.assign(prefix, 0);
        b.header.vars.ltscale = 4.0;
        b.header.vars.lunits = 3;
        Loaded l = Load(b);
        ASSERT_EQ(l.loaded, 1) << "prefix " << prefix;
        EXPECT_EQ(+l.drawing->GetAllVars()->ltscale, 4.0) << "prefix " << prefix;
        EXPECT_EQ(+l.drawing->GetAllVars()->lunits, 3) << "prefix " << prefix;
    }
}

TEST(R13Load, AMissingModelSpaceFailsTheLoadWithZero) {
    Builder b;
    b.RemoveBlock(kModelSpaceName);
    Loaded l = Load(b);
    ASSERT_EQ(l.opened, 1);
    EXPECT_EQ(l.loaded, 0);
}

TEST(R13Load, AMissingModelSpaceMakesTheFlatOpenTryDxfAndEndWithInvalidFile) {
    Builder b;
    b.RemoveBlock(kModelSpaceName);
    TempFile file("r13_no_model.dwg", b.Build());
    EXPECT_EQ(CDBStartFileReading(file.c_str(), nullptr), CDB_FAIL);
    EXPECT_EQ(CDBGetErrorNumber(-1), CDB_ERR_INVALID_FILE);
}

TEST(R13Load, AMissingPaperSpaceFailsTheLoadWithZero) {
    Builder b;
    b.RemoveBlock(kPaperSpaceName);
    Loaded l = Load(b);
    EXPECT_EQ(l.loaded, 0);
}

TEST(R13Load, ATableWhoseRecordDoesNotDecodeGivesFileReadError) {
    Builder b;
    b.tables[Builder::kLtypeTable].records.push_back(LtypeThatDoesNotDecode(0x31));
    Loaded l = Load(b);
    ASSERT_EQ(l.opened, 1);
    EXPECT_EQ(l.loaded, 0);
    EXPECT_EQ(l.drawing->GetError(), CDB_ERR_FILE_READ);
}

// ---- The first pass ---------------------------------------------------------------------------

TEST(R13Load, AnObjectBeforeTheBlockControlFailsTheLoad) {
    Builder b;
    b.objects_in_front.push_back(LayerObject(0x60, "FIRST"));
    b.record_count = 3; // the object in front is the lowest of the map
    Loaded l = Load(b);
    EXPECT_EQ(l.loaded, 0);
    b.record_count = 4;
    Loaded four = Load(b);
    EXPECT_EQ(four.loaded, 0);
}

TEST(R13Load, BlockHeadersAreReadUntilAnObjectOfAnotherType) {
    Builder b;
    b.blocks.push_back(PlainBlock("A", 0x50));
    b.blocks.push_back(PlainBlock("B", 0x54));
    // A block header behind the tables is no block of the first pass: it is carried.
    R13BlockSpec late = PlainBlock("LATE", 0x58);
    b.other_objects.push_back(BlockHeaderObject(late));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->GetBlockTableCount(), 2);
    EXPECT_STREQ(l.drawing->GetBlockTable(0)->name, "A");
    EXPECT_STREQ(l.drawing->GetBlockTable(1)->name, "B");
    ASSERT_EQ(l.drawing->CarriedObjects().Count(), 1u);
    EXPECT_EQ(l.drawing->CarriedObjects().At(0).handle, 0x58u);
}

TEST(R13Load, TheNamesOfTheSpacesAreNotInTheBlockTable) {
    Builder b;
    b.blocks.push_back(PlainBlock("WINDOW", 0x50));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    ASSERT_EQ(l.drawing->GetBlockTableCount(), 1);
    EXPECT_STREQ(l.drawing->GetBlockTable(0)->name, "WINDOW");
    CR13Table &blocks = l.drawing->Table(R13Table::kBlocks);
    EXPECT_EQ(blocks.IndexOfName(kModelSpaceName), -1);
    EXPECT_EQ(blocks.IndexOfName(kPaperSpaceName), -1);
}

TEST(R13Load, ABlockWithMoreThanTwoEntitiesEndsAtTheEntityBeforeItsEndblk) {
    Builder b;
    R13BlockSpec three = PlainBlock("THREE", 0x50);
    three.entities = {Seqend(0x60), Seqend(0x61)};
    R13BlockSpec one = PlainBlock("ONE", 0x54);
    one.entities = {Seqend(0x62)};
    b.blocks.push_back(three);
    b.blocks.push_back(one);
    // The headers name a last entity that the chain does not end with.
    b.edit_objects[0x50] = [three](R13Object &object) {
        R13BlockSpec lying = three;
        lying.entities = {Seqend(0x7F)};
        object = BlockHeaderObject(lying);
    };
    b.edit_objects[0x54] = [one](R13Object &object) {
        R13BlockSpec lying = one;
        lying.entities = {Seqend(0x7E)};
        object = BlockHeaderObject(lying);
    };
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->Blocks().Count(), 2);
    auto *with_three = static_cast<CR13Block *>(l.drawing->Blocks().At(0));
    auto *with_two = static_cast<CR13Block *>(l.drawing->Blocks().At(1));
    EXPECT_EQ(with_three->entities->Count(), 3);
    EXPECT_EQ(with_three->last_handle, "61");
    EXPECT_EQ(with_three->first_handle, "51");
    // Two entities (one and the ENDBLK): the header's end handle stays.
    EXPECT_EQ(with_two->entities->Count(), 2);
    EXPECT_EQ(with_two->last_handle, "7E");
}

TEST(R13Load, TypesWithoutAClassType48AndTypesAbove500AreDroppedInsideABlock) {
    Builder b;
    R13BlockSpec block = PlainBlock("MIXED", 0x50);
    block.entities = {
        Seqend(0x60),
        EntityObject(R13EntityHead{}.Type(9).Handle(0x61)),   // no class
        OpaqueObject(48, 0x62),                               // a block control
        EntityObject(R13EntityHead{}.Type(501).Handle(0x63)), // above 500
        EntityObject(R13EntityHead{}.Type(700).Handle(0x64)),
        Seqend(0x65),
    };
    b.blocks.push_back(block);
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    auto *read = static_cast<CR13Block *>(l.drawing->Blocks().At(0));
    EXPECT_EQ(Handles(*read->entities), (std::vector<std::string>{"60", "65", "52"}));
}

TEST(R13Load, TheBlockStartKeepsACopyOfTheEndblk) {
    Builder b;
    R13BlockSpec block = PlainBlock("KEEP", 0x50);
    block.entities = {Seqend(0x60)};
    b.blocks.push_back(block);
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    auto *read = static_cast<CR13Block *>(l.drawing->Blocks().At(0));
    ASSERT_NE(read->start, nullptr);
    EXPECT_STREQ(read->start->GetData()->handle, "51");
    ASSERT_NE(read->start->end_block, nullptr);
    EXPECT_STREQ(read->start->end_block->GetData()->handle, "52");
    EXPECT_EQ(+read->start->end_block->GetData()->entity_type, CDB_ENDBLK);
    // The chain has its own ENDBLK, not the copy.
    CModelEntity *chain_end = read->entities->At(read->entities->Count() - 1);
    EXPECT_NE(chain_end, read->start->end_block.get());
}

TEST(R13Load, ABlockWhoseEntityFailsToDecodeFailsTheLoad) {
    Builder b;
    R13BlockSpec block = PlainBlock("BAD", 0x50);
    block.entities = {Seqend(0x60), EntityWithBadEed(0x61)};
    b.blocks.push_back(block);
    Loaded l = Load(b);
    ASSERT_EQ(l.opened, 1);
    EXPECT_EQ(l.loaded, 0);
}

TEST(R13Load, AnObjectOfTheLongSizeFormIsPassedOverAndTheNextOneDelivered) {
    Builder b;
    // Two words: (0x8003 & 0x7FFF) XOR (0 << 15) = 3 bytes, the object taking 3 + 6.
    const R13Object long_form = {0x03, 0x80, 0x00, 0x00, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE};
    b.Space(kModelSpaceName)->entities = {Seqend(0x40), long_form, Seqend(0x41)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesWithoutEnd(l.drawing->Entities()), (std::vector<std::string>{"40", "41"}));
}

// ---- Behind the tables ------------------------------------------------------------------------

TEST(R13Load, ObjectsBehindTheTablesAreCarriedInFileOrderUpToTheFirstMultilineStyle) {
    Builder b;
    b.other_objects = {OpaqueObject(42, 0x70), OpaqueObject(600, 0x6A, 12),
                       OpaqueObject(501, 0x71)};
    b.mline_styles.push_back(MlineStyleObject(0x72, "DOUBLE"));
    b.objects_behind = {OpaqueObject(600, 0x73)};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CObjectMap &carried = l.drawing->CarriedObjects();
    ASSERT_EQ(carried.Count(), 3u);
    EXPECT_EQ(carried.At(0).handle, 0x70u);
    EXPECT_EQ(carried.At(0).offset, b.OffsetOf(0x70));
    EXPECT_EQ(carried.At(1).handle, 0x6Au);
    EXPECT_EQ(carried.At(1).offset, b.OffsetOf(0x6A));
    EXPECT_EQ(carried.At(2).handle, 0x71u);
    EXPECT_EQ(carried.At(2).offset, b.OffsetOf(0x71));
}

TEST(R13Load, TheMultilineStylesBehindTheCarriedObjectsAreRead) {
    Builder b;
    b.other_objects = {OpaqueObject(600, 0x70)};
    b.mline_styles.push_back(MlineStyleObject(0x72, "DOUBLE"));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    ASSERT_EQ(l.drawing->GetMLineStyleTableCount(), 2);
    EXPECT_STREQ(l.drawing->GetMLineStyleTable(0)->name, "STANDARD");
    EXPECT_STREQ(l.drawing->GetMLineStyleTable(1)->name, "DOUBLE");
    EXPECT_STREQ(l.drawing->GetMLineStyleTable(1)->handle, "72");
}

TEST(R13Load, AnEmptyObjectEndsTheMultilineStyles) {
    Builder b;
    b.objects_behind = {R13Object{0, 0, 0, 0}, MlineStyleObject(0x72, "AFTER")};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    // The style behind the empty object is not one of the table's: the update pass meets
    // it as a later record of the table and appends it behind the ones read there.
    ASSERT_EQ(l.drawing->GetMLineStyleTableCount(), 2);
    EXPECT_STREQ(l.drawing->GetMLineStyleTable(0)->name, "STANDARD");
    EXPECT_STREQ(l.drawing->GetMLineStyleTable(1)->name, "AFTER");
}

TEST(R13Load, WithoutAMultilineStyleTheWalkBehindTheTablesRunsToTheEndAndFails) {
    Builder b;
    b.mline_styles.clear();
    Loaded l = Load(b);
    ASSERT_EQ(l.opened, 1);
    EXPECT_EQ(l.loaded, 0);
    EXPECT_EQ(l.drawing->GetError(), CDB_ERR_FILE_READ);
}

// ---- The end of the load ----------------------------------------------------------------------

TEST(R13Load, SymbolsOfExternalReferencesAreDroppedFromTheTables) {
    Builder b;
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x30, "XREF|WALLS"));
    b.tables[Builder::kLtypeTable].records.push_back(LtypeObject(0x31, "XREF|DASHED"));
    b.tables[Builder::kStyleTable].records.push_back(StyleObject(0x32, "XREF|ROMANS"));
    b.tables[Builder::kAppidTable].records.push_back(AppidObject(0x33, "XREF|APP"));
    // A "|" in the first place marks nothing.
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x34, "|FIRST"));
    b.blocks.push_back(PlainBlock("XREF|BLOCK", 0x50));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(l.drawing->GetLayerTableCount(), 2);
    EXPECT_EQ(l.drawing->Table(R13Table::kLayers).IndexOfName("XREF|WALLS"), -1);
    EXPECT_GE(l.drawing->Table(R13Table::kLayers).IndexOfName("|FIRST"), 0);
    EXPECT_EQ(l.drawing->GetLtypeTableCount(), 1);
    EXPECT_EQ(l.drawing->GetStyleTableCount(), 1);
    EXPECT_EQ(l.drawing->GetBlockTableCount(), 0);
    // The application names keep theirs.
    EXPECT_EQ(l.drawing->GetAppidTableCount(), 2);
}

TEST(R13Load, LayerZeroMovesToTheFrontAndItsHandleIsKept) {
    Builder b;
    auto &layers = b.tables[Builder::kLayerTable].records;
    layers.insert(layers.begin(), LayerObject(0x30, "WALLS"));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    ASSERT_EQ(l.drawing->GetLayerTableCount(), 2);
    EXPECT_STREQ(l.drawing->GetLayerTable(0)->name, "0");
    EXPECT_STREQ(l.drawing->GetLayerTable(1)->name, "WALLS");
    EXPECT_EQ(l.drawing->LayerZeroHandle(), "10");
}

TEST(R13Load, EachLayersLineTypeHandleBecomesAnIndex) {
    Builder b;
    b.tables[Builder::kLtypeTable].records.push_back(LtypeObject(0x31, "DASHED"));
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x30, "DASHES", 1, "31"));
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x32, "LOST", 1, "99"));
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    EXPECT_EQ(+l.drawing->GetLayerTable(0)->line_type_index, 0); // "0" on CONTINUOUS
    EXPECT_EQ(+l.drawing->GetLayerTable(1)->line_type_index, 1);
    EXPECT_EQ(+l.drawing->GetLayerTable(2)->line_type_index, -1);
}

TEST(R13Load, TheHeadersHandlesBecomeTableIndices) {
    Builder b;
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x30, "CURRENT"));
    b.tables[Builder::kStyleTable].records.push_back(StyleObject(0x32, "ROMANS"));
    b.SetHeaderHandle(&CDB_HEADER_type::hclayer, "30");
    b.SetHeaderHandle(&CDB_HEADER_type::hceltype, "15");
    b.SetHeaderHandle(&CDB_HEADER_type::htextstyle, "32");
    b.SetHeaderHandle(&CDB_HEADER_type::hdimstyle, "1D");
    b.SetHeaderHandle(&CDB_HEADER_type::hdimtxsty, "11");
    b.SetHeaderHandle(&CDB_HEADER_type::hucsname, "");
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    const CDB_HEADER_type *vars = l.drawing->GetAllVars();
    EXPECT_EQ(+vars->clayer, 1);
    EXPECT_EQ(+vars->celtype, 0);
    EXPECT_EQ(+vars->textstyle, 1);
    EXPECT_EQ(+vars->dimtxsty, 0);
    EXPECT_EQ(+vars->dimstyle, 0);
    EXPECT_EQ(+vars->ucsname, -1);
}

TEST(R13Load, HeaderIndicesAreTakenBeforeLayerZeroMovesToTheFront) {
    Builder b;
    auto &layers = b.tables[Builder::kLayerTable].records;
    layers.insert(layers.begin(), LayerObject(0x30, "WALLS"));
    b.SetHeaderHandle(&CDB_HEADER_type::hclayer, "10");
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    EXPECT_STREQ(l.drawing->GetLayerTable(0)->name, "0");
    // Layer "0" stood second when the header was resolved.
    EXPECT_EQ(+l.drawing->GetAllVars()->clayer, 1);
}

TEST(R13Load, AHeaderDimstyleOfZeroWritesTheLineTypeAndLeavesTheDimstyle) {
    Builder b;
    b.tables[Builder::kLtypeTable].records.push_back(LtypeObject(0x31, "DASHED"));
    b.SetHeaderHandle(&CDB_HEADER_type::hceltype, "31");
    b.SetHeaderHandle(&CDB_HEADER_type::hdimstyle, "0");
    b.header.vars.dimstyle = 0; // not in the section: the reader's value stays
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1);
    const CDB_HEADER_type *vars = l.drawing->GetAllVars();
    EXPECT_EQ(+vars->celtype, 0); // 1 from its own handle, then 0 from the dimension style
    EXPECT_EQ(+vars->dimstyle, 0);
}

TEST(R13Load, HeaderLineTypeAndLayerOfZeroAndMinusOneNeedNoLookup) {
    CR13Header header;
    header.vars.hceltype = static_cast<char *>(std::malloc(3));
    std::strcpy(header.vars.hceltype, "-1");
    header.vars.hclayer = static_cast<char *>(std::malloc(2));
    std::strcpy(header.vars.hclayer, "0");
    int lookups = 0;
    header.ResolveIndices([&lookups](TableBase, const char *) {
        ++lookups;
        return 5;
    });
    EXPECT_EQ(+header.vars.celtype, -1);
    EXPECT_EQ(+header.vars.clayer, 0);
    // The dimension style (empty, not "-1" nor "0") is the one lookup.
    EXPECT_EQ(lookups, 1);
}

// ---- The spaces -------------------------------------------------------------------------------

TEST(R13Load, TheMainListHoldsModelSpaceThenPaperSpace) {
    Builder b;
    b.Space(kModelSpaceName)->entities = {Seqend(0x40), Seqend(0x41), Seqend(0x42)};
    b.Space(kPaperSpaceName)->entities = {
        EntityObject(R13EntityHead{}.Handle(0x43).InPaperSpace())};
    Loaded l = Load(b);
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    EXPECT_EQ(HandlesWithoutEnd(l.drawing->Entities()),
              (std::vector<std::string>{"40", "41", "42", "43"}));
    // Each entity tells its space, so the space filter tells them apart.
    EXPECT_EQ(+l.drawing->Entities().At(2)->GetData()->space, 0);
    EXPECT_EQ(+l.drawing->Entities().At(3)->GetData()->space, 1);
    // Neither space stays among the blocks.
    EXPECT_EQ(l.drawing->Blocks().Count(), 0);
}

// ---- Through the flat interface ---------------------------------------------------------------

TEST(R13Load, TheFlatInterfaceOpensABuiltDrawing) {
    Builder b;
    b.header.vars.extmax = CDB_POINT3{7.0, 8.0, 9.0};
    b.tables[Builder::kLayerTable].records.push_back(LayerObject(0x30, "WALLS", 3));
    b.blocks.push_back(PlainBlock("DOOR", 0x50));
    b.Space(kModelSpaceName)->entities = {Seqend(0x40), Seqend(0x41)};
    TempFile file("r13_flat.dwg", b.Build());
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);
    EXPECT_EQ(CDBGetAutoCADVersion(h), 13);

    CDB_VAR_VALUE_type value;
    EXPECT_EQ(CDBGetVariableValue(h, "EXTMAX", &value), CDB_VAR_POINT3);
    EXPECT_EQ(+value.point3_value.y, 8.0);
    EXPECT_EQ(CDBGetVariableValue(h, "TREEDEPTH", &value), CDB_VAR_INT16);
    EXPECT_EQ(+value.int_value, 3020);

    EXPECT_EQ(CDBLayerTableCount(h), 2);
    CDB_LAYER_TBL_type layer;
    ASSERT_EQ(CDBLayerTableGet(h, 1, &layer), 0);
    EXPECT_STREQ(layer.name, "WALLS");
    EXPECT_EQ(+layer.color, 3);
    EXPECT_EQ(CDBLayerTableFind(h, "WALLS"), 1);
    EXPECT_EQ(CDBBlockTableCount(h), 1);
    // The main list is model space: the walk meets its entities in file order.
    std::vector<std::string> walked;
    int steps = 0;
    for (int32_t id = CDBFirstEntity(h, -1); id >= 0 && steps < 100; id = CDBNextEntity(h)) {
        CDB_ENTITY entity;
        std::memset(&entity, 0, sizeof entity);
        ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
        ++steps;
        if (entity.entity_type != CDB_ENDBLK)
            walked.push_back(entity.handle ? entity.handle : "");
    }
    EXPECT_EQ(walked, (std::vector<std::string>{"40", "41"}));
    EXPECT_EQ(CDBEntityCount(h, -1), steps);
    EXPECT_EQ(CDBEndOperation(h), 0);
}

TEST(R13Load, TheExtendedDataCursorResolvesTheApplicationByHandle) {
    Builder b;
    b.tables[Builder::kAppidTable].records.push_back(AppidObject(0x35, "MYAPP"));
    std::vector<uint8_t> values;
    PutEedShort(values, 42);
    PutEedString(values, "hello");
    PutEedReal(values, 1.5);
    b.Space(kModelSpaceName)->entities = {
        EntityObject(R13EntityHead{}.Handle(0x40).Eed(Eed13(0x35, values)))};
    TempFile file("r13_eed.dwg", b.Build());
    const int16_t h = CDBStartFileReading(file.c_str(), nullptr);
    ASSERT_GE(h, 0) << CDBGetErrorNumber(-1);

    ASSERT_NE(CDBFirstEntity(h, -1), CDB_FAIL);
    CDB_ENTITY entity;
    std::memset(&entity, 0, sizeof entity);
    ASSERT_GE(CDBGetCurrentEntity(h, &entity), 0);
    ASSERT_STREQ(entity.handle, "40");
    CDB_EED_type cursor;
    ASSERT_EQ(CDBGetEED(h, &entity, &cursor), 0);
    EXPECT_EQ(CDBEEDGetFirstAppid(h, &cursor), 1);
    EXPECT_EQ(CDBEEDGetNextAppid(h, &cursor), CDB_EED_END);

    CDB_EED_VALUES v;
    EXPECT_EQ(CDBEEDGetFirstValue(h, &cursor, &v), 1);
    EXPECT_EQ(+v.short_value, 1);
    EXPECT_EQ(CDBEEDGetNextValue(h, &cursor, &v), 70);
    EXPECT_EQ(+v.short_value, 42);
    EXPECT_EQ(CDBEEDGetNextValue(h, &cursor, &v), 0);
    EXPECT_STREQ(v.text, "hello");
    EXPECT_EQ(CDBEEDGetNextValue(h, &cursor, &v), 40);
    EXPECT_EQ(+v.real_value, 1.5);
    EXPECT_EQ(CDBEEDGetNextValue(h, &cursor, &v), CDB_EED_END);
    CDBEndOperation(h);
}

} // namespace
} // namespace velko_test
