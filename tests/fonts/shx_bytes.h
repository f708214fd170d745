// Byte builders for the shape tests: compiled shape files (shapes 1.0 and 1.1, unifont, big
// font) and control-shape index files laid out from lists of shapes, a scratch folder to put
// them in, and a guard that points the shape tables at other index folders.
#ifndef VELKO_TESTS_SHX_BYTES_H
#define VELKO_TESTS_SHX_BYTES_H

#include "fonts/shape_index.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace shx_test {

using Bytes = std::vector<uint8_t>;

// One shape: number, name and byte codes (the closing 0 is not added). `width` serves the
// index file only, which stores a width with each shape.
struct Shape {
    uint16_t number = 0;
    std::string name;
    Bytes codes;
    double width = 0;
};

// A shape's stored data: name, NUL, byte codes.
inline Bytes Data(const Shape &shape) {
    Bytes data(shape.name.begin(), shape.name.end());
    data.push_back(0);
    data.insert(data.end(), shape.codes.begin(), shape.codes.end());
    return data;
}

inline void Put16(Bytes &out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v & 0xFF));
    out.push_back(static_cast<uint8_t>(v >> 8));
}
inline void Put32(Bytes &out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
inline void Set16(Bytes &out, size_t at, uint16_t v) {
    out[at] = static_cast<uint8_t>(v & 0xFF);
    out[at + 1] = static_cast<uint8_t>(v >> 8);
}
inline void Set32(Bytes &out, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out[at + static_cast<size_t>(i)] = static_cast<uint8_t>(v >> (8 * i));
}
inline void PutF64(Bytes &out, double d) {
    uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<uint8_t>(bits >> (8 * i)));
}

// The first line of a compiled file: the header text, CR, LF, Ctrl-Z.
inline Bytes HeaderLine(const std::string &text) {
    Bytes out(text.begin(), text.end());
    out.push_back('\r');
    out.push_back('\n');
    out.push_back(0x1A);
    return out;
}

// Shapes 1.0 or 1.1: header line (24 bytes), lowest and highest number, count at 0x1C, the
// directory of number and length at 0x1E, then the data in the order given.
inline Bytes Shx(const std::vector<Shape> &shapes,
                 const std::string &header = "AutoCAD-86 shapes 1.1") {
    Bytes out = HeaderLine(header);
    out.resize(0x18, 0);
    uint16_t low = 0xFFFF, high = 0;
    for (const Shape &s : shapes) {
        low = s.number < low ? s.number : low;
        high = s.number > high ? s.number : high;
    }
    Put16(out, shapes.empty() ? 0 : low);
    Put16(out, high);
    Put16(out, static_cast<uint16_t>(shapes.size()));
    for (const Shape &s : shapes) {
        Put16(out, s.number);
        Put16(out, static_cast<uint16_t>(Data(s).size()));
    }
    for (const Shape &s : shapes) {
        Bytes d = Data(s);
        out.insert(out.end(), d.begin(), d.end());
    }
    return out;
}

// Unifont: header line (25 bytes), count at 0x19, then each shape inline at 0x1B: number,
// length, data, in the order given.
inline Bytes Unifont(const std::vector<Shape> &shapes) {
    Bytes out = HeaderLine("AutoCAD-86 unifont 1.0");
    Put16(out, static_cast<uint16_t>(shapes.size()));
    for (const Shape &s : shapes) {
        Bytes d = Data(s);
        Put16(out, s.number);
        Put16(out, static_cast<uint16_t>(d.size()));
        out.insert(out.end(), d.begin(), d.end());
    }
    return out;
}

using Ranges = std::vector<std::pair<uint8_t, uint8_t>>;

// Big font: header line (25 bytes), count at 0x1B, escape range count at 0x1D, the ranges,
// the directory of number, length and file offset, then the data.
inline Bytes BigFontFile(const Ranges &ranges, const std::vector<Shape> &shapes) {
    Bytes out = HeaderLine("AutoCAD-86 bigfont 1.0");
    Put16(out, 0);
    Put16(out, static_cast<uint16_t>(shapes.size()));
    Put16(out, static_cast<uint16_t>(ranges.size()));
    for (const auto &r : ranges) {
        out.push_back(r.first);
        out.push_back(r.second);
    }
    size_t directory = out.size();
    out.resize(directory + 8 * shapes.size(), 0);
    for (size_t i = 0; i < shapes.size(); ++i) {
        Bytes d = Data(shapes[i]);
        Set16(out, directory + 8 * i, shapes[i].number);
        Set16(out, directory + 8 * i + 2, static_cast<uint16_t>(d.size()));
        Set32(out, directory + 8 * i + 4, static_cast<uint32_t>(out.size()));
        out.insert(out.end(), d.begin(), d.end());
    }
    return out;
}

