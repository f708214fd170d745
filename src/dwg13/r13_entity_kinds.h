// The release 13 table of entity kinds: the object types of a release 13 DWG that are
// entities, the public kind each one gives, and the class that decodes it.
//
// This is the release 13 level of the kind registry; the release-neutral facts of a kind
// are the row of records/entity_kinds.h with the same public code. A type whose row has no
// factory has no class yet: the block reader drops its objects as it drops every type that
// is no entity (9, 42, 43, any type above 500, the table objects).
#ifndef VELKO_R13_ENTITY_KINDS_H
#define VELKO_R13_ENTITY_KINDS_H

#include <cstdint>

class CR13Drawing;
class CR13Entity;

struct R13EntityKind {
    // The object type of the file.
    int16_t type;
    // The public kind (entity_type) its record gets.
    int16_t code;
    // Makes the object; null for a type without a class.
    CR13Entity *(*make)(CR13Drawing *drawing, int16_t type);
};

// The row of object type `type`, or null for a type that is no entity.
const R13EntityKind *FindR13EntityKind(int type);

// The object types of the block start, the block end and the sequence end.
constexpr int16_t kR13BlockType = 4;
constexpr int16_t kR13EndBlockType = 5;
constexpr int16_t kR13SeqEndType = 6;

#endif
