// Everything an opened drawing hands out through the public interface, and the field by
// field comparison of two such drawings.
//
// A Snapshot walks a drawing through the flat functions: the main list, every block with
// its list, the ten tables and the header. CompareDrawings then visits the fields of each
// pair of records side by side and hands every pair to a FieldSink, which decides what
// equal means. Two sinks are ready: ExactSink (numbers bit for bit, texts equal, extended
// data byte for byte) and DigitsSink (numbers within N significant digits). A test that
// knows of a difference by design derives from one of them, handles the field it knows
// and passes the rest on.
//
// Every failure names both drawings, the list, block or table, the record's index, the
// field and both values.
#ifndef VELKO_TEST_DRAWING_SNAPSHOT_H
#define VELKO_TEST_DRAWING_SNAPSHOT_H

#include "velkow32.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velko_test {
namespace snapshot {

// ---------------------------------------------------------------------------
// The receiving side of a comparison
// ---------------------------------------------------------------------------

// Receives the fields of two records of one kind. `group` is the DXF group that fills the
// field in a release 12 file, -1 for a field that no group of its own fills.
class FieldSink {
public:
    virtual ~FieldSink() = default;

    // The two drawings being compared, for the failure messages.
    void SetDrawings(const std::string &a, const std::string &b) {
        drawing_a_ = a;
        drawing_b_ = b;
    }

    // The record that the next fields belong to: an entity (its kind and both records), a
    // table record, a block record or the header. `index` is the record's position in its
    // list or table, -1 for the header.
    void Begin(const std::string &where, const std::string &record, int kind,
               const CDB_ENTITY *a = nullptr, const CDB_ENTITY *b = nullptr, int index = -1) {
        where_ = where;
        record_ = record;
        kind_ = kind;
        a_ = a;
        b_ = b;
        index_ = index;
    }

    virtual void Real(const std::string &field, int group, double a, double b) = 0;
    virtual void Int(const std::string &field, int group, long a, long b) = 0;
    virtual void Text(const std::string &field, int group, const char *a, const char *b) = 0;
    virtual void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
                      size_t nb) = 0;

    // Called when the two drawings differ in shape (counts, kinds): no field pairs.
    void Mismatch(const std::string &what);

    // "a.dwg against b.dwg: main list #3 LINE start_point.x": where a failure stands.
    std::string At(const std::string &field) const;

protected:
    std::string drawing_a_;
    std::string drawing_b_;
    std::string where_;
    std::string record_; // "ENTITY", "BLOCK", "BLOCK_TBL", a table name, "HEADER"
    int kind_ = 0;
    int index_ = -1;
    const CDB_ENTITY *a_ = nullptr;
    const CDB_ENTITY *b_ = nullptr;
};

// Where the file text of each record stands, for a sink that wants it (the DXF twin test
// takes its tolerances from the digits of the file). Told which record comes next.
struct Sources {
    virtual ~Sources() = default;
    virtual void Entity(int block, size_t position) { (void)block, (void)position; }
    virtual void BlockStart(size_t block) { (void)block; }
    virtual void TableRecord(const std::string &table, size_t index) { (void)table, (void)index; }
    virtual void Header() {}
};

// Every field equal: numbers bit for bit (a NaN equals a NaN of the same bits), texts
// equal (null differs from ""), extended data byte for byte.
class ExactSink : public FieldSink, public Sources {
public:
    void Real(const std::string &field, int group, double a, double b) override;
    void Int(const std::string &field, int group, long a, long b) override;
    void Text(const std::string &field, int group, const char *a, const char *b) override;
    void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
              size_t nb) override;
};

// Numbers within `digits` significant digits, integers and texts equal; extended data value
// by value, its reals within the same digits and all else byte for byte.
class DigitsSink : public FieldSink, public Sources {
public:
    explicit DigitsSink(int digits) : digits_(digits) {}

    void Real(const std::string &field, int group, double a, double b) override;
    void Int(const std::string &field, int group, long a, long b) override;
    void Text(const std::string &field, int group, const char *a, const char *b) override;
    void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
              size_t nb) override;

    int digits() const { return digits_; }

private:
    int digits_;
};

// ---------------------------------------------------------------------------
// Field visitors
// ---------------------------------------------------------------------------

void P3(FieldSink &s, const std::string &field, int group, CDB_POINT3 a, CDB_POINT3 b);
void P2(FieldSink &s, const std::string &field, int group, CDB_POINT2 a, CDB_POINT2 b);

