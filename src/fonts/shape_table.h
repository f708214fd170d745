// The shape files (SHX) that a drawing's text styles and SHAPE entities name. Each drawing
// has its own table; nothing is shared between drawings.
#ifndef VELKO_SHAPE_TABLE_H
#define VELKO_SHAPE_TABLE_H

#include "fonts/font_location.h"
#include "fonts/shape_file.h"
#include "fonts/shape_index.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CShapeTable {
public:
    // A table for `drawing`, whose file name and search path guide the search for fonts.
    // The control-shape index is opened here; when it can't be used, `IndexUnavailable`
    // says so for the life of the table.
    explicit CShapeTable(CFontLocation *drawing = nullptr);
    CShapeTable(const CShapeTable &) = delete;
    CShapeTable &operator=(const CShapeTable &) = delete;

    // Sets the drawing file and the search path that the search uses instead of those of
    // the drawing (for a table without a drawing). Either may be null.
    void SetLocation(const char *drawing_file, const char *search_path);

    // Finds the shape file `file` and, when `big_file` is given, its big font: beside the
    // drawing, then in each directory of the search path, then in the index. A file found
    // before is used again. 1 when the shape file is in the table, and `LastSlot()` is then
    // its slot; 0 when it is found nowhere (the table is unchanged). A missing big font
    // doesn't make the load fail.
    int LoadFont(const char *file, const char *big_file = nullptr);
    // The slot of the file that the last successful `LoadFont` settled on; -1 before any.
    int LastSlot() const { return last_slot; }

    int Count() const { return static_cast<int>(files.size()); }
    // The file in a slot; null outside the array.
    CShapeFile *File(int slot) const;
    bool IndexUnavailable() const { return index_unavailable; }
    const CShapeIndex &Index() const { return index; }

    // The data length of shape `number` of the file in slot `style`, with `name_out` at its
    // name (not NUL-terminated when the data hold no NUL: `name_length` tells its length).
    // Numbers above 255 are looked for among the extra shapes. 0 for a style outside the
    // array or a shape the file doesn't have.
    int ShapeName(int style, int number, const char **name_out, size_t *name_length) const;
    // The data length of shape `number` (direct table only), with the byte codes behind the
    // name and the shape's width. 0 for a style outside the array or a shape not there;
    // the outputs are then null and 0.
    int ShapeData(int style, int number, const uint8_t **codes_out, size_t *code_length,
                  double *width_out) const;
    // For two-byte text: the data length of shape lead_byte x 256 + trail_byte of the big
    // font attached to slot `style`, read from its file, with the byte codes behind the name
    // in `codes_out`. 0 without a big font, for a lead byte outside its escape ranges, or a
    // shape it doesn't have.
    int ShapeDataByCode(int style, uint8_t lead_byte, uint8_t trail_byte,
                        std::vector<uint8_t> *codes_out) const;
    // The first shape named `name`: files in slot order, each file's direct table from 0
    // up. 1 with the pair set, or 0 with the pair untouched.
    int ShapeId(int16_t &style, int16_t &number, const char *name) const;

private:
    struct NameParts {
        std::string base;
        std::string extension; // with its dot, empty when there is none
    };
    static NameParts Split(const char *name);

    std::string DrawingDirectory() const;
    std::vector<std::string> SearchDirectories() const;
    int FindLoaded(const std::string &path) const;
    std::unique_ptr<CShapeFile> LoadFromIndex(const std::string &base, int *slot);
    void AttachBigFont(CShapeFile &font, const char *big_file);

    std::vector<std::unique_ptr<CShapeFile>> files;
    CShapeIndex index;
    bool index_unavailable = true;
    CFontLocation *drawing = nullptr;
    bool has_location = false;
    std::string location_file;
    std::string location_search_path;
    int last_slot = -1;
};

#endif
