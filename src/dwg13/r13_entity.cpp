// The common head and handle trailer of release 13 entities.
#include "dwg13/r13_entity.h"

#include "dwg13/r13_drawing.h"
#include "dwg13/r13_fields.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/record_field.h"
#include "records/entity_kinds.h"
#include "records/handle_text.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

// The markers of an extended data chunk: the code 5 of an application handle in the high
// nibble, its byte count (1 to 8) in the low one.
constexpr uint8_t kFirstEedMarker = 0x51;
constexpr uint8_t kLastEedMarker = 0x58;
// eed_size counts in 16 bits: a block must stay below this.
constexpr uint32_t kEedLimit = 0x10000;

bool IsEedMarker(uint8_t byte) {
    return byte >= kFirstEedMarker && byte <= kLastEedMarker;
}

// The bytes that the value with code byte `code` at `values` takes behind its code, or -1
// for a code that has no value. Strings count their length byte and code page.
int EedValueLength(uint8_t code, const uint8_t *values, size_t remaining) {
    switch (code) {
    case 0:
        return remaining >= 1 ? 3 + values[0] : -1;
    case 2:
        return 1;
    case 3:
    case 5:
        return 8;
    case 4:
        return remaining >= 1 ? 1 + values[0] : -1;
    case 10:
    case 11:
    case 12:
    case 13:
        return 24;
    case 40:
    case 41:
    case 42:
        return 8;
    case 70:
        return 2;
    case 71:
        return 4;
    default:
        return -1;
    }
}

// The number of a handle text, 0 for a null text.
int64_t HandleNumber(const char *text) {
    return text ? static_cast<int64_t>(HandleTextToValue(text, 32)) : 0;
}

// The value of a link written into a 32-byte text in base 16.
void LinkText(uint32_t value, char text[32]) {
    const std::string hex = R13HandleText(value);
    std::strncpy(text, hex.c_str(), 31);
    text[31] = '\0';
}

} // namespace

// ---- Construction -------------------------------------------------------------------------

CR13Entity::CR13Entity(CR13Drawing *owner, int16_t kind)
    : CModelEntity(kind), drawing(owner), file_type(0) {}

CR13Entity::~CR13Entity() {
    if (handed_over) {
        record = nullptr; // the application's now, with what it points at
        return;
    }
    ReleaseOwned();
}

CDB_ENTITY *CR13Entity::HandOver() {
    CDB_ENTITY *out = GetResolvedRecord();
    handed_over = true;
    return out;
}

void CR13Entity::ReleaseOwned() {
    if (!record)
        return;
    std::free(record->handle);
    std::free(record->layer_handle);
    std::free(record->line_type_handle);
    std::free(record->eed_data);
    record->handle = record->layer_handle = record->line_type_handle = nullptr;
    record->eed_data = nullptr;
    record->eed_size = 0;
    if (const EntityKind *kind = FindEntityKind(code)) {
        FreeOwnedTexts(*kind, record);
        for (uint16_t offset : kind->handle_texts) {
            std::free(LoadField<char *>(record, offset));
            StoreField<char *>(record, offset, nullptr);
        }
    }
}

// ---- Reading ------------------------------------------------------------------------------

int CR13Entity::ReadDWG(CBitStream &stream) {
    if (!record || ReadCommon(stream) != 1)
        return 0;
    if (!ReadBody(stream))
        return 0;
    ReadCommonHandles(stream);
    ReadKindHandles(stream);
    record->entity_type = code;
    return 1;
}

