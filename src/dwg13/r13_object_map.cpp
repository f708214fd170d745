#include "dwg13/r13_object_map.h"

#include "dwg13/r13_checks.h"

#include "io/drawing_file.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>

// ---- Modular numbers ------------------------------------------------------------------------

namespace {

// Takes the bytes of one number: every byte with its high bit set and the first byte below
// 128 behind them. `payload` gets their 7-bit groups, the first lowest (groups beyond 32
// bits are dropped); `last` the closing byte. False when the range ends first.
bool TakeModularBytes(const uint8_t *bytes, size_t size, size_t &pos, uint32_t &payload,
                      uint8_t &last, unsigned &shift) {
    payload = 0;
    shift = 0;
    while (pos < size) {
        const uint8_t byte = bytes[pos++];
        if (byte < 0x80) {
            last = byte;
            return true;
        }
        if (shift < 32)
            payload |= uint32_t(byte & 0x7F) << shift;
        shift += 7;
    }
    return false;
}

} // namespace

bool ReadModular(const uint8_t *bytes, size_t size, size_t &pos, uint32_t &value) {
    uint32_t payload = 0;
    uint8_t last = 0;
    unsigned shift = 0;
    if (!bytes || !TakeModularBytes(bytes, size, pos, payload, last, shift)) {
        pos = size;
        return false;
    }
    value = shift < 32 ? payload | (uint32_t(last) << shift) : payload;
    return true;
}

bool ReadSignedModular(const uint8_t *bytes, size_t size, size_t &pos, int32_t &value) {
    uint32_t payload = 0;
    uint8_t last = 0;
    unsigned shift = 0;
    if (!bytes || !TakeModularBytes(bytes, size, pos, payload, last, shift)) {
        pos = size;
        return false;
    }
    const uint32_t top = last & 0x3F;
    const uint32_t magnitude = shift < 32 ? payload | (top << shift) : payload;
    value = (last & 0x40) ? static_cast<int32_t>(0u - magnitude) : static_cast<int32_t>(magnitude);
    return true;
}

void PutModular(std::vector<uint8_t> &out, int64_t value) {
    while (value >= 128) {
        out.push_back(static_cast<uint8_t>(value % 128 + 128));
        value /= 128;
    }
    out.push_back(static_cast<uint8_t>(value & 0xFF));
}

void PutSignedModular(std::vector<uint8_t> &out, int64_t value) {
    const bool negative = value < 0;
    uint64_t magnitude =
        negative ? 0u - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    while (magnitude >= 64) {
        out.push_back(static_cast<uint8_t>((magnitude & 0x7F) | 0x80));
        magnitude >>= 7;
    }
    out.push_back(static_cast<uint8_t>(magnitude | (negative ? 0x40 : 0)));
}

// ---- The file form --------------------------------------------------------------------------

namespace {

// A section is closed once its pairs take this many bytes.
constexpr size_t kSectionFull = 2016;
// The section that ends the map: size 2, no pairs, and its check.
constexpr uint8_t kClosingBytes[] = {0x00, 0x02, 0x01, 0xD0};

} // namespace

std::vector<uint8_t> EncodeObjectMap(const std::vector<ObjectMapEntry> &entries, bool real_checks) {
    std::vector<uint8_t> out;
    std::vector<uint8_t> pairs;
    size_t next = 0;
    while (next < entries.size()) {
        pairs.clear();
        int64_t last_handle = 0;
        int64_t last_offset = 0;
        while (next < entries.size() && pairs.size() < kSectionFull) {
            const ObjectMapEntry &entry = entries[next++];
            PutModular(pairs, int64_t(entry.handle) - last_handle);
            PutSignedModular(pairs, int64_t(entry.offset) - last_offset);
            last_handle = entry.handle;
            last_offset = entry.offset;
        }
        const size_t size = pairs.size() + 2;
        const size_t section = out.size();
        out.push_back(static_cast<uint8_t>(size >> 8));
        out.push_back(static_cast<uint8_t>(size & 0xFF));
        out.insert(out.end(), pairs.begin(), pairs.end());
        const uint16_t check =
            real_checks ? R13MapSectionCheck(out.data() + section, size) : kR13FixedCheck;
        out.push_back(static_cast<uint8_t>(check >> 8));
        out.push_back(static_cast<uint8_t>(check & 0xFF));
    }
    out.insert(out.end(), std::begin(kClosingBytes), std::end(kClosingBytes));
    return out;
}

