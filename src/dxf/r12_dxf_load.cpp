// The DXF roads of a release 12 drawing: taking an opened DXF file, the load through the
// reader (r12_dxf_reader.h), and the ENTITIES section that view mode leaves for later.
#include "dwg12/r12_drawing.h"
#include "dxf/dxf_sniff.h"
#include "dxf/dxf_tolerance.h"
#include "dxf/r12_dxf_reader.h"
#include "io/drawing_file.h"

#include <memory>

void CR12DxfReaderDeleter::operator()(CR12DxfReader *reader) const {
    delete reader;
}

// ---- Opening ----------------------------------------------------------------------------------

int CR12Drawing::OpenDXF(const char *name, CDB_OPEN_MODE) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    auto opened = std::make_unique<CDrawingFile>();
    file_name = name ? name : "";
    if (!opened->Open(name, CDB_OPEN_READ)) {
        SetError(CDB_ERR_OPENING_FILE);
        return 0;
    }
    const DxfSniff sniff = SniffDxf(*opened, DxfReadOptionsOf(*this));
    if (sniff.release != 12) {
        SetError(sniff.Release12Refusal());
        file_kind = kNone;
        opened->Close();
        return 0;
    }
    return OpenDXFFrom(std::move(opened), name,
                       sniff.form == CDxfStream::kBinary ? kBinaryDxf : kTextDxf);
}

int CR12Drawing::OpenDXFFrom(std::unique_ptr<CDrawingFile> opened, const char *name, int kind) {
    if (file) {
        SetError(CDB_ERR_FILE_ALREADY_OPEN);
        return 0;
    }
    file = std::move(opened);
    file_name = name ? name : "";
    file_kind = kind;
    dxf_reader.reset(
        new CR12DxfReader(*this, kind == kBinaryDxf ? CDxfStream::kBinary : CDxfStream::kAscii));
    return 1;
}

// ---- Loading ----------------------------------------------------------------------------------

int CR12Drawing::LoadDXF() {
    if (file_kind != kTextDxf && file_kind != kBinaryDxf)
        return 0;
    const bool loaded = header_loaded && tables_loaded && blocks_loaded && entities_loaded;
    if (!file || (!dxf_reader && !loaded)) {
        SetError(CDB_ERR_INVALID_FILE);
        return 0;
    }
    if (!dxf_reader)
        return 1;
    if (!dxf_reader->Load())
        return 0;
    // In list mode everything is read; view mode keeps the reader for LoadEntities.
    if (!ViewFlag())
        dxf_reader.reset();
    return 1;
}

void CR12Drawing::LoadDxfEntities() {
    if (dxf_reader && dxf_reader->HandOutEntities())
        dxf_reader.reset();
}

void CR12Drawing::DetachDxfReader(int binary) {
    if (dxf_reader)
        dxf_reader->DetachInput(binary ? CDxfStream::kBinary : CDxfStream::kAscii);
}
