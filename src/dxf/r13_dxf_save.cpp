// Saving a release 13 drawing as DXF "AC1012", ASCII or binary: the frame of the file and
// its tail.
//
// The sections go out in their fixed order, each through the stream's group writer, so that
// both forms are one road. The binary form of this release begins with its first group at
// offset 0: it has no sentinel, and its group codes take the writer's one form (a byte
// below 1000, else 255 and two bytes). The readers of the library do not take such a file
// back as binary; that stays so, and a caller that wants to read its file back saves ASCII.
//
// The tail: a drawing read from DXF gets the bytes behind its ENTITIES section (its OBJECTS
// section and end mark) copied from its input as they stand; any other gets an OBJECTS
// section built here (r13_dxf_objects.cpp). A drawing read from DWG is left with the code
// -419 after a save that went through: the check whether its input is a DXF fails on the
// DWG's bytes, and its code stays, as it always has.
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_tables.h"
#include "dxf/dxf_eed.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_write.h"
#include "io/drawing_file.h"
#include "io/file_replacement.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

// ---- Names of records by handle ------------------------------------------------------------

const char *CR13DxfWriter::NameOfHandle(R13Table table, const char *handle) const {
    if (!handle || !*handle)
        return "";
    const CR13TableRecord *record = drawing_.Table(table).FindByHandle(handle);
    const char *name = record ? record->RecordName() : nullptr;
    return name ? name : "";
}

const char *CR13DxfWriter::LineTypeName(const char *handle) const {
    if (handle && std::strcmp(handle, "0") == 0)
        return "BYBLOCK";
    if (handle && std::strcmp(handle, "-1") == 0)
        return "BYLAYER";
    return NameOfHandle(R13Table::kLtypes, handle);
}

namespace {

// The names of the release 13 stored form: the application's and the layer's handle.
class EedNamesByHandle final : public DxfEedHandleNames {
public:
    explicit EedNamesByHandle(const CR13DxfWriter &writer) : writer_(writer) {}
    const char *Appid(const char *handle) const override {
        return writer_.NameOfHandle(R13Table::kAppids, handle);
    }
    const char *Layer(const char *handle) const override {
        return writer_.NameOfHandle(R13Table::kLayers, handle);
    }

private:
    const CR13DxfWriter &writer_;
};

} // namespace

int CR13DxfWriter::WriteExtendedData(const uint8_t *data, size_t size) const {
    const EedNamesByHandle names(*this);
    return WriteEedDxfRelease13(stream_, data, size, names);
}

// ---- The file ------------------------------------------------------------------------------

namespace {

class CR13DxfFile {
public:
    CR13DxfFile(CR13Drawing &drawing, CDrawingFile &output, CDxfStream &stream)
        : drawing_(drawing), output_(output), writer_(drawing, stream), stream_(stream) {}

    // The whole file from offset 0. 1, or 0 at the first group that cannot be written.
    int Write() {
        CDxfStream &s = stream_;
        if (!Section("HEADER") || !WriteR13DxfHeaderVariables(writer_) || !EndSection())
            return 0;
        if (!Section("CLASSES") || !EndSection())
            return 0;
        if (!Section("TABLES") || !WriteR13DxfTables(writer_) || !EndSection())
            return 0;
        if (!Section("BLOCKS") || !WriteR13DxfBlocks(writer_) || !EndSection())
            return 0;
        if (!Section("ENTITIES") || !WriteR13DxfEntityList(writer_, drawing_.Entities()) ||
            !s.WriteText(0, "ENDSEC"))
            return 0;
        return Tail() && output_.Flush();
    }

private:
    int Section(const char *name) {
        return stream_.WriteText(0, "SECTION") && stream_.WriteText(2, name);
    }
    int EndSection() { return stream_.WriteText(0, "ENDSEC"); }

    // The input's own tail for a drawing read from DXF; otherwise one built here.
    int Tail() {
        const int kind = drawing_.FileKind();
        CDrawingFile *input = drawing_.File();
        const bool from_dxf = (kind == CR13Drawing::kTextDxf || kind == CR13Drawing::kBinaryDxf) &&
                              input && input->IsOpen() && drawing_.TailSize() > 0;
        if (!from_dxf) {
            // The check that finds the input no DXF reads its first groups from a DWG and
            // fails there: its code stays in the drawing, while the save goes on.
            if (kind == CR13Drawing::kDwg)
                drawing_.SetError(CDB_ERR_SEEKING);
            return WriteR13DxfObjects(writer_);
        }
        return CopyTail(*input);
    }

    // tail_size bytes from tail_start of the input, in pieces, as they stand. The input's
    // read position is put back behind them.
    int CopyTail(CDrawingFile &input) {
        constexpr uint32_t kPiece = 4096;
        const int32_t kept = input.GetPosition();
        input.SetPosition(drawing_.TailStart(), SEEK_SET);
        std::vector<uint8_t> piece(kPiece);
        int64_t left = drawing_.TailSize();
        int written = 1;
        while (left > 0 && written) {
            const uint32_t n = static_cast<uint32_t>(left < kPiece ? left : kPiece);
            const int32_t before = input.GetPosition();
            if (!input.Read(piece.data(), n))
                break;
            const int32_t got = input.GetPosition() - before;
            if (got <= 0)
                break;
            written = output_.Write(piece.data(), static_cast<uint32_t>(got));
            left -= got;
        }
        input.SetPosition(kept, SEEK_SET);
        return written;
    }

    CR13Drawing &drawing_;
    CDrawingFile &output_;
    CR13DxfWriter writer_;
    CDxfStream &stream_;
};

} // namespace

short CR13Drawing::SaveAsDXF(const char *name, int binary) {
    dxf_save_stop = DxfSaveStop{};
    if (!name) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    if (!TriggerLoading())
        return CDB_FAIL;
    // The input stays open and keeps its position: the tail may be read from it, also when
    // the new file takes the input's own name, since it is replaced only once complete.
    CFileReplacement replacement(name);
    auto output = std::make_unique<CDrawingFile>();
    if (!replacement.Open(*output)) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    CDxfStream stream;
    stream.AttachOutput(output.get(), binary ? 1 : 0);
    const int written = CR13DxfFile(*this, *output, stream).Write();
    // A failed save leaves no part of the new file.
    const int committed = written && replacement.Commit(*output);
    output->Close();
    if (!written && stream.FormLimit())
        RefuseFormLimit(stream.FormLimit());
    return committed ? short(0) : short(CDB_FAIL);
}
