// Reading the control-shape index VELKO.SDX.
#include "fonts/shape_index.h"

#include <cctype>
#include <cstring>

#ifndef VELKO_DATA_DIR
#define VELKO_DATA_DIR "/usr/local/share/velkow32"
#endif

namespace {

std::vector<std::string> DefaultDirectories() {
    return {VELKO_DATA_DIR, "/usr/share/velkow32"};
}

std::vector<std::string> &Directories() {
    static std::vector<std::string> directories = DefaultDirectories();
    return directories;
}

uint16_t U16(const uint8_t *p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
int16_t I16(const uint8_t *p) {
    return static_cast<int16_t>(U16(p));
}
uint32_t U32(const uint8_t *p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
double F64(const uint8_t *p) {
    uint64_t bits = 0;
    for (int i = 7; i >= 0; --i)
        bits = (bits << 8) | p[i];
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string JoinPath(const std::string &directory, const char *name) {
    if (directory.empty())
        return name;
    char last = directory.back();
    return directory + (last == '/' || last == '\\' ? "" : "/") + name;
}

} // namespace

std::vector<std::string> ShapeIndexDirectories() {
    return Directories();
}

void SetShapeIndexDirectoriesForTesting(std::vector<std::string> directories) {
    Directories() = std::move(directories);
}

void ResetShapeIndexDirectoriesForTesting() {
    Directories() = DefaultDirectories();
}

// ---- Opening ----------------------------------------------------------------------------

void CShapeIndex::MakeUnusable() {
    file.Close();
    entries.clear();
    usable = false;
}

bool CShapeIndex::ReadAt(uint32_t offset, void *dest, uint32_t size) {
    return file.IsOpen() && ReadShapeBytes(file, offset, dest, size);
}

int CShapeIndex::Open() {
    // The first directory in which the file opens decides; a foreign file there is not
    // passed over for the next directory.
    for (const std::string &directory : ShapeIndexDirectories()) {
        std::string candidate = JoinPath(directory, kFileName);
        CDrawingFile probe;
        if (probe.Open(candidate.c_str(), kDrawingFileRead)) {
            probe.Close();
            return Open(candidate);
        }
    }
    MakeUnusable();
    return 0;
}

int CShapeIndex::Open(const std::string &index_path) {
    MakeUnusable();
    path = index_path;
    if (!file.Open(index_path.c_str(), kDrawingFileRead))
        return 0;
    char signature[kSignatureLength];
    if (!ReadAt(0, signature, kSignatureLength) ||
        std::memcmp(signature, kSignature, kSignatureLength) != 0) {
        MakeUnusable();
        return 0;
    }
    uint8_t count_bytes[2];
    if (!ReadAt(kCountOffset, count_bytes, 2)) {
        MakeUnusable();
        return 0;
    }
    int16_t count = I16(count_bytes);
    const uint64_t directory_size = uint64_t(count < 0 ? 0 : count) * kEntrySize;
    if (count < 0 || kDirectoryOffset + directory_size > file.Length()) {
        MakeUnusable();
        return 0;
    }
    std::vector<uint8_t> directory(static_cast<size_t>(directory_size));
    if (!ReadAt(kDirectoryOffset, directory.data(), static_cast<uint32_t>(directory_size))) {
        MakeUnusable();
        return 0;
    }
    entries.resize(static_cast<size_t>(count));
    for (size_t i = 0; i < entries.size(); ++i) {
        const uint8_t *row = directory.data() + i * kEntrySize;
        std::memcpy(entries[i].name, row, kNameSize);
        entries[i].name[kNameSize] = 0;
        entries[i].kind = I16(row + kNameSize);
        entries[i].offset = U32(row + kNameSize + 2);
    }
    usable = true;
    return 1;
}

// ---- Lookups and loads ----------------------------------------------------------------------

int CShapeIndex::Lookup(const char *name) const {
    if (!usable || !name)
        return 0;
    size_t length = std::strlen(name);
    if (length > kNameSize)
        return 0;
    char upper[kNameSize + 1] = {};
    for (size_t i = 0; i < length; ++i)
        upper[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[i])));
    for (size_t i = 0; i < entries.size(); ++i)
        if (std::strcmp(entries[i].name, upper) == 0)
            return static_cast<int>(i) + 1;
    return 0;
}

std::unique_ptr<CShapeFile> CShapeIndex::LoadShapeFile(int index) {
    if (!usable || index < 0 || size_t(index) >= entries.size())
        return nullptr;
    const Entry &entry = entries[static_cast<size_t>(index)];
    if (entry.kind != kShapeFileKind)
        return nullptr;
    uint8_t head[4];
    if (!ReadAt(entry.offset, head, 4))
        return nullptr;
    int max_id = I16(head);
    const int highest_row = I16(head + 2);
    // The direct table holds at most 256 entries.
    if (max_id > 255)
        max_id = 255;
    if (max_id < -1)
        max_id = -1;
    const size_t row_count = highest_row < 0 ? 0 : size_t(highest_row) + 1;
    const uint64_t offsets_at = uint64_t(entry.offset) + 4;
    if (offsets_at + uint64_t(row_count) * 4 > file.Length())
        return nullptr;
    std::vector<uint8_t> offsets(row_count * 4);
    if (!ReadAt(static_cast<uint32_t>(offsets_at), offsets.data(),
                static_cast<uint32_t>(offsets.size())))
        return nullptr;

    auto font = std::make_unique<CShapeFile>();
    font->file_name = entry.name;
    font->form = CShapeFile::Form::kShapes11;
    font->max_shape_id = static_cast<int16_t>(max_id);
    font->shapes.assign(static_cast<size_t>(max_id + 1), ShapeEntry());
    font->data_offset = row_count ? U32(offsets.data()) : 0;
    bool first = true;
    for (size_t k = 0; k < row_count; ++k) {
        const uint32_t at = U32(&offsets[k * 4]);
        uint8_t number_bytes[2];
        if (!ReadAt(at, number_bytes, 2))
            return nullptr;
        const int16_t number = I16(number_bytes);
        if (number > 255)
            break;
        uint8_t rest[10];
        if (uint64_t(at) + 2 > file.Length() || !ReadAt(at + 2, rest, 10))
            return nullptr;
        const int16_t length = I16(rest);
        if (length < 0 || uint64_t(at) + 12 + static_cast<uint64_t>(length) > file.Length())
            return nullptr;
        std::vector<uint8_t> data(static_cast<size_t>(length));
        if (!ReadAt(at + 12, data.data(), static_cast<uint32_t>(length)))
            return nullptr;
        if (first) {
            size_t code_length = 0;
            const uint8_t *codes = ShapeCodes(data, &code_length);
            if (code_length > 0) {
                int8_t above = static_cast<int8_t>(codes[0]);
                font->above = above != 0 ? above : 1.0;
            }
            first = false;
        }
        // A number the table has no room for is passed over.
        if (number < 0 || number > max_id)
            continue;
        ShapeEntry &slot = font->shapes[static_cast<size_t>(number)];
        slot.data_length = length;
        slot.width = F64(rest + 2);
        slot.data = std::move(data);
    }
    return font;
}

std::unique_ptr<BigFont> CShapeIndex::LoadBigFont(int index) {
    if (!usable || index < 0 || size_t(index) >= entries.size())
        return nullptr;
    const Entry &entry = entries[static_cast<size_t>(index)];
    if (entry.kind != kBigFontKind)
        return nullptr;
    uint8_t head[4];
    if (!ReadAt(entry.offset, head, 4))
        return nullptr;
    const int16_t shape_count = I16(head);
    const int16_t range_count = I16(head + 2);
    if (shape_count < 0 || range_count < 0)
        return nullptr;
    const uint64_t ranges_at = uint64_t(entry.offset) + 4;
    const uint64_t size = uint64_t(range_count) * 2 + uint64_t(shape_count) * 8;
    if (ranges_at + size > file.Length())
        return nullptr;
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    if (!ReadAt(static_cast<uint32_t>(ranges_at), bytes.data(), static_cast<uint32_t>(size)))
        return nullptr;
    auto font = std::make_unique<BigFont>();
    font->file_name = path;
    font->ranges.resize(static_cast<size_t>(range_count));
    for (size_t i = 0; i < font->ranges.size(); ++i) {
        font->ranges[i].low = bytes[i * 2];
        font->ranges[i].high = bytes[i * 2 + 1];
    }
    const uint8_t *p = bytes.data() + font->ranges.size() * 2;
    font->shapes.resize(static_cast<size_t>(shape_count));
    for (size_t i = 0; i < font->shapes.size(); ++i, p += 8) {
        font->shapes[i].shape_id = U16(p);
        font->shapes[i].data_length = U16(p + 2);
        font->shapes[i].data_offset = U32(p + 4);
    }
    return font;
}
