// The texts that a list mode record hands to its caller as its own copies: which fields of
// a kind they are, and their release. Free of any test framework, so that the fuzz targets
// share it with the tests.
#pragma once

#include "velkow32.h"

#include <array>

namespace velko_test {
namespace walk {

// The text fields of a record's kind (the ones a list mode record hands out as copies),
// null where the kind has fewer than three.
std::array<char **, 3> CopiedTexts(CDB_ENTITY &record);
// Frees the texts that a list mode record of an entity hands to its caller (TEXT one,
// ATTRIB two, ATTDEF three, DIMENSION one, block start three) and nulls them.
void FreeCopies(CDB_ENTITY &record);
void FreeCopies(CDB_STARTBLOCK_ENTITY_type &block);

} // namespace walk
} // namespace velko_test
