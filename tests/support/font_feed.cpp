// Reading everything a loaded font offers: see font_feed.h.
#include "support/font_feed.h"

#include "fonts/shape_file.h"
#include "fonts/shape_strokes.h"
#include "fonts/shape_table.h"
#include "fonts/truetype_font.h"
#include "velkow32.h"

#include <algorithm>
#include <cstdio>

namespace velko_test {

// Every lookup of a loaded shape file, and the strokes of every shape, its subshapes
// taken from the same file.
void ExerciseShapeFile(const CShapeFile &font) {
    volatile double sink = 0;
    ShapeCodesLookup lookup = [&font](int number, std::vector<uint8_t> *codes) {
        return font.CodesOf(number, codes);
    };
    for (const ShapeEntry &entry : font.shapes) {
        size_t n = 0;
        const uint8_t *codes = ShapeCodes(entry.data, &n);
        sink = sink + ShapeWidth(codes, n) + ShapeWidth(codes, n, ArcReach::kWholeArc);
        sink = sink + DrawShape(codes, n, lookup).end.x;
    }
    for (const ExtraShape &extra : font.extra_shapes) {
        size_t n = 0;
        const uint8_t *codes = ShapeCodes(extra.data, &n);
        sink = sink + ShapeWidth(codes, n, ArcReach::kWholeArc);
        sink = sink + DrawShape(codes, n, lookup).end.x;
    }
    if (font.big_font) {
        std::vector<uint8_t> data;
        for (size_t i = 0; i < font.big_font->shapes.size() && i < 64; ++i)
            ReadBigFontShape(*font.big_font, i, &data);
    }
}

void ExerciseShapeTable(const CShapeTable &table) {
    for (int style = -1; style <= table.Count(); ++style) {
        for (int number = -1; number <= 300; ++number) {
            const char *name = nullptr;
            size_t name_length = 0;
            table.ShapeName(style, number, &name, &name_length);
            if (name && name_length)
                (void)name[name_length - 1];
            const uint8_t *codes = nullptr;
            size_t n = 0;
            double width = 0;
            table.ShapeData(style, number, &codes, &n, &width);
            if (codes && n)
                (void)codes[n - 1];
        }
        std::vector<uint8_t> codes;
        for (int lead : {0x80, 0x81, 0x9F, 0xE0})
            for (int trail : {0x40, 0x41, 0xA1})
                table.ShapeDataByCode(style, static_cast<uint8_t>(lead),
                                      static_cast<uint8_t>(trail), &codes);
        if (const CShapeFile *font = table.File(style))
            ExerciseShapeFile(*font);
    }
    int16_t style = 0, number = 0;
    table.ShapeId(style, number, "A");
    table.ShapeId(style, number, "");
}

std::string WalkTrueType(const std::string &path, const std::vector<uint16_t> &codes, bool *opened,
                         int *decoded) {
    int16_t h = InitFont(0, path.c_str());
    if (opened)
        *opened = h >= 0;
    if (h < 0)
        return h == -123 ? "" : "InitFont gave " + std::to_string(h);
    std::string trouble;
    auto note = [&](const std::string &t) {
        if (trouble.empty())
            trouble = t;
    };
    long sink = 0;
    for (uint16_t code : codes) {
        int16_t n = SetCurrentChar(0, h, code);
        if (n == -123)
            continue;
        if (n < 1) {
            note("SetCurrentChar gave " + std::to_string(n));
            continue;
        }
        if (decoded)
            ++*decoded;
        uint16_t advance = 0;
        int16_t bearing = 0;
        if (GetWidth(0, h, &advance, &bearing) != 0)
            note("GetWidth failed");
        for (int r = 1; r <= n; ++r) {
            if (SetGlyf(0, h, static_cast<int16_t>(r)) != 0) {
                note("SetGlyf failed");
                continue;
            }
            user_compGlyfData data = {};
            if (GetGlyfData(0, h, &data) != 0)
                note("GetGlyfData failed");
            int16_t contours = GetContourCount(0, h);
            if (contours < 0)
                note("negative contour count");
            int last_end = -1;
            for (int c = 0; c <= contours; ++c) { // one more than there are
                int16_t e = c ? GetNextEndPoint(0, h) : GetFirstEndPoint(0, h);
                last_end = static_cast<uint16_t>(e);
            }
            int16_t points = GetPointCount(0, h);
            if (contours > 0 && last_end + 1 <= 0x7FFF && points != last_end + 1)
                note("point count " + std::to_string(points) + " is not the last end point " +
                     std::to_string(last_end) + " + 1");
            for (int p = 0; p <= points; ++p) {
                FNT_POINT pt = {};
                if ((p ? GetNextPoint(0, h, &pt) : GetFirstPoint(0, h, &pt)) != 0 && points > 0)
                    note("a point walk failed");
                sink += pt.x + pt.y + pt.on_curve;
            }
        }
        if (SetGlyf(0, h, static_cast<int16_t>(n + 1)) != -123)
            note("SetGlyf past the records did not fail");
    }
    if (ExitFont(0, h) != 0)
        note("ExitFont failed");
    if (sink == 0x7FFFFFFF)
        std::puts(""); // never: keeps the reads
    return trouble;
}

std::vector<uint16_t> MappedCodes(const std::string &path, size_t budget) {
    std::vector<uint16_t> codes;
    CTrueTypeFont font;
    if (!font.Open(path.c_str()))
        return codes;
    // One code per glyph: a map that sends many codes to one glyph has it walked once.
    std::vector<bool> walked(65536, false);
    auto take = [&](uint32_t code) {
        uint16_t glyph = 0;
        if (font.MapCode(static_cast<uint16_t>(code), &glyph) && !walked[glyph]) {
            walked[glyph] = true;
            codes.push_back(static_cast<uint16_t>(code));
        }
    };
    if (font.HasFormat0())
        for (uint32_t code = 0; code < 256 && codes.size() < budget; ++code)
            take(code);
    if (font.HasFormat4()) {
        const TtfFormat4 &map = font.Format4();
        const size_t segments = std::min(map.start_code.size(), map.end_code.size());
        for (size_t i = 0; i < segments && codes.size() < budget; ++i)
            for (uint32_t code = map.start_code[i];
                 code <= map.end_code[i] && codes.size() < budget; ++code)
                take(code);
    }
    return codes;
}

} // namespace velko_test
