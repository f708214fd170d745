#include "records/handle_text.h"

std::string HandleBytesToText(const uint8_t *bytes, size_t count) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    if (bytes) {
        text.reserve(count * 2);
        for (size_t i = 0; i < count; ++i) {
            const uint8_t b = bytes[i];
            const char high = kDigits[(b >> 4) & 0x0F];
            const char low = kDigits[b & 0x0F];
            // Leading zeros are dropped digit by digit, not byte by byte.
            if (!text.empty() || high != '0')
                text.push_back(high);
            if (!text.empty() || low != '0')
                text.push_back(low);
        }
    }
    if (text.empty())
        text = "0";
    return text;
}

int HexDigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

uint64_t HandleTextToValue(const char *text, size_t limit) {
    uint64_t value = 0;
    if (!text)
        return value;
    // Shifting a 64-bit value by a digit at a time keeps the last 16 digits.
    for (size_t i = 0; i < limit; ++i) {
        const int digit = HexDigitValue(text[i]);
        if (digit < 0)
            break;
        value = (value << 4) | uint64_t(digit);
    }
    return value;
}

namespace {
// The value a handle text compares with: its leading hexadecimal digits.
uint64_t ComparedValue(const char *text) {
    if (!text)
        return 0;
    const unsigned char first = static_cast<unsigned char>(text[0]);
    const bool digit_or_letter = (first >= '0' && first <= '9') || (first >= 'A' && first <= 'Z') ||
                                 (first >= 'a' && first <= 'z');
    return digit_or_letter ? HandleTextToValue(text, SIZE_MAX) : 0;
}
} // namespace

int CompareHandles(const char *a, const char *b) {
    const uint64_t left = ComparedValue(a);
    const uint64_t right = ComparedValue(b);
    return left < right ? -1 : left > right ? 1 : 0;
}
