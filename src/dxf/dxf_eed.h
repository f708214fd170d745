// Extended entity data in DXF: the groups 1000 and up, turned into the stored byte form
// that a release 12 DWG holds, and back.
//
// Stored form of one item: a byte with the group code minus 1000, then
//   1000        1 byte length, the characters
//   1001        2 bytes: the APPID table index of the name (-1 when missing)
//   1002        1 byte: 0 for "{" (case ignored), 1 for anything else
//   1003        2 bytes: the LAYER table index of the name
//   1004        1 byte length, the data bytes
//   1005        8 bytes: the handle, big-endian, right-aligned in zeros
//   1010-1013   8 bytes, the double; 1020-1023 and 1030-1033 follow as 8 bytes each with
//               no code byte: they continue the point that 1010-1013 began
//   1040-1042   8 bytes, the double
//   1070        2 bytes
//   1071        4 bytes
// Every other code from 1000 up is dropped with its value.
//
// The release 13 form is the one its DWG keeps: the values come in sections, one per
// application. A section opens with a marker byte 0x51 to 0x58 whose low bits count the
// bytes of the application's handle that follow (most significant first), and holds the
// items above with three differences: 1001 is that marker, not an item; a 1000 string has two
// bytes of code page between its length byte and its characters; 1003 is the layer's handle
// in 8 bytes, big-endian. An application that the drawing does not have drops its section,
// and values in front of the first 1001 have no section and are dropped.
#ifndef VELKO_DXF_EED_H
#define VELKO_DXF_EED_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

class CDxfStream;

// The table lookups the collector needs (first match, case ignored, deleted skipped; -1
// when none).
struct DxfEedLookup {
    std::function<int(const char *)> appid;
    std::function<int(const char *)> layer;
};

// The handle texts the release 13 form stores for a name (case counted as the tables count
// it); null when the table has no such record.
struct DxfEedHandles {
    std::function<const char *(const char *)> appid;
    std::function<const char *(const char *)> layer;
};

// The code page that a string of the release 13 form carries when it comes from DXF: the file
// says none, and the text is kept as the file gave it.
constexpr uint16_t kDxfEedCodePage = 0;

// Collects the extended data of one entity.
class CDxfEedCollector {
public:
    // The release 12 form. `binary`: the values come from a binary file, where a 1004 value
    // begins with its length byte; in ASCII it is hexadecimal text, two digits a byte.
    CDxfEedCollector(const DxfEedLookup &lookup, bool binary) : lookup_(&lookup), binary_(binary) {}
    // The release 13 form.
    CDxfEedCollector(const DxfEedHandles &handles, bool binary)
        : handles_(&handles), binary_(binary) {}

    // Takes the group in `code`/`value` (code 1000 or more) and the following ones, until
    // a group with a code below 1000 comes or the stream ends. That group is left in
    // `code` and `value` for the caller to go on with. `value` has kValueSize bytes.
    // When the stream ends, `code` may still be 1000 or more (an ASCII stream keeps the
    // last group it delivered): the caller looks at stream.AtEnd() before handing it over
    // again. A group from the read that met the end is not stored.
    void Collect(CDxfStream &stream, int16_t &code, char *value);
    // Converts one group to its stored form and appends it (used by Collect; open for
    // tests).
    void Add(int16_t code, const char *value);

    const std::vector<uint8_t> &Bytes() const { return bytes_; }

private:
    static constexpr size_t kNoPoint = static_cast<size_t>(-1);

    // True when `count` more bytes keep the block within 65535 bytes. Once an item is
    // refused the block is closed and later items are refused too.
    bool Reserve(size_t count);
    // Reserves an item of `payload` bytes behind its code byte and appends the code byte.
    // False, with nothing appended, when the block has no room for it.
    bool BeginItem(int16_t code, size_t payload);
    // The item kinds: the groups Add takes, each to its stored form.
    void AddCounted(int16_t code, const void *data, size_t count); // length byte and data
    void AddTableIndex(int16_t code, const char *name);            // 1001, 1003
    void AddBinary(int16_t code, const char *value, size_t length);
    void AddHandle(int16_t code, const char *value, size_t length);
    void AddPointStart(int16_t code, const char *value); // 1010 to 1013
    void AddPointPart(int16_t code, const char *value);  // 1020 to 1033
    // The items whose release 13 form differs.
    void AddSection(const char *name);                      // 1001
    void AddCodePageText(const char *value, size_t length); // 1000
    void AddLayerHandle(const char *name);                  // 1003

    const DxfEedLookup *lookup_ = nullptr;
    const DxfEedHandles *handles_ = nullptr;
    bool binary_;
    // Release 13: whether a section is open, so that values have an application.
    bool in_section_ = false;
    std::vector<uint8_t> bytes_;
    // Offset of the code byte of the point that 1020-1033 groups still fill, or kNoPoint.
    size_t point_at_ = kNoPoint;
    bool closed_ = false;
};

// The names that the stored form keeps as table indices, for the writer.
struct DxfEedNames {
    virtual ~DxfEedNames() = default;
    // The name of record `index` of the APPID / LAYER table; null when there is none.
    virtual const char *Appid(int index) const = 0;
    virtual const char *Layer(int index) const = 0;
};

// Writes a stored block (`size` bytes) back as DXF groups, item by item:
//   1000        the text, as long as its length byte says (up to a zero byte)
//   1001, 1003  the name of the APPID / LAYER record by index (empty when there is none)
//   1002        "{" for 0, "}" for anything else
//   1004        binary: the length byte and the data as one chunk; ASCII: the data as
//               upper-case hexadecimal text, two digits a byte
//   1005        the handle's text
//   1010-1013   three reals under the code, code + 10 and code + 20
//   1040-1042   one real; 1070 a 16-bit, 1071 a 32-bit integer
// An item that runs past the block's end, or a code the stored form does not have, ends
// the walk: nothing is read outside the block. An empty or null block writes nothing.
// 1, or 0 when the stream refuses a group.
int WriteEedDxf(CDxfStream &stream, const uint8_t *eed, size_t size, const DxfEedNames &names);

// The names that the release 13 stored form keeps as handles, for the writer.
struct DxfEedHandleNames {
    virtual ~DxfEedHandleNames() = default;
    // The name of the APPID / LAYER record with the handle `handle` (upper-case hexadecimal
    // text); "" or null when there is none.
    virtual const char *Appid(const char *handle) const = 0;
    virtual const char *Layer(const char *handle) const = 0;
};

// Writes a block in the release 13 stored form back as DXF groups: a marker 0x51 to 0x58
// and its handle bytes become 1001 with the application's name, 1003 its layer's name by
// its 8-byte handle, 1000 its text behind the length and the two bytes of code page; the
// other items as WriteEedDxf writes them. The same guards: nothing is read outside the
// block, and an item that would run past it ends the walk. 1, or 0 when the stream refuses
// a group.
int WriteEedDxfRelease13(CDxfStream &stream, const uint8_t *eed, size_t size,
                         const DxfEedHandleNames &names);

#endif
