// The 16-bit CRC that the DWG writers put behind every record, and the general table-driven
// CRC-16 it is an instance of.
#ifndef VELKO_IO_CRC16_H
#define VELKO_IO_CRC16_H

#include <cstddef>
#include <cstdint>

// A table-driven CRC-16 over `length` bytes of `data`. `polynomial` is taken most
// significant bit first; each call uses its own polynomial (the tables of the DWG
// polynomial are built once and kept, those of another are built for the call). The
// register starts as `init_byte` in both halves when that is 0 or more; otherwise as
// `seed`, bit-reversed when `reflect` is negative. With `reflect` negative every byte is
// bit-reversed before it enters and the register is bit-reversed at the end. A length of
// 65536 or more, which a 16-bit loop would never finish, counts as an empty block.
uint16_t Crc16(uint16_t seed, const uint8_t *data, size_t length, int init_byte, int reflect,
               uint16_t polynomial);

// The polynomial of the DWG CRC.
constexpr uint16_t kDwgCrcPolynomial = 0x8005;

// The CRC of the DWG: polynomial 0x8005, reflected, start 0xC0C1, no final inversion. Over
// "123456789" it is 0x7E6C. Stored low byte first.
uint16_t DwgCrc(const uint8_t *data, size_t length);

#endif
