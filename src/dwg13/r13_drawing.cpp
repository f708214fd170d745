#include "dwg13/r13_drawing.h"

#include "io/drawing_file.h"

CR13Drawing::CR13Drawing(CLibDrawing *owner, int flag) : CBaseDrawing(flag) {
    SetLib(owner);
}

int CR13Drawing::OpenDWG(const char *, CDB_OPEN_MODE) {
    SetError(CDB_ERR_VERSION_MISMATCH);
    return 0;
}

int CR13Drawing::OpenDXFFrom(std::unique_ptr<CDrawingFile> &, const char *, int) {
    SetError(CDB_ERR_INVALID_FILE);
    return 0;
}
