// Saving a release 12 drawing as DWG "AC1009".
#include "dwg12/r12_drawing.h"

short CR12Drawing::SaveAsDWG(const char *) {
    return Unsupported(), CDB_FAIL;
}
short CR12Drawing::Save() {
    return Unsupported(), CDB_FAIL;
}
int CR12Drawing::WriteFile() {
    return 0;
}