void VisitEntity(const CDB_ENTITY &a, const CDB_ENTITY &b, FieldSink &s);
// The part of a kind that only release 13 drawings hold; nothing for the other kinds.
void VisitRelease13Kind(const CDB_ENTITY &a, const CDB_ENTITY &b, FieldSink &s);
// A block record as the block walk hands it out.
void VisitBlockStart(const CDB_STARTBLOCK_ENTITY_type &a, const CDB_STARTBLOCK_ENTITY_type &b,
                     FieldSink &s);
void VisitBlockTable(const CDB_BLOCK_TBL &a, const CDB_BLOCK_TBL &b, FieldSink &s);
void VisitLayer(const CDB_LAYER_TBL_type &a, const CDB_LAYER_TBL_type &b, FieldSink &s);
void VisitLtype(const CDB_LTYPE_TBL_type &a, const CDB_LTYPE_TBL_type &b, FieldSink &s);
void VisitStyle(const CDB_STYLE_TBL_type &a, const CDB_STYLE_TBL_type &b, FieldSink &s);
void VisitVport(const CDB_VPORT_TBL_type &a, const CDB_VPORT_TBL_type &b, FieldSink &s);
void VisitView(const CDB_VIEW_TBL_type &a, const CDB_VIEW_TBL_type &b, FieldSink &s);
void VisitUcs(const CDB_UCS_TBL_type &a, const CDB_UCS_TBL_type &b, FieldSink &s);
void VisitAppid(const CDB_APPID_TBL_type &a, const CDB_APPID_TBL_type &b, FieldSink &s);
void VisitDimstyle(const CDB_DIMSTYLE_TBL_type &a, const CDB_DIMSTYLE_TBL_type &b, FieldSink &s);
// The header, field by field. A field that a release 12 DXF fills from a variable of its
// HEADER section is named after the variable ("$EXTMIN"), with the group of its value;
// every other field by its own name.
void VisitHeader(const CDB_HEADER_type &a, const CDB_HEADER_type &b, FieldSink &s);

// ---------------------------------------------------------------------------
// Everything an opened drawing hands out
// ---------------------------------------------------------------------------

struct BlockCopy {
    int16_t status = 0;
    CDB_STARTBLOCK_ENTITY_type start;
    std::vector<CDB_ENTITY> list;
    int32_t end = 0; // the list walk's last result
};

// The records of a drawing, read through the flat interface while it stays open (the
// records share pointers with it); the texts that list mode copies for the caller are
// freed at the end.
class Snapshot {
public:
    // Opens the file; the drawing is closed when the snapshot goes.
    explicit Snapshot(const std::string &path);
    // Walks a drawing that is already open under `handle`, named `label` in messages; the
    // caller keeps it open as long as the snapshot lives, and closes it.
    Snapshot(int16_t handle, const std::string &label);
    ~Snapshot();
    Snapshot(const Snapshot &) = delete;
    Snapshot &operator=(const Snapshot &) = delete;

    bool opened() const { return handle_ >= 0; }
    int16_t handle() const { return handle_; }
    // The reason of a refused open.
    int16_t code() const { return code_; }
    const std::string &path() const { return path_; }

    // The number of entities of each kind name ("LINE", ...) in the main list and in all
    // blocks, the block start and end records and the main list's end marker left out.
    std::vector<std::pair<std::string, int>> KindCounts() const;

    std::vector<CDB_ENTITY> main_;
    int32_t main_end_ = 0;
    std::vector<BlockCopy> blocks_;
    int16_t blocks_end_ = 0;
    std::vector<CDB_BLOCK_TBL> block_table_;
    std::vector<CDB_LAYER_TBL_type> layers_;
    std::vector<CDB_LTYPE_TBL_type> ltypes_;
    std::vector<CDB_STYLE_TBL_type> styles_;
    std::vector<CDB_VPORT_TBL_type> vports_;
    std::vector<CDB_VIEW_TBL_type> views_;
    std::vector<CDB_UCS_TBL_type> ucs_;
    std::vector<CDB_APPID_TBL_type> appids_;
    std::vector<CDB_DIMSTYLE_TBL_type> dimstyles_;
    CDB_HEADER_type header_;
    int16_t header_status_ = 0;

private:
    void Take();
    std::vector<CDB_ENTITY> Walk(int16_t block, int32_t *end);
    template <typename Record>
    void Table(int16_t (*count)(int16_t), int16_t (*get)(int16_t, int16_t, Record *),
               std::vector<Record> *out);

    std::string path_;
    int16_t handle_ = -1;
    int16_t code_ = 0;
    bool owned_ = true;
};

