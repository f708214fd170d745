// The release 13 drawing: its file, its header, its tables and the resolution of handles.
#include "dwg13/r13_drawing.h"

#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/drawing_file.h"
#include "records/header_texts.h"
#include "records/header_vars.h"

#include <cstring>

namespace {

// The record type of each table, in the order of R13Table.
constexpr int16_t kRecordTypes[kR13TableCount] = {
    kR13BlockHeader, kR13Layer, kR13Style,    kR13Ltype,    kR13View,       kR13Ucs,
    kR13Vport,       kR13Appid, kR13Dimstyle, kR13VpEntHdr, kR13MlineStyle,
};

} // namespace

CR13Drawing::CR13Drawing(CLibDrawing *owner, int flag)
    : CListDrawing(flag), header(std::make_unique<CR13Header>()),
      object_map(std::make_unique<CObjectMap>()), carried_objects(std::make_unique<CObjectMap>()) {
    SetLib(owner);
    for (size_t t = 0; t < kR13TableCount; ++t)
        tables[t] = std::make_unique<CR13Table>(this, kRecordTypes[t], static_cast<int16_t>(t));
}

CR13Drawing::~CR13Drawing() {
    if (file)
        file->Close();
}

// ---- The file -----------------------------------------------------------------------------

int CR13Drawing::OpenDWG(const char *name, CDB_OPEN_MODE mode) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    auto opened = std::make_unique<CDrawingFile>();
    if (!name || !opened->Open(name, mode)) {
        SetError(CDB_ERR_OPENING_FILE);
        return 0;
    }
    file_name = name;
    opened->SetPosition(0, 0);
    if (!opened->Read(opened->version, sizeof opened->version) || opened->GetPosition() != 6) {
        opened->Close();
        SetError(CDB_ERR_FILE_READ);
        return 0;
    }
    if (std::memcmp(opened->version, "AC1012", 6) != 0) {
        opened->Close();
        SetError(CDB_ERR_VERSION_MISMATCH);
        return CDB_FAIL;
    }
    file = std::move(opened);
    file_kind = kDwg;
    return 1;
}

void CR13Drawing::AttachFile(std::unique_ptr<CDrawingFile> opened, int kind) {
    file = std::move(opened);
    file_kind = kind;
}

int CR13Drawing::CloseDWGFile() {
    if (!file) {
        SetError(CDB_ERR_FILE_NOT_OPEN);
        return 0;
    }
    int closed = file->Close();
    file.reset();
    if (!closed) {
        SetError(CDB_ERR_FILE_CLOSE);
        return 0;
    }
    return 1;
}

char *CR13Drawing::GetFileName() {
    return file_name.data();
}

const std::string &CR13Drawing::GetAcadVersion() {
    return version;
}

// ---- The header ---------------------------------------------------------------------------

CDB_HEADER_type *CR13Drawing::GetAllVars() {
    return &header->vars;
}

short CR13Drawing::GetVariableValue(const char *name, CDB_VAR_VALUE_type *value) {
    if (!name || !value)
        return 0;
    return GetHeaderVariable(header->vars, HeaderRelease::R13, name, value);
}

int CR13Drawing::SetVariableValue(const char *name, CDB_VAR_VALUE_type *value) {
    SetError(CDB_ERR_NONE);
    if (!name || !value) {
        SetError(CDB_ERR_INVALID_PARAMETER);
        return CDB_FAIL;
    }
    header->SetVariable(name, *value);
    return 0;
}

// ---- Tables and handles -------------------------------------------------------------------

std::string CR13Drawing::TakeNextHandle() {
    char *seed = header->vars.handseed;
    const std::string handle = seed && *seed ? seed : "1";
    if (seed)
        CopyIntoTextBlock(seed, kHeaderHandseedSize,
                          R13HandleText(R13HandleValue(handle.c_str()) + 1).c_str());
    return handle;
}

