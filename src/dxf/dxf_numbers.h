// Numbers as DXF text: the conversions that both forms of the group stream share.
//
// Every conversion here is exact and independent of the locale: text is parsed as the C
// library's atof and atoi read it in the "C" locale, and reals are rounded to a given
// number of significant digits by a correctly rounded decimal conversion.
#ifndef VELKO_DXF_NUMBERS_H
#define VELKO_DXF_NUMBERS_H

#include <cstddef>
#include <cstdint>

// The real at the start of `text`, as atof reads it: leading blanks (space, tab, line feed,
// carriage return, vertical tab, form feed) skipped, an optional sign, digits with an
// optional point and an optional exponent; "inf", "infinity" and "nan" in any case. 0.0
// when no number stands there; null is 0.0.
double DxfTextToReal(const char *text);

// The integer at the start of `text`, as atoi reads it: leading blanks skipped, an
// optional sign, decimal digits up to the first other character; 0 when there are none. A
// value outside the 32-bit range is held at INT32_MIN or INT32_MAX. Null is 0. With `end`
// the text stops there as well as at its NUL.
int32_t DxfTextToInt(const char *text, const char *end = nullptr);

// Writes `value` rounded to `digits` significant digits (1 to 17) into `out` (room for 32
// bytes) and returns the text's length. With e the decimal exponent of the first
// significant digit after rounding (0 for a value of 0), the fixed form is used when
// -1 <= e <= digits - 1, with digits - 1 - e digits behind the point (none and no point
// when that is 0); otherwise the exponent form: one digit, a point, digits - 1 digits, "e",
// a sign and at least three exponent digits ("1.2345679e+008"). Trailing zeros of the
// fraction are then stripped, the point stays; with `append_zero` a text that ends in the
// point gets a "0". A NaN is written "nan", infinities "inf" and "-inf".
//
// So with 8 digits and append_zero: 1 -> "1.0", 0.05 -> "5.e-002", 12345678.9 ->
// "12345679", 100000000 -> "1.e+008", 0.099 -> "9.9e-002".
// With `rounded`, the value of the text is stored there too, as DxfTextToReal would read
// it, without parsing the text where an exact road exists.
size_t DxfFormatSignificant(double value, int digits, bool append_zero, char *out,
                            double *rounded = nullptr);

// The double that DxfTextToReal gives for the text of DxfFormatSignificant(value, digits):
// `value` rounded to `digits` significant digits, without going through text. NaN and the
// infinities stand as they are.
double DxfRoundSignificant(double value, int digits);

#endif
