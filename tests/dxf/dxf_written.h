// Reading back what the DXF writer wrote, for the tests: the groups of an ASCII file (line
// pairs ended by CR LF) and of a release 12 binary file, and small helpers to pick
// sections and objects out of them.
#pragma once

#include "dxf/dxf_numbers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace velko_test {

struct WrittenGroup {
    int code = 0;
    std::string value;
};
using WrittenGroups = std::vector<WrittenGroup>;

inline std::vector<uint8_t> FileBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
}

// The value types that the writer gives a binary group, by code.
enum class WrittenType { kString, kReal, kInt16, kInt32, kChunk };

inline WrittenType WrittenTypeOf(int code) {
    if ((code >= 10 && code <= 59) || (code >= 140 && code <= 147) ||
        (code >= 210 && code <= 239) || (code >= 1010 && code <= 1059))
        return WrittenType::kReal;
    if ((code >= 60 && code <= 79) || (code >= 170 && code <= 178) || code == 1070)
        return WrittenType::kInt16;
    if (code == 1071)
        return WrittenType::kInt32;
    if (code == 1004)
        return WrittenType::kChunk;
    return WrittenType::kString;
}

// ASCII: every line must end in CR LF; a code line is read as a decimal number.
inline WrittenGroups AsciiGroups(const std::vector<uint8_t> &bytes) {
    WrittenGroups out;
    std::vector<std::string> lines;
    std::string line;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
            lines.push_back(line);
            line.clear();
            ++i;
        } else {
            line += static_cast<char>(bytes[i]);
        }
    }
    EXPECT_TRUE(line.empty()) << "the last line has no CR LF";
    EXPECT_EQ(lines.size() % 2, 0u);
    for (size_t i = 0; i + 1 < lines.size(); i += 2)
        out.push_back({std::atoi(lines[i].c_str()), lines[i + 1]});
    return out;
}

// Binary: the 22-byte sentinel, then one code byte (255 and two bytes for larger codes)
// and the value by its type. Reals are given as "%.17g", integers in decimal, a chunk as
// upper-case hexadecimal digits of its data.
inline WrittenGroups BinaryGroups(const std::vector<uint8_t> &bytes) {
    WrittenGroups out;
    static const char kSentinel[22] = {'A', 'u', 't', 'o', 'C', 'A', 'D', ' ',  'B',  'i',  'n',
                                       'a', 'r', 'y', ' ', 'D', 'X', 'F', '\r', '\n', 0x1A, 0};
    if (bytes.size() < 22 || std::memcmp(bytes.data(), kSentinel, 22) != 0) {
        ADD_FAILURE() << "no binary sentinel";
        return out;
    }
    size_t at = 22;
    auto need = [&](size_t n) { return at + n <= bytes.size(); };
    while (at < bytes.size()) {
        int code = bytes[at++];
        if (code == 255) {
            if (!need(2))
                break;
            code = int16_t(bytes[at] | bytes[at + 1] << 8);
            at += 2;
        }
        WrittenGroup g;
        g.code = code;
        char text[64];
        switch (WrittenTypeOf(code)) {
        case WrittenType::kString: {
            const size_t start = at;
            while (at < bytes.size() && bytes[at] != 0)
                ++at;
            g.value.assign(bytes.begin() + long(start), bytes.begin() + long(at));
            ++at;
            break;
        }
        case WrittenType::kReal: {
            if (!need(8))
                return out;
            double v;
            std::memcpy(&v, &bytes[at], 8);
            at += 8;
            std::snprintf(text, sizeof text, "%.17g", v);
            g.value = text;
            break;
        }
        case WrittenType::kInt16: {
            if (!need(2))
                return out;
            g.value = std::to_string(int16_t(bytes[at] | bytes[at + 1] << 8));
            at += 2;
            break;
        }
        case WrittenType::kInt32: {
            if (!need(4))
                return out;
            int32_t v;
            std::memcpy(&v, &bytes[at], 4);
            at += 4;
            g.value = std::to_string(v);
            break;
        }
        case WrittenType::kChunk: {
            if (!need(1))
                return out;
            const size_t n = bytes[at++];
            if (!need(n))
                return out;
            static const char kHex[] = "0123456789ABCDEF";
            for (size_t i = 0; i < n; ++i) {
                g.value += kHex[bytes[at + i] >> 4];
                g.value += kHex[bytes[at + i] & 15];
            }
            at += n;
            break;
        }
        }
        out.push_back(g);
    }
    return out;
}

inline std::vector<int> CodesOf(const WrittenGroups &groups) {
    std::vector<int> codes;
    for (const WrittenGroup &g : groups)
        codes.push_back(g.code);
    return codes;
}

// The groups of a section: behind 0 "SECTION", 2 `name`, up to its 0 "ENDSEC".
inline WrittenGroups SectionOf(const WrittenGroups &all, const std::string &name) {
    WrittenGroups out;
    for (size_t i = 0; i + 1 < all.size(); ++i) {
        if (all[i].code == 0 && all[i].value == "SECTION" && all[i + 1].code == 2 &&
            all[i + 1].value == name) {
            for (size_t j = i + 2; j < all.size(); ++j) {
                if (all[j].code == 0 && all[j].value == "ENDSEC")
                    return out;
                out.push_back(all[j]);
            }
        }
    }
    return out;
}

// The objects of a run of groups, each from its group 0 to the next.
inline std::vector<WrittenGroups> ObjectsOf(const WrittenGroups &groups) {
    std::vector<WrittenGroups> out;
    for (const WrittenGroup &g : groups) {
        if (g.code == 0 || out.empty())
            out.emplace_back();
        out.back().push_back(g);
    }
    return out;
}

// The value of the first group with `code`; "<none>" when there is none.
inline std::string ValueOf(const WrittenGroups &groups, int code) {
    for (const WrittenGroup &g : groups)
        if (g.code == code)
            return g.value;
    return "<none>";
}

inline bool HasCode(const WrittenGroups &groups, int code) {
    for (const WrittenGroup &g : groups)
        if (g.code == code)
            return true;
    return false;
}

// The ASCII and the binary form of one file hold the same groups: same codes in the same
// order, equal texts and integers, and each ASCII real the binary one at 8 significant
// digits.
inline void ExpectSameGroups(const WrittenGroups &ascii, const WrittenGroups &binary) {
    ASSERT_EQ(ascii.size(), binary.size());
    for (size_t i = 0; i < ascii.size(); ++i) {
        const WrittenGroup &a = ascii[i];
        const WrittenGroup &b = binary[i];
        ASSERT_EQ(a.code, b.code) << "group " << i;
        switch (WrittenTypeOf(a.code)) {
        case WrittenType::kReal:
            EXPECT_EQ(DxfTextToReal(a.value.c_str()),
                      DxfRoundSignificant(DxfTextToReal(b.value.c_str()), 8))
                << "group " << i << " code " << a.code << ": " << a.value << " / " << b.value;
            break;
        case WrittenType::kInt16:
        case WrittenType::kInt32:
            EXPECT_EQ(std::atoi(a.value.c_str()), std::atoi(b.value.c_str()))
                << "group " << i << " code " << a.code;
            break;
        default:
            EXPECT_EQ(a.value, b.value) << "group " << i << " code " << a.code;
            break;
        }
    }
}

} // namespace velko_test
