// The object map of a release 13 DWG: where in the file each object (by handle) stands.
//
// In memory the map is a list of entries in the order they were added (the file's own map
// is sorted by handle; `InsertSorted` keeps it so). `Find` starts at the entry found last
// (the cursor) and walks in one direction: towards the tail when the wanted handle is above
// the cursor's, towards the head otherwise, testing each entry for equality. So the result
// on an unsorted map depends on where the cursor stands, exactly like the walk; on a map
// whose handles strictly ascend the same result is found by a binary search.
//
// In the file the map is a run of sections. A section starts with its size (two bytes,
// high byte first, counting themselves but not the two check bytes behind the section),
// holds pairs of modular numbers -- the handle's increase (unsigned) and the offset's change
// (signed) against the previous pair of the section, both starting at 0 in each section --
// and ends with two check bytes, which the reader skips and the writer writes as FF FF. A
// section of size 2 holds no pairs and ends the map; the writer closes it with 01 D0.
//
// Reading trusts the bytes only as far as the file goes: the map's size and each section's
// size are cut to what the file holds before anything is allocated, a number that runs
// past the end of its section's bytes ends that section, and every loop moves forward, so
// damaged bytes give a shorter map, never a read outside a buffer nor a hang.
#ifndef VELKO_R13_OBJECT_MAP_H
#define VELKO_R13_OBJECT_MAP_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

class CDrawingFile;

struct ObjectMapEntry {
    uint32_t handle;
    int32_t offset;
};

// Modular numbers of the map, each byte giving 7 bits, the first byte the lowest; every
// byte but the last has its high bit set. In the signed form the last byte's bit 6 is the
// sign and its bits 0 to 5 the top of the magnitude.
//
// The readers take one number from `bytes[pos .. size)` and move `pos` behind it. A number
// that does not end inside the range gives false, with `pos` at `size`. Bits beyond the
// 32 of the result are dropped.
bool ReadModular(const uint8_t *bytes, size_t size, size_t &pos, uint32_t &value);
bool ReadSignedModular(const uint8_t *bytes, size_t size, size_t &pos, int32_t &value);
// The writers append one number. A negative `value` to PutModular goes out as its low byte
// alone (a byte that reads back as something else: the map must be sorted by handle).
void PutModular(std::vector<uint8_t> &out, int64_t value);
void PutSignedModular(std::vector<uint8_t> &out, int64_t value);

// The file form of a map with these entries: sections of pairs, each closed when its bytes
// reach 2016 or the entries are used up, each as its size (high byte first), its bytes and
// FF FF, or with `real_checks` its computed check (r13_checks.h); then the closing bytes
// 00 02 01 D0. No entries give the closing bytes alone.
std::vector<uint8_t> EncodeObjectMap(const std::vector<ObjectMapEntry> &entries,
                                     bool real_checks = false);

class CObjectMap {
public:
    // `LowestOffset` of a map to which nothing has been added.
    static constexpr int32_t kNoOffset = 0x0FFFFFFF;
    // Where the file head keeps the map's offset and, behind it, its size.
    static constexpr int32_t kPlaceInHead = 44;

    // Copies the entry to the tail; `LowestOffset` follows it.
    void Add(const ObjectMapEntry &entry);
    // Copies the entry in behind the entry nearest the tail whose handle is not above the
    // new one (at the head when there is none).
    void InsertSorted(const ObjectMapEntry &entry);
    // Removes the first entry whose handle is the hexadecimal text's value ("%lx": leading
    // blanks, an optional "0x"); 1, or 0 when the text is no number or no entry has it.
    int Remove(const char *handle_text);
    // The entry of `handle` by the walk from the cursor, which then stays on it; null when
    // the walk runs off the list, and the cursor is then empty. The pointer lives until the
    // map changes.
    const ObjectMapEntry *Find(uint32_t handle);
    // The offset of `handle`, 0 when it is not found.
    int32_t GetOffset(uint32_t handle);
    // Sets the offset of `handle`: 1, or 0 when it is not found.
    int SetOffset(uint32_t handle, int32_t offset);

    size_t Count() const { return entries.size(); }
    const ObjectMapEntry &At(size_t index) const { return entries[index]; }
    const std::vector<ObjectMapEntry> &Entries() const { return entries; }
    int32_t LowestOffset() const { return lowest_offset; }
    // The handle behind the last entry's (1 for an empty map).
    uint32_t NextHandle() const { return entries.empty() ? 1u : entries.back().handle + 1u; }
    // Empties the map: no entries, no cursor, `LowestOffset` back to kNoOffset.
    void Clear();

    // Reads the map the file head points at (offset and size at kPlaceInHead) and adds its
    // entries; the file position is kept. 1, or 0 when the map does not lie in the file or
    // a read failed (the entries read so far stay).
    int Read(CDrawingFile &file);
    // Writes the map at the end of the file (EncodeObjectMap) and stores its offset and
    // size at kPlaceInHead; the file position is left at the end of the file. 1, or 0 when
    // a write or a move failed.
    int Write(CDrawingFile &file) const;

private:
    static constexpr size_t kNoCursor = SIZE_MAX;

    // The walk of Find, from `start` in the direction the first entry gives.
    size_t Walk(size_t start, uint32_t handle) const;
    // Reads one section whose size field is at the file position; adds its pairs. The
    // number of map bytes it accounts for, or -1 when a read failed.
    int64_t ReadSection(CDrawingFile &file, int64_t map_end);

    std::vector<ObjectMapEntry> entries;
    size_t cursor = kNoCursor;
    int32_t lowest_offset = kNoOffset;
    // Whether the handles strictly ascend from head to tail, so that Find may search.
    bool ascending = true;
    // For a map that does not ascend: (handle, place) of every entry, sorted, so that the
    // walk's nearest entry of a handle on either side of the cursor is found by a search.
    // Made at the first Find after a change.
    void SortPlaces() const;
    mutable std::vector<std::pair<uint32_t, size_t>> places;
    mutable bool places_valid = false;
};

#endif