int CR13Entity::ReadCommon(CBitStream &stream) {
    stream.ReadModularSize();
    file_type = static_cast<int16_t>(stream.ReadBitShort());
    record->entity_type = file_type;
    stream.ReadBits(4);
    std::free(record->handle);
    record->handle = stream.ReadHandleText();
    if (ReadEed(stream) != 0)
        return CDB_FAIL;
    record->object_bits = stream.ReadRawLong();
    record->has_graphic = static_cast<uint32_t>(stream.ReadBit());
    record->mode_model = static_cast<uint32_t>(stream.ReadBit());
    record->has_owner = record->mode_model;
    record->space = static_cast<int16_t>(stream.ReadBit());
    record->mode_paper = static_cast<uint32_t>(record->space);
    if (record->space == 1 && drawing)
        drawing->MarkPaperSpace();
    // Where a count of reactors would stand: carried, not interpreted.
    record->reserved_bit_1 = static_cast<uint32_t>(stream.ReadBit());
    record->reserved_bit_2 = static_cast<uint32_t>(stream.ReadBit());
    reactor_code = -1;
    reactor_count = 0;
    reactors.clear();
    if (drawing && drawing->ReadsTolerantly(CDB_READ_OBJECT_HEADS))
        ReadReactorCount(stream);
    record->line_type_bylayer = static_cast<uint32_t>(stream.ReadBit());
    record->no_links = stream.ReadBit() == 1 ? 1u : 0u;
    record->has_owner = record->mode_model == 0 && record->space == 0 ? 1u : 0u;
    block_owned = static_cast<int32_t>(record->has_owner);
    record->color = static_cast<int16_t>(stream.ReadBitShort());
    record->line_type_scale = stream.ReadBitDouble();
    record->invisibility = static_cast<uint16_t>(stream.ReadBitShort());
    record->extrusion = {0.0, 0.0, 1.0};
    return 1;
}

void CR13Entity::ReadReactorCount(CBitStream &stream) {
    // Writers give a count of reactors its shortest form: 0 as the code 2 (which the
    // original reading gives too), up to 255 as the code 1 and one byte. The code 1 with a
    // count of at least 1 is taken; any other pair of bits stays two bits, as the original
    // reader takes them (the original writer leaves 0 0 there in new objects, with no count
    // behind).
    if (record->reserved_bit_1 != 0 || record->reserved_bit_2 != 1)
        return;
    CBitStream probe = stream;
    const uint32_t count = probe.ReadByte();
    // A handle takes at least one byte.
    const int64_t bytes_left = int64_t(probe.Size()) - probe.TellByte();
    if (count == 0 || int64_t(count) > bytes_left)
        return;
    stream = probe;
    reactor_code = 1;
    reactor_count = count;
    record->reserved_bit_1 = 1;
    record->reserved_bit_2 = 0;
    if (drawing)
        drawing->NoteTolerantRead(CDB_READ_OBJECT_HEADS);
}

int CR13Entity::ReadEed(CBitStream &stream) {
    bool first = true;
    for (;;) {
        int32_t size = stream.ReadBitShort();
        if (size < 1)
            return 0;
        if (first) {
            std::free(record->eed_data);
            record->eed_data = nullptr;
            record->eed_size = 0;
            first = false;
        }
        uint8_t marker = stream.ReadByte();
        if (!IsEedMarker(marker))
            return CDB_FAIL;
        const uint32_t handle_bytes = marker - 0x50u;
        const uint32_t chunk = 1 + handle_bytes + static_cast<uint32_t>(size);
        const uint32_t total = record->eed_size + chunk;
        // A chunk longer than what is left of the object is damaged data; so is a block
        // that its 16-bit size could not count.
        const int64_t left = int64_t(stream.Size()) - stream.TellByte();
        if (total >= kEedLimit || int64_t(chunk) > left + 1)
            return CDB_FAIL;
        auto *grown = static_cast<uint8_t *>(std::realloc(record->eed_data, total));
        if (!grown)
            return CDB_FAIL;
        record->eed_data = grown;
        uint8_t *at = grown + record->eed_size;
        *at++ = marker;
        for (uint32_t i = 1; i < chunk; ++i)
            *at++ = stream.ReadByte();
        record->eed_size = static_cast<uint16_t>(total);
    }
}

void CR13Entity::ReadCommonHandles(CBitStream &stream) {
    if (record->has_owner)
        stream.ReadHandle(record->owner);
    else
        record->owner.value = 0;
    reactors.resize(reactor_count);
    for (CHandleRef &reactor : reactors)
        stream.ReadHandle(reactor);
    reactor_count = 0;
    stream.ReadHandle(record->dictionary);
    stream.ReadBits(4);
    std::free(record->layer_handle);
    record->layer_handle = stream.ReadHandleText();
    std::free(record->line_type_handle);
    if (record->line_type_bylayer == 0) {
        stream.ReadBits(4);
        record->line_type_handle = stream.ReadHandleText();
    } else {
        record->line_type_handle = DuplicateText("-1");
    }
    if (record->no_links == 0) {
        stream.ReadHandle(record->previous);
        stream.ReadHandle(record->next);
        LinkText(record->previous.value, previous_text);
        LinkText(record->next.value, next_text);
    }
}

// ---- Writing ------------------------------------------------------------------------------

