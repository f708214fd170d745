#include "model/base_drawing.h"

#include "fonts/shape_table.h"
#include "records/entity_defaults.h"
#include "records/file_options.h"

#include <cstring>

CBaseDrawing::CBaseDrawing(int flag) : view_flag(flag), read_options(g_ReadOptions) {
    shape_table = new CShapeTable(this);
}

CBaseDrawing::~CBaseDrawing() {
    // The shape table of an external reference belongs to the drawing that loaded it.
    if (owns_shape_table)
        delete shape_table;
}

void CBaseDrawing::UseShapeTableOf(const CBaseDrawing &owner) {
    if (&owner == this)
        return;
    if (owns_shape_table)
        delete shape_table;
    shape_table = owner.shape_table;
    owns_shape_table = false;
}

// ---- Shape lookups through the drawing's shape table --------------------------------

short CBaseDrawing::GetShapeName(CDB_SHAPE_ENTITY_type *shape, char *buffer) {
    if (!shape)
        return CDB_FAIL;
    return GetShapeName(shape->shape_style_index, shape->shape_number, buffer);
}

short CBaseDrawing::GetShapeName(short style_index, short shape_number, char *buffer) {
    const char *name = nullptr;
    size_t name_length = 0;
    int length =
        shape_table ? shape_table->ShapeName(style_index, shape_number, &name, &name_length) : 0;
    if (length <= 0)
        return CDB_FAIL;
    if (buffer) {
        std::memcpy(buffer, name, name_length);
        buffer[name_length] = 0;
    }
    return static_cast<short>(length);
}

short CBaseDrawing::GetShapeData(CDB_SHAPE_ENTITY_type *shape, char *buffer) {
    if (!shape)
        return CDB_FAIL;
    return GetShapeData(shape->shape_style_index, shape->shape_number, buffer);
}

short CBaseDrawing::GetShapeData(short style_index, short shape_number, char *buffer) {
    const uint8_t *codes = nullptr;
    size_t code_length = 0;
    int length = shape_table ? shape_table->ShapeData(style_index, shape_number, &codes,
                                                      &code_length, nullptr)
                             : 0;
    if (length <= 0)
        return CDB_FAIL;
    if (buffer && code_length)
        std::memcpy(buffer, codes, code_length);
    return static_cast<short>(code_length);
}

short CBaseDrawing::GetShapeId(CDB_SHAPE_ENTITY_type *shape, const char *name) {
    if (!shape)
        return CDB_FAIL;
    short style_index = shape->shape_style_index;
    short shape_number = shape->shape_number;
    short result = GetShapeId(style_index, shape_number, name);
    if (result == 0) {
        shape->shape_style_index = style_index;
        shape->shape_number = shape_number;
    }
    return result;
}

short CBaseDrawing::GetShapeId(short &style_index, short &shape_number, const char *name) {
    if (!shape_table)
        return CDB_FAIL;
    return shape_table->ShapeId(style_index, shape_number, name) ? 0 : CDB_FAIL;
}

// ---- The sequence of added entities ----------------------------------------------------

int CBaseDrawing::CheckSequence(short entity_type) {
    SetError(CDB_ERR_NONE);
    auto out_of_turn = [this] {
        SetError(CDB_ERR_WRONG_SEQUENCE);
        return 0;
    };
    switch (entity_type) {
    case CDB_INSERT:
        // An insert may stand in a polyline's run; it opens its attributes.
        in_insert = 1;
        return 1;
    case CDB_ATTRIB:
        return in_insert ? 1 : out_of_turn();
    case CDB_SEQEND:
        if (!in_polyline && !in_insert)
            return 0;
        in_polyline = 0;
        in_insert = 0;
        return 1;
    case CDB_POLYLINE:
        if (in_polyline)
            return out_of_turn();
        in_polyline = 1;
        return 1;
    case CDB_VERTEX:
        return in_polyline ? 1 : out_of_turn();
    default:
        // A plain entity closes an insert without attributes, but not a polyline.
        if (in_polyline)
            return out_of_turn();
        in_insert = 0;
        return 1;
    }
}

// ---- Operations a drawing class does not offer ----------------------------------------

int CBaseDrawing::Unsupported() {
    SetError(CDB_ERR_INVALID_FILE);
    return 0;
}

