#include "dwg13/r13_drawing.h"

#include "dxf/dxf_open.h"
#include "io/drawing_file.h"

CR13Drawing::CR13Drawing(CLibDrawing *owner, int flag) : CBaseDrawing(flag) {
    SetLib(owner);
}

int CR13Drawing::OpenDWG(const char *, CDB_OPEN_MODE) {
    SetError(CDB_ERR_VERSION_MISMATCH);
    return 0;
}

int CR13Drawing::OpenDXF(const char *name, CDB_OPEN_MODE) {
    CDrawingFile file;
    if (!file.Open(name, CDB_OPEN_READ)) {
        SetError(CDB_ERR_OPENING_FILE);
        return 0;
    }
    CDxfStream::Form form = CDxfStream::kUndecided;
    const DxfVersionCheck check = CheckDxfVersion(file, CDxfStream::kRelease13, "AC1012", form);
    file.Close();
    if (check == DxfVersionCheck::kMatch || form == CDxfStream::kBinary)
        SetError(CDB_ERR_INVALID_FILE);
    else
        SetError(check == DxfVersionCheck::kUnreadable ? CDB_ERR_SEEKING
                                                       : CDB_ERR_DRAWING_CORRUPTED);
    return 0;
}
