// Editing a release 12 drawing in memory: table records, blocks, entities, variables.
//
// Table records are replaced, never changed in place: Add and Modify make a new record
// object from the caller's record (which keeps nothing of the caller's), and Delete is a
// Modify with the deleted flag. Entities are objects of their kind made from the record;
// Modify replaces the object, Delete takes it out of its list and keeps it aside.
#include "dwg12/r12_drawing.h"

#include "io/record_field.h"
#include "records/header_texts.h"
#include "records/header_vars.h"
#include "records/heap_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint8_t kXrefFlag = 0x04;

// Upper case in the "C" locale: only the letters a to z change.
void UpperAscii(char *text) {
    for (; text && *text; ++text)
        if (*text >= 'a' && *text <= 'z')
            *text = static_cast<char>(*text - 'a' + 'A');
}

// A name beginning with "*" (an anonymous block, "*ACTIVE") never counts as taken.
bool IsStarName(const char *name) {
    return name && name[0] == '*';
}

// ---- Table records -------------------------------------------------------------------------

// The table_id a new record of the list takes: that of the record at `index`, or of the
// first record, or the table's number for an empty list.
int16_t TableIdFor(const CR12TableList &list, int index) {
    if (const CR12TableRecord *record = list.At(index))
        return record->table_id;
    if (const CR12TableRecord *first = list.At(0))
        return first->table_id;
    return list.TableNumber();
}

// A new record object of the list's table holding copies of `record`'s values and texts.
std::unique_ptr<CR12LayoutRecord> MakeRecordFrom(CR12Drawing &drawing, CR12TableList &list,
                                                 int index, const void *record) {
    std::unique_ptr<CR12TableRecord> made(MakeR12TableRecord(&drawing, list.TableNumber()));
    std::unique_ptr<CR12LayoutRecord> object(dynamic_cast<CR12LayoutRecord *>(made.get()));
    if (!object)
        return nullptr;
    made.release();
    object->table_id = TableIdFor(list, index);
    object->SetFrom(record);
    return object;
}

// The index of the live record named exactly `name` (case counted), or -1: the search of
// the flat ...TableFind functions, which skips deleted records.
int FindLive(const CR12TableList &list, const char *name) {
    return name ? list.FindByName(name) : -1;
}

template <typename Rec> short AddRecord(CR12Drawing &drawing, int t, Rec *record) {
    if (!record) {
        drawing.SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    // The caller's name is upper-cased in place, so that names that differ only in case
    // collide.
    UpperAscii(record->name);
    CR12TableList &list = drawing.Table(t);
    std::unique_ptr<CR12LayoutRecord> object = MakeRecordFrom(drawing, list, -1, record);
    if (!object)
        return CDB_FAIL;
    const char *name = object->Name();
    if (!IsStarName(name) && FindLive(list, name) >= 0)
        return CDB_NAME_EXISTS;
    return static_cast<short>(list.Add(object.release()));
}

template <typename Rec>
short ModifyRecord(CR12Drawing &drawing, int t, short index, const Rec *record) {
    if (!record) {
        drawing.SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CR12TableList &list = drawing.Table(t);
    if (!list.At(index)) {
        drawing.SetError(CDB_ERR_INVALID_INDEX);
        return CDB_FAIL;
    }
    // The new object is made before the old one goes: the caller's record may point at
    // the old object's texts.
    std::unique_ptr<CR12LayoutRecord> object = MakeRecordFrom(drawing, list, index, record);
    if (!object)
        return CDB_FAIL;
    const char *name = object->Name();
    const int found = FindLive(list, name);
    if (found >= 0 && found != index && !IsStarName(name))
        return CDB_NAME_EXISTS;
    list.Replace(index, object.release());
    return 1;
}

// 1 or -5 as Modify gives them, 0 for a record that cannot be modified.
template <typename Rec> int DeleteRecord(CR12Drawing &drawing, int t, short index) {
    CR12TableRecord *held = drawing.Table(t).At(index);
    if (!held) {
        drawing.SetError(CDB_ERR_INVALID_INDEX);
        return 0;
    }
    Rec copy;
    std::memcpy(static_cast<void *>(&copy), held->GetRecord(), sizeof copy);
    copy.flags = static_cast<uint8_t>(copy.flags | kR12DeletedFlag);
    const short result = ModifyRecord(drawing, t, index, &copy);
    return result == CDB_FAIL ? 0 : result;
}

// ---- The header ------------------------------------------------------------------------------

#define HV(name) offsetof(CDB_HEADER_type, name)
// The handle references of release 13, which the release 12 header does not keep.
constexpr size_t kHeaderHandles[] = {
    HV(hceltype),  HV(hclayer),   HV(hcmlstyle),  HV(hdimstyle),
    HV(hdimtxsty), HV(hpucsname), HV(htextstyle), HV(hucsname),
};
#undef HV

// The handle seed of release 12 moves on as a decimal number: its text is read as decimal
// up to the first other character, one is added, the sum is taken to 16 bits and written
// back as decimal text.
void AdvanceHandseed(CDB_HEADER_type &vars) {
    char *seed = vars.handseed;
    if (!seed)
        return;
    uint32_t value = 0;
    for (size_t i = 0; i < kHeaderHandseedSize && seed[i] >= '0' && seed[i] <= '9'; ++i)
        value = (value * 10u + uint32_t(seed[i] - '0')) & 0xFFFFu;
    value = (value + 1u) & 0xFFFFu;
    char text[kHeaderHandseedSize];
    std::snprintf(text, sizeof text, "%u", static_cast<unsigned>(value));
    CopyIntoTextBlock(seed, kHeaderHandseedSize, text);
}

bool HandlingOn(const CDB_HEADER_type &vars) {
    return vars.handling != 0;
}

// ---- Blocks ----------------------------------------------------------------------------------

// The block table record of a block: its flags, and its name cut to 31 characters and
// upper-cased in `name`, at which the record points.
CDB_BLOCK_TBL BlockTableRecordOf(const CDB_STARTBLOCK_ENTITY_type &block,
                                 char (&name)[kR12NameBufferSize]) {
    std::memset(name, 0, sizeof name);
    if (block.name)
        std::memcpy(name, block.name, strnlen(block.name, sizeof name - 1));
    UpperAscii(name);
    CDB_BLOCK_TBL record;
    std::memset(static_cast<void *>(&record), 0, sizeof record);
    record.flags = static_cast<uint8_t>(block.flags);
    record.name = name;
    return record;
}

} // namespace

// ---- Table families -------------------------------------------------------------------------

#define VELKO_R12_TABLE_EDIT(T, REC, TABLE)                                                        \
    short CR12Drawing::T##TableAdd(REC *record) {                                                  \
        return AddRecord(*this, TABLE, record);                                                    \
    }                                                                                              \
    short CR12Drawing::T##TableModify(short index, REC *record) {                                  \
        return ModifyRecord(*this, TABLE, index, record);                                          \
    }                                                                                              \
    int CR12Drawing::T##TableDelete(short index) {                                                 \
        return DeleteRecord<REC>(*this, TABLE, index);                                             \
    }

