// A new release 13 entity: what an entity that editing adds takes from its drawing and its
// block -- handles for its references, a handle of its own, its links and its mode bits.
#include "dwg13/r13_block.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_tables.h"
#include "io/record_field.h"
#include "records/heap_text.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kModelSpace[] = "*MODEL_SPACE";
constexpr char kPaperSpace[] = "*PAPER_SPACE";
// The codes of an absolute reference, and of the dictionary reference a new object has.
constexpr int16_t kAbsoluteCode = 4;
constexpr int16_t kNoDictionaryCode = 3;

// The handle text of record `index` of a table (the drawing's base taken off), or null.
const char *TableHandle(CR13Drawing &drawing, R13Table table, TableBase base, int index) {
    return drawing.Table(table).HandleAt(index - drawing.Base(base));
}

// A reference of a kind to a record of a table beyond layer and line type: where the
// record keeps the index and the handle text, the table, and the code of a bad index.
struct KindReference {
    int16_t kind;
    size_t index_at;
    size_t handle_at;
    R13Table table;
    TableBase base;
    int16_t error;
};

#define VELKO_KIND_REF(kind, part, index, handle, table, error)                                    \
    KindReference {                                                                                \
        kind, offsetof(CDB_ENTITY, part.index), offsetof(CDB_ENTITY, part.handle),                 \
            R13Table::table, TableBase::table, error                                               \
    }
constexpr KindReference kKindReferences[] = {
    VELKO_KIND_REF(CDB_SHAPE, shape, shape_style_index, style_handle, kStyles,
                   CDB_ERR_INVALID_STYLE),
    VELKO_KIND_REF(CDB_TEXT, text, style_index, style_handle, kStyles, CDB_ERR_INVALID_STYLE),
    VELKO_KIND_REF(CDB_ATTDEF, attdef, style_index, style_handle, kStyles, CDB_ERR_INVALID_STYLE),
    VELKO_KIND_REF(CDB_ATTRIB, attrib, style_index, style_handle, kStyles, CDB_ERR_INVALID_STYLE),
    VELKO_KIND_REF(CDB_INSERT, insert, block_index, block_handle, kBlocks, CDB_ERR_INVALID_BLOCK),
    VELKO_KIND_REF(CDB_DIMENSION, dimension, block_index, block_handle, kBlocks,
                   CDB_ERR_INVALID_BLOCK),
    VELKO_KIND_REF(CDB_DIMENSION, dimension, dimstyle_index, dimstyle_handle, kDimstyles,
                   CDB_ERR_INVALID_DIMSTYLE),
    VELKO_KIND_REF(CDB_LEADER, leader, dimstyle_index, dimstyle_handle, kDimstyles,
                   CDB_ERR_INVALID_DIMSTYLE),
    VELKO_KIND_REF(CDB_TOLERANCE, tolerance, dimstyle_index, dimstyle_handle, kDimstyles,
                   CDB_ERR_INVALID_DIMSTYLE),
    VELKO_KIND_REF(CDB_MLINE, mline, style_index, style_handle, kMlineStyles,
                   CDB_ERR_INVALID_MLINESTYLE),
};
#undef VELKO_KIND_REF

} // namespace

bool CR13Entity::PutKindHandles() {
    for (const KindReference &ref : kKindReferences) {
        if (ref.kind != record->entity_type)
            continue;
        const int index = LoadField<int16_t>(record, ref.index_at);
        const char *handle = TableHandle(*drawing, ref.table, ref.base, index);
        // A reference the load could not resolve (-1) keeps the handle text it came with.
        if (!handle && index - drawing->Base(ref.base) == -1 &&
            LoadField<const char *>(record, ref.handle_at))
            continue;
        if (!handle) {
            drawing->SetError(ref.error);
            return false;
        }
        std::free(LoadField<char *>(record, ref.handle_at));
        StoreField<char *>(record, ref.handle_at, DuplicateText(handle));
    }
    return true;
}

