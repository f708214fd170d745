// A tiny writer of TrueType files for the font tests: offset table, directory, cmap
// (format 0 and/or format 4), head, hhea, hmtx, maxp, loca (short or long) and glyf with
// simple and composite glyphs.
#ifndef VELKO_TEST_TTF_BYTES_H
#define VELKO_TEST_TTF_BYTES_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {
namespace ttf {

struct Point {
    int x;
    int y;
    bool on;
};

// One component of a composite glyph. The writer adds the bits for word arguments (when
// the values need them), for the transform (by its number of values: 1, 2 or 4, in raw
// 2.14 units) and for more components; `flags` gives the others.
struct Component {
    uint16_t glyph = 0;
    uint16_t flags = 0x0002; // arguments are x/y offsets
    int argument_1 = 0;
    int argument_2 = 0;
    std::vector<int16_t> transform;
    bool force_words = false;
};

struct Glyph {
    std::vector<std::vector<Point>> contours; // a simple glyph
    std::vector<Component> components;        // when not empty: a composite glyph
    std::vector<uint8_t> instructions;
    std::vector<uint8_t> raw; // when not empty: the glyph's bytes as they are
    uint16_t advance = 500;
    int16_t lsb = 0;
};

struct Font {
    std::vector<Glyph> glyphs;
    std::map<uint32_t, uint16_t> cmap; // character code -> glyph id
    bool format0 = false;
    bool format4 = true;
    bool format4_first = true;
    // A map of its own for format 0; the common one when empty.
    std::map<uint32_t, uint16_t> format0_map;
    // Segments whose codes don't map to consecutive ids index the glyph id array; their
    // id_delta is this, and the array holds the ids less it.
    int16_t range_delta = 0;
    bool long_loca = false;
    int number_of_h_metrics = -1; // -1: one full row per glyph
    std::vector<std::pair<std::string, std::vector<uint8_t>>> extra_tables;
};

inline void PutU8(std::vector<uint8_t> &out, int v) {
    out.push_back(static_cast<uint8_t>(v));
}
inline void PutU16(std::vector<uint8_t> &out, int v) {
    out.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
    out.push_back(static_cast<uint8_t>(v & 0xFF));
}
inline void PutU32(std::vector<uint8_t> &out, uint32_t v) {
    PutU16(out, static_cast<int>(v >> 16));
    PutU16(out, static_cast<int>(v & 0xFFFF));
}
inline void SetU16(std::vector<uint8_t> &out, size_t at, int v) {
    out[at] = static_cast<uint8_t>((v >> 8) & 0xFF);
    out[at + 1] = static_cast<uint8_t>(v & 0xFF);
}
inline void SetU32(std::vector<uint8_t> &out, size_t at, uint32_t v) {
    SetU16(out, at, static_cast<int>(v >> 16));
    SetU16(out, at + 2, static_cast<int>(v & 0xFFFF));
}
inline uint16_t GetU16(const std::vector<uint8_t> &in, size_t at) {
    return static_cast<uint16_t>((in[at] << 8) | in[at + 1]);
}
inline uint32_t GetU32(const std::vector<uint8_t> &in, size_t at) {
    return (uint32_t(GetU16(in, at)) << 16) | GetU16(in, at + 2);
}

inline std::vector<uint8_t> SimpleGlyphBytes(const Glyph &g) {
    std::vector<uint8_t> out;
    std::vector<Point> points;
    std::vector<int> end_points;
    for (const std::vector<Point> &c : g.contours) {
        points.insert(points.end(), c.begin(), c.end());
        end_points.push_back(static_cast<int>(points.size()) - 1);
    }
    int x_min = 0, y_min = 0, x_max = 0, y_max = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        x_min = i ? std::min(x_min, points[i].x) : points[i].x;
        y_min = i ? std::min(y_min, points[i].y) : points[i].y;
        x_max = i ? std::max(x_max, points[i].x) : points[i].x;
        y_max = i ? std::max(y_max, points[i].y) : points[i].y;
    }
    PutU16(out, static_cast<int>(g.contours.size()));
    PutU16(out, x_min);
    PutU16(out, y_min);
    PutU16(out, x_max);
    PutU16(out, y_max);
    for (int e : end_points)
        PutU16(out, e);
    PutU16(out, static_cast<int>(g.instructions.size()));
    out.insert(out.end(), g.instructions.begin(), g.instructions.end());

