#include "interface/open_sniff.h"

#include "dxf/dxf_sniff.h"
#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"
#include "records/file_options.h"

#include <cstring>

OpenSniff::OpenSniff() = default;
OpenSniff::OpenSniff(OpenSniff &&) noexcept = default;
OpenSniff::~OpenSniff() = default;

namespace {

OpenSniff Refused(short code, bool judged) {
    OpenSniff sniff;
    sniff.refusal = code;
    sniff.judged = judged;
    return sniff;
}

OpenSniff JudgeAsDwg(std::unique_ptr<CDrawingFile> file) {
    char *version = file->version;
    if (!file->Read(version, sizeof file->version))
        return Refused(CDB_ERR_FILE_READ, false);
    OpenSniff sniff;
    sniff.judged = true;
    if (std::memcmp(version, "AC1009", 6) == 0)
        sniff.kind = SniffedDrawing::kDwg12;
    else if (std::memcmp(version, "AC1012", 6) == 0)
        sniff.kind = SniffedDrawing::kDwg13;
    else
        return Refused(std::memcmp(version, "AC10", 4) == 0 ? CDB_ERR_VERSION_MISMATCH
                                                            : CDB_ERR_INVALID_FILE,
                       true);
    sniff.file = std::move(file);
    return sniff;
}

OpenSniff JudgeAsDxf(std::unique_ptr<CDrawingFile> file) {
    const DxfSniff dxf = SniffDxf(*file, g_ReadOptions);
    OpenSniff sniff;
    sniff.judged = true;
    sniff.refusal = dxf.Release12Refusal();
    sniff.binary = dxf.form == CDxfStream::kBinary ? 1 : 0;
    sniff.also_dxf12 = dxf.release == 13 && dxf.release12;
    if (dxf.release == 13)
        sniff.kind = SniffedDrawing::kDxf13;
    else if (dxf.release == 12)
        sniff.kind = SniffedDrawing::kDxf12;
    else
        return sniff;
    sniff.file = std::move(file);
    return sniff;
}

} // namespace

OpenSniff SniffDrawing(const char *name, OpenAttempt attempt) {
    auto file = std::make_unique<CDrawingFile>();
    if (!file->Open(name, CDB_OPEN_READ))
        return Refused(CDB_ERR_OPENING_FILE, false);
    return attempt == OpenAttempt::kDwg ? JudgeAsDwg(std::move(file)) : JudgeAsDxf(std::move(file));
}

short DescribeDrawingFile(const char *name, CDB_FILE_INFO *info) {
    // Room behind the 256 bytes for a version text found at the very end.
    char head[256 + 8] = {};
    {
        CDrawingFile file;
        if (!file.Open(name, CDB_OPEN_READ))
            return CDB_ERR_INVALID_FILE;
        uint32_t got = 0;
        if (file.Read(head, 256))
            got = static_cast<uint32_t>(file.GetPosition());
        head[got < 256 ? got : 256] = 0;
        file.Close();
    }
    if (!info)
        return CDB_ERR_INVALID_PARAMETER;
    const char *found = std::strstr(head, "AC10");
    if (!found) {
        std::strcpy(info->version, "Invalid DrawingFile.");
        return CDB_ERR_INVALID_FILE;
    }
    if (std::memcmp(head, "AC10", 4) == 0)
        info->file_kind = CDB_FILE_DWG;
    else if (std::strstr(head, CDxfStream::kBinarySentinel))
        info->file_kind = CDB_FILE_BINARY_DXF;
    else
        info->file_kind = CDB_FILE_TEXT_DXF;
    if (std::memcmp(found, "AC1009", 6) == 0)
        info->release = CDB_RELEASE_12;
    else if (std::memcmp(found, "AC1012", 6) == 0)
        info->release = CDB_RELEASE_13;
    else
        info->release = CDB_RELEASE_OTHER;
    std::memcpy(info->version, found, 6);
    info->version[6] = 0;
    return 0;
}
