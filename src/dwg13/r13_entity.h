// The entities of a release 13 drawing: one object per entity, a CModelEntity that the
// drawing's lists (src/model) hold, with the common head and the handle trailer that every
// entity object of the file shares.
//
// An entity object of the file is: the common head (size, type, handle, extended data,
// the size in bits, the mode bits, colour, line type scale, invisibility), the kind's own
// data, and the handle trailer (owner, extension dictionary, layer, line type, previous and
// next entity), sometimes followed by handles of the kind. CR13Entity reads and writes the
// head and the trailer; a kind's class adds its data and its handles through the hooks
// ReadBody / WriteBody and ReadKindHandles / WriteKindHandles.
//
// References are read as handle texts and resolved to table indices (plus the drawing's
// bases) at the first request for the record, once.
#ifndef VELKO_R13_ENTITY_H
#define VELKO_R13_ENTITY_H

#include "velkow32.h"

#include "model/model_entity.h"

#include <cstdint>
#include <vector>

class CBitStream;
class CBitWriter;
class CR13Drawing;
class CR13DxfReader;
class CR13DxfWriter;
struct CR13Block;

// The bits of an object from a position to the end of its data, kept as read so that a
// writer can give them back unchanged.
class CR13KeptBits {
public:
    // Takes the bits of `stream` (a copy: its position does not move) from its position to
    // the end of the object's data (the object's size less its two check bytes).
    void Take(CBitStream stream);
    // Writes them as they were read.
    void Put(CBitWriter &writer) const;
    bool Empty() const { return count == 0; }
    void Clear() {
        bytes.clear();
        count = 0;
    }

private:
    std::vector<uint8_t> bytes;
    uint32_t count = 0;
};

class CR13Entity : public CModelEntity {
public:
    // An entity of the public kind `code` of `drawing` (which may be null in tests: nothing
    // is then resolved and the paper space flag goes nowhere).
    CR13Entity(CR13Drawing *drawing, int16_t code);
    ~CR13Entity() override;

    // Decodes one entity object, the stream standing at the object's first byte (its size
    // field): the common head, the kind's data, the trailer and the kind's handles. The
    // record's entity_type then holds the public kind. 1, or 0 for an object that failed.
    virtual int ReadDWG(CBitStream &stream);
    // Encodes the whole object into `writer` (a fresh one): two bytes for the size, the
    // type, the head, the kind's data, the trailer, the kind's handles, the alignment, the
    // check 0xFFFF, and the size patched in front. The mirror of ReadDWG.
    void WriteDWG(CBitWriter &writer) const;

    // Reads the entity's groups from a DXF file of this release (src/dxf): `name` holds the
    // group 0 value that named the kind. 1 when read, `name` then holding the value of the
    // group 0 that ended the entity; 0 when `name` is not this kind's (nothing read); -1
    // when the file ended inside the entity.
    virtual int ReadDXF(CR13DxfReader &reader, char *name);
    // Writes the entity's groups to a DXF file of this release (src/dxf): group 0 with the
    // kind's name, the common groups (WriteCommonDxf) and the kind's groups, walking the
    // same group lists the reader goes by. Non-zero, or 0 when a group cannot be written or
    // the kind has no DXF writer (3DSOLID, BODY, REGION, OLEFRAME).
    int WriteDXF(CR13DxfWriter &writer) const;
    // The groups every entity shares: 5, the marker "AcDbEntity", 8, 6, 62, 48, 67.
    int WriteCommonDxf(CR13DxfWriter &writer) const;

    // The head: size (dropped), type (into entity_type), handle, extended data, the size in
    // bits, the mode bits, colour, line type scale, invisibility; the extrusion becomes
    // 0, 0, 1. 1, or -123 when the extended data fails.
    int ReadCommon(CBitStream &stream);
    // The tolerant road of the head (CDB_READ_OBJECT_HEADS): the two bits behind the mode
    // bits are the code of a count of reactors, whose handles stand behind the owner in the
    // trailer. A count of the one-byte form (the code 0 1) is taken when the rest of the
    // object can hold that many handles; the record's two bits then say "no reactors", so
    // that a copy of the record written as a new object is whole.
    void ReadReactorCount(CBitStream &stream);
    // The trailer: owner (when has_owner), dictionary, layer, line type (unless by layer),
    // previous and next (unless no_links), whose values are also kept as texts.
    void ReadCommonHandles(CBitStream &stream);
    // The extended data: chunks of a BS size, a marker 0x51 to 0x58 whose low bits count
    // the application handle's bytes, those bytes and `size` bytes of values, appended to
    // eed_data as they stand until a size below 1. 0, or -123 for a marker outside its
    // range or a block that would reach 64 KB.
    int ReadEed(CBitStream &stream);
    void WriteCommon(CBitWriter &writer) const;
    void WriteCommonHandles(CBitWriter &writer) const;
    // Cuts eed_data back into chunks: a chunk runs from its marker to the next one (the
    // values are walked by their lengths only), and goes out as its BS size and its bytes.
    // A BS 0 ends the data.
    void WriteEed(CBitWriter &writer) const;

