// The flat functions that reach a drawing's blocks, entities, extended data, variables,
// external references and shapes.
#include "model/base_drawing.h"
#include "interface/drawing_table.h"
#include "model/display_walk.h"
#include "model/entity_filter.h"

#include <cstring>

namespace {

// Where a call that lacks its argument stores "invalid parameter".
enum class ErrorSlot { kDrawing, kLibrary };

// `d` when the call's `argument` is given; otherwise null, with the code stored in `slot`.
CBaseDrawing *Requiring(CBaseDrawing *d, const void *argument, ErrorSlot slot) {
    if (d && !argument) {
        if (slot == ErrorSlot::kDrawing)
            d->SetError(CDB_ERR_INVALID_PARAMETER);
        else
            d->Lib()->SetError(CDB_ERR_INVALID_PARAMETER);
    }
    return argument ? d : nullptr;
}

// A shape lookup's length, where a shape the drawing lacks counts 0.
int16_t ShapeLength(int16_t length) {
    return length == CDB_FAIL ? 0 : length;
}

// Calls `method` of drawing `d` (ReadDrawing's or EditDrawing's) with `args`: its result,
// or -123 when there is no drawing.
template <typename Method, typename... Args>
int32_t Forward(CBaseDrawing *d, Method method, Args... args) {
    return d ? static_cast<int32_t>((d->*method)(args...)) : CDB_FAIL;
}

int16_t Flag(int ok) {
    return ok ? 0 : CDB_FAIL;
}

// ---- The walk's helpers -------------------------------------------------------------------

// TriggerLoading for the walks of this file, through a walking slot of the drawing: the
// slot loads (a failure stores "Invalid File." in the drawing) and, when it is the one
// that loads, puts the cursors where a new drawing has them. False on failure.
bool Loaded(CBaseDrawing *drawing) {
    return drawing->EntityCount(-1) != CDB_FAIL;
}

// The drawing of handle `h`, loaded for a walk; null when the handle is no drawing's or the
// load fails.
CLibDrawing *LoadedDrawing(int16_t h) {
    CLibDrawing *lib = LookupDrawing(h);
    return lib && Loaded(lib->Drawing()) ? lib : nullptr;
}

// The viewport chain has a cursor of its own; the entity cursor does not move. The record
// is read into a scratch record of the union's full size and copied out.
int16_t ViewportStep(int16_t h, CDB_ENTITY *entity, bool first) {
    CLibDrawing *lib = LoadedDrawing(h);
    if (!lib)
        return CDB_FAIL;
    CBaseDrawing *d = lib->Drawing();
    CDB_ENTITY scratch;
    std::memset(static_cast<void *>(&scratch), 0, sizeof scratch);
    int found = first ? d->GetFirstViewport(&scratch) : d->GetNextViewport(&scratch);
    if (!found)
        return CDB_END_OF_WALK;
    if (entity)
        std::memcpy(static_cast<void *>(entity), &scratch, sizeof scratch);
    return CDB_OK;
}

} // namespace

extern "C" {

// ---- Blocks ---------------------------------------------------------------------------

int16_t CDBGetFirstBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetFirstBlock, block);
}
int16_t CDBGetNextBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetNextBlock, block);
}
int16_t CDBGetCurrentBlock(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetCurrentBlock, block);
}
// The block the walk's first block and `index` next steps land on, the walk's cursor
// staying there; the drawing takes the steps at once. A walk that ends before the index
// (fewer blocks than the table has, in a damaged drawing) fails as well.
int16_t CDBBlockGet(int16_t h, int16_t index, CDB_STARTBLOCK_ENTITY_type *block) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    CBaseDrawing *d = lib->Drawing();
    if (d->GetBlockTableCount() <= index)
        return CDB_FAIL;
    if (!block) {
        lib->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return d->GetBlockAt(index, block) >= 0 ? CDB_OK : CDB_FAIL;
}
int16_t CDBBlockAdd(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    return Forward(EditDrawing(h), &CBaseDrawing::BlockAdd, block);
}
int16_t CDBBlockDefault(int16_t h, CDB_STARTBLOCK_ENTITY_type *block) {
    return Forward(Requiring(EditDrawing(h), block, ErrorSlot::kLibrary),
                   &CBaseDrawing::BlockDefault, block);
}
// A name that is taken (-5 from the drawing) is a failure here.
int16_t CDBBlockModify(int16_t h, int16_t index, CDB_STARTBLOCK_ENTITY_type *block) {
    CBaseDrawing *d = EditDrawing(h);
    if (!d)
        return CDB_FAIL;
    const int16_t result = d->BlockModify(index, block);
    return result == CDB_NAME_EXISTS ? CDB_FAIL : result;
}
// A block is never taken out: its table record gets the deleted flag, and the walks pass
// it by from then on.
int16_t CDBBlockDelete(int16_t h, int16_t index) {
    CBaseDrawing *d = EditDrawing(h);
    if (!d)
        return CDB_FAIL;
    CDB_BLOCK_TBL record;
    if (CDBBlockTableGet(h, index, &record) == CDB_FAIL)
        return CDB_FAIL;
    record.flags = static_cast<uint8_t>(record.flags | 0x80);
    return d->BlockTableModify(index, &record) ? CDB_OK : CDB_FAIL;
}

