// The release 12 table of entity kinds: for every kind that a release 12 drawing holds, the
// class that stands for it, the layout of its DWG frame body and the groups of its DXF entity.
//
// This is the release 12 level of the kind registry. The release-neutral facts of a kind (its
// names, its defaults, its owned texts) are the row of records/entity_kinds.h with the same
// code, which Facts() finds; nothing here repeats them. A release 13 table keyed by the same
// codes stands beside this one in its own folder.
//
// Callers may rely on: the rows are in ascending order of code, every code stands once and
// has a row in the neutral registry, every row has a factory and both layouts, and
// FindR12EntityKind is a direct index.
#ifndef VELKO_R12_ENTITY_KINDS_H
#define VELKO_R12_ENTITY_KINDS_H

#include "records/entity_kinds.h"

#include <cstddef>
#include <cstdint>

class CR12Drawing;
class CR12Entity;
struct R12EntityLayout;
struct R12DxfLayout;

// How the DXF reader comes from a group 0 name to the kind.
enum class R12DxfDispatch : uint8_t {
    // By its DXF name, in the ENTITIES and in the BLOCKS section.
    kByName,
    // Never by name: the BLOCKS section reads the block start and end itself.
    kBlockFrame,
    // By its display name in the BLOCKS section only, and then to the kind whose DXF name it
    // has. That kind's reader refuses the name, so that the section goes no further ("3DLINE").
    kBlocksAlias,
};

struct R12EntityKind {
    int16_t code;
    // Makes the kind's object, its code set to `code`.
    CR12Entity *(*make)(CR12Drawing *drawing, int16_t code);
    // The DWG frame body (r12_entity_layout.h).
    const R12EntityLayout *frame;
    // The DXF groups (r12_dxf_layout.h).
    const R12DxfLayout *groups;
    R12DxfDispatch dispatch;

    // The release-neutral row of the kind.
    const EntityKind &Facts() const { return *FindEntityKind(code); }
};

using R12EntityKindRange = RowRange<R12EntityKind>;

// Every release 12 kind, in ascending order of code.
R12EntityKindRange AllR12EntityKinds();

// The release 12 row of `code`, or null for a code that is no release 12 kind.
const R12EntityKind *FindR12EntityKind(int code);

// The kind code that a group 0 name in the ENTITIES section (or, with `in_blocks`, in the
// BLOCKS section) dispatches to, or 0 for a name that dispatches to no kind.
int R12DxfEntityKind(const char *name, bool in_blocks);

#endif
