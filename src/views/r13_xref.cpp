// External references of a release 13 drawing: a block whose start carries the reference
// flag names another DWG of this release. Resolving loads that file as a child drawing
// whose table indices are shifted by the host's table counts, resolves every reference of
// the child's entities while the child still has its tables, and moves the child's table
// records into the host's tables. In list mode the child's model space becomes the
// block's entity list and the child lives on the façade's delete list; in view mode the
// host keeps the child.
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_tables.h"
#include "views/xref_paths.h"

#include <cstring>
#include <string>

namespace {

const CR13Block *ReferenceBlock(const CModelBlock *block) {
    const auto *r13 = static_cast<const CR13Block *>(block);
    if (!r13 || !r13->record || !r13->start || !r13->start->is_xref_block)
        return nullptr;
    return r13->record->xref_path ? r13 : nullptr;
}

// Every entity of `list` looks its references up now, in the drawing that read it: once the
// tables have moved, that drawing could no longer answer.
void ResolveAll(CEntityList &list) {
    for (int i = 0; i < list.Count(); ++i)
        static_cast<CR13Entity *>(list.At(i))->GetResolvedRecord();
}

bool IsModelSpaceMember(CModelEntity *object) {
    if (object->Code() == 13)
        return false;
    const CDB_ENTITY *record = static_cast<CR13Entity *>(object)->GetResolvedRecord();
    return record && record->space == 0;
}

} // namespace

int CR13Drawing::GetXrefPath(short block_index, char *buffer) {
    if (block_index < 0 || block_index > GetBlockTableCount() || !buffer)
        return 0;
    const CR13Block *block = ReferenceBlock(blocks.At(block_index));
    if (!block)
        return 0;
    const char *path = block->record->xref_path;
    std::memcpy(buffer, path, std::strlen(path) + 1);
    return 1;
}

int CR13Drawing::ResolveXREF(int block_index) {
    if (block_index < 0 || block_index > GetBlockTableCount())
        return 0;
    CModelBlock *block = blocks.At(block_index);
    // A block that is no reference is done already.
    if (!ReferenceBlock(block))
        return 1;
    // A list-mode child lives on the façade's delete list: without a façade, or with the
    // list full, it would have no home.
    const bool list_mode = ViewFlag() == 0;
    if (!Lib() || (list_mode && Lib()->DeleteListFull()) || (!list_mode && InXref()))
        return 0;
    const std::string first = XrefPathAsStored(block->record->xref_path);
    const std::string second = XrefPathBesideHost(file_name, first);

    auto child = std::make_unique<CR13Drawing>(Lib(), ViewFlag());
    child->UseShapeTableOf(*this);
    SetBasesOf(*child);
    if (first.empty() || child->OpenDWG(first.c_str(), CDB_OPEN_READ) != 1) {
        child->SetError(0);
        if (child->OpenDWG(second.c_str(), CDB_OPEN_READ) != 1)
            return 0;
    }
    if (!child->LoadDWG())
        return 0;
    CDB_VAR_VALUE_type insbase{};
    if (child->GetVariableValue("INSBASE", &insbase))
        block->record->base_point = insbase.point3_value;
    child->SetInXref(1);
    ResolveAll(child->entities);
    for (int i = 0; i < child->blocks.Count(); ++i)
        if (child->blocks.At(i)->entities)
            ResolveAll(*child->blocks.At(i)->entities);
    MergeTablesOf(*child);
    if (list_mode) {
        AdoptModelSpaceOf(*child, *block);
        Lib()->AddToDeleteList(child.release());
    } else {
        shown_references.push_back(std::move(child));
    }
    return 1;
}

void CR13Drawing::SetBasesOf(CR13Drawing &child) {
    // The child's indices land behind the host's records once the tables are merged.
    for (TableBase slot :
         {TableBase::kBlocks, TableBase::kLayers, TableBase::kLtypes, TableBase::kDimstyles,
          TableBase::kStyles, TableBase::kMlineStyles, TableBase::kAppids, TableBase::kViews,
          TableBase::kUcs, TableBase::kVports}) {
        const CR13Table *table = PublicTableOf(slot);
        child.SetBase(slot, table ? table->records.Count() : 0);
    }
}

void CR13Drawing::MergeTablesOf(CR13Drawing &child) {
    static const R13Table kMergeOrder[] = {
        R13Table::kBlocks, R13Table::kLayers, R13Table::kLtypes,
        R13Table::kAppids, R13Table::kStyles, R13Table::kViews,
        R13Table::kUcs,    R13Table::kVports, R13Table::kDimstyles};
    for (R13Table t : kMergeOrder)
        for (CTableRecord *record : child.Table(t).records.TakeAll())
            Table(t).records.Add(record);
    // The child's block definitions follow the host's, where the child's shifted block
    // indices (inserts inside the reference) find them.
    for (CModelBlock *definition : child.blocks.TakeAll())
        blocks.Add(definition);
}

void CR13Drawing::AdoptModelSpaceOf(CR13Drawing &child, CModelBlock &block) {
    auto adopted = std::make_unique<CEntityList>();
    // The paper space and the closing ENDBLK stay with the child and go with it.
    for (CModelEntity *object : child.entities.TakeAll())
        (IsModelSpaceMember(object) ? *adopted : child.entities).Append(object);
    CModelEntity *closing = nullptr;
    if (block.entities && block.entities->Count() > 0) {
        const int last = block.entities->Count() - 1;
        if (block.entities->At(last)->Code() == 13) {
            closing = block.entities->At(last);
            block.entities->RemoveAt(last);
        }
    }
    if (closing)
        adopted->Append(closing);
    adopted->SetPosition(0);
    block.entities = std::move(adopted);
}

bool CR13Drawing::IsReferenceBlock(int index) const {
    return index >= 0 && index < blocks.Count() && ReferenceBlock(blocks.At(index));
}

CDB_STARTBLOCK_ENTITY_type *CR13Drawing::ShowReference(int index) {
    const size_t before = shown_references.size();
    if (ResolveXREF(index) && shown_references.size() > before)
        shown_references.back()->LoadEntities();
    CModelBlock *block = blocks.At(index);
    return block ? block->record : nullptr;
}
