// Table records as a release 12 DWG holds them: the inverse of Decode, by the same layout of
// each table (r12_tables.cpp).
#include "dwg12/r12_tables.h"
#include "io/byte_order.h"
#include "io/record_field.h"

#include <cstring>

namespace {

// A text into its field of `size` bytes, zero-padded; a text of `size` characters or more
// fills the field without a terminator, as the reader takes it. Null writes nothing.
void PutPaddedText(uint8_t *field, size_t size, const char *text) {
    if (!text)
        return;
    for (size_t i = 0; i < size && text[i] != 0; ++i)
        field[i] = static_cast<uint8_t>(text[i]);
}

} // namespace

int CR12LayoutRecord::EncodeDWG(uint8_t *block) const {
    const size_t record_size = static_cast<size_t>(R12RecordSize(table));
    if (!block || record_size == 0)
        return 0;
    // A deleted record keeps its place in the table as zeros.
    if (Flags() & kR12DeletedFlag)
        return 1;
    block[kR12FlagsAt] = Flags();
    PutPaddedText(block + kR12NameAt, kR12NameSize, NameField());

    const R12Layout layout = R12RecordLayout(table);
    for (size_t i = 0; i < layout.count; ++i) {
        const R12Field &f = layout.fields[i];
        if (R12EncodePlainField(f, body, block, record_size))
            continue;
        if (size_t(f.file_offset) + f.size > record_size)
            continue;
        uint8_t *dest = block + f.file_offset;
        switch (f.kind) {
        case R12Kind::kText:
            PutPaddedText(dest, f.size, LoadField<const char *>(body, f.field_offset));
            break;
        case R12Kind::kDashes: {
            // The record keeps dash_count lengths; the file has room for a fixed number.
            const int16_t count =
                LoadField<int16_t>(body, offsetof(CDB_LTYPE_TBL_type, dash_count));
            const double *dashes = LoadField<const double *>(body, f.field_offset);
            const size_t room = f.size / 8;
            for (size_t d = 0; dashes && count > 0 && d < size_t(count) && d < room; ++d)
                WriteValueAt(block, record_size, f.file_offset + 8 * d, dashes[d]);
            break;
        }
        default:
            break;
        }
    }
    return 1;
}

int CR12VxHeaderRecord::EncodeDWG(uint8_t *block) const {
    const size_t record_size = static_cast<size_t>(GetFileSize());
    if (!block || record_size < kR12CrcSize || record_size > sizeof body.record.raw)
        return 0;
    if (Flags() & kR12DeletedFlag)
        return 1;
    // The record as it was read (byte 38 cleared then), its CRC left to the caller.
    std::memcpy(block, body.record.raw, record_size - kR12CrcSize);
    return 1;
}
