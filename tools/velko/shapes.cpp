// velko shapes: the shapes of a compiled shape file (SHX) as the library loads it: number,
// name, data length and width of each. A big font lists number, name and data length.
#include "command_support.h"
#include "commands.h"
#include "interface/tool_support.h"
#include "json_writer.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

int Usage() {
    return WrongUsage("usage: velko shapes FILE.SHX [--json]\n");
}

using tool_support::ListedShape;
using tool_support::ShapeFontForm;
using tool_support::ShapeFontListing;

const char *FormName(ShapeFontForm form) {
    switch (form) {
    case ShapeFontForm::kShapes10:
        return "shapes 1.0";
    case ShapeFontForm::kShapes11:
        return "shapes 1.1";
    case ShapeFontForm::kUnifont:
        return "unifont";
    case ShapeFontForm::kBigFont:
        return "bigfont";
    }
    return "unknown";
}

// A big font has no height above the baseline and no direct table: neither is shown.
void Print(const char *file, const ShapeFontListing &font, bool json) {
    const std::vector<ListedShape> &rows = font.shapes;
    const char *form = FormName(font.form);
    const bool has_header = font.form != ShapeFontForm::kBigFont;
    if (json) {
        std::string out = "{\"file\": " + JsonString(file) + ", \"form\": " + JsonString(form);
        if (has_header) {
            out += ", \"above\": " + FormatNumber(font.above);
            out += ", \"max_shape_id\": " + std::to_string(font.max_shape_id);
        }
        out += ", \"shapes\": [";
        for (size_t i = 0; i < rows.size(); ++i) {
            const ListedShape &r = rows[i];
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
    if (has_header)
        std::printf("above: %s\nmax_shape_id: %d\n", FormatNumber(font.above).c_str(),
                    font.max_shape_id);
    std::printf("shapes: %zu\n", rows.size());
    std::printf("%8s  %-24s %8s %10s\n", "number", "name", "length", "width");
    for (const ListedShape &r : rows)
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

    ShapeFontListing font;
    if (!tool_support::ListShapeFont(file, &font)) {
        std::fprintf(stderr, "velko: %s: not a shape file the library can load\n", file);
        return 1;
    }
    Print(file, font, json);
    return 0;
}
