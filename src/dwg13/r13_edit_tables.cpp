// Editing the tables of a release 13 drawing in memory: records added, modified and flagged
// deleted, and the header's variables.
//
// A record is replaced, never changed in place: Add and Modify make a new record object
// from the caller's record (TakePublic: the object keeps copies of everything the record
// points at), and Delete is a Modify with the deleted flag. A new record takes the next
// handle of the drawing and a reference in its table's control object, so that a save
// finds it where it finds the records read from the file.
#include "dwg13/r13_drawing.h"

#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/record_field.h"
#include "records/header_texts.h"
#include "records/heap_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr uint8_t kDeletedFlag = 0x80;
// The code of the reference a control object keeps to a record added by editing.
constexpr int16_t kNewEntryCode = 2;

// Upper case in the "C" locale: only the letters a to z change.
void UpperAscii(char *text) {
    for (; text && *text; ++text)
        if (*text >= 'a' && *text <= 'z')
            *text = static_cast<char>(*text - 'a' + 'A');
}

// A name beginning with "*" ("*ACTIVE", an anonymous block) never counts as taken.
bool IsStarName(const char *name) {
    return name && name[0] == '*';
}

// A new record object of the table holding copies of `record`'s values and texts.
std::unique_ptr<CR13TableRecord> RecordFrom(CR13Drawing &drawing, const CR13Table &table,
                                            const void *record) {
    std::unique_ptr<CR13TableRecord> object(MakeR13TableRecord(&drawing, table.RecordType()));
    if (object)
        object->TakePublic(record);
    return object;
}

// What a record of the table takes from the drawing beyond its public record: a layer the
// handle of its line type (by index, when the table has it), a text style its font.
void LinkRecord(CR13Drawing &drawing, CR13TableRecord &record, const CR13TableRecord *known) {
    if (record.RecordType() == kR13Layer) {
        auto &layer = static_cast<CR13LayerRecord &>(record).Rec();
        const int index = layer.line_type_index - drawing.Base(TableBase::kLtypes);
        if (const char *handle = drawing.Table(R13Table::kLtypes).HandleAt(index)) {
            std::free(layer.line_type_handle);
            layer.line_type_handle = DuplicateText(handle);
        }
    } else if (record.RecordType() == kR13Style) {
        static_cast<CR13StyleRecord &>(record).AttachFont(
            known && known->RecordType() == kR13Style ? static_cast<const CR13StyleRecord *>(known)
                                                      : nullptr);
    }
}

