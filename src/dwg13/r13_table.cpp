// The table managers of a release 13 drawing: reading a table from the file, the lookups by
// name and handle, the update of a record by a later object, and the walk over the objects
// that stand behind the tables.
#include "dwg13/r13_tables.h"

#include "io/bit_stream.h"
#include "dwg13/r13_object_walk.h"

#include <cstring>
#include <memory>

namespace {

// The type of an object as the file delivered it: behind the 2 bytes of size, a BS.
int16_t ObjectType(const uint8_t *object) {
    CBitStream stream(object);
    stream.Skip(2, 0);
    return static_cast<int16_t>(stream.ReadBitShort());
}

// An object of four zero bytes: an empty object, which ends the multiline styles.
bool IsEmptyObject(const uint8_t *object) {
    return object[0] == 0 && object[1] == 0 && object[2] == 0 && object[3] == 0;
}

} // namespace

uint32_t R13ObjectHandle(const uint8_t *object) {
    CBitStream stream(object);
    stream.Skip(2, 0);
    stream.ReadBitShort();
    stream.ReadBits(4);
    return stream.ReadHandleValue();
}

CR13Table::CR13Table(CBaseDrawing *drawing, int16_t record_type, int16_t table_number)
    : records(table_number), drawing(drawing), record_type(record_type) {}

int16_t CR13Table::ControlType() const {
    return record_type == kR13MlineStyle ? int16_t(0) : static_cast<int16_t>(record_type - 1);
}

CR13TableRecord *CR13Table::CreateRecord(const uint8_t *object) {
    std::unique_ptr<CR13TableRecord> record(MakeR13TableRecord(drawing, record_type));
    if (!record || !record->ReadDWG(object))
        return nullptr;
    // A style's font: loaded for a new handle, kept or replaced for a known one. A font
    // that is found nowhere leaves the style without a slot and is no failure.
    if (record_type == kR13Style) {
        auto *style = static_cast<CR13StyleRecord *>(record.get());
        auto *known = static_cast<const CR13StyleRecord *>(FindByHandle(style->RecordHandle()));
        style->AttachFont(known);
    }
    return record.release();
}

void CR13Table::AddRecord(CR13TableRecord *record) {
    records.Add(record);
    ++count_hint;
}

int CR13Table::Read(CR13ObjectWalk &walk) {
    std::unique_ptr<uint8_t[]> object = walk.Next();
    if (!object)
        return -123;
    {
        CBitStream stream(object.get());
        if (!head.Read(stream, record_type))
            return -123;
    }
    int64_t noted = walk.Mark();
    object = walk.Next();
    if (!object) {
        walk.Return(noted);
        return -123;
    }
    while (ObjectType(object.get()) == record_type) {
        CR13TableRecord *record = CreateRecord(object.get());
        if (!record)
            return -123;
        AddRecord(record);
        noted = walk.Mark();
        object = walk.Next();
        if (!object) {
            if (walk.ReadFailed())
                return -123;
            break;
        }
    }
    // The object that is not a record of this table is read again by the next table.
    walk.Return(noted);
    return 0;
}

int CR13Table::Read(CDrawingFile &file) {
    CR13ObjectWalk walk(file);
    return Read(walk);
}

int CR13Table::UpdateRecord(const uint8_t *object) {
    CR13TableRecord *record = CreateRecord(object);
    if (!record)
        return 0;
    if (record_type != kR13Vport) {
        const int known = FirstWithHandle(record->RecordHandle());
        if (known >= 0) {
            records.Replace(known, record);
            return 1;
        }
    }
    AddRecord(record);
    return 1;
}

const char *CR13Table::HandleOfName(const char *name) const {
    const CR13TableRecord *record = records.At(records.FindByName(name));
    return record ? record->RecordHandle() : nullptr;
}

const char *CR13Table::HandleAt(int index) const {
    const CR13TableRecord *record = records.At(index);
    return record ? record->RecordHandle() : nullptr;
}

void CR13Table::RefreshHandleIndex() const {
    if (handle_index_changes != records.Changes() || handle_index_count > records.Count()) {
        handle_index.clear();
        handle_index_count = 0;
        handle_index_changes = records.Changes();
    }
    for (; handle_index_count < records.Count(); ++handle_index_count) {
        const CR13TableRecord *record = records.At(handle_index_count);
        const char *own = record ? record->RecordHandle() : nullptr;
        // The first record of a value wins, as a search from the start finds it.
        if (own)
            handle_index.emplace(R13HandleValue(own), handle_index_count);
    }
}

int CR13Table::FirstWithHandle(const char *text) const {
    if (!text)
        return -1;
    RefreshHandleIndex();
    auto found = handle_index.find(R13HandleValue(text));
    return found == handle_index.end() ? -1 : found->second;
}

CR13TableRecord *CR13Table::FindByHandle(const char *text) const {
    const int index = FirstWithHandle(text);
    return index >= 0 ? records.At(index) : nullptr;
}

const char *CR13Table::NameAt(int index) const {
    const CR13TableRecord *record = records.At(index);
    return record ? record->Name() : nullptr;
}

int CR13Table::IndexOfName(const char *name) const {
    return records.FindByName(name);
}

int16_t CR13Table::IndexOfHandle(const char *text) const {
    // The stored handle of layer "0" asked of the line type table: the negative layer
    // base, without a search.
    if (record_type == kR13Ltype && text && !layer_zero_handle.empty() && layer_zero_handle == text)
        return static_cast<int16_t>(-layer_base);
    return static_cast<int16_t>(FirstWithHandle(text));
}

void CR13Table::SetLayerZeroHandle(const char *text, int32_t base) {
    layer_zero_handle = text ? text : "";
    layer_base = base;
}

void CR13Table::RemoveXrefSymbols() {
    for (int i = records.Count() - 1; i >= 0; --i) {
        if (IsXrefSymbol(records.At(i)->Name()))
            records.Remove(i);
    }
}

int CR13Table::ReadBehindTables(CR13ObjectWalk &walk, R13CarriedObjects &carried) {
    // First stage: everything up to the first multiline style is carried as it stands.
    int64_t noted = 0;
    for (;;) {
        noted = walk.Mark();
        std::unique_ptr<uint8_t[]> object = walk.Next();
        if (!object)
            return -123;
        if (ObjectType(object.get()) == kR13MlineStyle)
            break;
        carried.emplace_back(R13ObjectHandle(object.get()), walk.LastOffset());
    }
    walk.Return(noted);
    // Second stage: the multiline styles, up to an object of another type or an empty one.
    for (;;) {
        noted = walk.Mark();
        std::unique_ptr<uint8_t[]> object = walk.Next();
        if (!object) {
            if (walk.ReadFailed())
                return -123;
            break;
        }
        if (IsEmptyObject(object.get()) || ObjectType(object.get()) != kR13MlineStyle)
            break;
        CR13TableRecord *record = CreateRecord(object.get());
        if (!record)
            return -123;
        AddRecord(record);
    }
    walk.Return(noted);
    return 0;
}

int CR13Table::ReadBehindTables(CDrawingFile &file, R13CarriedObjects &carried) {
    CR13ObjectWalk walk(file);
    return ReadBehindTables(walk, carried);
}