// Both drawings, every record; `sources` is told which record comes next. The failure
// messages name a's and b's paths.
void CompareDrawings(const Snapshot &a, const Snapshot &b, FieldSink &s, Sources &sources);
inline void CompareDrawings(const Snapshot &a, const Snapshot &b, ExactSink &s) {
    CompareDrawings(a, b, s, s);
}
inline void CompareDrawings(const Snapshot &a, const Snapshot &b, DigitsSink &s) {
    CompareDrawings(a, b, s, s);
}

// ---------------------------------------------------------------------------
// The round trips through the writers
// ---------------------------------------------------------------------------

// Compares drawing a with b, its copy saved as DWG and read again: exactly equal, but for
// the differences that the DWG writer makes by design, each named where it is applied:
// a deleted table record comes back as a record of zeros (flags 0, no name; a deleted
// block's record keeps its flags); an anonymous block is written under the name it holds
// and numbered once more by the reading ("*D0" -> "*D00"); the header's view variables
// take the values of an "*ACTIVE" viewport.
void CompareDwgSave(const Snapshot &a, const Snapshot &b);

// Compares drawing a with b, its copy saved as DXF (binary when `binary`) and read again:
// equal within the writer's 8 significant digits, but for the rules of the DXF road, each
// named where it is applied: the z of the two-dimensional kinds and the elevation; fields
// that the writer leaves out when they hold a default (a negative elevation, thickness or
// width, an unjustified text's alignment point, style 0, group 5 with $HANDLING off);
// references written by name and looked up again; empty texts, which read as none, and
// null texts of table records, written empty; the dimension's angles 51 to 53, which are
// not written; the header fields that no DXF variable carries, and the view variables,
// taken from the "*ACTIVE" viewport; an empty $DWGCODEPAGE, which reads as "undefined";
// the viewport's place in the DWG's viewport entity header table; and in binary,
// $ANGBASE, which the binary reader takes from code 40 only.
void CompareDxfSave(const Snapshot &a, const Snapshot &b, bool binary);

// Holds the ASCII and the binary DXF file of one drawing side by side: the same groups in
// the same order, a binary real within the 8 digits of its ASCII text. "" when they agree,
// otherwise the first differences, one a line. The binary file is read with the value of
// every group code that the writer writes (also the dimension style groups 140 to 178,
// which the release 12 binary reader does not take).
std::string CompareDxfForms(const std::string &ascii, const std::string &binary);

// ---------------------------------------------------------------------------
// Saving copies for the round trips
// ---------------------------------------------------------------------------

enum class SaveForm { kDwg, kAsciiDxf, kBinaryDxf };

// Opens `from`, saves it as `to` in `form` and closes it: "" when that worked, otherwise
// what went wrong, with the library's code.
std::string SaveCopy(const std::string &from, const std::string &to, SaveForm form);
// Saves the open drawing `handle` as `to` in `form`: "" or what went wrong. The file is
// written under a name of its own and renamed to `to` when it is complete, so that tests
// in other processes never read half of it; the drawing goes on under that other name.
std::string SaveOpenDrawing(int16_t handle, const std::string &to, SaveForm form);

// The folder in which the round-trip tests keep the files they write, so that other tests
// (the outside reader's) find them: "<test temp>/velko_roundtrip/", made when missing.
std::string RoundTripFolder();

// The drawings of the corpus that the round trips start from, relative to the corpus:
// every release 12 DWG, and every release 12 DXF that the manifest says opens (its
// "opens" flag). `with_dxf` false leaves the DXF files out.
std::vector<std::string> RoundTripSources(bool with_dxf);

// ---------------------------------------------------------------------------
// Small helpers of the messages and the number rules
// ---------------------------------------------------------------------------

// A text in quotes, or "(null)".
std::string Show(const char *text);
// Bytes as upper-case hexadecimal.
std::string Hex(const uint8_t *p, size_t n);
// A number with all its digits ("%.17g").
std::string Digits(double v);
// Two numbers bit for bit equal.
bool SameBits(double a, double b);
// Two numbers equal to `digits` significant digits: equal, both NaN, the same text at that
// many digits, or apart by no more than one unit of the last of those digits relative to
// the larger (rounding at a digit boundary may part two texts of one number).
bool SameToDigits(double a, double b, int digits);

// One value of a block of extended data in its stored form: its code, its bytes other than
// reals, its reals.
struct EedValue {
    int code = 0;
    std::vector<uint8_t> bytes;
    std::vector<double> reals;
};

// Splits a block of extended data into its values by the coding of the stored form; false
// when the block does not follow it to its end.
bool EedValues(const uint8_t *data, size_t size, std::vector<EedValue> *out);

} // namespace snapshot
} // namespace velko_test

#endif
