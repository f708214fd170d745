// A builder of small DXF files for tests: groups in, ASCII text or release 12 binary bytes
// out.
#ifndef VELKO_TEST_DXF_TEXT_H
#define VELKO_TEST_DXF_TEXT_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velko_test {

// How a group's value is stored in a binary DXF file; kNone: no value bytes.
enum class DxfBinaryValue { kString, kReal, kInt16, kInt32, kChunk, kNone };

// The value type of a group code in a binary file of release 13: every code has one.
DxfBinaryValue Release13BinaryValue(int code);

// Appends `text` in the binary form of `type`: a string with its zero byte, a real, a
// 16- or 32-bit integer (little-endian), or a chunk from hexadecimal text (its length byte
// and the data).
void AppendBinaryValue(std::vector<uint8_t> &out, DxfBinaryValue type, const std::string &text);

class DxfText {
public:
    DxfText &G(int code, const std::string &value) {
        groups_.emplace_back(code, value);
        return *this;
    }
    DxfText &G(int code, double value);
    DxfText &G(int code, int value);

    // 0 SECTION, 2 name / 0 ENDSEC.
    DxfText &Section(const char *name) { return G(0, "SECTION").G(2, name); }
    DxfText &EndSection() { return G(0, "ENDSEC"); }
    // A HEADER that holds only $ACADVER "AC1009".
    DxfText &MinimalHeader() {
        return Section("HEADER").G(9, "$ACADVER").G(1, "AC1009").EndSection();
    }
    DxfText &Eof() { return G(0, "EOF"); }
    // 0 TABLE, 2 name, 70 count.
    DxfText &Table(const char *name, int count) { return G(0, "TABLE").G(2, name).G(70, count); }
    DxfText &EndTable() { return G(0, "ENDTAB"); }
    // A release 13 table: 0 TABLE, 2 name, 5 the control's handle, its marker, 70 count.
    DxfText &R13Table(const char *name, const char *handle, int count) {
        return G(0, "TABLE").G(2, name).G(5, handle).G(100, "AcDbSymbolTable").G(70, count);
    }
    // The head of a release 13 table record: 0 kind, 5 handle, the two markers.
    DxfText &R13Record(const char *kind, const char *handle, const char *marker) {
        return G(0, kind).G(5, handle).G(100, "AcDbSymbolTableRecord").G(100, marker);
    }
    DxfText &Layer(const char *name, int color = 7, const char *ltype = "CONTINUOUS",
                   int flags = 0) {
        return G(0, "LAYER").G(2, name).G(70, flags).G(62, color).G(6, ltype);
    }

    // The groups as ASCII: code line and value line, each ended by `eol`.
    std::string Ascii(const char *eol = "\n") const;
    // The groups as a release 12 binary file: the 22-byte sentinel, one code byte (255 and
    // two bytes from 255 up), and each value by the release 12 type of its code.
    std::vector<uint8_t> Binary() const;

    const std::vector<std::pair<int, std::string>> &Groups() const { return groups_; }

private:
    std::vector<std::pair<int, std::string>> groups_;
};

} // namespace velko_test

#endif
