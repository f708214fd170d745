// Where a name may be shortened without cutting an escape.
#include "dxf/dxf_name_escapes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

size_t Safe(const char *name) {
    return EscapeSafeLength(name, std::strlen(name));
}

TEST(DxfNameEscapes, ANameWithoutEscapesIsKeptWhole) {
    EXPECT_EQ(Safe("WALLS"), 5u);
    EXPECT_EQ(Safe(""), 0u);
    EXPECT_EQ(EscapeSafeLength(nullptr, 10), 0u);
    EXPECT_EQ(EscapeSafeLength("WALLS", 3), 3u);
    // A backslash or a percent sign that starts no escape is an ordinary character.
    EXPECT_EQ(Safe("A\\B"), 3u);
    EXPECT_EQ(Safe("50%"), 3u);
}

TEST(DxfNameEscapes, WholeEscapesAreKept) {
    EXPECT_EQ(Safe("\\U+039B\\U+0391"), 14u);
    EXPECT_EQ(Safe("\\M+18140X"), 9u);
    EXPECT_EQ(Safe("A%%123B"), 7u);
    EXPECT_EQ(Safe("%%c10"), 5u);
}

TEST(DxfNameEscapes, ANameCutInsideAnEscapeEndsBeforeIt) {
    // The layer of ASCII_R12.dxf as the original reader cuts it, at 31 characters.
    EXPECT_EQ(Safe("\\U+039B\\U+0391\\U+0393\\U+0395\\U+"), 28u);
    EXPECT_EQ(Safe("AB\\U+03"), 2u);
    EXPECT_EQ(Safe("AB\\U"), 2u);
    EXPECT_EQ(Safe("AB\\"), 2u);
    EXPECT_EQ(Safe("AB\\M+1"), 2u);
    EXPECT_EQ(Safe("AB%%12"), 2u);
    EXPECT_EQ(Safe("AB%%"), 2u);
    // A limit inside an escape shortens before it.
    EXPECT_EQ(EscapeSafeLength("AB\\U+039B", 5), 2u);
    EXPECT_EQ(EscapeSafeLength("AB\\U+039BCD", 10), 10u);
}

} // namespace
