// The judgement of a DXF file at open: its form, ASCII or binary, and its release.
//
// The form comes from the file's first 255 bytes, read as a zero-terminated text: with the
// binary sentinel among them the file is binary, and its groups begin behind the 22-byte
// sentinel; otherwise it is ASCII and they begin at offset 0. The release comes from the
// first four groups, read in that form: the value of the fourth names it, case ignored.
// Release 13 ("AC1012", read through the binary groups of release 13) is tried first,
// release 12 ("AC1009") after it, on the same open file. An ASCII file must in addition
// begin with a group "SECTION" and a group "HEADER". With CDB_READ_COMMENTS among the read
// options, 999 comment groups are passed over wherever they stand, also before "SECTION".
#ifndef VELKO_DXF_SNIFF_H
#define VELKO_DXF_SNIFF_H

#include "dxf/dxf_stream.h"

class CDrawingFile;

struct DxfSniff {
    // kUndecided when not even the first bytes could be read (an empty file).
    CDxfStream::Form form = CDxfStream::kUndecided;
    // 13 or 12, the first release whose check the file passes; 0 for neither.
    int release = 0;
    // The file passes the check of release 12 (a file that passes both is the reader's
    // to take when the drawing of release 13 refuses it).
    bool release12 = false;

    // The code with which the release 12 reader refuses a file that is not its own: a
    // binary file of another release is a version mismatch (-404); an ASCII file is no DXF
    // that it reads (-405).
    short Release12Refusal() const {
        return form == CDxfStream::kBinary ? CDB_ERR_VERSION_MISMATCH : CDB_ERR_INVALID_FILE;
    }
};

// Judges the open file `file`, whatever its read position: both checks run, release 13
// first. When a release is found, the read position stands where the groups begin (22 or
// 0). `read_options` are CDB_READ_ bits; only CDB_READ_COMMENTS plays a part here.
DxfSniff SniffDxf(CDrawingFile &file, int32_t read_options = 0);

#endif
