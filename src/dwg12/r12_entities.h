// The entities of a release 12 drawing: one small class per kind, each a CModelEntity
// that the drawing's lists (src/model) hold, with the kind's DWG and DXF forms.
#ifndef VELKO_R12_ENTITIES_H
#define VELKO_R12_ENTITIES_H

#include "velkow32.h"

#include "model/entity_list.h"
#include "model/model_entity.h"
#include "model/viewport_chain.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CDxfStream;
class CR12Drawing;
class CR12DxfReader;
struct R12EntityLayout;
struct R12BodyReader;
struct R12DxfGroup;
struct R12DxfWriteContext;

// One entity of release 12: beside its record it owns the blocks that the record points
// at (handle, extended data, texts, frozen layers), all of malloc. Which texts of the kind's
// part it owns is said by the kind's row in the registry (records/entity_kinds.h).
//
// The body of every kind is described as data (r12_entity_layout.h): ReadDWG of a kind
// reads the frame by its layout, through ReadByLayout.
class CR12Entity : public CModelEntity {
public:
    CR12Entity(CR12Drawing *drawing, int16_t code);
    ~CR12Entity() override;
    void SetOwner(CR12Drawing *owner) { drawing = owner; }

    // Decodes one frame at the file's position. `next_code` receives the code of the
    // frame behind it, or 0x20 when there is none. Status: 1 good, 0 failure, -2 end of
    // the section.
    virtual short ReadDWG(uint8_t &next_code) = 0;
    // Reads the entity's groups from the stream of `reader` (src/dxf). `name` (a value
    // buffer of the stream's size) holds the kind's DXF name on entry and, on return, the
    // value of the group 0 that ended the entity. 1; 0 when `name` is not the kind's own
    // name (nothing is read); -1 when the file ended inside the entity.
    virtual int ReadDXF(CR12DxfReader &reader, char *name);
    // Copies the record out to the caller: the common part and the kind's part. In list
    // mode the texts are the caller's own copies (malloc), and a shape is checked against
    // the shape table first.
    void GetRecord(CDB_ENTITY *out) override;

    // Takes a public record in (the edit functions): the common part and the kind's part
    // are copied, and the object makes copies of its own of everything the record points
    // at (handle, extended data, texts, frozen layers); release 13 references are not
    // taken. The caller's record is not touched.
    void SetRecord(const CDB_ENTITY *in) override;
    // Builds the entity's whole DWG frame into `frame` (resized to fit): the head, the
    // common fields with their presence bits, the kind's fields by its layout, and the
    // CRC. 1, or 0 when the entity cannot be written (a frame above 32767 bytes).
    virtual int EncodeDWG(std::vector<uint8_t> &frame);
    // Writes the entity's groups to a DXF file: group 0, the common groups, the kind's
    // groups and the extended data. 1, or 0 when a write fails.
    virtual int WriteDXF(R12DxfWriteContext &context);

    CR12Drawing *Drawing() const { return drawing; }
    // The kind's body layout; null for a class without one.
    const R12EntityLayout *Layout() const { return layout; }
    // The file position of the frame that was read (behind any jump), -1 before a read.
    int32_t FilePosition() const { return file_position; }

protected:
    // Reads the frame of the layout's code: the common part, the kind's fields and the
    // kind's rules, then the ending (the peek at the next frame). Status as ReadDWG.
    short ReadByLayout(uint8_t &next_code);
    // The object's own i32 of the layout's kI32 field.
    virtual void StoreObjectI32(int32_t) {}
    // The inverse of StoreObjectI32: the i32 that the writer puts in the frame.
    virtual int32_t ObjectI32() const { return 0; }
    // The extended data that the DWG frame carries, `size` bytes, or null for none: the
    // record's block for most kinds. A class that builds its block anew builds it into
    // `scratch` (r12_entity_write.cpp).
    virtual const uint8_t *ExtendedDataForDWG(std::vector<uint8_t> &scratch, size_t &size) const;
    // A block name that a DXF group gives (insert, dimension): kept by the object.
    virtual void KeepBlockName(const char *) {}
    // The kind's own step after its DXF groups.
    virtual void AfterReadDxf() {}
    // Frees the blocks the record points at (handle, extended data, the kind's owned texts)
    // and nulls their pointers.
    void ReleaseOwned();
    // One group of the kind's DXF layout into the record.
    void ReadDxfGroup(const CDxfStream &stream, const R12DxfGroup &group, const char *value);

