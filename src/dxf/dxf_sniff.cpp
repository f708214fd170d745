#include "dxf/dxf_sniff.h"

#include "io/drawing_file.h"

#include <cstring>
#include <strings.h>

namespace {

// The form that the first 255 bytes show; kUndecided when they cannot be read.
CDxfStream::Form FormOfHead(CDrawingFile &file) {
    char head[256] = {};
    file.SetPosition(0, 0);
    if (!file.Read(head, 255))
        return CDxfStream::kUndecided;
    const int32_t got = file.GetPosition();
    head[got > 0 && got < 255 ? got : 255] = 0;
    return std::strstr(head, CDxfStream::kBinarySentinel) ? CDxfStream::kBinary
                                                          : CDxfStream::kAscii;
}

// Whether the first four groups in `form`, read by the groups of `release`, name `version`.
bool NamesVersion(CDrawingFile &file, CDxfStream::Form form, CDxfStream::Release release,
                  const char *version, int32_t read_options) {
    const bool binary = form == CDxfStream::kBinary;
    file.SetPosition(binary ? CDxfStream::kBinarySentinelSize : 0, 0);
    CDxfStream stream;
    stream.AttachInput(&file, form, release);
    stream.SetReadOptions(read_options & CDB_READ_COMMENTS);
    int16_t code = 0;
    char value[CDxfStream::kValueSize] = {};
    for (int i = 0; i < 4; ++i) {
        if (!stream.ReadGroup(&code, value) || stream.AtEnd())
            return false;
        if (!binary && i == 0 && std::strcmp(value, "SECTION") != 0)
            return false;
        if (!binary && i == 1 && std::strcmp(value, "HEADER") != 0)
            return false;
    }
    return strcasecmp(value, version) == 0;
}

} // namespace

DxfSniff SniffDxf(CDrawingFile &file, int32_t read_options) {
    DxfSniff sniff;
    sniff.form = FormOfHead(file);
    if (sniff.form == CDxfStream::kUndecided)
        return sniff;
    const bool release13 =
        NamesVersion(file, sniff.form, CDxfStream::kRelease13, "AC1012", read_options);
    sniff.release12 =
        NamesVersion(file, sniff.form, CDxfStream::kRelease12, "AC1009", read_options);
    sniff.release = release13 ? 13 : sniff.release12 ? 12 : 0;
    if (sniff.release)
        file.SetPosition(sniff.form == CDxfStream::kBinary ? CDxfStream::kBinarySentinelSize : 0,
                         0);
    return sniff;
}
