// Header variables by name, and the code page table.
#ifndef VELKO_HEADER_VARS_H
#define VELKO_HEADER_VARS_H

#include "velkow32.h"

#include <cstddef>

enum class HeaderRelease { R12, R13 };

// Looks the name up (case ignored, no leading "$") in the chain of the release, copies
// the value and answers its type code; 0 for a name the release does not know, and
// then `value` is left untouched.
short GetHeaderVariable(const CDB_HEADER_type &header, HeaderRelease release, const char *name,
                        CDB_VAR_VALUE_type *value);

// The room, terminator included, of the text block that the text variable at `offset` in
// CDB_HEADER_type points at; 0 when the header keeps no block for it.
using HeaderTextRoom = size_t (*)(size_t offset);

// The mirror of GetHeaderVariable: looks the name up in the same chain and stores `value`
// into the variable, as many bytes as GetHeaderVariable copies out. A text goes into the
// block the field points at, cut to what `room` leaves; a text variable without a block
// is left alone. The type code, or 0 for a name the release does not know (nothing
// changes).
short SetHeaderVariable(CDB_HEADER_type &header, HeaderRelease release, const char *name,
                        const CDB_VAR_VALUE_type &value, HeaderTextRoom room);

// The number of names the release's chain knows (152 for release 12, 188 for release 13).
int HeaderVariableCount(HeaderRelease release);

// Code page number to text: copies the row's text, 1; 0 for a number outside the table.
int CodePageText(int number, char *buffer, size_t size);
// Code page text to number, case ignored: 1 with `number` set; 0 leaves it untouched.
int CodePageNumber(const char *text, int16_t &number);

#endif
