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
    int16_t count = 0;
    if (!ReadShapeValues(file, kCountOffset, count)) {
        MakeUnusable();
        return 0;
    }
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

const CShapeIndex::Entry *CShapeIndex::EntryOfKind(int index, int16_t kind) const {
    if (!usable || index < 0 || size_t(index) >= entries.size())
        return nullptr;
    const Entry &entry = entries[static_cast<size_t>(index)];
    return entry.kind == kind ? &entry : nullptr;
}

std::unique_ptr<CShapeFile> CShapeIndex::LoadShapeFile(int index) {
    const Entry *found = EntryOfKind(index, kShapeFileKind);
    if (!found)
        return nullptr;
    const Entry &entry = *found;
    int16_t head_max_id = 0;
    int16_t head_highest_row = 0;
    if (!ReadShapeValues(file, entry.offset, head_max_id, head_highest_row))
        return nullptr;
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
        int16_t number = 0;
        if (!ReadShapeValues(file, at, number))
            return nullptr;
        if (number > 255)
            break;
        int16_t length = 0;
        double width = 0.0;
        if (uint64_t(at) + 2 > file.Length() || !ReadShapeValues(file, at + 2, length, width))
            return nullptr;
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
    const Entry *entry = EntryOfKind(index, kBigFontKind);
    if (!entry || !file.IsOpen())
        return nullptr;
    return ReadBigFontTables(file, entry->offset, path);
}
