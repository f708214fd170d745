// The symbol tables of a release 13 DWG: the control object of each table, the record
// objects that follow it, and the table managers that read them and answer the lookups.
//
// A table in the file is a control object (CR13TableHead) followed by its record objects,
// one object each. A record object decodes into the public record of its table
// (CDB_LAYER_TBL_type, ...), kept inside a CR13TableRecord; the record's layout is a list
// of R13Field (r13_fields.h) that serves reading and writing, and the few quirks that do
// not fit a field are named steps of the record's class.
//
// What callers may rely on:
// - the three references that close a record are kept in the public record's link tail
//   (owner, reactor, dictionary: first, second, third); its count takes the record's 4-bit
//   entry code unless the record has an `entry_code` field of its own (line types,
//   dimension styles). The block record keeps its seven references in `links.refs` and the
//   entry code in `links.ref_count`;
// - every count read from an object (entries, dashes, multiline elements) is held against
//   what remains of the object before anything is allocated; a count that cannot fit makes
//   the decode fail (Read gives 0, CreateRecord a null), never a large allocation;
// - a truncated object decodes as far as it goes: the bit stream gives zeros and empty
//   texts past its end;
// - a record owns the texts and arrays its public record points at (malloc blocks) and
//   frees them when it is destroyed or decodes again.
#ifndef VELKO_R13_TABLES_H
#define VELKO_R13_TABLES_H

#include "velkow32.h"

#include "dwg13/r13_fields.h"
#include "model/table_list.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class CBaseDrawing;
class CBitStream;
class CBitWriter;
class CDrawingFile;
class CR13DxfReader;
class CR13DxfWriter;
class CR13ObjectWalk;

// Object types of the table records (the control object of each table is one less).
enum R13RecordType : int16_t {
    kR13BlockHeader = 49,
    kR13Layer = 51,
    kR13Style = 53,
    kR13Ltype = 57,
    kR13View = 61,
    kR13Ucs = 63,
    kR13Vport = 65,
    kR13Appid = 67,
    kR13Dimstyle = 69,
    kR13VpEntHdr = 71,
    kR13MlineStyle = 73,
};

// The opening and the closing of every object the writer builds: two zero bytes (the size,
// patched at the end) and the BS type; then Align, the check 0xFFFF and the size patched to
// TellSize() - 4.
void R13BeginObject(CBitWriter &writer, int16_t type);
void R13EndObject(CBitWriter &writer);

// The value of a handle text (hexadecimal, either case), 0 for null or no digit.
uint32_t R13HandleValue(const char *text);
// A handle value as the upper-case hexadecimal text the records keep ("0" for 0).
std::string R13HandleText(uint32_t value);
// A new malloc copy of R13HandleText(value).
char *R13NewHandleText(uint32_t value);
// The handle of a whole object as CDrawingFile::ReadObject gives it: behind the size and
// the type, a 4-bit code and the handle.
uint32_t R13ObjectHandle(const uint8_t *object);

// The decoded control object of a table.
struct CR13TableHead {
    int16_t object_type = 0;
    std::string handle;
    uint32_t object_bits = 0;
    uint8_t entry_code = 0;
    int16_t entry_count = 0;
    CHandleRef first_ref{};
    CHandleRef second_ref{};
    // `entry_count` references; the line type table keeps two more behind them (its
    // BYLAYER and BYBLOCK line types).
    std::vector<CHandleRef> entries;
    // The block table only.
    CHandleRef model_ref{};
    CHandleRef paper_ref{};

    // Decodes a whole control object from its start. 1; 0 when `entry_count` is negative
    // or more references than the rest of the object could hold (nothing is allocated).
    int Read(CBitStream &stream, int16_t record_type);
    // Encodes the whole object, frame included, with the control type record_type - 1.
    void Write(CBitWriter &writer, int16_t record_type) const;
};

// One record of a release 13 table: the public record of its table, its handle (the
// record's `handle` field is the one place of it) and the references that close it.
class CR13TableRecord : public CTableRecord {
public:
    ~CR13TableRecord() override = default;

