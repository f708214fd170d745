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

// Any CRC-16 bit by bit. Not reflected: the register starts at `start`, every byte enters
// at the top and the register shifts left through `polynomial`. Reflected: bytes enter at
// the bottom and the register shifts right through the bit-reversed polynomial, starting at
// `start` (which is then the bit-reversed start of the unreflected form).
inline uint16_t BitwiseCrc16(uint16_t polynomial, uint16_t start, bool reflected,
                             const uint8_t *data, size_t size) {
    uint16_t reversed = 0;
    for (int bit = 0; bit < 16; ++bit)
        if (polynomial & (1u << bit))
            reversed = static_cast<uint16_t>(reversed | (0x8000u >> bit));
    uint16_t crc = start;
    for (size_t i = 0; i < size; ++i) {
        if (reflected) {
            crc ^= data[i];
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 1) ? static_cast<uint16_t>((crc >> 1) ^ reversed)
                                : static_cast<uint16_t>(crc >> 1);
        } else {
            crc = static_cast<uint16_t>(crc ^ (data[i] << 8));
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 0x8000) ? static_cast<uint16_t>((crc << 1) ^ polynomial)
                                     : static_cast<uint16_t>(crc << 1);
        }
    }
    return crc;
}

// The CRC stored low byte first at `at`.
inline uint16_t StoredCrc(const uint8_t *at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

#endif
