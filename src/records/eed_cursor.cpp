#include "records/eed_cursor.h"

#include "io/byte_reader.h"
#include "records/handle_text.h"

#include <cstring>
#include <string>

namespace {

constexpr short kEedEnd = CDB_EED_END;

// Reads the value at the cursor's position. On success the cursor moves past it and
// the code byte comes back; on failure (end of data, unknown code, truncated payload)
// nothing is delivered, the position is not moved and the result is -6.
short ReadValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    if (!cursor || !cursor->data)
        return kEedEnd;
    if (static_cast<int>(cursor->position) >= static_cast<int>(cursor->size) - 1)
        return kEedEnd;

    // Every read checks that its bytes lie inside the block; a read that would pass the
    // end fails, and the cursor then stays where it was.
    ByteReader in(cursor->data, cursor->size);
    in.Seek(cursor->position);
    uint8_t code = 0;
    if (!in.U8(code))
        return kEedEnd;

    switch (code) {
    case 0:   // string
    case 4: { // binary
        uint8_t length = 0;
        if (!in.U8(length) || !in.Has(length))
            return kEedEnd;
        const uint8_t *bytes = in.Here();
        in.Skip(length);
        if (value) {
            std::memset(value->text, 0, sizeof value->text);
            std::memcpy(value->text, bytes, length);
        }
        break;
    }
    case 1:    // application index
    case 3:    // layer index
    case 70: { // short integer
        int16_t s = 0;
        if (!in.I16(s))
            return kEedEnd;
        if (value)
            value->short_value = s;
        break;
    }
    case 2: { // brace: 0 opens, 1 closes
        uint8_t brace = 0;
        if (!in.U8(brace))
            return kEedEnd;
        if (value)
            value->short_value = brace;
        break;
    }
    case 5: { // handle, eight bytes, first byte most significant
        if (!in.Has(8))
            return kEedEnd;
        const uint8_t *bytes = in.Here();
        in.Skip(8);
        if (value) {
            const std::string hex = HandleBytesToText(bytes, 8);
            std::memset(value->text, 0, sizeof value->text);
            std::memcpy(value->text, hex.data(), hex.size());
        }
        break;
    }
    case 10:
    case 11:
    case 12:
    case 13: { // point
        CDB_POINT3 p = {0, 0, 0};
        if (!in.F64(p.x) || !in.F64(p.y) || !in.F64(p.z))
            return kEedEnd;
        if (value)
            value->point_value = p;
        break;
    }
    case 40:
    case 41:
    case 42: { // real
        double d = 0;
        if (!in.F64(d))
            return kEedEnd;
        if (value)
            value->real_value = d;
        break;
    }
    case 71: { // long integer
        int32_t l = 0;
        if (!in.I32(l))
            return kEedEnd;
        if (value)
            value->long_value = l;
        break;
    }
    default:
        return kEedEnd;
    }

    cursor->position = static_cast<uint16_t>(in.Position());
    return static_cast<short>(code);
}

// Walks from the cursor's position to the next application value and returns its
// index. When none is found the position is put back where the walk began.
short WalkToAppid(CDB_EED_type *cursor) {
    if (!cursor)
        return kEedEnd;
    const uint16_t start = cursor->position;
    CDB_EED_VALUES v;
    for (;;) {
        const short code = ReadValue(cursor, &v);
        if (code == kEedEnd) {
            cursor->position = start;
            return kEedEnd;
        }
        if (code == 1)
            return v.short_value;
    }
}

} // namespace

short EedAttach(const CDB_ENTITY *entity, CDB_EED_type *cursor, short &error) {
    if (!entity || !cursor) {
        error = CDB_ERR_INVALID_PARAMETER;
        return CDB_FAIL;
    }
    cursor->data = entity->eed_data;
    cursor->size = entity->eed_size;
    cursor->position = 0;
    return CDB_OK;
}

short EedFirstAppid(CDB_EED_type *cursor) {
    if (!cursor)
        return kEedEnd;
    cursor->position = 0;
    return WalkToAppid(cursor);
}

short EedNextAppid(CDB_EED_type *cursor) {
    return WalkToAppid(cursor);
}

short EedFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    if (!cursor)
        return kEedEnd;
    cursor->position = 0;
    return ReadValue(cursor, value);
}

short EedNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    return ReadValue(cursor, value);
}
