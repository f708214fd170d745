// The ten tables of a release 12 drawing: record classes and the table list.
//
// A record in the file is a fixed-size block: the common opening (flags, a 32-byte name,
// 2 bytes), a body that depends on the table, and a CRC in the last 2 bytes. Each body
// is described once, as a list of R12Field (see r12_header.h), which the reader walks
// from the file to the record and the writer walks back.
#ifndef VELKO_R12_TABLES_H
#define VELKO_R12_TABLES_H

#include "velkow32.h"

#include "dwg12/r12_header.h"
#include "model/table_list.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class CBaseDrawing;
class CDrawingFile;
class CDxfStream;
class CR12TableList;
struct R12DxfWriteContext;

// What a record needs while it reads itself from a DXF file.
struct R12DxfRecordContext {
    CDxfStream &stream;
    // The line type table, in which a layer finds its line type by name.
    const CR12TableList *ltypes;
};

// Table numbers, as the trailer's descriptors count them.
enum R12Table : int16_t {
    kR12Blocks = 0,
    kR12Layers = 1,
    kR12Styles = 2,
    kR12Ltypes = 3,
    kR12Views = 4,
    kR12Ucs = 5,
    kR12Vports = 6,
    kR12Appids = 7,
    kR12Dimstyles = 8,
    kR12VxHeaders = 9,
};

// The opening and the closing that every record shares.
constexpr size_t kR12FlagsAt = 0;
constexpr size_t kR12NameAt = 1;
constexpr size_t kR12NameSize = 32;
constexpr size_t kR12BodyAt = 35;
constexpr size_t kR12CrcSize = 2; // the last bytes of a record
constexpr uint8_t kR12DeletedFlag = 0x80;
// A name block: the 32 bytes of the file and a terminator.
constexpr size_t kR12NameBlockSize = kR12NameSize + 1;
// What GetName writes at most, terminator included: 31 characters and a zero.
constexpr size_t kR12NameBufferSize = 32;
// The largest record (the dimension style).
constexpr size_t kR12MaxRecordSize = 324;
// Dash lengths the line type record has room for in the file.
constexpr size_t kR12MaxStoredDashes = 12;
// A table descriptor of the trailer: table_id u16, record_size u16, count i16,
// position u32.
constexpr size_t kR12DescriptorSize = 10;

static_assert(kR12DeletedFlag == CTableRecord::kDeleted, "one deleted flag for all tables");
static_assert(kR12NameBufferSize == CTableRecord::kNameBufferSize, "one name size for lookups");

// The size of a record of table `t` in the file, or 0 for another number.
int R12RecordSize(int t);
// The body layout of table `t` (the fields behind the opening), in file order. Field
// offsets address the record object's body (see CR12RecordOf). Empty for the application
// id table, which has no body, for the viewport entity header, which is kept raw, and for
// another number.
R12Layout R12RecordLayout(int t);
// The name under which a text style asks the shape table for its font: "TXT.SHX" for a
// null font file, otherwise the base name and extension of `font_file` ("\" and "/" both
// separate directories), ".shx" added when there is no extension, all upper case.
std::string R12StyleFontName(const char *font_file);

// One record of a table. It owns the public record and the blocks that it points at.
class CR12TableRecord : public CTableRecord {
public:
    explicit CR12TableRecord(CBaseDrawing *drawing) : drawing(drawing) {}

    // Reads one record at the file's position: 1, or 0 for a failed read or a deleted
    // record (which keeps its slot, with a null name).
    virtual int Read(CDrawingFile &file) = 0;
    // The record's size in a DWG.
    virtual short GetFileSize() const = 0;
    // Reads the record's groups from a DXF file. `name` (a value buffer of the stream's
    // size) holds the record's group 0 value on entry and, on return, the value of the
    // group 0 that ended the record. 1; 0 when `name` is not the name of the record's
    // table (nothing is read); -1 when the file ended inside the record.
    virtual int ReadDXF(R12DxfRecordContext &context, char *name);
    // Encodes the record as a DWG holds it into `block`, GetFileSize() bytes that the
    // caller has zero-filled; the CRC in the last two bytes is the caller's. A deleted
    // record leaves the block as it is. 1, or 0 for a class that has no DWG form.
    virtual int EncodeDWG(uint8_t *block) const;
    // Writes the record's groups, group 0 included, to the context's stream: 1, or 0 when
    // a write fails.
    virtual int WriteDXF(R12DxfWriteContext &context) const;

protected:
    CBaseDrawing *drawing;
};

