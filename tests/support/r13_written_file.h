// What the release 13 save tests read back from a written DWG: its bytes, the 32-bit
// values and sections its head points at, its object map, and the check every object
// must end in.
#ifndef VELKO_TEST_R13_WRITTEN_FILE_H
#define VELKO_TEST_R13_WRITTEN_FILE_H

#include "dwg13/r13_object_map.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace velko_test {

// The whole file; empty when it cannot be read.
std::vector<uint8_t> FileBytes(const std::string &path);
// The little-endian 32-bit value at `at`; 0 past the end.
uint32_t LongAt(const std::vector<uint8_t> &bytes, size_t at);
// The section whose offset stands at `offset_at` and its size behind it; empty when it
// lies outside the file.
std::vector<uint8_t> SectionAt(const std::vector<uint8_t> &bytes, size_t offset_at);
// The object map the file's head points at, as the library reads it.
std::vector<ObjectMapEntry> MapEntriesOf(const std::string &path);
// The same by handle.
std::map<uint32_t, int32_t> MapOffsetsOf(const std::string &path);
// "" when every object of `entries` lies inside `bytes` and ends in the check FF FF;
// otherwise what is wrong with the first that does not.
std::string ObjectChecksProblem(const std::vector<uint8_t> &bytes,
                                const std::vector<ObjectMapEntry> &entries);

} // namespace velko_test

#endif
