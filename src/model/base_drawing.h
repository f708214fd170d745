// The abstract drawing: the seam between the flat interface and the file formats.
// CR12Drawing and CR13Drawing fill its operations; CLibDrawing forwards to them.
//
// What every drawing class shares lives here: the error code, the view flag, the table
// bases of an external reference, the shape table, the sequence check of added entities
// and the two progress hooks (loading and saving). An operation that a class does not
// override reports "Invalid File." and gives the failure value of its slot.
#ifndef VELKO_BASE_DRAWING_H
#define VELKO_BASE_DRAWING_H

#include "velkow32.h"

#include "fonts/font_location.h"
#include "model/table_base.h"

#include <string>

class CBaseDrawing : public CFontLocation {
public:
    explicit CBaseDrawing(int view_flag);
    virtual ~CBaseDrawing();

    CBaseDrawing(const CBaseDrawing &) = delete;
    CBaseDrawing &operator=(const CBaseDrawing &) = delete;

    // ---- Shared state -----------------------------------------------------------------
    void SetError(short code) { error = code; }
    short GetError() const { return error; }
    // A save refused because the drawing does not fit its file form: the code
    // CDB_ERR_FORM_LIMIT, and the limit in words ("release 12 DWG: a block section of at
    // most 16 MB"), kept until the next refusal of that kind. 0, so that a writer may
    // return it.
    int RefuseFormLimit(const char *limit) {
        error = CDB_ERR_FORM_LIMIT;
        form_limit = limit ? limit : "";
        return 0;
    }
    // The words of the last form limit refusal; empty when the error is another.
    const char *FormLimit() const { return error == CDB_ERR_FORM_LIMIT ? form_limit.c_str() : ""; }
    int ViewFlag() const { return view_flag; }
    // The read options (CDB_READ_ bits) in force when this drawing was made: a reader may
    // take a tolerant road only when its bit is here.
    bool ReadsTolerantly(int32_t bit) const { return (read_options & bit) != 0; }
    // A reader took the tolerant road `bit`: the file would have been refused or misread
    // without it. CDBGetTolerantReads reports the roads taken.
    void NoteTolerantRead(int32_t bit) { tolerant_reads |= bit; }
    int32_t TolerantReads() const { return tolerant_reads; }
    void SetInXref(int flag) { in_xref = flag; }
    int InXref() const { return in_xref; }
    void SetHandle(short h) { handle = h; }
    short Handle() const { return handle; }
    void SetLib(CLibDrawing *owner) { lib = owner; }
    CLibDrawing *Lib() const { return lib; }
    CShapeTable *ShapeTable() const { return shape_table; }
    // Gives up this drawing's own shape table for the one of `owner`, which stays its
    // owner's: a drawing loaded as an external reference finds its fonts in the slots of
    // the host, where its merged text styles point.
    void UseShapeTableOf(const CBaseDrawing &owner);
    const char *SearchPath() const { return search_path.empty() ? nullptr : search_path.c_str(); }
    void SetSearchPath(const char *path) { search_path = path ? path : ""; }
    // Where the shape table looks for fonts: the file name and the search path.
    const char *DrawingFileName() override { return GetFileName(); }
    const char *FontSearchPath() const override { return SearchPath(); }
    // The base of table slot `slot` (see table_base.h): 0 unless the drawing is an
    // external reference whose records follow its host's.
    int32_t Base(TableBase slot) const { return bases[static_cast<uint8_t>(slot)]; }
    void SetBase(TableBase slot, int32_t value) { bases[static_cast<uint8_t>(slot)] = value; }

    // The shape lookups through the shape table. Name: copies the shape's name (NUL
    // terminated) into `buffer` when it is not null and gives the shape's data length.
    // Data: copies the byte codes behind the name and gives their number. Both give -123
    // when the table has no such shape (a style outside the table, a number its file lacks).
    // Id: finds a name in all files and sets the pair; 0, or -123 when no shape has it.
    short GetShapeName(CDB_SHAPE_ENTITY_type *shape, char *buffer);
    short GetShapeName(short style_index, short shape_number, char *buffer);
    short GetShapeData(CDB_SHAPE_ENTITY_type *shape, char *buffer);
    short GetShapeData(short style_index, short shape_number, char *buffer);
    short GetShapeId(CDB_SHAPE_ENTITY_type *shape, const char *name);
    short GetShapeId(short &style_index, short &shape_number, const char *name);
    // The shape table slot of text style `style_index`'s font: -1 for a style outside the
    // table, one whose font was found nowhere, or a drawing class that keeps no slots.
    virtual int StyleShapeIndex(int /*style_index*/) { return -1; }

