#include "support/r13_dxf_binary_groups.h"

#include "dxf/dxf_numbers.h"

#include <cstdio>
#include <cstring>

namespace velko_test {

BinaryValue BinaryValueOf(int code) {
    auto in = [code](int low, int high) { return code >= low && code <= high; };
    if (in(10, 59) || in(110, 149) || in(210, 239) || in(1010, 1059))
        return BinaryValue::kReal;
    if (in(60, 79) || in(170, 179) || in(270, 289) || in(1060, 1070))
        return BinaryValue::kInt16;
    if (in(90, 99) || code == 1071)
        return BinaryValue::kInt32;
    if (code == 310 || code == 1004)
        return BinaryValue::kChunk;
    return BinaryValue::kString;
}

namespace {

std::string Hex(const uint8_t *bytes, size_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < n; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::string Upper(std::string text) {
    for (char &c : text)
        if (c >= 'a' && c <= 'f')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

// The ASCII value without the blanks an integer field is padded with.
std::string Trimmed(const std::string &text) {
    size_t from = 0, to = text.size();
    while (from < to && text[from] == ' ')
        ++from;
    while (to > from && (text[to - 1] == ' ' || text[to - 1] == '\r'))
        --to;
    return text.substr(from, to - from);
}

// Reads the binary groups one by one, guided by the ASCII ones.
class BinaryCursor {
public:
    explicit BinaryCursor(const std::vector<uint8_t> &bytes) : bytes_(bytes) {}

    size_t at() const { return at_; }
    bool AtEnd() const { return at_ == bytes_.size(); }

    // "" when the next binary group equals `group`.
    std::string Match(const DxfGroup &group, bool short_standard) {
        const size_t start = at_;
        int code = 0;
        if (!Code(&code))
            return Where(start) + "the file ends before group " + std::to_string(group.code);
        const int want = group.code < 1000 ? (group.code & 0xFF) : group.code;
        if (code != want)
            return Where(start) + "code " + std::to_string(code) + " where the ASCII file has " +
                   std::to_string(group.code) + " (" + std::to_string(want) + ")";
        std::string value;
        if (short_standard) {
            if (!Take(5))
                return Where(start) + "the file ends in the short STANDARD entry";
            value.assign(reinterpret_cast<const char *>(&bytes_[at_ - 5]), 5);
            return value == "STAND" ? "" : Where(start) + "\"" + value + "\" for \"STAND\"";
        }
        const std::string ascii = Trimmed(group.value);
        switch (BinaryValueOf(group.code)) {
        case BinaryValue::kString:
            if (!String(&value))
                return Where(start) + "a string without its end";
            return value == group.value ? ""
                                        : Where(start) + "group " + std::to_string(group.code) +
                                              ": \"" + value + "\" for \"" + group.value + "\"";
        case BinaryValue::kReal: {
            double real = 0;
            if (!Take(8))
                return Where(start) + "the file ends in a real";
            std::memcpy(&real, &bytes_[at_ - 8], 8);
            char text[40];
            DxfFormatSignificant(real, 8, true, text);
            return ascii == text ? ""
                                 : Where(start) + "group " + std::to_string(group.code) + ": " +
                                       text + " for " + ascii;
        }
        case BinaryValue::kInt16:
        case BinaryValue::kInt32: {
            const bool wide = BinaryValueOf(group.code) == BinaryValue::kInt32;
            if (!Take(wide ? 4 : 2))
                return Where(start) + "the file ends in an integer";
            const uint8_t *p = &bytes_[at_ - (wide ? 4 : 2)];
            const long number = wide ? static_cast<int32_t>(p[0] | p[1] << 8 | p[2] << 16 |
                                                            static_cast<uint32_t>(p[3]) << 24)
                                     : static_cast<int16_t>(p[0] | p[1] << 8);
            return number == DxfTextToInt(ascii.c_str())
                       ? ""
                       : Where(start) + "group " + std::to_string(group.code) + ": " +
                             std::to_string(number) + " for " + ascii;
        }
        case BinaryValue::kChunk: {
            if (!Take(1) || !Take(bytes_[at_ - 1]))
                return Where(start) + "the file ends in a chunk";
            const size_t n = bytes_[start + (code == 255 ? 3 : 1)];
            const std::string hex = Hex(&bytes_[at_ - n], n);
            return hex == Upper(ascii) ? ""
                                       : Where(start) + "group " + std::to_string(group.code) +
                                             ": chunk " + hex + " for " + ascii;
        }
        }
        return "";
    }

private:
    std::string Where(size_t start) const { return "at byte " + std::to_string(start) + ": "; }

    bool Take(size_t n) {
        if (bytes_.size() - at_ < n)
            return false;
        at_ += n;
        return true;
    }

    bool Code(int *code) {
        if (!Take(1))
            return false;
        *code = bytes_[at_ - 1];
        if (*code != 255)
            return true;
        if (!Take(2))
            return false;
        *code = bytes_[at_ - 2] | bytes_[at_ - 1] << 8;
        return true;
    }

    bool String(std::string *value) {
        const size_t from = at_;
        while (at_ < bytes_.size() && bytes_[at_] != 0)
            ++at_;
        if (at_ == bytes_.size())
            return false;
        value->assign(reinterpret_cast<const char *>(&bytes_[from]), at_ - from);
        ++at_;
        return true;
    }

    const std::vector<uint8_t> &bytes_;
    size_t at_ = 0;
};

} // namespace

std::string CompareBinaryWithAscii(const std::vector<uint8_t> &binary,
                                   const std::vector<DxfGroup> &ascii) {
    BinaryCursor cursor(binary);
    bool in_objects = false;
    for (size_t i = 0; i < ascii.size(); ++i) {
        const DxfGroup &g = ascii[i];
        if (g.code == 2 && i > 0 && ascii[i - 1].value == "SECTION")
            in_objects = g.value == "OBJECTS";
        const bool short_standard = in_objects && g.code == 3 && g.value == "STANDARD" &&
                                    i + 1 < ascii.size() && ascii[i + 1].code == 350;
        const std::string problem = cursor.Match(g, short_standard);
        if (!problem.empty())
            return "group " + std::to_string(i) + " " + problem;
    }
    if (!cursor.AtEnd())
        return std::to_string(binary.size() - cursor.at()) +
               " bytes of the binary file stand behind the last ASCII group";
    return "";
}

} // namespace velko_test
