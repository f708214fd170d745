// The table families of the flat interface: size, read, search and edit.
#include "model/base_drawing.h"
#include "interface/drawing_table.h"

#include <cstring>
#include <strings.h>

namespace {

template <typename Rec> struct TableSlots {
    int (CBaseDrawing::*count)();
    Rec *(CBaseDrawing::*get)(int);
    int16_t null_record_code;
    TableBase which;
};

bool IsRelease12(CBaseDrawing *drawing) {
    return strcasecmp(drawing->GetAcadVersion().c_str(), "AC1009") == 0;
}

template <typename Rec> int16_t TableCount(int16_t h, const TableSlots<Rec> &slots) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    return static_cast<int16_t>((lib->Drawing()->*slots.count)());
}

template <typename Rec>
int16_t TableGet(int16_t h, int16_t index, Rec *record, const TableSlots<Rec> &slots) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    CBaseDrawing *drawing = lib->Drawing();
    int count = (drawing->*slots.count)();
    if (index < 0 || index >= count) {
        lib->SetError(CDB_ERR_INVALID_INDEX);
        return CDB_FAIL;
    }
    // The record is tested before the copy, so that a null record fails cleanly.
    Rec *held = (drawing->*slots.get)(index);
    if (!record || !held) {
        lib->SetError(slots.null_record_code);
        return CDB_FAIL;
    }
    std::memcpy(static_cast<void *>(record), held, sizeof(Rec));
    if (IsRelease12(drawing) && (record->flags & 0xFF) >= 128)
        return CDB_DELETED;
    return 0;
}

template <typename Rec>
int16_t TableFind(int16_t h, const char *name, const TableSlots<Rec> &slots) {
    CLibDrawing *lib = LookupDrawingWith(h, name);
    if (!lib)
        return CDB_FAIL;
    // A release 12 drawing passes its deleted records by. The drawing's index of the names
    // answers as the search below would; the search reaches no index past 32767.
    CBaseDrawing *drawing = lib->Drawing();
    const int indexed = drawing->FindTableRecord(slots.which, name, IsRelease12(drawing));
    if (indexed >= 0 && indexed <= INT16_MAX)
        return static_cast<int16_t>(indexed);
    if (indexed != CBaseDrawing::kNotIndexed) {
        lib->SetError(CDB_ERR_TABLE_NOT_FOUND);
        return CDB_FAIL;
    }
    Rec record;
    for (int16_t i = 0; i >= 0; ++i) {
        int16_t result = TableGet(h, i, &record, slots);
        if (result == CDB_DELETED)
            continue;
        if (result == CDB_FAIL)
            break;
        if (record.name && std::strcmp(record.name, name) == 0)
            return i;
    }
    lib->SetError(CDB_ERR_TABLE_NOT_FOUND);
    return CDB_FAIL;
}

const TableSlots<CDB_BLOCK_TBL> kBlockSlots = {&CBaseDrawing::GetBlockTableCount,
                                               &CBaseDrawing::GetBlockTable,
                                               CDB_ERR_BLOCK_NOT_FOUND, TableBase::kBlocks};
const TableSlots<CDB_LAYER_TBL_type> kLayerSlots = {&CBaseDrawing::GetLayerTableCount,
                                                    &CBaseDrawing::GetLayerTable,
                                                    CDB_ERR_RECORD_NOT_FOUND, TableBase::kLayers};
const TableSlots<CDB_LTYPE_TBL_type> kLineTypeSlots = {
    &CBaseDrawing::GetLtypeTableCount, &CBaseDrawing::GetLtypeTable, CDB_ERR_RECORD_NOT_FOUND,
    TableBase::kLtypes};
const TableSlots<CDB_STYLE_TBL_type> kStyleSlots = {&CBaseDrawing::GetStyleTableCount,
                                                    &CBaseDrawing::GetStyleTable,
                                                    CDB_ERR_RECORD_NOT_FOUND, TableBase::kStyles};
const TableSlots<CDB_VPORT_TBL_type> kVportSlots = {&CBaseDrawing::GetVportTableCount,
                                                    &CBaseDrawing::GetVportTable,
                                                    CDB_ERR_RECORD_NOT_FOUND, TableBase::kVports};
const TableSlots<CDB_VIEW_TBL_type> kViewSlots = {&CBaseDrawing::GetViewTableCount,
                                                  &CBaseDrawing::GetViewTable,
                                                  CDB_ERR_RECORD_NOT_FOUND, TableBase::kViews};
