// The cursor through a block of extended entity data in the release 12 coding:
// one code byte (the DXF group less 1000) and its payload, value after value.
#ifndef VELKO_EED_CURSOR_H
#define VELKO_EED_CURSOR_H

#include "velkow32.h"

// Points the cursor at the entity's block: 0, or -123 with error -421 for a null argument.
short EedAttach(const CDB_ENTITY *entity, CDB_EED_type *cursor, short &error);
// The application index of the first / next code 1, or -6 when there is none further.
short EedFirstAppid(CDB_EED_type *cursor);
short EedNextAppid(CDB_EED_type *cursor);
// The code byte (0 to 71) of the first / next value with the value filled, or -6.
short EedFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value);
short EedNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value);

#endif
