// A drawing of release 13: DWG "AC1012" or DXF "AC1012", ASCII or binary.
//
// The lists, the walks and the table read-out are CListDrawing's (src/model); this class
// keeps what is release 13's own: the file and its layout (the head, the header section,
// the object map, the object area walked front to back), the tables with their control
// objects, the blocks with their headers, the extended data coding, and the resolution of
// handles to table indices.
//
// A load reads the whole drawing: the header variables, the object map, the blocks (a
// block header, its BLOCK, its entities and its ENDBLK, block after block behind the block
// control), the tables in their fixed order, and the objects behind them. It relies on the
// order in which the file's writer laid the objects out; a file laid out otherwise fails
// the load, and LoadFailure() says why.
#ifndef VELKO_R13_DRAWING_H
#define VELKO_R13_DRAWING_H

#include "dwg13/r13_block.h"
#include "dwg13/r13_entity.h"
#include "dwg13/r13_file_head.h"
#include "dwg13/r13_object_walk.h"
#include "model/list_drawing.h"
#include "records/eed_cursor.h"

#include <memory>
#include <string>
#include <vector>

class CDrawingFile;
class CObjectMap;
class CR13DxfReader;
class CR13DxfWriter;
class CR13Header;
class CR13Table;
class CR13TableRecord;

// The tables of a release 13 drawing, in the order in which the loader meets them after
// the block table (which the first pass reads).
enum class R13Table : uint8_t {
    kBlocks = 0,
    kLayers,
    kStyles,
    kLtypes,
    kViews,
    kUcs,
    kVports,
    kAppids,
    kDimstyles,
    kVpEntHdrs,
    kMlineStyles,
    kCount,
};
constexpr size_t kR13TableCount = static_cast<size_t>(R13Table::kCount);

// Deletes the DXF reader where its class is complete (src/dxf).
struct CR13DxfReaderDeleter {
    void operator()(CR13DxfReader *reader) const;
};

class CR13Drawing : public CListDrawing, private EedHandleResolver {
public:
    enum FileKind { kNone = -1, kDwg = 0, kTextDxf = 1, kBinaryDxf = 2 };

    CR13Drawing(CLibDrawing *owner, int view_flag);
    ~CR13Drawing() override;

    // Opens `name` as a DWG of this release: 1; 0 with -400 (a file is open), -401 (the
    // platform refused), -402 (the version could not be read); -123 with -404 for a file
    // that does not begin "AC1012".
    int OpenDWG(const char *name, CDB_OPEN_MODE mode);
    // Takes the file out of `opened`, a file that the open sniff found to be a DXF of
    // this release (`binary` non-zero: the binary form, its groups behind the sentinel),
    // positioned where its groups begin. 1; 0 with -400 when a file is open already, or
    // with "Invalid File." when `opened` holds no open file (it then stays with the
    // caller). The groups are read by LoadDWG (src/dxf/r13_dxf_load.cpp).
    int OpenDXFFrom(std::unique_ptr<CDrawingFile> &opened, const char *name, int binary);
    // The load of a DXF-opened drawing: both phases of the reader. 1; 0 when a section
    // cannot be read (LoadFailure() says why; a file that ends too early, or holds a group
    // the reader cannot go past, sets "Invalid File.").
    int LoadDXF() override;

    int FileKind() const { return file_kind; }

