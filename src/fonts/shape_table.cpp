// The per-drawing table of shape files: the search for a font and the lookups of a shape's
// name, codes and identifier.
#include "fonts/shape_table.h"

#include <cctype>
#include <cstring>

namespace {

bool IsSeparator(char c) {
    return c == '\\' || c == '/';
}

// The form in which two paths are compared: upper case, either separator the same.
std::string Key(const std::string &path) {
    std::string key(path);
    for (char &c : key)
        c = c == '\\' ? '/' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return key;
}

} // namespace

CShapeTable::CShapeTable(CFontLocation *owner) : drawing(owner) {
    index_unavailable = index.Open() == 0;
}

void CShapeTable::SetLocation(const char *drawing_file, const char *search_path) {
    has_location = true;
    location_file = drawing_file ? drawing_file : "";
    location_search_path = search_path ? search_path : "";
}

CShapeFile *CShapeTable::File(int slot) const {
    if (slot < 0 || size_t(slot) >= files.size())
        return nullptr;
    return files[static_cast<size_t>(slot)].get();
}

// ---- Finding a file -----------------------------------------------------------------------

CShapeTable::NameParts CShapeTable::Split(const char *name) {
    // Drive and directory are dropped: what stays behind the last separator (or the drive's
    // colon) is base and extension, the extension starting at the last dot.
    const char *start = name;
    for (const char *p = name; *p; ++p)
        if (IsSeparator(*p) || *p == ':')
            start = p + 1;
    NameParts parts;
    std::string rest(start);
    size_t dot = rest.rfind('.');
    if (dot == std::string::npos) {
        parts.base = rest;
    } else {
        parts.base = rest.substr(0, dot);
        parts.extension = rest.substr(dot);
    }
    return parts;
}

std::string CShapeTable::DrawingDirectory() const {
    const char *file = nullptr;
    if (has_location)
        file = location_file.c_str();
    else if (drawing)
        file = drawing->DrawingFileName();
    if (!file)
        return std::string();
    size_t end = 0;
    for (size_t i = 0; file[i]; ++i)
        if (IsSeparator(file[i]) || file[i] == ':')
            end = i + 1;
    return std::string(file, end);
}

std::vector<std::string> CShapeTable::SearchDirectories() const {
    const char *list = nullptr;
    if (has_location)
        list = location_search_path.c_str();
    else if (drawing)
        list = drawing->FontSearchPath();
    std::vector<std::string> directories;
    if (!list)
        return directories;
    std::string element;
    for (const char *p = list;; ++p) {
        if (*p == ';' || *p == 0) {
            // An empty element names no directory and is passed over.
            if (!element.empty()) {
                if (!IsSeparator(element.back()))
                    element += '/';
                directories.push_back(element);
            }
            element.clear();
            if (*p == 0)
                break;
        } else {
            element += *p;
        }
    }
    return directories;
}

int CShapeTable::FindLoaded(const std::string &path) const {
    const std::string key = Key(path);
    for (size_t i = 0; i < files.size(); ++i)
        if (Key(files[i]->file_name) == key)
            return static_cast<int>(i);
    return -1;
}

std::unique_ptr<CShapeFile> CShapeTable::LoadFromIndex(const std::string &base, int *slot) {
    *slot = -1;
    // An index found unusable ends this step at once; the places on disk were tried
    // before, so fonts found there load all the same.
    if (index_unavailable)
        return nullptr;
    int entry = index.Lookup(base.c_str());
    if (entry == 0)
        return nullptr;
    // A font of the index is kept under its name there: asked for again, it is reused.
    const std::string &name = index.Entries()[static_cast<size_t>(entry - 1)].name;
    for (size_t i = 0; i < files.size(); ++i) {
        if (files[i]->file_name == name) {
            *slot = static_cast<int>(i);
            return nullptr;
        }
    }
    return index.LoadShapeFile(entry - 1);
}

void CShapeTable::AttachBigFont(CShapeFile &font, const char *big_file) {
    if (!big_file || !*big_file || font.big_font)
        return;
    NameParts parts = Split(big_file);
    const std::string name =
        parts.base + (parts.extension.empty() ? std::string(".shx") : parts.extension);
    std::unique_ptr<BigFont> big = CShapeFile::LoadBigFont(DrawingDirectory() + name);
    if (!big) {
        for (const std::string &directory : SearchDirectories()) {
            big = CShapeFile::LoadBigFont(directory + name);
            if (big)
                break;
        }
    }
    if (!big && !index_unavailable) {
        int entry = index.Lookup(parts.base.c_str());
        if (entry)
            big = index.LoadBigFont(entry - 1);
    }
    font.big_font = std::move(big);
}

