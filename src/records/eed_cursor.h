// The cursor through a block of extended entity data: one code byte (the DXF group less
// 1000) and its payload, value after value.
//
// Two codings share it. The release 12 coding names an application by code 1 and a table
// index, a layer by code 3 and an index, and gives a string as a length byte and its
// characters. The release 13 coding, as its DWG stores it, opens an application's values
// with a marker byte 0x51 to 0x58 whose low bits count the bytes of the application's
// handle that follow; a layer is an 8-byte handle and a string has two bytes of code page
// between its length and its characters. Its handles become table indices through an
// EedHandleResolver; the results are those of the release 12 coding (code 1 with the
// application's index, code 3 with the layer's index).
#ifndef VELKO_EED_CURSOR_H
#define VELKO_EED_CURSOR_H

#include "velkow32.h"

// How the release 13 coding turns its handles (upper-case hexadecimal text) into table
// indices: -1 for a handle that the table does not have.
class EedHandleResolver {
public:
    virtual int16_t ApplicationIndex(const char *handle) const = 0;
    virtual int16_t LayerIndex(const char *handle) const = 0;

protected:
    ~EedHandleResolver() = default;
};

// Points the cursor at the entity's block: 0, or -123 with error -421 for a null argument.
short EedAttach(const CDB_ENTITY *entity, CDB_EED_type *cursor, short &error);
// The application index of the first / next code 1, or -6 when there is none further.
// `release13` null reads the release 12 coding, otherwise the release 13 one.
short EedFirstAppid(CDB_EED_type *cursor, const EedHandleResolver *release13 = nullptr);
short EedNextAppid(CDB_EED_type *cursor, const EedHandleResolver *release13 = nullptr);
// The code byte (0 to 71) of the first / next value with the value filled, or -6.
short EedFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value,
                    const EedHandleResolver *release13 = nullptr);
short EedNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value,
                   const EedHandleResolver *release13 = nullptr);

#endif
