// The sections of a saved release 13 DWG that are not objects: the head, the header
// variables and the classes in front of the object area, the trailing and preview sections
// behind the object map. Each is copied from the source where there is one and made from
// memory where there is none.
#include "dwg13/r13_save.h"

#include "dwg13/r13_checks.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/drawing_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

// ---- The head ----------------------------------------------------------------------------

// With a source: its bytes up to the header section, records and all (the sections behind
// patch their records as they are written). Without: a head of three records.
bool CR13DwgSaver::WriteHead() {
    if (!source) {
        head = R13FileHead::Blank(R13FileHead::kPlainRecordCount);
        return Put(head.data(), static_cast<uint32_t>(head.size()));
    }
    const uint32_t size = SourceLong(R13FileHead::kHeaderAt);
    if (size == 0 || size > source->Length())
        return Fail(kHeader);
    head.assign(size, 0);
    if (!ReadSource(0, head.data(), size))
        return Fail(kHeader);
    return Put(head.data(), size);
}

// ---- The header variables ----------------------------------------------------------------

bool CR13DwgSaver::WriteHeader() {
    return source ? CopyHeader() : EncodeHeader();
}

// The source's section with only the handle seed replaced: everything behind it shifts by
// as many bits as the seed's length changed.
bool CR13DwgSaver::CopyHeader() {
    const int32_t at = static_cast<int32_t>(SourceLong(R13FileHead::kHeaderAt));
    uint32_t size = SourceLong(R13FileHead::kHeaderSizeAt);
    if (at <= 0 || uint64_t(at) >= source->Length())
        return Fail(kHeader);
    size = std::min<uint32_t>(size, source->Length() - uint32_t(at));
    std::vector<uint8_t> section(size);
    if (!ReadSource(at, section.data(), size))
        return Fail(kHeader);
    const CR13Header &header = drawing.Header();
    if (header.seed_byte < 0 || uint32_t(header.seed_byte) >= size)
        return Fail(kHeader);

    CBitStream in(section.data(), static_cast<int32_t>(size));
    CBitWriter out;
    for (int32_t i = 0; i < header.seed_byte; ++i)
        out.WriteByte(in.ReadByte());
    out.WriteBits(in.ReadBits(header.seed_bit), header.seed_bit);
    in.ReadBits(4);
    std::free(in.ReadHandleText());
    out.WriteBits(0, 4);
    out.WriteHandleText(header.vars.handseed);
    const int tail_bits = 8 - in.TellBit();
    out.WriteBits(in.ReadBits(tail_bits), tail_bits);
    while (in.TellByte() < in.Size())
        out.WriteByte(in.ReadByte());

    const uint32_t new_size = static_cast<uint32_t>(out.TellSize());
    // The original road leaves the section's own size and check as the source had them,
    // stale once the seed changes; the interoperable road puts them anew.
    std::vector<uint8_t> bytes(out.Data(), out.Data() + new_size);
    if (real_checks)
        R13SealFramedSection(bytes.data(), bytes.size(), kR13HeaderBeginMark);
    if (!Put(bytes.data(), new_size))
        return false;
    return PatchLong(R13FileHead::kHeaderSizeAt, new_size);
}

// The current line type as a DWG names it: a DXF's BYLAYER and BYBLOCK (kept as "-1" and
// "0", the indices they stand for) become the handles of those line type records, which a
// DWG's line type table holds like any other.
const char *CR13DwgSaver::CurrentLineTypeHandle(const char *kept) {
    const bool by_layer = kept && std::strcmp(kept, "-1") == 0;
    const bool by_block = kept && std::strcmp(kept, "0") == 0;
    if (!by_layer && !by_block)
        return kept;
    const CR13Table &types = drawing.Table(R13Table::kLtypes);
    for (int i = 0; i < types.records.Count(); ++i) {
        const CR13TableRecord *record = types.records.At(i);
        const char *name = record->RecordName();
        if (name && std::strcmp(name, by_layer ? "BYLAYER" : "BYBLOCK") == 0)
            return record->RecordHandle();
    }
    return kept;
}

