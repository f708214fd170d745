// The flat functions that reach a drawing's blocks, entities, extended data, variables,
// external references and shapes.
#include "interface/base_drawing.h"
#include "interface/drawing_table.h"

#include <cstring>

namespace {

CBaseDrawing *ReadDrawing(int16_t h) {
    CLibDrawing *lib = LookupDrawing(h);
    return lib ? lib->Drawing() : nullptr;
}

// The edit side clears the global code before the lookup.
CBaseDrawing *EditDrawing(int16_t h) {
    g_LastError = 0;
    return ReadDrawing(h);
}

int16_t Flag(int ok) {
    return ok ? 0 : CDB_FAIL;
}

} // namespace

extern "C" {

// ---- Blocks ---------------------------------------------------------------------------

int16_t CDBGetFirstBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetFirstBlock(block) : CDB_FAIL;
}
int16_t CDBGetNextBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetNextBlock(block) : CDB_FAIL;
}
int16_t CDBGetCurrentBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetCurrentBlock(block) : CDB_FAIL;
}
int16_t CDBBlockGet(int16_t h, int16_t, CDB_STARTBLOCK_ENTITY_type *) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? (d->Unsupported(), CDB_FAIL) : CDB_FAIL;
}
int16_t CDBBlockAdd(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->BlockAdd(block) : CDB_FAIL;
}
int16_t CDBBlockDefault(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = EditDrawing(h);
    if (!d)
        return CDB_FAIL;
    if (!block) {
        d->Lib()->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return d->BlockDefault(block);
}
int16_t CDBBlockModify(int16_t h, int16_t index, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->BlockModify(index, block) : CDB_FAIL;
}
int16_t CDBBlockDelete(int16_t h, int16_t) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? (d->Unsupported(), CDB_FAIL) : CDB_FAIL;
}

// ---- Entity walk ----------------------------------------------------------------------

int16_t CDBEntityCount(int16_t h, int16_t block) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->EntityCount(block) : CDB_FAIL;
}
int32_t CDBFirstEntity(int16_t h, int16_t block) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->FirstEntity(block) : CDB_FAIL;
}
int32_t CDBNextEntity(int16_t h) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->NextEntity() : CDB_FAIL;
}
int32_t CDBGetCurrentEntity(int16_t h, CDB_ENTITY *entity) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetCurrentEntity(entity) : CDB_FAIL;
}
int32_t CDBGetNextEntity(int16_t h, CDB_ENTITY *entity) {
    int32_t id = CDBNextEntity(h);
    int16_t position = static_cast<int16_t>(id & 0xFFFF);
    if (position < 0)
        return position;
    return CDBGetCurrentEntity(h, entity);
}
int16_t CDBGotoEntity(int16_t h, int32_t id) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GotoEntity(id) : CDB_FAIL;
}
int16_t CDBGetEntity(int16_t h, int32_t id, CDB_ENTITY *entity) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetEntity(id, entity) : CDB_FAIL;
}
int16_t CDBNavigate(int16_t h, CDB_ENTITY *) {
    CBaseDrawing *d = ReadDrawing(h);
    if (!d)
        return CDB_FAIL;
    if (!d->TriggerLoading()) {
        d->SetError(CDB_ERR_INVALID_FILE);
        return CDB_FAIL;
    }
    return CDB_END_OF_WALK;
}

// ---- Filters and entity ids -------------------------------------------------------------

int16_t CDBLayerFilter(int16_t h, int16_t bits) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    lib->SetLayerFlags(static_cast<int16_t>(lib->LayerFlags() | bits));
    return 1;
}
int16_t CDBSpaceFilter(int16_t h, int16_t bits) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    lib->SetSpaceFlags(static_cast<int16_t>(lib->SpaceFlags() | bits));
    return 1;
}
int16_t CDBResetFilter(int16_t h) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    // Only the space filter goes; a layer filter stays for the drawing's life.
    lib->SetSpaceFlags(0);
    return 1;
}
int16_t CDBCheckEntityFiltering(int16_t h, CDB_ENTITY *entity) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    if (!entity)
        return 240;
    bool hidden = false;
    if (entity->entity_type != CDB_SEQEND && lib->LayerFlags() != 0) {
        const CDB_LAYER_TBL_type *layer = lib->Drawing()->GetLayerTable(entity->layer_index);
        if (layer) {
            int16_t bits = lib->LayerFlags();
            hidden = ((bits & 1) && layer->color < 0) || ((bits & 2) && layer->color >= 0) ||
                     ((bits & 4) && (layer->flags & 1));
        }
    }
    if (!hidden && lib->SpaceFlags() != 0) {
        int16_t bits = lib->SpaceFlags();
        hidden = ((bits & 1) && entity->space != 0) || ((bits & 2) && entity->space == 0);
    }
    return hidden ? 15 : 240;
}

int32_t CDBPackEntityId(int16_t block, uint16_t position) {
    if (block == -1)
        return static_cast<int32_t>(0x40000000u | position);
    if (block < 0)
        return CDB_FAIL;
    return static_cast<int32_t>((static_cast<uint32_t>(block) << 16) | position);
}

int16_t CDBUnpackEntityId(int32_t id, uint16_t *position, int16_t *block) {
    uint32_t bits = static_cast<uint32_t>(id);
    if (position)
        *position = static_cast<uint16_t>(bits & 0xFFFF);
    if (block) {
        *block = static_cast<int16_t>(bits >> 16);
        if (*block & 0x4000)
            *block = -1;
    }
    return 0;
}

