// Loading a release 13 DWG: the header, the object map, and the object area walked front to
// back -- the blocks behind the block control, the tables, the objects behind them.
#include "dwg13/r13_drawing.h"

#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_object_plan.h"
#include "dwg13/r13_tables.h"
#include "dwg13/r13_update_pass.h"
#include "io/bit_stream.h"
#include "io/drawing_file.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr int16_t kBlockControlType = kR13BlockHeader - 1;
// The object type that ends the walk of the objects behind the tables' first stage, and
// that a block's chain does not take.
constexpr int16_t kNotAnEntityType = 48;
constexpr char kModelSpace[] = "*MODEL_SPACE";
constexpr char kPaperSpace[] = "*PAPER_SPACE";

// The type of an object as delivered: behind its 2 size bytes, a BS.
int16_t ObjectType(const uint8_t *object) {
    CBitStream stream(object);
    stream.Skip(2, 0);
    return static_cast<int16_t>(stream.ReadBitShort());
}

} // namespace

// ---- The whole load -------------------------------------------------------------------------

int CR13Drawing::LoadDWG() {
    load_failure.clear();
    if (file_kind == kTextDxf || file_kind == kBinaryDxf)
        return LoadDXF();
    if (file_kind != kDwg || !file)
        return Fail("the drawing has no DWG file open");
    if (!header->ReadHeader(*file))
        return Fail("the header variables could not be read: the search for their start "
                    "does not come to an end");
    header->SetTextsWithoutFile();
    object_map->Read(*file);
    next_handle = object_map->NextHandle();
    int result = LoadObjects();
    object_walk.reset();
    if (result != 1)
        return result;
    FinishTables();
    loaded = 1;
    RewindCursors();
    return 1;
}

int CR13Drawing::LoadObjects() {
    const int blocks_read = ReadBlocks();
    if (blocks_read == -99)
        return -99;
    if (blocks_read != 1)
        return 0;
    if (!ReadTables()) {
        SetError(CDB_ERR_FILE_READ);
        return 0;
    }
    const int model = FindBlock(kModelSpace);
    const int paper = FindBlock(kPaperSpace);
    if (model < 0 || paper < 0)
        return Fail("no block header of *MODEL_SPACE or *PAPER_SPACE stands behind the block "
                    "control: the file's objects are not laid out in the order in which this "
                    "reader walks them (block control, each block header with its entities, "
                    "then the tables)");
    // The first block under each space's name is the space.
    model_space = static_cast<CR13Block *>(blocks.At(model));
    paper_space = static_cast<CR13Block *>(blocks.At(paper));

    // The objects behind the tables update what was read so far; the pass ends with the
    // spaces moved into the main and the paper lists. It runs outside view mode.
    const int32_t kept_view_flag = view_flag;
    view_flag = 0;
    in_update_pass = 1;
    const int updated = CR13UpdatePass(*this).Run();
    in_update_pass = 0;
    if (!updated) {
        view_flag = kept_view_flag;
        return Fail("an entity behind the tables failed to decode");
    }
    tables_loaded = 1;

    // Each layer's line type.
    CR13Table &layers = Table(R13Table::kLayers);
    for (int i = 0; i < layers.records.Count(); ++i) {
        auto *layer = static_cast<CDB_LAYER_TBL_type *>(layers.records.At(i)->GetRecord());
        layer->line_type_index = static_cast<int16_t>(
            IndexOfHandle(TableBase::kLtypes, layer->line_type_handle) + Base(TableBase::kLtypes));
    }

    // A further block under a space's name (a drawing with more than one layout) has no
    // record in the block table; it leaves the block list too, which thus stays one to one
    // with the table, as block numbers are table indices.
    for (const char *space : {kModelSpace, kPaperSpace})
        blocks.RemoveNamed(space);

    header->ResolveIndices(
        [this](TableBase table, const char *handle) { return IndexOfHandle(table, handle); });
    view_flag = kept_view_flag;
    return 1;
}

