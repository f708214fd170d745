// The parts every release 13 table object shares: the object frame of the writer, handle
// texts, the control object and the base of the record classes.
#include "dwg13/r13_tables.h"

#include "dwg13/r13_record_layout.h"

#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/record_field.h"
#include "model/base_drawing.h"
#include "records/handle_text.h"
#include "records/heap_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

void R13BeginObject(CBitWriter &writer, int16_t type) {
    writer.WriteByte(0);
    writer.WriteByte(0);
    writer.WriteBitShort(type);
}

void R13EndObject(CBitWriter &writer) {
    writer.Align();
    writer.WriteRawShort(0xFFFF);
    writer.PatchShort(static_cast<uint16_t>(writer.TellSize() - 4), 0);
}

uint32_t R13HandleValue(const char *text) {
    return text ? static_cast<uint32_t>(HandleTextToValue(text, std::strlen(text))) : 0u;
}

std::string R13HandleText(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%lX", static_cast<unsigned long>(value));
    return text;
}

char *R13NewHandleText(uint32_t value) {
    std::string text = R13HandleText(value);
    char *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy)
        std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

namespace {

// The fewest bits a handle reference takes: its code and a zero count.
constexpr int64_t kMinHandleBits = 8;

} // namespace

// ---- The control object ----------------------------------------------------------------

int CR13TableHead::Read(CBitStream &stream, int16_t record_type) {
    stream.Skip(2, 0);
    object_type = static_cast<int16_t>(stream.ReadBitShort());
    stream.ReadBits(4);
    char *text = stream.ReadHandleText();
    handle = text ? text : "";
    std::free(text);
    object_bits = stream.ReadRawLong();
    entry_code = static_cast<uint8_t>(stream.ReadBits(4));
    entry_count = static_cast<int16_t>(stream.ReadBitShort());
    stream.ReadHandle(first_ref);
    stream.ReadHandle(second_ref);
    entries.clear();
    // The line type table keeps its BYLAYER and BYBLOCK line types behind the entries.
    const int64_t extra = record_type == kR13Ltype ? 2 : 0;
    const int64_t count = int64_t(entry_count) + extra;
    if (entry_count < 0 || count * kMinHandleBits > R13BitsLeft(stream))
        return 0;
    entries.resize(static_cast<size_t>(count));
    for (CHandleRef &ref : entries)
        stream.ReadHandle(ref);
    if (record_type == kR13BlockHeader) {
        stream.ReadHandle(model_ref);
        stream.ReadHandle(paper_ref);
    }
    return 1;
}

void CR13TableHead::Write(CBitWriter &writer, int16_t record_type) const {
    R13BeginObject(writer, static_cast<int16_t>(record_type - 1));
    writer.WriteBits(0, 4);
    writer.WriteHandleText(handle.c_str());
    writer.WriteRawLong(object_bits);
    writer.WriteBits(entry_code, 4);
    writer.WriteBitShort(entry_count);
    writer.WriteHandle(first_ref);
    writer.WriteHandle(second_ref);
    for (const CHandleRef &ref : entries)
        writer.WriteHandle(ref);
    if (record_type == kR13BlockHeader) {
        writer.WriteHandle(model_ref);
        writer.WriteHandle(paper_ref);
    }
    R13EndObject(writer);
}

// ---- The tolerant road of a record's head ---------------------------------------------------

namespace {

// Copies the bits [from, to) of `stream`'s object into `writer`.
void CopyBits(CBitStream stream, int64_t from, int64_t to, CBitWriter &writer) {
    stream.Seek(static_cast<int32_t>(from / 8), static_cast<int32_t>(from % 8));
    for (int64_t bit = from; bit < to && !stream.Overrun(); ++bit)
        writer.WriteBit(stream.ReadBit());
}

int64_t BitPlace(const CBitStream &stream) {
    return int64_t(stream.TellByte()) * 8 + stream.TellBit();
}

// Extended data behind the handle of a record, which the original reading does not expect
// there (it reads on as if the data were empty): the object is given again in `out` with
// empty extended data where the chunks stood, every other bit as it was. False when the
// object has none, or its chunks do not lie within the object.
bool WithoutExtendedData(const uint8_t *object, std::vector<uint8_t> &out) {
    CBitStream stream(object);
    // The object's data ends before its two check bytes.
    const int64_t data_end = int64_t(stream.Size() - 2) * 8;
    stream.Skip(2, 0);
    stream.ReadBitShort();
    stream.ReadBits(4);
    stream.ReadHandleValue();
    const int64_t head_end = BitPlace(stream);
    for (int chunks = 0;; ++chunks) {
        const int32_t size = stream.ReadBitShort();
        if (size == 0 && chunks == 0)
            return false;
        if (size == 0)
            break;
        if (size < 0)
            return false;
        stream.ReadBits(4);
        stream.ReadHandleValue();
        stream.Skip(size, 0);
        if (stream.Overrun() || BitPlace(stream) > data_end)
            return false;
    }
    const int64_t eed_end = BitPlace(stream);
    CBitWriter writer;
    CopyBits(CBitStream(object), 0, head_end, writer);
    writer.WriteBits(2, 2);
    CopyBits(CBitStream(object), eed_end, data_end, writer);
    R13EndObject(writer);
    out.assign(writer.Data(), writer.Data() + writer.TellSize());
    return true;
}

} // namespace

