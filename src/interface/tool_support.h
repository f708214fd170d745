// What the tools shipped with the library (velko and its renderer) need beyond the public
// interface of velkow32.h: a few answers about open drawings, drawing files, shape files and
// shapes that the flat calls do not give. This is the one internal header a tool includes.
//
// Every call takes and gives plain values and plain structs only, so that the library's own
// classes stay free to change behind it. A drawing is named by the handle that
// CDBStartFileReading or CDBNew handed out; looking a handle up here leaves the error code
// of the flat interface as the flat calls left it, and a free handle is answered as each
// call says.
#ifndef VELKO_TOOL_SUPPORT_H
#define VELKO_TOOL_SUPPORT_H

#include "velkow32.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool_support {

// ---- Entity kinds ------------------------------------------------------------------------

// The DXF name of an entity kind ("LINE" for CDB_LINE, ...), from the library's one list of
// kind names; "UNKNOWN" for a number that is no kind. The text lives as long as the process.
const char *EntityKindName(int kind);

// Frees the texts that a list mode record of an entity hands to its caller (the texts its
// kind owns, from the same list) and nulls their pointers. A null record is passed over.
void FreeEntityTexts(CDB_ENTITY *record);

// ---- Open drawings -----------------------------------------------------------------------

// The form of the file a drawing was read from.
enum class DrawingForm { kUnknown, kDwg, kTextDxf, kBinaryDxf };

// The form of the drawing under `drawing`; kUnknown for a free handle or a drawing class
// that does not tell it.
DrawingForm FormOf(int16_t drawing);

// The lowest handle that has an open drawing, or CDB_FAIL when none is open.
int16_t LowestOpenDrawing();

// Reads everything of the drawing that it has not read yet (a DWG reads its entities at the
// first use): true when it has all, false on a failed read or a free handle.
bool LoadWholeDrawing(int16_t drawing);

// What a save of the drawing writes, as the writers count it: the entities of all lists
// (main list and every block's list), the blocks, and the records of all tables.
struct SavedObjects {
    long entities = 0;
    long blocks = 0;
    long table_records = 0;
    // The objects a save's progress hook counts: entities and table records.
    long Objects() const { return entities + table_records; }
};

// The counts of the drawing as it is now (load it whole first to count everything), of
// either release; false, with `counts` untouched, for a free handle.
bool CountSavedObjects(int16_t drawing, SavedObjects *counts);

// Where the last DXF save of the release 13 drawing under `drawing` stopped, when an entity
// stopped it (a kind that has no DXF writer): true with the kind's DXF name ("3DSOLID", ...)
// and the entity's handle text; false, with both left as they are, for a free handle, a
// drawing of another release, or a last save that no entity stopped.
bool SaveStoppedAt(int16_t drawing, std::string *kind, std::string *handle);

// The limit of its file form that refused the last save of the drawing under `drawing`, in
// words ("release 12 DWG: a block section of at most 16,777,215 bytes"), when the drawing's
// code is CDB_ERR_FORM_LIMIT; empty otherwise and for a free handle.
std::string FormLimitOf(int16_t drawing);

// The progress hooks of a drawing. The load hook is called once an entity is read, with the
// entities and blocks read so far; the save hook every so many objects written, with the
// number written so far. Both are plain functions without context: a caller that needs one
// keeps it where the hook finds it.
using LoadProgressHook = void (*)(int16_t entities, int16_t blocks);
using SaveProgressHook = void (*)(int32_t objects_written);

// Sets both hooks on the drawing of any release (null takes a hook away): true, or false for
// a handle without a drawing, in which case nothing is set.
bool SetProgressHooks(int16_t drawing, LoadProgressHook load, SaveProgressHook save);

// How far reading has come through the drawing's file: position / length in [0, 1], or -1
// when the drawing has no open file of known length.
double LoadFraction(int16_t drawing);

// Opens the drawing file `name` as CDBStartFileReading does, with both hooks set on the
// drawing before its load, so that a drawing read whole while it opens (a DXF, a release
// 13 DWG) reports that load as well: the handle, or CDB_FAIL with the code for
// CDBGetErrorNumber(CDB_FAIL). The hooks stay set; SetProgressHooks takes them away.
int16_t StartReadingWithHooks(const char *name, LoadProgressHook load, SaveProgressHook save);

// LoadFraction of the drawing that StartReadingWithHooks is opening, for its load hook;
// -1 when no drawing is being opened that way.
double OpeningLoadFraction();

