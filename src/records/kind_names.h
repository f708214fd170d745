// The DXF names of the entity kinds.
#ifndef VELKO_KIND_NAMES_H
#define VELKO_KIND_NAMES_H

// The DXF name of an entity kind ("LINE" for 1, "3DFACE" for 22, ...), or "UNKNOWN" for a
// number that is no kind.
const char *EntityKindName(int kind);

#endif
