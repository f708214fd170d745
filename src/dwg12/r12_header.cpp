#include "dwg12/r12_header.h"

#include "io/byte_order.h"
#include "io/record_field.h"
#include "records/handle_text.h"
#include "records/header_vars.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>

namespace {

using K = R12Kind;

#define HV(field) static_cast<uint16_t>(offsetof(CDB_HEADER_type, field))

// One header field: file offset, kind, variable, bytes in the file.
constexpr R12Field F(uint16_t at, R12Kind kind, uint16_t field, uint16_t size) {
    return R12Field{at, kind, field, size, 0};
}
// A text field with the size of the block that the record points at.
constexpr R12Field T(uint16_t at, R12Kind kind, uint16_t field, uint16_t size, size_t block) {
    return R12Field{at, kind, field, size, static_cast<uint16_t>(block)};
}

// The header block, in file order. Gaps are the bytes this reader does not use: the
// section copies at 0x14 to 0x2B, the descriptor copies (the first five are kept raw in
// `descriptor_copies`), and bytes of unknown meaning, which the writer leaves zero.
constexpr R12Field kHeaderLayout[] = {
    T(0x0000, K::kFixedText, HV(acadver), 6, kHeaderAcadverSize),
    F(0x005E, K::kReal, HV(insbase), 24),
    F(0x0076, K::kI16, HV(plinegen), 2),
    F(0x0078, K::kReal, HV(extmin), 24),
    F(0x0090, K::kReal, HV(extmax), 24),
    F(0x00A8, K::kReal, HV(limmin), 16),
    F(0x00B8, K::kReal, HV(limmax), 16),
    F(0x00C8, K::kReal, HV(viewctr), 16),
    F(0x00E0, K::kReal, HV(viewsize), 8),
    F(0x00E8, K::kI16, HV(snapmode), 2),
    F(0x00EA, K::kReal, HV(snapunit), 16),
    F(0x00FA, K::kReal, HV(snapbase), 16),
    F(0x010A, K::kReal, HV(snapang), 8),
    F(0x0112, K::kI16, HV(snapstyle), 2),
    F(0x0114, K::kI16, HV(snapisopair), 2),
    F(0x0116, K::kI16, HV(gridmode), 2),
    F(0x0118, K::kReal, HV(gridunit), 16),
    F(0x0128, K::kI16, HV(orthomode), 2),
    F(0x012A, K::kI16, HV(regenmode), 2),
    F(0x012C, K::kI16, HV(fillmode), 2),
    F(0x012E, K::kI16, HV(qtextmode), 2),
    F(0x0130, K::kI16, HV(dragmode), 2),
    F(0x0132, K::kReal, HV(ltscale), 8),
    F(0x013A, K::kReal, HV(textsize), 8),
    F(0x0142, K::kReal, HV(tracewid), 8),
    F(0x014A, K::kI16, HV(clayer), 2),
    F(0x0156, K::kI16, HV(psltscale), 2),
    F(0x0158, K::kTreedepth, HV(treedepth), 2),
    F(0x0164, K::kI16, HV(lunits), 2),
    F(0x0166, K::kI16, HV(luprec), 2),
    F(0x0168, K::kI16, HV(axismode), 2),
    F(0x016A, K::kReal, HV(axisunit), 16),
    F(0x017A, K::kReal, HV(sketchinc), 8),
    F(0x0182, K::kReal, HV(filletrad), 8),
    F(0x018A, K::kI16, HV(aunits), 2),
    F(0x018C, K::kI16, HV(auprec), 2),
    F(0x018E, K::kI16, HV(textstyle), 2),
    F(0x0190, K::kI16, HV(osmode), 2),
    F(0x0192, K::kI16, HV(attmode), 2),
    T(0x0194, K::kMenuHead, HV(menu), 15, kHeaderMenuSize),
    F(0x01A3, K::kReal, HV(dimscale), 8),
    F(0x01AB, K::kReal, HV(dimasz), 8),
    F(0x01B3, K::kReal, HV(dimexo), 8),
    F(0x01BB, K::kReal, HV(dimdli), 8),
    F(0x01C3, K::kReal, HV(dimexe), 8),
    F(0x01CB, K::kReal, HV(dimtp), 8),
    F(0x01D3, K::kReal, HV(dimtm), 8),
    F(0x01DB, K::kReal, HV(dimtxt), 8),
    F(0x01E3, K::kReal, HV(dimcen), 8),
    F(0x01EB, K::kReal, HV(dimtsz), 8),
    F(0x01F3, K::kI8, HV(dimtol), 1),
    F(0x01F4, K::kI8, HV(dimlim), 1),
    F(0x01F5, K::kI8, HV(dimtih), 1),
    F(0x01F6, K::kI8, HV(dimtoh), 1),
    F(0x01F7, K::kI8, HV(dimse1), 1),
    F(0x01F8, K::kI8, HV(dimse2), 1),
    F(0x01F9, K::kI8, HV(dimtad), 1),
    F(0x01FA, K::kI16, HV(limcheck), 2),
    T(0x01FC, K::kMenuTail, HV(menu), 45, kHeaderMenuSize),
    F(0x0229, K::kReal, HV(elevation), 8),
    F(0x0231, K::kReal, HV(thickness), 8),
    F(0x0239, K::kReal, HV(viewdir), 24),
    F(0x02E3, K::kI16, HV(blipmode), 2),
    F(0x02E5, K::kI8, HV(dimzin), 1),
    F(0x02E6, K::kReal, HV(dimrnd), 8),
    F(0x02EE, K::kReal, HV(dimdle), 8),
    T(0x02F6, K::kFixedText, HV(dimblk), 33, kHeaderDimblkSize),
    F(0x0319, K::kI16, HV(coords), 2),
    F(0x031B, K::kI16, HV(cecolor), 2),
    F(0x031D, K::kCeltype, HV(celtype), 2),
    F(0x031F, K::kReal, HV(tdcreate), 8),
    F(0x0327, K::kReal, HV(tdupdate), 8),
    F(0x032F, K::kReal, HV(tdindwg), 8),
    F(0x0337, K::kReal, HV(tdusrtimer), 8),
    F(0x033F, K::kI16, HV(usrtimer), 2),
    F(0x0341, K::kI16, HV(fastzoom), 2),
    F(0x0343, K::kI16, HV(skpoly), 2),
    F(0x0353, K::kReal, HV(angbase), 8),
    F(0x035B, K::kI16, HV(angdir), 2),
    F(0x035D, K::kI16, HV(pdmode), 2),
    F(0x035F, K::kReal, HV(pdsize), 8),
    F(0x0367, K::kReal, HV(plinewid), 8),
    F(0x036F, K::kI16, HV(userivar1), 2),
    F(0x0371, K::kI16, HV(userivar2), 2),
    F(0x0373, K::kI16, HV(userivar3), 2),
    F(0x0375, K::kI16, HV(userivar4), 2),
    F(0x0377, K::kI16, HV(userivar5), 2),
    F(0x0379, K::kReal, HV(userrvar1), 8),
    F(0x0381, K::kReal, HV(userrvar2), 8),
    F(0x0389, K::kReal, HV(userrvar3), 8),
    F(0x0391, K::kReal, HV(userrvar4), 8),
    F(0x0399, K::kReal, HV(userrvar5), 8),
    F(0x03A1, K::kI8, HV(dimalt), 1),
    F(0x03A2, K::kI8, HV(dimaltd), 1),
    F(0x03A3, K::kI8, HV(dimaso), 1),
    F(0x03A4, K::kI8, HV(dimsho), 1),
    T(0x03A5, K::kFixedText, HV(dimpost), 16, kHeaderDimpostSize),
    T(0x03B5, K::kFixedText, HV(dimapost), 16, kHeaderDimapostSize),
    F(0x03C5, K::kReal, HV(dimaltf), 8),
    F(0x03CD, K::kReal, HV(dimlfac), 8),
    F(0x03D5, K::kI16, HV(splinesegs), 2),
    F(0x03D7, K::kI16, HV(splframe), 2),
    F(0x03D9, K::kI16, HV(attreq), 2),
    F(0x03DB, K::kI16, HV(attdia), 2),
    F(0x03DD, K::kReal, HV(chamfera), 8),
    F(0x03E5, K::kReal, HV(chamferb), 8),
    F(0x03ED, K::kI16, HV(mirrtext), 2),
    T(0x03F9, K::kCodePage, HV(dwgcodepage), 2, kHeaderCodePageSize),
    F(0x03FB, K::kReal, HV(ucsorg), 24),
    F(0x0413, K::kReal, HV(ucsxdir), 24),
    F(0x042B, K::kReal, HV(ucsydir), 24),
    F(0x047D, K::kI8, HV(dimtofl), 1),
    T(0x047E, K::kFixedText, HV(dimblk1), 33, kHeaderDimblkSize),
    T(0x049F, K::kFixedText, HV(dimblk2), 33, kHeaderDimblkSize),
    F(0x04C0, K::kI8, HV(dimsah), 1),
    F(0x04C1, K::kI8, HV(dimtix), 1),
    F(0x04C2, K::kI8, HV(dimsoxd), 1),
    F(0x04C3, K::kReal, HV(dimtvp), 8),
    F(0x04EC, K::kI16, HV(handling), 2),
    T(0x04EE, K::kHandseed, HV(handseed), 8, kHeaderHandseedSize),
    F(0x04F6, K::kI16, HV(surfu), 2),
    F(0x04F8, K::kI16, HV(surfv), 2),
    F(0x04FA, K::kI16, HV(surftype), 2),
    F(0x04FC, K::kI16, HV(surftab1), 2),
    F(0x04FE, K::kI16, HV(surftab2), 2),
    F(0x050A, K::kI16, HV(flatland), 2),
    F(0x050C, K::kI16, HV(splinetype), 2),
    F(0x0510, K::kI16, HV(ucsname), 2),
    F(0x051C, K::kI16, HV(worldview), 2),
    F(0x052C, K::kI16, HV(dimstyle), 2),
    F(0x0531, K::kI16, HV(dimclrd), 2),
    F(0x0533, K::kI16, HV(dimclre), 2),
    F(0x0535, K::kI16, HV(dimclrt), 2),
    F(0x0537, K::kI16, HV(shadedge), 2),
    F(0x0539, K::kI16, HV(shadedif), 2),
    F(0x053D, K::kI16, HV(unitmode), 2),
    F(0x05DF, K::kReal, HV(dimtfac), 8),
    F(0x05E7, K::kReal, HV(pucsorg), 24),
    F(0x05FF, K::kReal, HV(pucsxdir), 24),
    F(0x0617, K::kReal, HV(pucsydir), 24),
    F(0x062F, K::kI16, HV(pucsname), 2),
    F(0x0631, K::kI16, HV(tilemode), 2),
    F(0x0633, K::kI16, HV(plimcheck), 2),
    F(0x0635, K::kI16, HV(cvport), 2),
    F(0x0637, K::kReal, HV(pextmin), 24),
    F(0x064F, K::kReal, HV(pextmax), 24),
    F(0x0667, K::kReal, HV(plimmin), 16),
    F(0x0677, K::kReal, HV(plimmax), 16),
    F(0x0687, K::kReal, HV(pinsbase), 24),
    F(0x06A9, K::kI16, HV(maxactvp), 2),
    F(0x06AB, K::kReal, HV(dimgap), 8),
    F(0x06B3, K::kReal, HV(pelevation), 8),
    F(0x06BB, K::kI16, HV(visretain), 2),
};

#undef HV

constexpr size_t kHeaderFieldCount = sizeof(kHeaderLayout) / sizeof(kHeaderLayout[0]);

// Every field lies before the CRC, in rising order without overlap, and every text fits
// its block (a block keeps one byte for the terminator; menu's two parts share one).
constexpr bool HeaderLayoutIsSound() {
    uint32_t end = 0;
    for (size_t i = 0; i < kHeaderFieldCount; ++i) {
        const R12Field &f = kHeaderLayout[i];
        if (f.file_offset < end || f.size == 0)
            return false;
        end = uint32_t(f.file_offset) + f.size;
        if (end > CR12Header::kCrcAt)
            return false;
        if (size_t(f.field_offset) + 2 > sizeof(CDB_HEADER_type))
            return false;
        switch (f.kind) {
        case R12Kind::kFixedText:
            if (f.capacity == 0)
                return false;
            break;
        case R12Kind::kMenuHead:
            if (f.size != CR12Header::kMenuHeadLength || f.capacity != kHeaderMenuSize)
                return false;
            break;
        case R12Kind::kMenuTail:
            if (size_t(f.size) + CR12Header::kMenuHeadLength != kHeaderMenuSize)
                return false;
            break;
        case R12Kind::kReal:
            if (f.size % 8 != 0 || size_t(f.field_offset) + f.size > sizeof(CDB_HEADER_type))
                return false;
            break;
        default:
            break;
        }
    }
    return true;
}
static_assert(HeaderLayoutIsSound(), "the header layout is out of order or out of bounds");
static_assert(CR12Header::kDescriptorCopiesAt + CR12Header::kDescriptorCopiesSize == 0x5E,
              "the descriptor copies end where insbase begins");

// The record's text field at `offset`: the pointer stored there (the record is packed, so
// the pointer may be unaligned).
char *TextField(const CDB_HEADER_type &vars, uint16_t offset) {
    return LoadField<char *>(&vars, offset);
}

// Copies at most `count` bytes, stopping at a zero byte, into `dest[0 .. room)`, and keeps
// `dest` terminated within `room`.
void CopyBoundedText(char *dest, size_t room, const uint8_t *src, size_t count) {
    if (!dest || room == 0)
        return;
    size_t n = 0;
    while (n < count && n + 1 < room && src[n] != 0) {
        dest[n] = static_cast<char>(src[n]);
        ++n;
    }
    dest[n] = 0;
}

// The length of `text`, counted no further than `limit` bytes.
size_t BoundedLength(const char *text, size_t limit) {
    size_t n = 0;
    while (n < limit && text[n] != 0)
        ++n;
    return n;
}

// Writes the text at `text` (null is empty) into `dest[0 .. size)`: at most `size`
// characters, the rest zero. The text is read no further than `size` bytes.
void PutBoundedText(uint8_t *dest, size_t size, const char *text) {
    const size_t n = text ? BoundedLength(text, size) : 0;
    if (n > 0)
        std::memcpy(dest, text, n);
    if (n < size)
        std::memset(dest + n, 0, size - n);
}

} // namespace

