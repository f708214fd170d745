#include "dxf/dxf_stream.h"

#include "dxf/dxf_name_escapes.h"
#include "dxf/dxf_numbers.h"
#include "io/byte_order.h"
#include "io/drawing_file.h"
#include "records/file_options.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// How the value of a binary group is stored, by its code.
enum class BinaryValue { kNothing, kString, kReal, kInt16, kInt32, kChunk };

// The value types that a release 12 binary file knows. Any other code has no value bytes
// as far as this reader is concerned, so a group with a value leaves the stream misaligned.
BinaryValue Release12Value(int code) {
    if (code >= 0 && code <= 9)
        return BinaryValue::kString;
    if (code >= 10 && code <= 58)
        return BinaryValue::kReal;
    if (code >= 62 && code <= 78)
        return BinaryValue::kInt16;
    if (code >= 210 && code <= 230)
        return BinaryValue::kReal;
    if (code == 999)
        return BinaryValue::kString;
    if (code >= 1000 && code <= 1003)
        return BinaryValue::kString;
    if (code == 1004)
        return BinaryValue::kChunk;
    if (code >= 1005 && code <= 1009)
        return BinaryValue::kString;
    if (code >= 1010 && code <= 1042)
        return BinaryValue::kReal;
    if (code == 1070)
        return BinaryValue::kInt16;
    if (code == 1071)
        return BinaryValue::kInt32;
    return BinaryValue::kNothing;
}

// The value types that binary release 12 files written by real programs give the codes that
// the original table leaves without one. Asked only for such codes.
BinaryValue Release12FullValue(int code) {
    if ((code >= 90 && code <= 99) || code == 1071)
        return BinaryValue::kInt32;
    if (code == 100 || code == 102 || code == 105 || (code >= 1000 && code <= 1009))
        return BinaryValue::kString;
    if (code == 59 || (code >= 110 && code <= 149) || (code >= 210 && code <= 239) ||
        (code >= 1010 && code <= 1059))
        return BinaryValue::kReal;
    if ((code >= 60 && code <= 79) || (code >= 170 && code <= 179) ||
        (code >= 270 && code <= 289) || (code >= 1060 && code <= 1070))
        return BinaryValue::kInt16;
    return BinaryValue::kNothing;
}

// The release 12 value type of each one-byte code, looked up in the hot path.
struct OneByteCodes {
    BinaryValue type[256];
    OneByteCodes() : type() {
        for (int c = 0; c < 256; ++c)
            type[c] = Release12Value(c);
    }
};
const OneByteCodes kOneByteCodes;

// The value types of a release 13 binary file: those of release 12 and the codes that
// release 13 brought; whatever is not listed is a string.
BinaryValue Release13Value(int code) {
    const BinaryValue known = Release12Value(code);
    if (known != BinaryValue::kNothing)
        return known;
    if (code >= 90 && code <= 99)
        return BinaryValue::kInt32;
    if (code >= 140 && code <= 147)
        return BinaryValue::kReal;
    if ((code >= 170 && code <= 178) || (code >= 270 && code <= 275) ||
        (code >= 280 && code <= 289))
        return BinaryValue::kInt16;
    if (code == 310)
        return BinaryValue::kChunk;
    return BinaryValue::kString;
}

// Decimal text of an integer, NUL-terminated; returns its length.
inline int IntText(int32_t value, char *out) {
    auto result = std::to_chars(out, out + 16, value);
    *result.ptr = 0;
    return static_cast<int>(result.ptr - out);
}

inline void ClearValue(char *value) {
    std::memset(value, 0, 4);
}

// Bytes that end the simple scan of a line: line feed, carriage return, zero.
constexpr bool IsLineStop(uint8_t c) {
    return c == '\n' || c == '\r' || c == 0;
}

struct LineStops {
    bool stop[256];
    constexpr LineStops() : stop() {
        for (int c = 0; c < 256; ++c)
            stop[c] = IsLineStop(static_cast<uint8_t>(c));
    }
};
constexpr LineStops kLineStops;