    // Flags in their compact forms: a byte with its sign in the "same" bit, "same" alone
    // for no change, a word otherwise; runs of equal flags use the repeat bit.
    std::vector<uint8_t> flags, xs, ys;
    int last_x = 0, last_y = 0;
    for (const Point &p : points) {
        uint8_t flag = p.on ? 0x01 : 0x00;
        int dx = p.x - last_x, dy = p.y - last_y;
        last_x = p.x;
        last_y = p.y;
        if (dx == 0) {
            flag |= 0x10;
        } else if (std::abs(dx) <= 255) {
            flag |= 0x02 | (dx > 0 ? 0x10 : 0);
            PutU8(xs, std::abs(dx));
        } else {
            PutU16(xs, dx & 0xFFFF);
        }
        if (dy == 0) {
            flag |= 0x20;
        } else if (std::abs(dy) <= 255) {
            flag |= 0x04 | (dy > 0 ? 0x20 : 0);
            PutU8(ys, std::abs(dy));
        } else {
            PutU16(ys, dy & 0xFFFF);
        }
        flags.push_back(flag);
    }
    for (size_t i = 0; i < flags.size();) {
        size_t run = 1;
        while (i + run < flags.size() && flags[i + run] == flags[i] && run < 256)
            ++run;
        if (run >= 2) {
            PutU8(out, flags[i] | 0x08);
            PutU8(out, static_cast<int>(run - 1));
        } else {
            PutU8(out, flags[i]);
        }
        i += run;
    }
    out.insert(out.end(), xs.begin(), xs.end());
    out.insert(out.end(), ys.begin(), ys.end());
    return out;
}

inline std::vector<uint8_t> CompositeGlyphBytes(const Glyph &g) {
    std::vector<uint8_t> out;
    PutU16(out, 0xFFFF); // contour count -1
    for (int i = 0; i < 4; ++i)
        PutU16(out, 0);
    for (size_t i = 0; i < g.components.size(); ++i) {
        const Component &c = g.components[i];
        uint16_t flags =
            c.flags & static_cast<uint16_t>(~(0x0001 | 0x0008 | 0x0020 | 0x0040 | 0x0080 | 0x0100));
        bool signed_args = (c.flags & 0x0002) != 0;
        auto fits = [&](int v) {
            return signed_args ? (v >= -128 && v <= 127) : (v >= 0 && v <= 255);
        };
        bool words = c.force_words || !fits(c.argument_1) || !fits(c.argument_2);
        if (words)
            flags |= 0x0001;
        if (c.transform.size() == 1)
            flags |= 0x0008;
        else if (c.transform.size() == 2)
            flags |= 0x0040;
        else if (c.transform.size() == 4)
            flags |= 0x0080;
        if (i + 1 < g.components.size())
            flags |= 0x0020;
        else if (!g.instructions.empty())
            flags |= 0x0100;
        PutU16(out, flags);
        PutU16(out, c.glyph);
        if (words) {
            PutU16(out, c.argument_1 & 0xFFFF);
            PutU16(out, c.argument_2 & 0xFFFF);
        } else {
            PutU8(out, c.argument_1 & 0xFF);
            PutU8(out, c.argument_2 & 0xFF);
        }
        for (int16_t t : c.transform)
            PutU16(out, t & 0xFFFF);
    }
    if (!g.instructions.empty()) {
        PutU16(out, static_cast<int>(g.instructions.size()));
        out.insert(out.end(), g.instructions.begin(), g.instructions.end());
    }
    return out;
}

