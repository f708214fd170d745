// External references of a release 12 drawing: a block whose flags carry the reference
// bit names another DWG file. Resolving loads that file as a child drawing whose table
// indices are shifted by the host's table counts and moves the child's table records into
// the host's tables. In list mode the child's model space becomes the block's entity list
// and the child lives on the façade's delete list; in view mode the child is kept until
// the block's entities have been handed out (LoadBlock).
#include "dwg12/r12_drawing.h"
#include "io/drawing_file.h"
#include "views/xref_paths.h"

#include <cstring>
#include <string>

namespace {

constexpr int16_t kXrefBlockFlag = 0x04;

bool IsReference(const CModelBlock *block) {
    return block && block->record && (block->record->flags & kXrefBlockFlag) &&
           block->record->xref_path;
}

// Makes `owner` the owner of the list's entities: entities that came from an external
// reference then answer through the host, whose tables hold their records. Every entity
// of a release 12 drawing's lists is a release 12 entity.
void MoveEntitiesTo(CEntityList &list, CR12Drawing *owner) {
    for (int i = 0; i < list.Count(); ++i)
        static_cast<CR12Entity *>(list.At(i))->SetOwner(owner);
}

} // namespace

int CR12Drawing::GetXrefPath(short block_index, char *buffer) {
    if (block_index < 0 || block_index > GetBlockTableCount() || !buffer)
        return 0;
    const CModelBlock *block = blocks.At(block_index);
    if (!IsReference(block))
        return 0;
    const char *path = block->record->xref_path;
    std::memcpy(buffer, path, std::strlen(path) + 1);
    return 1;
}

int CR12Drawing::ResolveXREF(int block_index) {
    if (block_index < 0 || block_index > GetBlockTableCount())
        return 0;
    CModelBlock *block = blocks.At(block_index);
    // A list-mode child lives on the façade's delete list: without a façade, or with its
    // list full (a further child would be destroyed at once, under its entities), it
    // would have no home. A reference being shown in view mode leaves its own references
    // as they are: its tables have already gone to the host.
    const bool list_mode = ViewFlag() == 0;
    if (!IsReference(block) || !Lib() || (list_mode && Lib()->DeleteListFull()) ||
        (!list_mode && InXref()))
        return 0;
    const std::string first = XrefPathAsStored(block->record->xref_path);
    const std::string second = XrefPathBesideHost(file_name, first);

    auto child = std::make_unique<CR12Drawing>(Lib(), ViewFlag());
    child->UseShapeTableOf(*this);
    // The child's indices land after the host's records once the tables are merged.
    child->SetBase(TableBase::kBlocks, GetBlockTableCount());
    child->SetBase(TableBase::kLayers, GetLayerTableCount());
    child->SetBase(TableBase::kLtypes, GetLtypeTableCount());
    child->SetBase(TableBase::kDimstyles, GetDimstyleTableCount());
    child->SetBase(TableBase::kStyles, GetStyleTableCount());
    child->SetBase(TableBase::kAppids, GetAppidTableCount());
    child->SetBase(TableBase::kViews, GetViewTableCount());
    child->SetBase(TableBase::kUcs, GetUcsTableCount());
    child->SetBase(TableBase::kVports, GetVportTableCount());

    if (first.empty() || !child->OpenDWG(first.c_str(), CDB_OPEN_READ)) {
        child->SetError(0);
        if (!child->OpenDWG(second.c_str(), CDB_OPEN_READ))
            return 0;
    }
    if (!child->LoadDWG())
        return 0;
    CDB_VAR_VALUE_type insbase{};
    if (child->GetVariableValue("INSBASE", &insbase))
        block->record->base_point = insbase.point3_value;
    if (list_mode && !child->TriggerLoading())
        return 0;
    child->SetInXref(1);
    MergeTablesOf(*child);
    if (list_mode) {
        AdoptModelSpaceOf(*child, *block);
        Lib()->AddToDeleteList(child.release());
    } else {
        xref_drawing = std::move(child);
        // Loading again brings nothing new: the merged records are in the host's tables.
        LoadDWG();
    }
    return 1;
}