// One font of an index file. Kind -1: `max_shape_id` and the shape records in the order
// given. Kind -2: the escape ranges and the shapes, with data offsets into the index.
struct SdxFont {
    std::string name; // stored as given, NUL-filled to 32 bytes
    int16_t kind = -1;
    int16_t max_shape_id = 255;
    std::vector<Shape> shapes;
    Ranges ranges;
};

inline Bytes Sdx(const std::vector<SdxFont> &fonts) {
    const std::string signature = "MORV Control Shapes";
    Bytes out(signature.begin(), signature.end());
    Put16(out, static_cast<uint16_t>(fonts.size()));
    size_t directory = out.size();
    out.resize(directory + 38 * fonts.size(), 0);
    for (size_t f = 0; f < fonts.size(); ++f) {
        const SdxFont &font = fonts[f];
        size_t row = directory + 38 * f;
        std::memcpy(&out[row], font.name.data(), font.name.size() < 32 ? font.name.size() : 32);
        Set16(out, row + 32, static_cast<uint16_t>(font.kind));
        Set32(out, row + 34, static_cast<uint32_t>(out.size()));
        if (font.kind == -2) {
            Put16(out, static_cast<uint16_t>(font.shapes.size()));
            Put16(out, static_cast<uint16_t>(font.ranges.size()));
            for (const auto &r : font.ranges) {
                out.push_back(r.first);
                out.push_back(r.second);
            }
            size_t rows = out.size();
            out.resize(rows + 8 * font.shapes.size(), 0);
            for (size_t i = 0; i < font.shapes.size(); ++i) {
                Bytes d = Data(font.shapes[i]);
                Set16(out, rows + 8 * i, font.shapes[i].number);
                Set16(out, rows + 8 * i + 2, static_cast<uint16_t>(d.size()));
                Set32(out, rows + 8 * i + 4, static_cast<uint32_t>(out.size()));
                out.insert(out.end(), d.begin(), d.end());
            }
            continue;
        }
        Put16(out, static_cast<uint16_t>(font.max_shape_id));
        Put16(out, static_cast<uint16_t>(static_cast<int16_t>(font.shapes.size()) - 1));
        size_t offsets = out.size();
        out.resize(offsets + 4 * font.shapes.size(), 0);
        for (size_t i = 0; i < font.shapes.size(); ++i) {
            Set32(out, offsets + 4 * i, static_cast<uint32_t>(out.size()));
            Bytes d = Data(font.shapes[i]);
            Put16(out, font.shapes[i].number);
            Put16(out, static_cast<uint16_t>(d.size()));
            PutF64(out, font.shapes[i].width);
            out.insert(out.end(), d.begin(), d.end());
        }
    }
    return out;
}

// A font file's first shape in the usual form: number 0, the font's name, then above,
// below, modes and the closing 0.
inline Shape FontInfo(const std::string &name, uint8_t above, uint8_t below = 2) {
    return Shape{0, name, {above, below, 0, 0}};
}

// A folder of its own under the test temporary folder, removed with everything in it.
class ScratchDir {
public:
    explicit ScratchDir(const std::string &tag) {
        std::string pattern = ::testing::TempDir() + "velko_" + tag + "_XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back(0);
        const char *made = ::mkdtemp(buffer.data());
        path_ = made ? made : pattern;
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;

    const std::string &path() const { return path_; }
    // The path of `name` in the folder (nothing is made).
    std::string File(const std::string &name) const { return path_ + "/" + name; }
    // Writes `bytes` to `name` (sub-folders are made as needed) and gives its path.
    std::string Write(const std::string &name, const Bytes &bytes) const {
        std::string file = File(name);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        EXPECT_TRUE(out.good()) << file;
        return file;
    }
    std::string MakeDir(const std::string &name) const {
        std::filesystem::create_directories(File(name));
        return File(name);
    }

private:
    std::string path_;
};

// Points the shape tables made while it lives at the given index folders; the usual
// folders come back when it goes.
class IndexDirectories {
public:
    explicit IndexDirectories(std::vector<std::string> directories) {
        SetShapeIndexDirectoriesForTesting(std::move(directories));
    }
    ~IndexDirectories() { ResetShapeIndexDirectoriesForTesting(); }
    IndexDirectories(const IndexDirectories &) = delete;
    IndexDirectories &operator=(const IndexDirectories &) = delete;
};

} // namespace shx_test

#endif