// The end of the line at `p` when it is a plain one: a line feed, or a carriage return and
// a line feed, within the first `limit` bytes (the line feed included) and before `end`,
// with no other carriage return and no zero byte in the line. Points at the line feed or
// at the carriage return before it; null for anything else.
inline const uint8_t *FindLineEnd(const uint8_t *p, const uint8_t *end, uint32_t limit) {
    const uint8_t *stop = end - p > static_cast<ptrdiff_t>(limit) ? p + limit : end;
    // Eight bytes at a time: a byte equal to one of the stops gives a zero byte after the
    // exclusive or, and the lowest flagged zero byte is exact.
    constexpr uint64_t kOnes = 0x0101010101010101ull;
    constexpr uint64_t kHighs = 0x8080808080808080ull;
    while (stop - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        uint64_t feed = word ^ (kOnes * '\n');
        uint64_t ret = word ^ (kOnes * '\r');
        uint64_t found =
            ((word - kOnes) & ~word) | ((feed - kOnes) & ~feed) | ((ret - kOnes) & ~ret);
        found &= kHighs;
        if (found) {
            p += __builtin_ctzll(found) / 8;
            goto stopped;
        }
        p += 8;
    }
    while (p < stop && !kLineStops.stop[*p])
        ++p;
stopped:
    if (p == stop)
        return nullptr;
    if (*p == '\n')
        return p;
    if (*p == '\r' && p + 1 < stop && p[1] == '\n')
        return p;
    return nullptr;
}

} // namespace

// ---- Reading ------------------------------------------------------------------------------

void CDxfStream::AttachInput(CDrawingFile *input, Form form, Release release) {
    input_ = input;
    form_ = form;
    release_ = release;
    at_end_ = false;
    tolerant_taken_ = 0;
}

int CDxfStream::ReadGroup(int16_t *code, char *value) {
    int got = ReadFileGroup(code, value);
    if (read_options_ & CDB_READ_COMMENTS) {
        // A comment is no group of the drawing: it goes, and the group behind it stands in
        // its place. The original road hands it on, and a reader that looks at values alone
        // may take its text for a word of its own.
        while (got && *code == 999 && !at_end_) {
            tolerant_taken_ |= CDB_READ_COMMENTS;
            got = ReadFileGroup(code, value);
        }
    }
    return got;
}

int CDxfStream::ReadFileGroup(int16_t *code, char *value) {
    real_buffer_ = nullptr;
    if (input_ && code && value) {
        if (form_ == kAscii)
            return ReadGroupAscii(code, value);
        if (form_ == kBinary)
            return ReadGroupBinaryInSpan(code, value) ? 1 : ReadGroupBinary(code, value);
    }
    at_end_ = true;
    return 0;
}

int CDxfStream::ReadLine(char *buffer, int size) {
    if (size < 1)
        return 0;
    const uint32_t limit = static_cast<uint32_t>(size - 1);
    uint32_t consumed = 0; // bytes taken from the file, carriage returns included
    int stored = 0;
    while (consumed < limit) {
        uint32_t available = 0;
        const uint8_t *span = input_->Span(available);
        if (!span || available == 0) {
            // The file ends inside the line: what stands is terminated, the line is lost.
            buffer[stored] = 0;
            at_end_ = true;
            return 0;
        }
        uint32_t take = limit - consumed < available ? limit - consumed : available;
        const void *feed = std::memchr(span, '\n', take);
        if (feed)
            take = static_cast<uint32_t>(static_cast<const uint8_t *>(feed) - span) + 1;
        if (!std::memchr(span, '\r', take)) {
            std::memcpy(buffer + stored, span, take);
            stored += static_cast<int>(take);
        } else {
            for (uint32_t i = 0; i < take; ++i)
                if (span[i] != '\r')
                    buffer[stored++] = static_cast<char>(span[i]);
        }
        consumed += take;
        input_->Advance(take);
        if (feed)
            break;
    }
    buffer[stored] = 0;
    return stored > 0;
}

