// Edits of real release 13 drawings of the corpus, a DWG and a DXF, checked in memory: the
// walk's counts, the tables, the seed and the object map after each edit.
#include "dwg13/r13_edit_support.h"

#include "support/corpus.h"

#include <gtest/gtest.h>

#include <string>

namespace velko_test {
namespace r13edit {
namespace {

class R13CorpusEdit : public R13EditTest {
protected:
    void OpenCorpus(const char *relative) {
        if (!CorpusAvailable())
            GTEST_SKIP() << CorpusMissingReason();
        OpenPath(CorpusPath(relative));
    }
    // The hexadecimal value of the seed.
    uint32_t SeedValue() const { return R13HandleValue(Seed().c_str()); }
};

TEST_F(R13CorpusEdit, TheRelaidDwgTakesALineALayerAndADeletion) {
    OpenCorpus("dwg13/example_r13_relaid.dwg");
    if (HasFatalFailure() || IsSkipped())
        return;
    const size_t entries = D().ObjectMap().Count();
    const uint32_t seed = SeedValue();
    const int16_t count = CDBEntityCount(h, -1);
    const int16_t layers = CDBLayerTableCount(h);

    CDB_ENTITY line = Line(5.0);
    const int32_t position = CDBEntityAdd(h, -1, &line);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(h);
    EXPECT_EQ(CDBEntityCount(h, -1), count + 1);
    EXPECT_EQ(R13HandleValue(EntityAt(-1, position)->handle), seed);
    EXPECT_EQ(SeedValue(), seed + 1);
    EXPECT_EQ(D().ObjectMap().Count(), entries + 1);
    EXPECT_TRUE(MapIsSorted());

    CDB_LAYER_TBL_type layer;
    CDBLayerTableDefault(&layer);
    char name[] = "edited";
    layer.name = name;
    const int16_t index = CDBLayerTableAdd(h, &layer);
    EXPECT_EQ(index, layers);
    EXPECT_EQ(CDBLayerTableFind(h, "EDITED"), layers);
    EXPECT_EQ(D().ObjectMap().Count(), entries + 2);

    // The first entity of the file leaves its list and the map.
    const std::string first = EntityAt(-1, 0)->handle;
    ASSERT_GT(MapOffset(first.c_str()), 0);
    EXPECT_EQ(CDBEntityDelete(h, CDBPackEntityId(-1, 0)), 1);
    EXPECT_EQ(CDBEntityCount(h, -1), count);
    EXPECT_EQ(MapOffset(first.c_str()), -1);
    EXPECT_EQ(D().ObjectMap().Count(), entries + 1);
    EXPECT_TRUE(MapIsSorted());
}

TEST_F(R13CorpusEdit, ADxfDrawingTakesALineWithAHandleAndNoMapEntry) {
    OpenCorpus("dxf13/example_r13.dxf");
    if (HasFatalFailure() || IsSkipped())
        return;
    const size_t entries = D().ObjectMap().Count();
    const uint32_t seed = SeedValue();
    const int16_t count = CDBEntityCount(h, -1);
    CDB_ENTITY line = Line(5.0);
    const int32_t position = CDBEntityAdd(h, -1, &line);
    ASSERT_GE(position, 0) << CDBGetErrorNumber(h);
    EXPECT_EQ(CDBEntityCount(h, -1), count + 1);
    EXPECT_EQ(R13HandleValue(EntityAt(-1, position)->handle), seed);
    EXPECT_EQ(SeedValue(), seed + 1);
    EXPECT_EQ(D().ObjectMap().Count(), entries);

    CDB_ENTITY read;
    ASSERT_GE(CDBGetEntity(h, CDBPackEntityId(-1, 0), &read), 0);
    const std::string handle = read.handle;
    EXPECT_EQ(CDBEntityModify(h, CDBPackEntityId(-1, 0), &read), 1);
    EXPECT_EQ(std::string(EntityAt(-1, 0)->handle), handle);
}

} // namespace
} // namespace r13edit
} // namespace velko_test
