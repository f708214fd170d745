// Reference blocks for the tests of external references: a host drawing made in the test
// gets one block per stored path.
#pragma once

#include "velkow32.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velko_test {

constexpr int16_t kXrefBlockFlag = 4;

// Adds to drawing `h` one reference block "REF<n>" per stored path (base point (1, 1, 1)),
// and, when `with_inserts` is set, an insert of each at the origin of the main list.
inline void AddReferenceBlocks(int16_t h, const std::vector<std::string> &paths,
                               bool with_inserts) {
    int n = 0;
    for (const std::string &path : paths) {
        CDB_STARTBLOCK_ENTITY_type block;
        ASSERT_EQ(CDBBlockDefault(h, &block), 0);
        std::string block_name = "REF" + std::to_string(n++);
        std::string stored = path;
        block.name = block_name.data();
        block.xref_path = stored.data();
        block.flags = kXrefBlockFlag;
        block.base_point = {1, 1, 1};
        const int16_t index = CDBBlockAdd(h, &block);
        ASSERT_GE(index, 0);
        if (!with_inserts)
            continue;
        CDB_ENTITY insert;
        ASSERT_EQ(CDBEntityDefault(h, &insert, CDB_INSERT), 0);
        insert.insert.block_index = index;
        ASSERT_GE(CDBEntityAdd(h, -1, &insert), 0);
    }
}

} // namespace velko_test