int CR13Drawing::Fail(const char *why) {
    load_failure = why;
    return 0;
}

int CR13Drawing::FindBlock(const char *name) const {
    for (int i = 0; i < blocks.Count(); ++i) {
        const CModelBlock *block = blocks.At(i);
        if (block && block->record && block->record->name &&
            std::strcmp(block->record->name, name) == 0)
            return i;
    }
    return -1;
}

// ---- The first pass: the blocks -------------------------------------------------------------

int CR13Drawing::ReadBlocks() {
    if (!file_head.Read(*file))
        return Fail("the file head could not be read");
    objects_end = static_cast<int32_t>(file_head.map_at);
    const int64_t start = file_head.ObjectsStart(*file, object_map->LowestOffset());
    if (start < 0 || start > INT32_MAX)
        return Fail("the trailing section that gives the start of the objects could not be "
                    "read");
    objects_start = static_cast<int32_t>(start);
    file->SetPosition(objects_start, 0);
    object_walk = std::make_unique<CR13ObjectWalk>(*file);
    ChooseObjectOrder();

    object_buffer = object_walk->Next();
    if (!object_buffer)
        return 1;
    {
        CBitStream stream(object_buffer.get());
        if (ObjectType(object_buffer.get()) != kBlockControlType)
            return Fail("the object area does not begin with the block control");
        Table(R13Table::kBlocks).head.Read(stream, kR13BlockHeader);
    }
    object_buffer.reset();

    for (;;) {
        const int64_t noted = object_walk->Mark();
        object_buffer = object_walk->Next();
        if (!object_buffer)
            break;
        if (ObjectType(object_buffer.get()) != kR13BlockHeader) {
            object_buffer.reset();
            object_walk->Return(noted);
            break;
        }
        auto block = std::make_unique<CR13Block>();
        block->owned_header = std::make_unique<CR13BlockRecord>(this);
        block->header = block->owned_header.get();
        block->header->ReadDWG(object_buffer.get());
        object_buffer.reset();
        block->first_handle = block->header->FirstHandle();
        block->last_handle = block->header->LastHandle();
        block->start = std::make_unique<CR13BlockStart>(this);
        block->entities = std::make_unique<CEntityList>();
        const int read = ReadEntities(*block->entities, *block->start);
        if (read == -99)
            return -99;
        if (read == 0)
            return Fail("an entity of a block failed to decode");
        block->FillRecord();
        const char *name = block->record->name;
        const bool space =
            name && (std::strcmp(name, kModelSpace) == 0 || std::strcmp(name, kPaperSpace) == 0);
        if (name && std::strcmp(name, kModelSpace) == 0)
            model_space = block.get();
        else if (name && std::strcmp(name, kPaperSpace) == 0)
            paper_space = block.get();
        const int count = block->entities->Count();
        if (count > 2) {
            auto *last = static_cast<CR13Entity *>(block->entities->At(count - 2));
            const char *handle = last->GetData()->handle;
            block->last_handle = handle ? handle : "";
        }
        if (!space)
            Table(R13Table::kBlocks).AddRecord(block->owned_header.release());
        blocks.Add(block.release());
    }
    return 1;
}

