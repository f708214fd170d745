// A drawing of release 13: DWG "AC1012" and DXF "AC1012". Reading this release is not
// built yet: both opens refuse the file.
#ifndef VELKO_R13_DRAWING_H
#define VELKO_R13_DRAWING_H

#include "model/base_drawing.h"

#include <memory>

class CDrawingFile;

class CR13Drawing : public CBaseDrawing {
public:
    CR13Drawing(CLibDrawing *owner, int view_flag);

    // Refuses the file with "Version Mismatch.", so that a release 13 DWG does not go on
    // to the DXF road.
    int OpenDWG(const char *name, CDB_OPEN_MODE mode);
    // Takes the file out of `opened`, a file that the open sniff found to be a DXF of
    // this release (`binary` non-zero for the binary form), positioned where its groups
    // begin: 1. A refused file stays with the caller, who then tries release 12. Until
    // the reader of this release exists every file is refused, with "Invalid File.".
    int OpenDXFFrom(std::unique_ptr<CDrawingFile> &opened, const char *name, int binary);
};

#endif
