// The fixed text blocks of the header record.
//
// Nine text variables of CDB_HEADER_type point at blocks of a fixed size that the header
// object owns (both releases keep the same nine with the same sizes); the handle texts of
// release 13 are separate heap texts of the release 13 header. CHeaderTextBlocks is the
// store of the nine blocks: Attach clears them and points the record's fields at them, so
// a record attached to it always has nine terminated texts. The blocks live as long as
// the store, which is therefore neither copied nor moved.
#ifndef VELKO_HEADER_TEXTS_H
#define VELKO_HEADER_TEXTS_H

#include "velkow32.h"

#include <cstddef>

// Sizes of the blocks, terminator included.
constexpr size_t kHeaderAcadverSize = 7;
constexpr size_t kHeaderDimpostSize = 16;
constexpr size_t kHeaderDimapostSize = 16;
constexpr size_t kHeaderDimblkSize = 33; // dimblk, dimblk1 and dimblk2
constexpr size_t kHeaderMenuSize = 60;
constexpr size_t kHeaderHandseedSize = 30;
constexpr size_t kHeaderCodePageSize = 40;

class CHeaderTextBlocks {
public:
    CHeaderTextBlocks() = default;
    CHeaderTextBlocks(const CHeaderTextBlocks &) = delete;
    CHeaderTextBlocks &operator=(const CHeaderTextBlocks &) = delete;

    // Zero-fills every block and points the nine text fields of `vars` at them; the other
    // fields of `vars` are left alone.
    void Attach(CDB_HEADER_type &vars);

private:
    char acadver[kHeaderAcadverSize] = {};
    char dimapost[kHeaderDimapostSize] = {};
    char dimpost[kHeaderDimpostSize] = {};
    char dimblk[kHeaderDimblkSize] = {};
    char dimblk1[kHeaderDimblkSize] = {};
    char dimblk2[kHeaderDimblkSize] = {};
    char menu[kHeaderMenuSize] = {};
    char handseed[kHeaderHandseedSize] = {};
    char dwgcodepage[kHeaderCodePageSize] = {};
};

// The nine text variables: the offset of each in CDB_HEADER_type and the room of its
// block, terminator included.
struct HeaderTextBlock {
    size_t offset;
    size_t room;
};
constexpr size_t kHeaderTextBlockCount = 9;
extern const HeaderTextBlock kHeaderTextBlocks[kHeaderTextBlockCount];

// The room, terminator included, of the block that the text variable at `offset` in
// CDB_HEADER_type points at; 0 for every other offset. Serves SetHeaderVariable.
size_t HeaderTextRoomOf(size_t offset);

// Copies `text` into `block` of `room` bytes, cut to room - 1 characters, and zero-fills
// the rest; a null text empties the block. `text` may lie inside `block`.
void CopyIntoTextBlock(char *block, size_t room, const char *text);

#endif
