// The objects a release 13 DWG save writes, counted the way CR13DwgSaver::Run reports them
// to the drawing's save hook, so that a progress display knows the whole before it starts.
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_save.h"
#include "dwg13/r13_tables.h"

namespace {

// The entities of `chain` that the save writes for one space (`space` -1: all of them).
long ChainEntities(CEntityList &chain, int space) {
    long count = 0;
    for (int i = 0; i < chain.Count(); ++i) {
        auto *entity = static_cast<CR13Entity *>(chain.At(i));
        if (!entity || entity->FileType() == kR13EndBlockType)
            continue;
        if (space < 0 || entity->GetData()->space == space)
            ++count;
    }
    return count;
}

} // namespace

R13SaveCounts CountSavedObjects(CR13Drawing &drawing) {
    R13SaveCounts counts;
    CBlockList &blocks = drawing.Blocks();
    counts.blocks = blocks.Count();
    for (int i = 0; i < blocks.Count(); ++i) {
        auto *block = static_cast<CR13Block *>(blocks.At(i));
        if (!block || !block->entities)
            continue;
        counts.entities += ChainEntities(*block->entities, -1);
        if (block->header)
            ++counts.records;
    }
    for (int space = 0; space < 2; ++space) {
        CR13Block *block = space == 0 ? drawing.ModelSpaceBlock() : drawing.PaperSpaceBlock();
        if (!block)
            continue;
        counts.entities += ChainEntities(drawing.Entities(), space);
        const CR13BlockRecord *header = block->header ? block->header
                                        : space == 0  ? drawing.ModelSpaceRecord()
                                                      : drawing.PaperSpaceRecord();
        if (header)
            ++counts.records;
    }
    for (R13Table which :
         {R13Table::kLayers, R13Table::kStyles, R13Table::kLtypes, R13Table::kViews, R13Table::kUcs,
          R13Table::kVports, R13Table::kAppids, R13Table::kDimstyles, R13Table::kVpEntHdrs})
        counts.records += drawing.Table(which).records.Count();
    return counts;
}
