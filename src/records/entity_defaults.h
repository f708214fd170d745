// Default records: entities, table records and blocks.
#ifndef VELKO_ENTITY_DEFAULTS_H
#define VELKO_ENTITY_DEFAULTS_H

#include "velkow32.h"

// Clears the record and fills the defaults of the kind `type`; always 0.
short FillEntityDefault(CDB_ENTITY *entity, short type);

#endif