    // Decodes the whole object (as CDrawingFile::ReadObject gives it): 1, or 0 when the
    // object is damaged beyond reading (the record is then cleared of what it read).
    int ReadDWG(const uint8_t *object);
    // The same from a stream positioned at the object's start.
    int ReadDWG(CBitStream &stream);
    // Encodes the whole object from the record, frame included.
    virtual void WriteDWG(CBitWriter &writer) const;
    // The limit of its object's fixed-width fields that the record passes, in words, or
    // null when the object holds all of it.
    virtual const char *PassedFormLimit() const { return nullptr; }
    // Takes the values of a public record of its table (editing): the record becomes a copy
    // of `source` with copies of the texts and arrays it points at, which stay the caller's;
    // what the object keeps beyond the public record starts cleared.
    void TakePublic(const void *source);
    // Reads the record's groups from a DXF file of this release (src/dxf): `name` holds the
    // group 0 value that named the record. 1 when read, `name` then holding the value of the
    // group 0 that ended it; 0 when the record cannot be read.
    virtual int ReadDXF(CR13DxfReader &reader, char *name);
    // Writes the record to a DXF file of this release (src/dxf): 0 with its kind's name,
    // its handle, the two markers, the release 12 groups from the name on and the release
    // 13 additions. Non-zero, or 0 when a group cannot be written.
    int WriteDXF(CR13DxfWriter &writer) const;

    const char *RecordName() const { return Name(); }
    // The handle text, null when the record has none.
    const char *RecordHandle() const;
    // 1 when the name equals `name` (case counted) and the record is not deleted.
    int IsNamed(const char *name) const;
    // 1 when the record's handle has the value of `text`.
    int HasHandle(const char *text) const;
    const char *Name() const;
    // Replaces the name with a copy of `name` (null clears it).
    void SetName(const char *name);
    // Replaces the handle text with a copy of `handle` (null clears it).
    void SetHandle(const char *handle);
    int16_t RecordType() const { return record_type; }
    // The RL of the record's head, written back as it was read.
    uint32_t ObjectBits() const;

    // CTableRecord.
    int CompareName(const char *name) const override { return IsNamed(name); }
    void GetName(char *buffer) const override;
    void *GetRecord() override { return body_bytes; }
    uint8_t Flags() const override;
    const char *FullName() const override { return Name(); }

protected:
    // Where a class's body keeps the fields that every record has.
    struct Shape {
        size_t name_at;
        size_t handle_at;
        size_t flags_at;
        size_t flags_width; // 1, or 2 for the multiline style
        size_t object_bits_at;
        size_t record_size; // the public record's bytes at the body's start
    };
    CR13TableRecord(CBaseDrawing *drawing, int16_t record_type, void *body, size_t body_size,
                    const Shape &shape);

    // The start of the object: 2 bytes of size and the BS type, both passed over.
    virtual void ReadFrameStart(CBitStream &stream);
    // The record's body: its layouts and named steps, in stream order. 1, or 0 on damage.
    virtual int Decode(CBitStream &stream) = 0;
    virtual void Encode(CBitWriter &writer) const = 0;
    // Keeps what the class needs of the raw object (the viewport entity header).
    virtual void KeepObject(const uint8_t * /*object*/, size_t /*size*/) {}
    // Frees every text and array of the body; the class's layouts name them. The derived
    // class calls it from its destructor, while its body still lives.
    virtual void ReleaseOwned() = 0;
    // Replaces every text and array of the body with a copy of its own (TakePublic).
    virtual void DuplicateOwned() = 0;
    // Copies the texts of a layout's kTV and kHT fields in place.
    void DuplicateTexts(const R13Layout &layout);
    // Frees the texts of a layout's kTV and kHT fields and nulls their pointers.
    void ReleaseTexts(const R13Layout &layout);
    void Clear();

    CBaseDrawing *drawing;

private:
    int16_t record_type;
    uint8_t *body_bytes;
    size_t body_size;
    Shape shape;
};

