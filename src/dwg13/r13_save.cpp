// Writing a release 13 DWG from the open source file and the drawing in memory.
#include "dwg13/r13_save.h"

#include "dwg13/r13_checks.h"
#include "dwg13/r13_classic_kinds.h"
#include "dwg13/r13_drawing.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_header.h"
#include "dwg13/r13_new_kinds.h"
#include "dwg13/r13_object_map.h"
#include "dwg13/r13_save_handles.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "io/drawing_file.h"
#include "records/file_options.h"
#include "velkow32.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int32_t kGapBytes = 512;
// The limits of the form that a drawing may run into; a save past one is refused. An
// object's size is a 16-bit word whose top bit would announce the long form, which no
// object encoded here has; offsets are signed 32-bit.
constexpr int32_t kMaxObjectData = 0x7FFF;
constexpr const char *kObjectLimit =
    "release 13 DWG: an object of at most 32,767 bytes (the size word's short form)";
constexpr const char *kFileLimit = "release 13 DWG: a file of at most 2 GB";
constexpr int16_t kAttribType = 2;
constexpr int16_t kFirstVertexType = 10;
constexpr int16_t kLastVertexType = 14;
constexpr int16_t kOleType = 500;
// The reference code of a hard pointer to an object that follows.
constexpr int16_t kSoftPointer = 4;
constexpr int16_t kHardOwner = 3;

int16_t TypeOf(const CModelEntity *entity) {
    return static_cast<const CR13Entity *>(entity)->FileType();
}

bool IsVertexType(int16_t type) {
    return type >= kFirstVertexType && type <= kLastVertexType;
}

uint32_t HandleOf(const CModelEntity *entity) {
    const CDB_ENTITY *record = entity->GetData();
    return record ? R13HandleValue(record->handle) : 0u;
}

// The kinds whose objects are never encoded: their bytes are carried from the source.
bool IsCarriedKind(const CR13Entity &entity) {
    return dynamic_cast<const CR13Modeler *>(&entity) != nullptr ||
           dynamic_cast<const CR13Unknown *>(&entity) != nullptr || entity.FileType() == kOleType;
}

// The ENDBLK of a space's block: the last entry of the block's own list when it is one (a
// drawing read from DXF keeps paper space's there), otherwise the one its chain ends in.
CR13Entity *OwnEndOf(const CR13Block &block, CR13Entity *chain_end) {
    CEntityList *own = block.entities.get();
    auto *last =
        own && own->Count() > 0 ? static_cast<CR13Entity *>(own->At(own->Count() - 1)) : nullptr;
    return last && last->FileType() == kR13EndBlockType ? last : chain_end;
}

} // namespace

CR13DwgSaver::CR13DwgSaver(CR13Drawing &drawing, CDrawingFile *source, CDrawingFile &output)
    : drawing(drawing), source(source), output(output),
      real_checks(WriteOption(CDB_WRITE_REAL_CRCS)) {}

bool CR13DwgSaver::Fail(Failure why) {
    if (failure == kNone)
        failure = why;
    return false;
}

// ---- Low-level output ---------------------------------------------------------------------

bool CR13DwgSaver::Put(const void *bytes, uint32_t size) {
    if (size == 0)
        return true;
    if (size > uint32_t(INT32_MAX - write_offset)) {
        drawing.RefuseFormLimit(kFileLimit);
        return Fail(kLimit);
    }
    if (!output.Write(bytes, size))
        return Fail(kOutput);
    write_offset += static_cast<int32_t>(size);
    return true;
}

bool CR13DwgSaver::PatchLong(int32_t at, uint32_t value) {
    const uint8_t bytes[4] = {uint8_t(value), uint8_t(value >> 8), uint8_t(value >> 16),
                              uint8_t(value >> 24)};
    if (!output.SeekForWrite(at) || !output.Write(bytes, 4) || output.SeekEndForWrite() < 0)
        return Fail(kOutput);
    for (size_t k = 0; k < 4 && at >= 0 && size_t(at) + k < head.size(); ++k)
        head[size_t(at) + k] = bytes[k];
    return true;
}

