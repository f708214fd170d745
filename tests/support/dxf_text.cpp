#include "support/dxf_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace velko_test {

DxfText &DxfText::G(int code, double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    return G(code, std::string(text));
}

DxfText &DxfText::G(int code, int value) {
    return G(code, std::to_string(value));
}

std::string DxfText::Ascii(const char *eol) const {
    std::string out;
    for (const auto &g : groups_) {
        out += std::to_string(g.first);
        out += eol;
        out += g.second;
        out += eol;
    }
    return out;
}

namespace {

using Type = DxfBinaryValue;

// The value type of a code in a release 12 binary file.
Type TypeOf(int code) {
    if ((code >= 0 && code <= 9) || code == 999 || (code >= 1000 && code <= 1003) ||
        (code >= 1005 && code <= 1009))
        return Type::kString;
    if ((code >= 10 && code <= 59) || (code >= 210 && code <= 239) ||
        (code >= 1010 && code <= 1059))
        return Type::kReal;
    if ((code >= 60 && code <= 79) || code == 1070)
        return Type::kInt16;
    if (code == 1071)
        return Type::kInt32;
    if (code == 1004)
        return Type::kChunk;
    return Type::kNone;
}

template <typename T> void PutLe(std::vector<uint8_t> &out, T value) {
    uint8_t bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    out.insert(out.end(), bytes, bytes + sizeof(T));
}

} // namespace

DxfBinaryValue Release13BinaryValue(int code) {
    if ((code >= 10 && code <= 58) || (code >= 140 && code <= 147) ||
        (code >= 210 && code <= 230) || (code >= 1010 && code <= 1042))
        return Type::kReal;
    if ((code >= 62 && code <= 78) || (code >= 170 && code <= 178) ||
        (code >= 270 && code <= 275) || (code >= 280 && code <= 289) || code == 1070)
        return Type::kInt16;
    if ((code >= 90 && code <= 99) || code == 1071)
        return Type::kInt32;
    if (code == 310 || code == 1004)
        return Type::kChunk;
    return Type::kString;
}

void AppendBinaryValue(std::vector<uint8_t> &out, DxfBinaryValue type, const std::string &text) {
    switch (type) {
    case Type::kString:
        out.insert(out.end(), text.begin(), text.end());
        out.push_back(0);
        break;
    case Type::kReal:
        PutLe<double>(out, std::strtod(text.c_str(), nullptr));
        break;
    case Type::kInt16:
        PutLe<int16_t>(out, static_cast<int16_t>(std::atoi(text.c_str())));
        break;
    case Type::kInt32:
        PutLe<int32_t>(out, static_cast<int32_t>(std::atol(text.c_str())));
        break;
    case Type::kChunk: {
        // Hexadecimal text to a length byte and the data.
        std::vector<uint8_t> data;
        for (size_t i = 0; i + 1 < text.size(); i += 2)
            data.push_back(
                static_cast<uint8_t>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16)));
        out.push_back(static_cast<uint8_t>(data.size()));
        out.insert(out.end(), data.begin(), data.end());
        break;
    }
    case Type::kNone:
        break;
    }
}

std::vector<uint8_t> DxfText::Binary() const {
    static const char kSentinel[] = "AutoCAD Binary DXF\r\n\x1a";
    std::vector<uint8_t> out(kSentinel, kSentinel + 22); // the terminator is the 22nd byte
    for (const auto &g : groups_) {
        if (g.first < 255) {
            out.push_back(static_cast<uint8_t>(g.first));
        } else {
            out.push_back(255);
            PutLe<int16_t>(out, static_cast<int16_t>(g.first));
        }
        AppendBinaryValue(out, TypeOf(g.first), g.second);
    }
    return out;
}

} // namespace velko_test
