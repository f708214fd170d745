// Saving a release 12 drawing as DXF "AC1009", ASCII or binary.
#include "dwg12/r12_drawing.h"

short CR12Drawing::SaveAsDXF(const char *, int) {
    return Unsupported(), CDB_FAIL;
}