// The search: the name's own drive and folder are dropped; base and extension (".shx"
// when there is none) are looked for beside the drawing, then in each folder of the search
// path, then under the base name in the index. Paths are compared upper case, "\" and "/"
// alike; files are opened through the drawing path resolution, which finds them whatever
// the case of their names on disk.
int CShapeTable::LoadFont(const char *file, const char *big_file) {
    if (!file || !*file)
        return 0;
    const NameParts parts = Split(file);
    if (parts.base.empty() && parts.extension.empty())
        return 0;
    const std::string name =
        parts.base + (parts.extension.empty() ? std::string(".shx") : parts.extension);
    const std::string beside_drawing = DrawingDirectory() + name;
    const std::vector<std::string> directories = SearchDirectories();

    // Loaded before, beside the drawing or in a directory of the search path.
    int slot = FindLoaded(beside_drawing);
    for (size_t i = 0; slot < 0 && i < directories.size(); ++i)
        slot = FindLoaded(directories[i] + name);

    if (slot < 0) {
        std::unique_ptr<CShapeFile> font = CShapeFile::Load(beside_drawing);
        for (size_t i = 0; !font && i < directories.size(); ++i)
            font = CShapeFile::Load(directories[i] + name);
        if (!font)
            font = LoadFromIndex(parts.base, &slot);
        if (font) {
            files.push_back(std::move(font));
            slot = static_cast<int>(files.size()) - 1;
        }
    }
    if (slot < 0)
        return 0;
    AttachBigFont(*files[static_cast<size_t>(slot)], big_file);
    last_slot = slot;
    return 1;
}

// ---- Lookups ------------------------------------------------------------------------------

int CShapeTable::ShapeName(int style, int number, const char **name_out,
                           size_t *name_length) const {
    if (name_out)
        *name_out = nullptr;
    if (name_length)
        *name_length = 0;
    const CShapeFile *font = File(style);
    if (!font)
        return 0;
    const std::vector<uint8_t> *data = nullptr;
    int length = 0;
    if (const ShapeEntry *entry = font->Entry(number)) {
        data = &entry->data;
        length = entry->data_length;
    } else if (number > 255) {
        for (const ExtraShape &extra : font->extra_shapes) {
            if (extra.shape_id == number) {
                data = &extra.data;
                length = extra.data_length;
                break;
            }
        }
    }
    if (!data || data->empty() || length <= 0)
        return 0;
    if (name_out)
        *name_out = reinterpret_cast<const char *>(data->data());
    if (name_length)
        *name_length = ShapeNameLength(*data);
    return length;
}

int CShapeTable::ShapeData(int style, int number, const uint8_t **codes_out, size_t *code_length,
                           double *width_out) const {
    if (codes_out)
        *codes_out = nullptr;
    if (code_length)
        *code_length = 0;
    if (width_out)
        *width_out = 0;
    const CShapeFile *font = File(style);
    const ShapeEntry *entry = font ? font->Entry(number) : nullptr;
    if (!entry || entry->data.empty() || entry->data_length <= 0)
        return 0;
    size_t n = 0;
    const uint8_t *codes = ShapeCodes(entry->data, &n);
    if (codes_out)
        *codes_out = codes;
    if (code_length)
        *code_length = n;
    if (width_out)
        *width_out = entry->width;
    return entry->data_length;
}

int CShapeTable::ShapeDataByCode(int style, uint8_t lead_byte, uint8_t trail_byte,
                                 std::vector<uint8_t> *codes_out) const {
    if (codes_out)
        codes_out->clear();
    const CShapeFile *font = File(style);
    const BigFont *big = font ? font->big_font.get() : nullptr;
    if (!big || !big->IsLeadByte(lead_byte))
        return 0;
    const uint16_t number = static_cast<uint16_t>(lead_byte * 256 + trail_byte);
    for (size_t i = 0; i < big->shapes.size(); ++i) {
        if (big->shapes[i].shape_id != number)
            continue;
        std::vector<uint8_t> data;
        if (!ReadBigFontShape(*big, i, &data) || data.empty())
            return 0;
        if (codes_out) {
            size_t n = 0;
            const uint8_t *codes = ShapeCodes(data, &n);
            if (codes)
                codes_out->assign(codes, codes + n);
        }
        return static_cast<int>(data.size());
    }
    return 0;
}

int CShapeTable::ShapeId(int16_t &style, int16_t &number, const char *name) const {
    if (!name)
        return 0;
    const size_t wanted = std::strlen(name);
    for (size_t s = 0; s < files.size(); ++s) {
        const std::vector<ShapeEntry> &shapes = files[s]->shapes;
        for (size_t n = 0; n < shapes.size(); ++n) {
            const std::vector<uint8_t> &data = shapes[n].data;
            if (data.empty())
                continue;
            if (ShapeNameLength(data) == wanted && std::memcmp(data.data(), name, wanted) == 0) {
                style = static_cast<int16_t>(s);
                number = static_cast<int16_t>(n);
                return 1;
            }
        }
    }
    return 0;
}
