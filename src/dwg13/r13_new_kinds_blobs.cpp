// The release 13 kinds whose data the library carries without decoding them: the modeler's
// chunks of REGION, 3DSOLID and BODY, and the data block of an OLE frame.
#include "dwg13/r13_new_kinds.h"

#include "dwg13/r13_drawing.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

// The modeler kinds have no trailer of their own: these stand for their layer and line type.
constexpr char kModelerLayer[] = "F";
constexpr size_t kModelerLayerBlock = 5;
constexpr char kModelerLineType[] = "-1";
// The length that ends the chunks as the writer puts them out: it reaches past any object.
constexpr uint32_t kLastChunk = 0xFFFFFFFFu;
// What the OLE frame passes over in front of its version.
constexpr int32_t kOleHeadBytes = 73;
constexpr int32_t kOleHeadBits = 5;

// The layer text of a modeler kind, in its block of 5 bytes.
char *NewModelerLayer() {
    char *text = static_cast<char *>(std::calloc(kModelerLayerBlock, 1));
    if (text)
        std::memcpy(text, kModelerLayer, sizeof(kModelerLayer));
    return text;
}

} // namespace

// ---- REGION, 3DSOLID, BODY ----------------------------------------------------------------

CR13Modeler::CR13Modeler(CR13Drawing *owner, int16_t kind, int16_t type) : CR13Entity(owner, kind) {
    file_type = type;
}

CR13Modeler::~CR13Modeler() {
    if (!HandedOver() && record) {
        std::free(DataPointer());
        SetDataPointer(nullptr);
    }
}

uint8_t *CR13Modeler::DataPointer() const {
    return code == CDB_3DSOLID ? record->solid3d.data : record->region.data;
}

void CR13Modeler::SetDataPointer(uint8_t *data) {
    if (code == CDB_3DSOLID)
        record->solid3d.data = data;
    else
        record->region.data = data;
}

void CR13Modeler::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record || in == record)
        return;
    const uint8_t *given = code == CDB_3DSOLID ? in->solid3d.data : in->region.data;
    if (DataPointer() != given)
        std::free(DataPointer());
    data_as_read.Clear();
    CR13Entity::SetRecord(in);
    const uint8_t *data = DataPointer();
    data_length =
        data ? static_cast<uint32_t>(std::strlen(reinterpret_cast<const char *>(data))) : 0;
}

int CR13Modeler::ReadDWG(CBitStream &stream) {
    if (!record || ReadCommon(stream) != 1)
        return 0;
    data_as_read.Take(stream);
    if (!ReadChunks(stream))
        return 0;
    std::free(record->layer_handle);
    std::free(record->line_type_handle);
    record->layer_handle = NewModelerLayer();
    record->line_type_handle = DuplicateText(kModelerLineType);
    record->entity_type = code;
    return 1;
}

int CR13Modeler::ReadChunks(CBitStream &stream) {
    std::free(DataPointer());
    SetDataPointer(nullptr);
    data_length = 0;
    stream.Skip(1, 4);
    const int32_t limit = stream.Size();
    uint32_t length = stream.ReadPrefixedLong();
    int32_t position = stream.TellByte();
    // The block has room for the whole object: the chunks cannot hold more than that.
    auto *data = static_cast<uint8_t *>(std::malloc(static_cast<size_t>(limit) + 1));
    if (!data)
        return 0;
    uint32_t used = 0;
    while (!stream.Overrun() && int64_t(length) + position < limit) {
        for (uint32_t i = 0; i < length; ++i)
            data[used++] = stream.ReadByte();
        length = stream.ReadPrefixedLong();
        position = stream.TellByte();
    }
    data[used] = 0;
    SetDataPointer(data);
    data_length = used;
    return 1;
}

void CR13Modeler::WriteBody(CBitWriter &writer) const {
    writer.WriteByte(0);
    writer.WriteBits(0, 4);
    const uint8_t *data = DataPointer();
    uint32_t length = data_length;
    if (data && length == 0)
        length = static_cast<uint32_t>(std::strlen(reinterpret_cast<const char *>(data)));
    if (data && length > 0) {
        writer.WritePrefixedLong(length);
        writer.WriteRawBytes(data, length);
    }
    writer.WritePrefixedLong(kLastChunk);
}

bool CR13Modeler::WriteDataAsRead(CBitWriter &writer) const {
    if (data_as_read.Empty())
        return false;
    data_as_read.Put(writer);
    return true;
}

CR13Region::CR13Region(CR13Drawing *owner) : CR13Modeler(owner, CDB_REGION, 37) {}
CR13Solid3D::CR13Solid3D(CR13Drawing *owner) : CR13Modeler(owner, CDB_3DSOLID, 38) {}
CR13Body::CR13Body(CR13Drawing *owner) : CR13Modeler(owner, CDB_BODY, 39) {}

// ---- The OLE frame --------------------------------------------------------------------------

CR13Ole::CR13Ole(CR13Drawing *owner) : CR13Entity(owner, CDB_OLEFRAME) {
    file_type = 500;
}

CR13Ole::~CR13Ole() {
    if (!HandedOver() && record) {
        std::free(record->ole.data);
        record->ole.data = nullptr;
    }
}

void CR13Ole::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record || in == record)
        return;
    if (record->ole.data != in->ole.data)
        std::free(record->ole.data);
    data_as_read.Clear();
    CR13Entity::SetRecord(in);
}

int CR13Ole::ReadBody(CBitStream &stream) {
    std::free(record->ole.data);
    record->ole.data = nullptr;
    record->ole.data_size = 0;
    data_as_read.Take(stream);
    stream.Skip(kOleHeadBytes, kOleHeadBits);
    record->ole.ole_version = static_cast<int16_t>(stream.ReadBitShort());
    const uint32_t size = stream.ReadPrefixedLong();
    if (stream.Overrun() || int64_t(size) * 8 > R13BitsLeft(stream))
        return 0;
    if (size > 0) {
        record->ole.data = static_cast<uint8_t *>(std::malloc(size));
        if (!record->ole.data)
            return 0;
        for (uint32_t i = 0; i < size; ++i)
            record->ole.data[i] = stream.ReadByte();
    }
    record->ole.data_size = static_cast<int32_t>(size);
    return 1;
}

void CR13Ole::WriteBody(CBitWriter &writer) const {
    for (int32_t i = 0; i < kOleHeadBytes; ++i)
        writer.WriteByte(0);
    writer.WriteBits(0, kOleHeadBits);
    writer.WriteBitShort(record->ole.ole_version);
    const int32_t size = record->ole.data ? record->ole.data_size : 0;
    writer.WritePrefixedLong(static_cast<uint32_t>(size > 0 ? size : 0));
    if (size > 0)
        writer.WriteRawBytes(record->ole.data, static_cast<size_t>(size));
}

bool CR13Ole::WriteDataAsRead(CBitWriter &writer) const {
    if (data_as_read.Empty())
        return false;
    data_as_read.Put(writer);
    return true;
}

uint32_t CR13Ole::KindBits() const {
    const int32_t size = record->ole.data ? record->ole.data_size : 0;
    return size > 0 ? 8u * static_cast<uint32_t>(size) : 0;
}
