#include "io/crc16.h"

namespace {

struct CrcTables {
    uint16_t remainder[256];
    uint8_t reversed[256];

    explicit CrcTables(uint16_t polynomial) {
        static constexpr uint8_t kNibble[16] = {0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE,
                                                0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF};
        for (int i = 0; i < 256; ++i) {
            uint16_t r = static_cast<uint16_t>(i << 8);
            for (int bit = 0; bit < 8; ++bit)
                r = static_cast<uint16_t>((r & 0x8000) ? (r << 1) ^ polynomial : r << 1);
            remainder[i] = r;
            reversed[i] = static_cast<uint8_t>(kNibble[i & 0x0F] << 4 | kNibble[i >> 4]);
        }
    }
    uint16_t Reverse16(uint16_t v) const {
        return static_cast<uint16_t>(reversed[v & 0xFF] << 8 | reversed[v >> 8]);
    }
};

uint16_t Compute(const CrcTables &tables, uint16_t seed, const uint8_t *data, size_t length,
                 int init_byte, int reflect) {
    uint16_t reg = seed;
    if (init_byte >= 0)
        reg = static_cast<uint16_t>((init_byte & 0xFF) << 8 | (init_byte & 0xFF));
    else if (reflect < 0)
        reg = tables.Reverse16(seed);
    // The original loop counted in 16 bits and never ended on a longer block: such a
    // block counts as empty here.
    if (!data || length >= 65536)
        length = 0;
    for (size_t i = 0; i < length; ++i) {
        const uint8_t byte = reflect < 0 ? tables.reversed[data[i]] : data[i];
        reg = static_cast<uint16_t>(tables.remainder[(byte ^ (reg >> 8)) & 0xFF] ^
                                    ((reg & 0xFF) << 8));
    }
    return reflect < 0 ? tables.Reverse16(reg) : reg;
}

} // namespace

uint16_t Crc16(uint16_t seed, const uint8_t *data, size_t length, int init_byte, int reflect,
               uint16_t polynomial) {
    // The DWG polynomial is the one every record uses: its tables are built once.
    static const CrcTables dwg_tables(kDwgCrcPolynomial);
    if (polynomial == kDwgCrcPolynomial)
        return Compute(dwg_tables, seed, data, length, init_byte, reflect);
    const CrcTables tables(polynomial);
    return Compute(tables, seed, data, length, init_byte, reflect);
}

uint16_t DwgCrc(const uint8_t *data, size_t length) {
    return Crc16(0xC0C1, data, length, -1, -1, kDwgCrcPolynomial);
}
