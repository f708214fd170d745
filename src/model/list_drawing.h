// A drawing that holds its entities in memory: the main entity list, the block list and
// the viewport chain, and, once for every release, the operations that walk and edit
// them and that read its tables out. A release's drawing class derives from it, reads its files
// into the lists (KeepEntity, RewindCursors) and keeps what is its own: the file layouts, the
// tables' file forms, saving, external references.
//
// Every walking operation first makes sure that entities and blocks are read
// (TriggerLoading); when that fails the drawing's code becomes "Invalid File." and the
// result is -123. Entity ids pack the block number (0x4000 for the main section) and the
// position, as CDBPackEntityId does; block -1 is the main section.
#ifndef VELKO_LIST_DRAWING_H
#define VELKO_LIST_DRAWING_H

#include "model/base_drawing.h"
#include "model/block_list.h"
#include "model/entity_list.h"
#include "model/table_list.h"
#include "model/viewport_chain.h"

#include <memory>
#include <vector>

class EedHandleResolver;

class CListDrawing : public CBaseDrawing {
public:
    explicit CListDrawing(int view_flag);
    ~CListDrawing() override;

    CEntityList &Entities() { return entities; }
    CBlockList &Blocks() { return blocks; }
    CViewportChain &Viewports() { return viewports; }
    // Called by the readers for an entity of paper space; the flag never goes back.
    void MarkPaperSpace() { any_paper_space = 1; }
    int IsAnyPaperSpace() override { return any_paper_space; }

    // ---- The tables: counts and records, from the class's table lists -------------------
    int GetBlockTableCount() override { return TableCount(TableBase::kBlocks); }
    CDB_BLOCK_TBL *GetBlockTable(int index) override {
        return RecordOf<CDB_BLOCK_TBL>(TableBase::kBlocks, index);
    }
    int GetLayerTableCount() override { return TableCount(TableBase::kLayers); }
    CDB_LAYER_TBL_type *GetLayerTable(int index) override {
        return RecordOf<CDB_LAYER_TBL_type>(TableBase::kLayers, index);
    }
    int GetLtypeTableCount() override { return TableCount(TableBase::kLtypes); }
    CDB_LTYPE_TBL_type *GetLtypeTable(int index) override {
        return RecordOf<CDB_LTYPE_TBL_type>(TableBase::kLtypes, index);
    }
    int GetDimstyleTableCount() override { return TableCount(TableBase::kDimstyles); }
    CDB_DIMSTYLE_TBL_type *GetDimstyleTable(int index) override {
        return RecordOf<CDB_DIMSTYLE_TBL_type>(TableBase::kDimstyles, index);
    }
    int GetStyleTableCount() override { return TableCount(TableBase::kStyles); }
    CDB_STYLE_TBL_type *GetStyleTable(int index) override {
        return RecordOf<CDB_STYLE_TBL_type>(TableBase::kStyles, index);
    }
    int GetAppidTableCount() override { return TableCount(TableBase::kAppids); }
    CDB_APPID_TBL_type *GetAppidTable(int index) override {
        return RecordOf<CDB_APPID_TBL_type>(TableBase::kAppids, index);
    }
    int GetViewTableCount() override { return TableCount(TableBase::kViews); }
    CDB_VIEW_TBL_type *GetViewTable(int index) override {
        return RecordOf<CDB_VIEW_TBL_type>(TableBase::kViews, index);
    }
    int GetUcsTableCount() override { return TableCount(TableBase::kUcs); }
    CDB_UCS_TBL_type *GetUcsTable(int index) override {
        return RecordOf<CDB_UCS_TBL_type>(TableBase::kUcs, index);
    }
    int GetVportTableCount() override { return TableCount(TableBase::kVports); }
    CDB_VPORT_TBL_type *GetVportTable(int index) override {
        return RecordOf<CDB_VPORT_TBL_type>(TableBase::kVports, index);
    }

    // ---- The walk (list_walk.cpp) ---------------------------------------------------------
    int32_t FirstEntity(short block) override;
    int32_t NextEntity() override;
    int32_t GetCurrentEntity(CDB_ENTITY *entity) override;
    short EntityCount(short block) override;
    short GotoEntity(int32_t id) override;
    short GetEntity(int32_t id, CDB_ENTITY *entity) override;
    short GetFirstBlock(CDB_STARTBLOCK_ENTITY_type *block) override;
    short GetNextBlock(CDB_STARTBLOCK_ENTITY_type *block) override;
    short GetBlockAt(int index, CDB_STARTBLOCK_ENTITY_type *block) override;
    int FindTableRecord(TableBase which, const char *name, bool skip_deleted) override {
        const CTableList *list = PublicTable(which);
        return list ? list->FindExact(name, skip_deleted) : kNotIndexed;
    }
    short GetCurrentBlock(CDB_STARTBLOCK_ENTITY_type *block) override;
    int GetFirstViewport(CDB_ENTITY *entity) override;
    int GetNextViewport(CDB_ENTITY *entity) override;