bool R12DecodePlainField(const R12Field &field, const uint8_t *block, size_t block_size,
                         void *record) {
    if (size_t(field.file_offset) + field.size > block_size)
        return false;
    const size_t at = field.file_offset;
    const size_t to = field.field_offset;
    switch (field.kind) {
    case R12Kind::kI16: {
        int16_t v = 0;
        ReadValueAt(block, block_size, at, v);
        StoreField(record, to, v);
        return true;
    }
    case R12Kind::kI8: {
        int8_t v = 0;
        ReadValueAt(block, block_size, at, v);
        StoreField(record, to, int16_t(v));
        return true;
    }
    case R12Kind::kU8: {
        uint8_t v = 0;
        ReadValueAt(block, block_size, at, v);
        StoreField(record, to, int16_t(v));
        return true;
    }
    case R12Kind::kByte: {
        uint8_t v = 0;
        ReadValueAt(block, block_size, at, v);
        StoreField(record, to, v);
        return true;
    }
    case R12Kind::kReal:
        for (size_t i = 0; i + 8 <= field.size; i += 8) {
            double v = 0.0;
            ReadValueAt(block, block_size, at + i, v);
            StoreField(record, to + i, v);
        }
        return true;
    case R12Kind::kAngle: {
        double v = 0.0;
        ReadValueAt(block, block_size, at, v);
        StoreField(record, to, RadiansToDegrees(v));
        return true;
    }
    case R12Kind::kU24: {
        uint32_t v = 0;
        ReadValueAt(block, block_size, at, v);
        StoreField(record, to, v & 0x00FFFFFFu);
        return true;
    }
    default:
        return false;
    }
}

