// velko shapes: the shapes of a compiled shape file (SHX) as the library loads it: number,
// name, data length and width of each. A big font lists number, name and data length.
#include "../../src/fonts/shape_file.h"
#include "commands.h"
#include "json_writer.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

int Usage() {
    std::fprintf(stderr, "usage: velko shapes FILE.SHX [--json]\n");
    return 2;
}

struct Row {
    unsigned number = 0;
    std::string name;
    long length = 0;
    double width = 0;
    bool has_width = true;
};

std::string NameOf(const std::vector<uint8_t> &data) {
    return std::string(reinterpret_cast<const char *>(data.data()), ShapeNameLength(data));
}

const char *FormName(CShapeFile::Form form) {
    switch (form) {
    case CShapeFile::Form::kShapes10:
        return "shapes 1.0";
    case CShapeFile::Form::kShapes11:
        return "shapes 1.1";
    case CShapeFile::Form::kUnifont:
        return "unifont";
    }
    return "unknown";
}

void Print(const char *file, const char *form, const std::vector<Row> &rows, bool json,
           const CShapeFile *font) {
    if (json) {
        std::string out = "{\"file\": " + JsonString(file) + ", \"form\": " + JsonString(form);
        if (font) {
            out += ", \"above\": " + FormatNumber(font->above);
            out += ", \"max_shape_id\": " + std::to_string(font->max_shape_id);
        }
        out += ", \"shapes\": [";
        for (size_t i = 0; i < rows.size(); ++i) {
            const Row &r = rows[i];
            out += i ? ", " : "";
            out += "{\"number\": " + std::to_string(r.number) +
                   ", \"name\": " + JsonString(r.name.c_str()) +
                   ", \"length\": " + std::to_string(r.length);
            if (r.has_width)
                out += ", \"width\": " + FormatNumber(r.width);
            out += "}";
        }
        out += "]}";
        std::printf("%s\n", out.c_str());
        return;
    }
    std::printf("file: %s\nform: %s\n", file, form);
    if (font)
        std::printf("above: %s\nmax_shape_id: %d\n", FormatNumber(font->above).c_str(),
                    font->max_shape_id);
    std::printf("shapes: %zu\n", rows.size());
    std::printf("%8s  %-24s %8s %10s\n", "number", "name", "length", "width");
    for (const Row &r : rows)
        std::printf("%8u  %-24s %8ld %10s\n", r.number, r.name.c_str(), r.length,
                    r.has_width ? FormatNumber(r.width).c_str() : "-");
}

} // namespace

int RunShapes(int argc, char **argv) {
    const char *file = nullptr;
    bool json = false;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0)
            json = true;
        else if (!file && argv[i][0] != '-')
            file = argv[i];
        else
            return Usage();
    }
    if (!file)
        return Usage();

    std::vector<Row> rows;
    if (std::unique_ptr<CShapeFile> font = CShapeFile::Load(file)) {
        const bool has_width = font->form != CShapeFile::Form::kUnifont;
        for (size_t n = 0; n < font->shapes.size(); ++n) {
            const ShapeEntry &entry = font->shapes[n];
            if (entry.data_length <= 0)
                continue;
            rows.push_back({static_cast<unsigned>(n), NameOf(entry.data), entry.data_length,
                            entry.width, has_width});
        }
        for (const ExtraShape &extra : font->extra_shapes)
            rows.push_back(
                {extra.shape_id, NameOf(extra.data), extra.data_length, extra.width, has_width});
        Print(file, FormName(font->form), rows, json, font.get());
        return 0;
    }
    if (std::unique_ptr<BigFont> big = CShapeFile::LoadBigFont(file)) {
        for (size_t i = 0; i < big->shapes.size(); ++i) {
            std::vector<uint8_t> data;
            ReadBigFontShape(*big, i, &data);
            rows.push_back(
                {big->shapes[i].shape_id, NameOf(data), big->shapes[i].data_length, 0, false});
        }
        Print(file, "bigfont", rows, json, nullptr);
        return 0;
    }
    std::fprintf(stderr, "velko: %s: not a shape file the library can load\n", file);
    return 1;
}
