#include "dwg13/r13_file_head.h"

#include "io/byte_order.h"
#include "io/drawing_file.h"

namespace {

uint32_t U32At(const uint8_t (&block)[R13FileHead::kReadSize], size_t offset) {
    uint32_t value = 0;
    ReadValueAt(block, sizeof block, offset, value);
    return value;
}

// Reads up to R13FileHead::kReadSize bytes at `offset` into `block` (zero-filled first);
// the file's position is kept. False when nothing can be read.
bool ReadBlockAt(CDrawingFile &file, int32_t offset, uint8_t (&block)[R13FileHead::kReadSize]) {
    const int32_t kept = file.GetPosition();
    for (uint8_t &b : block)
        b = 0;
    bool read = offset >= 0 && file.SetPosition(offset, 0) && file.Read(block, sizeof block);
    file.SetPosition(kept, 0);
    return read;
}

} // namespace

std::vector<uint8_t> R13FileHead::Blank(uint8_t record_count) {
    std::vector<uint8_t> head(SizeFor(record_count), 0);
    PutVersion(head.data());
    head[kRecordCountAt] = record_count;
    for (size_t i = 0; i < record_count; ++i)
        PutRecord(head.data(), i, 0, 0);
    return head;
}

void R13FileHead::PutVersion(uint8_t *head) {
    static constexpr char kVersion[] = "AC1012";
    for (size_t i = 0; i + 1 < sizeof kVersion; ++i)
        head[i] = static_cast<uint8_t>(kVersion[i]);
}

void R13FileHead::PutRecord(uint8_t *head, size_t index, uint32_t offset, uint32_t size) {
    uint8_t *record = head + kRecordsAt + kRecordSize * index;
    record[0] = static_cast<uint8_t>(index);
    for (int k = 0; k < 4; ++k) {
        record[1 + k] = static_cast<uint8_t>(offset >> (8 * k));
        record[5 + k] = static_cast<uint8_t>(size >> (8 * k));
    }
}

bool R13FileHead::Read(CDrawingFile &file) {
    uint8_t head[kReadSize];
    if (!ReadBlockAt(file, 0, head))
        return false;
    record_count = head[kRecordCountAt];
    preview_at = U32At(head, kPreviewAt);
    header_at = U32At(head, kHeaderAt);
    header_size = U32At(head, kHeaderSizeAt);
    classes_at = U32At(head, kClassesAt);
    classes_size = U32At(head, kClassesSizeAt);
    map_at = U32At(head, kMapAt);
    map_size = U32At(head, kMapSizeAt);
    if (record_count != 3) {
        trailing_at = U32At(head, kTrailingAt);
        trailing_size = U32At(head, kTrailingSizeAt);
    }
    return true;
}

int64_t R13FileHead::ObjectsStart(CDrawingFile &file, int32_t lowest_map_offset) const {
    if (record_count == 3)
        return lowest_map_offset;
    uint8_t trailing[kReadSize];
    if (trailing_at > INT32_MAX || !ReadBlockAt(file, static_cast<int32_t>(trailing_at), trailing))
        return -1;
    return U32At(trailing, kObjectsStartAt);
}