// ---- Bodies: the public record first, then what it has no field for -----------------

template <typename Rec> struct R13Body {
    Rec record;
    uint32_t object_bits;
};

struct R13AppidBody {
    CDB_APPID_TBL_type record;
    uint32_t object_bits;
    uint8_t application_code;
};

struct R13DimstyleBody {
    CDB_DIMSTYLE_TBL_type record;
    uint32_t object_bits;
    // The code of the text style reference; its value is `record.dimtxsty` as text.
    int16_t text_style_code;
};

struct R13BlockBody {
    CDB_BLOCK_TBL record;
    uint32_t object_bits;
    CDB_POINT3 base_point;
    char *xref_path;
    int16_t in_model_flag;
    int16_t is_xref_block;
};

// The viewport entity header has no public record: what the lookups need.
struct R13VpEntHdrRecord {
    char *name;
    char *handle;
    uint8_t flags;
    uint8_t entry_code;
};
struct R13VpEntHdrBody {
    R13VpEntHdrRecord record;
    uint32_t object_bits;
};

// The record class of body `Body`: the body's record is what GetRecord hands out.
template <typename Body> class CR13RecordOf : public CR13TableRecord {
public:
    using Record = decltype(Body::record);
    ~CR13RecordOf() override {}
    Record &Rec() { return body.record; }
    const Record &Rec() const { return body.record; }

    Body body{};

protected:
    CR13RecordOf(CBaseDrawing *drawing, int16_t type, size_t flags_at, size_t flags_width,
                 size_t object_bits_at)
        : CR13TableRecord(drawing, type, &body, sizeof(Body),
                          Shape{offsetof(Record, name), offsetof(Record, handle), flags_at,
                                flags_width, object_bits_at, sizeof(Record)}) {}
};

// A record whose body is one layout from the head to the end (view, UCS, application name).
template <typename Body> class CR13PlainRecord : public CR13RecordOf<Body> {
public:
    CR13PlainRecord(CBaseDrawing *drawing, int16_t type, const R13Layout &layout)
        : CR13RecordOf<Body>(drawing, type, offsetof(decltype(Body::record), flags), 1,
                             offsetof(Body, object_bits)),
          layout(layout) {}
    ~CR13PlainRecord() override { ReleaseOwned(); }

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override { this->ReleaseTexts(layout); }
    void DuplicateOwned() override { this->DuplicateTexts(layout); }

private:
    R13Layout layout;
};

class CR13LayerRecord : public CR13RecordOf<R13Body<CDB_LAYER_TBL_type>> {
public:
    explicit CR13LayerRecord(CBaseDrawing *drawing);
    ~CR13LayerRecord() override { ReleaseOwned(); }
    // The public flags from the raw byte: raw 0x80 gives 0x40, 0x08 gives 1, 0x01 gives 4,
    // and raw 0x04 negates the colour.
    static void ConvertLayerFlags(CDB_LAYER_TBL_type &record);

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;
};

class CR13LtypeRecord : public CR13RecordOf<R13Body<CDB_LTYPE_TBL_type>> {
public:
    explicit CR13LtypeRecord(CBaseDrawing *drawing);
    ~CR13LtypeRecord() override { ReleaseOwned(); }
    // The dash count is one byte in the object.
    const char *PassedFormLimit() const override;

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;

private:
    int ReadDashes(CBitStream &stream);
    void WriteDashes(CBitWriter &writer) const;
};

