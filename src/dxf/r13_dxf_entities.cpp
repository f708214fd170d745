// Release 13 entities read from a DXF file.
#include "dwg13/r13_entity.h"
#include "dxf/r13_dxf_reader.h"

int CR13Entity::ReadDXF(CR13DxfReader &, char *) {
    return 0;
}