// The head's check over the head as it finally stands, on the interoperable road; the
// original road leaves what the source had there.
bool CR13DwgSaver::SealHead() {
    const size_t at = R13HeadCheckAt(head.data(), head.size());
    if (!real_checks || at == 0)
        return true;
    const uint16_t check = R13HeadCheck(head.data(), at);
    const uint8_t bytes[2] = {uint8_t(check & 0xFF), uint8_t(check >> 8)};
    if (!output.Flush() || !output.SeekForWrite(int32_t(at)) || !output.Write(bytes, 2) ||
        output.SeekEndForWrite() < 0)
        return Fail(kOutput);
    return true;
}

bool CR13DwgSaver::ReadSource(int32_t at, void *bytes, uint32_t size) {
    std::memset(bytes, 0, size);
    if (!source || at < 0 || uint64_t(at) + size > source->Length())
        return false;
    if (!source->SetPosition(at, 0))
        return false;
    return source->Read(bytes, size) && source->GetPosition() == at + int32_t(size);
}

uint32_t CR13DwgSaver::SourceLong(int32_t at) {
    uint8_t b[4];
    if (!ReadSource(at, b, 4))
        return 0;
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}

void CR13DwgSaver::Note(uint32_t handle, int32_t offset) {
    written.emplace_back(handle, offset);
}

bool CR13DwgSaver::PutObject(const CBitWriter &writer, uint32_t handle) {
    // Objects kept as read (the viewport entity headers) bring their own check along: it
    // is put anew, as every object's.
    const int32_t size = writer.TellSize();
    if (size - 4 > kMaxObjectData) {
        drawing.RefuseFormLimit(kObjectLimit);
        return Fail(kLimit);
    }
    std::vector<uint8_t> bytes(writer.Data(), writer.Data() + size);
    R13SealObject(bytes.data(), size_t(size), real_checks);
    Note(handle, write_offset);
    return Put(bytes.data(), static_cast<uint32_t>(size));
}

// ---- Carried objects ----------------------------------------------------------------------

int CR13DwgSaver::CopyObjectAt(uint32_t handle, int32_t source_offset) {
    if (!source || source_offset <= 0 || !source->SetPosition(source_offset, 0))
        return 0;
    std::unique_ptr<uint8_t[]> object = source->ReadObject();
    if (!object)
        return 0;
    const uint32_t size = uint32_t(object[0]) | uint32_t(object[1]) << 8;
    // Every object of the written file carries its check put anew, copies included.
    R13SealObject(object.get(), size + 4, real_checks);
    Note(handle, write_offset);
    return Put(object.get(), size + 4) ? 1 : 0;
}

int CR13DwgSaver::CopyObjectByHandle(uint32_t handle) {
    return CopyObjectAt(handle, drawing.ObjectMap().GetOffset(handle));
}

int CR13DwgSaver::CopyObject(const char *handle_text) {
    return handle_text ? CopyObjectByHandle(R13HandleValue(handle_text)) : 0;
}

// ---- Blocks and entities ------------------------------------------------------------------

bool CR13DwgSaver::WriteEntity(CR13Entity &entity) {
    const uint32_t handle = HandleOf(&entity);
    if (IsCarriedKind(entity) && drawing.ObjectMap().GetOffset(handle) > 0) {
        CopyObjectByHandle(handle);
        return true;
    }
    CBitWriter writer;
    entity.WriteDWG(writer);
    return PutObject(writer, handle);
}