// The shared body of the record classes: decoding by the table's layout, the name, the
// flags and the heap blocks the record owns.
class CR12LayoutRecord : public CR12TableRecord {
public:
    // Reads exactly GetFileSize() bytes (the descriptor's record_size is not consulted)
    // and decodes them. A short read at the end of the file decodes the missing bytes as
    // zero.
    int Read(CDrawingFile &file) override;
    int CompareName(const char *name) const override;
    // Writes at most kR12NameBufferSize bytes, terminator included.
    void GetName(char *buffer) const override;
    short GetFileSize() const override;
    uint8_t Flags() const override;
    const char *FullName() const override { return NameField(); }

    // Decodes one record from memory, `size` bytes (bytes beyond `size` count as zero).
    // The record is cleared first. 1, or 0 for a deleted record (only `flags` is set then)
    // or for a failure of the class's own step (a style whose font cannot be loaded).
    virtual int Decode(const uint8_t *bytes, size_t size);

    // The name, null for a deleted record and for an empty name.
    const char *Name() const;
    int16_t TableNumber() const { return table; }

    // The DXF road: the groups of the table's DXF layout into the record.
    int ReadDXF(R12DxfRecordContext &context, char *name) override;
    // The inverse of Decode: flags, name and the fields of the table's layout.
    int EncodeDWG(uint8_t *block) const override;
    // The groups of the table's DXF layout, in their order.
    int WriteDXF(R12DxfWriteContext &context) const override;
    // Takes a public record of the table's type in (the edit functions): the record is
    // cleared, then the values are copied and every text the record points at is copied
    // into a new block of the object's own (the name into a 32-byte block, font files into
    // 64-byte blocks, dashes into an array of dash_count doubles). The caller's record is
    // not touched. A class's own step (a style loads its font) follows.
    virtual void SetFrom(const void *record);

protected:
    // `body` is the object's body (of `body_size` bytes) that the table's layout addresses;
    // the opening's name pointer and flags byte stand at the given offsets in it.
    CR12LayoutRecord(CBaseDrawing *drawing, int16_t table, void *body, size_t body_size,
                     size_t name_offset, size_t flags_offset);

    // The class's own step after the layout; its result is the result of Decode.
    virtual int AfterDecode(const uint8_t *bytes, size_t size);
    // The class's own step after a DXF read; its result is ignored.
    virtual void AfterReadDxf() {}
    // The class's own step after SetFrom.
    virtual void AfterSetFrom() {}
    // The size of the public record that opens the body.
    virtual size_t PublicRecordSize() const = 0;
    // Frees the name and every heap block of the layout, and nulls their pointers. The
    // derived class calls it from its destructor, while the body still lives.
    void ReleaseBlocks();
    // Clears the body after releasing its blocks.
    void Clear();

    char *NameField() const;
    // Replaces the name (the old block is freed).
    void SetNameField(char *name);
    void SetFlagsField(uint8_t flags);
    uint8_t *BodyBytes() const { return body; }

private:
    int16_t table;
    uint8_t *body;
    size_t body_size;
    size_t name_offset;
    size_t flags_offset;
};

// A record class: `Body` is a standard-layout struct whose first member `record` is the
// record that GetRecord hands out; the layout's field offsets address `Body`.
template <typename Body, int16_t T> class CR12RecordOf : public CR12LayoutRecord {
public:
    using Record = decltype(Body::record);
    static_assert(offsetof(Body, record) == 0, "the record opens the body");

    explicit CR12RecordOf(CBaseDrawing *drawing)
        : CR12LayoutRecord(drawing, T, &body, sizeof(Body), offsetof(Record, name),
                           offsetof(Record, flags)) {}
    ~CR12RecordOf() override { ReleaseBlocks(); }

    void *GetRecord() override { return &body.record; }
    size_t PublicRecordSize() const override { return sizeof(Record); }
    Record &GetTypedRecord() { return body.record; }
    const Record &GetTypedRecord() const { return body.record; }

    Body body{};
};

// Bodies. The public record comes first; what the public record has no field for follows.
template <typename Rec> struct R12Body { Rec record; };

struct R12BlockBody {
    CDB_BLOCK_TBL record;
    // Position of the block's entities relative to blocks_start, top byte cleared.
    uint32_t block_offset;
    // The name, kept in place beside the record's own block.
    char name_in_place[kR12NameBlockSize];
};

// The viewport entity header has no public record: it is kept raw.
struct R12VxRecord {
    char *name;
    uint8_t flags;
    // The whole record as read, byte 38 cleared.
    uint8_t raw[43];
};
struct R12VxBody {
    R12VxRecord record;
};

using CR12LayerRecord = CR12RecordOf<R12Body<CDB_LAYER_TBL_type>, kR12Layers>;
using CR12LtypeRecord = CR12RecordOf<R12Body<CDB_LTYPE_TBL_type>, kR12Ltypes>;
using CR12ViewRecord = CR12RecordOf<R12Body<CDB_VIEW_TBL_type>, kR12Views>;
using CR12UcsRecord = CR12RecordOf<R12Body<CDB_UCS_TBL_type>, kR12Ucs>;
using CR12VportRecord = CR12RecordOf<R12Body<CDB_VPORT_TBL_type>, kR12Vports>;
using CR12AppidRecord = CR12RecordOf<R12Body<CDB_APPID_TBL_type>, kR12Appids>;
using CR12DimstyleRecord = CR12RecordOf<R12Body<CDB_DIMSTYLE_TBL_type>, kR12Dimstyles>;

