#include "dwg13/r13_checks.h"

#include "dwg13/r13_file_head.h"
#include "io/crc16.h"

#include <cstring>

void R13SealObject(uint8_t *object, size_t size, bool real) {
    if (!object || size < 4)
        return;
    const uint16_t check = real ? DwgCrc(object, size - 2) : kR13FixedCheck;
    object[size - 2] = static_cast<uint8_t>(check & 0xFF);
    object[size - 1] = static_cast<uint8_t>(check >> 8);
}

const uint8_t kR13HeaderBeginMark[16] = {0xCF, 0x7B, 0x1F, 0x23, 0xFD, 0xDE, 0x38, 0xA9,
                                         0x5F, 0x7C, 0x68, 0xB8, 0x4E, 0x6D, 0x33, 0x5F};

void R13SealFramedSection(uint8_t *section, size_t size, const uint8_t *begin_mark) {
    constexpr size_t kMark = 16, kSizeField = 4, kCheck = 2;
    constexpr size_t kFrame = 2 * kMark + kSizeField + kCheck;
    if (!section || !begin_mark || size < kFrame || std::memcmp(section, begin_mark, kMark) != 0)
        return;
    const size_t data = size - kFrame;
    for (size_t k = 0; k < kSizeField; ++k)
        section[kMark + k] = static_cast<uint8_t>(uint64_t(data) >> (8 * k));
    const size_t check_at = kMark + kSizeField + data;
    const uint16_t check = DwgCrc(section + kMark, kSizeField + data);
    section[check_at] = static_cast<uint8_t>(check & 0xFF);
    section[check_at + 1] = static_cast<uint8_t>(check >> 8);
}

uint16_t R13MapSectionCheck(const uint8_t *section, size_t size) {
    return DwgCrc(section, size);
}

size_t R13HeadCheckAt(const uint8_t *head, size_t size) {
    if (!head || size <= R13FileHead::kRecordCountAt)
        return 0;
    const size_t at = R13FileHead::kRecordsAt +
                      R13FileHead::kRecordSize * size_t(head[R13FileHead::kRecordCountAt]);
    return at + 2 <= size ? at : 0;
}

uint16_t R13HeadCheck(const uint8_t *head, size_t check_at) {
    return DwgCrc(head, check_at);
}