// ---- Drawing files and external references ----------------------------------------------

// The release of the drawing file at `path` as an open judges it, without loading it: 12,
// 13, or 0 for a file an open refuses at once. A DXF goes by the release its groups name,
// binary ones included (which CDBGetDrawingFileInfo may not find among its first bytes).
int FileRelease(const std::string &path);

// What the loader met in a drawing file that the library refused to open, in words, when it
// can tell more than the error code does: for a release 13 DWG or DXF that opens but does not
// load, the step of the load that failed and why. Empty when there is nothing more to say.
std::string WhyRefused(const std::string &path);

// Whether a regular file exists at `path` as the library's file open looks it up: "\" and
// "/" both separate, and each component may differ in case from the one on disk. An empty
// path exists nowhere.
bool DrawingFileExists(const std::string &path);

// The places where the file of an external reference is looked for, in the order they are
// tried, for a reference whose stored path is `stored` in the drawing `host_file`.
std::vector<std::string> XrefCandidatePaths(const std::string &host_file,
                                            const std::string &stored);

// ---- Shape files and big fonts -----------------------------------------------------------

enum class ShapeFontForm { kShapes10, kShapes11, kUnifont, kBigFont };

// One shape as the library loads it: its number, its name, the length of its data (name,
// NUL and byte codes) and its width in the units of its codes.
struct ListedShape {
    unsigned number = 0;
    std::string name;
    long length = 0;
    double width = 0;
    // A unifont's or big font's shapes carry no width: `width` is then 0.
    bool has_width = true;
};

struct ShapeFontListing {
    ShapeFontForm form = ShapeFontForm::kShapes11;
    // The height above the baseline and the highest number of the direct table; a big font
    // has neither (1 and -1).
    double above = 1;
    int max_shape_id = -1;
    // The shapes with data: first the direct table's by number, then those from 256 up in
    // file order; a big font's in its directory's order.
    std::vector<ListedShape> shapes;
};

// Loads the shape file or, failing that, the big font at `path`; false when it is neither.
bool ListShapeFont(const std::string &path, ShapeFontListing *listing);

// ---- The control-shape index ------------------------------------------------------------

// The most fonts one index holds, and the longest name an entry takes.
constexpr size_t kMostIndexedFonts = 32767;
constexpr size_t kLongestIndexedFontName = 31;

// One font of an index: its name there (upper case) and the shape file or big font to load.
struct IndexedFont {
    std::string name;
    std::string path;
};

enum class ShapeIndexStatus {
    kWritten,
    kTooManyFonts,   // more than kMostIndexedFonts
    kBadName,        // a name of no or more than kLongestIndexedFontName characters
    kDuplicateName,  // a name that an earlier font has
    kUnreadableFont, // neither a shape file nor a big font
    kFontTooLarge,   // a font beyond what the layout holds
    kNotWritten,     // the index file could not be written
};

struct ShapeIndexOutcome {
    ShapeIndexStatus status = ShapeIndexStatus::kWritten;
    // The position in `fonts` of the font that stopped the writing.
    size_t font = 0;
    // The length of the index written.
    size_t bytes = 0;
};

// Writes the index of `fonts`, in their order, to the file `path`. The count and all names
// are checked before any font is read; nothing is written unless every font went in.
ShapeIndexOutcome WriteShapeIndex(const std::string &path, const std::vector<IndexedFont> &fonts);

// ---- The strokes of a shape --------------------------------------------------------------

struct StrokePoint {
    double x = 0, y = 0;
};

// The pen's path between putting it down and lifting it (or the shape's end), in the units
// of the codes; at least two points.
struct Stroke {
    std::vector<StrokePoint> points;
};

struct ShapeStrokes {
    std::vector<Stroke> strokes;
    // Where the pen stands when the codes end: the start of the next character.
    StrokePoint end;
};

// The byte codes of subshape `number` of the same font: false when the font has none.
using SubshapeLookup = std::function<bool(int number, std::vector<uint8_t> *codes)>;

// Walks a shape's byte codes (those behind its name) as horizontal text draws them: the pen
// starts down at (0, 0); arcs become points at most 1/16 of a turn apart; subshapes are
// looked up through `lookup` (may be empty) and drawn in place, a few levels deep at most.
// Damaged codes end the walk where they stop making sense.
ShapeStrokes DrawShapeStrokes(const uint8_t *codes, size_t length, const SubshapeLookup &lookup);

} // namespace tool_support

#endif