class CR13StyleRecord : public CR13RecordOf<R13Body<CDB_STYLE_TBL_type>> {
public:
    explicit CR13StyleRecord(CBaseDrawing *drawing);
    ~CR13StyleRecord() override { ReleaseOwned(); }
    // The name under which the shape table is asked for a font file: the base name, ".shx"
    // added when there is no extension, upper case; "" for a null or empty text.
    static std::string FontName(const char *font_file);
    // Attaches the style's font through the drawing's shape table. `known` is the record of
    // the same table with the same handle, or null: a new handle loads the font (falling
    // back to "TXT.SHX"); a known one keeps its slot unless the font file differs, in which
    // case the font is loaded again. 1, or 0 when no font could be loaded.
    int AttachFont(const CR13StyleRecord *known);
    // The style's slot in the shape table, -1 when none.
    int ShapeIndex() const { return shape_index; }

protected:
    // The style's object opens Skip(2, 2) and an RC type: the BS in its one-byte form.
    void ReadFrameStart(CBitStream &stream) override;
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;

private:
    int LoadFont();
    int shape_index = -1;
};

class CR13VportRecord : public CR13RecordOf<R13Body<CDB_VPORT_TBL_type>> {
public:
    explicit CR13VportRecord(CBaseDrawing *drawing);
    ~CR13VportRecord() override { ReleaseOwned(); }

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;
};

class CR13DimstyleRecord : public CR13RecordOf<R13DimstyleBody> {
public:
    explicit CR13DimstyleRecord(CBaseDrawing *drawing);
    ~CR13DimstyleRecord() override { ReleaseOwned(); }

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;
};

class CR13MlineStyleRecord : public CR13RecordOf<R13Body<CDB_MLINESTYLE_TBL_type>> {
public:
    explicit CR13MlineStyleRecord(CBaseDrawing *drawing);
    ~CR13MlineStyleRecord() override { ReleaseOwned(); }
    // The flags as the file holds them and as the record does: the bit groups 0x4440 and
    // 0x2220 trade places when only one of them is present, and the two low bits swap.
    static int16_t FlagsFromFile(int16_t stored);
    static int16_t FlagsToFile(int16_t flags);

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;

private:
    int ReadElements(CBitStream &stream);
    void WriteElements(CBitWriter &writer) const;
};

class CR13BlockRecord : public CR13RecordOf<R13BlockBody> {
public:
    explicit CR13BlockRecord(CBaseDrawing *drawing);
    ~CR13BlockRecord() override { ReleaseOwned(); }

    // What the block start takes from its header.
    uint8_t BlockFlags() const { return body.record.flags; }
    const CDB_POINT3 &BasePoint() const { return body.base_point; }
    const char *XrefPath() const { return body.xref_path; }
    int InModelFlag() const { return body.in_model_flag; }
    int IsXrefBlock() const { return body.is_xref_block; }
    // The seven references: the three of every record, then these four.
    const CHandleRef &Ref(int i) const { return body.record.links.refs[i]; }
    std::string FirstEntity() const { return R13HandleText(Ref(3).value); }
    std::string FirstHandle() const { return R13HandleText(Ref(4).value); }
    std::string LastHandle() const { return R13HandleText(Ref(5).value); }
    std::string EndBlock() const { return R13HandleText(Ref(6).value); }

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;

private:
    void ReadNameAndFlags(CBitStream &stream);
    void WriteNameAndFlags(CBitWriter &writer) const;
};

// The viewport entity header: its head is decoded for the name and the handle, and the
// object is kept as read and written back unchanged.
class CR13VpEntHdrRecord : public CR13RecordOf<R13VpEntHdrBody> {
public:
    explicit CR13VpEntHdrRecord(CBaseDrawing *drawing);
    ~CR13VpEntHdrRecord() override { ReleaseOwned(); }
    void WriteDWG(CBitWriter &writer) const override;
    const std::vector<uint8_t> &Raw() const { return raw; }

protected:
    int Decode(CBitStream &stream) override;
    void Encode(CBitWriter &writer) const override;
    void KeepObject(const uint8_t *object, size_t size) override;
    void ReleaseOwned() override;
    void DuplicateOwned() override;

private:
    std::vector<uint8_t> raw;
};

using CR13ViewRecord = CR13PlainRecord<R13Body<CDB_VIEW_TBL_type>>;
using CR13UcsRecord = CR13PlainRecord<R13Body<CDB_UCS_TBL_type>>;
using CR13AppidRecord = CR13PlainRecord<R13AppidBody>;

