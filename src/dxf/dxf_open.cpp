#include "dxf/dxf_open.h"

#include "io/drawing_file.h"

#include <cstring>
#include <strings.h>

DxfVersionCheck CheckDxfVersion(CDrawingFile &file, CDxfStream::Release release,
                                const char *version, CDxfStream::Form &form) {
    char head[256] = {};
    file.SetPosition(0, 0);
    if (!file.Read(head, 255))
        return DxfVersionCheck::kUnreadable;
    const int32_t got = file.GetPosition();
    head[got > 0 && got < 255 ? got : 255] = 0;
    const bool binary = std::strstr(head, CDxfStream::kBinarySentinel) != nullptr;
    form = binary ? CDxfStream::kBinary : CDxfStream::kAscii;

    const int32_t start = binary ? CDxfStream::kBinarySentinelSize : 0;
    file.SetPosition(start, 0);
    CDxfStream stream;
    stream.AttachInput(&file, form, release);
    int16_t code = 0;
    char value[CDxfStream::kValueSize] = {};
    for (int i = 0; i < 4; ++i) {
        if (!stream.ReadGroup(&code, value) || stream.AtEnd())
            return i == 0 ? DxfVersionCheck::kUnreadable : DxfVersionCheck::kMismatch;
        if (!binary && i == 0 && std::strcmp(value, "SECTION") != 0)
            return DxfVersionCheck::kMismatch;
        if (!binary && i == 1 && std::strcmp(value, "HEADER") != 0)
            return DxfVersionCheck::kMismatch;
    }
    if (strcasecmp(value, version) != 0)
        return DxfVersionCheck::kMismatch;
    file.SetPosition(start, 0);
    return DxfVersionCheck::kMatch;
}
