// Release 12 table records writing their DXF groups.
#include "dwg12/r12_tables.h"
#include "dxf/r12_dxf_write.h"

int CR12LayoutRecord::WriteDXF(R12DxfWriteContext &) const {
    return 0;
}
