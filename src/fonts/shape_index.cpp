// Reading the control-shape index VELKO.SDX.
#include "fonts/shape_index.h"

#include "io/byte_reader.h"

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
    int16_t count = 0;
    ReadValueAt(count_bytes, sizeof count_bytes, 0, count);
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
        ByteReader fields(row + kNameSize, kEntrySize - kNameSize);
        fields.I16(entries[i].kind);
        fields.U32(entries[i].offset);
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
    int16_t head_max_id = 0;
    int16_t head_highest_row = 0;
    ByteReader head_fields(head, sizeof head);
    head_fields.I16(head_max_id);
    head_fields.I16(head_highest_row);
    int max_id = head_max_id;
    const int highest_row = head_highest_row;
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
    font->data_offset = 0;
    ReadValueAt(offsets.data(), offsets.size(), 0, font->data_offset);
    ByteReader row_offsets(offsets.data(), offsets.size());
    bool first = true;
    for (size_t k = 0; k < row_count; ++k) {
        uint32_t at = 0;
        row_offsets.U32(at);
        uint8_t number_bytes[2];
        if (!ReadAt(at, number_bytes, 2))
            return nullptr;
        int16_t number = 0;
        ReadValueAt(number_bytes, sizeof number_bytes, 0, number);
        if (number > 255)
            break;
        uint8_t rest[10];
        if (uint64_t(at) + 2 > file.Length() || !ReadAt(at + 2, rest, 10))
            return nullptr;
        int16_t length = 0;
        double width = 0.0;
        ByteReader rest_fields(rest, sizeof rest);
        rest_fields.I16(length);
        rest_fields.F64(width);
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
        slot.width = width;
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
    int16_t shape_count = 0;
    int16_t range_count = 0;
    ByteReader counts(head, sizeof head);
    counts.I16(shape_count);
    counts.I16(range_count);
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
    ByteReader shape_rows(bytes.data() + font->ranges.size() * 2,
                          bytes.size() - font->ranges.size() * 2);
    font->shapes.resize(static_cast<size_t>(shape_count));
    for (auto &shape : font->shapes) {
        uint16_t id = 0;
        uint16_t length = 0;
        uint32_t offset = 0;
        shape_rows.U16(id);
        shape_rows.U16(length);
        shape_rows.U32(offset);
        shape.shape_id = id;
        shape.data_length = length;
        shape.data_offset = offset;
    }
    return font;
}