int16_t CDBGetFirstViewport(int16_t h, CDB_ENTITY *entity) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? static_cast<int16_t>(d->GetFirstViewport(entity)) : CDB_FAIL;
}
int16_t CDBGetNextViewport(int16_t h, CDB_ENTITY *entity) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? static_cast<int16_t>(d->GetNextViewport(entity)) : CDB_FAIL;
}

// ---- Extended data ----------------------------------------------------------------------

int16_t CDBGetEED(int16_t h, CDB_ENTITY *entity, CDB_EED_type *cursor) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetEED(entity, cursor) : CDB_FAIL;
}
int16_t CDBEEDGetFirstAppid(int16_t h, CDB_EED_type *cursor) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetFirstAppid(cursor) : CDB_FAIL;
}
int16_t CDBEEDGetNextAppid(int16_t h, CDB_EED_type *cursor) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetNextAppid(cursor) : CDB_FAIL;
}
int16_t CDBEEDGetFirstValue(int16_t h, CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    CBaseDrawing *d = ReadDrawing(h);
    if (!d)
        return CDB_FAIL;
    if (!cursor) {
        d->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return d->GetFirstValue(cursor, value);
}
int16_t CDBEEDGetNextValue(int16_t h, CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    CBaseDrawing *d = ReadDrawing(h);
    if (!d)
        return CDB_FAIL;
    if (!cursor) {
        d->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return d->GetNextValue(cursor, value);
}

// ---- Header variables -------------------------------------------------------------------

int16_t CDBGetAllVariables(int16_t h, CDB_HEADER_type *header) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    CDB_HEADER_type *vars = lib->Drawing()->GetAllVars();
    if (!header || !vars) {
        lib->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    std::memcpy(static_cast<void *>(header), vars, sizeof *header);
    return 0;
}
int16_t CDBGetVariableValue(int16_t h, const char *name, CDB_VAR_VALUE_type *value) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetVariableValue(name, value) : CDB_FAIL;
}
int16_t CDBSetAllVariables(int16_t h, CDB_HEADER_type *header) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->SetAllVariables(header) : CDB_FAIL;
}
int16_t CDBSetVariableValue(int16_t h, const char *name, CDB_VAR_VALUE_type *value) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? static_cast<int16_t>(d->SetVariableValue(name, value)) : CDB_FAIL;
}

// ---- Entity edit and saving -------------------------------------------------------------

int16_t CDBEntityDefault(int16_t h, CDB_ENTITY *entity, int16_t type) {
    CBaseDrawing *d = ReadDrawing(h);
    if (!d)
        return CDB_FAIL;
    if (!entity) {
        d->Lib()->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return d->EntityDefault(entity, type);
}
int32_t CDBEntityAdd(int16_t h, int16_t block, CDB_ENTITY *entity) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->EntityAdd(block, entity) : CDB_FAIL;
}
int16_t CDBEntityModify(int16_t h, int32_t id, CDB_ENTITY *entity) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->EntityModify(id, entity) : CDB_FAIL;
}
int16_t CDBEntityDelete(int16_t h, int32_t id) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->EntityDelete(id) : CDB_FAIL;
}
int16_t CDBEntityDeleteCurrent(int16_t h) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->EntityDeleteCurrent() : CDB_FAIL;
}
int16_t CDBSave(int16_t h) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->Save() : CDB_FAIL;
}
int16_t CDBSaveAsDWG(int16_t h, const char *name) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->SaveAsDWG(name) : CDB_FAIL;
}
int16_t CDBSaveAsDXF(int16_t h, const char *name, int16_t binary) {
    CBaseDrawing *d = EditDrawing(h);
    return d ? d->SaveAsDXF(name, binary) : CDB_FAIL;
}

// ---- External references ----------------------------------------------------------------

int16_t CDBGetXREFPath(int16_t h, int16_t block_index, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? Flag(d->GetXrefPath(block_index, buffer)) : CDB_FAIL;
}
int16_t CDBResolveXREF(int16_t h, int16_t block_index) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? Flag(d->ResolveXREF(block_index)) : CDB_FAIL;
}
int16_t CDBResolveAllXREF(int16_t h) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? Flag(d->Unsupported()) : CDB_FAIL;
}

// ---- Shapes -----------------------------------------------------------------------------

int16_t CDBGetShapeName(int16_t h, int16_t style_index, int16_t shape_number, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetShapeName(style_index, shape_number, buffer) : CDB_FAIL;
}
int16_t CDBGetShapeData(int16_t h, int16_t style_index, int16_t shape_number, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetShapeData(style_index, shape_number, buffer) : CDB_FAIL;
}
int16_t CDBGetShapeNameFromEntity(int16_t h, CDB_SHAPE_ENTITY_type *shape, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetShapeName(shape, buffer) : CDB_FAIL;
}
int16_t CDBGetShapeDataFromEntity(int16_t h, CDB_SHAPE_ENTITY_type *shape, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetShapeData(shape, buffer) : CDB_FAIL;
}
int16_t CDBGetShapeId(int16_t h, int16_t *style_index, int16_t *shape_number, const char *name) {
    CBaseDrawing *d = ReadDrawing(h);
    if (!d)
        return CDB_FAIL;
    if (!style_index || !shape_number)
        return CDB_FAIL;
    return d->GetShapeId(*style_index, *shape_number, name);
}
int16_t CDBGetEntityShapeId(int16_t h, CDB_SHAPE_ENTITY_type *shape, const char *name) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? d->GetShapeId(shape, name) : CDB_FAIL;
}

} // extern "C"