bool CDxfStream::ReadGroupAsciiInSpan(int16_t *code, char *value) {
    uint32_t available = 0;
    const uint8_t *span = input_->Span(available);
    if (!span)
        return false;
    // Both lines must end, each within its length limit, inside the bytes at hand.
    const uint8_t *end = span + available;
    const uint8_t *code_end = FindLineEnd(span, end, kCodeLineSize - 1);
    if (!code_end)
        return false;
    const uint8_t *line = code_end + (*code_end == '\r' ? 2 : 1);
    const uint8_t *value_end = FindLineEnd(line, end, kValueSize - 1);
    if (!value_end)
        return false;
    size_t length = static_cast<size_t>(value_end - line);
    std::memcpy(value, line, length);
    value[length] = 0;
    if (length == 0)
        ClearValue(value);
    *code = static_cast<int16_t>(DxfTextToInt(reinterpret_cast<const char *>(span),
                                              reinterpret_cast<const char *>(code_end)));
    const uint8_t *next = value_end + (*value_end == '\r' ? 2 : 1);
    input_->Advance(static_cast<uint32_t>(next - span));
    return true;
}

int CDxfStream::ReadGroupAscii(int16_t *code, char *value) {
    // Nearly every group lies whole in the read buffer and is taken from there at once.
    if (ReadGroupAsciiInSpan(code, value))
        return 1;
    char code_line[kCodeLineSize];
    if (!ReadLine(code_line, kCodeLineSize))
        return 0;
    // The value line is staged so that a group cut short by the file's end leaves the
    // caller's code and value as they were.
    if (!ReadLine(line_, kValueSize))
        return 0;
    *code = static_cast<int16_t>(DxfTextToInt(code_line));
    size_t length = std::strlen(line_);
    if (length > 0) {
        // The last byte goes, whatever it is: normally the line feed; in a line that met
        // the length limit a real character.
        line_[length - 1] = 0;
        std::memcpy(value, line_, length);
    }
    if (length <= 1)
        ClearValue(value);
    return 1;
}

bool CDxfStream::ReadBytesAcross(void *out, uint32_t size) {
    uint8_t *dest = static_cast<uint8_t *>(out);
    while (size > 0) {
        uint32_t available = 0;
        const uint8_t *span = input_->Span(available);
        if (!span || available == 0) {
            std::memset(dest, 0, size);
            at_end_ = true;
            return false;
        }
        uint32_t take = size < available ? size : available;
        std::memcpy(dest, span, take);
        input_->Advance(take);
        dest += take;
        size -= take;
    }
    return true;
}

inline bool CDxfStream::ReadBytes(void *out, uint32_t size) {
    // Small fixed reads nearly always lie inside the buffer at hand.
    uint32_t available = 0;
    const uint8_t *span = input_->Span(available);
    if (span && available >= size) {
        std::memcpy(out, span, size);
        input_->Advance(size);
        return true;
    }
    return ReadBytesAcross(out, size);
}

bool CDxfStream::ReadBinaryCode(int16_t *code) {
    uint8_t bytes[2] = {0, 0};
    uint16_t value;
    if (release_ == kRelease12) {
        if (!ReadBytes(bytes, 1))
            return false;
        value = bytes[0];
    } else {
        if (!ReadBytes(bytes, 2))
            return false;
        value = LittleEndian::Decode<uint16_t>(bytes);
    }
    if (value == 255) {
        if (!ReadBytes(bytes, 2))
            return false;
        value = LittleEndian::Decode<uint16_t>(bytes);
    }
    *code = static_cast<int16_t>(value);
    return true;
}

int CDxfStream::ReadBinaryString(char *out) {
    int stored = 0;
    for (;;) {
        uint32_t available = 0;
        const uint8_t *span = input_->Span(available);
        if (!span || available == 0) {
            at_end_ = true;
            break;
        }
        const void *nul = std::memchr(span, 0, available);
        uint32_t length =
            nul ? static_cast<uint32_t>(static_cast<const uint8_t *>(nul) - span) : available;
        // Only what fits the staging buffer is kept; the rest up to the NUL is passed over
        // so that the next group is found where it stands.
        uint32_t room = static_cast<uint32_t>(kBinaryStringSize - 1 - stored);
        uint32_t keep = length < room ? length : room;
        std::memcpy(out + stored, span, keep);
        stored += static_cast<int>(keep);
        input_->Advance(nul ? length + 1 : length);
        if (nul)
            break;
    }
    out[stored] = 0;
    return stored;
}

