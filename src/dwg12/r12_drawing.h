// A drawing of release 12: DWG "AC1009" (and, through the DXF reader, DXF "AC1009").
//
// The lists, the walks and the deleting of entities are CListDrawing's (src/model); this
// class keeps what is release 12's own: the file and its layout (trailer, header block,
// the ten tables, the entity and block sections read frame by frame), the tables' file
// forms, the edits that make release 12 records, saving, and external references.
#ifndef VELKO_R12_DRAWING_H
#define VELKO_R12_DRAWING_H

#include "dwg12/r12_entities.h"
#include "dwg12/r12_header.h"
#include "dwg12/r12_tables.h"
#include "model/list_drawing.h"

#include <memory>
#include <string>
#include <vector>

// The reader of a DXF load (src/dxf), which the drawing holds only while there is
// something left to read.
class CR12DxfReader;
struct CR12DxfReaderDeleter {
    void operator()(CR12DxfReader *reader) const;
};

class CR12Drawing : public CListDrawing {
public:
    enum FileKind { kNone = -1, kDwg = 0, kTextDxf = 1, kBinaryDxf = 2 };

    CR12Drawing(CLibDrawing *owner, int view_flag);
    ~CR12Drawing() override;

    // ---- The file and the tables (r12_drawing.cpp) -----------------------------------------
    // Opens `name` in `mode` as a DWG of this release: 1, or 0 with the code set.
    int OpenDWG(const char *name, CDB_OPEN_MODE mode);
    // Takes `opened`, a file that the open sniff found to begin with "AC1009", and goes on
    // as OpenDWG does after its own open.
    int OpenDWGFrom(std::unique_ptr<CDrawingFile> opened, const char *name);
    // Opens `name` as a DXF of this release, as the DXF sniff judges it (src/dxf): 1, or 0
    // with -400, -401, -404 for a binary file of another release, -405 for anything else.
    int OpenDXF(const char *name, CDB_OPEN_MODE mode);
    // Takes `opened`, a file that the sniff found to be a DXF of this release in form
    // `kind` (kTextDxf or kBinaryDxf), positioned where its groups begin: 1, or 0 with
    // -400 when a file is open already.
    int OpenDXFFrom(std::unique_ptr<CDrawingFile> opened, const char *name, int kind);
    int FileKind() const { return file_kind; }
    CDrawingFile *File() { return file.get(); }
    CR12Header &Header() { return header; }
    CR12TableList &Table(int t) { return *tables[t]; }

    int CloseDWGFile() override;
    int LoadDWG() override;
    int LoadDXF() override;
    int TriggerLoading() override;
    void LoadEntities() override;
    CDB_HEADER_type *GetAllVars() override;
    char *GetFileName() override;
    const std::string &GetAcadVersion() override;
    short GetVariableValue(const char *name, CDB_VAR_VALUE_type *value) override;

    int StyleShapeIndex(int index) override {
        return R12StyleShapeIndex(Table(kR12Styles).At(index));
    }

    // Moves the file's read position back to the start: 1, or 0 with -406 / -403.
    int Rewind();

