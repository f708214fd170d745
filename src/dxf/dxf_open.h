// The version check that decides whether a file is a DXF of a release, and in which form.
#ifndef VELKO_DXF_OPEN_H
#define VELKO_DXF_OPEN_H

#include "dxf/dxf_stream.h"

class CDrawingFile;

enum class DxfVersionCheck {
    kMatch,      // the file is a DXF of the release
    kMismatch,   // its groups were read, and they name another release or none
    kUnreadable, // the groups could not be read at all
};

// Checks the open file `file` (positioned anywhere) for a DXF of `version` ("AC1009",
// "AC1012"). The first 255 bytes, as a zero-terminated text, are searched for the binary
// sentinel: found, the file is binary and the four groups from offset 22 are read through
// the binary reader of `release`; otherwise it is ASCII and four groups are read from
// offset 0, the first of which must have the value "SECTION" and the second "HEADER". The
// value of the fourth must equal `version`, case ignored. `form` receives the form found.
// On a match the read position stands where the groups begin (22 or 0).
DxfVersionCheck CheckDxfVersion(CDrawingFile &file, CDxfStream::Release release,
                                const char *version, CDxfStream::Form &form);

#endif