int CR13Drawing::ReadEntities(CEntityList &list, CR13BlockStart &start) {
    for (;;) {
        object_buffer = object_walk->Next();
        if (!object_buffer)
            return -2;
        const int type = ObjectType(object_buffer.get());
        if (type == kR13BlockType) {
            CBitStream stream(object_buffer.get());
            if (!start.ReadDWG(stream))
                return 0;
            object_buffer.reset();
            continue;
        }
        std::unique_ptr<CR13Entity> entity =
            type == kNotAnEntityType || type > 500 ? nullptr : MakeEntityOfType(type);
        if (!entity) {
            // Not decoded (an object of a class, a kind without a class): a save carries
            // it over as it stands.
            carried_objects->Add(
                ObjectMapEntry{R13ObjectHandle(object_buffer.get()), object_walk->LastOffset()});
            object_buffer.reset();
            continue;
        }
        CBitStream stream(object_buffer.get());
        if (!entity->ReadDWG(stream))
            return 0;
        if (type == kR13EndBlockType) {
            // The block start keeps a copy of its end.
            auto copy = MakeEntityOfType(type);
            CBitStream again(object_buffer.get());
            copy->ReadDWG(again);
            start.end_block = std::move(copy);
        }
        object_buffer.reset();
        // A viewport is also found by the drawing's viewport walk.
        if (CViewportLink *link = entity->ViewportLink())
            viewports.Append(link);
        list.Append(entity.release());
        CountLoaded();
        if (type == kR13EndBlockType)
            return 1;
    }
}

// ---- The order of the objects ----------------------------------------------------------------

bool CR13Drawing::FileOrderFits() {
    const int64_t mark = object_walk->Mark();
    std::unique_ptr<uint8_t[]> first = object_walk->Next();
    bool fits = first && ObjectType(first.get()) == kBlockControlType;
    if (fits) {
        std::unique_ptr<uint8_t[]> second = object_walk->Next();
        fits = second && ObjectType(second.get()) == kR13BlockHeader;
    }
    object_walk->Return(mark);
    return fits;
}

void CR13Drawing::ChooseObjectOrder() {
    if (!ReadsTolerantly(CDB_READ_ANY_OBJECT_ORDER) || FileOrderFits())
        return;
    std::vector<int32_t> plan = CR13ObjectPlan(*this).Make();
    if (plan.empty())
        return;
    object_walk->FollowPlan(std::move(plan));
    NoteTolerantRead(CDB_READ_ANY_OBJECT_ORDER);
}

// ---- The tables and the objects behind them -----------------------------------------------

int CR13Drawing::ReadTables() {
    for (size_t t = static_cast<size_t>(R13Table::kLayers);
         t <= static_cast<size_t>(R13Table::kVpEntHdrs); ++t)
        if (tables[t]->Read(*object_walk) != 0)
            return 0;
    R13CarriedObjects carried;
    if (Table(R13Table::kMlineStyles).ReadBehindTables(*object_walk, carried) != 0)
        return 0;
    for (const auto &object : carried)
        carried_objects->Add(ObjectMapEntry{object.first, object.second});
    return 1;
}

void CR13Drawing::FinishTables() {
    CR13Table &layers = Table(R13Table::kLayers);
    const int zero = layers.IndexOfName("0");
    const char *zero_handle = zero >= 0 ? layers.HandleAt(zero) : nullptr;
    layer_zero_handle = zero_handle ? zero_handle : "";
    Table(R13Table::kLtypes)
        .SetLayerZeroHandle(layer_zero_handle.c_str(), Base(TableBase::kLayers));

    // A block whose record goes leaves the block list with it: the table owns the record
    // that the block points at.
    for (int i = blocks.Count() - 1; i >= 0; --i) {
        const auto *block = static_cast<const CR13Block *>(blocks.At(i));
        if (block && block->header && !block->owned_header &&
            CR13Table::IsXrefSymbol(block->header->Name()))
            blocks.Remove(i);
    }
    for (R13Table which :
         {R13Table::kBlocks, R13Table::kLayers, R13Table::kStyles, R13Table::kLtypes,
          R13Table::kViews, R13Table::kUcs, R13Table::kDimstyles, R13Table::kMlineStyles})
        Table(which).RemoveXrefSymbols();

    // Layer "0" to the front.
    const int index = layers.IndexOfName("0");
    if (index > 0) {
        std::vector<CTableRecord *> records = layers.records.TakeAll();
        CTableRecord *first = records[static_cast<size_t>(index)];
        layers.records.Add(first);
        for (size_t i = 0; i < records.size(); ++i)
            if (records[i] != first)
                layers.records.Add(records[i]);
    }
}