double R12AngleToFile(double degrees) {
    const double radians = DegreesToRadians(degrees);
    if (!std::isfinite(radians) || RadiansToDegrees(radians) == degrees)
        return radians;
    // The conversion to degrees never falls as its argument rises, so a double that maps
    // back onto `degrees` lies on the side that the first miss points to, a few steps away.
    const bool upward = RadiansToDegrees(radians) < degrees;
    const double toward = upward ? HUGE_VAL : -HUGE_VAL;
    double candidate = radians;
    for (int step = 0; step < 8; ++step) {
        candidate = std::nextafter(candidate, toward);
        const double back = RadiansToDegrees(candidate);
        if (back == degrees)
            return candidate;
        if (upward ? back > degrees : back < degrees)
            break;
    }
    return radians;
}

bool R12EncodePlainField(const R12Field &field, const void *record, uint8_t *block,
                         size_t block_size) {
    if (!record || !block || size_t(field.file_offset) + field.size > block_size)
        return false;
    const size_t at = field.file_offset;
    const size_t from = field.field_offset;
    switch (field.kind) {
    case R12Kind::kI16:
        WriteValueAt(block, block_size, at, LoadField<int16_t>(record, from));
        return true;
    case R12Kind::kI8:
    case R12Kind::kU8:
        // The low byte: the reader widens it back, signed or unsigned by the kind.
        WriteValueAt(
            block, block_size, at,
            static_cast<uint8_t>(static_cast<uint16_t>(LoadField<int16_t>(record, from)) & 0xFF));
        return true;
    case R12Kind::kByte:
        WriteValueAt(block, block_size, at, LoadField<uint8_t>(record, from));
        return true;
    case R12Kind::kReal:
        for (size_t i = 0; i + 8 <= field.size; i += 8)
            WriteValueAt(block, block_size, at + i, LoadField<double>(record, from + i));
        return true;
    case R12Kind::kAngle:
        WriteValueAt(block, block_size, at, R12AngleToFile(LoadField<double>(record, from)));
        return true;
    case R12Kind::kU24: {
        uint32_t flag = 0;
        ReadValueAt(block, block_size, at, flag);
        const uint32_t low = LoadField<uint32_t>(record, from) & 0x00FFFFFFu;
        WriteValueAt(block, block_size, at, (flag & 0xFF000000u) | low);
        return true;
    }
    default:
        return false;
    }
}

