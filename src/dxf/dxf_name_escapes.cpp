#include "dxf/dxf_name_escapes.h"

#include <cstring>

namespace {

bool IsHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// The length of the escape that starts at `p` (of which `left` bytes stand), measured by its
// shape: 0 when the bytes that stand are no start of an escape.
size_t EscapeLengthAt(const char *p, size_t left) {
    if (p[0] == '\\' && left >= 2 && (p[1] == 'U' || p[1] == 'M')) {
        // "\U+" and four hexadecimal digits; "\M+", one digit and four hexadecimal digits.
        const size_t length = p[1] == 'U' ? 7 : 8;
        for (size_t i = 2; i < length && i < left; ++i) {
            const bool fits = i == 2                    ? p[i] == '+'
                              : (p[1] == 'M' && i == 3) ? IsDigit(p[i])
                                                        : IsHex(p[i]);
            if (!fits)
                return 0;
        }
        return length;
    }
    if (p[0] == '\\' && left == 1)
        return 2; // a lone backslash at the end: the start of an escape that was cut
    if (p[0] == '%' && left >= 2 && p[1] == '%') {
        if (left == 2 || !IsDigit(p[2]))
            return 3;
        for (size_t i = 3; i < 5 && i < left; ++i)
            if (!IsDigit(p[i]))
                return 0;
        return 5;
    }
    return 0;
}

} // namespace

size_t EscapeSafeLength(const char *name, size_t limit) {
    if (!name)
        return 0;
    const size_t size = strnlen(name, limit);
    size_t at = 0;
    while (at < size) {
        const size_t escape = EscapeLengthAt(name + at, size - at);
        if (escape == 0) {
            ++at;
            continue;
        }
        if (at + escape > size)
            return at;
        at += escape;
    }
    return size;
}