    // ---- Entities and blocks of the DWG (r12_frames.cpp, r12_blocks.cpp) -------------------
    // Reads the next frame of the entity stream: erased frames are skipped and jumps are
    // followed. With `peek` the position is left on the frame and null comes back. Status
    // 1 good, 0 read failure or a code other than `wanted`, -2 end of the section.
    uint8_t *ReadFrame(uint8_t header[8], bool peek, int wanted, short &status);
    // Reads the block section into `blocks`: 1, -1 on a failed seek, 0 when already read.
    int LoadBlockSection();
    // Reads one block definition at the file's position into `block` (list mode) or
    // hands its entities out (view mode).
    void ReadBlockDefinition(CModelBlock &block, const char *table_name, uint8_t table_flags);
    // The block of block table record `index` into `block`: a deleted record gives flags
    // 128 and no list; otherwise an anonymous name ("*...") gets the next anonymous number
    // appended (in the table too), the file goes to the block's entities, `block_number`
    // goes to the progress counter and up by one, and the definition is read, into a new
    // list in list mode. 1, or 0 for an index outside the table. The frame reader's
    // allowance is not renewed here: a caller that reads one block on its own calls
    // ArmFrameBudget() first.
    int ReadTableBlock(int index, CModelBlock &block, int16_t &block_number);
    // Reads the main entity section into `entities` (view mode: hands the records out).
    // 1 read to its end; -1 broken, truncated or refused; 0 the list was not empty;
    // another status of the first frame (-2 for an empty section).
    int LoadEntitySection();
    // Gives the viewports of the viewport list their vx_index from the viewport entity
    // header table.
    void HandOutViewportHeaders();
    // Positions of the trailer.
    uint32_t EntitiesStart() const;
    uint32_t EntitiesEnd() const;
    uint32_t BlocksStart() const;
    uint32_t ExtraStart() const;
    // Renews the frame reader's allowance: a load may read at most about four frame
    // heads for every 8 bytes of the file, plus `extra`. Every valid file stays far
    // below it; a damaged one whose jumps or block offsets make the reader go round in
    // circles gets read failures when it is used up, so that no load goes on for ever.
    void ArmFrameBudget(int64_t extra = 0);

    // View mode: reads block `index` and hands its entities to the application; a
    // reference block hands out its drawing's model space. The block's record, or null.
    CDB_STARTBLOCK_ENTITY_type *LoadBlock(int index) override;

    // ---- External references (src/views/r12_xref.cpp) ------------------------------------
    // Loads the drawing that block `block_index` refers to and merges it into this one:
    // 1 done, 0 not a reference, an index above the count, or the file not loaded.
    int ResolveXREF(int block_index) override;
    // Copies the block's stored reference path: 1, or 0 when it is not a reference.
    int GetXrefPath(short block_index, char *buffer) override;

    // ---- Editing (r12_edit.cpp) ----------------------------------------------------------
    int LayerTableDelete(short index) override;
    int LineTypeTableDelete(short index) override;
    int StyleTableDelete(short index) override;
    int VportTableDelete(short index) override;
    int ViewTableDelete(short index) override;
    int UCSTableDelete(short index) override;
    int AppidTableDelete(short index) override;
    int DimStyleTableDelete(short index) override;
    short LayerTableAdd(CDB_LAYER_TBL_type *record) override;
    short LineTypeTableAdd(CDB_LTYPE_TBL_type *record) override;
    short StyleTableAdd(CDB_STYLE_TBL_type *record) override;
    short VportTableAdd(CDB_VPORT_TBL_type *record) override;
    short ViewTableAdd(CDB_VIEW_TBL_type *record) override;
    short UCSTableAdd(CDB_UCS_TBL_type *record) override;
    short AppidTableAdd(CDB_APPID_TBL_type *record) override;
    short DimStyleTableAdd(CDB_DIMSTYLE_TBL_type *record) override;
    short LayerTableModify(short index, CDB_LAYER_TBL_type *record) override;
    short LineTypeTableModify(short index, CDB_LTYPE_TBL_type *record) override;
    short StyleTableModify(short index, CDB_STYLE_TBL_type *record) override;
    short VportTableModify(short index, CDB_VPORT_TBL_type *record) override;
    short ViewTableModify(short index, CDB_VIEW_TBL_type *record) override;
    short UCSTableModify(short index, CDB_UCS_TBL_type *record) override;
    short AppidTableModify(short index, CDB_APPID_TBL_type *record) override;
    short DimStyleTableModify(short index, CDB_DIMSTYLE_TBL_type *record) override;
    short BlockAdd(CDB_STARTBLOCK_ENTITY_type *block) override;
    short BlockTableAdd(CDB_BLOCK_TBL *record) override;
    short BlockModify(short index, CDB_STARTBLOCK_ENTITY_type *block) override;
    int BlockTableModify(short index, CDB_BLOCK_TBL *record) override;
    int SetVariableValue(const char *name, CDB_VAR_VALUE_type *value) override;
    short SetAllVariables(CDB_HEADER_type *header) override;