CR12Header::CR12Header() {
    Reset();
}

CR12Header::~CR12Header() = default;

void CR12Header::Reset() {
    std::memset(&vars, 0, sizeof(vars));
    texts_.Attach(vars);
}

R12Layout CR12Header::Layout() {
    return R12Layout{kHeaderLayout, kHeaderFieldCount};
}

void CR12Header::Decode(const uint8_t *block) {
    Reset();
    if (!block)
        return;
    std::memcpy(descriptor_copies, block + kDescriptorCopiesAt, kDescriptorCopiesSize);

    uint8_t *record = reinterpret_cast<uint8_t *>(&vars);
    for (size_t i = 0; i < kHeaderFieldCount; ++i) {
        const R12Field &f = kHeaderLayout[i];
        if (R12DecodePlainField(f, block, kBlockSize, record))
            continue;
        if (size_t(f.file_offset) + f.size > kBlockSize)
            continue;
        const uint8_t *src = block + f.file_offset;
        int16_t i16 = 0;
        ReadValueAt(block, kBlockSize, f.file_offset, i16); // celtype, treedepth, code page
        switch (f.kind) {
        case R12Kind::kCeltype:
            vars.celtype = R12CeltypeFromFile(i16);
            break;
        case R12Kind::kTreedepth:
            vars.treedepth = R12TreedepthFromFile(i16);
            break;
        case R12Kind::kFixedText:
            CopyBoundedText(TextField(vars, f.field_offset), f.capacity, src, f.size);
            break;
        case R12Kind::kMenuHead:
            // The head may fill all its 15 characters without a terminator.
            CopyBoundedText(vars.menu, kHeaderMenuSize, src, f.size);
            break;
        case R12Kind::kMenuTail:
            // Characters 15 and up stand at their own place in the text, so they count
            // only behind a head that filled all its 15 characters; the block keeps its
            // last byte for the terminator.
            if (std::strlen(vars.menu) == kMenuHeadLength)
                CopyBoundedText(vars.menu + kMenuHeadLength, kHeaderMenuSize - kMenuHeadLength, src,
                                f.size);
            break;
        case R12Kind::kHandseed: {
            std::string text = HandleBytesToText(src, f.size);
            size_t n =
                text.size() < kHeaderHandseedSize - 1 ? text.size() : kHeaderHandseedSize - 1;
            std::memcpy(vars.handseed, text.data(), n);
            vars.handseed[n] = 0;
            break;
        }
        case R12Kind::kCodePage: {
            if (CodePageText(i16, vars.dwgcodepage, kHeaderCodePageSize) != 1)
                std::memset(vars.dwgcodepage, 0, kHeaderCodePageSize);
            vars.dwgcodepage[kHeaderCodePageSize - 1] = 0;
            break;
        }
        default:
            break;
        }
    }
}