double CDxfStream::Real(const char *value) const {
    if (value && value == real_buffer_)
        return real_value_;
    return DxfTextToReal(value);
}

void CDxfStream::DeliverReal(double real, char *value) {
    DxfFormatSignificant(real, 12, false, value, &real_value_);
    real_buffer_ = value;
}

bool CDxfStream::ReadGroupBinaryInSpan(int16_t *code, char *value) {
    uint32_t available = 0;
    const uint8_t *p = input_->Span(available);
    // A code byte and the largest fixed value.
    if (release_ != kRelease12 || !p || available < 9 || p[0] == 255)
        return false;
    const int c = p[0];
    switch (kOneByteCodes.type[c]) {
    case BinaryValue::kReal:
        *code = static_cast<int16_t>(c);
        DeliverReal(LittleEndian::Decode<double>(p + 1), value);
        input_->Advance(9);
        return true;
    case BinaryValue::kInt16:
        *code = static_cast<int16_t>(c);
        IntText(static_cast<int16_t>(LittleEndian::Decode<uint16_t>(p + 1)), value);
        input_->Advance(3);
        return true;
    case BinaryValue::kString: {
        const uint32_t room = available - 1 < uint32_t(kBinaryStringSize)
                                  ? available - 1
                                  : uint32_t(kBinaryStringSize);
        const void *nul = std::memchr(p + 1, 0, room);
        if (!nul)
            return false;
        const uint32_t length = static_cast<uint32_t>(static_cast<const uint8_t *>(nul) - p - 1);
        if (length >= uint32_t(kBinaryStringSize))
            return false;
        *code = static_cast<int16_t>(c);
        std::memcpy(value, p + 1, length + 1);
        input_->Advance(length + 2);
        return true;
    }
    default:
        return false;
    }
}

int CDxfStream::ReadGroupBinary(int16_t *code, char *value) {
    int16_t c = 0;
    if (!ReadBinaryCode(&c)) {
        // No whole code is left: an empty group 0 stands for the end of the input, and
        // AtEnd() tells it apart from a real one.
        *code = 0;
        ClearValue(value);
        return 1;
    }
    *code = c;
    BinaryValue type = release_ == kRelease12 ? Release12Value(c) : Release13Value(c);
    if (type == BinaryValue::kNothing && (read_options_ & CDB_READ_FULL_BINARY_CODES)) {
        type = Release12FullValue(c);
        if (type != BinaryValue::kNothing)
            tolerant_taken_ |= CDB_READ_FULL_BINARY_CODES;
    }
    uint8_t raw[8];
    switch (type) {
    case BinaryValue::kNothing:
        ClearValue(value);
        break;
    case BinaryValue::kString:
        ReadBinaryString(value);
        break;
    case BinaryValue::kReal:
        ReadBytes(raw, 8);
        DeliverReal(LittleEndian::Decode<double>(raw), value);
        break;
    case BinaryValue::kInt16:
        ReadBytes(raw, 2);
        IntText(static_cast<int16_t>(LittleEndian::Decode<uint16_t>(raw)), value);
        break;
    case BinaryValue::kInt32:
        ReadBytes(raw, 4);
        IntText(LittleEndian::Decode<int32_t>(raw), value);
        break;
    case BinaryValue::kChunk: {
        // Delivered as text: the length byte, the data, a NUL. Being text, it ends at its
        // first zero byte; a chunk of length 0 is empty.
        uint8_t length = 0;
        ReadBytes(&length, 1);
        value[0] = static_cast<char>(length);
        ReadBytes(value + 1, length);
        value[1 + length] = 0;
        break;
    }
    }
    return 1;
}

int16_t CDxfStream::ReadInt() {
    if (form_ == kBinary && input_) {
        uint8_t record[4] = {};
        uint32_t code_size = release_ == kRelease12 ? 1 : 2;
        ReadBytes(record, code_size + 2);
        return static_cast<int16_t>(LittleEndian::Decode<uint16_t>(record + code_size));
    }
    int16_t code = 0;
    scratch_[0] = 0;
    if (!ReadGroup(&code, scratch_))
        return 0;
    return static_cast<int16_t>(DxfTextToInt(scratch_));
}