// ---- CR13TableRecord ---------------------------------------------------------------------

CR13TableRecord::CR13TableRecord(CBaseDrawing *drawing, int16_t record_type, void *body,
                                 size_t body_size, const Shape &shape)
    : drawing(drawing), record_type(record_type), body_bytes(static_cast<uint8_t *>(body)),
      body_size(body_size), shape(shape) {}

int CR13TableRecord::ReadDWG(const uint8_t *object) {
    if (!object)
        return 0;
    // The tolerant road (CDB_READ_OBJECT_HEADS): a head with extended data is read as if it
    // had none; the data is not kept, and a save writes the record without it.
    std::vector<uint8_t> plain;
    if (drawing && drawing->ReadsTolerantly(CDB_READ_OBJECT_HEADS) &&
        WithoutExtendedData(object, plain)) {
        drawing->NoteTolerantRead(CDB_READ_OBJECT_HEADS);
        object = plain.data();
    }
    CBitStream stream(object);
    int result = ReadDWG(stream);
    if (result)
        KeepObject(object, static_cast<size_t>(stream.Size()));
    return result;
}

int CR13TableRecord::ReadDWG(CBitStream &stream) {
    Clear();
    ReadFrameStart(stream);
    int result = Decode(stream);
    if (!result)
        Clear();
    return result;
}

void CR13TableRecord::WriteDWG(CBitWriter &writer) const {
    R13BeginObject(writer, record_type);
    Encode(writer);
    R13EndObject(writer);
}

void CR13TableRecord::ReadFrameStart(CBitStream &stream) {
    stream.Skip(2, 0);
    stream.ReadBitShort();
}

const char *CR13TableRecord::Name() const {
    return LoadField<const char *>(body_bytes, shape.name_at);
}

const char *CR13TableRecord::RecordHandle() const {
    return LoadField<const char *>(body_bytes, shape.handle_at);
}

void CR13TableRecord::SetName(const char *name) {
    std::free(LoadField<char *>(body_bytes, shape.name_at));
    char *copy = nullptr;
    if (name) {
        size_t n = std::strlen(name) + 1;
        copy = static_cast<char *>(std::malloc(n));
        if (copy)
            std::memcpy(copy, name, n);
    }
    StoreField<char *>(body_bytes, shape.name_at, copy);
}

void CR13TableRecord::SetHandle(const char *handle) {
    std::free(LoadField<char *>(body_bytes, shape.handle_at));
    StoreField<char *>(body_bytes, shape.handle_at, DuplicateText(handle));
}

uint8_t CR13TableRecord::Flags() const {
    if (shape.flags_width == 2)
        return static_cast<uint8_t>(LoadField<int16_t>(body_bytes, shape.flags_at) & 0xFF);
    return body_bytes[shape.flags_at];
}

uint32_t CR13TableRecord::ObjectBits() const {
    return LoadField<uint32_t>(body_bytes, shape.object_bits_at);
}

int CR13TableRecord::IsNamed(const char *name) const {
    const char *own = Name();
    if (!name || !own || (Flags() & kDeleted))
        return 0;
    return std::strcmp(own, name) == 0 ? 1 : 0;
}

int CR13TableRecord::HasHandle(const char *text) const {
    const char *own = RecordHandle();
    if (!own || !text)
        return 0;
    return R13HandleValue(own) == R13HandleValue(text) ? 1 : 0;
}

void CR13TableRecord::GetName(char *buffer) const {
    if (!buffer)
        return;
    const char *own = Name();
    size_t n = 0;
    if (own && !(Flags() & kDeleted))
        while (n + 1 < kNameBufferSize && own[n] != 0) {
            buffer[n] = own[n];
            ++n;
        }
    buffer[n] = 0;
}

void CR13TableRecord::ReleaseTexts(const R13Layout &layout) {
    FreeR13Texts(layout, body_bytes);
}

void CR13TableRecord::DuplicateTexts(const R13Layout &layout) {
    DuplicateR13Texts(layout, body_bytes);
}

void CR13TableRecord::TakePublic(const void *source) {
    Clear();
    if (!source)
        return;
    std::memcpy(body_bytes, source, shape.record_size);
    DuplicateOwned();
}

void CR13TableRecord::Clear() {
    ReleaseOwned();
    std::memset(body_bytes, 0, body_size);
}
