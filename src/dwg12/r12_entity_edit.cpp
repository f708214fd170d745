// Entities taking a public record in, for the edit functions.
#include "dwg12/r12_entities.h"

void CR12Entity::SetRecord(const CDB_ENTITY *) {}