inline std::vector<uint8_t> Format0Bytes(const std::map<uint32_t, uint16_t> &map) {
    std::vector<uint8_t> out;
    PutU16(out, 0);
    PutU16(out, 262);
    PutU16(out, 0);
    uint8_t ids[256] = {};
    for (const auto &m : map)
        if (m.first < 256)
            ids[m.first] = static_cast<uint8_t>(m.second);
    out.insert(out.end(), ids, ids + 256);
    return out;
}

inline std::vector<uint8_t> Format4Bytes(const std::map<uint32_t, uint16_t> &map,
                                         int16_t range_delta) {
    struct Segment {
        int start, end, delta;
        bool ranged;
        std::vector<uint16_t> ids;
    };
    std::vector<Segment> segments;
    for (auto it = map.begin(); it != map.end();) {
        if (it->first >= 0xFFFF)
            break;
        Segment s{static_cast<int>(it->first), static_cast<int>(it->first), 0, false, {}};
        s.ids.push_back(it->second);
        auto next = std::next(it);
        while (next != map.end() && next->first < 0xFFFF &&
               static_cast<int>(next->first) == s.end + 1) {
            s.end = static_cast<int>(next->first);
            s.ids.push_back(next->second);
            ++next;
        }
        for (size_t i = 1; i < s.ids.size(); ++i)
            if (s.ids[i] != static_cast<uint16_t>(s.ids[0] + i))
                s.ranged = true;
        s.delta = s.ranged ? range_delta : (s.ids[0] - s.start) & 0xFFFF;
        segments.push_back(s);
        it = next;
    }
    segments.push_back(Segment{0xFFFF, 0xFFFF, 1, false, {}});
    int seg_count = static_cast<int>(segments.size());
    std::vector<uint16_t> glyph_ids;
    std::vector<int> range_offsets(segments.size(), 0);
    for (int i = 0; i < seg_count; ++i) {
        if (!segments[i].ranged)
            continue;
        range_offsets[i] = (static_cast<int>(glyph_ids.size()) + (seg_count - i)) * 2;
        for (uint16_t id : segments[i].ids)
            glyph_ids.push_back(static_cast<uint16_t>(id - range_delta));
    }
    int search_range = 2, entry_selector = 0;
    while (search_range * 2 <= seg_count * 2) {
        search_range *= 2;
        ++entry_selector;
    }
    std::vector<uint8_t> out;
    PutU16(out, 4);
    PutU16(out, 16 + 8 * seg_count + 2 * static_cast<int>(glyph_ids.size()));
    PutU16(out, 0);
    PutU16(out, seg_count * 2);
    PutU16(out, search_range);
    PutU16(out, entry_selector);
    PutU16(out, seg_count * 2 - search_range);
    for (const Segment &s : segments)
        PutU16(out, s.end);
    PutU16(out, 0);
    for (const Segment &s : segments)
        PutU16(out, s.start);
    for (const Segment &s : segments)
        PutU16(out, s.delta & 0xFFFF);
    for (int r : range_offsets)
        PutU16(out, r);
    for (uint16_t id : glyph_ids)
        PutU16(out, id);
    return out;
}

inline std::vector<uint8_t> CmapBytes(const Font &f) {
    std::vector<std::pair<std::pair<int, int>, std::vector<uint8_t>>> subtables;
    if (f.format4)
        subtables.push_back({{3, 1}, Format4Bytes(f.cmap, f.range_delta)});
    if (f.format0) {
        auto sub = std::make_pair(std::make_pair(1, 0),
                                  Format0Bytes(f.format0_map.empty() ? f.cmap : f.format0_map));
        if (f.format4_first)
            subtables.push_back(sub);
        else
            subtables.insert(subtables.begin(), sub);
    }
    std::vector<uint8_t> out;
    PutU16(out, 0);
    PutU16(out, static_cast<int>(subtables.size()));
    uint32_t offset = 4 + 8 * static_cast<uint32_t>(subtables.size());
    for (const auto &s : subtables) {
        PutU16(out, s.first.first);
        PutU16(out, s.first.second);
        PutU32(out, offset);
        offset += static_cast<uint32_t>(s.second.size());
    }
    for (const auto &s : subtables)
        out.insert(out.end(), s.second.begin(), s.second.end());
    return out;
}

