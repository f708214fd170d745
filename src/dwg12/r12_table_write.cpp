// Table records as a release 12 DWG holds them.
#include "dwg12/r12_tables.h"

int CR12LayoutRecord::EncodeDWG(uint8_t *) const {
    return 0;
}
int CR12VxHeaderRecord::EncodeDWG(uint8_t *) const {
    return 0;
}