class CR12BlockRecord : public CR12RecordOf<R12BlockBody, kR12Blocks> {
public:
    using CR12RecordOf::CR12RecordOf;
    // Position of the block's entities relative to blocks_start (24 bits).
    uint32_t BlockOffset() const { return body.block_offset; }
    // The copy of the name kept in place; "" when the record has no name.
    const char *NameInPlace() const { return body.name_in_place; }

protected:
    int AfterDecode(const uint8_t *bytes, size_t size) override;
    // The name kept in place follows the new name.
    void AfterSetFrom() override;
};

class CR12StyleRecord : public CR12RecordOf<R12Body<CDB_STYLE_TBL_type>, kR12Styles> {
public:
    using CR12RecordOf::CR12RecordOf;
    // The style's slot in the drawing's shape table, -1 when no font could be loaded.
    int ShapeIndex() const { return shape_index; }

protected:
    // Loads the style's font into the drawing's shape table, falling back to "TXT.SHX";
    // 0 when neither loads (the record keeps its slot all the same).
    int AfterDecode(const uint8_t *bytes, size_t size) override;
    void AfterReadDxf() override { LoadFont(); }
    void AfterSetFrom() override { LoadFont(); }

private:
    int LoadFont();
    int shape_index = -1;
};

class CR12VxHeaderRecord : public CR12RecordOf<R12VxBody, kR12VxHeaders> {
public:
    using CR12RecordOf::CR12RecordOf;
    // Keeps the raw bytes (byte 38 cleared) of every record, deleted ones included, then
    // decodes the opening.
    int Decode(const uint8_t *bytes, size_t size) override;
    const uint8_t *Raw() const { return body.record.raw; }
    // The raw bytes as read, byte 38 cleared, the CRC excepted.
    int EncodeDWG(uint8_t *block) const override;
};

// Makes an empty record object of table `t` (0 to 9), or null for another number.
CR12TableRecord *MakeR12TableRecord(CBaseDrawing *drawing, int t);

// The view that the header and the "*ACTIVE" viewport both hold (centre, height,
// direction, snap, grid, fast zoom), one list serving both directions. The header keeps
// the snap angle in radians, as the file does; the record in degrees.
void R12ViewFromHeader(const CDB_HEADER_type &header, CDB_VPORT_TBL_type &vport);
void R12ViewIntoHeader(const CDB_VPORT_TBL_type &vport, CDB_HEADER_type &header);
// True for the offset of a header variable that belongs to that view.
bool R12IsViewVariable(size_t header_offset);

// The "*ACTIVE" viewport that stands in for an empty viewport table, built from the
// header's values.
CR12TableRecord *MakeR12ActiveVport(CBaseDrawing *drawing, const CDB_HEADER_type &header);

// The raw viewport entity header (table 9): flags and the u16 at offset 39 are used.
// Null for a record of another table.
const uint8_t *R12VxRaw(const CR12TableRecord *record);

// The block record's entity position (relative to blocks_start), 0 for a record of
// another table.
uint32_t R12BlockOffset(const CR12TableRecord *record);

// The style record's slot in the shape table, -1 for none or a record of another table.
int R12StyleShapeIndex(const CR12TableRecord *record);

// The list of one table of a release 12 drawing.
class CR12TableList : public CTableListOf<CR12TableRecord> {
public:
    CR12TableList(CBaseDrawing *drawing, int16_t table_number)
        : CTableListOf(table_number), drawing(drawing) {}
    CBaseDrawing *Drawing() const { return drawing; }

private:
    CBaseDrawing *drawing;
};

// Loads one table into `list` (whose TableNumber() tells the record class) from the
// section that `descriptor` (10 bytes of the trailer) names. 0 when the file is not open
// or the list is not empty; otherwise 1, the file's position restored. Records are read
// one after another at descriptor position + i x record size, `count` of them (a negative
// count reads none). A record whose place lies at or past the end of the file is not read
// and stays an empty slot, so memory stays within count x one record object. In the
// viewport table a record whose Read yields 0 is dropped instead; an empty viewport
// section (count 0) gets the "*ACTIVE" viewport built from `header_for_default_vport`
// (a zero header when null).
int LoadR12Table(CBaseDrawing *drawing, CDrawingFile &file, CR12TableList &list,
                 const uint8_t descriptor[kR12DescriptorSize],
                 const CDB_HEADER_type *header_for_default_vport);

#endif
