// The viewport's "MVIEW" extended data built back from its record: the same bytes a writer
// lays out, so that a viewport read and written again keeps its block.
#include "dwg12/r12_entities.h"
#include "dwg12/r12_frame_bytes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

using namespace velko_test;

namespace {

// The record that unpacking `eed` gives; the frozen layers are the caller's to free.
CDB_VIEWPORT_type Unpacked(const Bytes &eed) {
    CDB_VIEWPORT_type v;
    std::memset(&v, 0, sizeof v);
    R12UnpackMview(eed.data(), eed.size(), &v);
    return v;
}

MviewData Rich() {
    MviewData m;
    m.application = 3;
    m.data_version = 16;
    m.target[0] = 1.5;
    m.target[2] = -2.25;
    m.direction[0] = 0.3;
    m.twist = 0.7853981633974483;
    m.view_height = 12.5;
    m.center[0] = -4.0;
    m.lens = 35.0;
    m.front = 0.125;
    m.back = -0.5;
    for (int i = 0; i < 8; ++i)
        m.modes[i] = static_cast<int16_t>(i * 3 - 4);
    m.snap_angle = 1.2345;
    m.snap_base[1] = 7.0;
    m.snap_spacing[0] = 0.5;
    m.grid_spacing[1] = 2.0;
    m.hidden_in_plot = 1;
    m.frozen_layers = {4, 0, 17};
    return m;
}

} // namespace

TEST(R12MviewPack, PackingAnUnpackedBlockGivesTheSameBytes) {
    for (const MviewData &m : {MviewData{}, Rich()}) {
        const Bytes eed = MakeMviewData(m);
        CDB_VIEWPORT_type v = Unpacked(eed);
        EXPECT_EQ(R12PackMview(v), eed);
        std::free(v.frozen_layers);
    }
}

TEST(R12MviewPack, FieldsChangedInTheRecordAreWhatUnpackingGivesBack) {
    CDB_VIEWPORT_type v = Unpacked(MakeMviewData(Rich()));
    v.view_center.x = 99.5;
    v.snap_angle = 30.0;
    v.ucs_icon = 3;
    std::free(v.frozen_layers);
    int16_t layers[] = {2, 5};
    v.frozen_layers = layers;
    v.frozen_layer_count = 2;
    const std::vector<uint8_t> packed = R12PackMview(v);
    CDB_VIEWPORT_type back = Unpacked(packed);
    EXPECT_EQ(back.view_center.x, 99.5);
    // Not every angle in degrees has a double in radians that converts back exactly.
    EXPECT_DOUBLE_EQ(back.snap_angle, 30.0);
    EXPECT_EQ(+back.ucs_icon, 3);
    ASSERT_EQ(+back.frozen_layer_count, 2);
    EXPECT_EQ(back.frozen_layers[0], 2);
    EXPECT_EQ(back.frozen_layers[1], 5);
    EXPECT_EQ(std::string(back.eed_application), "MVIEW");
    std::free(back.frozen_layers);
}

TEST(R12MviewPack, ARecordWithoutFrozenLayersClosesBothBraces) {
    CDB_VIEWPORT_type v;
    std::memset(&v, 0, sizeof v);
    std::memcpy(v.eed_application, "MVIEW", 6);
    const std::vector<uint8_t> packed = R12PackMview(v);
    ASSERT_GE(packed.size(), 6u);
    const uint8_t tail[] = {2, 0, 2, 1, 2, 1};
    EXPECT_TRUE(std::equal(tail, tail + 6, packed.end() - 6));
}
