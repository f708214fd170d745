// The lists of a drawing as the readers fill them, the extended data cursor, and the
// deleting of entities.
#include "model/list_drawing.h"

#include "records/eed_cursor.h"

CListDrawing::CListDrawing(int flag) : CBaseDrawing(flag) {}

CListDrawing::~CListDrawing() = default;

// ---- Filling the lists ------------------------------------------------------------------

void CListDrawing::KeepEntity(CEntityList *list, CModelEntity *entity, bool to_block, bool drop) {
    if (!ViewFlag() && list) {
        list->Append(entity);
        viewports.Append(entity->ViewportLink());
        CountLoaded();
        return;
    }
    if (!drop && Lib()) {
        CDB_ENTITY *data = entity->GetResolvedRecord();
        if (to_block)
            Lib()->BlockCall(data);
        else
            Lib()->EntityCall(data);
    }
    delete entity;
}

void CListDrawing::RewindCursors() {
    // Reading leaves every list on its last item; a walk starts where a new drawing
    // stands: the main list at its first entity, the block walk at block 0.
    entities.SetPosition(0);
    blocks.First();
    for (int i = 0; i < blocks.Count(); ++i) {
        CModelBlock *block = blocks.At(i);
        if (block && block->entities)
            block->entities->SetPosition(0);
    }
}

// ---- Extended data ----------------------------------------------------------------------

short CListDrawing::GetEED(CDB_ENTITY *entity, CDB_EED_type *cursor) {
    short code = 0;
    short result = EedAttach(entity, cursor, code);
    if (code)
        SetError(code);
    return result;
}

short CListDrawing::GetFirstAppid(CDB_EED_type *cursor) {
    return EedFirstAppid(cursor, EedResolver());
}
short CListDrawing::GetNextAppid(CDB_EED_type *cursor) {
    return EedNextAppid(cursor, EedResolver());
}
short CListDrawing::GetFirstValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    return EedFirstValue(cursor, value, EedResolver());
}
short CListDrawing::GetNextValue(CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    return EedNextValue(cursor, value, EedResolver());
}

// ---- Editing the lists ------------------------------------------------------------------

CEntityList *CListDrawing::EditList(int block) {
    if (block == -1)
        return &entities;
    CModelBlock *object = blocks.At(block);
    if (!object || !object->entities) {
        SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return nullptr;
    }
    return object->entities.get();
}

int CListDrawing::PlaceNewEntity(CEntityList &list, bool main_section, CModelEntity *entity) {
    const int position = main_section
                             ? list.Append(entity)
                             : list.InsertAt(list.Count() > 0 ? list.Count() - 1 : 0, entity);
    if (!ViewFlag())
        viewports.Append(entity->ViewportLink());
    return position;
}

void CListDrawing::ReplaceEntity(CEntityList &list, int position, CModelEntity *entity) {
    std::unique_ptr<CModelEntity> old(list.ReplaceAt(position, entity));
    CViewportLink *link = entity->ViewportLink();
    if (!link)
        return;
    CViewportLink *old_link = old ? old->ViewportLink() : nullptr;
    if (old_link && old_link->chain == &viewports)
        viewports.Replace(old_link, link);
    else if (!ViewFlag())
        viewports.Append(link);
}

void CListDrawing::SetAside(CModelEntity *entity) {
    if (!entity)
        return;
    if (CViewportLink *link = entity->ViewportLink())
        viewports.Unlink(link);
    removed_entities.emplace_back(entity);
}

bool CListDrawing::ReadyForRecord(const CDB_ENTITY *entity) {
    if (!entity) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return false;
    }
    return TriggerLoading();
}

std::unique_ptr<CModelEntity> CListDrawing::ObjectOf(const CDB_ENTITY &record) {
    std::unique_ptr<CModelEntity> object(MakeEntity(record.entity_type));
    if (!object) {
        SetError(CDB_ERR_INVALID_ENTITY_CODE);
        return nullptr;
    }
    object->SetRecord(&record);
    return object;
}

short CListDrawing::TakeOut(CEntityList &list, int position) {
    CModelEntity *entity = list.At(position);
    if (!entity)
        return 0;
    list.RemoveAt(position);
    SetAside(entity);
    return 1;
}

int32_t CListDrawing::EntityAdd(short block, CDB_ENTITY *entity) {
    if (!ReadyForRecord(entity))
        return CDB_FAIL;
    if (!CheckSequence(entity->entity_type))
        return CDB_FAIL;
    std::unique_ptr<CModelEntity> object = ObjectOf(*entity);
    if (!object)
        return CDB_FAIL;
    AssignNewHandle(*object);
    CEntityList *list = EditList(block);
    if (!list)
        return CDB_FAIL;
    const int position = PlaceNewEntity(*list, block == -1, object.release());
    NewHandleUsed();
    return static_cast<short>(position);
}

short CListDrawing::EntityModify(int32_t id, CDB_ENTITY *entity) {
    if (!ReadyForRecord(entity))
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    std::unique_ptr<CModelEntity> object = ObjectOf(*entity);
    if (!object)
        return CDB_FAIL;
    CEntityList *list = EditList(block);
    if (!list)
        return CDB_FAIL;
    if (position >= list->Count())
        return 0;
    ReplaceEntity(*list, position, object.release());
    return 1;
}

short CListDrawing::EntityDelete(int32_t id) {
    if (!TriggerLoading())
        return CDB_FAIL;
    uint16_t position = 0;
    int16_t block = 0;
    CDBUnpackEntityId(id, &position, &block);
    CEntityList *list = EditList(block);
    if (!list)
        return CDB_FAIL;
    return TakeOut(*list, position);
}

short CListDrawing::EntityDeleteCurrent() {
    if (!TriggerLoading())
        return CDB_FAIL;
    CEntityList *list = EditList(current_block);
    if (!list)
        return CDB_FAIL;
    // The position stays, so that the cursor stands on the entity that moved up into it.
    const int position = list->Position();
    return TakeOut(*list, position);
}
