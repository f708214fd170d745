// A small reader of TrueType outlines: it opens a font, maps a character code to a glyph
// and decodes that glyph's contours and points for a client to walk. It does not scale,
// hint or rasterize anything.
#ifndef VELKO_TRUETYPE_FONT_H
#define VELKO_TRUETYPE_FONT_H

#include "io/drawing_file.h"
#include "velkow32.h"

#include <cstdint>
#include <vector>

// Shows one of the font functions' failure words to the user. There is no message box on
// this platform: the words become one line on stderr.
void ShowFontMessage(const char *words);

struct TtfOffsetTable {
    uint32_t scaler_type = 0;
    uint16_t table_count = 0;
    uint16_t search_range = 0;
    uint16_t entry_selector = 0;
    uint16_t range_shift = 0;
};

struct TtfDirectoryEntry {
    char tag[4] = {};
    uint32_t checksum = 0;
    uint32_t offset = 0;
    uint32_t length = 0;
};

struct TtfCmapHeader {
    uint16_t version = 0;
    uint16_t encoding_count = 0;
};

struct TtfEncoding {
    uint16_t platform_id = 0;
    uint16_t encoding_id = 0;
    uint32_t subtable_offset = 0;
};

struct TtfFormat4 {
    uint16_t format = 0;
    uint16_t length = 0;
    uint16_t language = 0;
    uint16_t seg_count_x2 = 0;
    uint16_t search_range = 0;
    uint16_t entry_selector = 0;
    uint16_t range_shift = 0;
    std::vector<uint16_t> end_code;
    uint16_t reserved_pad = 0;
    std::vector<uint16_t> start_code;
    std::vector<int16_t> id_delta;
    std::vector<uint16_t> id_range_offset;
    std::vector<uint16_t> glyph_id_array;
};

struct TtfHead {
    uint32_t version = 0;
    uint32_t font_revision = 0;
    uint32_t checksum_adjustment = 0;
    uint32_t magic_number = 0;
    uint16_t flags = 0;
    uint16_t units_per_em = 0;
    int64_t created = 0;
    int64_t modified = 0;
    int16_t x_min = 0;
    int16_t y_min = 0;
    int16_t x_max = 0;
    int16_t y_max = 0;
    uint16_t mac_style = 0;
    uint16_t lowest_rec_ppem = 0;
    int16_t font_direction_hint = 0;
    int16_t index_to_loc_format = 0;
    int16_t glyph_data_format = 0;
};

struct TtfHhea {
    uint32_t version = 0;
    int16_t ascent = 0;
    int16_t descent = 0;
    int16_t line_gap = 0;
    uint16_t advance_width_max = 0;
    int16_t min_left_side_bearing = 0;
    int16_t min_right_side_bearing = 0;
    int16_t x_max_extent = 0;
    int16_t caret_slope_rise = 0;
    int16_t caret_slope_run = 0;
    int16_t caret_offset = 0;
    int16_t reserved[4] = {};
    int16_t metric_data_format = 0;
    uint16_t number_of_h_metrics = 0;
};

// The fields after num_glyphs are there in version 1.0 tables only; else they stay 0.
struct TtfMaxp {
    uint32_t version = 0;
    uint16_t num_glyphs = 0;
    uint16_t max_points = 0;
    uint16_t max_contours = 0;
    uint16_t max_composite_points = 0;
    uint16_t max_composite_contours = 0;
    uint16_t max_zones = 0;
    uint16_t max_twilight_points = 0;
    uint16_t max_storage = 0;
    uint16_t max_function_defs = 0;
    uint16_t max_instruction_defs = 0;
    uint16_t max_stack_elements = 0;
    uint16_t max_size_of_instructions = 0;
    uint16_t max_component_elements = 0;
    uint16_t max_component_depth = 0;
};

struct TtfHorizontalMetric {
    uint16_t advance_width = 0;
    int16_t left_side_bearing = 0;
};

// One outline of the current character: the glyph itself, or one component of a
// composite glyph with the component's placement.
struct TtfGlyphRecord {
    uint16_t glyph_id = 0;
    int16_t contour_count = 0;
    std::vector<uint16_t> end_points;
    std::vector<uint8_t> flags;
    std::vector<int16_t> x;
    std::vector<int16_t> y;
    uint16_t end_point_cursor = 0; // the next end point to hand out
    uint16_t point_cursor = 0;     // the next point to hand out
    uint16_t component_flags = 0;
    int16_t argument_1 = 0;
    int16_t argument_2 = 0;
    int16_t scale = 0;
    int16_t x_scale = 0;
    int16_t scale_01 = 0;
    int16_t scale_10 = 0;
    int16_t y_scale = 0;
};

