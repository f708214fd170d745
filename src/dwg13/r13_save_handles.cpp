// Handles and control references for a drawing saved without a DWG source.
#include "dwg13/r13_save_handles.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "records/header_texts.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <functional>
#include <string>
#include <strings.h>

namespace {

constexpr int16_t kEntryCode = 2;
constexpr int16_t kOwnerCode = 4;
constexpr int16_t kSpaceCode = 3;

constexpr R13Table kControlled[] = {
    R13Table::kBlocks,    R13Table::kLayers,    R13Table::kStyles, R13Table::kLtypes,
    R13Table::kViews,     R13Table::kUcs,       R13Table::kVports, R13Table::kAppids,
    R13Table::kDimstyles, R13Table::kVpEntHdrs,
};

bool HasHandle(const char *text) {
    return text && R13HandleValue(text) != 0;
}

// Visits every handle place of the drawing's objects: `text` is the handle as it stands
// (possibly null or empty), `give` stores a new one.
using HandlePlace =
    std::function<void(const char *text, const std::function<void(const char *)> &give)>;

void VisitEntity(CModelEntity *entity, const HandlePlace &visit) {
    CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    if (!record)
        return;
    visit(record->handle, [record](const char *handle) {
        std::free(record->handle);
        record->handle = DuplicateText(handle);
    });
}

void VisitList(CEntityList *list, const HandlePlace &visit) {
    for (int i = 0; list && i < list->Count(); ++i)
        VisitEntity(list->At(i), visit);
}

void VisitRecord(CR13TableRecord *record, const HandlePlace &visit) {
    if (record)
        visit(record->RecordHandle(), [record](const char *handle) { record->SetHandle(handle); });
}

void VisitBlock(CR13Block *block, const HandlePlace &visit) {
    if (!block)
        return;
    if (block->start) {
        VisitEntity(block->start.get(), visit);
        VisitEntity(block->start->end_block.get(), visit);
    }
    VisitList(block->entities.get(), visit);
}

void VisitAll(CR13Drawing &drawing, const HandlePlace &visit) {
    for (R13Table which : kControlled) {
        CR13TableHead &head = drawing.Table(which).head;
        visit(head.handle.c_str(), [&head](const char *handle) { head.handle = handle; });
    }
    for (size_t t = 0; t < kR13TableCount; ++t) {
        CR13Table &table = drawing.Table(static_cast<R13Table>(t));
        for (int i = 0; i < table.records.Count(); ++i)
            VisitRecord(table.records.At(i), visit);
        table.records.NamesChanged();
    }
    VisitRecord(drawing.ModelSpaceRecord(), visit);
    VisitRecord(drawing.PaperSpaceRecord(), visit);
    for (int i = 0; i < drawing.Blocks().Count(); ++i)
        VisitBlock(static_cast<CR13Block *>(drawing.Blocks().At(i)), visit);
    VisitBlock(drawing.ModelSpaceBlock(), visit);
    VisitBlock(drawing.PaperSpaceBlock(), visit);
    VisitList(&drawing.Entities(), visit);
}

bool IsNamed(const CR13TableRecord *record, const char *name) {
    const char *own = record ? record->Name() : nullptr;
    return own && strcasecmp(own, name) == 0;
}

uint32_t HandleValueOf(const CR13TableRecord *record) {
    return record ? R13HandleValue(record->RecordHandle()) : 0u;
}

} // namespace

void R13GiveMissingHandles(CR13Drawing &drawing) {
    CDB_HEADER_type &vars = drawing.Header().vars;
    uint32_t highest = 0;
    VisitAll(drawing, [&highest](const char *text, const std::function<void(const char *)> &) {
        if (HasHandle(text) && R13HandleValue(text) > highest)
            highest = R13HandleValue(text);
    });
    if (R13HandleValue(vars.handseed) <= highest)
        CopyIntoTextBlock(vars.handseed, kHeaderHandseedSize, R13HandleText(highest + 1).c_str());
    VisitAll(drawing, [&drawing](const char *text, const std::function<void(const char *)> &give) {
        if (!HasHandle(text))
            give(drawing.TakeNextHandle().c_str());
    });
}

void R13FillControlEntries(CR13Drawing &drawing) {
    for (R13Table which : kControlled) {
        CR13Table &table = drawing.Table(which);
        CR13TableHead &head = table.head;
        head.entries.clear();
        const CR13TableRecord *by_layer = nullptr;
        const CR13TableRecord *by_block = nullptr;
        for (int i = 0; i < table.records.Count(); ++i) {
            const CR13TableRecord *record = table.records.At(i);
            if (which == R13Table::kLtypes && IsNamed(record, "BYLAYER"))
                by_layer = record;
            else if (which == R13Table::kLtypes && IsNamed(record, "BYBLOCK"))
                by_block = record;
            else
                head.entries.push_back(CHandleRef{kEntryCode, HandleValueOf(record)});
        }
        head.entry_count = static_cast<int16_t>(head.entries.size());
        if (which == R13Table::kLtypes) {
            head.entries.push_back(CHandleRef{kEntryCode, HandleValueOf(by_layer)});
            head.entries.push_back(CHandleRef{kEntryCode, HandleValueOf(by_block)});
        }
    }
    CR13TableHead &blocks = drawing.Table(R13Table::kBlocks).head;
    blocks.model_ref = CHandleRef{kSpaceCode, HandleValueOf(drawing.ModelSpaceRecord())};
    blocks.paper_ref = CHandleRef{kSpaceCode, HandleValueOf(drawing.PaperSpaceRecord())};
}

