// A walk over the bytes of a release 12 DWG that checks every CRC the writer puts in it,
// with the bit by bit CRC of bitwise_crc.h: each entity frame of the entity section and
// of the block section, each table record found through the trailer's descriptors, the
// header block (over 0x6BD bytes, its CRC at 0x6BD) and the tail record (over its first
// 136 bytes). On the way it checks the frame of the file that a saved drawing has: the
// frames fill each section exactly, the header's copies of the section positions agree
// with the trailer, the 16 sentinel bytes stand at 1727, 32 zero bytes follow the entity section,
// each table and the block section, and every block table record that is not deleted points at a
// block start.
//
// Nothing here trusts the file: every position is checked against the file's size, and
// a walk that cannot go on says where and why.
#ifndef VELKO_TEST_DWG12_CRC_WALK_H
#define VELKO_TEST_DWG12_CRC_WALK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {

// The positions that the tail record's trailer gives.
struct Dwg12TrailerPositions {
    uint32_t entities_start = 0;
    uint32_t entities_end = 0;
    uint32_t blocks_start = 0;
    uint32_t extra_start = 0;
    struct Table {
        uint16_t id = 0;
        uint16_t record_size = 0;
        int16_t count = 0;
        uint32_t position = 0;
    } tables[10];
};

struct Dwg12CrcReport {
    bool readable = false; // the file is long enough to hold a header block and a tail
    Dwg12TrailerPositions layout;
    // What was checked.
    int entity_frames = 0;
    int block_frames = 0;
    int table_records = 0;
    bool header_checked = false;
    bool tail_checked = false;
    // Each wrong CRC and each break of the file's frame, with its offset; empty when all
    // is well.
    std::vector<std::string> problems;

    bool ok() const { return readable && problems.empty(); }
    // The problems, one a line (the first `limit` of them).
    std::string Describe(size_t limit = 20) const;
};

// Walks `file`, the whole content of a release 12 DWG.
Dwg12CrcReport WalkDwg12Crcs(const std::vector<uint8_t> &file);

} // namespace velko_test

#endif
