// A drawing of release 13: DWG "AC1012" and DXF "AC1012". Reading this release is not
// built yet: both opens refuse the file.
#ifndef VELKO_R13_DRAWING_H
#define VELKO_R13_DRAWING_H

#include "model/base_drawing.h"

class CR13Drawing : public CBaseDrawing {
public:
    CR13Drawing(CLibDrawing *owner, int view_flag);

    // Refuses the file with "Version Mismatch.", so that a release 13 DWG does not go on
    // to the DXF road.
    int OpenDWG(const char *name, CDB_OPEN_MODE mode);
    // The version check of a DXF file: a binary file of another release gives "Invalid
    // File."; an ASCII one "Drawing File Corrupted.", or code -419 when its groups
    // cannot be read at all, which the caller replaces by "Invalid File.". A DXF of this
    // release is refused with "Invalid File." too until its reader exists.
    int OpenDXF(const char *name, CDB_OPEN_MODE mode);
};

#endif
