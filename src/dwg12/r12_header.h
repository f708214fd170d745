// The header block of a release 12 DWG: 1727 bytes at the file's start.
//
// The block's layout, like the layout of every table record, is written down once as a
// list of field descriptions (R12Field). The reader walks the list from the file's bytes
// to the record; the writer walks the same list from the record back to the bytes.
#ifndef VELKO_R12_HEADER_H
#define VELKO_R12_HEADER_H

#include "records/angles.h"
#include "records/header_texts.h"
#include "velkow32.h"

#include <cstddef>
#include <cstdint>

// What kind of value a field of a fixed-size release 12 block holds, and how it maps onto
// the field of the record. All values are little-endian.
enum class R12Kind : uint8_t {
    kI16,       // 2 bytes, signed, to an i16 field
    kI8,        // 1 signed byte, sign-extended to an i16 field
    kU8,        // 1 unsigned byte, widened to an i16 field
    kByte,      // 1 byte to a u8 field
    kReal,      // size / 8 doubles (f64, point2, point3) to as many doubles
    kAngle,     // one double: radians in the file, degrees in the record
    kU24,       // a u32 whose top byte is a flag: the low 24 bits go to a u32 field
    kText,      // `size` bytes of zero-padded text to a heap block of size + 1 bytes
                // (malloc, zero-filled), left null when the text is empty
    kFixedText, // `size` bytes of text into the fixed block of `capacity` bytes that the
                // record's pointer field already points at; the block stays terminated
    kDashes,    // line type dash lengths: `size` bytes of doubles of which the record's
                // `dash_count` are kept in a heap block of dash_count doubles
    // Rules of the header block
    kCeltype,   // i16: 0x7FFF stands for BYLAYER (-1), 0x7FFE for BYBLOCK (-2)
    kTreedepth, // i16: 0 stands for 3020
    kMenuHead,  // characters 0 to 14 of `menu` (block of `capacity` bytes)
    kMenuTail,  // characters 15 and up of `menu`, same block
    kHandseed,  // 8 raw bytes, kept as upper-case hex text (block of `capacity` bytes)
    kCodePage,  // i16 index into the code page table, kept as its text (block of `capacity`)
};

// One field: where it stands in the file's block, what it is, and where it goes in the
// record (a byte offset into the record, or into the record object's body for the
// values that the public record has no field for).
struct R12Field {
    uint16_t file_offset;
    R12Kind kind;
    uint16_t field_offset;
    uint16_t size;     // bytes in the file
    uint16_t capacity; // bytes of the record's fixed text block; 0 for other kinds
};

struct R12Layout {
    const R12Field *fields;
    size_t count;
};

// The header's line type: the file keeps BYLAYER and BYBLOCK as 0x7FFF and 0x7FFE.
inline int16_t R12CeltypeFromFile(int16_t value) {
    return value == 0x7FFF ? int16_t(-1) : value == 0x7FFE ? int16_t(-2) : value;
}
inline int16_t R12CeltypeToFile(int16_t value) {
    return value == -1 ? int16_t(0x7FFF) : value == -2 ? int16_t(0x7FFE) : value;
}
// The header's tree depth: a stored 0 means the default depth 3020.
inline int16_t R12TreedepthFromFile(int16_t value) {
    return value == 0 ? int16_t(3020) : value;
}
// The writer stores the depth as it stands: 3020 reads back as 3020 whichever way it is
// stored, and a literal value does not depend on the reader's mapping of 0.
inline int16_t R12TreedepthToFile(int16_t value) {
    return value;
}

// An angle of a record (degrees) as the file keeps it (radians). Of the doubles near the
// plain conversion it picks one that converts back to exactly `degrees`, so that a value
// read from a file survives being written again.
double R12AngleToFile(double degrees);

// Decodes one field of the plain kinds (kI16, kI8, kU8, kByte, kReal, kAngle, kU24) from
// `block` (of `block_size` bytes) into `record`. Returns false for a kind it does not
// handle, or for a field that does not lie inside the block (nothing is written then).
bool R12DecodePlainField(const R12Field &field, const uint8_t *block, size_t block_size,
                         void *record);

// The inverse of R12DecodePlainField: encodes one field of the plain kinds from `record`
// into `block` (of `block_size` bytes). Angles go back to radians; a kU24 field keeps the
// flag byte that the block already holds in its top byte. Returns false for a kind it
// does not handle, or for a field that does not lie inside the block (nothing is written
// then).
bool R12EncodePlainField(const R12Field &field, const void *record, uint8_t *block,
                         size_t block_size);

class CR12Header {
public:
    static constexpr uint32_t kBlockSize = 1727;
    // The CRC of the block stands here; it covers the bytes before it.
    static constexpr uint32_t kCrcAt = 0x6BD;
    // The five raw table descriptor copies, 10 bytes each.
    static constexpr uint32_t kDescriptorCopiesAt = 0x2C;
    static constexpr uint32_t kDescriptorCopiesSize = 50;
    // `menu` is split in the file: 15 characters here, the rest in a second field.
    static constexpr uint32_t kMenuHeadLength = 15;

    CR12Header();
    ~CR12Header();
    CR12Header(const CR12Header &) = delete;
    CR12Header &operator=(const CR12Header &) = delete;

    // Decodes a whole header block (kBlockSize bytes) into `vars`, field by field. The
    // record is cleared first; variables the block does not carry stay zero.
    void Decode(const uint8_t *block);

    // The inverse of Decode: writes every field of the layout from `vars`, and the raw
    // descriptor copies at 0x2C, into `block` (kBlockSize bytes). Bytes the layout does
    // not cover are left as the block holds them; the caller clears the block first when
    // it wants them zero. Decode(Encode(x)) gives x back for every record that Decode
    // can produce. Rules of the special fields:
    // - texts are written up to their field's size and zero-padded, a null text as empty;
    // - `menu` is split into its head of 15 characters and its tail, which is written only
    //   behind a full head;
    // - `celtype` -1 and -2 go back to 0x7FFF and 0x7FFE, `treedepth` is written as it
    //   stands;
    // - `handseed` is hexadecimal text (case ignored, up to the first other character);
    //   its value goes to the 8 bytes, most significant byte first, and digits beyond 16
    //   keep only the low 64 bits;
    // - `dwgcodepage` is written as its number in the code page table; a text the table
    //   lacks (the empty one too) is written as -1, which reads back as an empty text.
    void Encode(uint8_t *block) const;

    // The layout of the header block: every field that goes to `vars`, in file order.
    // Field offsets are offsets into CDB_HEADER_type.
    static R12Layout Layout();

    CDB_HEADER_type vars;
    // The five raw descriptor copies at 0x2C, kept for the writer.
    uint8_t descriptor_copies[50] = {};

private:
    // Clears `vars` and the text blocks, and points the text fields at the blocks.
    void Reset();

    // The fixed text blocks the record points at.
    CHeaderTextBlocks texts_;
};

#endif