    int CloseDWGFile() override;
    // ---- Saving (r13_save_drawing.cpp) ------------------------------------------------------
    // Writes the drawing as a DWG of this release from its open source file, or from memory
    // alone for a drawing read from DXF (see r13_save.h). The file is written beside `name` and
    // takes the name only when complete, so a drawing may be saved under its own name and a failed
    // save leaves any file of that name as it was. On success the drawing reads from the new file
    // from then on: 0. -123 on failure: with -425 when an object could not be laid out (a polyline
    // followed by something other than its vertices), -401 when the file could not be written, -402
    // when the source could not be read.
    short SaveAsDWG(const char *name) override;
    // SaveAsDWG under the drawing's own name; only for a drawing read from DWG (a DXF's name
    // is not overwritten with a DWG): -123 with -402 otherwise.
    short Save() override;
    // Writes the drawing as a DXF "AC1012" (src/dxf/r13_dxf_save.cpp): HEADER, an empty
    // CLASSES, TABLES, BLOCKS, ENTITIES, then the input's own OBJECTS section and end mark
    // copied byte for byte for a drawing read from DXF, or a small OBJECTS section built
    // here. `binary` non-zero writes the binary form, which begins with its first group (no
    // sentinel). The drawing's name, file and input stay as they were. 0, or -123 at the
    // first group that cannot be written or at an entity kind that has no DXF writer (the
    // new file is then removed and any old file of that name stays as it was;
    // LastDxfSaveStop says which entity it was).
    short SaveAsDXF(const char *name, int binary) override;
    // The entity at which the last DXF save stopped: its kind's DXF name and its handle
    // text. Empty kind when the last save did not stop at an entity.
    struct DxfSaveStop {
        std::string kind;
        std::string handle;
    };
    const DxfSaveStop &LastDxfSaveStop() const { return dxf_save_stop; }
    void SetDxfSaveStop(const char *kind, const char *handle) {
        dxf_save_stop.kind = kind ? kind : "";
        dxf_save_stop.handle = handle ? handle : "";
    }
    // The three handle values of the dictionaries that a DXF save builds (root,
    // ACAD_GROUP, ACAD_MLINESTYLE); empty until a caller sets them, and the save then
    // chooses its own.
    std::vector<uint32_t> dxf_dictionary_handles;
    int LoadDWG() override;
    int TriggerLoading() override { return loaded ? 1 : 0; }
    // View mode: the records of the main list (LoadEntities) go, one by one and in list
    // order, to the application's EntityCall -- BlockCall for a drawing loaded as an external
    // reference -- and those of one block (LoadBlock) to BlockCall; each becomes the
    // application's, with all it points at, and the objects leave the list. REGION, 3DSOLID, BODY
    // and OLE frames are destroyed, not handed over. In list mode both leave the lists as they are.
    // LoadBlock gives the block's record, or null for an index outside the block list.
    void LoadEntities() override;
    CDB_STARTBLOCK_ENTITY_type *LoadBlock(int index) override;
    // Nothing to prepare: all is done while reading.
    int PrepareForView() override { return 1; }
    CDB_HEADER_type *GetAllVars() override;
    char *GetFileName() override;
    const std::string &GetAcadVersion() override;
    short GetVariableValue(const char *name, CDB_VAR_VALUE_type *value) override;
    int SetVariableValue(const char *name, CDB_VAR_VALUE_type *value) override;
    int GetMLineStyleTableCount() override;
    CDB_MLINESTYLE_TBL_type *GetMLineStyleTable(int index) override;

    // ---- External references (src/views/r13_xref.cpp) ------------------------------------
    // A block whose start carries the reference flag names another release 13 DWG. Resolving
    // loads it as a child drawing of this class, its indices shifted by this drawing's table
    // counts, and moves the child's records into this drawing's tables. 1 when resolved or
    // when the block is no reference; 0 when the file cannot be opened or loaded.
    int ResolveXREF(int block_index) override;
    // Copies the block's stored path: 1; 0 for a block that is no reference.
    int GetXrefPath(short block_index, char *buffer) override;

    // ---- Handles and tables ---------------------------------------------------------------
    // The index of the record with handle `handle` in the public table `which`, or -1 (the
    // drawing's base is not added).
    int IndexOfHandle(TableBase which, const char *handle) const;
    // The same plus the drawing's base of that table: the index a record hands out (-1 plus
    // the base for a handle the table does not know).
    int16_t ResolvedIndex(TableBase which, const char *handle) const {
        return static_cast<int16_t>(IndexOfHandle(which, handle) + Base(which));
    }
    CR13Table &Table(R13Table which) { return *tables[static_cast<size_t>(which)]; }
    CR13Header &Header() { return *header; }
    CObjectMap &ObjectMap() { return *object_map; }
    // The objects that the load met and did not decode, in the blocks' chains and behind
    // the tables: handle and file offset, in file order.
    CObjectMap &CarriedObjects() { return *carried_objects; }
    CDrawingFile *File() { return file.get(); }
    // Tests: makes `opened` the drawing's file, of the kind `kind`, as an open would.
    void AttachFile(std::unique_ptr<CDrawingFile> opened, int kind);
    const R13FileHead &FileHead() const { return file_head; }
    int32_t ObjectsStart() const { return objects_start; }
    // The stored handle of layer "0".
    const std::string &LayerZeroHandle() const { return layer_zero_handle; }

