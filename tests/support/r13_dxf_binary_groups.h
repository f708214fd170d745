// Holds a binary DXF of release 13 written by the library against the ASCII DXF it writes
// of the same drawing, group for group.
//
// The library reads that binary form back with no reader of its own: the writer gives every
// group code below 1000 one byte (its low byte; a code of 1000 or more is the byte 255 and
// two bytes, little-endian) and writes no sentinel, while the release 13 reader wants two
// bytes a code. So this reader takes the ASCII file as the guide: for each ASCII group it
// reads one binary group, checks its code byte against the ASCII code, reads the value by
// the type that code has, and compares it with the ASCII text -- strings and integers as
// they stand, reals by formatting the binary double to the ASCII file's 8 significant digits.
//
// One group is short by rule: the "STANDARD" entry of the multiline style dictionary goes
// out as the five bytes "STAND" with no terminator.
#ifndef VELKO_TEST_R13_DXF_BINARY_GROUPS_H
#define VELKO_TEST_R13_DXF_BINARY_GROUPS_H

#include "support/dxf_entity_groups.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {

// How a binary group's value is laid out, by its group code.
enum class BinaryValue { kString, kReal, kInt16, kInt32, kChunk };
BinaryValue BinaryValueOf(int code);

// Compares the binary bytes with the ASCII groups; "" when every group agrees and the binary
// bytes end where the ASCII groups do, otherwise the first disagreement, with its offset.
std::string CompareBinaryWithAscii(const std::vector<uint8_t> &binary,
                                   const std::vector<DxfGroup> &ascii);

} // namespace velko_test

#endif