template <typename Rec> short AddRecord(CR13Drawing &drawing, R13Table which, Rec *record) {
    if (!record) {
        drawing.SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    // The caller's name is upper-cased in place, so that names that differ only in case
    // collide.
    UpperAscii(record->name);
    CR13Table &table = drawing.Table(which);
    std::unique_ptr<CR13TableRecord> object = RecordFrom(drawing, table, record);
    if (!object)
        return CDB_FAIL;
    const char *name = object->Name();
    if (!IsStarName(name) && table.IndexOfName(name) >= 0)
        return CDB_NAME_EXISTS;
    drawing.EnterNewRecord(table, *object);
    LinkRecord(drawing, *object, nullptr);
    table.AddRecord(object.release());
    return static_cast<short>(table.records.Count() - 1);
}

template <typename Rec>
short ModifyRecord(CR13Drawing &drawing, R13Table which, short index, const Rec *record) {
    if (!record) {
        drawing.SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CR13Table &table = drawing.Table(which);
    const CR13TableRecord *old = table.RecordAt(index);
    if (!old) {
        drawing.SetError(CDB_ERR_INVALID_INDEX);
        return CDB_FAIL;
    }
    // The new object is made before the old one goes: the caller's record may point at the
    // old object's texts.
    std::unique_ptr<CR13TableRecord> object = RecordFrom(drawing, table, record);
    if (!object)
        return CDB_FAIL;
    const char *name = object->Name();
    const int found = table.IndexOfName(name);
    if (found >= 0 && found != index && !IsStarName(name))
        return CDB_NAME_EXISTS;
    // The slot is the old record's: its handle stays, whatever the caller's record said.
    object->SetHandle(old->RecordHandle());
    LinkRecord(drawing, *object, old);
    table.records.Replace(index, object.release());
    return 1;
}

// What Modify gave (1, or -5), or 0 for a record that cannot be modified.
template <typename Rec> int DeleteRecord(CR13Drawing &drawing, R13Table which, short index) {
    CR13TableRecord *held = drawing.Table(which).RecordAt(index);
    if (!held) {
        drawing.SetError(CDB_ERR_INVALID_INDEX);
        return 0;
    }
    Rec copy;
    std::memcpy(static_cast<void *>(&copy), held->GetRecord(), sizeof copy);
    copy.flags = static_cast<decltype(copy.flags)>(copy.flags | kDeletedFlag);
    const short result = ModifyRecord(drawing, which, index, &copy);
    return result == CDB_FAIL ? 0 : result;
}

#define HV(name) offsetof(CDB_HEADER_type, name)
// The handle texts of the header, which it owns as malloc texts.
constexpr size_t kR13HeaderHandleTexts[] = {
    HV(hceltype),  HV(hclayer),   HV(hcmlstyle),  HV(hdimstyle),
    HV(hdimtxsty), HV(hpucsname), HV(htextstyle), HV(hucsname),
};
#undef HV

} // namespace

void CR13Drawing::EnterNewRecord(CR13Table &table, CR13TableRecord &record) {
    const std::string handle = TakeNextHandle();
    record.SetHandle(handle.c_str());
    const uint32_t value = R13HandleValue(handle.c_str());
    if (file_kind == kDwg)
        object_map->InsertSorted(ObjectMapEntry{value, 0});
    CR13TableHead &head = table.head;
    // The line type control keeps its BYLAYER and BYBLOCK references behind the entries.
    const size_t count = head.entry_count > 0 ? static_cast<size_t>(head.entry_count) : 0;
    const size_t at = std::min(head.entries.size(), count);
    head.entries.insert(head.entries.begin() + static_cast<std::ptrdiff_t>(at),
                        CHandleRef{kNewEntryCode, value});
    head.entry_count = static_cast<int16_t>(at + 1);
}

// ---- Table families -------------------------------------------------------------------------

#define VELKO_R13_TABLE_EDIT(T, REC, TABLE)                                                        \
    short CR13Drawing::T##TableAdd(REC *record) {                                                  \
        return AddRecord(*this, TABLE, record);                                                    \
    }                                                                                              \
    short CR13Drawing::T##TableModify(short index, REC *record) {                                  \
        return ModifyRecord(*this, TABLE, index, record);                                          \
    }                                                                                              \
    int CR13Drawing::T##TableDelete(short index) {                                                 \
        return DeleteRecord<REC>(*this, TABLE, index);                                             \
    }

VELKO_R13_TABLE_EDIT(Layer, CDB_LAYER_TBL_type, R13Table::kLayers)
VELKO_R13_TABLE_EDIT(LineType, CDB_LTYPE_TBL_type, R13Table::kLtypes)
VELKO_R13_TABLE_EDIT(Style, CDB_STYLE_TBL_type, R13Table::kStyles)
VELKO_R13_TABLE_EDIT(Vport, CDB_VPORT_TBL_type, R13Table::kVports)
VELKO_R13_TABLE_EDIT(View, CDB_VIEW_TBL_type, R13Table::kViews)
VELKO_R13_TABLE_EDIT(UCS, CDB_UCS_TBL_type, R13Table::kUcs)
VELKO_R13_TABLE_EDIT(Appid, CDB_APPID_TBL_type, R13Table::kAppids)
VELKO_R13_TABLE_EDIT(DimStyle, CDB_DIMSTYLE_TBL_type, R13Table::kDimstyles)

#undef VELKO_R13_TABLE_EDIT

// ---- The header ------------------------------------------------------------------------------

short CR13Drawing::SetAllVariables(CDB_HEADER_type *source) {
    if (!source) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    // The values come over; the header keeps its own text blocks and copies the texts into
    // them, and takes copies of the handle texts.
    CDB_HEADER_type &vars = header->vars;
    const CDB_HEADER_type before = vars;
    CDB_HEADER_type taken;
    std::memcpy(static_cast<void *>(&taken), source, sizeof taken);
    vars = taken;
    for (const HeaderTextBlock &block : kHeaderTextBlocks) {
        char *own = LoadField<char *>(&before, block.offset);
        StoreField(&vars, block.offset, own);
        CopyIntoTextBlock(own, block.room, LoadField<const char *>(&taken, block.offset));
    }
    for (size_t offset : kR13HeaderHandleTexts) {
        char *own = LoadField<char *>(&before, offset);
        StoreField(&vars, offset, DuplicateText(LoadField<const char *>(&taken, offset)));
        std::free(own);
    }
    return 0;
}
