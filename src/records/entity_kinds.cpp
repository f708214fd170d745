// The rows of the release-neutral kind registry; see entity_kinds.h.
#include "io/record_field.h"
#include "records/entity_kinds.h"

#include "records/entity_defaults.h"

#include <iterator>
#include <cstdlib>
#include <cstring>

namespace {

#define AT(member) static_cast<uint16_t>(offsetof(CDB_ENTITY, member))

// ---- The texts of each kind ---------------------------------------------------------------

constexpr uint16_t kTextTexts[] = {AT(text.text)};
constexpr uint16_t kBlockTexts[] = {AT(block.xref_path), AT(block.name), AT(block.name_2)};
constexpr uint16_t kAttDefTexts[] = {AT(attdef.default_value), AT(attdef.prompt), AT(attdef.tag)};
constexpr uint16_t kAttribTexts[] = {AT(attrib.value), AT(attrib.tag)};
constexpr uint16_t kDimensionTexts[] = {AT(dimension.text)};

constexpr uint16_t kShapeHandles[] = {AT(shape.style_handle)};
constexpr uint16_t kTextHandles[] = {AT(text.style_handle)};
constexpr uint16_t kInsertHandles[] = {AT(insert.block_handle)};
constexpr uint16_t kAttDefHandles[] = {AT(attdef.style_handle)};
constexpr uint16_t kAttribHandles[] = {AT(attrib.style_handle)};
constexpr uint16_t kDimensionHandles[] = {AT(dimension.block_handle),
                                          AT(dimension.dimstyle_handle)};

constexpr uint16_t kMTextTexts[] = {AT(mtext.text)};
constexpr uint16_t kToleranceTexts[] = {AT(tolerance.text)};

constexpr uint16_t kMTextHandles[] = {AT(mtext.style_handle)};
constexpr uint16_t kLeaderHandles[] = {AT(leader.dimstyle_handle)};
constexpr uint16_t kToleranceHandles[] = {AT(tolerance.dimstyle_handle)};
constexpr uint16_t kMLineHandles[] = {AT(mline.style_handle)};

#undef AT

#define TEXTS(list)                                                                                \
    RecordTextFields {                                                                             \
        list, sizeof(list) / sizeof(list[0])                                                       \
    }
constexpr RecordTextFields kNone = {nullptr, 0};

// ---- The rows -----------------------------------------------------------------------------
//

// clang-format off
constexpr EntityKind kKinds[] = {
//   code           name         DXF name     defaults               owned texts             release 13 handles
    {CDB_LINE,      "LINE",      "LINE",      FillLineDefault,       kNone,                  kNone},
    {CDB_POINT,     "POINT",     "POINT",     FillPointDefault,      kNone,                  kNone},
    {CDB_CIRCLE,    "CIRCLE",    "CIRCLE",    FillCircleDefault,     kNone,                  kNone},
    {CDB_SHAPE,     "SHAPE",     "SHAPE",     FillShapeDefault,      kNone,                  TEXTS(kShapeHandles)},
    {CDB_TEXT,      "TEXT",      "TEXT",      FillTextDefault,       TEXTS(kTextTexts),      TEXTS(kTextHandles)},
    {CDB_ARC,       "ARC",       "ARC",       FillNoKindFields,      kNone,                  kNone},
    {CDB_TRACE,     "TRACE",     "TRACE",     FillTraceDefault,      kNone,                  kNone},
    {CDB_SOLID,     "SOLID",     "SOLID",     FillSolidDefault,      kNone,                  kNone},
    {CDB_BLOCK,     "BLOCK",     "BLOCK",     nullptr,               TEXTS(kBlockTexts),     kNone},
    {CDB_ENDBLK,    "ENDBLK",    "ENDBLK",    nullptr,               kNone,                  kNone},
    {CDB_INSERT,    "INSERT",    "INSERT",    FillInsertDefault,     kNone,                  TEXTS(kInsertHandles)},
    {CDB_ATTDEF,    "ATTDEF",    "ATTDEF",    FillAttDefDefault,     TEXTS(kAttDefTexts),    TEXTS(kAttDefHandles)},
    {CDB_ATTRIB,    "ATTRIB",    "ATTRIB",    FillAttribDefault,     TEXTS(kAttribTexts),    TEXTS(kAttribHandles)},
    {CDB_SEQEND,    "SEQEND",    "SEQEND",    FillNoKindFields,      kNone,                  kNone},
    {CDB_POLYLINE,  "POLYLINE",  "POLYLINE",  FillNoKindFields,      kNone,                  kNone},
    {CDB_VERTEX,    "VERTEX",    "VERTEX",    FillNoKindFields,      kNone,                  kNone},
    {CDB_3DLINE,    "3DLINE",    "LINE",      nullptr,               kNone,                  kNone},
    {CDB_3DFACE,    "3DFACE",    "3DFACE",    FillFaceDefault,       kNone,                  kNone},
    {CDB_DIMENSION, "DIMENSION", "DIMENSION", FillDimensionDefault,  TEXTS(kDimensionTexts), TEXTS(kDimensionHandles)},
    {CDB_VIEWPORT,  "VIEWPORT",  "VIEWPORT",  FillViewportDefault,   kNone,                  kNone},
    {CDB_ELLIPSE,   "ELLIPSE",   "ELLIPSE",   FillNoKindFields,      kNone,                  kNone},
    {CDB_SPLINE,    "SPLINE",    "SPLINE",    nullptr,               kNone,                  kNone},
    {CDB_REGION,    "REGION",    "REGION",    nullptr,               kNone,                  kNone},
    {CDB_3DSOLID,   "3DSOLID",   "3DSOLID",   nullptr,               kNone,                  kNone},
    {CDB_BODY,      "BODY",      "BODY",      nullptr,               kNone,                  kNone},
    {CDB_RAY,       "RAY",       "RAY",       nullptr,               kNone,                  kNone},
    {CDB_XLINE,     "XLINE",     "XLINE",     nullptr,               kNone,                  kNone},
    {CDB_MTEXT,     "MTEXT",     "MTEXT",     FillMTextDefault,      TEXTS(kMTextTexts),     TEXTS(kMTextHandles)},
    {CDB_LEADER,    "LEADER",    "LEADER",    FillLeaderDefault,     kNone,                  TEXTS(kLeaderHandles)},
    {CDB_TOLERANCE, "TOLERANCE", "TOLERANCE", FillToleranceDefault,  TEXTS(kToleranceTexts), TEXTS(kToleranceHandles)},
    {CDB_MLINE,     "MLINE",     "MLINE",     nullptr,               kNone,                  TEXTS(kMLineHandles)},
    {CDB_OLEFRAME,  "OLEFRAME",  "OLEFRAME",  nullptr,               kNone,                  kNone},
};
// clang-format on
#undef TEXTS

static_assert(CodesAscend(kKinds), "the kinds stand in ascending order of code, each once");

// The direct index of the codes below 64; the codes above it (the OLE frame's 500) are looked
// for in the few rows at the end.
constexpr CodeIndex<64> kIndex = MakeCodeIndex<64>(kKinds);

} // namespace

EntityKindRange AllEntityKinds() {
    return {std::begin(kKinds), std::end(kKinds)};
}

const EntityKind *FindEntityKind(int code) {
    return FindRowByCode(kKinds, kIndex, code);
}

RecordTextFields OwnedTextsOf(int code) {
    const EntityKind *kind = FindEntityKind(code);
    return kind ? kind->owned_texts : kNone;
}

RecordTextFields HandleTextsOf(int code) {
    const EntityKind *kind = FindEntityKind(code);
    return kind ? kind->handle_texts : kNone;
}

const char *EntityKindName(int code) {
    const EntityKind *kind = FindEntityKind(code);
    return kind ? kind->name : "UNKNOWN";
}

void FreeOwnedTexts(const EntityKind &kind, void *record) {
    for (uint16_t offset : kind.owned_texts) {
        std::free(LoadField<char *>(record, offset));
        StoreField<char *>(record, offset, nullptr);
    }
}

void FreeOwnedTexts(CDB_ENTITY *record) {
    if (!record)
        return;
    if (const EntityKind *kind = FindEntityKind(record->entity_type))
        FreeOwnedTexts(*kind, record);
}