void CR13Entity::WriteDWG(CBitWriter &writer) const {
    writer.WriteByte(0);
    writer.WriteByte(0);
    writer.WriteBitShort(file_type);
    WriteCommon(writer);
    if (!WriteDataAsRead(writer)) {
        WriteBody(writer);
        WriteCommonHandles(writer);
        WriteKindHandles(writer);
    }
    writer.Align();
    writer.WriteRawShort(0xFFFF);
    writer.PatchShort(static_cast<uint16_t>(writer.TellSize() - 4), 0);
}

void CR13Entity::WriteCommon(CBitWriter &writer) const {
    writer.WriteBits(0, 4);
    writer.WriteHandleText(record->handle);
    WriteEed(writer);
    writer.WriteRawLong(record->object_bits);
    writer.WriteBit(record->has_graphic != 0);
    writer.WriteBit(record->mode_model != 0);
    writer.WriteBit(record->mode_paper != 0);
    if (reactor_code == 1) {
        // The reactors read on the tolerant road go back in the form they came in.
        writer.WriteBit(false);
        writer.WriteBit(true);
        writer.WriteByte(static_cast<uint8_t>(reactors.size()));
    } else {
        writer.WriteBit(record->reserved_bit_1 != 0);
        writer.WriteBit(record->reserved_bit_2 != 0);
    }
    writer.WriteBit(record->line_type_bylayer != 0);
    writer.WriteBit(record->no_links != 0);
    writer.WriteBitShort(record->color);
    writer.WriteBitDouble(record->line_type_scale);
    writer.WriteBitShort(record->invisibility);
}

void CR13Entity::WriteEed(CBitWriter &writer) const {
    const uint8_t *data = record->eed_data;
    const size_t size = data ? record->eed_size : 0;
    size_t at = 0;
    while (at < size && IsEedMarker(data[at])) {
        const size_t start = at;
        const size_t handle_bytes = data[at] - 0x50u;
        at += 1 + handle_bytes;
        // The values run to the next marker or the end; a code without a value ends them.
        while (at < size && !IsEedMarker(data[at])) {
            int length = EedValueLength(data[at], data + at + 1, size - at - 1);
            if (length < 0) {
                at = size;
                break;
            }
            at += 1 + static_cast<size_t>(length);
        }
        if (at > size)
            at = size;
        if (at - start <= 1 + handle_bytes)
            break;
        writer.WriteBitShort(static_cast<int32_t>(at - start - handle_bytes - 1));
        writer.WriteRawBytes(data + start, at - start);
    }
    writer.WriteBitShort(0);
}

void CR13Entity::WriteCommonHandles(CBitWriter &writer) const {
    if (record->has_owner)
        writer.WriteHandle(record->owner);
    for (const CHandleRef &reactor : reactors)
        writer.WriteHandle(reactor);
    writer.WriteHandle(record->dictionary);
    writer.WriteBits(5, 4);
    writer.WriteHandleText(record->layer_handle);
    if (!record->line_type_bylayer) {
        writer.WriteBits(5, 4);
        writer.WriteHandleText(record->line_type_handle);
    }
    if (!record->no_links) {
        writer.WriteHandle(record->previous);
        writer.WriteHandle(record->next);
    }
}

// ---- The size in bits ---------------------------------------------------------------------

uint32_t CR13Entity::EstimateBits() const {
    uint32_t bits =
        KindBits() + R13DoubleBits(record->line_type_scale) + R13HandleTextBits(record->handle);
    if (record->color != 0 && record->color != -1)
        bits += 8;
    if (record->eed_size != 0)
        bits += 10 + 8u * record->eed_size;
    return EncodeObjectBits(bits);
}

uint32_t CR13Entity::EncodeObjectBits(uint32_t bits) {
    uint32_t v = 0x8024 + bits / 2;
    if (v == 0x8080)
        v = 0x8100;
    if (v > 0x8080) {
        const uint32_t d = v - 0x8080;
        const uint32_t k = d / 128;
        const uint32_t m = k == 0 ? 0 : (k - 1) / 2 + 1;
        v = (k % 2 == 0) ? (d % 128) + (m + 0x8080) * 256 : (d % 128) + (m + 0x80) * 256;
    }
    return v;
}