    // ---- The operations, in slot order --------------------------------------------------
    // Operations that a drawing class does not offer report "Invalid File." and fail.
    virtual int CloseDWGFile();
    virtual int LoadDWG();
    virtual int LoadDXF();
    virtual int PrepareForView();
    virtual CDB_HEADER_type *GetAllVars();
    virtual void LoadEntities();
    virtual CDB_STARTBLOCK_ENTITY_type *LoadBlock(int index);
    virtual int GetLayerTableCount();
    virtual CDB_LAYER_TBL_type *GetLayerTable(int index);
    virtual int GetLtypeTableCount();
    virtual CDB_LTYPE_TBL_type *GetLtypeTable(int index);
    virtual int GetVportTableCount();
    virtual CDB_VPORT_TBL_type *GetVportTable(int index);
    virtual int GetStyleTableCount();
    virtual CDB_STYLE_TBL_type *GetStyleTable(int index);
    virtual int GetBlockTableCount();
    virtual CDB_BLOCK_TBL *GetBlockTable(int index);
    virtual int GetUcsTableCount();
    virtual CDB_UCS_TBL_type *GetUcsTable(int index);
    virtual int GetAppidTableCount();
    virtual CDB_APPID_TBL_type *GetAppidTable(int index);
    virtual int GetDimstyleTableCount();
    virtual CDB_DIMSTYLE_TBL_type *GetDimstyleTable(int index);
    virtual int GetMLineStyleTableCount();
    virtual CDB_MLINESTYLE_TBL_type *GetMLineStyleTable(int index);
    virtual int GetViewTableCount();
    virtual CDB_VIEW_TBL_type *GetViewTable(int index);
    virtual short GetFirstBlock(CDB_STARTBLOCK_ENTITY_type *block);
    virtual short GetNextBlock(CDB_STARTBLOCK_ENTITY_type *block);
    // The block GetFirstBlock and then `index` calls of GetNextBlock would give, with the
    // walk left where they would leave it, at the cost of one step.
    virtual short GetBlockAt(int index, CDB_STARTBLOCK_ENTITY_type *block);
    // The index of the first record of table `which` whose whole name equals `name`, case
    // counted (deleted records passed by when `skip_deleted`), or -1; kNotIndexed when the
    // drawing keeps no index of that table and the caller is to search it record by record.
    static constexpr int kNotIndexed = -2;
    virtual int FindTableRecord(TableBase which, const char *name, bool skip_deleted);
    virtual int32_t FirstEntity(short block);
    virtual int32_t NextEntity();
    virtual int32_t GetCurrentEntity(CDB_ENTITY *entity);
    virtual short EntityCount(short block);
    virtual short GotoEntity(int32_t id);
    virtual short GetEntity(int32_t id, CDB_ENTITY *entity);
    virtual short GetCurrentBlock(CDB_STARTBLOCK_ENTITY_type *block);
    virtual int TriggerLoading();
    virtual int GetFirstViewport(CDB_ENTITY *entity);
    virtual int GetNextViewport(CDB_ENTITY *entity);
    virtual char *GetFileName();
    virtual short GetEED(CDB_ENTITY *entity, CDB_EED_type *cursor);
    virtual short GetFirstAppid(CDB_EED_type *cursor);
    virtual short GetNextAppid(CDB_EED_type *cursor);
    virtual short GetFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value);
    virtual short GetNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value);
    virtual const std::string &GetAcadVersion();
    virtual short GetVariableValue(const char *name, CDB_VAR_VALUE_type *value);
    virtual int IsAnyPaperSpace();
    virtual int ResolveXREF(int block_index);
    virtual int GetXrefPath(short block_index, char *buffer);
    virtual int LayerTableDelete(short index);
    virtual int LineTypeTableDelete(short index);
    virtual int StyleTableDelete(short index);
    virtual int VportTableDelete(short index);
    virtual int ViewTableDelete(short index);
    virtual int UCSTableDelete(short index);
    virtual int AppidTableDelete(short index);
    virtual int DimStyleTableDelete(short index);
    virtual short LayerTableAdd(CDB_LAYER_TBL_type *record);
    virtual short LineTypeTableAdd(CDB_LTYPE_TBL_type *record);
    virtual short StyleTableAdd(CDB_STYLE_TBL_type *record);
    virtual short VportTableAdd(CDB_VPORT_TBL_type *record);
    virtual short ViewTableAdd(CDB_VIEW_TBL_type *record);
    virtual short UCSTableAdd(CDB_UCS_TBL_type *record);
    virtual short AppidTableAdd(CDB_APPID_TBL_type *record);
    virtual short DimStyleTableAdd(CDB_DIMSTYLE_TBL_type *record);
    virtual short LayerTableModify(short index, CDB_LAYER_TBL_type *record);
    virtual short LineTypeTableModify(short index, CDB_LTYPE_TBL_type *record);
    virtual short StyleTableModify(short index, CDB_STYLE_TBL_type *record);
    virtual short VportTableModify(short index, CDB_VPORT_TBL_type *record);
    virtual short ViewTableModify(short index, CDB_VIEW_TBL_type *record);
    virtual short UCSTableModify(short index, CDB_UCS_TBL_type *record);
    virtual short AppidTableModify(short index, CDB_APPID_TBL_type *record);
    virtual short DimStyleTableModify(short index, CDB_DIMSTYLE_TBL_type *record);
    virtual short SetAllVariables(CDB_HEADER_type *header);
    virtual short SaveAsDWG(const char *name);
    virtual short SaveAsDXF(const char *name, int binary);
    virtual short Save();
    virtual short BlockAdd(CDB_STARTBLOCK_ENTITY_type *block);
    virtual short BlockTableAdd(CDB_BLOCK_TBL *record);
    virtual short BlockModify(short index, CDB_STARTBLOCK_ENTITY_type *block);
    virtual int BlockTableModify(short index, CDB_BLOCK_TBL *record);
    virtual short BlockDefault(CDB_STARTBLOCK_ENTITY_type *block);
    // One body for both releases.
    short EntityDefault(CDB_ENTITY *entity, short type);
    virtual int32_t EntityAdd(short block, CDB_ENTITY *entity);
    virtual short EntityModify(int32_t id, CDB_ENTITY *entity);
    virtual short EntityDelete(int32_t id);
    virtual short EntityDeleteCurrent();
    virtual int SetVariableValue(const char *name, CDB_VAR_VALUE_type *value);

    // Reports an operation that this drawing class does not offer: the code is
    // "Invalid File." and the caller gets the failure value of the slot.
    int Unsupported();

    // The check an entity of kind `entity_type` passes before it is added, so that no
    // broken chain of polyline, vertices, attributes and sequence end can be built. The
    // code is cleared first. 1 accepted; 0 refused, with -425 for a kind out of turn (a
    // sequence end with no open sequence is refused with no code). The sequence state
    // moves as the kind says, also when the entity is refused later on.
    int CheckSequence(short entity_type);

    // ---- Progress -------------------------------------------------------------------------
    // Called with the two progress counters after each entity that a load keeps; no
    // exported function sets it, it is there for a client that owns the drawing (the
    // command-line tool, a derived class).
    void (*progress_callback)(int16_t entities, int16_t blocks) = nullptr;
    // Called by the writers while they save, with the number of objects (entities and
    // table records) written so far, after every kSaveProgressStep of them.
    static constexpr int32_t kSaveProgressStep = 1024;
    void (*save_progress)(int32_t objects_written) = nullptr;
    // The writers call this after each object they write; a save starts at 0.
    void CountWritten() {
        ++objects_written;
        if (save_progress && objects_written % kSaveProgressStep == 0)
            save_progress(objects_written);
    }
    void StartCountingWritten() { objects_written = 0; }
    // A load calls this for each entity it keeps: the entity counter goes up by one and
    // the progress callback hears both counters.
    void CountLoaded() {
        entity_counter = static_cast<int16_t>(uint16_t(entity_counter) + 1u);
        if (progress_callback)
            progress_callback(entity_counter, block_counter);
    }

protected:
    // The number of the block whose entities a load reads (-1 the main section), as the
    // progress callback reports it, and the entities kept so far.
    int16_t block_counter = 0;
    int16_t entity_counter = 0;

    short error = 0;
    int32_t view_flag = 0;
    short handle = -1;
    int32_t in_xref = 0;
    int32_t bases[kTableBaseCount] = {};
    CLibDrawing *lib = nullptr;
    CShapeTable *shape_table = nullptr;
    bool owns_shape_table = true;
    std::string search_path;
    int32_t in_polyline = 0;
    int32_t in_insert = 0;

private:
    int32_t objects_written = 0;
    std::string form_limit;
    int32_t read_options = 0;
    int32_t tolerant_reads = 0;
};

#endif
