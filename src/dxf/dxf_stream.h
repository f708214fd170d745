// The group-code stream under every DXF reader and writer.
//
// A DXF file is a run of groups, each a group code and a value. The stream hands out one
// group at a time and writes one group at a time, so that the section, table and entity
// code above it never sees whether the file is ASCII or binary. Every value reaches the
// caller as NUL-terminated text, binary ones too: a binary real becomes text at 12
// significant digits, and the caller turns text back into numbers with the routines of
// dxf_numbers.h, the same for both forms.
//
// The stream does not own a file: it reads through the drawing's input CDrawingFile and
// writes through the output CDrawingFile of a save.
#ifndef VELKO_DXF_STREAM_H
#define VELKO_DXF_STREAM_H

#include "velkow32.h"

#include <cstdint>
#include <vector>

class CDrawingFile;

class CDxfStream {
public:
    // The file kinds, as the drawing keeps them.
    enum Form : int32_t { kUndecided = -1, kDwg = 0, kAscii = 1, kBinary = 2 };
    // Which release's binary group table applies while reading.
    enum Release : int32_t { kRelease12 = 12, kRelease13 = 13 };

    // Size of the value buffer a caller hands to ReadGroup.
    static constexpr int kValueSize = 512;
    // A binary string is staged in a buffer of this size: at most 299 bytes arrive.
    static constexpr int kBinaryStringSize = 300;
    // Code lines of an ASCII file are read into a buffer of this size.
    static constexpr int kCodeLineSize = 256;
    // The sentinel at offset 0 of a binary file, and its length with CR, LF, 0x1A, 0.
    static constexpr const char *kBinarySentinel = "AutoCAD Binary DXF";
    static constexpr int kBinarySentinelSize = 22;

    CDxfStream() = default;

    // ---- Reading ---------------------------------------------------------------------------
    // Reads from `input` (not owned) in the given form, from its current position.
    void AttachInput(CDrawingFile *input, Form form, Release release);
    Form InputForm() const { return form_; }

    // The tolerant roads (CDB_READ_ bits) the stream may take while reading; none at first,
    // which is the original behaviour. The stream itself serves CDB_READ_FULL_BINARY_CODES:
    // a binary release 12 group whose code the original table gives no value type (a
    // dimension style's 140 to 178, codes 90 to 99, 100, 102, 105, 270 to 289, the whole
    // extended data range) has its value read by the type that real files give it. With
    // CDB_READ_COMMENTS ReadGroup passes over 999 comment groups wherever they stand, so
    // that no reader above ever sees one (the typed header reads of a binary file excepted).
    void SetReadOptions(int32_t options) { read_options_ = options; }
    int32_t ReadOptions() const { return read_options_; }
    // The roads the stream has actually taken since its input was attached; a reader above
    // the stream that takes a road of its own notes it here too.
    int32_t TolerantReadsTaken() const { return tolerant_taken_; }
    void NoteTolerantRead(int32_t bit) { tolerant_taken_ |= bit; }

    // Reads the next group. ASCII: 1, or 0 when the file ended before the group was whole;
    // then `code` and `value` keep what they held. Binary: always 1 (a read past the end
    // delivers what it got): when no whole code is left the group is code 0 with an empty
    // value, and a value cut short by the end arrives as far as it got (a number's missing
    // bytes as zeros). A binary string longer than kBinaryStringSize - 1 bytes keeps its
    // first kBinaryStringSize - 1; the rest up to its NUL is passed over. `value` must have
    // room for kValueSize bytes.
    int ReadGroup(int16_t *code, char *value);

    // The real that the value of the group just read stands for: `value` is the buffer that
    // ReadGroup filled. A binary real comes back as the stream rounded it to its text,
    // without parsing that text again; any other value is parsed (DxfTextToReal).
    double Real(const char *value) const;

    // True once a read has met the end of the input, in either form. The section readers
    // look at it so that a file that ends too early ends the load instead of stalling it.
    bool AtEnd() const { return at_end_; }

    // Typed reads for header variables, called right after the group that names the
    // variable. In a binary file the numbers are read as fixed records (code and value),
    // not through ReadGroup; ReadReal accepts only group code 40 there and gives 0.0 for a
    // real under any other code, its bytes consumed. A coordinate of ReadPoint3/ReadPoint2
    // starts at 0 and is taken only when its code lies in its band (10-18 x, 20-28 y,
    // 30-38 z); the group is consumed either way.
    int16_t ReadInt();
    double ReadReal();
    void ReadPoint3(CDB_POINT3 *out);
    void ReadPoint2(CDB_POINT2 *out);
    // The next group's value in a new kValueSize-byte block (malloc) that the caller frees.
    // Reads that meet the end of the input give 0, 0.0, a zero point and an empty text.
    char *ReadText();

    // ---- Writing ---------------------------------------------------------------------------
    // Writes to `output` (not owned); `binary` non-zero writes the binary form. The write
    // options in force now hold for the whole save.
    void AttachOutput(CDrawingFile *output, int32_t binary);
    int32_t OutputBinary() const { return output_binary_; }
    // True while an output is attached, that is while a save is writing through the stream.
    bool HasOutput() const { return output_ != nullptr; }
    // Writes the 22-byte sentinel of a binary file: 1, or 0 if the output refuses it.
    int WriteBinarySentinel();