    CR12Drawing *drawing;
    const R12EntityLayout *layout = nullptr;
    int32_t file_position = -1;

private:
    // The common fields at the body's start (r12_frames.cpp). False when the body is too
    // short for what its flags announce.
    bool DecodeCommon(const uint8_t head[8], R12BodyReader &body, bool &three_d);
    bool DecodeFields(const uint8_t head[8], R12BodyReader &body, bool three_d);
};

// The kinds that need nothing beyond their layout.
class CR12PlainEntity : public CR12Entity {
public:
    CR12PlainEntity(CR12Drawing *drawing, int16_t code);
    short ReadDWG(uint8_t &next_code) override { return ReadByLayout(next_code); }
};

class CR12Line : public CR12PlainEntity {
public:
    // Codes 1 and 21; both ask the frame reader for code 1.
    CR12Line(CR12Drawing *drawing, int16_t code = 1) : CR12PlainEntity(drawing, code) {}
};
class CR12Point : public CR12PlainEntity {
public:
    explicit CR12Point(CR12Drawing *drawing) : CR12PlainEntity(drawing, 2) {}
};
class CR12Circle : public CR12PlainEntity {
public:
    explicit CR12Circle(CR12Drawing *drawing) : CR12PlainEntity(drawing, 3) {}
};
class CR12Text : public CR12PlainEntity {
public:
    explicit CR12Text(CR12Drawing *drawing) : CR12PlainEntity(drawing, 7) {}
};
class CR12Arc : public CR12PlainEntity {
public:
    explicit CR12Arc(CR12Drawing *drawing) : CR12PlainEntity(drawing, 8) {}
};
class CR12Trace : public CR12PlainEntity {
public:
    explicit CR12Trace(CR12Drawing *drawing) : CR12PlainEntity(drawing, 9) {}
};
class CR12Solid : public CR12PlainEntity {
public:
    explicit CR12Solid(CR12Drawing *drawing) : CR12PlainEntity(drawing, 11) {}
};
class CR12EndBlock : public CR12PlainEntity {
public:
    explicit CR12EndBlock(CR12Drawing *drawing) : CR12PlainEntity(drawing, 13) {}
};
class CR12AttDef : public CR12PlainEntity {
public:
    explicit CR12AttDef(CR12Drawing *drawing) : CR12PlainEntity(drawing, 15) {}
};
class CR12Attrib : public CR12PlainEntity {
public:
    explicit CR12Attrib(CR12Drawing *drawing) : CR12PlainEntity(drawing, 16) {}
};
class CR12Vertex : public CR12PlainEntity {
public:
    explicit CR12Vertex(CR12Drawing *drawing) : CR12PlainEntity(drawing, 20) {}
};
class CR12Face : public CR12PlainEntity {
public:
    explicit CR12Face(CR12Drawing *drawing) : CR12PlainEntity(drawing, 22) {}
};

// The shape: GetRecord first asks the shape table for the glyph; when the table has no
// such shape both shape_style_index and shape_number become -1 in the object's record.
class CR12Shape : public CR12PlainEntity {
public:
    explicit CR12Shape(CR12Drawing *drawing) : CR12PlainEntity(drawing, 4) {}
    void GetRecord(CDB_ENTITY *out) override;
};

// The block start frame (code 12). It is read into a temporary object whose content then
// moves to the block (CModelBlock): ReleaseRecordTo hands the record's blocks over.
class CR12BeginBlock : public CR12PlainEntity {
public:
    // Its owned texts are the xref path, the name and the second name: in list mode all
    // three are the caller's copies.
    explicit CR12BeginBlock(CR12Drawing *drawing) : CR12PlainEntity(drawing, 12) {}
    // Copies the common part and the block part to `out` and gives up the blocks they
    // point at (handle, extended data, xref path, name, second name): `out` owns them.
    void ReleaseRecordTo(CDB_STARTBLOCK_ENTITY_type *out);
};

