// Numbers as DXF text: parsing as atof/atoi do, and rounding to significant digits.
#include "dxf/dxf_numbers.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

namespace {

std::string Format(double value, int digits, bool append_zero) {
    char out[40];
    std::memset(out, 'Z', sizeof out);
    size_t length = DxfFormatSignificant(value, digits, append_zero, out);
    EXPECT_EQ(std::strlen(out), length);
    return std::string(out, length);
}

// The expected text, laid out from the standard library's exact scientific conversion.
std::string Reference(double value, int digits, bool append_zero) {
    if (std::isnan(value))
        return "nan";
    std::string text;
    if (std::signbit(value)) {
        text = "-";
        value = -value;
    }
    if (std::isinf(value))
        return text + "inf";
    char buffer[64];
    auto r = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific,
                           digits - 1);
    std::string sci(buffer, r.ptr);
    size_t e_at = sci.find('e');
    std::string mantissa;
    for (size_t i = 0; i < e_at; ++i)
        if (sci[i] != '.')
            mantissa += sci[i];
    int exponent = std::atoi(sci.c_str() + e_at + 1);
    std::string body;
    bool fixed = exponent >= -1 && exponent <= digits - 1;
    if (fixed) {
        if (exponent == -1) {
            body = "0." + mantissa;
        } else {
            body = mantissa.substr(0, static_cast<size_t>(exponent + 1));
            if (exponent < digits - 1)
                body += "." + mantissa.substr(static_cast<size_t>(exponent + 1));
        }
    } else {
        body = mantissa.substr(0, 1) + "." + mantissa.substr(1);
    }
    if (body.find('.') != std::string::npos)
        while (body.back() == '0')
            body.pop_back();
    if (!fixed) {
        char exp_text[16];
        std::snprintf(exp_text, sizeof exp_text, "e%c%03d", exponent < 0 ? '-' : '+',
                      std::abs(exponent));
        body += exp_text;
    } else if (append_zero && body.back() == '.') {
        body += "0";
    }
    return text + body;
}

} // namespace

// ---- Text to real -------------------------------------------------------------------------

TEST(DxfTextToReal, ReadsTheFormsThatAtofReads) {
    EXPECT_EQ(DxfTextToReal("1."), 1.0);
    EXPECT_EQ(DxfTextToReal(".5"), 0.5);
    EXPECT_EQ(DxfTextToReal("1e5"), 100000.0);
    EXPECT_EQ(DxfTextToReal("12abc"), 12.0);
    EXPECT_EQ(DxfTextToReal("  \t\r\n+3.25"), 3.25);
    EXPECT_EQ(DxfTextToReal("-.5e2x"), -50.0);
    EXPECT_EQ(DxfTextToReal("1e"), 1.0);
    EXPECT_EQ(DxfTextToReal("1e+"), 1.0);
    EXPECT_EQ(DxfTextToReal("0.1"), 0.1);
    EXPECT_EQ(DxfTextToReal("90.0\n"), 90.0);
}

TEST(DxfTextToReal, NegativeZeroKeepsItsSign) {
    double z = DxfTextToReal("-0.0");
    EXPECT_EQ(z, 0.0);
    EXPECT_TRUE(std::signbit(z));
}

TEST(DxfTextToReal, NoNumberIsZero) {
    EXPECT_EQ(DxfTextToReal(nullptr), 0.0);
    EXPECT_EQ(DxfTextToReal(""), 0.0);
    EXPECT_EQ(DxfTextToReal("abc"), 0.0);
    EXPECT_EQ(DxfTextToReal("."), 0.0);
    EXPECT_EQ(DxfTextToReal("+-1"), 0.0);
    EXPECT_EQ(DxfTextToReal("-"), 0.0);
    EXPECT_EQ(DxfTextToReal("e5"), 0.0);
}

TEST(DxfTextToReal, OutOfRangeGoesToInfinityOrZero) {
    EXPECT_EQ(DxfTextToReal("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(DxfTextToReal("-1e400"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(DxfTextToReal("1e-400"), 0.0);
    EXPECT_TRUE(std::signbit(DxfTextToReal("-1e-400")));
    EXPECT_EQ(DxfTextToReal("1.7976931348623159e308"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(DxfTextToReal("0.0000000000000000000001e-320"), 0.0);
    EXPECT_EQ(DxfTextToReal("4.9e-324"), 4.9e-324);
}

TEST(DxfTextToReal, InfinityAndNanAreRead) {
    EXPECT_TRUE(std::isinf(DxfTextToReal("inf")));
    EXPECT_TRUE(std::isinf(DxfTextToReal("-Infinity")));
    EXPECT_TRUE(std::isnan(DxfTextToReal("NaN")));
}

TEST(DxfTextToReal, AgreesWithStrtodInTheCLocale) {
    const char *cases[] = {"1.",     ".5",       "1e5",    "-0.0",  "12abc",
                           "  +7",   "+.e1",     "0x10",   "0x1p3", "0X.8",
                           "0x",     "0xg",      "1.5e-3", "1E+3",  "123456789012345678901234",
                           "1e308",  "2.5e-308", "  -  1", "\v\f9", "00012.50",
                           "1.23.4", "infinite", "-nan",   "1e-5x", "0.30000000000000004"};
    for (const char *text : cases) {
        double expected = std::strtod(text, nullptr);
        double got = DxfTextToReal(text);
        if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(got)) << text;
        } else {
            EXPECT_EQ(got, expected) << text;
            EXPECT_EQ(std::signbit(got), std::signbit(expected)) << text;
        }
    }
}

TEST(DxfTextToReal, ReadsBackWhatTheFormatterWrites) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        uint64_t bits = random();
        double v;
        std::memcpy(&v, &bits, sizeof v);
        if (!std::isfinite(v))
            continue;
        char text[40];
        DxfFormatSignificant(v, 17, false, text);
        ASSERT_EQ(DxfTextToReal(text), v) << text;
    }
}