    // ---- Extended data of the records the walk hands out ----------------------------------
    short GetEED(CDB_ENTITY *entity, CDB_EED_type *cursor) override;
    short GetFirstAppid(CDB_EED_type *cursor) override;
    short GetNextAppid(CDB_EED_type *cursor) override;
    short GetFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) override;
    short GetNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) override;

    // ---- Editing entities ---------------------------------------------------------------
    // Add: the record is checked against the sequence of added entities, an object of its
    // kind takes a copy of it (and the drawing's next handle) and goes into the list of
    // `block` (-1 the main section): its position. Modify: an object made from the record
    // takes the place of the entity `id`: 1, or 0 for a position past the list's end.
    int32_t EntityAdd(short block, CDB_ENTITY *entity) override;
    short EntityModify(int32_t id, CDB_ENTITY *entity) override;
    short EntityDelete(int32_t id) override;
    short EntityDeleteCurrent() override;
    // The entities that EntityDelete took out of their lists, in the order they went.
    // They stay alive as long as the drawing, so that a pointer a client holds stays good.
    const std::vector<std::unique_ptr<CModelEntity>> &RemovedEntities() const {
        return removed_entities;
    }

protected:
    // How the extended data of this release names applications and layers: null for the
    // release 12 coding (by index), a resolver of handles for the release 13 one.
    virtual const EedHandleResolver *EedResolver() const { return nullptr; }
    // The object of kind `kind` of this release, or null for a kind without a class.
    virtual CModelEntity *MakeEntity(int16_t kind) = 0;
    // A new entity takes the drawing's next handle, when the drawing keeps handles; once
    // it stands in its list, NewHandleUsed moves the next handle on.
    virtual void AssignNewHandle(CModelEntity &) {}
    virtual void NewHandleUsed() {}

    // The list of the public table that slot `which` names (see table_base.h); null for a
    // table the class does not keep, whose count is then -1 and whose records are null.
    virtual CTableList *PublicTable(TableBase which) = 0;

    // Keeps an entity that a load decoded: in list mode it is appended to `list` (a
    // viewport also to the viewport chain), counted, and the progress callback called; in
    // view mode its record goes to the application (`to_block` chooses BlockCall over
    // EntityCall; `drop` hands nothing out) and the object is destroyed, so no viewport
    // joins the chain.
    void KeepEntity(CEntityList *list, CModelEntity *entity, bool to_block, bool drop);
    // After a load: every list stands at its first entity, the block walk at block 0.
    void RewindCursors();

    // The list the entity edit functions work on: the main list for -1, the list of a
    // block that has one. Null with the code -411 for anything else.
    CEntityList *EditList(int block);
    // Puts a new entity into `list`: the main list takes it at its end (behind its end
    // sentinel), a block's list before its end entity. A viewport joins the chain in list
    // mode. The entity's position.
    int PlaceNewEntity(CEntityList &list, bool main_section, CModelEntity *entity);
    // Puts `entity` in the place of the entity at `position` (which the caller checked),
    // which is destroyed; a new viewport takes the old one's place in the chain, or joins
    // it at its end.
    void ReplaceEntity(CEntityList &list, int position, CModelEntity *entity);
    // Keeps an entity that left its list (a viewport leaves the viewport chain too).
    void SetAside(CModelEntity *entity);

    CEntityList entities;
    CBlockList blocks;
    CViewportChain viewports;
    // The block the entity walk is in (-1 the main section).
    short current_block = -1;

    // The opening of the calls that take an entity record: false when the record is missing
    // (the code set) or the drawing does not load.
    bool ReadyForRecord(const CDB_ENTITY *entity);

private:
    // A new object of the record's kind that holds a copy of it; null, with the code set,
    // for a kind this release has no class for.
    std::unique_ptr<CModelEntity> ObjectOf(const CDB_ENTITY &record);
    // Takes the entity at `position` out of `list` and sets it aside: 1, or 0 when there is
    // no entity there.
    short TakeOut(CEntityList &list, int position);
    int TableCount(TableBase which) {
        const CTableList *list = PublicTable(which);
        return list ? list->Count() : CDB_FAIL;
    }
    template <typename Record> Record *RecordOf(TableBase which, int index) {
        const CTableList *list = PublicTable(which);
        CTableRecord *record = list ? list->At(index) : nullptr;
        return record ? static_cast<Record *>(record->GetRecord()) : nullptr;
    }
    short BlockWalkStep(CDB_STARTBLOCK_ENTITY_type *block, CModelBlock *(CBlockList::*step)(),
                        short missing);

    int32_t any_paper_space = 0;
    std::vector<std::unique_ptr<CModelEntity>> removed_entities;
};

#endif