class CR12SeqEnd : public CR12PlainEntity {
public:
    explicit CR12SeqEnd(CR12Drawing *drawing) : CR12PlainEntity(drawing, 17) {}
    int32_t OwnerPosition() const { return owner_position; }
    int32_t owner_position = 0;

protected:
    void StoreObjectI32(int32_t value) override { owner_position = value; }
    int32_t ObjectI32() const override { return owner_position; }
};

class CR12Polyline : public CR12PlainEntity {
public:
    explicit CR12Polyline(CR12Drawing *drawing) : CR12PlainEntity(drawing, 19) {}
};

// Insert and dimension know their block by index; a name kept by the DXF road is looked up
// in the block table by GetResolvedRecord (-1 plus the block base when it is not there).
class CR12BlockReference : public CR12PlainEntity {
public:
    CDB_ENTITY *GetResolvedRecord() override;
    void GetRecord(CDB_ENTITY *out) override;
    // A record taken in names its block by index: a name kept from a DXF file is dropped.
    void SetRecord(const CDB_ENTITY *in) override;
    std::string block_name;
    bool named = false;

protected:
    CR12BlockReference(CR12Drawing *drawing, int16_t code) : CR12PlainEntity(drawing, code) {}
    void KeepBlockName(const char *name) override {
        block_name = name;
        named = true;
    }
    // The record's field that holds the block index.
    virtual int16_t &BlockIndex(CDB_ENTITY &of) const = 0;
};

class CR12Insert : public CR12BlockReference {
public:
    explicit CR12Insert(CR12Drawing *drawing) : CR12BlockReference(drawing, 14) {}

protected:
    int16_t &BlockIndex(CDB_ENTITY &of) const override { return of.insert.block_index; }
};

// Group 2 of a dimension also clears the block index until the name is looked up.
class CR12Dimension : public CR12BlockReference {
public:
    explicit CR12Dimension(CR12Drawing *drawing) : CR12BlockReference(drawing, 23) {}

protected:
    void KeepBlockName(const char *name) override;
    int16_t &BlockIndex(CDB_ENTITY &of) const override { return of.dimension.block_index; }
};

// A viewport entity also belongs to the drawing's chain of viewports. Its view stands in
// its "MVIEW" extended data, unpacked into the record after the fields.
class CR12Viewport : public CR12PlainEntity {
public:
    explicit CR12Viewport(CR12Drawing *drawing);
    ~CR12Viewport() override;
    // Also keeps a copy of the frozen layer list of its own.
    void SetRecord(const CDB_ENTITY *in) override;
    CViewportLink *ViewportLink() override { return &link; }

    // The viewport's place in the drawing's chain; it leaves the chain when it goes.
    CViewportLink link{this};

protected:
    // The view stands in the "MVIEW" extended data, as in a DWG.
    void AfterReadDxf() override;
    // The "MVIEW" block packed from the record, followed by what the stored block holds
    // behind its MVIEW part.
    const uint8_t *ExtendedDataForDWG(std::vector<uint8_t> &scratch, size_t &size) const override;
};

// Unpacks the "MVIEW" extended data of a viewport (`eed`, `size` bytes) into `viewport`,
// at the block's fixed places; what lies beyond the block stays as it is. The frozen layer
// list becomes a new array (malloc) in `frozen_layers` when it is not empty. The result is
// the place in the block behind the frozen layer list's closing brace, where the walk ends
// (beyond `size` when the block is shorter than the walk); 0 without a block.
size_t R12UnpackMview(const uint8_t *eed, size_t size, CDB_VIEWPORT_type *viewport);

// The inverse of R12UnpackMview: the "MVIEW" extended data block of `viewport`, built
// from its fields in the one shape that R12UnpackMview reads (angles back to radians).
std::vector<uint8_t> R12PackMview(const CDB_VIEWPORT_type &viewport);

// Makes the object of the kind `code` by the kind table (r12_entity_kinds.h), or null for a
// code that has no class.
CR12Entity *MakeR12Entity(CR12Drawing *drawing, int code);

// The entity at `index` of a list of a release 12 drawing, null for a bad index. The lists
// of a release 12 drawing hold objects of MakeR12Entity alone.
inline CR12Entity *R12EntityAt(const CEntityList &list, int index) {
    return static_cast<CR12Entity *>(list.At(index));
}

#endif
