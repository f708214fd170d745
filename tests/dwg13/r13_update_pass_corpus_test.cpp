// The update pass on a real drawing: objects appended behind the tables of
// dwg13/example_r13_relaid.dwg (written where its object map stood, the map moved behind
// them and the head's offsets fixed) move and erase its lines.
#include "support/corpus.h"
#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_update_pass.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace {

constexpr char kRelaid[] = "dwg13/example_r13_relaid.dwg";

uint32_t U32At(const std::vector<uint8_t> &bytes, size_t at) {
    return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
           static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}

void PutU32At(std::vector<uint8_t> &bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// The file with `objects` written at the offset of its object map; everything from there
// on moves behind them, and the offsets of the head that pointed there move along.
std::vector<uint8_t> Appended(const std::vector<uint8_t> &file,
                              const std::vector<R13Object> &objects) {
    const uint32_t map_at = U32At(file, 44);
    std::vector<uint8_t> added;
    for (const R13Object &object : objects)
        added.insert(added.end(), object.begin(), object.end());
    std::vector<uint8_t> out(file.begin(), file.begin() + map_at);
    out.insert(out.end(), added.begin(), added.end());
    out.insert(out.end(), file.begin() + map_at, file.end());
    const size_t offsets[] = {13, 26, 35, 44, 53};
    for (size_t at : offsets)
        if ((at != 53 || file[21] != 3) && U32At(out, at) >= map_at)
            PutU32At(out, at, U32At(out, at) + static_cast<uint32_t>(added.size()));
    return out;
}

struct Loaded {
    std::unique_ptr<TempFile> file;
    std::unique_ptr<CR13Drawing> drawing;
    int loaded = 0;
};

Loaded LoadBytes(const std::vector<uint8_t> &bytes, const char *name) {
    Loaded l;
    l.file = std::make_unique<TempFile>(name, bytes);
    l.drawing = std::make_unique<CR13Drawing>(nullptr, 0);
    if (l.drawing->OpenDWG(l.file->c_str(), CDB_OPEN_READ) == 1)
        l.loaded = l.drawing->LoadDWG();
    return l;
}

uint32_t HandleAt(CEntityList &list, int i) {
    return R13HandleNumber(list.At(i)->GetData()->handle);
}

// The index of a model space LINE of the main list that an update behind the tables
// reaches: its handle is below the space's end (the handle of the last model space entity;
// paper space and the closing ENDBLK follow), and every entity in front of it has a lower
// handle (the patch walks the chain in handle order, and the drawing's chain is not sorted
// throughout). -1 if there is none.
int ReachableLine(CEntityList &main) {
    int last_model = -1;
    for (int i = 0; i + 1 < main.Count(); ++i)
        if (main.At(i)->GetData()->space == 0)
            last_model = i;
    if (last_model < 0)
        return -1;
    const uint32_t end = HandleAt(main, last_model);
    uint32_t highest_before = 0;
    for (int i = 0; i < last_model; ++i) {
        const uint32_t handle = HandleAt(main, i);
        if (main.At(i)->GetData()->entity_type == CDB_LINE && handle < end &&
            highest_before < handle)
            return i;
        highest_before = std::max(highest_before, handle);
    }
    return -1;
}

// A model space LINE object with the handle `handle` on the layer of `like`, ending at
// (x, 0, 0); with a `previous` link when it is not 0.
R13Object LineLike(const CDB_ENTITY &like, uint32_t handle, double x, uint32_t previous) {
    std::unique_ptr<CR13Entity> line(FindR13EntityKind(19)->make(nullptr, 19));
    R13EntityHead head;
    head.Type(19).Handle(handle).Layer(like.layer_handle);
    if (previous) {
        head.no_links = 0;
        head.previous = previous;
    }
    SetEntityHead(*line, head);
    line->GetData()->line.end_point = CDB_POINT3{x, 0.0, 0.0};
    return EntityObjectOf(*line);
}

struct Original {
    std::vector<uint8_t> bytes;
    Loaded loaded;
    int line = -1;
};

bool ReadOriginal(Original &o) {
    if (!ReadWholeFile(CorpusPath(kRelaid), &o.bytes))
        return false;
    o.loaded = LoadBytes(o.bytes, "r13_relaid_original.dwg");
    if (o.loaded.loaded != 1)
        return false;
    o.line = ReachableLine(o.loaded.drawing->Entities());
    return o.line >= 0;
}

TEST(R13UpdatePassCorpus, ALineMovedBehindTheTablesReplacesTheLineOfItsHandle) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const CDB_ENTITY &line = *before.At(o.line)->GetData();
    std::vector<uint8_t> bytes =
        Appended(o.bytes, {LineLike(line, R13HandleNumber(line.handle), 1234.5, 0)});
    Loaded l = LoadBytes(bytes, "r13_relaid_moved.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    ASSERT_EQ(after.Count(), before.Count());
    EXPECT_EQ(HandleAt(after, o.line), HandleAt(before, o.line));
    EXPECT_EQ(after.At(o.line)->GetData()->line.end_point.x, 1234.5);
}

TEST(R13UpdatePassCorpus, ALineErasedThroughThePreviousLinkOfTheUpdateBehindIt) {
    VELKO_REQUIRE_CORPUS();
    Original o;
    ASSERT_TRUE(ReadOriginal(o));
    CEntityList &before = o.loaded.drawing->Entities();
    const CDB_ENTITY &line = *before.At(o.line)->GetData();
    const uint32_t erased = R13HandleNumber(line.handle);
    // An update of the handle behind the line whose previous link jumps over it.
    std::vector<uint8_t> bytes = Appended(o.bytes, {LineLike(line, erased + 1, 2.0, 2)});
    Loaded l = LoadBytes(bytes, "r13_relaid_erased.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &after = l.drawing->Entities();
    EXPECT_EQ(after.Count(), before.Count() - 1);
    for (int i = 0; i < after.Count(); ++i)
        EXPECT_NE(HandleAt(after, i), erased);
}

} // namespace
} // namespace velko_test
