// Fields of the byte-packed public records reached by their byte offset.
//
// The records (entities, table records, the header) are packed, so a field may lie at any
// address: values go in and out through memcpy, in the machine's own order, exactly as the
// record holds them. The offsets come from the layouts of the kinds, which keep them
// inside the record; nothing is checked here.
#ifndef VELKO_IO_RECORD_FIELD_H
#define VELKO_IO_RECORD_FIELD_H

#include <cstddef>
#include <cstdint>
#include <cstring>

template <typename T> inline T LoadField(const void *record, size_t offset) {
    T value;
    std::memcpy(&value, static_cast<const uint8_t *>(record) + offset, sizeof value);
    return value;
}

template <typename T> inline void StoreField(void *record, size_t offset, T value) {
    std::memcpy(static_cast<uint8_t *>(record) + offset, &value, sizeof value);
}

#endif