void CR12Drawing::MergeTablesOf(CR12Drawing &child) {
    static const int kMergeOrder[] = {kR12Blocks, kR12Layers, kR12Ltypes, kR12Appids,   kR12Styles,
                                      kR12Views,  kR12Ucs,    kR12Vports, kR12Dimstyles};
    for (int t : kMergeOrder)
        for (CTableRecord *record : child.Table(t).TakeAll())
            Table(t).Add(record);
    // The child's block definitions follow the host's, where the child's shifted block
    // indices (inserts inside the reference) find them.
    for (CModelBlock *definition : child.blocks.TakeAll()) {
        // The records' indices point into this drawing's tables now; so do the writers'
        // and the walks' lookups, through the entities' owner.
        if (definition->entities)
            MoveEntitiesTo(*definition->entities, this);
        blocks.Add(definition);
    }
    child.merged_into = this;
}

CR12TableRecord *CR12Drawing::BlockTableRecord(int index) {
    // A merged reference finds its block records where they went: behind the host's own.
    if (merged_into)
        return merged_into->BlockTableRecord(index + Base(TableBase::kBlocks));
    return Table(kR12Blocks).At(index);
}

void CR12Drawing::BlockTableNamesChanged() {
    if (merged_into)
        merged_into->BlockTableNamesChanged();
    else
        Table(kR12Blocks).NamesChanged();
}

int CR12Drawing::BlockTableRecordCount() {
    if (merged_into)
        return merged_into->BlockTableRecordCount() - Base(TableBase::kBlocks);
    return Table(kR12Blocks).Count();
}

void CR12Drawing::AdoptModelSpaceOf(CR12Drawing &child, CModelBlock &block) {
    auto adopted = std::make_unique<CEntityList>();
    CEntityList &model = child.entities;
    int count = model.Count();
    // The child's own end sentinel gives way to the block's closing entity.
    if (count > 0 && model.At(count - 1)->Code() == 13)
        --count;
    for (int i = 0; i < count; ++i)
        adopted->Append(model.At(i));
    CModelEntity *closing = nullptr;
    if (block.entities && block.entities->Count() > 0) {
        const int last = block.entities->Count() - 1;
        if (block.entities->At(last)->Code() == 13) {
            closing = block.entities->At(last);
            block.entities->RemoveAt(last);
        }
    }
    // The adopted entities leave the child's list from the back, which is cheap.
    for (int i = count - 1; i >= 0; --i)
        model.RemoveAt(i);
    adopted->Append(closing ? closing : new CR12EndBlock(this));
    MoveEntitiesTo(*adopted, this);
    adopted->SetPosition(0);
    block.entities = std::move(adopted);
}

bool CR12Drawing::IsReferenceBlock(int index) const {
    return index >= 0 && index < blocks.Count() && IsReference(blocks.At(index));
}

CDB_STARTBLOCK_ENTITY_type *CR12Drawing::ShowReference(int index) {
    CModelBlock *block = blocks.At(index);
    if (ResolveXREF(index) && xref_drawing) {
        // The child hands its model space to BlockCall, as the content of this block.
        xref_drawing->LoadEntities();
    }
    xref_drawing.reset();
    return block ? block->record : nullptr;
}

bool CR12Drawing::ForwardsToReference(int index) const {
    // While a reference is shown, its blocks stand behind the host's own.
    return xref_drawing && index >= xref_drawing->Base(TableBase::kBlocks);
}

CDB_STARTBLOCK_ENTITY_type *CR12Drawing::ForwardToReference(int index) {
    return xref_drawing->LoadBlock(index - xref_drawing->Base(TableBase::kBlocks));
}
