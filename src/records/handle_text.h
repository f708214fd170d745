// Handles as text: upper-case hexadecimal without leading zeros.
#ifndef VELKO_HANDLE_TEXT_H
#define VELKO_HANDLE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

// Bytes of a handle, first byte most significant, as text; all zero bytes give "0".
std::string HandleBytesToText(const uint8_t *bytes, size_t count);

#endif
