// velko glyph: the outline of one character of a TrueType font, as the library's font
// functions deliver it: each glyph record with its placement, its contours' end points
// and its points, and the advance width.
#include "command_support.h"
#include "commands.h"
#include "json_writer.h"
#include "velkow32.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char kUsage[] = "usage: velko glyph FONT.TTF CHAR [--json]\n"
                      "CHAR: one character, a decimal number of two or more digits, or U+XXXX\n";

// One character (UTF-8, up to U+FFFF), a decimal number of two or more digits, or U+XXXX.
bool ParseChar(const char *text, uint16_t *code) {
    size_t n = std::strlen(text);
    if (n > 2 && (text[0] == 'U' || text[0] == 'u') && text[1] == '+') {
        unsigned long value = 0;
        for (size_t i = 2; i < n; ++i) {
            if (!std::isxdigit(static_cast<unsigned char>(text[i])) || i > 6)
                return false;
            value = value * 16 +
                    static_cast<unsigned long>(
                        std::isdigit(static_cast<unsigned char>(text[i]))
                            ? text[i] - '0'
                            : std::tolower(static_cast<unsigned char>(text[i])) - 'a' + 10);
        }
        if (value > 0xFFFF)
            return false;
        *code = static_cast<uint16_t>(value);
        return true;
    }
    if (n >= 2 && std::strspn(text, "0123456789") == n) {
        if (n > 5)
            return false;
        unsigned long value = std::strtoul(text, nullptr, 10);
        if (value > 0xFFFF)
            return false;
        *code = static_cast<uint16_t>(value);
        return true;
    }
    const unsigned char *u = reinterpret_cast<const unsigned char *>(text);
    if (n == 1 && u[0] < 0x80) {
        *code = u[0];
        return true;
    }
    if (n == 2 && (u[0] & 0xE0) == 0xC0 && (u[1] & 0xC0) == 0x80) {
        *code = static_cast<uint16_t>(((u[0] & 0x1F) << 6) | (u[1] & 0x3F));
        return *code >= 0x80;
    }
    if (n == 3 && (u[0] & 0xF0) == 0xE0 && (u[1] & 0xC0) == 0x80 && (u[2] & 0xC0) == 0x80) {
        *code = static_cast<uint16_t>(((u[0] & 0x0F) << 12) | ((u[1] & 0x3F) << 6) | (u[2] & 0x3F));
        return *code >= 0x800;
    }
    return false;
}

struct Record {
    user_compGlyfData data;
    int contours = 0;
    std::vector<int> end_points;
    std::vector<FNT_POINT> points;
};

const char *TransformName(int kind) {
    switch (kind) {
    case 1:
        return "scale";
    case 2:
        return "x and y scales";
    case 3:
        return "two-by-two matrix";
    default:
        return "none";
    }
}

std::vector<double> TransformValues(const user_compGlyfData &d) {
    switch (d.transform_kind) {
    case 1:
        return {d.scale};
    case 2:
        return {d.x_scale, d.y_scale};
    case 3:
        return {d.x_scale, d.scale_01, d.scale_10, d.y_scale};
    default:
        return {};
    }
}

std::string JoinNumbers(const std::vector<double> &values, const char *separator) {
    std::string out;
    for (size_t i = 0; i < values.size(); ++i)
        out += (i ? separator : "") + FormatNumber(values[i]);
    return out;
}

void PrintJson(const char *font, uint16_t code, uint16_t advance, int16_t bearing,
               const std::vector<Record> &records) {
    std::string out = "{\"font\": " + JsonString(font) + ", \"code\": " + std::to_string(code) +
                      ", \"advance\": " + std::to_string(advance) +
                      ", \"left_bearing\": " + std::to_string(bearing) + ", \"records\": [";
    for (size_t r = 0; r < records.size(); ++r) {
        const Record &rec = records[r];
        out += r ? ", " : "";
        out += "{\"transform_kind\": " + std::to_string(rec.data.transform_kind) +
               ", \"transform\": [" + JoinNumbers(TransformValues(rec.data), ", ") +
               "], \"arguments\": [" + std::to_string(rec.data.argument_1) + ", " +
               std::to_string(rec.data.argument_2) +
               "], \"contours\": " + std::to_string(rec.contours) + ", \"end_points\": [";
        for (size_t i = 0; i < rec.end_points.size(); ++i)
            out += (i ? ", " : "") + std::to_string(rec.end_points[i]);
        out += "], \"points\": [";
        for (size_t i = 0; i < rec.points.size(); ++i) {
            const FNT_POINT &p = rec.points[i];
            out += std::string(i ? ", " : "") + "[" + std::to_string(p.x) + ", " +
                   std::to_string(p.y) + ", " + (p.on_curve ? "true" : "false") + "]";
        }
        out += "]}";
    }
    std::printf("%s]}\n", out.c_str());
}