double CDxfStream::ReadReal() {
    if (form_ == kBinary && input_) {
        uint8_t record[10] = {};
        uint32_t code_size = release_ == kRelease12 ? 1 : 2;
        ReadBytes(record, code_size + 8);
        int code = code_size == 1 ? record[0]
                                  : static_cast<int16_t>(LittleEndian::Decode<uint16_t>(record));
        // Only a real under code 40 is taken; any other code reads as 0.
        return code == 40 ? LittleEndian::Decode<double>(record + code_size) : 0.0;
    }
    int16_t code = 0;
    scratch_[0] = 0;
    if (!ReadGroup(&code, scratch_))
        return 0.0;
    return DxfTextToReal(scratch_);
}

void CDxfStream::ReadCoordinates(double *out, int count) {
    for (int i = 0; i < count; ++i) {
        const int band_low = 10 * (i + 1);
        const int band_high = band_low + 8;
        out[i] = 0.0;
        if (form_ == kBinary && input_) {
            uint8_t record[10] = {};
            uint32_t code_size = release_ == kRelease12 ? 1 : 2;
            ReadBytes(record, code_size + 8);
            int code = code_size == 1
                           ? record[0]
                           : static_cast<int16_t>(LittleEndian::Decode<uint16_t>(record));
            if (code >= band_low && code <= band_high)
                out[i] = LittleEndian::Decode<double>(record + code_size);
        } else {
            int16_t code = 0;
            scratch_[0] = 0;
            if (ReadGroup(&code, scratch_) && code >= band_low && code <= band_high)
                out[i] = DxfTextToReal(scratch_);
        }
    }
}

void CDxfStream::ReadPoint3(CDB_POINT3 *out) {
    double c[3];
    ReadCoordinates(c, 3);
    if (out) {
        out->x = c[0];
        out->y = c[1];
        out->z = c[2];
    }
}

void CDxfStream::ReadPoint2(CDB_POINT2 *out) {
    double c[2];
    ReadCoordinates(c, 2);
    if (out) {
        out->x = c[0];
        out->y = c[1];
    }
}

char *CDxfStream::ReadText() {
    char *text = static_cast<char *>(std::calloc(kValueSize, 1));
    if (!text)
        return nullptr;
    int16_t code = 0;
    ReadGroup(&code, text);
    return text;
}

// ---- Writing ------------------------------------------------------------------------------

void CDxfStream::AttachOutput(CDrawingFile *output, int32_t binary) {
    output_ = output;
    output_binary_ = binary;
    strict_names_ = WriteOption(CDB_WRITE_STRICT_DXF);
}

int CDxfStream::WriteBinarySentinel() {
    static const char sentinel[kBinarySentinelSize] = {'A', 'u', 't',  'o',  'C',  'A', 'D', ' ',
                                                       'B', 'i', 'n',  'a',  'r',  'y', ' ', 'D',
                                                       'X', 'F', '\r', '\n', 0x1A, 0x00};
    return output_ ? output_->Write(sentinel, kBinarySentinelSize) : 0;
}

int16_t CDxfStream::FormatReal(double value, char *out) const {
    if (output_binary_) {
        LittleEndian::Encode(reinterpret_cast<uint8_t *>(out), value);
        return 8;
    }
    return static_cast<int16_t>(DxfFormatSignificant(value, 8, true, out) + 1);
}

int16_t CDxfStream::FormatInt16(int16_t value, char *out) const {
    if (output_binary_) {
        LittleEndian::Encode(reinterpret_cast<uint8_t *>(out), static_cast<uint16_t>(value));
        return 2;
    }
    int blanks = value < 10 ? 5 : 4;
    std::memset(out, ' ', static_cast<size_t>(blanks));
    return static_cast<int16_t>(blanks + IntText(value, out + blanks) + 1);
}

