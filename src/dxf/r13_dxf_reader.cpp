// The two phases of a release 13 DXF load and the section readers under them.
#include "dxf/r13_dxf_reader.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_tables.h"

CR13DxfReader::CR13DxfReader(CR13Drawing &drawing, CDxfStream::Form form) : drawing_(drawing) {
    stream_.AttachInput(drawing.File(), form, CDxfStream::kRelease13);
    eed_lookup_.appid = [&drawing](const char *name) {
        return drawing.Table(R13Table::kAppids).IndexOfName(name);
    };
    eed_lookup_.layer = [&drawing](const char *name) {
        return drawing.Table(R13Table::kLayers).IndexOfName(name);
    };
}

int CR13DxfReader::Load() {
    return 0;
}