void PrintText(const char *font, uint16_t code, uint16_t advance, int16_t bearing,
               const std::vector<Record> &records) {
    std::printf("font: %s\n", font);
    std::printf("char: %u (U+%04X)\n", code, code);
    std::printf("advance: %u\n", advance);
    std::printf("left bearing: %d\n", bearing);
    std::printf("records: %zu\n", records.size());
    for (size_t r = 0; r < records.size(); ++r) {
        const Record &rec = records[r];
        std::printf("record %zu:\n", r + 1);
        std::vector<double> values = TransformValues(rec.data);
        std::printf("  transform: %s%s%s\n", TransformName(rec.data.transform_kind),
                    values.empty() ? "" : " ", JoinNumbers(values, ", ").c_str());
        std::printf("  arguments: %d, %d\n", rec.data.argument_1, rec.data.argument_2);
        std::printf("  contours: %d\n", rec.contours);
        std::printf("  end points:");
        for (int e : rec.end_points)
            std::printf(" %d", e);
        std::printf("\n  points: %zu\n", rec.points.size());
        for (size_t i = 0; i < rec.points.size(); ++i)
            std::printf("    %zu: %d, %d %s\n", i, rec.points[i].x, rec.points[i].y,
                        rec.points[i].on_curve ? "on" : "off");
    }
}

} // namespace

int RunGlyph(int argc, char **argv) {
    const char *font = nullptr;
    const char *character = nullptr;
    bool json = false;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
        } else if (!font) {
            font = argv[i];
        } else if (!character) {
            character = argv[i];
        } else {
            return WrongUsage(kUsage);
        }
    }
    uint16_t code = 0;
    if (!font || !character || !ParseChar(character, &code))
        return WrongUsage(kUsage);

    int16_t h = InitFont(0, font);
    if (h < 0) {
        std::fprintf(stderr, "velko: %s: not a TrueType font the library can read\n", font);
        return 1;
    }
    int16_t count = SetCurrentChar(0, h, code);
    if (count < 1) {
        std::fprintf(stderr, "velko: %s: character %u (U+%04X) has no glyph the library can read\n",
                     font, code, code);
        ExitFont(0, h);
        return 1;
    }

    std::vector<Record> records(static_cast<size_t>(count));
    for (int r = 0; r < count; ++r) {
        Record &rec = records[static_cast<size_t>(r)];
        std::memset(&rec.data, 0, sizeof rec.data);
        SetGlyf(0, h, static_cast<int16_t>(r + 1));
        GetGlyfData(0, h, &rec.data);
        rec.contours = GetContourCount(0, h);
        for (int c = 0; c < rec.contours; ++c)
            rec.end_points.push_back(
                static_cast<uint16_t>(c ? GetNextEndPoint(0, h) : GetFirstEndPoint(0, h)));
        int16_t points = GetPointCount(0, h);
        for (int p = 0; p < points; ++p) {
            FNT_POINT point = {};
            if ((p ? GetNextPoint(0, h, &point) : GetFirstPoint(0, h, &point)) != 0)
                break;
            rec.points.push_back(point);
        }
    }
    uint16_t advance = 0;
    int16_t bearing = 0;
    GetWidth(0, h, &advance, &bearing);
    ExitFont(0, h);

    if (json)
        PrintJson(font, code, advance, bearing, records);
    else
        PrintText(font, code, advance, bearing, records);
    return 0;
}