// In front of a polyline or an insert: the run of vertices or attributes behind it gives
// its first and last member and its sequence end. False when a polyline's run holds
// anything but vertices and its end.
bool CR13DwgSaver::LinkSequence(CEntityList &chain, int at, int filter) {
    CModelEntity *head = chain.At(at);
    auto *polyline = dynamic_cast<CR13Polyline *>(head);
    auto *insert = dynamic_cast<CR13Insert *>(head);
    if (!polyline && !insert)
        return true;
    uint32_t first = 0, last = 0, end = 0;
    for (int i = at + 1; i < chain.Count(); ++i) {
        CModelEntity *next = chain.At(i);
        if (filter >= 0 && next->GetData()->space != filter)
            continue;
        const int16_t type = TypeOf(next);
        if (type == kR13SeqEndType) {
            end = HandleOf(next);
            break;
        }
        const bool member = polyline ? IsVertexType(type) : type == kAttribType;
        if (!member) {
            if (polyline)
                return false;
            break;
        }
        if (!first)
            first = HandleOf(next);
        last = HandleOf(next);
    }
    if (polyline) {
        polyline->first_vertex = CHandleRef{kSoftPointer, first};
        polyline->last_vertex = CHandleRef{kSoftPointer, last};
        polyline->seq_end = CHandleRef{kHardOwner, end};
    } else if (first) {
        insert->first_attribute = CHandleRef{kSoftPointer, first};
        insert->last_attribute = CHandleRef{kSoftPointer, last};
        insert->sequence_end = CHandleRef{kHardOwner, end};
        insert->GetData()->insert.attributes_follow = 1;
    }
    return true;
}

// The chain's entities in order, an ENDBLK left out; then the block's BLOCK object and its
// end. `filter` keeps the entities of one space (0 model, 1 paper), -1 all of them.
bool CR13DwgSaver::WriteChain(CR13Block &block, CEntityList &chain, int filter) {
    CR13Entity *chain_end = nullptr;
    for (int i = 0; i < chain.Count(); ++i) {
        auto *entity = static_cast<CR13Entity *>(chain.At(i));
        if (entity->FileType() == kR13EndBlockType) {
            chain_end = entity;
            continue;
        }
        if (filter >= 0 && entity->GetData()->space != filter)
            continue;
        if (!LinkSequence(chain, i, filter) || !WriteEntity(*entity))
            return false;
        drawing.CountWritten();
    }
    if (block.start && !WriteEntity(*block.start))
        return false;
    CR13Entity *end = block.start && block.start->end_block ? block.start->end_block.get()
                      : filter >= 0                         ? OwnEndOf(block, chain_end)
                                                            : chain_end;
    return !end || WriteEntity(*end);
}

bool CR13DwgSaver::WriteBlock(CR13Block &block, CR13BlockRecord *header, CEntityList &chain,
                              int filter) {
    if (header) {
        CBitWriter writer;
        header->WriteDWG(writer);
        if (!PutObject(writer, R13HandleValue(header->RecordHandle())))
            return false;
        drawing.CountWritten();
    }
    return WriteChain(block, chain, filter);
}

bool CR13DwgSaver::WriteBlocks() {
    CR13Table &table = drawing.Table(R13Table::kBlocks);
    {
        CBitWriter writer;
        table.WriteHead(writer);
        if (!PutObject(writer, R13HandleValue(table.head.handle.c_str())))
            return false;
    }
    CBlockList &blocks = drawing.Blocks();
    for (int i = 0; i < blocks.Count(); ++i) {
        auto *block = static_cast<CR13Block *>(blocks.At(i));
        if (block && block->entities && !WriteBlock(*block, block->header, *block->entities, -1))
            return false;
    }
    for (int space = 0; space < 2; ++space) {
        CR13Block *block = space == 0 ? drawing.ModelSpaceBlock() : drawing.PaperSpaceBlock();
        if (!block)
            continue;
        CR13BlockRecord *header = block->header ? block->header
                                  : space == 0  ? drawing.ModelSpaceRecord()
                                                : drawing.PaperSpaceRecord();
        if (!WriteBlock(*block, header, drawing.Entities(), space))
            return false;
    }
    return true;
}