void CR12Header::Encode(uint8_t *block) const {
    if (!block)
        return;
    std::memcpy(block + kDescriptorCopiesAt, descriptor_copies, kDescriptorCopiesSize);

    const uint8_t *record = reinterpret_cast<const uint8_t *>(&vars);
    for (size_t i = 0; i < kHeaderFieldCount; ++i) {
        const R12Field &f = kHeaderLayout[i];
        if (R12EncodePlainField(f, record, block, kBlockSize))
            continue;
        if (size_t(f.file_offset) + f.size > kBlockSize)
            continue;
        uint8_t *dest = block + f.file_offset;
        switch (f.kind) {
        case R12Kind::kCeltype:
            WriteValueAt(block, kBlockSize, f.file_offset,
                         R12CeltypeToFile(LoadField<int16_t>(record, f.field_offset)));
            break;
        case R12Kind::kTreedepth:
            WriteValueAt(block, kBlockSize, f.file_offset,
                         R12TreedepthToFile(LoadField<int16_t>(record, f.field_offset)));
            break;
        case R12Kind::kFixedText:
            PutBoundedText(dest, f.size, TextField(vars, f.field_offset));
            break;
        case R12Kind::kMenuHead:
            PutBoundedText(dest, f.size, TextField(vars, f.field_offset));
            break;
        case R12Kind::kMenuTail: {
            // The reader takes the tail only behind a head of all its 15 characters.
            const char *menu = TextField(vars, f.field_offset);
            if (menu && BoundedLength(menu, kMenuHeadLength) == kMenuHeadLength)
                PutBoundedText(dest, f.size, menu + kMenuHeadLength);
            else
                PutBoundedText(dest, f.size, nullptr);
            break;
        }
        case R12Kind::kHandseed: {
            // Right-aligned, most significant byte first, as the reader turns them to text.
            const uint64_t value = HandleTextToValue(TextField(vars, f.field_offset), f.capacity);
            for (size_t b = 0; b < f.size; ++b) {
                const size_t shift = 8 * (f.size - 1 - b);
                dest[b] = shift < 64 ? static_cast<uint8_t>(value >> shift) : 0;
            }
            break;
        }
        case R12Kind::kCodePage: {
            // Compared in a bounded copy: the record's pointer need not be terminated
            // within its block.
            char text[kHeaderCodePageSize] = {};
            const char *source = TextField(vars, f.field_offset);
            if (source)
                std::memcpy(text, source, BoundedLength(source, kHeaderCodePageSize - 1));
            int16_t number = -1;
            if (CodePageNumber(text, number) != 1)
                number = -1;
            WriteValueAt(block, kBlockSize, f.file_offset, number);
            break;
        }
        default:
            break;
        }
    }
}
