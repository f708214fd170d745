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
