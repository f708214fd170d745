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
// The release 13 marker of an application: code 5 of a handle and its byte count.
bool IsApplicationMarker(uint8_t code) {
    return code >= 0x51 && code <= 0x58;
}

// The hexadecimal text of `count` handle bytes at the reader (most significant first); false
// when they are not there.
bool ReadHandleText(ByteReader &in, size_t count, std::string &text) {
    if (!in.Has(count))
        return false;
    text = HandleBytesToText(in.Here(), count);
    in.Skip(count);
    return true;
}

void CopyText(CDB_EED_VALUES *value, const void *bytes, size_t length) {
    if (!value)
        return;
    std::memset(value->text, 0, sizeof value->text);
    std::memcpy(value->text, bytes, length < sizeof value->text ? length : sizeof value->text);
}

// The values whose release 13 coding differs from the release 12 one: the application
// marker, the layer handle and the string's code page. 1 with `code` and the value set,
// 0 for a value coded alike, -1 for one that is cut short.
int ReadRelease13Value(ByteReader &in, uint8_t &code, CDB_EED_VALUES *value,
                       const EedHandleResolver &resolver) {
    std::string handle;
    if (IsApplicationMarker(code)) {
        if (!ReadHandleText(in, code - 0x50u, handle))
            return -1;
        code = 1;
        if (value)
            value->short_value = resolver.ApplicationIndex(handle.c_str());
        return 1;
    }
    if (code == 3) {
        if (!ReadHandleText(in, 8, handle))
            return -1;
        if (value)
            value->short_value = resolver.LayerIndex(handle.c_str());
        return 1;
    }
    if (code == 0) {
        uint8_t length = 0;
        uint16_t code_page = 0;
        if (!in.U8(length) || !in.U16(code_page) || !in.Has(length))
            return -1;
        CopyText(value, in.Here(), length);
        in.Skip(length);
        return 1;
    }
    return 0;
}

short ReadValue(CDB_EED_type *cursor, CDB_EED_VALUES *value, const EedHandleResolver *release13) {
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
    if (release13) {
        int read = ReadRelease13Value(in, code, value, *release13);
        if (read < 0)
            return kEedEnd;
        if (read > 0) {
            cursor->position = static_cast<uint16_t>(in.Position());
            return static_cast<short>(code);
        }
    }

    switch (code) {
    case 0:   // string
    case 4: { // binary
        uint8_t length = 0;
        if (!in.U8(length) || !in.Has(length))
            return kEedEnd;
        CopyText(value, in.Here(), length);
        in.Skip(length);
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
short WalkToAppid(CDB_EED_type *cursor, const EedHandleResolver *release13) {
    if (!cursor)
        return kEedEnd;
    const uint16_t start = cursor->position;
    CDB_EED_VALUES v;
    for (;;) {
        const short code = ReadValue(cursor, &v, release13);
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

short EedFirstAppid(CDB_EED_type *cursor, const EedHandleResolver *release13) {
    if (!cursor)
        return kEedEnd;
    cursor->position = 0;
    return WalkToAppid(cursor, release13);
}

short EedNextAppid(CDB_EED_type *cursor, const EedHandleResolver *release13) {
    return WalkToAppid(cursor, release13);
}

short EedFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value,
                    const EedHandleResolver *release13) {
    if (!cursor)
        return kEedEnd;
    cursor->position = 0;
    return ReadValue(cursor, value, release13);
}

short EedNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value,
                   const EedHandleResolver *release13) {
    return ReadValue(cursor, value, release13);
}