inline uint32_t TableChecksum(const std::vector<uint8_t> &t) {
    uint32_t sum = 0;
    for (size_t i = 0; i < t.size(); i += 4) {
        uint32_t v = 0;
        for (size_t k = 0; k < 4; ++k)
            v = (v << 8) | (i + k < t.size() ? t[i + k] : 0);
        sum += v;
    }
    return sum;
}

inline std::vector<uint8_t> Build(const Font &f) {
    int num_glyphs = static_cast<int>(f.glyphs.size());
    int h_metrics = f.number_of_h_metrics < 0 ? num_glyphs : f.number_of_h_metrics;

    std::vector<uint8_t> glyf, loca;
    std::vector<uint32_t> offsets;
    for (const Glyph &g : f.glyphs) {
        offsets.push_back(static_cast<uint32_t>(glyf.size()));
        std::vector<uint8_t> bytes = !g.raw.empty()          ? g.raw
                                     : !g.components.empty() ? CompositeGlyphBytes(g)
                                     : g.contours.empty()    ? std::vector<uint8_t>()
                                                             : SimpleGlyphBytes(g);
        glyf.insert(glyf.end(), bytes.begin(), bytes.end());
        while (glyf.size() % 4)
            glyf.push_back(0);
    }
    offsets.push_back(static_cast<uint32_t>(glyf.size()));
    for (uint32_t o : offsets) {
        if (f.long_loca)
            PutU32(loca, o);
        else
            PutU16(loca, static_cast<int>(o / 2));
    }

    std::vector<uint8_t> head;
    PutU32(head, 0x00010000);
    PutU32(head, 0x00010000);
    PutU32(head, 0);
    PutU32(head, 0x5F0F3CF5);
    PutU16(head, 0x000B);
    PutU16(head, 1000);
    for (int i = 0; i < 4; ++i)
        PutU32(head, 0); // created, modified
    PutU16(head, 0);
    PutU16(head, static_cast<uint16_t>(-200));
    PutU16(head, 1000);
    PutU16(head, 800);
    PutU16(head, 0);
    PutU16(head, 8);
    PutU16(head, 2);
    PutU16(head, f.long_loca ? 1 : 0);
    PutU16(head, 0);

    int advance_max = 0;
    for (const Glyph &g : f.glyphs)
        advance_max = std::max<int>(advance_max, g.advance);
    std::vector<uint8_t> hhea;
    PutU32(hhea, 0x00010000);
    PutU16(hhea, 800);
    PutU16(hhea, static_cast<uint16_t>(-200));
    PutU16(hhea, 90);
    PutU16(hhea, advance_max);
    for (int i = 0; i < 3; ++i)
        PutU16(hhea, 0);
    PutU16(hhea, 1);
    for (int i = 0; i < 6; ++i)
        PutU16(hhea, 0);
    PutU16(hhea, 0);
    PutU16(hhea, h_metrics);

    std::vector<uint8_t> hmtx;
    for (int i = 0; i < num_glyphs; ++i) {
        if (i < h_metrics)
            PutU16(hmtx, f.glyphs[i].advance);
        PutU16(hmtx, f.glyphs[i].lsb & 0xFFFF);
    }

    std::vector<uint8_t> maxp;
    PutU32(maxp, 0x00010000);
    PutU16(maxp, num_glyphs);
    for (int i = 0; i < 13; ++i)
        PutU16(maxp, i == 4 ? 2 : 0);

    std::map<std::string, std::vector<uint8_t>> tables = {
        {"cmap", CmapBytes(f)}, {"glyf", glyf}, {"head", head}, {"hhea", hhea},
        {"hmtx", hmtx},         {"loca", loca}, {"maxp", maxp}};
    for (const auto &extra : f.extra_tables)
        tables[extra.first] = extra.second;

    std::vector<uint8_t> out;
    int count = static_cast<int>(tables.size());
    int search_range = 16, entry_selector = 0;
    while (search_range * 2 <= count * 16) {
        search_range *= 2;
        ++entry_selector;
    }
    PutU32(out, 0x00010000);
    PutU16(out, count);
    PutU16(out, search_range);
    PutU16(out, entry_selector);
    PutU16(out, count * 16 - search_range);
    uint32_t offset = 12 + 16 * static_cast<uint32_t>(count);
    for (const auto &t : tables) {
        out.insert(out.end(), t.first.begin(), t.first.end());
        PutU32(out, TableChecksum(t.second));
        PutU32(out, offset);
        PutU32(out, static_cast<uint32_t>(t.second.size()));
        offset += static_cast<uint32_t>((t.second.size() + 3) / 4 * 4);
    }
    for (const auto &t : tables) {
        out.insert(out.end(), t.second.begin(), t.second.end());
        while (out.size() % 4)
            out.push_back(0);
    }
    return out;
}

