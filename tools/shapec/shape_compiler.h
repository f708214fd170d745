// The shape compiler: turns the text form of shape definitions into the bytes of a compiled
// shape file (SHX). Shared by the velko tool and the tests.
//
// Text form:
//   ; a comment runs to the end of the line
//   *number,bytes,name
//   byte, byte, (byte, byte), ...      one or more lines, comma separated
//
// A number written with a leading 0 is hexadecimal ("*041", "012", "0FF"), as is one with
// "0x"; any other is decimal. Bytes may be negative (-128 to -1, stored as two's
// complement) and may be grouped in parentheses, which only serve the reader. `bytes` in the
// header is the number of listed bytes, the closing 0 included. A first definition
// "*0,4,fontname" with "above,below,modes,0" marks a font; it is stored as given.
#ifndef VELKO_SHAPEC_SHAPE_COMPILER_H
#define VELKO_SHAPEC_SHAPE_COMPILER_H

#include <cstdint>
#include <string>
#include <vector>

namespace velko_shapec {

// One definition as read from the text.
struct ShapeDef {
    uint16_t number = 0;
    std::string name;
    std::vector<uint8_t> bytes; // the byte codes, closing 0 included
    int line = 0;               // line of the header, from 1
};

// The stored data of a shape: name, NUL, byte codes.
std::vector<uint8_t> ShapeData(const ShapeDef &def);

// Reads the definitions in text order. On failure returns false with `error` set to a
// message that starts with "line N: ".
bool ParseShapes(const std::string &text, std::vector<ShapeDef> *defs, std::string *error);

enum class Form { kShapes10, kShapes11, kUnifont, kBigFont };

struct EscapeRange {
    uint8_t low = 0, high = 0;
};

// Reads escape ranges written "LOW-HIGH,LOW-HIGH,..." (a single byte stands for a range of
// one); the bytes are numbers as in the shape text.
bool ParseRanges(const std::string &text, std::vector<EscapeRange> *ranges, std::string *error);

struct Options {
    // Write the shapes in definition order instead of sorted by number.
    bool keep_order = false;
    // The escape ranges of a big font.
    std::vector<EscapeRange> ranges;
};

// The header text of each form, without the "\r\n\x1a" behind it.
const char *HeaderText(Form form);
// The offset of the shape count in each form.
size_t CountOffset(Form form);

// The bytes of the compiled file; empty with `error` set when the definitions don't fit
// the form (too many shapes, data too long, a duplicate number).
std::vector<uint8_t> CompileShx(const std::vector<ShapeDef> &defs, Form form,
                                const Options &options = Options(), std::string *error = nullptr);

} // namespace velko_shapec

#endif