CR13Table *CR13Drawing::PublicTableOf(TableBase which) const {
    switch (which) {
    case TableBase::kBlocks:
        return tables[static_cast<size_t>(R13Table::kBlocks)].get();
    case TableBase::kLayers:
        return tables[static_cast<size_t>(R13Table::kLayers)].get();
    case TableBase::kLtypes:
        return tables[static_cast<size_t>(R13Table::kLtypes)].get();
    case TableBase::kDimstyles:
        return tables[static_cast<size_t>(R13Table::kDimstyles)].get();
    case TableBase::kStyles:
        return tables[static_cast<size_t>(R13Table::kStyles)].get();
    case TableBase::kMlineStyles:
        return tables[static_cast<size_t>(R13Table::kMlineStyles)].get();
    case TableBase::kAppids:
        return tables[static_cast<size_t>(R13Table::kAppids)].get();
    case TableBase::kViews:
        return tables[static_cast<size_t>(R13Table::kViews)].get();
    case TableBase::kUcs:
        return tables[static_cast<size_t>(R13Table::kUcs)].get();
    case TableBase::kVports:
        return tables[static_cast<size_t>(R13Table::kVports)].get();
    default:
        return nullptr;
    }
}

CTableList *CR13Drawing::PublicTable(TableBase which) {
    CR13Table *table = PublicTableOf(which);
    return table ? &table->records : nullptr;
}

int CR13Drawing::GetMLineStyleTableCount() {
    return Table(R13Table::kMlineStyles).records.Count();
}

CDB_MLINESTYLE_TBL_type *CR13Drawing::GetMLineStyleTable(int index) {
    CR13TableRecord *record = Table(R13Table::kMlineStyles).records.At(index);
    return record ? static_cast<CDB_MLINESTYLE_TBL_type *>(record->GetRecord()) : nullptr;
}

int CR13Drawing::IndexOfHandle(TableBase which, const char *handle) const {
    const CR13Table *table = PublicTableOf(which);
    return table && handle ? table->IndexOfHandle(handle) : -1;
}

int16_t CR13Drawing::ApplicationIndex(const char *handle) const {
    return static_cast<int16_t>(IndexOfHandle(TableBase::kAppids, handle) +
                                Base(TableBase::kAppids));
}

int16_t CR13Drawing::LayerIndex(const char *handle) const {
    return static_cast<int16_t>(IndexOfHandle(TableBase::kLayers, handle) +
                                Base(TableBase::kLayers));
}

// ---- Entities -----------------------------------------------------------------------------

std::unique_ptr<CR13Entity> CR13Drawing::MakeEntityOfType(int type) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    if (!kind || !kind->make)
        return nullptr;
    return std::unique_ptr<CR13Entity>(kind->make(this, kind->type));
}

CModelEntity *CR13Drawing::MakeEntity(int16_t kind) {
    // The first type of the table that gives the public kind.
    for (int type = 1; type <= 500; ++type) {
        const R13EntityKind *row = FindR13EntityKind(type);
        if (row && row->code == kind && row->make)
            return row->make(this, row->type);
    }
    return nullptr;
}

namespace {

// The kinds whose records view mode never hands over: their data is opaque.
bool IsNeverHandedOut(int16_t kind) {
    return kind == CDB_REGION || kind == CDB_3DSOLID || kind == CDB_BODY || kind == CDB_OLEFRAME;
}

} // namespace

void CR13Drawing::HandOut(CEntityList &list, bool to_block) {
    if (!ViewFlag())
        return;
    for (CModelEntity *object : list.TakeAll()) {
        std::unique_ptr<CR13Entity> entity(static_cast<CR13Entity *>(object));
        if (IsNeverHandedOut(entity->Code()) || !Lib())
            continue; // destroyed with all it points at
        CDB_ENTITY *record = entity->HandOver();
        if (to_block)
            Lib()->BlockCall(record);
        else
            Lib()->EntityCall(record);
    }
}

void CR13Drawing::LoadEntities() {
    // The entity lists are complete when the load returns: nothing is read on demand.
    HandOut(entities, InXref() != 0);
}

CDB_STARTBLOCK_ENTITY_type *CR13Drawing::LoadBlock(int index) {
    // A reference shows the model space of the drawing it names; a drawing shown as a
    // reference leaves its own references as they are.
    if (ViewFlag() && !InXref() && IsReferenceBlock(index))
        return ShowReference(index);
    CModelBlock *block = blocks.At(index);
    if (!block)
        return nullptr;
    if (block->entities)
        HandOut(*block->entities, true);
    return block->record;
}
