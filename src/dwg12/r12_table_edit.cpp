// Table records taking a public record in, for the edit functions.
#include "dwg12/r12_tables.h"

void CR12LayoutRecord::SetFrom(const void *) {}
