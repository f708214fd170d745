#include "dxf/dxf_numbers.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsHexDigit(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// For a number that the parser found out of range: whether it was too large (true) or too
// small (false). Estimates the order of magnitude from the text: digits before the point
// of the mantissa raise it, zeros right after the point lower it, and the exponent adds to
// it. Only extreme values reach here, so the sign of the estimate is all that matters.
bool TooLarge(const char *begin, const char *end, bool hex) {
    const char exponent_mark = hex ? 'p' : 'e';
    long long magnitude = 0;
    bool seen_point = false;
    bool seen_nonzero = false;
    const char *p = begin;
    const int per_digit = hex ? 4 : 1;
    for (; p < end; ++p) {
        char c = *p;
        if (c == '.') {
            seen_point = true;
            continue;
        }
        if (!(hex ? IsHexDigit(c) : IsDigit(c)))
            break;
        if (c != '0')
            seen_nonzero = true;
        if (!seen_point && seen_nonzero)
            magnitude += per_digit;
        else if (seen_point && !seen_nonzero)
            magnitude -= per_digit;
    }
    if (p < end && (*p | 0x20) == exponent_mark) {
        ++p;
        bool negative = false;
        if (p < end && (*p == '+' || *p == '-'))
            negative = *p++ == '-';
        long long exponent = 0;
        for (; p < end && IsDigit(*p); ++p)
            if (exponent < 100000000)
                exponent = exponent * 10 + (*p - '0');
        magnitude += negative ? -exponent : exponent;
    }
    return magnitude > 0;
}

// The powers of ten that a double holds exactly.
constexpr double kPow10Exact[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                    1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                    1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

} // namespace

double DxfTextToReal(const char *text) {
    if (!text)
        return 0.0;
    const char *p = text;
    while (IsBlank(*p))
        ++p;
    // The parser below takes a minus sign but no plus sign; a plus is stepped over here,
    // and a second sign after it is no number.
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
        if (*p == '+' || *p == '-')
            return 0.0;
    }
    // Plain decimals with few digits and no exponent, the usual form in a drawing, are
    // exact: the digits as an integer and the power of ten are both exact doubles, and one
    // division rounds correctly.
    {
        const char *q = p;
        uint64_t mantissa = 0;
        int count = 0;
        int fraction = 0;
        for (; IsDigit(*q); ++q, ++count)
            mantissa = mantissa * 10 + static_cast<uint64_t>(*q - '0');
        if (*q == '.')
            for (++q; IsDigit(*q); ++q, ++count, ++fraction)
                mantissa = mantissa * 10 + static_cast<uint64_t>(*q - '0');
        if (count > 0 && count <= 19 && fraction <= 22 && mantissa <= (1ull << 53) && *q != 'e' &&
            *q != 'E' && *q != 'x' && *q != 'X') {
            double value = static_cast<double>(mantissa) / kPow10Exact[fraction];
            return negative ? -value : value;
        }
    }
    const char *end = p + std::strlen(p);
    bool hex = false;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X') &&
        (IsHexDigit(p[2]) || (p[2] == '.' && IsHexDigit(p[3])))) {
        hex = true;
        p += 2;
    }
    double value = 0.0;
    auto result =
        std::from_chars(p, end, value, hex ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        value = TooLarge(p, result.ptr, hex) ? std::numeric_limits<double>::infinity() : 0.0;
    } else if (result.ec != std::errc()) {
        return 0.0; // no number: no sign either
    }
    return negative ? -value : value;
}

