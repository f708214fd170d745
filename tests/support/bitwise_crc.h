// A second CRC routine for the tests, written bit by bit and independent of the library's
// table-driven one: the reflected CRC-16 with polynomial 0x8005 (0xA001 shifted right),
// start value 0xC0C1, no final inversion. Over "123456789" it gives 0x7E6C.
#ifndef VELKO_TESTS_BITWISE_CRC_H
#define VELKO_TESTS_BITWISE_CRC_H

#include <cstddef>
#include <cstdint>

inline uint16_t BitwiseDwgCrc(const uint8_t *data, size_t size) {
    uint16_t crc = 0xC0C1;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? static_cast<uint16_t>((crc >> 1) ^ 0xA001)
                            : static_cast<uint16_t>(crc >> 1);
    }
    return crc;
}

// The CRC stored low byte first at `at`.
inline uint16_t StoredCrc(const uint8_t *at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

#endif
