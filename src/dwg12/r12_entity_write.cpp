// Entity frames as a release 12 DWG holds them.
#include "dwg12/r12_entities.h"

int CR12Entity::EncodeDWG(std::vector<uint8_t> &) {
    return 0;
}
