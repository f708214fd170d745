// The release 13 kinds in whole drawings made by the test builder: what a failed decode does
// to the load, and the references that the kinds resolve through the drawing's tables.
#include "r13_new_kinds_support.h"

#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_new_kinds.h"
#include "records/entity_kinds.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace velko_test {
namespace {

struct Loaded {
    std::unique_ptr<TempFile> file;
    std::unique_ptr<CR13Drawing> drawing;
    int loaded = 0;
};

Loaded LoadWith(std::vector<R13Object> entities) {
    Dwg13Builder b;
    b.Space(kModelSpaceName)->entities = std::move(entities);
    Loaded l;
    l.file = std::make_unique<TempFile>("r13_new_kinds.dwg", b.Build());
    l.drawing = std::make_unique<CR13Drawing>(nullptr, 0);
    if (l.drawing->OpenDWG(l.file->c_str(), CDB_OPEN_READ) == 1)
        l.loaded = l.drawing->LoadDWG();
    return l;
}

// An object of `type` at handle `handle` in model space, its record filled by `fill`.
template <typename Fill> R13Object ObjectOf(int16_t type, uint32_t handle, Fill fill) {
    auto e = MakeOfType(type);
    SetEntityHead(*e, R13EntityHead{}.Type(type).Handle(handle));
    fill(*e);
    return EntityObjectOf(*e);
}

// The first entity of the drawing's model space of the public kind `code`.
CR13Entity *FirstOfKind(CR13Drawing &drawing, int16_t code) {
    CEntityList &list = drawing.Entities();
    for (int i = 0; i < list.Count(); ++i)
        if (list.At(i)->Code() == code)
            return static_cast<CR13Entity *>(list.At(i));
    return nullptr;
}

R13Object Seqend(uint32_t handle) {
    return EntityObject(R13EntityHead{}.Handle(handle));
}

TEST(R13NewKindsLoad, ASplineOfScenarioThreeFailsTheWholeLoadWithZero) {
    Loaded l = LoadWith({Seqend(0x40), ObjectOf(36, 0x41, [](CR13Entity &e) {
                             static_cast<CR13Spline &>(e).scenario = 3;
                         })});
    EXPECT_EQ(l.loaded, 0);
}

TEST(R13NewKindsLoad, ALeaderWithZeroPointsLoadsAndTheDrawingGoesOn) {
    Loaded l = LoadWith({ObjectOf(45, 0x41, [](CR13Entity &) {}), Seqend(0x42)});
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CR13Entity *leader = FirstOfKind(*l.drawing, CDB_LEADER);
    ASSERT_NE(leader, nullptr);
    EXPECT_EQ(+leader->GetData()->leader.vertex_count, 0);
    EXPECT_EQ(leader->GetData()->layer_handle, nullptr);
    EXPECT_NE(FirstOfKind(*l.drawing, CDB_SEQEND), nullptr);
}

TEST(R13NewKindsLoad, AnMlineWithZeroLinesFailsTheLoad) {
    Loaded l = LoadWith({ObjectOf(47, 0x41, [](CR13Entity &e) {
        CDB_MLINE_type &m = e.GetData()->mline;
        m.line_count = 0;
        m.vertex_count = 1;
    })});
    EXPECT_EQ(l.loaded, 0);
}

TEST(R13NewKindsLoad, TheKindsResolveTheirStylesThroughTheDrawingsTables) {
    Loaded l = LoadWith({
        ObjectOf(44, 0x41, [](CR13Entity &e) { e.GetData()->mtext.style_handle = Dup("11"); }),
        ObjectOf(46, 0x42,
                 [](CR13Entity &e) { e.GetData()->tolerance.dimstyle_handle = Dup("1D"); }),
        ObjectOf(45, 0x43,
                 [](CR13Entity &e) {
                     CDB_LEADER_type &l = e.GetData()->leader;
                     l.vertex_count = 1;
                     l.vertices = static_cast<CDB_POINT3 *>(std::calloc(1, sizeof(CDB_POINT3)));
                     l.dimstyle_handle = Dup("1D");
                 }),
        ObjectOf(47, 0x44,
                 [](CR13Entity &e) {
                     CDB_MLINE_type &m = e.GetData()->mline;
                     m.line_count = 1;
                     m.vertex_count = 1;
                     m.vertices =
                         static_cast<CDB_MLINE_VERTEX *>(std::calloc(1, sizeof(CDB_MLINE_VERTEX)));
                     m.vertices[0].lines =
                         static_cast<CDB_MLINE_LINE *>(std::calloc(1, sizeof(CDB_MLINE_LINE)));
                     m.style_handle = Dup("18");
                 }),
    });
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CR13Drawing &d = *l.drawing;
    auto *mtext = static_cast<CR13Mtext *>(FirstOfKind(d, CDB_MTEXT));
    ASSERT_NE(mtext, nullptr);
    mtext->GetResolvedRecord();
    EXPECT_EQ(mtext->StyleIndex(),
              d.IndexOfHandle(TableBase::kStyles, "11") + d.Base(TableBase::kStyles));
    EXPECT_GE(d.IndexOfHandle(TableBase::kStyles, "11"), 0);

    CDB_ENTITY out;
    CR13Entity *tolerance = FirstOfKind(d, CDB_TOLERANCE);
    ASSERT_NE(tolerance, nullptr);
    EXPECT_GE(d.IndexOfHandle(TableBase::kDimstyles, "1D"), 0);
    const int dimstyle =
        d.IndexOfHandle(TableBase::kDimstyles, "1D") + d.Base(TableBase::kDimstyles);
    EXPECT_EQ(+tolerance->GetResolvedRecord()->tolerance.dimstyle_index, dimstyle);

    CR13Entity *leader = FirstOfKind(d, CDB_LEADER);
    ASSERT_NE(leader, nullptr);
    leader->GetRecord(&out);
    EXPECT_EQ(+out.leader.dimstyle_index, dimstyle);
    FreeOwnedTexts(&out);

    CR13Entity *mline = FirstOfKind(d, CDB_MLINE);
    ASSERT_NE(mline, nullptr);
    EXPECT_GE(d.IndexOfHandle(TableBase::kMlineStyles, "18"), 0);
    EXPECT_EQ(+mline->GetResolvedRecord()->mline.style_index,
              d.IndexOfHandle(TableBase::kMlineStyles, "18") + d.Base(TableBase::kMlineStyles));
}

TEST(R13NewKindsLoad, GetRecordOfALeaderFindsTheAcadItemOfItsExtendedData) {
    std::vector<uint8_t> values;
    PutEedString(values, "DSTYLE");
    PutEedShort(values, 41);
    auto with_acad = [&](CR13Entity &e) {
        CDB_LEADER_type &l = e.GetData()->leader;
        l.vertex_count = 1;
        l.vertices = static_cast<CDB_POINT3 *>(std::calloc(1, sizeof(CDB_POINT3)));
    };
    auto e = MakeOfType(45);
    SetEntityHead(*e, R13EntityHead{}.Type(45).Handle(0x41).Eed(Eed13(0x12, values)));
    with_acad(*e);
    R13Object acad = EntityObjectOf(*e);
    Loaded l = LoadWith({acad, ObjectOf(45, 0x42, with_acad)});
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &list = l.drawing->Entities();
    ASSERT_GE(list.Count(), 2);
    auto *first = static_cast<CR13Leader *>(list.At(0));
    auto *second = static_cast<CR13Leader *>(list.At(1));
    CDB_ENTITY out;
    first->GetRecord(&out);
    FreeOwnedTexts(&out);
    EXPECT_GT(first->AcadItemPosition(), 0);
    second->GetRecord(&out);
    FreeOwnedTexts(&out);
    EXPECT_EQ(second->AcadItemPosition(), -1);
}

} // namespace
} // namespace velko_test