// An empty record object of `record_type`, or null for a type that has no table.
CR13TableRecord *MakeR13TableRecord(CBaseDrawing *drawing, int16_t record_type);

// The (handle, file position) pairs of the objects that stand behind the tables and are
// carried through a save without being decoded.
using R13CarriedObjects = std::vector<std::pair<uint32_t, int32_t>>;

// The manager of one table: its control object and its records in file order.
class CR13Table {
public:
    // `table_number` is the list's number (the table's position in the loader's order).
    CR13Table(CBaseDrawing *drawing, int16_t record_type, int16_t table_number);
    ~CR13Table() = default;
    CR13Table(const CR13Table &) = delete;
    CR13Table &operator=(const CR13Table &) = delete;

    int16_t RecordType() const { return record_type; }
    // The type of the control object; 0 for the multiline styles, which have none.
    int16_t ControlType() const;

    // Makes and decodes one record from an object; null when the object does not decode.
    // A text style attaches its font here.
    CR13TableRecord *CreateRecord(const uint8_t *object);
    // Reads the control object at the walk's place and the records behind it. 0; -123
    // when an object cannot be read or decoded. The object that ended the table (the next
    // table's control object) is read again by the next table: the position is put back.
    int Read(CR13ObjectWalk &walk);
    // The same in the file's order from the file's read position.
    int Read(CDrawingFile &file);
    // The update of a record by a later object: a record with the same handle is replaced
    // in place, an unknown handle is appended; viewports are always appended. 1, or 0
    // when the object does not decode.
    int UpdateRecord(const uint8_t *object);
    // Writes the control object.
    void WriteHead(CBitWriter &writer) const { head.Write(writer, record_type); }

    // Lookups; they walk the list.
    const char *HandleOfName(const char *name) const;
    const char *HandleAt(int index) const;
    CR13TableRecord *FindByHandle(const char *text) const;
    CR13TableRecord *RecordAt(int index) const { return records.At(index); }
    const char *NameAt(int index) const;
    int IndexOfName(const char *name) const;
    // The position of the record with that handle, or -1. The line type table answers the
    // stored handle of layer "0" (see SetLayerZeroHandle) with the negative layer base,
    // without a search.
    int16_t IndexOfHandle(const char *text) const;
    void SetLayerZeroHandle(const char *text, int32_t layer_base);

    // The records whose name has a "|" behind its first character are removed.
    // Whether a name is a symbol of an external reference: a "|" behind its first character.
    static bool IsXrefSymbol(const char *name) {
        return name && name[0] && std::strchr(name + 1, '|') != nullptr;
    }
    void RemoveXrefSymbols();

    // The multiline style table only: the walk over the objects behind the ninth table.
    // The objects up to the first multiline style go to `carried` as (handle, position);
    // then the multiline styles are read until another object, an empty one or the end of
    // the file. The position is put back on the last object looked at. 0, or -123 when the
    // file ends before a multiline style or an object cannot be read.
    int ReadBehindTables(CR13ObjectWalk &walk, R13CarriedObjects &carried);
    // The same in the file's order from the file's read position.
    int ReadBehindTables(CDrawingFile &file, R13CarriedObjects &carried);

    // Takes a record that was decoded elsewhere (the block headers of the first pass): it
    // goes to the end of the list, and the count hint grows.
    void AddRecord(CR13TableRecord *record);

    CR13TableHead head;
    CTableListOf<CR13TableRecord> records;
    int16_t count_hint = 0;

private:
    // The index of the first record of each handle value, brought up to date before use:
    // records added since are entered, any other change of the list builds it anew.
    void RefreshHandleIndex() const;
    int FirstWithHandle(const char *text) const;

    CBaseDrawing *drawing;
    int16_t record_type;
    std::string layer_zero_handle;
    int32_t layer_base = 0;
    mutable std::unordered_map<uint32_t, int> handle_index;
    mutable uint32_t handle_index_changes = 0;
    mutable int handle_index_count = 0;
};

#endif
