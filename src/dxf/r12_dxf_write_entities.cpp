// Release 12 entities writing their DXF groups.
#include "dwg12/r12_entities.h"
#include "dxf/r12_dxf_write.h"

int CR12Entity::WriteDXF(R12DxfWriteContext &) {
    return 0;
}