// ---- Text to integer ----------------------------------------------------------------------

TEST(DxfTextToInt, ReadsTheFormsThatAtoiReads) {
    EXPECT_EQ(DxfTextToInt("70"), 70);
    EXPECT_EQ(DxfTextToInt("  70"), 70);
    EXPECT_EQ(DxfTextToInt("70xyz"), 70);
    EXPECT_EQ(DxfTextToInt("\t-42\n"), -42);
    EXPECT_EQ(DxfTextToInt("+7"), 7);
    EXPECT_EQ(DxfTextToInt("3.9"), 3);
}

TEST(DxfTextToInt, NoDigitsIsZero) {
    EXPECT_EQ(DxfTextToInt(nullptr), 0);
    EXPECT_EQ(DxfTextToInt(""), 0);
    EXPECT_EQ(DxfTextToInt("abc"), 0);
    EXPECT_EQ(DxfTextToInt("-"), 0);
    EXPECT_EQ(DxfTextToInt("+-5"), 0);
    EXPECT_EQ(DxfTextToInt("\n"), 0);
}

TEST(DxfTextToInt, HoldsValuesOutsideThe32BitRange) {
    EXPECT_EQ(DxfTextToInt("2147483647"), INT32_MAX);
    EXPECT_EQ(DxfTextToInt("2147483648"), INT32_MAX);
    EXPECT_EQ(DxfTextToInt("-2147483648"), INT32_MIN);
    EXPECT_EQ(DxfTextToInt("-2147483649"), INT32_MIN);
    EXPECT_EQ(DxfTextToInt("99999999999999999999999999"), INT32_MAX);
    EXPECT_EQ(DxfTextToInt("-99999999999999999999999999"), INT32_MIN);
}

// ---- Significant digits -------------------------------------------------------------------

TEST(DxfFormatSignificant, EightDigitsWithTheAddedZero) {
    EXPECT_EQ(Format(100000000.0, 8, true), "1.e+008");
    EXPECT_EQ(Format(12345678.9, 8, true), "12345679");
    EXPECT_EQ(Format(0.1, 8, true), "0.1");
    EXPECT_EQ(Format(0.099, 8, true), "9.9e-002");
    EXPECT_EQ(Format(1.0, 8, true), "1.0");
    EXPECT_EQ(Format(0.0, 8, true), "0.0");
    EXPECT_EQ(Format(0.5, 8, true), "0.5");
    EXPECT_EQ(Format(0.05, 8, true), "5.e-002");
    EXPECT_EQ(Format(123456789.0, 8, true), "1.2345679e+008");
    EXPECT_EQ(Format(-2.5, 8, true), "-2.5");
    EXPECT_EQ(Format(12.5, 8, true), "12.5");
    EXPECT_EQ(Format(0.25, 8, true), "0.25");
    EXPECT_EQ(Format(99999999.5, 8, true), "1.e+008");
    EXPECT_EQ(Format(9.99999999, 8, true), "10.0");
    EXPECT_EQ(Format(1e300, 8, true), "1.e+300");
    EXPECT_EQ(Format(-1.5e-300, 8, true), "-1.5e-300");
}

TEST(DxfFormatSignificant, TwelveDigitsWithoutTheAddedZero) {
    EXPECT_EQ(Format(0.1, 12, false), "0.1");
    EXPECT_EQ(Format(1.0, 12, false), "1.");
    EXPECT_EQ(Format(0.0, 12, false), "0.");
    EXPECT_EQ(Format(1.0 / 3.0, 12, false), "0.333333333333");
    EXPECT_EQ(Format(123456789012.34, 12, false), "123456789012");
    EXPECT_EQ(Format(1234567890123.4, 12, false), "1.23456789012e+012");
    EXPECT_EQ(Format(6.123233995736766e-17, 12, false), "6.12323399574e-017");
    EXPECT_EQ(Format(5e-324, 12, false), "4.94065645841e-324");
}

TEST(DxfFormatSignificant, SpecialValues) {
    EXPECT_EQ(Format(std::nan(""), 8, true), "nan");
    EXPECT_EQ(Format(std::numeric_limits<double>::infinity(), 8, true), "inf");
    EXPECT_EQ(Format(-std::numeric_limits<double>::infinity(), 8, true), "-inf");
    EXPECT_EQ(Format(-0.0, 8, true), "-0.0");
}

