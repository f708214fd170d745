// Table records taking a public record in, for the edit functions.
#include "dwg12/r12_tables.h"
#include "io/record_field.h"

#include <cstdlib>
#include <cstring>

namespace {

// The blocks a record object keeps its texts in: a name has the 32 bytes of the file (31
// characters and a terminator), a font file 64 bytes, and every other text of a layout the
// field's size in the file and a terminator.
constexpr size_t kFontBlockSize = 64;

size_t TextBlockSize(int table, const R12Field &field) {
    return table == kR12Styles ? kFontBlockSize : size_t(field.size) + 1u;
}

// A zero-filled block of `room` bytes holding `text`, cut to room - 1 characters; null for
// a null text (or when the allocation fails).
char *CopyIntoBlock(const char *text, size_t room) {
    if (!text)
        return nullptr;
    char *block = static_cast<char *>(std::calloc(room, 1));
    if (block)
        std::memcpy(block, text, strnlen(text, room - 1));
    return block;
}

// `count` doubles copied from `source` (zeros where it is null); null for no dashes.
double *CopyDashes(const double *source, int16_t count) {
    if (count <= 0)
        return nullptr;
    auto *dashes = static_cast<double *>(std::calloc(size_t(count), sizeof(double)));
    if (dashes && source)
        std::memcpy(dashes, source, size_t(count) * sizeof(double));
    return dashes;
}

// The pointers of the public records that a release 12 record object does not keep: the
// handle texts, which release 12 does not carry in its tables, and the references and
// per-dash arrays of release 13.
struct ForeignPointer {
    int16_t table;
    uint16_t offset;
};

#define AT(type, field) static_cast<uint16_t>(offsetof(type, field))
constexpr ForeignPointer kForeignPointers[] = {
    {kR12Blocks, AT(CDB_BLOCK_TBL, handle)},
    {kR12Layers, AT(CDB_LAYER_TBL_type, handle)},
    {kR12Layers, AT(CDB_LAYER_TBL_type, line_type_handle)},
    {kR12Styles, AT(CDB_STYLE_TBL_type, handle)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, handle)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, complex_types)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, shape_numbers)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, scales)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, rotations)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, x_offsets)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, y_offsets)},
    {kR12Ltypes, AT(CDB_LTYPE_TBL_type, style_handles)},
    {kR12Views, AT(CDB_VIEW_TBL_type, handle)},
    {kR12Ucs, AT(CDB_UCS_TBL_type, handle)},
    {kR12Vports, AT(CDB_VPORT_TBL_type, handle)},
    {kR12Appids, AT(CDB_APPID_TBL_type, handle)},
    {kR12Dimstyles, AT(CDB_DIMSTYLE_TBL_type, handle)},
    {kR12Dimstyles, AT(CDB_DIMSTYLE_TBL_type, dimtxsty)},
};
#undef AT

} // namespace

void CR12LayoutRecord::SetFrom(const void *record) {
    Clear();
    if (record) {
        // The values come over as they stand; every pointer among them is still the
        // caller's and is replaced below by a block of the object's own, or dropped.
        const size_t size = PublicRecordSize() < body_size ? PublicRecordSize() : body_size;
        std::memcpy(body, record, size);
        SetNameField(CopyIntoBlock(NameField(), kR12NameBufferSize));

        const R12Layout layout = R12RecordLayout(table);
        for (size_t i = 0; i < layout.count; ++i) {
            const R12Field &f = layout.fields[i];
            if (f.kind == R12Kind::kText) {
                const char *text = LoadField<const char *>(body, f.field_offset);
                StoreField<char *>(body, f.field_offset,
                                   CopyIntoBlock(text, TextBlockSize(table, f)));
            } else if (f.kind == R12Kind::kDashes) {
                const auto *dashes = LoadField<const double *>(body, f.field_offset);
                const auto count =
                    LoadField<int16_t>(body, offsetof(CDB_LTYPE_TBL_type, dash_count));
                StoreField<double *>(body, f.field_offset, CopyDashes(dashes, count));
            }
        }
        for (const ForeignPointer &p : kForeignPointers)
            if (p.table == table && p.offset + sizeof(void *) <= size)
                StoreField<void *>(body, p.offset, nullptr);
    }
    AfterSetFrom();
}

void CR12BlockRecord::AfterSetFrom() {
    std::memset(body.name_in_place, 0, sizeof body.name_in_place);
    if (const char *name = Name())
        std::strncpy(body.name_in_place, name, sizeof body.name_in_place - 1);
}