VELKO_R12_TABLE_EDIT(Layer, CDB_LAYER_TBL_type, kR12Layers)
VELKO_R12_TABLE_EDIT(LineType, CDB_LTYPE_TBL_type, kR12Ltypes)
VELKO_R12_TABLE_EDIT(Style, CDB_STYLE_TBL_type, kR12Styles)
VELKO_R12_TABLE_EDIT(Vport, CDB_VPORT_TBL_type, kR12Vports)
VELKO_R12_TABLE_EDIT(View, CDB_VIEW_TBL_type, kR12Views)
VELKO_R12_TABLE_EDIT(UCS, CDB_UCS_TBL_type, kR12Ucs)
VELKO_R12_TABLE_EDIT(Appid, CDB_APPID_TBL_type, kR12Appids)
VELKO_R12_TABLE_EDIT(DimStyle, CDB_DIMSTYLE_TBL_type, kR12Dimstyles)

#undef VELKO_R12_TABLE_EDIT

// ---- Blocks ---------------------------------------------------------------------------------

short CR12Drawing::BlockTableAdd(CDB_BLOCK_TBL *record) {
    if (!record) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    CR12TableList &list = Table(kR12Blocks);
    std::unique_ptr<CR12LayoutRecord> object = MakeRecordFrom(*this, list, -1, record);
    if (!object)
        return CDB_FAIL;
    return static_cast<short>(list.Add(object.release()));
}

int CR12Drawing::BlockTableModify(short index, CDB_BLOCK_TBL *record) {
    if (!record) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return 0;
    }
    CR12TableList &list = Table(kR12Blocks);
    if (!list.At(index)) {
        SetError(CDB_ERR_INVALID_INDEX);
        return 0;
    }
    std::unique_ptr<CR12LayoutRecord> object = MakeRecordFrom(*this, list, index, record);
    if (!object)
        return 0;
    const uint8_t flags = object->Flags();
    list.Replace(index, object.release());
    // The walks see a block's flags in its own record: a deleted block is deleted there
    // too.
    if (CModelBlock *block = blocks.At(index))
        if (block->record)
            block->record->flags = flags;
    return 1;
}

void CR12Drawing::FillBlockRecord(CModelBlock &block, const CDB_STARTBLOCK_ENTITY_type &source,
                                  const char *name, const char *handle) {
    if (!block.record)
        return;
    // A block start object takes the record in as an entity of kind 12 (the start record
    // is the common part and the block part) and hands its copies over to the block.
    CR12BeginBlock begin(this);
    begin.SetRecord(reinterpret_cast<const CDB_ENTITY *>(&source));
    CDB_STARTBLOCK_ENTITY_type *record = block.record;
    char *kept_handle = handle ? DuplicateText(handle) : nullptr;
    std::free(record->handle);
    std::free(record->eed_data);
    std::free(record->xref_path);
    std::free(record->name);
    std::free(record->name_2);
    begin.ReleaseRecordTo(record);
    record->entity_type = CDB_BLOCK;
    if (kept_handle) {
        std::free(record->handle);
        record->handle = kept_handle;
    }
    std::free(record->name);
    record->name = static_cast<char *>(std::calloc(kR12NameBufferSize, 1));
    if (record->name && name)
        std::memcpy(record->name, name, strnlen(name, kR12NameBufferSize - 1));
    block.plain = (record->flags & kXrefFlag) ? 0 : 1;
    block.code = CDB_BLOCK;
}

