#include "block_drawing.h"

#include "velkow32.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace velko_bench {

namespace {

std::string Failure(const char *step, int16_t h) {
    char message[80] = {};
    const int16_t code = CDBGetErrorNumber(h);
    CDBGetErrorMessage(code, message, sizeof message - 1);
    return std::string(step) + " failed: " + std::to_string(code) + " " + message;
}

bool AddBlock(int16_t h, int number, int entities, std::string *error) {
    CDB_STARTBLOCK_ENTITY_type block;
    CDBBlockDefault(h, &block);
    char name[32];
    std::snprintf(name, sizeof name, "VB%d", number);
    block.name = name;
    const int16_t index = CDBBlockAdd(h, &block);
    if (index < 0) {
        *error = Failure("CDBBlockAdd", h);
        return false;
    }
    for (int i = 0; i < entities; ++i) {
        CDB_ENTITY line;
        CDBEntityDefault(h, &line, CDB_LINE);
        line.line.start_point = {double(i), 0, 0};
        line.line.end_point = {double(i), 1, 0};
        if (CDBEntityAdd(h, index, &line) < 0) {
            *error = Failure("CDBEntityAdd in a block", h);
            return false;
        }
    }
    CDB_ENTITY insert;
    CDBEntityDefault(h, &insert, CDB_INSERT);
    insert.insert.block_index = index;
    insert.insert.insertion_point = {double(number % 200), double(number / 200), 0};
    if (CDBEntityAdd(h, -1, &insert) < 0) {
        *error = Failure("CDBEntityAdd of an INSERT", h);
        return false;
    }
    return true;
}

void FreeBlockTexts(CDB_STARTBLOCK_ENTITY_type &block) {
    std::free(block.name);
    std::free(block.name_2);
    std::free(block.xref_path);
    std::memset(static_cast<void *>(&block), 0, sizeof block);
}

// The entities of one list; only lines and inserts are asked for their records, which
// hold no copied texts.
long WalkEntities(int16_t h, int16_t list) {
    long n = 0;
    for (int32_t id = CDBFirstEntity(h, list); id >= 0; id = CDBNextEntity(h))
        ++n;
    return n;
}

} // namespace

bool MakeBlockDrawing(const std::string &template_path, const std::string &out, int blocks,
                      int entities_per_block, std::string *error) {
    const int16_t h = CDBNew(template_path.c_str(), out.c_str());
    if (h < 0) {
        *error = Failure("CDBNew", CDB_FAIL);
        return false;
    }
    bool made = true;
    for (int b = 0; made && b < blocks; ++b)
        if (!(made = AddBlock(h, b, entities_per_block, error)))
            *error = "block " + std::to_string(b) + ": " + *error;
    if (made && CDBSaveAsDWG(h, out.c_str()) != 0) {
        *error = Failure("CDBSaveAsDWG", h);
        made = false;
    }
    CDBEndOperation(h);
    return made;
}

BlockWalk WalkBlocksByIndex(const std::string &path) {
    using Clock = std::chrono::steady_clock;
    const auto since = [](Clock::time_point start) {
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    BlockWalk walk;
    Clock::time_point start = Clock::now();
    const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
    if (h < 0)
        return walk;
    walk.opened = true;
    CDBEntityCount(h, -1);
    walk.load_seconds = since(start);
    start = Clock::now();
    const int16_t count = CDBBlockTableCount(h);
    CDB_STARTBLOCK_ENTITY_type block;
    std::memset(static_cast<void *>(&block), 0, sizeof block);
    for (int16_t index = 0; index >= 0 && index < count; ++index) {
        if (CDBBlockGet(h, index, &block) != CDB_OK)
            continue;
        ++walk.blocks;
        FreeBlockTexts(block);
        walk.entities += WalkEntities(h, index);
    }
    walk.main_entities = WalkEntities(h, -1);
    walk.walk_seconds = since(start);
    start = Clock::now();
    CDBEndOperation(h);
    walk.close_seconds = since(start);
    return walk;
}

} // namespace velko_bench