TEST(DxfFormatSignificant, TiesRoundToEvenAsTheExactConversionDoes) {
    EXPECT_EQ(Format(2.5, 1, false), "2");
    EXPECT_EQ(Format(3.5, 1, false), "4");
    EXPECT_EQ(Format(0.125, 2, false), "0.12");
    EXPECT_EQ(Format(0.375, 2, false), "0.38");
    EXPECT_EQ(Format(1.5, 1, true), "2");
    for (double v : {2.5, 3.5, 0.125, 0.375, 1.0000000050000000, 1234.5, 12345.5, 0.5})
        for (int digits = 1; digits <= 17; ++digits)
            EXPECT_EQ(Format(v, digits, true), Reference(v, digits, true)) << v << " " << digits;
}

TEST(DxfFormatSignificant, AllDigitCountsMatchTheExactConversion) {
    std::mt19937_64 random(11);
    for (int digits = 1; digits <= 17; ++digits) {
        for (int i = 0; i < 20000; ++i) {
            uint64_t bits = random();
            double v;
            std::memcpy(&v, &bits, sizeof v);
            ASSERT_EQ(Format(v, digits, i & 1), Reference(v, digits, i & 1)) << digits << " " << v;
        }
    }
}

// The two digit counts that run for every real: 12 on reading a binary file, 8 on writing.
TEST(DxfFormatSignificant, RandomBitPatternsMatchTheExactConversion) {
    std::mt19937_64 random(1);
    for (int digits : {8, 12}) {
        for (int i = 0; i < 1000000; ++i) {
            uint64_t bits = random();
            double v;
            std::memcpy(&v, &bits, sizeof v);
            ASSERT_EQ(Format(v, digits, false), Reference(v, digits, false))
                << digits << " " << bits;
        }
    }
}

TEST(DxfFormatSignificant, RandomDecimalValuesMatchTheExactConversion) {
    // Values such as a drawing holds: decimal fractions of a modest size, many of them
    // lying right at (or a hair from) a rounding tie of the last digit.
    std::mt19937_64 random(2);
    const double scales[] = {1, 10, 100, 1000, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e12, 1e13};
    for (int digits : {8, 12}) {
        for (int i = 0; i < 1000000; ++i) {
            int64_t n = static_cast<int64_t>(random() % 2000000000000ull) - 1000000000000ll;
            double scale = scales[random() % (sizeof scales / sizeof scales[0])];
            double v = static_cast<double>(n) / scale;
            if (random() & 1)
                v = static_cast<double>(n % 100000000) * scale / 1e6;
            ASSERT_EQ(Format(v, digits, true), Reference(v, digits, true))
                << digits << " " << n << " / " << scale;
        }
    }
}

TEST(DxfFormatSignificant, NeighboursOfPowersOfTenMatchTheExactConversion) {
    for (int digits : {1, 8, 12, 15}) {
        for (int k = -320; k <= 308; ++k) {
            double p = std::pow(10.0, k);
            double v = p;
            for (int step = 0; step < 3; ++step)
                v = std::nextafter(v, 0.0);
            for (int step = 0; step < 7; ++step, v = std::nextafter(v, HUGE_VAL)) {
                if (!std::isfinite(v) || v == 0.0)
                    continue;
                ASSERT_EQ(Format(v, digits, true), Reference(v, digits, true))
                    << digits << " " << k << " " << step;
            }
            // Just below a value that rounds up into the next power.
            double nines = p * (1.0 - 0.5 * std::pow(10.0, -digits));
            if (std::isfinite(nines) && nines != 0.0)
                for (int step = -2; step <= 2; ++step) {
                    double w = nines;
                    for (int s = 0; s < std::abs(step); ++s)
                        w = std::nextafter(w, step < 0 ? 0.0 : HUGE_VAL);
                    ASSERT_EQ(Format(w, digits, false), Reference(w, digits, false))
                        << digits << " " << k << " " << step;
                }
        }
    }
}

TEST(DxfRoundSignificant, EqualsTheValueOfTheFormattedText) {
    std::mt19937_64 random(20261122);
    std::uniform_real_distribution<double> nice(-1e6, 1e6);
    for (int digits : {8, 12}) {
        for (int i = 0; i < 400000; ++i) {
            double v;
            if (i % 2) {
                uint64_t bits = random();
                std::memcpy(&v, &bits, sizeof v);
            } else {
                v = std::round(nice(random) * 1000.0) / 1000.0;
            }
            char text[48];
            double rounded = 0.0;
            DxfFormatSignificant(v, digits, false, text, &rounded);
            const double parsed = DxfTextToReal(text);
            if (std::isnan(v)) {
                EXPECT_TRUE(std::isnan(rounded));
                continue;
            }
            ASSERT_EQ(std::memcmp(&rounded, &parsed, sizeof rounded), 0)
                << text << " from " << v << " at " << digits << " digits";
            const double again = DxfRoundSignificant(v, digits);
            ASSERT_EQ(std::memcmp(&again, &parsed, sizeof again), 0) << text;
        }
    }
}