    // The extrusion and elevation of the polyline read last: the vertices behind it take
    // them. Before any polyline, 0 0 1 and 0.
    void SetPolylinePlane(const CDB_POINT3 &extrusion, double elevation) {
        polyline_extrusion = extrusion;
        polyline_elevation = elevation;
    }
    const CDB_POINT3 &PolylineExtrusion() const { return polyline_extrusion; }
    double PolylineElevation() const { return polyline_elevation; }

    // The handle a new object takes: the running handle seed, which moves on by one.
    std::string TakeNextHandle();

    // ---- Editing (r13_edit_tables.cpp, r13_edit.cpp) ---------------------------------------
    // Table records: Add upper-cases the caller's name, refuses a name a live record has
    // (-5; names beginning "*" always pass) and appends a record made from the caller's,
    // which takes a new handle (an object map entry, offset 0, for a DWG) and a place in
    // the table's control object: the new index. Modify replaces the record at an index
    // (1; -5 for a name another record has; -123 with -415 for no such index); the slot
    // keeps its handle. Delete is a Modify with the deleted flag: what it gives, 0 for no such
    // index.
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
    // Blocks: Add makes a block header (new handle, a place in the block control), the
    // block with its BLOCK and its ENDBLK (each a new handle), all in the object map for a
    // DWG: the block's index, the same in the table and in the block list; -5 for a name a
    // live block has or one beginning "*". Modify renames a block to a free name (0; -5
    // otherwise). BlockTableModify stores the flags of a block table record; the deleted
    // flag reaches the block itself, which the walks then pass by. 1, or 0.
    short BlockAdd(CDB_STARTBLOCK_ENTITY_type *block) override;
    short BlockTableAdd(CDB_BLOCK_TBL *record) override;
    short BlockModify(short index, CDB_STARTBLOCK_ENTITY_type *block) override;
    int BlockTableModify(short index, CDB_BLOCK_TBL *record) override;
    // Entities: Add checks the sequence, then makes the object of the record's kind as a
    // new entity of the block's chain (CR13Entity::SetNewRecord: -427, -428); Modify
    // makes the object that takes the old one's place, handle and links
    // (SetReplacingRecord); Delete and DeleteCurrent take the entity's handle out of the
    // object map as well.
    int32_t EntityAdd(short block, CDB_ENTITY *entity) override;
    short EntityModify(int32_t id, CDB_ENTITY *entity) override;
    short EntityDelete(int32_t id) override;
    short EntityDeleteCurrent() override;
    // The header takes every value of `source`; its texts are copied into the header's own
    // blocks and its handle texts duplicated.
    short SetAllVariables(CDB_HEADER_type *source) override;
    // The chain that new entities of the main list join: model space's block (a block kept
    // for that alone when the load left none).
    CR13Block &MainChain();
    // Gives a table record made by editing its handle and its place: the next handle, an
    // object map entry for a DWG, and a reference in the table's control object.
    void EnterNewRecord(CR13Table &table, CR13TableRecord &record);

    // Why the last load failed, in words; empty when it did not.
    const std::string &LoadFailure() const { return load_failure; }

    // ---- What a DXF load keeps ------------------------------------------------------------
    // The bytes behind the ENDSEC of the ENTITIES section, to the end of the file (the
    // OBJECTS section and the end mark): their offset and their count; 0 and 0 for a
    // drawing that came from no DXF or whose ENTITIES section was not read.
    int32_t TailStart() const { return tail_start; }
    int32_t TailSize() const { return tail_size; }
    // The block records of the two spaces, which the block table does not hold; null when
    // the file had none.
    CR13BlockRecord *ModelSpaceRecord() const { return space_records[0].get(); }
    CR13BlockRecord *PaperSpaceRecord() const { return space_records[1].get(); }
    // The blocks of the two spaces, out of the block list: model space's entities are the
    // main list (its list is then empty), paper space's list is kept here. Null when the
    // file had none.
    CR13Block *ModelSpaceBlock() const { return space_blocks[0].get(); }
    CR13Block *PaperSpaceBlock() const { return space_blocks[1].get(); }