class CTrueTypeFont {
public:
    // Limits that keep a damaged composite glyph from asking for unbounded memory: the
    // records of one character (the count must fit the i16 result) and their points.
    static constexpr size_t kMaxRecords = 0x7FFF;
    static constexpr size_t kMaxPoints = size_t(1) << 20;

    CTrueTypeFont() = default;
    ~CTrueTypeFont() = default;
    CTrueTypeFont(const CTrueTypeFont &) = delete;
    CTrueTypeFont &operator=(const CTrueTypeFont &) = delete;

    // Opens the file and reads the tables: 1, or 0 when the file can't be opened, a table
    // is missing or lies outside the file, or no format 0 or format 4 cmap is there (then
    // the user is shown so).
    int Open(const char *path);
    void Close();

    // Maps the code and decodes its glyph: the number of glyph records, or -123.
    int16_t SetCurrentChar(uint16_t code);
    // Forgets the current character's records.
    void ClearCurrentChar();
    // The metrics of record 0's glyph: 0, or -123 without a current character.
    int16_t GetWidth(uint16_t *advance, int16_t *left_bearing) const;
    // Selects record `number` - 1: 0, or -123 for a number outside the records.
    int16_t SetGlyf(int number);
    int16_t GetGlyfData(user_compGlyfData *data) const;
    // Counts of the current record; -123 without one.
    int16_t GetContourCount() const;
    int16_t GetPointCount() const;
    // The walks: 0 and the value, or -123 when the current record has nothing to walk.
    int16_t GetFirstEndPoint(uint16_t *value);
    int16_t GetNextEndPoint(uint16_t *value);
    int16_t GetFirstPoint(FNT_POINT *point);
    int16_t GetNextPoint(FNT_POINT *point);

    // The glyph id a code maps to (format choice as SetCurrentChar makes it); false when
    // the code can't be mapped (above 255 in a format 0 font).
    bool MapCode(uint16_t code, uint16_t *glyph_id) const;

    // What was read, for tools and tests.
    const TtfOffsetTable &OffsetTable() const { return offset_table; }
    const std::vector<TtfDirectoryEntry> &Directory() const { return directory; }
    const TtfCmapHeader &CmapHeader() const { return cmap_header; }
    const std::vector<TtfEncoding> &Encodings() const { return encodings; }
    bool HasFormat0() const { return has_format0 != 0; }
    bool HasFormat4() const { return has_format4 != 0; }
    const uint8_t *Format0GlyphIds() const { return format0_glyph_ids; }
    const TtfFormat4 &Format4() const { return format4; }
    const TtfHead &Head() const { return head; }
    const TtfHhea &Hhea() const { return hhea; }
    const TtfMaxp &Maxp() const { return maxp; }
    const std::vector<TtfHorizontalMetric> &HorizontalMetrics() const { return metrics; }
    const std::vector<uint32_t> &GlyphOffsets() const { return glyph_offsets; }
    // The offset of a table by its four-letter tag; 0 when it is not one of the seven.
    uint32_t TableOffset(const char *tag) const;
    const std::vector<TtfGlyphRecord> &Records() const { return records; }
    int CurrentGlyf() const { return current_glyf; }

private:
    enum Table { kCmap, kLoca, kHead, kHhea, kHmtx, kMaxp, kGlyf, kTableCount };

    int ReadTables();
    bool ReadFormat4();
    bool ReadFormat0();
    bool MapToGlyph(uint16_t code, uint16_t *glyph_id, bool *invalid_format) const;
    bool DecodeComposite();
    bool DecodeSimple(uint16_t glyph_id, TtfGlyphRecord *record);
    const TtfGlyphRecord *Current() const;
    TtfGlyphRecord *Current();

    CDrawingFile file;
    uint32_t table_offsets[kTableCount] = {};
    bool table_found[kTableCount] = {};
    TtfOffsetTable offset_table;
    std::vector<TtfDirectoryEntry> directory;
    TtfCmapHeader cmap_header;
    std::vector<TtfEncoding> encodings;
    uint8_t has_format0 = 0;
    uint8_t format0_glyph_ids[256] = {};
    uint8_t has_format4 = 0;
    TtfFormat4 format4;
    TtfHead head;
    TtfHhea hhea;
    TtfMaxp maxp;
    std::vector<TtfHorizontalMetric> metrics;
    std::vector<uint32_t> glyph_offsets;
    std::vector<TtfGlyphRecord> records;
    int glyph_count = 0;
    int current_glyf = 0;
    size_t decoded_points = 0;
};

#endif
