// The extended data collector in its release 13 form: sections by application handle, strings
// with a code page, layers by handle.
#include "dxf/dxf_eed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// Applications ACAD (handle 12), LONG (handle 1F3), WIDE (an 8-byte handle), NIL (handle 0);
// layers 0 (handle 10) and WALLS (handle 2A).
DxfEedHandles TestHandles() {
    DxfEedHandles handles;
    handles.appid = [](const char *name) -> const char * {
        if (std::strcmp(name, "ACAD") == 0)
            return "12";
        if (std::strcmp(name, "LONG") == 0)
            return "1F3";
        if (std::strcmp(name, "WIDE") == 0)
            return "123456789ABCDEF0";
        if (std::strcmp(name, "NIL") == 0)
            return "0";
        return nullptr;
    };
    handles.layer = [](const char *name) -> const char * {
        if (std::strcmp(name, "0") == 0)
            return "10";
        if (std::strcmp(name, "WALLS") == 0)
            return "2A";
        return nullptr;
    };
    return handles;
}

// The stored bytes of the groups, added one by one to an ASCII collector.
Bytes Collect(const std::vector<std::pair<int16_t, std::string>> &groups) {
    const DxfEedHandles handles = TestHandles();
    CDxfEedCollector collector(handles, false);
    for (const auto &g : groups)
        collector.Add(g.first, g.second.c_str());
    return collector.Bytes();
}

TEST(DxfEedRelease13, ApplicationMarkerCountsTheHandlesBytes) {
    EXPECT_EQ(Collect({{1001, "ACAD"}}), (Bytes{0x51, 0x12}));
    EXPECT_EQ(Collect({{1001, "LONG"}}), (Bytes{0x52, 0x01, 0xF3}));
    EXPECT_EQ(Collect({{1001, "NIL"}}), (Bytes{0x51, 0x00}));
    EXPECT_EQ(Collect({{1001, "WIDE"}}),
              (Bytes{0x58, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}));
}

TEST(DxfEedRelease13, ValuesOutsideASectionAreDropped) {
    EXPECT_EQ(Collect({{1000, "x"}, {1070, "1"}}), Bytes{});
    EXPECT_EQ(Collect({{1001, "NOSUCH"}, {1070, "1"}, {1001, "ACAD"}, {1070, "2"}}),
              (Bytes{0x51, 0x12, 0x46, 0x02, 0x00}));
}

TEST(DxfEedRelease13, StringCarriesACodePageAndIsCutAt255Bytes) {
    EXPECT_EQ(Collect({{1001, "ACAD"}, {1000, ""}}), (Bytes{0x51, 0x12, 0x00, 0x00, 0x00, 0x00}));
    const Bytes long_text = Collect({{1001, "ACAD"}, {1000, std::string(300, 'a')}});
    ASSERT_EQ(long_text.size(), 2u + 4u + 255u);
    EXPECT_EQ(long_text[3], 255);
}

TEST(DxfEedRelease13, LayerIsStoredByItsHandle) {
    EXPECT_EQ(Collect({{1001, "ACAD"}, {1003, "WALLS"}}),
              (Bytes{0x51, 0x12, 0x03, 0, 0, 0, 0, 0, 0, 0, 0x2A}));
    EXPECT_EQ(Collect({{1001, "ACAD"}, {1003, "NOSUCH"}}),
              (Bytes{0x51, 0x12, 0x03, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(DxfEedRelease13, PointPartWithoutAPointIsDropped) {
    EXPECT_EQ(Collect({{1001, "ACAD"}, {1000, "a"}, {1020, "2.0"}}),
              (Bytes{0x51, 0x12, 0x00, 0x01, 0x00, 0x00, 'a'}));
}

TEST(DxfEedRelease13, BlockStaysBelow64KBytes) {
    std::vector<std::pair<int16_t, std::string>> groups = {{1001, "ACAD"}};
    for (int i = 0; i < 300; ++i)
        groups.emplace_back(1000, std::string(255, 'b'));
    groups.emplace_back(1070, "1");
    const Bytes bytes = Collect(groups);
    EXPECT_LE(bytes.size(), 65535u);
    // Whole strings only: the block was closed at the first one that did not fit.
    EXPECT_EQ((bytes.size() - 2) % 259, 0u);
}

} // namespace