int16_t CDxfStream::FormatInt32(int32_t value, char *out) const {
    if (output_binary_) {
        LittleEndian::Encode(reinterpret_cast<uint8_t *>(out), static_cast<uint32_t>(value));
        return 4;
    }
    return static_cast<int16_t>(IntText(value, out) + 1);
}

int CDxfStream::WriteGroup(int16_t code, void *value, int16_t length) {
    if (!output_)
        return 0;
    if (output_binary_) {
        uint8_t record[kBinaryRecordSize];
        uint32_t size = 0;
        if (code < 1000) {
            record[size++] = static_cast<uint8_t>(code);
        } else {
            record[size++] = 255;
            WriteValueAt(record, sizeof record, size, static_cast<uint16_t>(code));
            size += 2;
        }
        uint32_t count = value && length > 0 ? static_cast<uint32_t>(length) : 0;
        uint32_t room = kBinaryRecordSize - size;
        bool cut = count > room;
        if (cut)
            count = room;
        if (count)
            std::memcpy(record + size, value, count);
        size += count;
        // A value too long for one record is cut; only a string can be that long, and it
        // keeps its terminator so that a reader still finds the next group.
        if (cut)
            record[size - 1] = 0;
        return output_->Write(record, size);
    }

    char line[16];
    char *p = line;
    if (code < 10) {
        *p++ = ' ';
        *p++ = ' ';
    } else if (code != 100) {
        *p++ = ' ';
    }
    p = std::to_chars(p, line + sizeof line, static_cast<int>(code)).ptr;
    *p++ = '\r';
    *p++ = '\n';
    if (!output_->Write(line, static_cast<uint32_t>(p - line)))
        return 0;
    if (!value)
        return output_->Write("\r\n", 2);
    char *text = static_cast<char *>(value);
    size_t text_length = std::strlen(text);
    text[text_length] = '\r';
    text[text_length + 1] = '\n';
    text[text_length + 2] = 0;
    return output_->Write(text, static_cast<uint32_t>(text_length + 2));
}

int CDxfStream::WriteText(int16_t code, const char *text) {
    size_t length = text ? std::strlen(text) : 0;
    if (!output_binary_ && length && std::strpbrk(text, "\r\n")) {
        form_limit_ = "ASCII DXF: a text value of one line, without a line break";
        return 0;
    }
    // Room for the terminator and the line end that the ASCII form appends.
    if (text_scratch_.size() < length + 3)
        text_scratch_.resize(length + 3);
    if (length)
        std::memcpy(text_scratch_.data(), text, length);
    text_scratch_[length] = 0;
    int16_t size = length + 1 > 0x7FFF ? int16_t{0x7FFF} : static_cast<int16_t>(length + 1);
    return WriteGroup(code, text_scratch_.data(), size);
}

int CDxfStream::WriteName(int16_t code, const char *name) {
    const size_t length = name ? std::strlen(name) : 0;
    const size_t keep = strict_names_ ? EscapeSafeLength(name, length) : length;
    if (keep == length)
        return WriteText(code, name);
    return WriteText(code, std::string(name, keep).c_str());
}

int CDxfStream::WriteReal(int16_t code, double value) {
    char buffer[kFormatSize];
    int16_t length = FormatReal(value, buffer);
    return WriteGroup(code, buffer, length);
}

int CDxfStream::WriteInt16(int16_t code, int16_t value) {
    char buffer[kFormatSize];
    int16_t length = FormatInt16(value, buffer);
    return WriteGroup(code, buffer, length);
}

int CDxfStream::WriteInt32(int16_t code, int32_t value) {
    char buffer[kFormatSize];
    int16_t length = FormatInt32(value, buffer);
    return WriteGroup(code, buffer, length);
}

int CDxfStream::WritePoint3(CDB_POINT3 value, int16_t code) {
    return WriteReal(code, value.x) && WriteReal(static_cast<int16_t>(code + 10), value.y) &&
           WriteReal(static_cast<int16_t>(code + 20), value.z);
}

int CDxfStream::WritePoint2(CDB_POINT2 value, int16_t code) {
    return WriteReal(code, value.x) && WriteReal(static_cast<int16_t>(code + 10), value.y);
}