// The offset and length of a table in a font's bytes, by its tag; false when absent.
inline bool FindTable(const std::vector<uint8_t> &font, const char *tag, uint32_t *offset,
                      uint32_t *length) {
    if (font.size() < 12)
        return false;
    int count = GetU16(font, 4);
    for (int i = 0; i < count && 12 + 16 * size_t(i) + 16 <= font.size(); ++i) {
        size_t row = 12 + 16 * size_t(i);
        if (std::memcmp(&font[row], tag, 4) == 0) {
            *offset = GetU32(font, row + 8);
            *length = GetU32(font, row + 12);
            return true;
        }
    }
    return false;
}

// A square contour of four on-curve points.
inline std::vector<Point> Square(int x, int y, int size) {
    return {{x, y, true}, {x, y + size, true}, {x + size, y + size, true}, {x + size, y, true}};
}

// A font written by hand with simple and composite glyphs of every transform kind.
inline Font HandMadeFont() {
    Font f;
    Glyph missing;
    missing.contours = {Square(0, 0, 500), Square(50, 50, 400)};
    Glyph space;
    space.advance = 250;
    Glyph a;
    a.contours = {{{0, 0, true}, {300, 700, false}, {600, 0, true}},
                  {{150, 200, true}, {450, 200, true}, {300, 400, false}}};
    a.instructions = {0x40, 0x01, 0x00};
    Glyph g;
    g.contours = {Square(0, -200, 500), {{-1000, 5, true}, {1000, -5, false}, {0, 30000, true}}};
    Glyph accent;
    accent.contours = {{{100, 700, true}, {200, 800, true}, {300, 700, true}}};
    f.glyphs = {missing, space, a, g, accent};
    auto composite = [&](std::vector<int16_t> transform, bool words) {
        Glyph c;
        Component base;
        base.glyph = 2;
        base.flags = 0x0002 | 0x0200;
        base.force_words = words;
        Component mark;
        mark.glyph = 4;
        mark.argument_1 = 20;
        mark.argument_2 = 300;
        mark.transform = transform;
        c.components = {base, mark};
        c.instructions = {0xB0, 0x00};
        return c;
    };
    f.glyphs.push_back(composite({}, false));
    f.glyphs.push_back(composite({8192}, true));
    f.glyphs.push_back(composite({16384, -16384}, false));
    f.glyphs.push_back(composite({16384, 100, -100, 16384}, true));
    f.cmap = {{' ', 1}, {'A', 2}, {'g', 3}, {'%', 4}, {0xC4, 5}, {0xE9, 6}, {0x2022, 7}, {300, 8}};
    return f;
}

} // namespace ttf
} // namespace velko_test

#endif