// ---- The list -------------------------------------------------------------------------------

void CObjectMap::Add(const ObjectMapEntry &entry) {
    if (!entries.empty() && entry.handle <= entries.back().handle)
        ascending = false;
    entries.push_back(entry);
    places_valid = false;
    if (entry.offset < lowest_offset)
        lowest_offset = entry.offset;
}

void CObjectMap::InsertSorted(const ObjectMapEntry &entry) {
    size_t at = entries.size();
    while (at > 0 && entries[at - 1].handle > entry.handle)
        --at;
    if ((at > 0 && entries[at - 1].handle == entry.handle))
        ascending = false;
    entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(at), entry);
    places_valid = false;
    if (cursor != kNoCursor && cursor >= at)
        ++cursor;
}

int CObjectMap::Remove(const char *handle_text) {
    if (!handle_text)
        return 0;
    char *end = nullptr;
    const unsigned long long value = std::strtoull(handle_text, &end, 16);
    if (end == handle_text)
        return 0;
    const uint32_t handle = static_cast<uint32_t>(value);
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].handle != handle)
            continue;
        entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(i));
        places_valid = false;
        if (cursor == i)
            cursor = kNoCursor;
        else if (cursor != kNoCursor && cursor > i)
            --cursor;
        return 1;
    }
    return 0;
}

size_t CObjectMap::Walk(size_t start, uint32_t handle) const {
    if (entries[start].handle == handle)
        return start;
    if (ascending) {
        // The walk would meet the one entry of this handle, on the side it goes to.
        auto found = std::lower_bound(
            entries.begin(), entries.end(), handle,
            [](const ObjectMapEntry &entry, uint32_t wanted) { return entry.handle < wanted; });
        if (found == entries.end() || found->handle != handle)
            return kNoCursor;
        return static_cast<size_t>(found - entries.begin());
    }
    // Towards the tail the first entry of the handle behind the start, towards the head the
    // last one before it.
    SortPlaces();
    const bool towards_tail = handle > entries[start].handle;
    const std::pair<uint32_t, size_t> key(handle, start);
    if (towards_tail) {
        auto found = std::upper_bound(places.begin(), places.end(), key);
        return found != places.end() && found->first == handle ? found->second : kNoCursor;
    }
    auto found = std::lower_bound(places.begin(), places.end(), key);
    if (found == places.begin())
        return kNoCursor;
    --found;
    return found->first == handle ? found->second : kNoCursor;
}

void CObjectMap::SortPlaces() const {
    if (places_valid)
        return;
    places.clear();
    places.reserve(entries.size());
    for (size_t i = 0; i < entries.size(); ++i)
        places.emplace_back(entries[i].handle, i);
    std::sort(places.begin(), places.end());
    places_valid = true;
}

const ObjectMapEntry *CObjectMap::Find(uint32_t handle) {
    if (entries.empty()) {
        cursor = kNoCursor;
        return nullptr;
    }
    const size_t start = cursor != kNoCursor && cursor < entries.size() ? cursor : 0;
    cursor = Walk(start, handle);
    return cursor == kNoCursor ? nullptr : &entries[cursor];
}

int32_t CObjectMap::GetOffset(uint32_t handle) {
    const ObjectMapEntry *entry = Find(handle);
    return entry ? entry->offset : 0;
}

int CObjectMap::SetOffset(uint32_t handle, int32_t offset) {
    if (!Find(handle))
        return 0;
    entries[cursor].offset = offset;
    return 1;
}

void CObjectMap::Clear() {
    entries.clear();
    places.clear();
    places_valid = false;
    cursor = kNoCursor;
    lowest_offset = kNoOffset;
    ascending = true;
}