    // Prepare a value in the output form: text in ASCII (with room left for the two bytes
    // that WriteGroup appends), the raw little-endian bytes in binary. The result is the
    // length to hand to WriteGroup: the text's length plus 1 in ASCII as in binary for a
    // string, 8 for a real, 2 and 4 for the integers in binary. `out` needs 32 bytes.
    int16_t FormatReal(double value, char *out) const;
    int16_t FormatInt16(int16_t value, char *out) const;
    int16_t FormatInt32(int32_t value, char *out) const;

    // Writes one group. ASCII: the code line and the value line, each ended by CR LF; CR LF
    // are appended to `value` in the caller's buffer, which must have room for them.
    // Binary: the code (one byte below 1000, else 255 and two bytes) and `length` bytes of
    // the value, in one write of at most 400 bytes: a longer value (only a string can be
    // one) is cut to fit and keeps its NUL. 1, or 0 if the output refuses the bytes.
    int WriteGroup(int16_t code, void *value, int16_t length);
    // A string value: copies `text` (null is empty) into a scratch buffer first, so that
    // the caller's text is not touched. In the ASCII form a value is one line: a text that
    // holds a line break is refused (0, and FormLimit says so), as it would end its group
    // early and break every group behind it.
    int WriteText(int16_t code, const char *text);
    // A table or block name, as WriteText. With CDB_WRITE_STRICT_DXF a name that ends
    // inside an escape ("\U+03" of "\U+03A1", a name that the original reader cut short)
    // goes out without the broken escape, which other readers refuse.
    int WriteName(int16_t code, const char *name);
    // A table's count group (70) is 16-bit: the limit a writer refuses a larger table by.
    static constexpr int kMaxTableCount = 32767;
    static constexpr const char *kTableCountLimit =
        "DXF: a table of at most 32,767 records (group 70)";
    // The words of the form limit that refused the last write; null when none did.
    const char *FormLimit() const { return form_limit_; }
    int WriteReal(int16_t code, double value);
    int WriteInt16(int16_t code, int16_t value);
    int WriteInt32(int16_t code, int32_t value);
    // Three reals under code, code + 10, code + 20; two under code, code + 10.
    int WritePoint3(CDB_POINT3 value, int16_t code);
    int WritePoint2(CDB_POINT2 value, int16_t code);

private:
    // One group of the file, comments included.
    int ReadFileGroup(int16_t *code, char *value);
    int ReadGroupAscii(int16_t *code, char *value);
    // The common case of an ASCII group: both lines whole in the input's buffer, line ends
    // LF or CR LF, no zero byte. False (nothing consumed) for anything else.
    bool ReadGroupAsciiInSpan(int16_t *code, char *value);
    int ReadGroupBinary(int16_t *code, char *value);
    // The common case of a binary group of release 12: a one-byte code and its value whole
    // in the input's buffer. False (nothing consumed) for anything else.
    bool ReadGroupBinaryInSpan(int16_t *code, char *value);
    // Delivers a binary real as text at 12 significant digits and keeps its value.
    void DeliverReal(double real, char *value);
    // One line into `buffer` (of `size` bytes): at most size - 1 bytes taken from the file,
    // carriage returns counted among them but dropped wherever they stand, a line feed
    // stored and ending the line. 0 at the end of the file (also with bytes stored) or when
    // nothing was stored.
    int ReadLine(char *buffer, int size);
    // Binary helpers: raw bytes (a short read zero-fills the rest and marks the end), the
    // code by the release's width with the 255 escape (false when the file ends inside it),
    // and a string up to its NUL (the first kBinaryStringSize - 1 bytes kept, the rest
    // passed over); the string's length.
    bool ReadBytes(void *out, uint32_t size);
    bool ReadBytesAcross(void *out, uint32_t size); // the part of ReadBytes at a buffer's end
    bool ReadBinaryCode(int16_t *code);
    int ReadBinaryString(char *out);
    // The coordinates of a header point: `count` groups, each taken only in its band.
    void ReadCoordinates(double *out, int count);

    // One binary group is written as a single record of at most this many bytes.
    static constexpr uint32_t kBinaryRecordSize = 400;
    // Room for a formatted number and the line end that WriteGroup appends.
    static constexpr int kFormatSize = 32;

    CDrawingFile *input_ = nullptr;
    CDrawingFile *output_ = nullptr;
    Form form_ = kUndecided;
    Release release_ = kRelease12;
    int32_t output_binary_ = 0;
    bool strict_names_ = false;
    bool at_end_ = false;
    int32_t read_options_ = 0;
    int32_t tolerant_taken_ = 0;
    // The last binary real: the buffer it was delivered in and its rounded value.
    const char *real_buffer_ = nullptr;
    double real_value_ = 0.0;
    char line_[kValueSize] = {};     // an ASCII value line, before it goes to the caller
    char scratch_[kValueSize] = {};  // the group of a typed header read
    std::vector<char> text_scratch_; // WriteText's copy of its text
    const char *form_limit_ = nullptr;
};

#endif
