// The one judgement of what a file holds when the library opens it.
//
// An open is made of attempts, in this order: first as DWG, then as DXF. Each attempt opens
// the file once, read-only, judges it and hands the open file on to the drawing class that
// takes it, so that no drawing class opens or judges the file again.
//  - The DWG attempt compares the first 6 bytes, exactly, case included: "AC1009" is a DWG
//    of release 12, "AC1012" one of release 13. Any other text beginning "AC10" is a DWG of
//    a release that the library does not read (-404); anything else is no DWG (-405).
//  - The DXF attempt decides the form and the release through the DXF sniff
//    (dxf/dxf_sniff.h): release 13 first, release 12 after it.
// CDBGetDrawingFileInfo describes a file by rules of its own (below), which look at the
// same first bytes but, unlike an open, search them for the version.
#ifndef VELKO_OPEN_SNIFF_H
#define VELKO_OPEN_SNIFF_H

#include "velkow32.h"

#include <memory>

class CDrawingFile;

enum class OpenAttempt { kDwg, kDxf };

enum class SniffedDrawing { kNone, kDwg12, kDwg13, kDxf12, kDxf13 };

struct OpenSniff {
    OpenSniff();
    OpenSniff(OpenSniff &&) noexcept;
    ~OpenSniff();

    SniffedDrawing kind = SniffedDrawing::kNone;
    // False when the file could not be opened (-401) or, in the DWG attempt, its first
    // bytes not read (-402): nothing was judged.
    bool judged = false;
    // A DXF in the binary form.
    int binary = 0;
    // With kDxf13: the file is also one that the release 12 reader takes, should the
    // drawing of release 13 refuse it.
    bool also_dxf12 = false;
    // With kNone, why the file is refused. With kDxf13, the code that stands when the
    // drawing of release 13 refuses it too: what the release 12 reader would say.
    short refusal = 0;
    // The attempt's open file (read-only), for the drawing class that takes it; null when
    // the file was refused.
    std::unique_ptr<CDrawingFile> file;
};

// Opens `name` and judges it for one attempt.
OpenSniff SniffDrawing(const char *name, OpenAttempt attempt);

// Fills `info` from the first 256 bytes of `name`: 0, or the code that the caller keeps.
// The file is opened read-only and closed again: -405 when it cannot be opened. A null
// `info` gives -421. No "AC10" among the bytes (read as a zero-terminated text): -405 and
// "Invalid DrawingFile." in `info->version`. Otherwise the kind is DWG when the file
// begins "AC10", binary DXF when the binary sentinel stands among the bytes, text DXF
// else; the six bytes at the first "AC10" are the version, and "AC1009" is release 12,
// "AC1012" release 13, anything else another release.
short DescribeDrawingFile(const char *name, CDB_FILE_INFO *info);

#endif
