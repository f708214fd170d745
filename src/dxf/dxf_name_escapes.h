// Where a name may be shortened without cutting one of the escapes that DXF texts carry: a
// character by its code point "\U+XXXX", a character of a multibyte code page "\M+NXXXX",
// and the control codes "%%nnn" (three digits) and "%%c" (one letter).
//
// A name cut at a fixed length may end inside an escape ("\U+03" of "\U+03A1"); another
// reader then fails on the broken escape. A shortened name ends before such an escape.
#ifndef VELKO_DXF_NAME_ESCAPES_H
#define VELKO_DXF_NAME_ESCAPES_H

#include <cstddef>

// The length of the longest start of `name` of at most `limit` bytes that ends neither
// inside an escape nor inside what stands as the start of one when the name ends there.
size_t EscapeSafeLength(const char *name, size_t limit);

#endif