void CR13Entity::MakeRelativeRef(const char *from, const char *to, CHandleRef &ref) {
    const int64_t f = HandleNumber(from);
    const int64_t t = HandleNumber(to);
    const int64_t d = f - t;
    const int64_t magnitude = d < 0 ? -d : d;
    if (d == 0)
        return;
    if (d == -1) {
        ref.code = 6;
        ref.value = 0;
    } else if (d == 1) {
        ref.code = 8;
        ref.value = 0;
    } else if (t < magnitude) {
        ref.code = 4;
        ref.value = static_cast<uint32_t>(t);
    } else if (d < 0) {
        ref.code = 10;
        ref.value = static_cast<uint32_t>(t - f);
    } else {
        ref.code = 12;
        ref.value = static_cast<uint32_t>(f - t);
    }
}

// ---- Records ------------------------------------------------------------------------------

CDB_ENTITY *CR13Entity::GetResolvedRecord() {
    if (!record || resolved || !drawing)
        return record;
    resolved = 1;
    // "0" is BYBLOCK. "-1" (BYLAYER) takes the base like an index, without a lookup, as
    // does a handle that the line type table does not know.
    const int32_t ltype_base = drawing->Base(TableBase::kLtypes);
    const char *line_type = record->line_type_handle;
    if (line_type && std::strcmp(line_type, "0") == 0)
        record->line_type_index = 0;
    else if (line_type && std::strcmp(line_type, "-1") == 0)
        record->line_type_index = static_cast<int16_t>(-1 + ltype_base);
    else
        record->line_type_index = static_cast<int16_t>(
            drawing->IndexOfHandle(TableBase::kLtypes, line_type) + ltype_base);
    record->layer_index =
        static_cast<int16_t>(drawing->IndexOfHandle(TableBase::kLayers, record->layer_handle) +
                             drawing->Base(TableBase::kLayers));
    ResolveKind();
    return record;
}

void CR13Entity::GetRecord(CDB_ENTITY *out) {
    if (!out || !record)
        return;
    GetResolvedRecord();
    std::memcpy(static_cast<void *>(out), record, sizeof(CDB_ENTITY));
    if (drawing && drawing->ViewFlag())
        return;
    // List mode: the caller gets texts of its own.
    for (uint16_t offset : OwnedTextsOf(code))
        StoreField<char *>(out, offset, DuplicateText(LoadField<char *>(record, offset)));
}

void CR13Entity::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record)
        return;
    ReleaseOwned();
    std::memcpy(static_cast<void *>(record), in, sizeof(CDB_ENTITY));
    record->entity_type = code;
    record->handle = DuplicateText(in->handle);
    record->layer_handle = DuplicateText(in->layer_handle);
    record->line_type_handle = DuplicateText(in->line_type_handle);
    record->eed_data = nullptr;
    record->eed_size = 0;
    if (in->eed_data && in->eed_size) {
        record->eed_data = static_cast<uint8_t *>(std::malloc(in->eed_size));
        if (record->eed_data) {
            std::memcpy(record->eed_data, in->eed_data, in->eed_size);
            record->eed_size = in->eed_size;
        }
    }
    if (const EntityKind *kind = FindEntityKind(code)) {
        for (uint16_t offset : kind->owned_texts)
            StoreField<char *>(record, offset, DuplicateText(LoadField<char *>(in, offset)));
        for (uint16_t offset : kind->handle_texts)
            StoreField<char *>(record, offset, DuplicateText(LoadField<char *>(in, offset)));
    }
    resolved = 0;
}

// ---- Bits kept as read ---------------------------------------------------------------------

void CR13KeptBits::Take(CBitStream stream) {
    Clear();
    // The object's data ends in front of its two check bytes.
    const int64_t end = (int64_t(stream.Size()) - 2) * 8;
    int64_t at = int64_t(stream.TellByte()) * 8 + stream.TellBit();
    if (at >= end)
        return;
    bytes.assign(static_cast<size_t>((end - at + 7) / 8), 0);
    for (; at < end; ++at, ++count)
        if (stream.ReadBit())
            bytes[count / 8] = static_cast<uint8_t>(bytes[count / 8] | (0x80u >> (count % 8)));
}

void CR13KeptBits::Put(CBitWriter &writer) const {
    for (uint32_t i = 0; i < count; ++i)
        writer.WriteBit((bytes[i / 8] << (i % 8)) & 0x80);
}

// ---- The plain kinds ----------------------------------------------------------------------

CR13PlainEntity::CR13PlainEntity(CR13Drawing *owner, int16_t kind, int16_t type, uint32_t constant)
    : CR13Entity(owner, kind), constant_bits(constant) {
    file_type = type;
}
