#include "fonts/truetype_font.h"

#include "fonts/truetype_reader.h"
#include "io/byte_reader.h"

#include <cstdio>
#include <cstring>
#include <utility>

void ShowFontMessage(const char *words) {
    std::fprintf(stderr, "velkow32: %s\n", words);
}

namespace {

const char kTableTags[][5] = {"cmap", "loca", "head", "hhea", "hmtx", "maxp", "glyf"};

// Composite flags.
constexpr uint16_t kArgsAreWords = 0x0001;
constexpr uint16_t kArgsAreXYValues = 0x0002;
constexpr uint16_t kHaveScale = 0x0008;
constexpr uint16_t kMoreComponents = 0x0020;
constexpr uint16_t kHaveXYScale = 0x0040;
constexpr uint16_t kHaveTwoByTwo = 0x0080;
constexpr uint16_t kHaveInstructions = 0x0100;

// Simple glyph flags.
constexpr uint8_t kOnCurve = 0x01;
constexpr uint8_t kXShort = 0x02;
constexpr uint8_t kYShort = 0x04;
constexpr uint8_t kRepeat = 0x08;
constexpr uint8_t kXSame = 0x10;
constexpr uint8_t kYSame = 0x20;

int16_t AsI16(uint32_t value) {
    return static_cast<int16_t>(static_cast<uint16_t>(value));
}

// "maxp" at `at`: its version and glyph count; the rest in version 1.0 tables.
bool ReadMaxp(TtfFileReader &in, uint64_t at, TtfMaxp &maxp) {
    if (!in.Seek(at) || !in.U32(&maxp.version) || !in.U16(&maxp.num_glyphs))
        return false;
    if (maxp.version == 0x00010000u) {
        uint16_t *rest[] = {&maxp.max_points,
                            &maxp.max_contours,
                            &maxp.max_composite_points,
                            &maxp.max_composite_contours,
                            &maxp.max_zones,
                            &maxp.max_twilight_points,
                            &maxp.max_storage,
                            &maxp.max_function_defs,
                            &maxp.max_instruction_defs,
                            &maxp.max_stack_elements,
                            &maxp.max_size_of_instructions,
                            &maxp.max_component_elements,
                            &maxp.max_component_depth};
        for (uint16_t *field : rest)
            if (!in.U16(field))
                return false;
    }
    return true;
}

// "head" at `at`, every field in file order.
bool ReadHead(TtfFileReader &in, uint64_t at, TtfHead &head) {
    return in.Seek(at) && in.U32(&head.version) && in.U32(&head.font_revision) &&
           in.U32(&head.checksum_adjustment) && in.U32(&head.magic_number) && in.U16(&head.flags) &&
           in.U16(&head.units_per_em) && in.I64(&head.created) && in.I64(&head.modified) &&
           in.I16(&head.x_min) && in.I16(&head.y_min) && in.I16(&head.x_max) &&
           in.I16(&head.y_max) && in.U16(&head.mac_style) && in.U16(&head.lowest_rec_ppem) &&
           in.I16(&head.font_direction_hint) && in.I16(&head.index_to_loc_format) &&
           in.I16(&head.glyph_data_format);
}

// "hhea" at `at`.
bool ReadHhea(TtfFileReader &in, uint64_t at, TtfHhea &hhea) {
    if (!in.Seek(at) || !in.U32(&hhea.version) || !in.I16(&hhea.ascent) || !in.I16(&hhea.descent) ||
        !in.I16(&hhea.line_gap) || !in.U16(&hhea.advance_width_max) ||
        !in.I16(&hhea.min_left_side_bearing) || !in.I16(&hhea.min_right_side_bearing) ||
        !in.I16(&hhea.x_max_extent) || !in.I16(&hhea.caret_slope_rise) ||
        !in.I16(&hhea.caret_slope_run) || !in.I16(&hhea.caret_offset))
        return false;
    for (int16_t &r : hhea.reserved)
        if (!in.I16(&r))
            return false;
    return in.I16(&hhea.metric_data_format) && in.U16(&hhea.number_of_h_metrics);
}

// "hmtx" at `at`: `full_rows` rows of advance and bearing, then bearings alone up to
// `glyphs`.
bool ReadHorizontalMetrics(TtfFileReader &in, uint64_t at, size_t glyphs, size_t full_rows,
                           std::vector<TtfHorizontalMetric> &metrics) {
    const uint64_t hmtx_bytes = uint64_t(full_rows) * 4 + uint64_t(glyphs - full_rows) * 2;
    if (!in.Seek(at) || hmtx_bytes > in.Remaining())
        return false;
    std::vector<uint8_t> raw(static_cast<size_t>(hmtx_bytes));
    if (!in.Bytes(raw.data(), raw.size()))
        return false;
    metrics.assign(glyphs, TtfHorizontalMetric());
    BigEndianByteReader rows(raw.data(), raw.size());
    for (size_t g = 0; g < glyphs; ++g) {
        uint16_t advance = 0;
        int16_t bearing = 0;
        if (g < full_rows && rows.U16(advance))
            metrics[g].advance_width = advance;
        if (rows.I16(bearing))
            metrics[g].left_side_bearing = bearing;
    }
    return true;
}

// "loca" at `at`: `entries` offsets, u16 halves in the short form, u32 otherwise.
bool ReadGlyphOffsets(TtfFileReader &in, uint64_t at, size_t entries, bool short_form,
                      std::vector<uint32_t> &glyph_offsets) {
    const uint64_t loca_bytes = uint64_t(entries) * (short_form ? 2 : 4);
    if (!in.Seek(at) || loca_bytes > in.Remaining())
        return false;
    std::vector<uint8_t> raw(static_cast<size_t>(loca_bytes), 0);
    if (!in.Bytes(raw.data(), raw.size()))
        return false;
    glyph_offsets.resize(entries);
    BigEndianByteReader offsets(raw.data(), raw.size());
    for (uint32_t &offset : glyph_offsets) {
        uint16_t half = 0;
        uint32_t full = 0;
        if (short_form)
            offsets.U16(half);
        else
            offsets.U32(full);
        offset = short_form ? uint32_t(half) * 2 : full;
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------
// Opening
// ---------------------------------------------------------------------------------------

int CTrueTypeFont::Open(const char *path) {
    Close();
    if (!path || !file.Open(path, kDrawingFileRead))
        return 0;
    if (!ReadTables()) {
        Close();
        return 0;
    }
    return 1;
}

void CTrueTypeFont::Close() {
    file.Close();
    std::memset(table_offsets, 0, sizeof table_offsets);
    std::memset(table_found, 0, sizeof table_found);
    offset_table = TtfOffsetTable();
    directory.clear();
    cmap_header = TtfCmapHeader();
    encodings.clear();
    has_format0 = 0;
    std::memset(format0_glyph_ids, 0, sizeof format0_glyph_ids);
    has_format4 = 0;
    format4 = TtfFormat4();
    head = TtfHead();
    hhea = TtfHhea();
    maxp = TtfMaxp();
    metrics.clear();
    glyph_offsets.clear();
    records.clear();
    glyph_count = 0;
    current_glyf = 0;
    decoded_points = 0;
}

int CTrueTypeFont::ReadTables() {
    TtfFileReader in(file);

    // The offset table and the directory behind it.
    if (!in.Seek(0) || !in.U32(&offset_table.scaler_type) || !in.U16(&offset_table.table_count) ||
        !in.U16(&offset_table.search_range) || !in.U16(&offset_table.entry_selector) ||
        !in.U16(&offset_table.range_shift))
        return 0;
    if (uint64_t(offset_table.table_count) * 16 > in.Remaining())
        return 0;
    directory.resize(offset_table.table_count);
    for (TtfDirectoryEntry &row : directory) {
        if (!in.Bytes(row.tag, 4) || !in.U32(&row.checksum) || !in.U32(&row.offset) ||
            !in.U32(&row.length))
            return 0;
        for (int t = 0; t < kTableCount; ++t) {
            if (std::memcmp(row.tag, kTableTags[t], 4) == 0) {
                table_offsets[t] = row.offset;
                table_found[t] = true;
            }
        }
    }

    // "maxp": its version and glyph count; the rest in version 1.0 tables.
    if (!table_found[kMaxp] || !ReadMaxp(in, table_offsets[kMaxp], maxp))
        return 0;

    // The cmap header, its encodings, and the first format 4 and format 0 among them.
    bool cmap_read = table_found[kCmap] && in.Seek(table_offsets[kCmap]) &&
                     in.U16(&cmap_header.version) && in.U16(&cmap_header.encoding_count) &&
                     uint64_t(cmap_header.encoding_count) * 8 <= in.Remaining();
    if (cmap_read) {
        encodings.resize(cmap_header.encoding_count);
        for (TtfEncoding &e : encodings) {
            if (!in.U16(&e.platform_id) || !in.U16(&e.encoding_id) || !in.U32(&e.subtable_offset)) {
                encodings.clear();
                break;
            }
        }
    }
    for (const TtfEncoding &e : encodings) {
        uint16_t format = 0;
        if (!in.Seek(uint64_t(table_offsets[kCmap]) + e.subtable_offset) || !in.U16(&format))
            continue;
        if (format == 4 && !has_format4)
            has_format4 = ReadFormat4() ? 1 : 0;
        else if (format == 0 && !has_format0)
            has_format0 = ReadFormat0() ? 1 : 0;
    }
    if (!has_format0 && !has_format4) {
        ShowFontMessage("Cmap table format0 and format4 not found");
        return 0;
    }

    // The remaining tables must all be there.
    for (int t = 0; t < kTableCount; ++t)
        if (!table_found[t])
            return 0;

    if (!ReadHead(in, table_offsets[kHead], head) || !ReadHhea(in, table_offsets[kHhea], hhea))
        return 0;

    // "hmtx": full rows for the first number_of_h_metrics glyphs, then left side bearings
    // alone; the advance of those glyphs stays 0.
    const size_t glyphs = maxp.num_glyphs;
    const size_t full_rows = hhea.number_of_h_metrics < glyphs ? hhea.number_of_h_metrics : glyphs;
    if (!ReadHorizontalMetrics(in, table_offsets[kHmtx], glyphs, full_rows, metrics))
        return 0;
    // "loca": num_glyphs + 1 offsets, u16 halves or u32.
    if (!ReadGlyphOffsets(in, table_offsets[kLoca], glyphs + 1, head.index_to_loc_format == 0,
                          glyph_offsets))
        return 0;
    return 1;
}

// Positioned behind the format word of a format 4 subtable.
bool CTrueTypeFont::ReadFormat4() {
    TtfFileReader in(file);
    TtfFormat4 t;
    t.format = 4;
    if (!in.U16(&t.length) || !in.U16(&t.language) || !in.U16(&t.seg_count_x2) ||
        !in.U16(&t.search_range) || !in.U16(&t.entry_selector) || !in.U16(&t.range_shift))
        return false;
    size_t seg_count = t.seg_count_x2 / 2;
    std::vector<uint16_t> delta;
    if (!in.U16Array(seg_count, &t.end_code) || !in.U16(&t.reserved_pad) ||
        !in.U16Array(seg_count, &t.start_code) || !in.U16Array(seg_count, &delta) ||
        !in.U16Array(seg_count, &t.id_range_offset))
        return false;
    t.id_delta.resize(seg_count);
    for (size_t i = 0; i < seg_count; ++i)
        t.id_delta[i] = static_cast<int16_t>(delta[i]);
    // The glyph id array fills the rest of the subtable by its length. A length that
    // claims more than the file holds is cut to what is there.
    int64_t rest = (int64_t(t.length) - int64_t(seg_count * 8 + 16)) / 2;
    uint64_t count = rest > 0 ? static_cast<uint64_t>(rest) : 0;
    if (count > in.Remaining() / 2)
        count = in.Remaining() / 2;
    if (!in.U16Array(static_cast<size_t>(count), &t.glyph_id_array))
        return false;
    format4 = std::move(t);
    return true;
}

// Positioned behind the format word of a format 0 subtable.
bool CTrueTypeFont::ReadFormat0() {
    TtfFileReader in(file);
    uint16_t length, language;
    uint8_t ids[256];
    if (!in.U16(&length) || !in.U16(&language) || !in.Bytes(ids, sizeof ids))
        return false;
    std::memcpy(format0_glyph_ids, ids, sizeof ids);
    return true;
}

uint32_t CTrueTypeFont::TableOffset(const char *tag) const {
    for (int t = 0; tag && t < kTableCount; ++t)
        if (std::strncmp(tag, kTableTags[t], 5) == 0)
            return table_offsets[t];
    return 0;
}

// ---------------------------------------------------------------------------------------
// Character to glyph
// ---------------------------------------------------------------------------------------

bool CTrueTypeFont::MapCode(uint16_t code, uint16_t *glyph_id) const {
    bool invalid_format = false;
    return MapToGlyph(code, glyph_id, &invalid_format);
}

bool CTrueTypeFont::MapToGlyph(uint16_t code, uint16_t *glyph_id, bool *invalid_format) const {
    *glyph_id = 0;
    *invalid_format = false;
    bool use_format0 = !has_format4 || (maxp.num_glyphs <= 256 && has_format0);
    if (use_format0) {
        if (!has_format0) {
            *invalid_format = true;
            return false;
        }
        if (code > 255)
            return false;
        *glyph_id = format0_glyph_ids[code];
        return true;
    }

    const TtfFormat4 &t = format4;
    size_t seg_count = t.end_code.size();
    size_t seg = 0;
    while (seg < seg_count && t.end_code[seg] < code)
        ++seg;
    if (seg == seg_count || t.start_code[seg] > code)
        return true; // glyph 0
    if (t.id_range_offset[seg] == 0) {
        *glyph_id = static_cast<uint16_t>(t.id_delta[seg] + code);
        return true;
    }
    // The word that id_range_offset points at, counted from the word of id_range_offset
    // itself: an index into all the words of the subtable behind its header, that is
    // end_code, reserved_pad, start_code, id_delta, id_range_offset, glyph_id_array.
    int64_t index = int64_t(3 * seg_count + 1 + seg) + t.id_range_offset[seg] / 2 +
                    (int64_t(code) - t.start_code[seg]);
    uint16_t word = 0;
    int64_t n = static_cast<int64_t>(seg_count);
    if (index < 0) {
        word = 0;
    } else if (index < n) {
        word = t.end_code[static_cast<size_t>(index)];
    } else if (index == n) {
        word = t.reserved_pad;
    } else if (index < 2 * n + 1) {
        word = t.start_code[static_cast<size_t>(index - n - 1)];
    } else if (index < 3 * n + 1) {
        word = static_cast<uint16_t>(t.id_delta[static_cast<size_t>(index - 2 * n - 1)]);
    } else if (index < 4 * n + 1) {
        word = t.id_range_offset[static_cast<size_t>(index - 3 * n - 1)];
    } else if (index - (4 * n + 1) < static_cast<int64_t>(t.glyph_id_array.size())) {
        word = t.glyph_id_array[static_cast<size_t>(index - 4 * n - 1)];
    }
    if (word != 0)
        *glyph_id = static_cast<uint16_t>(word + t.id_delta[seg]);
    return true;
}

// ---------------------------------------------------------------------------------------
// Outlines
// ---------------------------------------------------------------------------------------

void CTrueTypeFont::ClearCurrentChar() {
    records.clear();
    glyph_count = 0;
    current_glyf = 0;
    decoded_points = 0;
}

int16_t CTrueTypeFont::SetCurrentChar(uint16_t code) {
    ClearCurrentChar();
    if (!file.IsOpen())
        return CDB_FAIL;

    uint16_t id = 0;
    bool invalid_format = false;
    if (!MapToGlyph(code, &id, &invalid_format)) {
        if (invalid_format)
            ShowFontMessage("Error - SetCurrentChar. Invalid format");
        return CDB_FAIL;
    }
    if (size_t(id) + 1 >= glyph_offsets.size())
        return CDB_FAIL;

    bool ok = false;
    if (glyph_offsets[id] == glyph_offsets[size_t(id) + 1]) {
        records.emplace_back();
        records.back().glyph_id = id;
        ok = true;
    } else {
        TtfFileReader in(file);
        int16_t contour_count = 0;
        if (in.Seek(uint64_t(table_offsets[kGlyf]) + glyph_offsets[id]) && in.I16(&contour_count) &&
            in.Skip(8)) {
            if (contour_count >= 0) {
                TtfGlyphRecord record;
                ok = DecodeSimple(id, &record);
                if (ok)
                    records.push_back(std::move(record));
            } else {
                ok = DecodeComposite();
            }
        }
    }
    if (!ok || records.empty()) {
        ClearCurrentChar();
        return CDB_FAIL;
    }
    glyph_count = static_cast<int>(records.size());
    return static_cast<int16_t>(glyph_count);
}

// Positioned behind the header of a composite glyph: one record per component.
bool CTrueTypeFont::DecodeComposite() {
    TtfFileReader in(file);
    uint16_t flags = 0;
    do {
        if (records.size() >= kMaxRecords)
            return false;
        TtfGlyphRecord record;
        uint16_t component = 0;
        if (!in.U16(&flags) || !in.U16(&component))
            return false;
        if (flags & kArgsAreWords) {
            if (!in.I16(&record.argument_1) || !in.I16(&record.argument_2))
                return false;
        } else {
            uint8_t a1, a2;
            if (!in.U8(&a1) || !in.U8(&a2))
                return false;
            // Offsets are signed bytes, point numbers unsigned ones.
            bool offsets = (flags & kArgsAreXYValues) != 0;
            record.argument_1 = offsets ? static_cast<int8_t>(a1) : a1;
            record.argument_2 = offsets ? static_cast<int8_t>(a2) : a2;
        }
        if (flags & kHaveScale) {
            if (!in.I16(&record.scale))
                return false;
        } else if (flags & kHaveXYScale) {
            if (!in.I16(&record.x_scale) || !in.I16(&record.y_scale))
                return false;
        } else if (flags & kHaveTwoByTwo) {
            if (!in.I16(&record.x_scale) || !in.I16(&record.scale_01) ||
                !in.I16(&record.scale_10) || !in.I16(&record.y_scale))
                return false;
        }
        record.component_flags = flags;
        uint64_t resume = in.Position();
        if (!DecodeSimple(component, &record) || !in.Seek(resume))
            return false;
        records.push_back(std::move(record));
    } while (flags & kMoreComponents);
    // The composite's own instructions: nothing follows them, so a length that can't be
    // read or skipped changes nothing.
    uint16_t length = 0;
    if ((flags & kHaveInstructions) && in.U16(&length))
        in.Skip(length);
    return true;
}

// Decodes glyph `glyph_id` into the record as a simple glyph. An empty glyph, and a
// component that is itself composite (its own components are not followed), give zero
// contours. False when the glyph lies outside the font or the file.
bool CTrueTypeFont::DecodeSimple(uint16_t glyph_id, TtfGlyphRecord *record) {
    TtfGlyphRecord &r = *record;
    r.glyph_id = glyph_id;
    r.contour_count = 0;
    r.end_points.clear();
    r.flags.clear();
    r.x.clear();
    r.y.clear();
    r.end_point_cursor = r.point_cursor = 0;
    if (size_t(glyph_id) + 1 >= glyph_offsets.size())
        return false;
    uint32_t offset = glyph_offsets[glyph_id];
    if (offset == glyph_offsets[size_t(glyph_id) + 1])
        return true;

    TtfFileReader in(file);
    int16_t contour_count = 0;
    if (!in.Seek(uint64_t(table_offsets[kGlyf]) + offset) || !in.I16(&contour_count) || !in.Skip(8))
        return false;
    if (contour_count <= 0)
        return true;
    if (!in.U16Array(static_cast<size_t>(contour_count), &r.end_points))
        return false;
    r.contour_count = contour_count;

    size_t points = size_t(r.end_points.back()) + 1;
    uint16_t instruction_length = 0;
    if (!in.U16(&instruction_length) || !in.Skip(instruction_length))
        return false;
    // Two bytes (a flag and its repeat count) cover at most 256 points, and the
    // coordinates of such points may take no bytes at all.
    if (points > (in.Remaining() + 1) * 128 || decoded_points + points > kMaxPoints)
        return false;
    decoded_points += points;

    r.flags.reserve(points);
    while (r.flags.size() < points) {
        uint8_t flag = 0;
        if (!in.U8(&flag))
            return false;
        r.flags.push_back(flag);
        if (flag & kRepeat) {
            uint8_t repeat = 0;
            if (!in.U8(&repeat))
                return false;
            for (int i = 0; i < repeat && r.flags.size() < points; ++i)
                r.flags.push_back(flag);
        }
    }

    // x, then y: a byte whose sign the "same" bit gives, no change, or a 16-bit delta.
    auto decode = [&](uint8_t short_bit, uint8_t same_bit, std::vector<int16_t> *out) {
        out->resize(points);
        int32_t value = 0;
        for (size_t i = 0; i < points; ++i) {
            uint8_t flag = r.flags[i];
            if (flag & short_bit) {
                uint8_t delta = 0;
                if (!in.U8(&delta))
                    return false;
                value += (flag & same_bit) ? delta : -int32_t(delta);
            } else if (!(flag & same_bit)) {
                int16_t delta = 0;
                if (!in.I16(&delta))
                    return false;
                value += delta;
            }
            value = AsI16(static_cast<uint32_t>(value));
            (*out)[i] = static_cast<int16_t>(value);
        }
        return true;
    };
    return decode(kXShort, kXSame, &r.x) && decode(kYShort, kYSame, &r.y);
}

// ---------------------------------------------------------------------------------------
// Walking the records
// ---------------------------------------------------------------------------------------

const TtfGlyphRecord *CTrueTypeFont::Current() const {
    if (current_glyf < 0 || current_glyf >= glyph_count ||
        static_cast<size_t>(current_glyf) >= records.size())
        return nullptr;
    return &records[static_cast<size_t>(current_glyf)];
}

TtfGlyphRecord *CTrueTypeFont::Current() {
    return const_cast<TtfGlyphRecord *>(static_cast<const CTrueTypeFont *>(this)->Current());
}

int16_t CTrueTypeFont::GetWidth(uint16_t *advance, int16_t *left_bearing) const {
    if (advance)
        *advance = 0;
    if (left_bearing)
        *left_bearing = 0;
    if (records.empty() || records[0].glyph_id >= metrics.size())
        return CDB_FAIL;
    const TtfHorizontalMetric &m = metrics[records[0].glyph_id];
    if (advance)
        *advance = m.advance_width;
    if (left_bearing)
        *left_bearing = m.left_side_bearing;
    return CDB_OK;
}

int16_t CTrueTypeFont::SetGlyf(int number) {
    if (number < 1 || number > glyph_count)
        return CDB_FAIL;
    current_glyf = number - 1;
    return CDB_OK;
}

int16_t CTrueTypeFont::GetGlyfData(user_compGlyfData *data) const {
    const TtfGlyphRecord *r = Current();
    if (!r || !data)
        return CDB_FAIL;
    if (r->component_flags & kHaveScale)
        data->transform_kind = 1;
    else if (r->component_flags & kHaveXYScale)
        data->transform_kind = 2;
    else if (r->component_flags & kHaveTwoByTwo)
        data->transform_kind = 3;
    data->argument_1 = r->argument_1;
    data->argument_2 = r->argument_2;
    data->scale = r->scale / 16384.0;
    data->x_scale = r->x_scale / 16384.0;
    data->scale_01 = r->scale_01 / 16384.0;
    data->scale_10 = r->scale_10 / 16384.0;
    data->y_scale = r->y_scale / 16384.0;
    return CDB_OK;
}

int16_t CTrueTypeFont::GetContourCount() const {
    const TtfGlyphRecord *r = Current();
    return r ? r->contour_count : CDB_FAIL;
}

int16_t CTrueTypeFont::GetPointCount() const {
    const TtfGlyphRecord *r = Current();
    if (!r)
        return CDB_FAIL;
    // The last end point + 1, which is the number of points decoded; a count beyond the
    // i16 result is not representable and is refused.
    return r->x.size() > 0x7FFF ? CDB_FAIL : static_cast<int16_t>(r->x.size());
}

int16_t CTrueTypeFont::GetFirstEndPoint(uint16_t *value) {
    if (TtfGlyphRecord *r = Current())
        r->end_point_cursor = 0;
    return GetNextEndPoint(value);
}

int16_t CTrueTypeFont::GetNextEndPoint(uint16_t *value) {
    TtfGlyphRecord *r = Current();
    if (!r || r->end_points.empty() || !value)
        return CDB_FAIL;
    size_t n = r->end_points.size();
    size_t at = r->end_point_cursor < n ? r->end_point_cursor : n - 1;
    if (r->end_point_cursor < n)
        ++r->end_point_cursor;
    *value = r->end_points[at];
    return CDB_OK;
}

int16_t CTrueTypeFont::GetFirstPoint(FNT_POINT *point) {
    if (TtfGlyphRecord *r = Current())
        r->point_cursor = 0;
    return GetNextPoint(point);
}

int16_t CTrueTypeFont::GetNextPoint(FNT_POINT *point) {
    TtfGlyphRecord *r = Current();
    if (!r || r->x.empty() || !point)
        return CDB_FAIL;
    size_t n = r->x.size();
    size_t at = r->point_cursor < n ? r->point_cursor : n - 1;
    if (r->point_cursor < n && r->point_cursor < 0xFFFF)
        ++r->point_cursor;
    point->x = r->x[at];
    point->y = r->y[at];
    point->on_curve = (r->flags[at] & kOnCurve) ? 1 : 0;
    return CDB_OK;
}