// ---- Tables, carried objects, multiline styles --------------------------------------------

bool CR13DwgSaver::WriteTables() {
    for (R13Table which :
         {R13Table::kLayers, R13Table::kStyles, R13Table::kLtypes, R13Table::kViews, R13Table::kUcs,
          R13Table::kVports, R13Table::kAppids, R13Table::kDimstyles, R13Table::kVpEntHdrs}) {
        CR13Table &table = drawing.Table(which);
        CBitWriter head;
        table.WriteHead(head);
        if (!PutObject(head, R13HandleValue(table.head.handle.c_str())))
            return false;
        for (int i = 0; i < table.records.Count(); ++i) {
            CR13TableRecord *record = table.records.At(i);
            if (const char *limit = record->PassedFormLimit()) {
                drawing.RefuseFormLimit(limit);
                return Fail(kLimit);
            }
            CBitWriter writer;
            record->WriteDWG(writer);
            if (!PutObject(writer, R13HandleValue(record->RecordHandle())))
                return false;
            drawing.CountWritten();
        }
    }
    return true;
}

bool CR13DwgSaver::WriteCarried() {
    for (const ObjectMapEntry &entry : drawing.CarriedObjects().Entries())
        CopyObjectAt(entry.handle, entry.offset);
    // Multiline styles are carried from the source; one that has no object there (a drawing
    // without a source, a style added by editing) is encoded.
    CR13Table &styles = drawing.Table(R13Table::kMlineStyles);
    for (int i = 0; i < styles.records.Count(); ++i) {
        CR13TableRecord *style = styles.records.At(i);
        const uint32_t handle = R13HandleValue(style->RecordHandle());
        if (source && drawing.ObjectMap().GetOffset(handle) > 0) {
            CopyObjectByHandle(handle);
            continue;
        }
        CBitWriter writer;
        style->WriteDWG(writer);
        if (!PutObject(writer, handle))
            return false;
    }
    return failure == kNone;
}

// ---- Behind the objects -------------------------------------------------------------------

bool CR13DwgSaver::WriteMap() {
    std::stable_sort(written.begin(), written.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<ObjectMapEntry> entries;
    entries.reserve(written.size());
    for (const auto &object : written)
        if (entries.empty() || entries.back().handle != object.first)
            entries.push_back(ObjectMapEntry{object.first, object.second});
    const std::vector<uint8_t> bytes = EncodeObjectMap(entries, real_checks);
    const int32_t start = write_offset;
    if (!Put(bytes.data(), static_cast<uint32_t>(bytes.size())))
        return false;
    return PatchLong(R13FileHead::kMapAt, uint32_t(start)) &&
           PatchLong(R13FileHead::kMapSizeAt, uint32_t(bytes.size()));
}

// ---- The whole file -----------------------------------------------------------------------

int CR13DwgSaver::Run() {
    if (!output.IsOpen() || !output.Truncate())
        return Fail(kOutput), 0;
    if (!source) {
        R13GiveMissingHandles(drawing);
        R13FillControlEntries(drawing);
        R13PlaceEntities(drawing);
        R13LinkBlockRecords(drawing);
        R13SetLayerFlagBytes(drawing);
    }
    if (!WriteHead() || !WriteHeader() || !WriteClasses())
        return 0;
    const std::vector<uint8_t> gap(kGapBytes, 0);
    if (!Put(gap.data(), kGapBytes))
        return 0;
    objects_start = write_offset;
    drawing.StartCountingWritten();
    if (!WriteBlocks() || !WriteTables())
        return Fail(kSequence), 0;
    if (!WriteCarried() || !WriteMap() || !RewriteTrailing() || !RewritePreview() || !SealHead())
        return 0;
    return output.Flush() ? 1 : (Fail(kOutput), 0);
}
