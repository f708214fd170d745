// The registry of entity kinds: one row for every kind of the public entity record, with what
// is true of the kind whatever release its drawing has.
//
// A row holds the kind's code (the record's entity_type), the name that tools and messages
// show, the group 0 name that its DXF entity has, the defaults that CDBEntityDefault gives a
// new record of the kind, and the char* fields of the kind's own part that are heap texts of
// their owner: an entity object owns them in its record, and a caller owns them in a record
// that a list-mode walk copied out.
//
// The registry is in two levels. This level is release-neutral and knows no release: it is
// what the public records, the defaults and the freeing of caller copies need. Each release
// adds the rest in a table of its own whose rows are keyed by the same codes: the release 12
// table (dwg12/r12_entity_kinds.h) gives its kinds their class factory, their DWG frame layout
// and their DXF group layout, and a release 13 table will stand beside it and look up the
// same rows here. Adding a kind means adding a row here, a row in the table of each release
// that has it, and its class.
//
// Callers may rely on: the rows are in ascending order of code, every code stands once, and
// FindEntityKind is a direct index, cheap enough for every record of a walk.
#ifndef VELKO_ENTITY_KINDS_H
#define VELKO_ENTITY_KINDS_H

#include "velkow32.h"

#include "records/code_table.h"

#include <cstddef>
#include <cstdint>

// A list of char* fields of a record, as byte offsets in CDB_ENTITY.
struct RecordTextFields {
    const uint16_t *offsets;
    size_t count;

    const uint16_t *begin() const { return offsets; }
    const uint16_t *end() const { return offsets + count; }
};

struct EntityKind {
    int16_t code;
    // The name tools show: "LINE", "3DLINE", "OLEFRAME", ...
    const char *name;
    // The group 0 name of the kind's entity in a DXF file, which its reader takes and its
    // writer puts out. It differs from `name` only where a kind is written as another one:
    // the release 12 code 21 is written as a "LINE".
    const char *dxf_name;
    // The kind's own defaults, set on a record whose common part already has its defaults;
    // null for a kind that CDBEntityDefault does not build (the record then keeps the common
    // part only and no entity_type).
    void (*fill_default)(CDB_ENTITY &record);
    // The heap texts of the kind's own part that their owner frees: the entity object that
    // holds the record, or the caller who got a list-mode copy of it.
    RecordTextFields owned_texts;
    // The handle texts by which release 13 names the references of the kind's own part (text
    // style, block, dimension style). A release 12 entity carries none: it drops them from a
    // record it takes in.
    RecordTextFields handle_texts;
};

using EntityKindRange = RowRange<EntityKind>;

// Every row, in ascending order of code.
EntityKindRange AllEntityKinds();

// The row of the kind `code`, or null for a code that names no kind.
const EntityKind *FindEntityKind(int code);

// The owned texts and the release 13 handle texts of the kind `code`; none for a code that
// names no kind.
RecordTextFields OwnedTextsOf(int code);
RecordTextFields HandleTextsOf(int code);

// The name of the kind `code` ("LINE" for 1, "3DFACE" for 22, ...), or "UNKNOWN" for a
// code that names no kind.
const char *EntityKindName(int code);

// The text fields are reached with LoadField<char *> and StoreField<char *>
// (io/record_field.h): records are byte-packed, so a pointer may be unaligned.
// Frees the owned texts of `kind` in `record` and nulls them. `record` is a CDB_ENTITY, or a
// record laid out like its beginning up to the kind's texts (the block start record).
void FreeOwnedTexts(const EntityKind &kind, void *record);
// The same for the kind of `record->entity_type`; nothing for a code that names no kind.
void FreeOwnedTexts(CDB_ENTITY *record);

#endif
