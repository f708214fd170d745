// Changing a real release 13 DWG: see r13_corpus_edit.h.
#include "support/r13_corpus_edit.h"

#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_update_pass.h"

#include "model/entity_list.h"

#include <algorithm>

namespace velko_test {
namespace {

// Where the head keeps the record count, and the offsets that may point at or past the
// object map: preview, header variables, classes, map, trailing section.
constexpr size_t kRecordCountAt = 21;
constexpr size_t kMapOffsetAt = 44;
constexpr size_t kTrailingOffsetAt = 53;
constexpr size_t kHeadOffsets[] = {13, 26, 35, kMapOffsetAt, kTrailingOffsetAt};

uint32_t U32At(const std::vector<uint8_t> &bytes, size_t at) {
    return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
           static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}

void PutU32At(std::vector<uint8_t> &bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

} // namespace

std::vector<uint8_t> AppendBehindTables(const std::vector<uint8_t> &file,
                                        const std::vector<R13Object> &objects) {
    const uint32_t map_at = U32At(file, kMapOffsetAt);
    std::vector<uint8_t> added;
    for (const R13Object &object : objects)
        added.insert(added.end(), object.begin(), object.end());
    std::vector<uint8_t> out(file.begin(), file.begin() + map_at);
    out.insert(out.end(), added.begin(), added.end());
    out.insert(out.end(), file.begin() + map_at, file.end());
    for (size_t at : kHeadOffsets) {
        // A head of three records has no trailing section's offset.
        if (at == kTrailingOffsetAt && file[kRecordCountAt] == 3)
            continue;
        if (U32At(out, at) >= map_at)
            PutU32At(out, at, U32At(out, at) + static_cast<uint32_t>(added.size()));
    }
    return out;
}

LoadedR13 LoadR13Bytes(const std::vector<uint8_t> &bytes, const char *name) {
    LoadedR13 l;
    l.file = std::make_unique<TempFile>(name, bytes);
    l.drawing = std::make_unique<CR13Drawing>(nullptr, 0);
    if (l.drawing->OpenDWG(l.file->c_str(), CDB_OPEN_READ) == 1)
        l.loaded = l.drawing->LoadDWG();
    return l;
}

uint32_t HandleNumberAt(CEntityList &list, int i) {
    return R13HandleNumber(list.At(i)->GetData()->handle);
}

std::vector<int> ReachableEntities(CEntityList &main, int16_t kind) {
    std::vector<int> found;
    int last_model = -1;
    for (int i = 0; i + 1 < main.Count(); ++i)
        if (main.At(i)->GetData()->space == 0)
            last_model = i;
    if (last_model < 0)
        return found;
    const uint32_t end = HandleNumberAt(main, last_model);
    uint32_t highest_before = 0;
    for (int i = 0; i < last_model; ++i) {
        const uint32_t handle = HandleNumberAt(main, i);
        if (main.At(i)->GetData()->entity_type == kind && handle < end && highest_before < handle)
            found.push_back(i);
        highest_before = std::max(highest_before, handle);
    }
    return found;
}

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

} // namespace velko_test
