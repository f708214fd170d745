// Editing a release 12 drawing in memory: table records, blocks, entities, variables.
#include "dwg12/r12_drawing.h"

// clang-format off
int CR12Drawing::LayerTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::LineTypeTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::StyleTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::VportTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::ViewTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::UCSTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::AppidTableDelete(short) { return Unsupported(), 0; }
int CR12Drawing::DimStyleTableDelete(short) { return Unsupported(), 0; }
short CR12Drawing::LayerTableAdd(CDB_LAYER_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::LineTypeTableAdd(CDB_LTYPE_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::StyleTableAdd(CDB_STYLE_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::VportTableAdd(CDB_VPORT_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::ViewTableAdd(CDB_VIEW_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::UCSTableAdd(CDB_UCS_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::AppidTableAdd(CDB_APPID_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::DimStyleTableAdd(CDB_DIMSTYLE_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::LayerTableModify(short, CDB_LAYER_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::LineTypeTableModify(short, CDB_LTYPE_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::StyleTableModify(short, CDB_STYLE_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::VportTableModify(short, CDB_VPORT_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::ViewTableModify(short, CDB_VIEW_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::UCSTableModify(short, CDB_UCS_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::AppidTableModify(short, CDB_APPID_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::DimStyleTableModify(short, CDB_DIMSTYLE_TBL_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::BlockAdd(CDB_STARTBLOCK_ENTITY_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::BlockTableAdd(CDB_BLOCK_TBL *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::BlockModify(short, CDB_STARTBLOCK_ENTITY_type *) { return Unsupported(), CDB_FAIL; }
int CR12Drawing::BlockTableModify(short, CDB_BLOCK_TBL *) { return Unsupported(), 0; }
int32_t CR12Drawing::EntityAdd(short, CDB_ENTITY *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::EntityModify(int32_t, CDB_ENTITY *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::EntityDelete(int32_t) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::EntityDeleteCurrent() { return Unsupported(), CDB_FAIL; }
int CR12Drawing::SetVariableValue(const char *, CDB_VAR_VALUE_type *) { return Unsupported(), CDB_FAIL; }
short CR12Drawing::SetAllVariables(CDB_HEADER_type *) { return Unsupported(), CDB_FAIL; }
// clang-format on
