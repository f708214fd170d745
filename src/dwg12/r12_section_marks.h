// The 16-byte marks that real release 12 DWG files carry around each of their sections:
// one in front of a section's first byte and one behind its last. The original writer of
// this library leaves 32 zero bytes between two sections, where those files put the end
// mark of the one and the begin mark of the next; readers that check the marks refuse a
// file without them. The marks are the same in every file; they were learned from the
// bytes of files that other programs wrote.
//
// Sections are numbered in file order: the entity section, the ten tables in the order of
// their table numbers, the block section, the extra entity area and the tail record. The
// begin mark of the entity section is the sentinel behind the header block, which every
// save writes.
#ifndef VELKO_R12_SECTION_MARKS_H
#define VELKO_R12_SECTION_MARKS_H

#include <cstddef>
#include <cstdint>

enum R12Section {
    kR12EntitySection = 0,
    kR12FirstTableSection = 1, // table t is section 1 + t
    kR12BlockSection = 11,
    kR12ExtraSection = 12,
    kR12TailSection = 13,
    kR12SectionCount = 14,
};

constexpr size_t kR12SectionMarkSize = 16;

// The section of table number t (0 to 9).
constexpr int R12TableSection(int t) {
    return kR12FirstTableSection + t;
}

// The mark in front of section s and the one behind it; null for a number out of range.
const uint8_t *R12SectionBeginMark(int section);
const uint8_t *R12SectionEndMark(int section);

#endif
