// The fixed text blocks of the header record, shared by both releases.
#include "records/header_texts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

TEST(HeaderTexts, AttachPointsTheNineTextsAtClearedBlocks) {
    CHeaderTextBlocks blocks;
    CDB_HEADER_type vars;
    std::memset(&vars, 0, sizeof vars);
    blocks.Attach(vars);
    std::strcpy(vars.menu, "acad");
    blocks.Attach(vars);
    EXPECT_STREQ(vars.menu, "") << "attaching again clears the blocks";
    for (const HeaderTextBlock &block : kHeaderTextBlocks) {
        char *text = nullptr;
        std::memcpy(&text, reinterpret_cast<const char *>(&vars) + block.offset, sizeof text);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(HeaderTextRoomOf(block.offset), block.room);
    }
    EXPECT_EQ(HeaderTextRoomOf(offsetof(CDB_HEADER_type, menu)), kHeaderMenuSize);
    EXPECT_EQ(HeaderTextRoomOf(offsetof(CDB_HEADER_type, hclayer)), 0u)
        << "the handle texts have no block";
}

TEST(HeaderTexts, CopyIntoTextBlockCutsAndClears) {
    char block[6];
    std::memset(block, 'x', sizeof block);
    CopyIntoTextBlock(block, sizeof block, "abcdefgh");
    EXPECT_STREQ(block, "abcde");
    CopyIntoTextBlock(block, sizeof block, "ab");
    EXPECT_EQ(std::memcmp(block, "ab\0\0\0\0", 6), 0);
    CopyIntoTextBlock(block, sizeof block, nullptr);
    EXPECT_STREQ(block, "");
    std::strcpy(block, "abc");
    CopyIntoTextBlock(block, sizeof block, block + 1);
    EXPECT_STREQ(block, "bc") << "a text inside the block moves";
}
