// A drawing of release 13: DWG "AC1012" and DXF "AC1012". Reading this release is not
// built yet: both opens refuse the file.
#ifndef VELKO_R13_DRAWING_H
#define VELKO_R13_DRAWING_H

#include "interface/base_drawing.h"

#include <memory>

class CDrawingFile;

class CR13Drawing : public CBaseDrawing {
public:
    CR13Drawing(CLibDrawing *owner, int view_flag);

    // Refuses the file with "Version Mismatch.", so that a release 13 DWG does not go on
    // to the DXF road.
    int OpenDWG(const char *name, CDB_OPEN_MODE mode);
    // Takes `opened`, a file that the open sniff found to be a DXF of this release
    // (`binary` non-zero for the binary form), positioned where its groups begin. Until
    // the reader of this release exists the file is refused with "Invalid File." and
    // closed; the caller then tries release 12.
    int OpenDXFFrom(std::unique_ptr<CDrawingFile> opened, const char *name, int binary);
};

#endif
