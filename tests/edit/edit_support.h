// Helpers of the edit tests: small release 12 drawings with handles on or off, the
// drawing object behind a handle, and a comparison of an entity record taken in with the
// record read back.
#pragma once

#include "walk/walk_support.h"

#include "dwg12/r12_drawing.h"

#include "velkow32.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {
namespace edit {

// A drawing with the minimal tables (layer "0", style "STANDARD", line type
// "CONTINUOUS", viewport "*ACTIVE", application "ACAD"), the given main section and
// blocks, and handles on or off with the given seed bytes.
Bytes EditDrawing(const Bytes &entities = {}, const std::vector<walk::BlockDef> &blocks = {},
                  bool handling = false, const std::array<uint8_t, 8> &seed = {});

// Three lines, a circle and a text in the main section; block 0 "A" with a line.
Bytes FiveEntityDrawing(bool handling = false, const std::array<uint8_t, 8> &seed = {});

// The release 12 drawing behind a handle, or null.
CR12Drawing *R12(int16_t h);

// The header's handle seed text.
std::string Handseed(int16_t h);

// The kinds of a list, walked with CDBGetEntity from position 0 to the list's end.
std::vector<int> ListKinds(int16_t h, int16_t block);

// Expects that `read` (a record read back in list mode) holds what `added` held: the same
// values, the same texts, handle, extended data bytes and frozen layers, in blocks of
// their own. Release 13 references read back as null.
void ExpectSameEntity(const CDB_ENTITY &added, const CDB_ENTITY &read);

} // namespace edit
} // namespace velko_test
