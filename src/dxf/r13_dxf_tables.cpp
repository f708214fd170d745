// Release 13 table records read from a DXF file.
#include "dwg13/r13_tables.h"
#include "dxf/r13_dxf_reader.h"

int CR13TableRecord::ReadDXF(CR13DxfReader &, char *) {
    return 0;
}