// The drawing's own variables, the current handle seed among them. The section starts with
// the flags and the tree depth stands where they put it, so a reader finds the variables at
// the first try whatever the flags hold. The place of the seed is noted as a reader finds
// it, for the next save, which copies this section.
bool CR13DwgSaver::EncodeHeader() {
    CR13Header &header = drawing.Header();
    const int16_t kept_treedepth = header.vars.treedepth;
    char *const kept_celtype = header.vars.hceltype;
    header.vars.treedepth = CR13Header::kTreedepth;
    header.vars.hceltype = const_cast<char *>(CurrentLineTypeHandle(kept_celtype));
    CBitWriter out;
    header.Write(out);
    header.vars.treedepth = kept_treedepth;
    header.vars.hceltype = kept_celtype;

    CR13Header found;
    CBitStream section(out.Data(), out.TellSize());
    if (!found.Read(section))
        return Fail(kHeader);
    header.seed_byte = found.seed_byte;
    header.seed_bit = found.seed_bit;

    const int32_t at = write_offset;
    const uint32_t size = static_cast<uint32_t>(out.TellSize());
    return Put(out.Data(), size) && PatchLong(R13FileHead::kHeaderAt, uint32_t(at)) &&
           PatchLong(R13FileHead::kHeaderSizeAt, size);
}

// ---- The classes ---------------------------------------------------------------------------

// The source's section, or an empty one: a reader never looks into it.
bool CR13DwgSaver::WriteClasses() {
    std::vector<uint8_t> section;
    if (source) {
        const int32_t at = static_cast<int32_t>(SourceLong(R13FileHead::kClassesAt));
        const uint32_t size = SourceLong(R13FileHead::kClassesSizeAt);
        section.resize(size <= source->Length() ? size : 0);
        if (!section.empty() && !ReadSource(at, section.data(), size))
            return Fail(kHeader);
    }
    const int32_t start = write_offset;
    if (!PatchLong(R13FileHead::kClassesAt, uint32_t(start)) ||
        !PatchLong(R13FileHead::kClassesSizeAt, uint32_t(section.size())))
        return false;
    return Put(section.data(), static_cast<uint32_t>(section.size()));
}

// ---- Behind the object map -----------------------------------------------------------------

// A source with a fourth record: its trailing section, pointing at the new object area.
bool CR13DwgSaver::RewriteTrailing() {
    uint8_t count = 0;
    if (!source || !ReadSource(R13FileHead::kRecordCountAt, &count, 1) ||
        count == R13FileHead::kPlainRecordCount)
        return true;
    const int32_t at = static_cast<int32_t>(SourceLong(R13FileHead::kTrailingAt));
    const uint32_t size = SourceLong(R13FileHead::kTrailingSizeAt) & 0xFFFFu;
    if (size < R13FileHead::kObjectsStartAt + 4 || size > source->Length())
        return true;
    std::vector<uint8_t> section(size);
    if (!ReadSource(at, section.data(), size))
        return true;
    for (int k = 0; k < 4; ++k)
        section[R13FileHead::kObjectsStartAt + k] = uint8_t(uint32_t(objects_start) >> (8 * k));
    const int32_t start = write_offset;
    return Put(section.data(), size) && PatchLong(R13FileHead::kTrailingAt, uint32_t(start));
}

// The source's preview, its entries' offsets moved with it.
bool CR13DwgSaver::RewritePreview() {
    if (!source)
        return true;
    const int32_t at = static_cast<int32_t>(SourceLong(R13FileHead::kPreviewAt));
    if (at <= 0)
        return true;
    const uint32_t size = SourceLong(at + 16) + 36;
    if (size < 21 || size > source->Length())
        return true;
    std::vector<uint8_t> section(size);
    if (!ReadSource(at, section.data(), size))
        return true;
    const int32_t start = write_offset;
    const uint32_t shift = uint32_t(at) - uint32_t(start);
    const size_t count = section[20];
    for (size_t e = 0; e < count && 21 + 9 * e + 9 <= size; ++e) {
        uint8_t *field = section.data() + 21 + 9 * e + 1;
        uint32_t offset = uint32_t(field[0]) | uint32_t(field[1]) << 8 | uint32_t(field[2]) << 16 |
                          uint32_t(field[3]) << 24;
        offset -= shift;
        for (int k = 0; k < 4; ++k)
            field[k] = uint8_t(offset >> (8 * k));
    }
    return Put(section.data(), size) && PatchLong(R13FileHead::kPreviewAt, uint32_t(start));
}