// ---- Entity walk ----------------------------------------------------------------------

int16_t CDBEntityCount(int16_t h, int16_t block) {
    return Forward(ReadDrawing(h), &CBaseDrawing::EntityCount, block);
}
int32_t CDBFirstEntity(int16_t h, int16_t block) {
    return Forward(ReadDrawing(h), &CBaseDrawing::FirstEntity, block);
}
int32_t CDBNextEntity(int16_t h) {
    return Forward(ReadDrawing(h), &CBaseDrawing::NextEntity);
}
int32_t CDBGetCurrentEntity(int16_t h, CDB_ENTITY *entity) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetCurrentEntity, entity);
}
int32_t CDBGetNextEntity(int16_t h, CDB_ENTITY *entity) {
    int32_t id = CDBNextEntity(h);
    int16_t position = static_cast<int16_t>(id & 0xFFFF);
    if (position < 0)
        return position;
    return CDBGetCurrentEntity(h, entity);
}
int16_t CDBGotoEntity(int16_t h, int32_t id) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GotoEntity, id);
}
int16_t CDBGetEntity(int16_t h, int32_t id, CDB_ENTITY *entity) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetEntity, id, entity);
}
// The display walk: inserts are followed into their blocks (the return stack brings the
// walk back behind them), and what the filters hide is stepped over. The bounds of
// navigate_stack.h keep a damaged drawing from making it endless.
int16_t CDBNavigate(int16_t h, CDB_ENTITY *entity) {
    CLibDrawing *lib = LoadedDrawing(h);
    if (!lib)
        return CDB_FAIL;
    CBaseDrawing *d = lib->Drawing();
    if (!entity) {
        lib->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return CDisplayWalk(*d, lib->LayerFlags(), lib->SpaceFlags(), lib->ViewFlag() == 0, entity)
        .Run();
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
// 15 when the layer or the space filter hides the entity, 240 when it is shown.
int16_t CDBCheckEntityFiltering(int16_t h, CDB_ENTITY *entity) {
    CLibDrawing *lib = LookupDrawingWith(h, entity);
    if (!lib)
        return CDB_FAIL;
    return HiddenByFilters(*lib->Drawing(), lib->LayerFlags(), lib->SpaceFlags(), entity) ? 15
                                                                                          : 240;
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
    return ViewportStep(h, entity, true);
}
int16_t CDBGetNextViewport(int16_t h, CDB_ENTITY *entity) {
    return ViewportStep(h, entity, false);
}

// ---- Extended data ----------------------------------------------------------------------

int16_t CDBGetEED(int16_t h, CDB_ENTITY *entity, CDB_EED_type *cursor) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetEED, entity, cursor);
}
int16_t CDBEEDGetFirstAppid(int16_t h, CDB_EED_type *cursor) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetFirstAppid, cursor);
}
int16_t CDBEEDGetNextAppid(int16_t h, CDB_EED_type *cursor) {
    return Forward(ReadDrawing(h), &CBaseDrawing::GetNextAppid, cursor);
}
int16_t CDBEEDGetFirstValue(int16_t h, CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    return Forward(Requiring(ReadDrawing(h), cursor, ErrorSlot::kDrawing),
                   &CBaseDrawing::GetFirstValue, cursor, value);
}
int16_t CDBEEDGetNextValue(int16_t h, CDB_EED_type *cursor, CDB_EED_VALUES *value) {
    return Forward(Requiring(ReadDrawing(h), cursor, ErrorSlot::kDrawing),
                   &CBaseDrawing::GetNextValue, cursor, value);
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
    return Forward(ReadDrawing(h), &CBaseDrawing::GetVariableValue, name, value);
}
int16_t CDBSetAllVariables(int16_t h, CDB_HEADER_type *header) {
    return Forward(EditDrawing(h), &CBaseDrawing::SetAllVariables, header);
}
int16_t CDBSetVariableValue(int16_t h, const char *name, CDB_VAR_VALUE_type *value) {
    return Forward(EditDrawing(h), &CBaseDrawing::SetVariableValue, name, value);
}

// ---- Entity edit and saving -------------------------------------------------------------