short CR12Drawing::BlockAdd(CDB_STARTBLOCK_ENTITY_type *block) {
    if (!block || !block->name) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    if (IsStarName(block->name) || FindLive(Table(kR12Blocks), block->name) >= 0)
        return CDB_NAME_EXISTS;
    const bool handling = HandlingOn(header.vars);
    // The block takes the seed as it stands now as its handle.
    char seed[kHeaderHandseedSize] = {};
    if (handling && header.vars.handseed)
        CopyIntoTextBlock(seed, sizeof seed, header.vars.handseed);
    if (!TriggerLoading())
        return CDB_FAIL;

    char name[kR12NameBufferSize] = {};
    CDB_BLOCK_TBL table_record = BlockTableRecordOf(*block, name);
    const short index = BlockTableAdd(&table_record);
    if (index < 0)
        return CDB_FAIL;
    if (handling)
        AdvanceHandseed(header.vars);

    auto object = std::make_unique<CModelBlock>();
    FillBlockRecord(*object, *block, name, handling ? seed : nullptr);
    object->entities = std::make_unique<CEntityList>();
    // A new block's list holds its end only.
    auto *end = new CR12EndBlock(this);
    if (handling && end->GetData())
        end->GetData()->handle = DuplicateText(header.vars.handseed);
    object->entities->Append(end);
    AdvanceHandseed(header.vars);

    // Block numbers are table indexes.
    if (blocks.Count() == index)
        blocks.Add(object.release());
    else
        blocks.Put(index, object.release());
    return index;
}

short CR12Drawing::BlockModify(short index, CDB_STARTBLOCK_ENTITY_type *block) {
    if (!TriggerLoading())
        return 0;
    if (!block || !block->name) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    // Only a rename to a name that is free passes.
    if (IsStarName(block->name) || FindLive(Table(kR12Blocks), block->name) >= 0)
        return CDB_NAME_EXISTS;
    CModelBlock *object = blocks.At(index);
    if (!object || !Table(kR12Blocks).At(index)) {
        SetError(CDB_ERR_BLOCK_NOT_FOUND);
        return CDB_FAIL;
    }
    char name[kR12NameBufferSize] = {};
    CDB_BLOCK_TBL table_record = BlockTableRecordOf(*block, name);
    if (!BlockTableModify(index, &table_record))
        return CDB_FAIL;
    // A record without a handle (as the block walk hands them out) keeps the block's.
    char *old_handle = object->record ? DuplicateText(object->record->handle) : nullptr;
    FillBlockRecord(*object, *block, name, block->handle ? nullptr : old_handle);
    std::free(old_handle);
    return 0;
}

// ---- Entities -------------------------------------------------------------------------------

CModelEntity *CR12Drawing::MakeEntity(int16_t kind) {
    return MakeR12Entity(this, kind);
}

void CR12Drawing::AssignNewHandle(CModelEntity &entity) {
    CDB_ENTITY *record = entity.GetData();
    if (!HandlingOn(header.vars) || !record)
        return;
    std::free(record->handle);
    record->handle = DuplicateText(header.vars.handseed);
}

void CR12Drawing::NewHandleUsed() {
    if (HandlingOn(header.vars))
        AdvanceHandseed(header.vars);
}

// ---- Header variables -----------------------------------------------------------------------

int CR12Drawing::SetVariableValue(const char *name, CDB_VAR_VALUE_type *value) {
    SetError(CDB_ERR_NONE);
    if (!name || !value) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    SetHeaderVariable(header.vars, HeaderRelease::R12, name, *value, HeaderTextRoomOf);
    return 0;
}

short CR12Drawing::SetAllVariables(CDB_HEADER_type *source) {
    if (!source) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    // The values come over; the header keeps its own text blocks and copies the texts
    // into them, and keeps no handle references.
    const CDB_HEADER_type before = header.vars;
    CDB_HEADER_type taken;
    std::memcpy(static_cast<void *>(&taken), source, sizeof taken);
    header.vars = taken;
    for (const HeaderTextBlock &block : kHeaderTextBlocks) {
        char *own = LoadField<char *>(&before, block.offset);
        StoreField(&header.vars, block.offset, own);
        CopyIntoTextBlock(own, block.room, LoadField<const char *>(&taken, block.offset));
    }
    for (size_t offset : kHeaderHandles)
        StoreField(&header.vars, offset, LoadField<char *>(&before, offset));
    return 0;
}
