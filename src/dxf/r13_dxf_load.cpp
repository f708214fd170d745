// The DXF roads of a release 13 drawing: taking an opened DXF file and the load through the
// reader (r13_dxf_reader.h).
#include "dwg13/r13_drawing.h"
#include "dxf/r13_dxf_reader.h"
#include "io/drawing_file.h"

void CR13DxfReaderDeleter::operator()(CR13DxfReader *reader) const {
    delete reader;
}

int CR13Drawing::OpenDXFFrom(std::unique_ptr<CDrawingFile> &opened, const char *name, int binary) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    if (!opened) {
        SetError(CDB_ERR_INVALID_FILE);
        return 0;
    }
    file = std::move(opened);
    file_name = name ? name : "";
    file_kind = binary ? kBinaryDxf : kTextDxf;
    dxf_reader.reset(new CR13DxfReader(*this, binary ? CDxfStream::kBinary : CDxfStream::kAscii));
    return 1;
}

int CR13Drawing::LoadDXF() {
    if (file_kind != kTextDxf && file_kind != kBinaryDxf)
        return 0;
    if (loaded)
        return 1;
    if (!file || !dxf_reader) {
        SetError(CDB_ERR_INVALID_FILE);
        return Fail("the drawing has no DXF file to read");
    }
    load_failure.clear();
    const int result = dxf_reader->Load();
    // Everything is read: the lists are complete in view mode too.
    dxf_reader.reset();
    return result;
}