const TableSlots<CDB_UCS_TBL_type> kUCSSlots = {&CBaseDrawing::GetUcsTableCount,
                                                &CBaseDrawing::GetUcsTable,
                                                CDB_ERR_RECORD_NOT_FOUND, TableBase::kUcs};
const TableSlots<CDB_APPID_TBL_type> kAppidSlots = {&CBaseDrawing::GetAppidTableCount,
                                                    &CBaseDrawing::GetAppidTable,
                                                    CDB_ERR_RECORD_NOT_FOUND, TableBase::kAppids};
const TableSlots<CDB_DIMSTYLE_TBL_type> kDimStyleSlots = {
    &CBaseDrawing::GetDimstyleTableCount, &CBaseDrawing::GetDimstyleTable, CDB_ERR_RECORD_NOT_FOUND,
    TableBase::kDimstyles};
const TableSlots<CDB_MLINESTYLE_TBL_type> kMLineStyleSlots = {
    &CBaseDrawing::GetMLineStyleTableCount, &CBaseDrawing::GetMLineStyleTable,
    CDB_ERR_RECORD_NOT_FOUND, TableBase::kMlineStyles};

} // namespace

#define VELKO_TABLE_READ(T, REC)                                                                   \
    int16_t CDB##T##TableCount(int16_t h) {                                                        \
        return TableCount(h, k##T##Slots);                                                         \
    }                                                                                              \
    int16_t CDB##T##TableGet(int16_t h, int16_t index, REC *record) {                              \
        return TableGet(h, index, record, k##T##Slots);                                            \
    }                                                                                              \
    int16_t CDB##T##TableFind(int16_t h, const char *name) {                                       \
        return TableFind(h, name, k##T##Slots);                                                    \
    }

#define VELKO_TABLE_EDIT(T, REC)                                                                   \
    int16_t CDB##T##TableAdd(int16_t h, REC *record) {                                             \
        CBaseDrawing *drawing = EditDrawing(h);                                                    \
        return drawing ? drawing->T##TableAdd(record) : CDB_FAIL;                                  \
    }                                                                                              \
    int16_t CDB##T##TableModify(int16_t h, int16_t index, REC *record) {                           \
        CBaseDrawing *drawing = EditDrawing(h);                                                    \
        return drawing ? drawing->T##TableModify(index, record) : CDB_FAIL;                        \
    }                                                                                              \
    int16_t CDB##T##TableDelete(int16_t h, int16_t index) {                                        \
        CBaseDrawing *drawing = EditDrawing(h);                                                    \
        return drawing && drawing->T##TableDelete(index) ? 0 : CDB_FAIL;                           \
    }

extern "C" {

VELKO_TABLE_READ(Block, CDB_BLOCK_TBL)
VELKO_TABLE_READ(Layer, CDB_LAYER_TBL_type)
VELKO_TABLE_READ(LineType, CDB_LTYPE_TBL_type)
VELKO_TABLE_READ(Style, CDB_STYLE_TBL_type)
VELKO_TABLE_READ(Vport, CDB_VPORT_TBL_type)
VELKO_TABLE_READ(View, CDB_VIEW_TBL_type)
VELKO_TABLE_READ(UCS, CDB_UCS_TBL_type)
VELKO_TABLE_READ(Appid, CDB_APPID_TBL_type)
VELKO_TABLE_READ(DimStyle, CDB_DIMSTYLE_TBL_type)
VELKO_TABLE_READ(MLineStyle, CDB_MLINESTYLE_TBL_type)

VELKO_TABLE_EDIT(Layer, CDB_LAYER_TBL_type)
VELKO_TABLE_EDIT(LineType, CDB_LTYPE_TBL_type)
VELKO_TABLE_EDIT(Style, CDB_STYLE_TBL_type)
VELKO_TABLE_EDIT(Vport, CDB_VPORT_TBL_type)
VELKO_TABLE_EDIT(View, CDB_VIEW_TBL_type)
VELKO_TABLE_EDIT(UCS, CDB_UCS_TBL_type)
VELKO_TABLE_EDIT(Appid, CDB_APPID_TBL_type)
VELKO_TABLE_EDIT(DimStyle, CDB_DIMSTYLE_TBL_type)

} // extern "C"