int16_t CDBEntityDefault(int16_t h, CDB_ENTITY *entity, int16_t type) {
    return Forward(Requiring(ReadDrawing(h), entity, ErrorSlot::kLibrary),
                   &CBaseDrawing::EntityDefault, entity, type);
}
int32_t CDBEntityAdd(int16_t h, int16_t block, CDB_ENTITY *entity) {
    return Forward(EditDrawing(h), &CBaseDrawing::EntityAdd, block, entity);
}
int16_t CDBEntityModify(int16_t h, int32_t id, CDB_ENTITY *entity) {
    return Forward(EditDrawing(h), &CBaseDrawing::EntityModify, id, entity);
}
int16_t CDBEntityDelete(int16_t h, int32_t id) {
    return Forward(EditDrawing(h), &CBaseDrawing::EntityDelete, id);
}
int16_t CDBEntityDeleteCurrent(int16_t h) {
    return Forward(EditDrawing(h), &CBaseDrawing::EntityDeleteCurrent);
}
int16_t CDBSave(int16_t h) {
    return Forward(EditDrawing(h), &CBaseDrawing::Save);
}
int16_t CDBSaveAsDWG(int16_t h, const char *name) {
    return Forward(EditDrawing(h), &CBaseDrawing::SaveAsDWG, name);
}
int16_t CDBSaveAsDXF(int16_t h, const char *name, int16_t binary) {
    return Forward(EditDrawing(h), &CBaseDrawing::SaveAsDXF, name, binary);
}

// ---- External references ----------------------------------------------------------------

namespace {

// The checks that the reference calls share, in their order: the drawing, its tables,
// its block count, the index (the count itself passes). Null with the code set.
CBaseDrawing *XrefDrawing(int16_t h, int16_t block_index) {
    CLibDrawing *lib = LookupDrawing(h);
    CBaseDrawing *d = lib ? lib->Drawing() : nullptr;
    if (!d) {
        g_LastError = CDB_ERR_INVALID_DRAWING_HANDLE;
        return nullptr;
    }
    if (!lib->TriggerLoading()) {
        d->SetError(CDB_ERR_INVALID_FILE);
        return nullptr;
    }
    const int count = d->GetBlockTableCount();
    if (count < 0) {
        d->SetError(CDB_ERR_DRAWING_CORRUPTED);
        return nullptr;
    }
    if (block_index < 0 || block_index > count) {
        d->SetError(CDB_ERR_INVALID_INDEX);
        return nullptr;
    }
    return d;
}

} // namespace

int16_t CDBGetXREFPath(int16_t h, int16_t block_index, char *buffer) {
    CBaseDrawing *d = XrefDrawing(h, block_index);
    if (!d)
        return CDB_FAIL;
    if (!buffer) {
        d->SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    return Flag(d->GetXrefPath(block_index, buffer));
}
int16_t CDBResolveXREF(int16_t h, int16_t block_index) {
    CBaseDrawing *d = XrefDrawing(h, block_index);
    if (!d)
        return CDB_FAIL;
    if (!d->ResolveXREF(block_index)) {
        d->SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    return 0;
}
int16_t CDBResolveAllXREF(int16_t h) {
    CBaseDrawing *d = XrefDrawing(h, 0);
    if (!d)
        return CDB_FAIL;
    const int count = d->GetBlockTableCount();
    for (int16_t i = 0; i < count; ++i)
        CDBResolveXREF(h, i);
    return 0;
}

// ---- Shapes -----------------------------------------------------------------------------
// Name: the shape's data length with its name in `buffer`; data: the number of byte codes
// copied into `buffer`. Either reports 0 when the drawing has no such shape. The reverse
// lookups give 0 with the pair set, or -123 when no shape has the name.

int16_t CDBGetShapeName(int16_t h, int16_t style_index, int16_t shape_number, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? ShapeLength(d->GetShapeName(style_index, shape_number, buffer)) : CDB_FAIL;
}
int16_t CDBGetShapeData(int16_t h, int16_t style_index, int16_t shape_number, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d ? ShapeLength(d->GetShapeData(style_index, shape_number, buffer)) : CDB_FAIL;
}
int16_t CDBGetShapeNameFromEntity(int16_t h, CDB_SHAPE_ENTITY_type *shape, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d && shape ? ShapeLength(d->GetShapeName(shape, buffer)) : CDB_FAIL;
}
int16_t CDBGetShapeDataFromEntity(int16_t h, CDB_SHAPE_ENTITY_type *shape, char *buffer) {
    CBaseDrawing *d = ReadDrawing(h);
    return d && shape ? ShapeLength(d->GetShapeData(shape, buffer)) : CDB_FAIL;
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
// The slot of a style's font, as CDBGetShapeData takes it; -123 when the style has none.
int16_t CDBGetStyleShapeIndex(int16_t h, int16_t style_index) {
    CBaseDrawing *d = ReadDrawing(h);
    if (!d)
        return CDB_FAIL;
    int slot = d->StyleShapeIndex(style_index);
    return slot < 0 ? CDB_FAIL : static_cast<int16_t>(slot);
}

} // extern "C"