    // ---- Loading (r13_load.cpp) ---------------------------------------------------------------
    // Reads the entities of a block from the file's position up to and including its
    // ENDBLK into `list`; the BLOCK object is decoded into `start`. 1; 0 for an entity that
    // failed to decode; -2 when the file ends first.
    int ReadEntities(CEntityList &list, CR13BlockStart &start);
    // The first pass: the block control and every block behind it. 1, 0, or -99.
    int ReadBlocks();
    // The tables behind the blocks, and the objects behind the tables. 1, or 0 when a
    // table fails.
    int ReadTables();
    // The entity object of the file type `type`, or null for a type that is no entity of
    // this reader.
    std::unique_ptr<CR13Entity> MakeEntityOfType(int type);

protected:
    CModelEntity *MakeEntity(int16_t kind) override;
    CTableList *PublicTable(TableBase which) override;
    const EedHandleResolver *EedResolver() const override { return this; }

private:
    // The update pass works on the load's state: the file, the object buffer, the spaces.
    friend class CR13UpdatePass;
    // The DXF reader fills the tables, the lists and the load's flags directly.
    friend class CR13DxfReader;
    // The save replaces the file and the map's offsets.
    friend class CR13DwgSaver;
    // The plan of a file laid out in another order reads the objects through the map.
    friend class CR13ObjectPlan;

    int16_t ApplicationIndex(const char *handle) const override;
    int16_t LayerIndex(const char *handle) const override;

    // The steps of ResolveXREF.
    void SetBasesOf(CR13Drawing &child);
    void MergeTablesOf(CR13Drawing &child);
    void AdoptModelSpaceOf(CR13Drawing &child, CModelBlock &block);
    // View mode: whether block `index` is a reference, and its showing: the reference is
    // resolved and the child's main list goes to BlockCall as the block's content.
    bool IsReferenceBlock(int index) const;
    CDB_STARTBLOCK_ENTITY_type *ShowReference(int index);

    // The manager of the public table `which`, null for a slot without a table.
    CR13Table *PublicTableOf(TableBase which) const;
    // Hands the records of `list` over in view mode (see LoadEntities).
    void HandOut(CEntityList &list, bool to_block);
    // The steps of LoadDWG behind the header and the map.
    int LoadObjects();
    // Whether the walk in the file's order finds what it reads first: the block control at
    // the start of the objects and a block header behind it. The walk's place is kept.
    bool FileOrderFits();
    // The tolerant road of a file laid out in another order: when the walk in the file's
    // order would not fit and the read options allow it, the walk follows the plan that
    // the object map and the blocks' chains give (r13_object_plan.h).
    void ChooseObjectOrder();
    // Finds a block by name in the block list: its index, or -1.
    int FindBlock(const char *name) const;
    // The end of LoadDWG for every file kind: the handle of layer "0", the symbols of
    // external references dropped, layer "0" moved to the front of its table.
    void FinishTables();
    // Records why the load failed and gives 0.
    int Fail(const char *why);

    std::unique_ptr<CDrawingFile> file;
    // The references resolved in view mode, kept until this drawing goes: the entities of
    // their blocks were read by them.
    std::vector<std::unique_ptr<CR13Drawing>> shown_references;
    std::string file_name;
    int file_kind = kNone;
    std::string version = "AC1012";
    R13FileHead file_head;
    std::unique_ptr<CR13Header> header;
    std::unique_ptr<CObjectMap> object_map;
    std::unique_ptr<CObjectMap> carried_objects;
    std::unique_ptr<CR13Table> tables[kR13TableCount];
    // The object being decoded.
    std::unique_ptr<uint8_t[]> object_buffer;
    // The walk through the objects during the load: the file's order, or the plan of a file
    // laid out in another order.
    std::unique_ptr<CR13ObjectWalk> object_walk;
    int32_t objects_start = 0;
    int32_t objects_end = 0;
    uint32_t next_handle = 0;
    std::string layer_zero_handle;
    CR13Block *model_space = nullptr;
    CR13Block *paper_space = nullptr;
    int32_t loaded = 0;
    int32_t tables_loaded = 0;
    int32_t in_update_pass = 0;
    std::string load_failure;
    CDB_POINT3 polyline_extrusion{0.0, 0.0, 1.0};
    double polyline_elevation = 0.0;

    // A DXF load: the reader (until the load is done), the tail, the space records and the
    // space blocks (model space first).
    std::unique_ptr<CR13DxfReader, CR13DxfReaderDeleter> dxf_reader;
    int32_t tail_start = 0;
    int32_t tail_size = 0;
    std::unique_ptr<CR13BlockRecord> space_records[2];
    std::unique_ptr<CR13Block> space_blocks[2];
    // Editing: the chain of model space when the load kept no block of it.
    std::unique_ptr<CR13Block> main_chain;
    // Where the last DXF save stopped.
    DxfSaveStop dxf_save_stop;
};

#endif