    // The value for the object's size field of the kind, from the bits the record's values
    // take; see EncodeObjectBits. The kind adds its own share through KindBits.
    uint32_t EstimateBits() const;
    // The encoding of a sum of bits into the size field's form.
    static uint32_t EncodeObjectBits(uint32_t bits);
    // A relative handle reference from handle `from` to handle `to` (hexadecimal texts).
    // The reference is left alone when the two are equal.
    static void MakeRelativeRef(const char *from, const char *to, CHandleRef &ref);

    // The record after its references have been resolved (once).
    CDB_ENTITY *GetResolvedRecord() override;
    // Copies the resolved record out; in list mode the texts are the caller's own copies.
    void GetRecord(CDB_ENTITY *out) override;
    // Takes a public record in: the object keeps copies of its texts and extended data.
    void SetRecord(const CDB_ENTITY *in) override;

    // Makes the object a new entity of `block` behind `previous` (null for the block's
    // first): the record is copied in, the layer's and the line type's handles come from
    // their tables by index, the entity takes the drawing's next handle, the links to and
    // from `previous` become relative references, the mode bits follow the block, and the
    // handle enters the object map. 1; -123 with -427 (no such layer) or -428 (no such line
    // type), or a code of PutKindHandles, the record then not taken.
    int SetNewRecord(const CDB_ENTITY *in, CR13Block &block, CR13Entity *previous);
    // Makes the object the replacement of `old` (an edit of an entity in its place): the
    // record is copied in and its layer and line type handles come from their tables by
    // index, as for a new entity; the handle, the links, the owner and the mode bits stay
    // those of `old`, whose place in its chain the object takes. 1; -123 with -427 or -428.
    int SetReplacingRecord(const CDB_ENTITY *in, const CR13Entity &old);

    // Gives the record to the application (view mode hands records to EntityCall and
    // BlockCall): from then on the record is the application's, with everything it points
    // at, and the destructor frees none of it. The record, resolved.
    CDB_ENTITY *HandOver();
    bool HandedOver() const { return handed_over; }

    CR13Drawing *Drawing() const { return drawing; }
    // The object type of the file (a kind may have several: 7 or 8 for TEXT, ...).
    int16_t FileType() const { return file_type; }
    void SetFileType(int16_t type) { file_type = type; }
    const char *PreviousText() const { return previous_text; }
    const char *NextText() const { return next_text; }

    // 1 if the object is a member of a block, not of a space: its two mode bits are 0.
    int32_t block_owned = 0;
    // 1 if it was added by editing rather than read from the file.
    int32_t is_unlinked = 0;

protected:
    // The kind's data between the head and the trailer: 1, or 0 for a failed object.
    virtual int ReadBody(CBitStream &) { return 1; }
    virtual void WriteBody(CBitWriter &) const {}
    // A kind that keeps its data as read (its body and trailer) writes it here and gives
    // true; the writer then leaves out the body, the trailer and the kind's handles.
    virtual bool WriteDataAsRead(CBitWriter &) const { return false; }
    // Handles of the kind behind the trailer.
    virtual void ReadKindHandles(CBitStream &) {}
    virtual void WriteKindHandles(CBitWriter &) const {}
    // The kind's share of EstimateBits: its constant, its doubles, texts and handles.
    virtual uint32_t KindBits() const { return 0; }
    // Resolves the kind's own references (text style, block, ...).
    virtual void ResolveKind() {}
    // Frees the blocks the record points at and nulls them.
    void ReleaseOwned();
    // The handle texts of the record's layer and line type by their indices ("-1" for
    // BYLAYER): true; false with -427 or -428 when the table has no such record.
    bool TableHandlesOf(const CDB_ENTITY &in, const char *&layer, const char *&line_type) const;
    // Puts the two handle texts (copies) and the BYLAYER flag into the record.
    void PutTableHandles(const char *layer, const char *line_type);
    // The handle texts of the kind's other references (text style, block, dimension style,
    // multiline style) from their tables by index: true; false with -429, -430, -431 or
    // -432 for an index the table does not have (an index of -1 with a handle text, a
    // reference the load did not resolve, keeps its text).
    bool PutKindHandles();

    CR13Drawing *drawing;
    int16_t file_type;
    // The reactors of the head, read on the tolerant road of CDB_READ_OBJECT_HEADS (see
    // ReadReactorCount): the count's 2-bit code as the file gave it, -1 when it was not read
    // (the record then holds the two bits as the original reader takes them), the count
    // until the handles are read, and the handles, written back as they were read.
    int8_t reactor_code = -1;
    uint32_t reactor_count = 0;
    std::vector<CHandleRef> reactors;
    char previous_text[32] = {};
    char next_text[32] = {};
    int32_t resolved = 0;
    bool handed_over = false;
};

// The kinds whose objects hold nothing beyond the head and the trailer: the block end
// (ENDBLK) and the sequence end (SEQEND).
class CR13PlainEntity : public CR13Entity {
public:
    CR13PlainEntity(CR13Drawing *drawing, int16_t code, int16_t type, uint32_t constant_bits);

protected:
    uint32_t KindBits() const override { return constant_bits; }

private:
    uint32_t constant_bits;
};

#endif