namespace {

enum class Place { kModel, kPaper, kBlock };

void PlaceEntity(CModelEntity *entity, Place place, uint32_t owner) {
    CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    if (!record)
        return;
    if (place == Place::kModel && record->space == 1)
        place = Place::kPaper;
    record->mode_model = place == Place::kModel ? 1u : 0u;
    record->space = place == Place::kPaper ? 1 : 0;
    record->mode_paper = static_cast<uint32_t>(record->space);
    record->has_owner = place == Place::kBlock ? 1u : 0u;
    record->owner = place == Place::kBlock ? CHandleRef{kOwnerCode, owner} : CHandleRef{0, 0};
}

void PlaceBlock(CR13Block *block, Place place) {
    if (!block)
        return;
    const uint32_t owner = HandleValueOf(block->header);
    if (block->start) {
        PlaceEntity(block->start.get(), place, owner);
        PlaceEntity(block->start->end_block.get(), place, owner);
    }
    CEntityList *list = block->entities.get();
    for (int i = 0; list && i < list->Count(); ++i)
        PlaceEntity(list->At(i), place, owner);
}

} // namespace

void R13PlaceEntities(CR13Drawing &drawing) {
    for (int i = 0; i < drawing.Blocks().Count(); ++i)
        PlaceBlock(static_cast<CR13Block *>(drawing.Blocks().At(i)), Place::kBlock);
    PlaceBlock(drawing.ModelSpaceBlock(), Place::kModel);
    PlaceBlock(drawing.PaperSpaceBlock(), Place::kPaper);
    CEntityList &main = drawing.Entities();
    for (int i = 0; i < main.Count(); ++i)
        PlaceEntity(main.At(i), Place::kModel, 0);
}

namespace {

uint32_t EntityHandle(const CModelEntity *entity) {
    const CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    return record ? R13HandleValue(record->handle) : 0u;
}

bool IsEndBlock(const CModelEntity *entity) {
    const CDB_ENTITY *record = entity ? entity->GetData() : nullptr;
    return record && record->entity_type == CDB_ENDBLK;
}

// The first and last entity of `list` (of space `space`, or all for -1), its ENDBLK.
struct ChainEnds {
    uint32_t first = 0, last = 0, end = 0;
};

ChainEnds EndsOf(CEntityList *list, int space) {
    ChainEnds ends;
    for (int i = 0; list && i < list->Count(); ++i) {
        CModelEntity *entity = list->At(i);
        if (IsEndBlock(entity)) {
            ends.end = EntityHandle(entity);
            continue;
        }
        if (space >= 0 && entity->GetData()->space != space)
            continue;
        if (!ends.first)
            ends.first = EntityHandle(entity);
        ends.last = EntityHandle(entity);
    }
    return ends;
}

void LinkRecord(CR13Block *block, ChainEnds ends, bool space) {
    if (!block || !block->header)
        return;
    uint32_t start = block->start ? EntityHandle(block->start.get()) : 0u;
    if (space && ends.first && ends.first < start)
        start = ends.first;
    if (block->start && block->start->end_block)
        ends.end = EntityHandle(block->start->end_block.get());
    CHandleRef *refs = block->header->body.record.links.refs;
    refs[3] = CHandleRef{kOwnerCode, ends.first};
    refs[4] = CHandleRef{kOwnerCode, start};
    refs[5] = CHandleRef{kOwnerCode, ends.last};
    refs[6] = CHandleRef{kOwnerCode, ends.end};
}

} // namespace

void R13LinkBlockRecords(CR13Drawing &drawing) {
    for (int i = 0; i < drawing.Blocks().Count(); ++i) {
        auto *block = static_cast<CR13Block *>(drawing.Blocks().At(i));
        if (block)
            LinkRecord(block, EndsOf(block->entities.get(), -1), false);
    }
    for (int space = 0; space < 2; ++space) {
        CR13Block *block = space == 0 ? drawing.ModelSpaceBlock() : drawing.PaperSpaceBlock();
        if (!block)
            continue;
        ChainEnds ends = EndsOf(&drawing.Entities(), space);
        const ChainEnds own = EndsOf(block->entities.get(), space);
        if (own.end)
            ends.end = own.end;
        LinkRecord(block, ends, true);
    }
}

void R13SetLayerFlagBytes(CR13Drawing &drawing) {
    CR13Table &layers = drawing.Table(R13Table::kLayers);
    for (int i = 0; i < layers.records.Count(); ++i) {
        CR13TableRecord *record = layers.records.At(i);
        auto *layer = record ? static_cast<CDB_LAYER_TBL_type *>(record->GetRecord()) : nullptr;
        if (!layer)
            continue;
        uint8_t raw = 0;
        if (layer->flags & 0x40)
            raw |= 0x80;
        if (layer->flags & 0x01)
            raw |= 0x08;
        if (layer->flags & 0x04)
            raw |= 0x01;
        layer->flags_copy = raw;
    }
}