// ---- Reading and writing --------------------------------------------------------------------

namespace {

int ReadI32(CDrawingFile &file, int32_t &value) {
    uint8_t bytes[4] = {};
    const int32_t before = file.GetPosition();
    if (!file.Read(bytes, 4) || file.GetPosition() - before != 4)
        return 0;
    value = static_cast<int32_t>(uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 |
                                 uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24);
    return 1;
}

void PutI32(uint8_t *bytes, int32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(uint32_t(value) >> (8 * i));
}

// Restores the file position on every way out.
class PositionKeeper {
public:
    explicit PositionKeeper(CDrawingFile &kept) : file(kept), position(kept.GetPosition()) {}
    ~PositionKeeper() { file.SetPosition(position, 0); }
    PositionKeeper(const PositionKeeper &) = delete;
    PositionKeeper &operator=(const PositionKeeper &) = delete;

private:
    CDrawingFile &file;
    int32_t position;
};

} // namespace

int64_t CObjectMap::ReadSection(CDrawingFile &file, int64_t map_end) {
    uint8_t head[2] = {};
    const int32_t start = file.GetPosition();
    if (!file.Read(head, 2) || file.GetPosition() - start != 2)
        return -1;
    int64_t size = (int64_t(head[0]) << 8 | head[1]) - 2;
    // A size of 2 closes the map: nothing behind it counts.
    if (size == 0)
        return 0;
    // The pairs are taken only from bytes that the map and the file hold.
    const int64_t available = map_end - file.GetPosition();
    if (size > available)
        size = available > 0 ? available : 0;
    size_t pos = 0;
    if (size > 0) {
        std::unique_ptr<uint8_t[]> bytes(new uint8_t[static_cast<size_t>(size)]());
        if (!file.Read(bytes.get(), static_cast<uint32_t>(size)))
            return -1;
        uint32_t handle = 0;
        int32_t offset = 0;
        while (pos < size_t(size)) {
            uint32_t handle_step = 0;
            int32_t offset_step = 0;
            if (!ReadModular(bytes.get(), size_t(size), pos, handle_step) ||
                !ReadSignedModular(bytes.get(), size_t(size), pos, offset_step))
                break;
            handle += handle_step;
            offset = static_cast<int32_t>(uint32_t(offset) + uint32_t(offset_step));
            Add(ObjectMapEntry{handle, offset});
        }
    }
    // Over the check bytes.
    file.SetPosition(2, 1);
    return 2 + int64_t(pos) + 2;
}

int CObjectMap::Read(CDrawingFile &file) {
    PositionKeeper keeper(file);
    int32_t offset = 0;
    int32_t size = 0;
    if (!file.SetPosition(kPlaceInHead, 0) || !ReadI32(file, offset) || !ReadI32(file, size))
        return 0;
    const int64_t length = file.Length();
    if (offset < 0 || offset >= length)
        return 0;
    // A size beyond the file is cut to what the file holds behind the offset.
    const int64_t map_end = std::min<int64_t>(int64_t(offset) + std::max<int32_t>(size, 0), length);
    file.SetPosition(offset, 0);
    int64_t total = 0;
    while (offset + total < map_end) {
        const int64_t used = ReadSection(file, map_end);
        if (used < 0)
            return 0;
        if (used == 0)
            break;
        total += used;
    }
    return 1;
}

int CObjectMap::Write(CDrawingFile &file) const {
    const int32_t start = file.SeekEndForWrite();
    if (start < 0)
        return 0;
    const std::vector<uint8_t> bytes = EncodeObjectMap(entries);
    if (!file.Write(bytes.data(), static_cast<uint32_t>(bytes.size())))
        return 0;
    const int32_t end = file.SeekEndForWrite();
    if (end < 0)
        return 0;
    uint8_t place[8];
    PutI32(place, start);
    PutI32(place + 4, end - start);
    if (!file.SeekForWrite(kPlaceInHead) || !file.Write(place, sizeof place))
        return 0;
    return file.SeekEndForWrite() < 0 ? 0 : 1;
}
