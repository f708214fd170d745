// The head of a release 13 DWG: the version text and the records of the sections that the
// library looks at. Everything else of the head is copied, never interpreted.
#ifndef VELKO_R13_FILE_HEAD_H
#define VELKO_R13_FILE_HEAD_H

#include <cstddef>
#include <cstdint>
#include <vector>

class CDrawingFile;

struct R13FileHead {
    // The bytes that the first pass reads from the file's start, and from the trailing
    // section.
    static constexpr size_t kReadSize = 256;
    // Positions in the head, all values little-endian.
    static constexpr size_t kPreviewAt = 13;
    static constexpr size_t kRecordCountAt = 21;
    static constexpr size_t kHeaderAt = 26;
    static constexpr size_t kHeaderSizeAt = 30;
    static constexpr size_t kClassesAt = 35;
    static constexpr size_t kClassesSizeAt = 39;
    static constexpr size_t kMapAt = 44;
    static constexpr size_t kMapSizeAt = 48;
    static constexpr size_t kTrailingAt = 53;
    static constexpr size_t kTrailingSizeAt = 57;
    // In the trailing section: the offset of the object area.
    static constexpr size_t kObjectsStartAt = 16;
    // The section records: from byte 25, 9 bytes each (the section's number, its offset,
    // its size). Behind the last one stand a 2-byte check and a 16-byte end mark.
    static constexpr size_t kRecordsAt = 25;
    static constexpr size_t kRecordSize = 9;
    static constexpr size_t kBehindRecords = 2 + 16;
    // The sections a head without a trailing section points at: the header variables, the
    // classes and the object map.
    static constexpr uint8_t kPlainRecordCount = 3;

    // The bytes of a head that holds room for `record_count` records.
    static constexpr size_t SizeFor(size_t record_count) {
        return kRecordsAt + kRecordSize * record_count + kBehindRecords;
    }
    // A head with room for `record_count` records: the version text, the count at byte 21,
    // each record's section number; offsets, sizes, the check and the end mark zero.
    static std::vector<uint8_t> Blank(uint8_t record_count);
    // Stores the version text "AC1012" at the head's start.
    static void PutVersion(uint8_t *head);
    // Stores record `index` (its number, `offset` and `size`) in a head of at least
    // SizeFor(index + 1) bytes.
    static void PutRecord(uint8_t *head, size_t index, uint32_t offset, uint32_t size);

    uint8_t record_count = 0;
    uint32_t preview_at = 0;
    uint32_t header_at = 0, header_size = 0;
    uint32_t classes_at = 0, classes_size = 0;
    uint32_t map_at = 0, map_size = 0;
    // Only with a fourth record (record_count not 3).
    uint32_t trailing_at = 0, trailing_size = 0;

    // Reads the head from the file's start (bytes a short file lacks count as zero); the
    // file's position is kept. False when nothing can be read.
    bool Read(CDrawingFile &file);
    // Where the object area starts: with exactly 3 records at `lowest_map_offset` (the
    // lowest offset of the object map), otherwise at the offset that the trailing section
    // holds at its byte 16. -1 when the trailing section cannot be read.
    int64_t ObjectsStart(CDrawingFile &file, int32_t lowest_map_offset) const;
};

#endif
