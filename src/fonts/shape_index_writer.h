// The writing side of the control-shape index: lays several shape files and big fonts out
// as one index, in the layout that CShapeIndex (fonts/shape_index.h) reads back.
//
// Layout: the signature text (no terminator), the entry count (i16), one 38-byte entry a
// font (32-byte upper-case NUL-filled name, kind i16: -1 shape file, -2 big font, block
// offset u32), then the blocks in entry order.
//
// Callers may rely on: the same fonts added in the same order give the same bytes; a font
// that is refused leaves the bytes as they were before the call, so a caller that gives up
// writes nothing half-made.
#ifndef VELKO_SHAPE_INDEX_WRITER_H
#define VELKO_SHAPE_INDEX_WRITER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class CShapeIndexWriter {
public:
    // The most fonts one index holds (its count is an i16).
    static constexpr size_t kMostFonts = 32767;
    // The longest name an entry holds, its terminator left out.
    static constexpr size_t kLongestName = 31;

    enum class Added {
        kAdded,
        // The file is neither a shape file nor a big font the library can load.
        kUnreadable,
        // One of its counts or lengths, or the index grown by it, is beyond the layout.
        kTooLarge,
    };

    // Starts an index with a directory of `font_count` entries (at most kMostFonts), all
    // empty until their fonts are added.
    explicit CShapeIndexWriter(size_t font_count);

    // Whether `name` can stand in an entry: 1 to kLongestName characters.
    static bool NameFits(const std::string &name);

    // Loads the shape file or big font at `path` and adds it as the next entry under
    // `name`, which the caller has upper-cased. A name that NameFits refuses, or a font more
    // than the directory has room for, is refused as kTooLarge.
    Added Add(const std::string &name, const std::string &path);

    // The index so far.
    const std::vector<uint8_t> &Bytes() const { return out; }

private:
    size_t font_count;
    size_t added = 0;
    std::vector<uint8_t> out;
};

#endif