bool CR13Entity::TableHandlesOf(const CDB_ENTITY &in, const char *&layer,
                                const char *&line_type) const {
    layer = TableHandle(*drawing, R13Table::kLayers, TableBase::kLayers, in.layer_index);
    if (!layer) {
        drawing->SetError(CDB_ERR_INVALID_LAYER);
        return false;
    }
    line_type = in.line_type_index == -1 ? "-1"
                                         : TableHandle(*drawing, R13Table::kLtypes,
                                                       TableBase::kLtypes, in.line_type_index);
    if (!line_type) {
        drawing->SetError(CDB_ERR_INVALID_LTYPE);
        return false;
    }
    return true;
}

void CR13Entity::PutTableHandles(const char *layer, const char *line_type) {
    std::free(record->layer_handle);
    std::free(record->line_type_handle);
    record->layer_handle = DuplicateText(layer);
    record->line_type_handle = DuplicateText(line_type);
    record->line_type_bylayer = std::strcmp(line_type, "-1") == 0 ? 1u : 0u;
}

int CR13Entity::SetReplacingRecord(const CDB_ENTITY *in, const CR13Entity &old) {
    const CDB_ENTITY *was = old.GetData();
    if (!in || !record || !drawing || !was)
        return CDB_FAIL;
    const char *layer = nullptr;
    const char *line_type = nullptr;
    if (!TableHandlesOf(*in, layer, line_type))
        return CDB_FAIL;
    SetRecord(in);
    if (!PutKindHandles())
        return CDB_FAIL;
    PutTableHandles(layer, line_type);
    // The place in the chain is the old entity's: its handle and every link stay.
    std::free(record->handle);
    record->handle = DuplicateText(was->handle);
    record->previous = was->previous;
    record->next = was->next;
    record->owner = was->owner;
    record->dictionary = was->dictionary;
    record->has_owner = was->has_owner;
    record->no_links = was->no_links;
    record->mode_model = was->mode_model;
    record->mode_paper = was->mode_paper;
    record->reserved_bit_1 = was->reserved_bit_1;
    record->reserved_bit_2 = was->reserved_bit_2;
    block_owned = old.block_owned;
    is_unlinked = old.is_unlinked;
    return 1;
}

int CR13Entity::SetNewRecord(const CDB_ENTITY *in, CR13Block &block, CR13Entity *previous) {
    if (!in || !record || !drawing)
        return CDB_FAIL;
    const char *layer = nullptr;
    const char *line_type = nullptr;
    if (!TableHandlesOf(*in, layer, line_type))
        return CDB_FAIL;
    SetRecord(in);
    if (!PutKindHandles())
        return CDB_FAIL;
    std::free(record->handle);
    PutTableHandles(layer, line_type);
    const std::string handle = drawing->TakeNextHandle();
    record->handle = DuplicateText(handle.c_str());

    // The block's chain: this entity is its last; the first when nothing stands before it.
    block.last_handle = handle;
    if (!previous) {
        block.first_handle = handle;
        record->previous = CHandleRef{kAbsoluteCode, 0};
    } else {
        CDB_ENTITY *before = previous->GetData();
        MakeRelativeRef(before->handle, record->handle, before->next);
        MakeRelativeRef(record->handle, before->handle, record->previous);
    }
    record->next = CHandleRef{kAbsoluteCode, 0};
    record->has_owner = 0;
    if (record->previous.value != 0 || record->next.value != 0)
        record->no_links = 0;

    const char *name = block.record ? block.record->name : nullptr;
    if (name && std::strcmp(name, kModelSpace) == 0) {
        record->mode_model = 1;
        record->mode_paper = 0;
    } else if (name && std::strcmp(name, kPaperSpace) == 0) {
        record->mode_model = 0;
        record->mode_paper = 1;
    } else {
        record->mode_model = 0;
        record->mode_paper = 0;
        record->has_owner = 1;
        const char *block_handle = block.header ? block.header->RecordHandle() : nullptr;
        MakeRelativeRef(record->handle, block_handle, record->owner);
    }
    record->invisibility = 0;
    record->dictionary = CHandleRef{kNoDictionaryCode, 0};
    record->has_graphic = 0;
    record->reserved_bit_1 = 1;
    record->reserved_bit_2 = 0;
    is_unlinked = 1;
    if (drawing->FileKind() == CR13Drawing::kDwg)
        drawing->ObjectMap().InsertSorted(ObjectMapEntry{R13HandleValue(record->handle), 0});
    return 1;
}