    // ---- Saving -------------------------------------------------------------------------
    // DWG (r12_save.cpp): SaveAsDWG writes to a new file and goes on with it as the
    // drawing's name; Save writes the drawing back to its own name in its own form. Both
    // write beside the target and replace it only with a complete file: a failed save
    // leaves the old file as it was and no new file behind.
    short SaveAsDWG(const char *name) override;
    short Save() override;
    // Writes all sections of a DWG into `file`, opened for writing: 1, or 0 when a write
    // fails.
    int WriteFile();
    // DXF (src/dxf/r12_dxf_save.cpp).
    short SaveAsDXF(const char *name, int binary) override;

protected:
    // Entity edits: objects of release 12's kinds, and the handle seed of the header as
    // the handle of a new entity (when handles are on), moved on once it is used.
    CModelEntity *MakeEntity(int16_t kind) override;
    void AssignNewHandle(CModelEntity &entity) override;
    void NewHandleUsed() override;

private:
    // Fills the record of `block` from the caller's `source` with copies of its own; the
    // name becomes `name` in a 32-byte block, and the handle `handle` (copied) where it is
    // not null.
    void FillBlockRecord(CModelBlock &block, const CDB_STARTBLOCK_ENTITY_type &source,
                         const char *name, const char *handle);

    // The steps of ResolveXREF.
    void MergeTablesOf(CR12Drawing &child);
    void AdoptModelSpaceOf(CR12Drawing &child, CModelBlock &block);
    // The block table record `index` and the number of them; a reference whose tables
    // were merged into a host looks them up in the host's table.
    CR12TableRecord *BlockTableRecord(int index);
    int BlockTableRecordCount();
    // Tells the table that holds the block table records that a name changed in place.
    void BlockTableNamesChanged();
    bool IsReferenceBlock(int index) const;
    // View mode: resolves the reference block `index`, hands the child's model space to
    // BlockCall and lets the child go; the block's record.
    CDB_STARTBLOCK_ENTITY_type *ShowReference(int index);
    // View mode while a reference is shown: whether block `index` is one of the child's,
    // and the child's LoadBlock of it.
    bool ForwardsToReference(int index) const;
    CDB_STARTBLOCK_ENTITY_type *ForwardToReference(int index);
    // The reference being shown in view mode, and the host whose tables took this
    // drawing's records.
    std::unique_ptr<CR12Drawing> xref_drawing;
    CR12Drawing *merged_into = nullptr;
    // Reads the ten tables in the order the file's layout asks for: 1, or 0 on failure.
    int LoadTables();
    // Reads and decodes the header block, leaving the read position where it was.
    int LoadHeader();
    // The release 12 table of each public table.
    CTableList *PublicTable(TableBase which) override;

    std::unique_ptr<CDrawingFile> file;
    std::string file_name;
    int file_kind = kNone;
    int header_loaded = 0;
    int tables_loaded = 0;
    int entities_loaded = 0;
    int blocks_loaded = 0;
    CR12Header header;
    std::unique_ptr<CR12TableList> tables[10];
    std::string acad_version;
    // The body of the last frame read: one buffer for all frames.
    std::vector<uint8_t> frame_body;
    int64_t frame_heads_left = 0;

    // ---- DXF (src/dxf) ---------------------------------------------------------------------
    friend class CR12DxfReader;
    // View mode: the ENTITIES section that the DXF load left for LoadEntities.
    void LoadDxfEntities();
    // A save to another file: the DXF reader, if any is left, reads nothing more.
    void DetachDxfReader(int binary);
    std::unique_ptr<CR12DxfReader, CR12DxfReaderDeleter> dxf_reader;
    // True while SaveAsDXF writes: a save asked for meanwhile (from a progress callback)
    // is refused.
    bool writing_dxf = false;
};

#endif