int CBaseDrawing::CloseDWGFile() {
    return Unsupported();
}
int CBaseDrawing::LoadDWG() {
    return Unsupported();
}
int CBaseDrawing::LoadDXF() {
    return Unsupported();
}
int CBaseDrawing::PrepareForView() {
    return 1;
}
CDB_HEADER_type *CBaseDrawing::GetAllVars() {
    return Unsupported(), nullptr;
}
void CBaseDrawing::LoadEntities() {
    Unsupported();
}
CDB_STARTBLOCK_ENTITY_type *CBaseDrawing::LoadBlock(int) {
    return Unsupported(), nullptr;
}
int CBaseDrawing::GetLayerTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_LAYER_TBL_type *CBaseDrawing::GetLayerTable(int) {
    return nullptr;
}
int CBaseDrawing::GetLtypeTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_LTYPE_TBL_type *CBaseDrawing::GetLtypeTable(int) {
    return nullptr;
}
int CBaseDrawing::GetVportTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_VPORT_TBL_type *CBaseDrawing::GetVportTable(int) {
    return nullptr;
}
int CBaseDrawing::GetStyleTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_STYLE_TBL_type *CBaseDrawing::GetStyleTable(int) {
    return nullptr;
}
int CBaseDrawing::GetBlockTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_BLOCK_TBL *CBaseDrawing::GetBlockTable(int) {
    return nullptr;
}
int CBaseDrawing::GetUcsTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_UCS_TBL_type *CBaseDrawing::GetUcsTable(int) {
    return nullptr;
}
int CBaseDrawing::GetAppidTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_APPID_TBL_type *CBaseDrawing::GetAppidTable(int) {
    return nullptr;
}
int CBaseDrawing::GetDimstyleTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_DIMSTYLE_TBL_type *CBaseDrawing::GetDimstyleTable(int) {
    return nullptr;
}
int CBaseDrawing::GetMLineStyleTableCount() {
    return CDB_FAIL;
}
CDB_MLINESTYLE_TBL_type *CBaseDrawing::GetMLineStyleTable(int) {
    return nullptr;
}
int CBaseDrawing::GetViewTableCount() {
    return Unsupported(), CDB_FAIL;
}
CDB_VIEW_TBL_type *CBaseDrawing::GetViewTable(int) {
    return nullptr;
}
short CBaseDrawing::GetFirstBlock(CDB_STARTBLOCK_ENTITY_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetNextBlock(CDB_STARTBLOCK_ENTITY_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetBlockAt(int, CDB_STARTBLOCK_ENTITY_type *) {
    return Unsupported(), CDB_FAIL;
}
int CBaseDrawing::FindTableRecord(TableBase, const char *, bool) {
    return kNotIndexed;
}
int32_t CBaseDrawing::FirstEntity(short) {
    return Unsupported(), CDB_FAIL;
}
int32_t CBaseDrawing::NextEntity() {
    return Unsupported(), CDB_FAIL;
}
int32_t CBaseDrawing::GetCurrentEntity(CDB_ENTITY *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::EntityCount(short) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GotoEntity(int32_t) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetEntity(int32_t, CDB_ENTITY *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetCurrentBlock(CDB_STARTBLOCK_ENTITY_type *) {
    return Unsupported(), CDB_FAIL;
}
int CBaseDrawing::TriggerLoading() {
    return Unsupported();
}
int CBaseDrawing::GetFirstViewport(CDB_ENTITY *) {
    return Unsupported(), CDB_FAIL;
}
int CBaseDrawing::GetNextViewport(CDB_ENTITY *) {
    return Unsupported(), CDB_FAIL;
}
char *CBaseDrawing::GetFileName() {
    return nullptr;
}
short CBaseDrawing::GetEED(CDB_ENTITY *, CDB_EED_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetFirstAppid(CDB_EED_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetNextAppid(CDB_EED_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetFirstValue(CDB_EED_type *, CDB_EED_VALUES *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::GetNextValue(CDB_EED_type *, CDB_EED_VALUES *) {
    return Unsupported(), CDB_FAIL;
}
const std::string &CBaseDrawing::GetAcadVersion() {
    static const std::string none;
    return none;
}
short CBaseDrawing::GetVariableValue(const char *, CDB_VAR_VALUE_type *) {
    return 0;
}
int CBaseDrawing::IsAnyPaperSpace() {
    return 0;
}
int CBaseDrawing::ResolveXREF(int) {
    return Unsupported();
}
int CBaseDrawing::GetXrefPath(short, char *) {
    return Unsupported();
}
int CBaseDrawing::LayerTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::LineTypeTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::StyleTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::VportTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::ViewTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::UCSTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::AppidTableDelete(short) {
    return Unsupported();
}
int CBaseDrawing::DimStyleTableDelete(short) {
    return Unsupported();
}
short CBaseDrawing::LayerTableAdd(CDB_LAYER_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::LineTypeTableAdd(CDB_LTYPE_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::StyleTableAdd(CDB_STYLE_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::VportTableAdd(CDB_VPORT_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::ViewTableAdd(CDB_VIEW_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::UCSTableAdd(CDB_UCS_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::AppidTableAdd(CDB_APPID_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::DimStyleTableAdd(CDB_DIMSTYLE_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::LayerTableModify(short, CDB_LAYER_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::LineTypeTableModify(short, CDB_LTYPE_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::StyleTableModify(short, CDB_STYLE_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::VportTableModify(short, CDB_VPORT_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::ViewTableModify(short, CDB_VIEW_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::UCSTableModify(short, CDB_UCS_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::AppidTableModify(short, CDB_APPID_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::DimStyleTableModify(short, CDB_DIMSTYLE_TBL_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::SetAllVariables(CDB_HEADER_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::SaveAsDWG(const char *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::SaveAsDXF(const char *, int) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::Save() {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::BlockAdd(CDB_STARTBLOCK_ENTITY_type *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::BlockTableAdd(CDB_BLOCK_TBL *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::BlockModify(short, CDB_STARTBLOCK_ENTITY_type *) {
    return Unsupported(), CDB_FAIL;
}
int CBaseDrawing::BlockTableModify(short, CDB_BLOCK_TBL *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::BlockDefault(CDB_STARTBLOCK_ENTITY_type *block) {
    if (!block)
        return CDB_FAIL;
    std::memset(block, 0, sizeof *block);
    block->entity_type = CDB_BLOCK;
    block->line_type_index = -1;
    block->color = -1;
    block->extrusion.z = 1.0;
    return 0;
}

short CBaseDrawing::EntityDefault(CDB_ENTITY *entity, short type) {
    return FillEntityDefault(entity, type);
}
int32_t CBaseDrawing::EntityAdd(short, CDB_ENTITY *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::EntityModify(int32_t, CDB_ENTITY *) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::EntityDelete(int32_t) {
    return Unsupported(), CDB_FAIL;
}
short CBaseDrawing::EntityDeleteCurrent() {
    return Unsupported(), CDB_FAIL;
}
int CBaseDrawing::SetVariableValue(const char *, CDB_VAR_VALUE_type *) {
    return Unsupported(), CDB_FAIL;
}
