// Handles as text: upper-case hexadecimal without leading zeros.
#ifndef VELKO_HANDLE_TEXT_H
#define VELKO_HANDLE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

// Bytes of a handle, first byte most significant, as text; all zero bytes give "0".
std::string HandleBytesToText(const uint8_t *bytes, size_t count);

// The value of a hexadecimal digit (either case), or -1.
int HexDigitValue(char c);

// The value of a handle's text: hexadecimal digits from the start, at most `limit` bytes
// read, up to the first character that is not a digit; of a longer run the last 16 digits
// count. Null or no digit gives 0.
uint64_t HandleTextToValue(const char *text, size_t limit);

// Compares two handle texts by their value in base 16: -1, 0 or 1. The value is that of
// the hexadecimal digits at the text's start; a text that does not start with a digit or
// a letter (null, empty, "-1") counts as 0, and so does one that starts with a letter
// beyond F.
int CompareHandles(const char *a, const char *b);

#endif