int32_t DxfTextToInt(const char *text, const char *end) {
    if (!text)
        return 0;
    // Without an end the text ends at its NUL, which no rule below passes.
    auto more = [end](const char *at) { return end == nullptr || at < end; };
    const char *p = text;
    while (more(p) && IsBlank(*p))
        ++p;
    bool negative = false;
    if (more(p) && (*p == '+' || *p == '-'))
        negative = *p++ == '-';
    int64_t value = 0;
    for (; more(p) && IsDigit(*p); ++p) {
        value = value * 10 + (*p - '0');
        if (value > static_cast<int64_t>(INT32_MAX) + 1)
            value = static_cast<int64_t>(INT32_MAX) + 1; // held; more digits change nothing
    }
    if (negative)
        value = -value;
    if (value > INT32_MAX)
        return INT32_MAX;
    if (value < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

namespace {

constexpr uint64_t kPow10Int[19] = {1ull,
                                    10ull,
                                    100ull,
                                    1000ull,
                                    10000ull,
                                    100000ull,
                                    1000000ull,
                                    10000000ull,
                                    100000000ull,
                                    1000000000ull,
                                    10000000000ull,
                                    100000000000ull,
                                    1000000000000ull,
                                    10000000000000ull,
                                    100000000000000ull,
                                    1000000000000000ull,
                                    10000000000000000ull,
                                    100000000000000000ull,
                                    1000000000000000000ull};

// Powers of five up to the largest below 2^64.
constexpr uint64_t kPow5Max = 27;
constexpr uint64_t Pow5(uint64_t k) {
    return k == 0 ? 1 : 5 * Pow5(k - 1);
}
constexpr uint64_t kPow5[kPow5Max + 1] = {
    Pow5(0),  Pow5(1),  Pow5(2),  Pow5(3),  Pow5(4),  Pow5(5),  Pow5(6),
    Pow5(7),  Pow5(8),  Pow5(9),  Pow5(10), Pow5(11), Pow5(12), Pow5(13),
    Pow5(14), Pow5(15), Pow5(16), Pow5(17), Pow5(18), Pow5(19), Pow5(20),
    Pow5(21), Pow5(22), Pow5(23), Pow5(24), Pow5(25), Pow5(26), Pow5(27)};

using Wide = unsigned __int128;

// The integer nearest to m * 2^shift * 10^k (ties to the even one) in `rounded`, and the
// integer part in `floor`. The computation is exact: the powers of five fit 64 bits and the
// products 128. False when the operands lie outside what it handles.
bool ScaleAndRound(uint64_t m, int shift, int k, uint64_t &floor_part, uint64_t &rounded) {
    if (k > static_cast<int>(kPow5Max) || -k > static_cast<int>(kPow5Max))
        return false;
    // 10^k = 5^k * 2^k: the power of two joins the binary shift.
    int t = shift + k;
    Wide numerator;
    Wide denominator;
    if (k >= 0) {
        numerator = static_cast<Wide>(m) * kPow5[k];
        denominator = 1;
    } else {
        numerator = m;
        denominator = kPow5[-k];
    }
    if (t >= 0) {
        // Nothing is lost to the right; the result must still fit.
        if (t > 60 || (numerator >> (127 - t)) != 0)
            return false;
        numerator <<= t;
        if (k >= 0) {
            if (numerator >> 63)
                return false;
            floor_part = rounded = static_cast<uint64_t>(numerator);
            return true;
        }
    } else {
        if (-t >= 64)
            return false;
        if (k >= 0) {
            // A division by a power of two: the rest is the bits shifted out.
            int s = -t;
            Wide q = numerator >> s;
            Wide rest = numerator & ((static_cast<Wide>(1) << s) - 1);
            Wide half = static_cast<Wide>(1) << (s - 1);
            if (q >> 63)
                return false;
            floor_part = static_cast<uint64_t>(q);
            rounded = floor_part + ((rest > half || (rest == half && (floor_part & 1))) ? 1 : 0);
            return true;
        }
        denominator <<= -t;
    }
    Wide q = numerator / denominator;
    Wide rest = numerator - q * denominator;
    if (q >> 63)
        return false;
    floor_part = static_cast<uint64_t>(q);
    Wide twice = rest << 1;
    rounded =
        floor_part + ((twice > denominator || (twice == denominator && (floor_part & 1))) ? 1 : 0);
    return true;
}

// Rounds a positive finite normal `v` to `digits` significant digits: the digits as an
// integer in [10^(digits-1), 10^digits) and the decimal exponent of the first one. Exact;
// false only for values outside the range it serves (tiny, subnormal or huge ones).
// The quick road of FastDigits for the usual values: with P = 10^k exact and v * P below
// 2^53, the product is exactly hi + lo (lo from a fused multiply-add), and the integer
// nearest to it, ties to the even one, follows from hi's nearest integer and lo's sign.
// False when the value lies outside that range.
// The halves of a double for an exact product (Veltkamp's split): hi holds the upper 26
// bits of the significand, lo the rest, and hi + lo is the value.
struct Halves {
    double hi;
    double lo;
};
constexpr Halves Split(double a) {
    const double c = 134217729.0 * a; // 2^27 + 1
    const double hi = c - (c - a);
    return Halves{hi, a - hi};
}
constexpr Halves kPow10Halves[23] = {
    Split(1e0),  Split(1e1),  Split(1e2),  Split(1e3),  Split(1e4),  Split(1e5),
    Split(1e6),  Split(1e7),  Split(1e8),  Split(1e9),  Split(1e10), Split(1e11),
    Split(1e12), Split(1e13), Split(1e14), Split(1e15), Split(1e16), Split(1e17),
    Split(1e18), Split(1e19), Split(1e20), Split(1e21), Split(1e22)};

bool ProductDigits(double v, int digits, int e, uint64_t &mantissa, int &exponent) {
    const int k = digits - 1 - e;
    if (k < 0 || k > 22)
        return false;
    const double hi = v * kPow10Exact[k];
    if (!(hi < 4503599627370496.0)) // 2^52: below it the rounding trick below holds
        return false;
    // The product's rounding error, exactly (Dekker): v * 10^k = hi + lo.
    const Halves a = Split(v);
    const Halves &b = kPow10Halves[k];
    const double lo = ((a.hi * b.hi - hi) + a.hi * b.lo + a.lo * b.hi) + a.lo * b.lo;
    // hi's nearest integer, ties to the even one: adding and taking away 2^52 leaves no
    // fraction bits in between.
    constexpr double kTwo52 = 4503599627370496.0;
    double n = (hi + kTwo52) - kTwo52;
    const double d = hi - n; // exact, at most one half
    if (d == 0.5 && lo > 0)
        n += 1.0;
    else if (d == -0.5 && lo < 0)
        n -= 1.0;
    const uint64_t digits_value = static_cast<uint64_t>(n);
    if (digits_value < kPow10Int[digits - 1] || digits_value > kPow10Int[digits])
        return false; // the exponent's estimate was off: the exact road decides
    if (digits_value == kPow10Int[digits]) {
        // Rounding carried into a new digit: 9.99... became 10.0...
        mantissa = kPow10Int[digits - 1];
        exponent = e + 1;
        return true;
    }
    mantissa = digits_value;
    exponent = e;
    return true;
}

bool FastDigits(double v, int digits, uint64_t &mantissa, int &exponent) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    int biased = static_cast<int>(bits >> 52) & 0x7FF;
    if (biased == 0 || biased == 0x7FF)
        return false;
    uint64_t m = (bits & ((1ull << 52) - 1)) | (1ull << 52);
    int shift = biased - 1075; // v = m * 2^shift
    // floor(log10(2^(biased - 1023))): the exponent of v's first digit or one less.
    int e = ((biased - 1023) * 78913) >> 18;
    if (digits <= 15) {
        // The estimate is the exponent or one less; the larger is tried first when v
        // reaches its power of ten.
        const int guess = (e + 1 >= 0 && e + 1 <= 22 && v >= kPow10Exact[e + 1]) ? e + 1 : e;
        if (ProductDigits(v, digits, guess, mantissa, exponent))
            return true;
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        uint64_t floor_part, n;
        if (!ScaleAndRound(m, shift, digits - 1 - e, floor_part, n))
            return false;
        if (floor_part >= kPow10Int[digits]) {
            ++e; // the estimate was one too small
            continue;
        }
        if (n >= kPow10Int[digits]) {
            // Rounding carried into a new digit: 9.99... became 10.0...
            n = kPow10Int[digits - 1];
            ++e;
        }
        mantissa = n;
        exponent = e;
        return true;
    }
    return false;
}

// The digits of a positive finite `v` rounded to `digits` significant digits, by the exact
// conversion of the standard library: fills `out` with the digit characters and returns
// the exponent of the first.
int ExactDigits(double v, int digits, char *out) {
    char text[64];
    auto result =
        std::to_chars(text, text + sizeof text, v, std::chars_format::scientific, digits - 1);
    const char *p = text;
    int count = 0;
    for (; p < result.ptr && *p != 'e'; ++p)
        if (IsDigit(*p) && count < digits)
            out[count++] = *p;
    int exponent = 0;
    bool negative = false;
    if (p < result.ptr && *p == 'e') {
        ++p;
        if (p < result.ptr && (*p == '+' || *p == '-'))
            negative = *p++ == '-';
        for (; p < result.ptr && IsDigit(*p); ++p)
            exponent = exponent * 10 + (*p - '0');
    }
    for (; count < digits; ++count)
        out[count] = '0';
    return negative ? -exponent : exponent;
}

const char kDigitPairs[201] = "00010203040506070809"
                              "10111213141516171819"
                              "20212223242526272829"
                              "30313233343536373839"
                              "40414243444546474849"
                              "50515253545556575859"
                              "60616263646566676869"
                              "70717273747576777879"
                              "80818283848586878889"
                              "90919293949596979899";

// Writes the four decimal digits of n (below 10000) to out.
inline void WriteFour(uint32_t n, char *out) {
    const uint32_t high = n / 100;
    const uint32_t low = n - high * 100;
    std::memcpy(out, kDigitPairs + 2 * high, 2);
    std::memcpy(out + 2, kDigitPairs + 2 * low, 2);
}

// Writes the eight decimal digits of n (below 10^8) to out.
inline void WriteEight(uint32_t n, char *out) {
    const uint32_t high = n / 10000;
    WriteFour(high, out);
    WriteFour(n - high * 10000, out + 4);
}

// Writes the `digits` (1 to 17) decimal digits of n, leading zeros included, to out: all
// sixteen or eight places are written into a scratch run in fixed steps and the wanted last
// ones copied, which costs less than a division per digit.
void WriteDigits(uint64_t n, int digits, char *out) {
    char run[24];
    if (digits <= 8) {
        WriteEight(static_cast<uint32_t>(n), run);
        std::memcpy(out, run + 8 - digits, static_cast<size_t>(digits));
        return;
    }
    const uint64_t high = n / 100000000u;
    WriteEight(static_cast<uint32_t>(n - high * 100000000u), run + 16);
    if (digits <= 16) {
        WriteEight(static_cast<uint32_t>(high), run + 8);
        std::memcpy(out, run + 24 - digits, static_cast<size_t>(digits));
        return;
    }
    const uint64_t top = high / 100000000u;
    WriteEight(static_cast<uint32_t>(high - top * 100000000u), run + 8);
    WriteEight(static_cast<uint32_t>(top), run);
    std::memcpy(out, run + 24 - digits, static_cast<size_t>(digits));
}

// The double nearest to mantissa x 10^(exponent - digits + 1), when one exact operation
// gives it: the digits are an integer below 2^53 and the power of ten is exact up to 10^22,
// so a single multiplication or division rounds correctly, as the parser does.
bool ExactlyRounded(uint64_t mantissa, int exponent, int digits, double &out) {
    const int scale = digits - 1 - exponent;
    if (scale >= 0 && scale <= 22) {
        out = static_cast<double>(mantissa) / kPow10Exact[scale];
        return true;
    }
    if (scale < 0 && scale >= -22) {
        out = static_cast<double>(mantissa) * kPow10Exact[-scale];
        return true;
    }
    return false;
}

// The fixed form of `mantissa` (`digits` digits, at most 12, the first of exponent e,
// -1 <= e <= digits - 1) at `p`, trailing zeros of the fraction dropped: "12.5", "0.25",
// "12345679", "3."; with `append_zero` a text that ends in the point gets a "0". The
// digits are moved in fixed blocks of 16 bytes, so `p` needs 30 bytes of room. The end of
// the text.
char *WriteFixed(uint64_t mantissa, int digits, int e, bool append_zero, char *p) {
    char run[48];
    const uint64_t high = mantissa / 100000000u;
    WriteEight(static_cast<uint32_t>(high), run);
    WriteEight(static_cast<uint32_t>(mantissa - high * 100000000u), run + 8);
    const char *first = run + 16 - digits;
    char *point;
    if (e >= 0) {
        const int whole = e + 1;
        if (whole == digits) {
            std::memcpy(p, first, 16);
            return p + digits; // all digits stand before the point: no point at all
        }
        std::memcpy(p, first, 16);
        std::memcpy(p + whole + 1, first + whole, 16);
        point = p + whole;
    } else {
        p[0] = '0';
        std::memcpy(p + 2, first, 16);
        point = p + 1;
    }
    *point = '.';
    char *end = p + digits + 1 + (e < 0 ? 1 : 0);
    // Trailing zeros of the fraction go, four at a time while they can; the point stays.
    while (end - (point + 1) >= 4 && std::memcmp(end - 4, "0000", 4) == 0)
        end -= 4;
    while (end > point + 1 && end[-1] == '0')
        --end;
    if (end == point + 1 && append_zero)
        *end++ = '0';
    return end;
}

} // namespace

size_t DxfFormatSignificant(double value, int digits, bool append_zero, char *out,
                            double *rounded) {
    if (digits < 1)
        digits = 1;
    if (digits > 17)
        digits = 17;
    if (rounded)
        *rounded = value;
    char *p = out;
    if (std::isnan(value)) {
        std::memcpy(out, "nan", 4);
        return 3;
    }
    const bool negative = std::signbit(value);
    if (negative) {
        *p++ = '-';
        value = -value;
    }
    if (std::isinf(value)) {
        std::memcpy(p, "inf", 4);
        return static_cast<size_t>(p - out) + 3;
    }
    // Without an exact road to the rounded value the text is parsed at the end.
    bool rounded_known = rounded == nullptr || value == 0.0;

    // The digits go in one run after a free byte; the layout then moves the leading ones
    // left to make room for the point.
    char *run = p + 1;
    int e = 0;
    if (value == 0.0) {
        std::memset(run, '0', static_cast<size_t>(digits));
    } else {
        uint64_t mantissa = 0;
        if (FastDigits(value, digits, mantissa, e)) {
            double magnitude = 0.0;
            if (rounded && ExactlyRounded(mantissa, e, digits, magnitude)) {
                *rounded = negative ? -magnitude : magnitude;
                rounded_known = true;
            }
            if (digits <= 12 && e >= -1 && e <= digits - 1) {
                // The usual case: the fixed form, written straight from the integer.
                p = WriteFixed(mantissa, digits, e, append_zero, p);
                *p = 0;
                if (!rounded_known)
                    *rounded = DxfTextToReal(out);
                return static_cast<size_t>(p - out);
            }
            WriteDigits(mantissa, digits, run);
        } else {
            e = ExactDigits(value, digits, run);
        }
    }

    const bool fixed = e >= -1 && e <= digits - 1;
    char *end = run + digits;
    char *point = nullptr;
    if (fixed && e == -1) {
        // "0." and all the digits behind the point.
        std::memmove(p + 2, run, static_cast<size_t>(digits));
        p[0] = '0';
        p[1] = '.';
        point = p + 1;
        end = p + 2 + digits;
    } else {
        // The first digit (fixed form: the integer part) moves one place left.
        int lead = fixed ? e + 1 : 1;
        for (int i = 0; i < lead; ++i)
            p[i] = run[i];
        if (lead < digits || !fixed) {
            point = p + lead;
            *point = '.';
        } else {
            end = p + digits; // all digits stand before the point: no point at all
        }
    }
    if (point) {
        // Trailing zeros of the fraction go; the point stays.
        while (end > point + 1 && end[-1] == '0')
            --end;
    }
    p = end;
    if (!fixed) {
        *p++ = 'e';
        int magnitude = e;
        if (magnitude < 0) {
            *p++ = '-';
            magnitude = -magnitude;
        } else {
            *p++ = '+';
        }
        *p++ = static_cast<char>('0' + magnitude / 100 % 10);
        *p++ = static_cast<char>('0' + magnitude / 10 % 10);
        *p++ = static_cast<char>('0' + magnitude % 10);
    } else if (append_zero && p[-1] == '.') {
        *p++ = '0';
    }
    *p = 0;
    if (!rounded_known)
        *rounded = DxfTextToReal(out);
    return static_cast<size_t>(p - out);
}

double DxfRoundSignificant(double value, int digits) {
    char text[40];
    double rounded = value;
    DxfFormatSignificant(value, digits, false, text, &rounded);
    return rounded;
}
