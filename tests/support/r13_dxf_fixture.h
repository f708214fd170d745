// Reading single release 13 entities from hand-made DXF groups: the groups in both forms of a
// release 13 file, and a drawing with small tables whose file is those groups.
//
// The release 13 binary form is the 22-byte sentinel, then per group a two-byte
// little-endian code and the value by the code's type in release 13: strings NUL-terminated,
// reals as 8-byte doubles, 16- and 32-bit integers little-endian, and the chunks of 310 and
// 1004 (given as hexadecimal text) as a length byte and the bytes. The type of each code is
// written down here on its own, so that the tests hold the library's stream against it.
#ifndef VELKO_TEST_R13_DXF_FIXTURE_H
#define VELKO_TEST_R13_DXF_FIXTURE_H

#include "support/dxf_text.h"

#include "dwg13/r13_drawing.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_reader.h"
#include "interface/test_files.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {

// The groups as a binary DXF file of release 13.
std::vector<uint8_t> R13DxfBinary(const DxfText &groups);

// A release 13 drawing with these tables (name: handle):
//   layers       "0": 10, "WALLS": 11
//   line types   "CONTINUOUS": 14, "DASHED": 15
//   text styles  "STANDARD": 20, "ROMANS": 21
//   dim. styles  "STANDARD": 30, "ARCH": 31
//   applications "ACAD": 12, "VELKO": 13
//   blocks       "DOOR": 40
//   mline styles "STANDARD": 50
// Open() makes a DXF file of the groups the drawing's file (ASCII or binary), puts a reader
// over it and reads the first group, whose value then stands in Name(): the group 0 that
// names the entity to read.
class R13DxfEntityFixture {
public:
    explicit R13DxfEntityFixture(bool binary, int view_flag = 0);

    void Open(const DxfText &groups);
    // The file holds these bytes as they are (the reader starts at byte 0, or 22 for binary).
    void OpenBytes(const std::vector<uint8_t> &bytes);

    CR13Drawing &Drawing() { return drawing_; }
    CR13DxfReader &Reader() { return *reader_; }
    char *Name() { return name_; }
    bool Binary() const { return binary_; }

    // A new entity object of the file type `type` (the dispatch's type of its name).
    std::unique_ptr<CR13Entity> Make(int16_t type);

private:
    bool binary_;
    CR13Drawing drawing_;
    std::unique_ptr<TempFile> file_;
    std::unique_ptr<CR13DxfReader> reader_;
    char name_[CDxfStream::kValueSize] = {};
};

} // namespace velko_test

#endif
