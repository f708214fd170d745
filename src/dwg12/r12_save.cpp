// Saving a release 12 drawing as DWG "AC1009". The whole file is written anew from what
// the drawing holds in memory, section after section; the places that are known only at
// the end (the positions in the header block, the blocks' entity offsets in the block
// table) are written first as place holders and filled in afterwards by going back.
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_entity_layout.h"
#include "dwg12/r12_section_marks.h"
#include "io/byte_order.h"
#include "io/crc16.h"
#include "io/drawing_file.h"
#include "io/file_replacement.h"
#include "records/file_options.h"
#include "velkow32.h"

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr char kVersion[6] = {'A', 'C', '1', '0', '0', '9'};
// Zero bytes behind every section, or the end mark of the section and the begin mark of
// the next (r12_section_marks.h).
constexpr size_t kSectionGap = 2 * kR12SectionMarkSize;
constexpr size_t kCrcSize = 2;

// The tail record: tag, length, the trailer, its own position less 16, a CRC, zeros.
constexpr size_t kTailSize = 154;
constexpr size_t kTailTrailerAt = 4;
constexpr size_t kTailPositionAt = 132;
constexpr size_t kTailCrcAt = 136;
constexpr int16_t kTailTag = 0x10;
constexpr int16_t kTailLength = 0x8A;

// The trailer: four positions, ten zero bytes, the number of tables, the descriptors.
constexpr size_t kTrailerSize = 128;
constexpr size_t kTrailerTableCountAt = 26;
constexpr size_t kTrailerDescriptorsAt = 28;
constexpr int kTableCount = 10;

// The header block's copies of the layout.
constexpr size_t kHeaderEntitiesStartAt = 0x14;
constexpr size_t kHeaderEntitiesEndAt = 0x18;
constexpr size_t kHeaderBlocksStartAt = 0x1C;
constexpr size_t kHeaderBlocksSizeAt = 0x20;
constexpr size_t kHeaderExtraStartAt = 0x24;
constexpr size_t kHeaderMarkAt = 0x28;
constexpr uint32_t kBlocksSizeFlag = 0x40000000u;
constexpr uint32_t kHeaderMark = 0x80000000u;
// A copy of each table's descriptor (record size u16, count i32, position u32), tables 0
// to 9 in this order.
constexpr size_t kDescriptorCopyAt[kTableCount] = {0x2C,  0x36,  0x40,  0x4A,  0x54,
                                                   0x3EF, 0x500, 0x512, 0x522, 0x69F};

// The block table record. No reader reads its bytes 33 to 44 beyond the entity offset;
// this library writes there an entity count of -1 at 39 and a copy of the flags at 41,
// zeros elsewhere. A block that is not deleted marks its offset with 0x40 in the top
// byte.
constexpr size_t kBlockRecordSize = 45;
constexpr size_t kBlockEntityCountAt = 39;
constexpr size_t kBlockFlagsCopyAt = 41;
constexpr size_t kBlockOffsetFlagAt = 38;
constexpr uint8_t kBlockOffsetFlag = 0x40;

// The limits of the form that a drawing may run into; a save past one is refused.
// The block table keeps a block's entity offset, and the header the size of the block
// section, in 24 bits: the top byte holds a flag.
constexpr uint32_t kMaxBlocksSize = 0x00FFFFFFu;
// Table counts are 16-bit, signed.
constexpr int kMaxTableCount = INT16_MAX;
constexpr const char *kBlocksLimit = "release 12 DWG: a block section of at most 16,777,215 bytes";
constexpr const char *kTableLimit = "release 12 DWG: a table of at most 32,767 records";
constexpr const char *kEntityLimit =
    "release 12 DWG: an entity record of at most 32,767 bytes, its extended data of at most "
    "65,535 and its handle of at most 255 bytes";
constexpr const char *kFileLimit = "release 12 DWG: a file of at most 2 GB";
constexpr const char *kDashLimit = "release 12 DWG: a line type of at most 12 dashes";

// Whether the record holds more than its table's record in the file has room for: the
// dashes of a line type.
bool OverflowsItsRecord(int t, CR12TableRecord &record) {
    if (t != kR12Ltypes || (record.Flags() & kR12DeletedFlag))
        return false;
    const auto *ltype = static_cast<const CDB_LTYPE_TBL_type *>(record.GetRecord());
    return ltype && ltype->dash_count > int(kR12MaxStoredDashes);
}

// Puts DwgCrc over all bytes but the last two into the last two.
void SealBlock(uint8_t *block, size_t size) {
    WriteValueAt(block, size, size - kCrcSize, DwgCrc(block, size - kCrcSize));
}

// The state of one save.
struct CR12WriteState {
    struct Table {
        uint16_t id = 0;
        uint16_t record_size = 0;
        int16_t count = 0;
        uint32_t position = 0;
    };
    uint32_t position = 0; // of the next byte
    uint32_t blocks_size = 0;
    uint32_t entities_start = 0;
    uint32_t entities_end = 0;
    uint32_t blocks_start = 0;
    uint32_t extra_start = 0;
    Table tables[kTableCount];
};

// A block table record as the save writes it: the bytes, and where its block's entities
// begin.
struct BlockTableEntry {
    std::array<uint8_t, kBlockRecordSize> bytes{};
    uint8_t flags = 0;
    bool has_entities = false;
    uint32_t offset = 0;
};

// One save: the drawing's sections into its open file object.
class R12DwgWriter {
public:
    R12DwgWriter(CR12Drawing &drawing, CDrawingFile &file)
        : drawing_(drawing), file_(file), marks_(WriteOption(CDB_WRITE_SECTION_MARKS)) {}

    int Run();

private:
    bool Put(const void *bytes, size_t size);
    bool PutZeros(size_t size);
    bool PutSectionGap(int ending);
    bool PutExtraAreaEnd();
    bool WriteHeaderPlaceholder();
    bool WriteEntity(CR12Entity &entity);
    bool WriteMainEntities();
    bool WriteBlockTablePlaceholders();
    bool WriteTable(int t);
    bool WriteBlocks();
    bool WriteBlockDefinition(const CDB_STARTBLOCK_ENTITY_type &start, CEntityList *list);
    bool WriteTail();
    bool PatchHeader();
    void PutActiveViewport();
    bool RewriteBlockTable();

    CR12Drawing &drawing_;
    CDrawingFile &file_;
    // Whether the gaps between sections carry the marks of real files (the interoperable
    // road) or zeros (the original one).
    const bool marks_;
    CR12WriteState state_;
    // One buffer for every entity frame of the save.
    std::vector<uint8_t> frame_;
    std::vector<uint8_t> header_block_;
    // The temporary list of block table records.
    std::vector<BlockTableEntry> block_table_;
    // The INSERT or POLYLINE frame that the next sequence end closes.
    int32_t owner_position_ = 0;
};

bool R12DwgWriter::Put(const void *bytes, size_t size) {
    if (size > size_t(INT32_MAX) || state_.position > uint32_t(INT32_MAX) - size)
        return drawing_.RefuseFormLimit(kFileLimit);
    if (!file_.Write(bytes, static_cast<uint32_t>(size)))
        return false;
    state_.position += static_cast<uint32_t>(size);
    return true;
}

bool R12DwgWriter::PutZeros(size_t size) {
    static const uint8_t kZeros[kSectionGap] = {};
    while (size > 0) {
        const size_t n = size < sizeof kZeros ? size : sizeof kZeros;
        if (!Put(kZeros, n))
            return false;
        size -= n;
    }
    return true;
}

// The gap behind section `ending`: 32 zero bytes on the original road; with the marks,
// the end mark of that section and the begin mark of the next.
bool R12DwgWriter::PutSectionGap(int ending) {
    if (!marks_)
        return PutZeros(kSectionGap);
    return Put(R12SectionEndMark(ending), kR12SectionMarkSize) &&
           Put(R12SectionBeginMark(ending + 1), kR12SectionMarkSize);
}

// The extra entity area is empty; the original road writes the tail record at once, the
// marked one closes the area and opens the tail record with their marks, as real files do.
bool R12DwgWriter::PutExtraAreaEnd() {
    return !marks_ || PutSectionGap(kR12ExtraSection);
}

bool R12DwgWriter::WriteHeaderPlaceholder() {
    header_block_.assign(CR12Header::kBlockSize, 0);
    drawing_.Header().Encode(header_block_.data());
    // The file written is of this version, whatever the drawing was read from.
    std::memcpy(header_block_.data(), kVersion, sizeof kVersion);
    return Put(header_block_.data(), header_block_.size());
}

bool R12DwgWriter::WriteEntity(CR12Entity &entity) {
    const int16_t kind = entity.Code();
    if (kind == CDB_SEQEND) {
        if (auto *end = dynamic_cast<CR12SeqEnd *>(&entity))
            end->owner_position = owner_position_;
    } else if (kind == CDB_INSERT || kind == CDB_POLYLINE) {
        owner_position_ = static_cast<int32_t>(state_.position);
    }
    // A record that the frame cannot hold; an entity without a record is no entity of the
    // file, and no limit.
    if (!entity.EncodeDWG(frame_))
        return entity.GetData() ? drawing_.RefuseFormLimit(kEntityLimit) : false;
    if (!Put(frame_.data(), frame_.size()))
        return false;
    drawing_.CountWritten();
    return true;
}

bool R12DwgWriter::WriteMainEntities() {
    // The main list ends with the end frame that loading appends, and entities added
    // since stand behind it: no end frame of the main list is written, or every save
    // would add one to the file.
    CEntityList &list = drawing_.Entities();
    for (int i = 0; i < list.Count(); ++i) {
        CR12Entity *entity = R12EntityAt(list, i);
        if (!entity || entity->Code() == CDB_ENDBLK)
            continue;
        if (!WriteEntity(*entity))
            return false;
    }
    return true;
}

bool R12DwgWriter::WriteBlockTablePlaceholders() {
    CR12TableList &table = drawing_.Table(kR12Blocks);
    if (table.Count() > kMaxTableCount)
        return drawing_.RefuseFormLimit(kTableLimit);
    CR12WriteState::Table &descriptor = state_.tables[kR12Blocks];
    descriptor.id = kR12Blocks;
    descriptor.record_size = kBlockRecordSize;
    descriptor.count = static_cast<int16_t>(table.Count());
    descriptor.position = state_.position;
    block_table_.assign(size_t(table.Count()), BlockTableEntry());
    for (int i = 0; i < table.Count(); ++i) {
        BlockTableEntry &entry = block_table_[size_t(i)];
        const CR12TableRecord *record = table.At(i);
        entry.flags = record ? record->Flags() : kR12DeletedFlag;
        if (record)
            record->EncodeDWG(entry.bytes.data());
        // The entity offset is not known yet.
        std::memset(entry.bytes.data() + kR12BodyAt, 0, 4);
        entry.bytes[kR12FlagsAt] = entry.flags;
        WriteValueAt(entry.bytes.data(), kBlockRecordSize, kBlockEntityCountAt, int16_t(-1));
        entry.bytes[kBlockFlagsCopyAt] = entry.flags;
        SealBlock(entry.bytes.data(), kBlockRecordSize);
        if (!Put(entry.bytes.data(), kBlockRecordSize))
            return false;
        drawing_.CountWritten();
    }
    return PutSectionGap(R12TableSection(kR12Blocks));
}

bool R12DwgWriter::WriteTable(int t) {
    CR12TableList &table = drawing_.Table(t);
    const size_t record_size = size_t(R12RecordSize(t));
    if (table.Count() > kMaxTableCount)
        return drawing_.RefuseFormLimit(kTableLimit);
    if (record_size < kCrcSize || record_size > kR12MaxRecordSize)
        return false;
    CR12WriteState::Table &descriptor = state_.tables[t];
    descriptor.id = static_cast<uint16_t>(t);
    descriptor.record_size = static_cast<uint16_t>(record_size);
    descriptor.count = static_cast<int16_t>(table.Count());
    descriptor.position = state_.position;
    uint8_t block[kR12MaxRecordSize];
    for (int i = 0; i < table.Count(); ++i) {
        std::memset(block, 0, record_size);
        // A deleted record stays as zeros, with the CRC of that.
        CR12TableRecord *record = table.At(i);
        if (record && OverflowsItsRecord(t, *record))
            return drawing_.RefuseFormLimit(kDashLimit);
        if (record && !(record->Flags() & kR12DeletedFlag))
            record->EncodeDWG(block);
        SealBlock(block, record_size);
        if (!Put(block, record_size))
            return false;
        drawing_.CountWritten();
    }
    return PutSectionGap(R12TableSection(t));
}

bool R12DwgWriter::WriteBlockDefinition(const CDB_STARTBLOCK_ENTITY_type &start,
                                        CEntityList *list) {
    // The start frame comes from the block's record: a begin-block object borrows a
    // bytewise copy of it, and hands the pointers back before it goes.
    CR12BeginBlock begin(&drawing_);
    CDB_ENTITY *borrowed = begin.GetData();
    if (!borrowed)
        return false;
    std::memcpy(static_cast<void *>(borrowed), &start, sizeof start);
    const int encoded = begin.EncodeDWG(frame_);
    borrowed->handle = nullptr;
    borrowed->eed_data = nullptr;
    borrowed->block.xref_path = nullptr;
    borrowed->block.name = nullptr;
    borrowed->block.name_2 = nullptr;
    if (!encoded)
        return drawing_.RefuseFormLimit(kEntityLimit);
    if (!Put(frame_.data(), frame_.size()))
        return false;
    drawing_.CountWritten();

    // The list ends with the block's end frame; a list without one gets one, so that the
    // reader finds the end of the block.
    bool ended = false;
    for (int i = 0; list && i < list->Count(); ++i) {
        CR12Entity *entity = R12EntityAt(*list, i);
        if (!entity)
            continue;
        if (!WriteEntity(*entity))
            return false;
        ended = entity->Code() == CDB_ENDBLK;
    }
    if (!ended) {
        CR12EndBlock end(&drawing_);
        if (!WriteEntity(end))
            return false;
    }
    return true;
}

bool R12DwgWriter::WriteBlocks() {
    CBlockList &blocks = drawing_.Blocks();
    for (size_t i = 0; i < block_table_.size(); ++i) {
        // Past the limit already: the rest need not be written to be refused.
        if (state_.position - state_.blocks_start > kMaxBlocksSize)
            return drawing_.RefuseFormLimit(kBlocksLimit);
        BlockTableEntry &entry = block_table_[i];
        if (entry.flags & kR12DeletedFlag)
            continue;
        entry.has_entities = true;
        entry.offset = state_.position - state_.blocks_start;
        const CModelBlock *block = blocks.At(int(i));
        if (block && block->record) {
            if (!WriteBlockDefinition(*block->record, block->entities.get()))
                return false;
            continue;
        }
        // A table record without a block object: an empty definition, so that the
        // record does not point at another block's entities.
        CDB_STARTBLOCK_ENTITY_type empty;
        std::memset(&empty, 0, sizeof empty);
        empty.entity_type = CDB_BLOCK;
        empty.color = -1;
        empty.line_type_index = -1;
        empty.extrusion.z = 1.0;
        if (!WriteBlockDefinition(empty, nullptr))
            return false;
    }
    return true;
}

bool R12DwgWriter::WriteTail() {
    // The trailer of the new file: its own layout, through which every reader finds the
    // sections.
    uint8_t *trailer = file_.trailer;
    std::memset(trailer, 0, kTrailerSize);
    WriteValueAt(trailer, kTrailerSize, 0, state_.entities_start);
    WriteValueAt(trailer, kTrailerSize, 4, state_.entities_end);
    WriteValueAt(trailer, kTrailerSize, 8, state_.blocks_start);
    WriteValueAt(trailer, kTrailerSize, 12, state_.extra_start);
    WriteValueAt(trailer, kTrailerSize, kTrailerTableCountAt, int16_t(kTableCount));
    for (int t = 0; t < kTableCount; ++t) {
        const CR12WriteState::Table &table = state_.tables[t];
        const size_t at = kTrailerDescriptorsAt + kR12DescriptorSize * size_t(t);
        WriteValueAt(trailer, kTrailerSize, at + 0, table.id);
        WriteValueAt(trailer, kTrailerSize, at + 2, table.record_size);
        WriteValueAt(trailer, kTrailerSize, at + 4, table.count);
        WriteValueAt(trailer, kTrailerSize, at + 6, table.position);
    }
    std::memcpy(file_.version, kVersion, sizeof kVersion);

    uint8_t tail[kTailSize] = {};
    WriteValueAt(tail, kTailSize, 0, kTailTag);
    WriteValueAt(tail, kTailSize, 2, kTailLength);
    std::memcpy(tail + kTailTrailerAt, trailer, kTrailerSize);
    WriteValueAt(tail, kTailSize, kTailPositionAt, uint32_t(state_.position - 16));
    WriteValueAt(tail, kTailSize, kTailCrcAt, DwgCrc(tail, kTailCrcAt));
    // The last 16 bytes, outside the CRC: zeros, or the tail's end mark.
    if (marks_)
        std::memcpy(tail + kTailSize - kR12SectionMarkSize, R12SectionEndMark(kR12TailSection),
                    kR12SectionMarkSize);
    return Put(tail, kTailSize);
}

void R12DwgWriter::PutActiveViewport() {
    CR12TableList &vports = drawing_.Table(kR12Vports);
    const int index = vports.FindByName("*ACTIVE");
    CR12TableRecord *record = vports.At(index);
    if (!record)
        return;
    const auto &vport = *static_cast<const CDB_VPORT_TBL_type *>(record->GetRecord());
    // The header's values with the viewport's view in them, written back by the header's
    // own layout; the drawing's header itself does not change.
    CDB_HEADER_type view = drawing_.Header().vars;
    R12ViewIntoHeader(vport, view);
    const R12Layout layout = CR12Header::Layout();
    for (size_t i = 0; i < layout.count; ++i)
        if (R12IsViewVariable(layout.fields[i].field_offset))
            R12EncodePlainField(layout.fields[i], &view, header_block_.data(),
                                header_block_.size());
}

bool R12DwgWriter::PatchHeader() {
    uint8_t *block = header_block_.data();
    const size_t size = header_block_.size();
    WriteValueAt(block, size, kHeaderEntitiesStartAt, state_.entities_start);
    WriteValueAt(block, size, kHeaderEntitiesEndAt, state_.entities_end);
    WriteValueAt(block, size, kHeaderBlocksStartAt, state_.blocks_start);
    WriteValueAt(block, size, kHeaderBlocksSizeAt,
                 (state_.blocks_size & 0x00FFFFFFu) | kBlocksSizeFlag);
    WriteValueAt(block, size, kHeaderExtraStartAt, state_.extra_start);
    WriteValueAt(block, size, kHeaderMarkAt, kHeaderMark);
    for (int t = 0; t < kTableCount; ++t) {
        const CR12WriteState::Table &table = state_.tables[t];
        const size_t at = kDescriptorCopyAt[t];
        WriteValueAt(block, size, at + 0, table.record_size);
        WriteValueAt(block, size, at + 2, static_cast<uint32_t>(int32_t(table.count)));
        WriteValueAt(block, size, at + 6, table.position);
    }
    PutActiveViewport();
    WriteValueAt(block, size, CR12Header::kCrcAt, DwgCrc(block, CR12Header::kCrcAt));
    if (!file_.SeekForWrite(0))
        return false;
    return file_.Write(block, CR12Header::kBlockSize) != 0;
}

bool R12DwgWriter::RewriteBlockTable() {
    if (block_table_.empty())
        return true;
    if (!file_.Flush() || !file_.SeekForWrite(int32_t(state_.tables[kR12Blocks].position)))
        return false;
    const R12Layout layout = R12RecordLayout(kR12Blocks);
    for (BlockTableEntry &entry : block_table_) {
        uint8_t *bytes = entry.bytes.data();
        bytes[kR12FlagsAt] = entry.flags;
        if (entry.has_entities) {
            // The offset goes in by the record's own layout, under the flag byte.
            R12BlockBody body{};
            body.block_offset = entry.offset;
            bytes[kBlockOffsetFlagAt] = kBlockOffsetFlag;
            for (size_t i = 0; i < layout.count; ++i)
                R12EncodePlainField(layout.fields[i], &body, bytes, kBlockRecordSize);
        }
        SealBlock(bytes, kBlockRecordSize);
        if (!file_.Write(bytes, kBlockRecordSize))
            return false;
    }
    return true;
}

int R12DwgWriter::Run() {
    drawing_.StartCountingWritten();
    if (!file_.IsOpen() || !file_.Truncate())
        return 0;
    static const int kTablesAfterBlocks[] = {kR12Layers, kR12Styles,    kR12Ltypes,
                                             kR12Views,  kR12Ucs,       kR12Vports,
                                             kR12Appids, kR12Dimstyles, kR12VxHeaders};
    // Behind the header block: the begin mark of the entity section, on both roads.
    if (!WriteHeaderPlaceholder() ||
        !Put(R12SectionBeginMark(kR12EntitySection), kR12SectionMarkSize))
        return 0;

    state_.entities_start = state_.position;
    file_.in_entity_section = 1;
    const bool entities_written = WriteMainEntities();
    file_.in_entity_section = 0;
    if (!entities_written)
        return 0;
    state_.entities_end = state_.position;
    if (!PutSectionGap(kR12EntitySection))
        return 0;

    if (!WriteBlockTablePlaceholders())
        return 0;
    for (int t : kTablesAfterBlocks)
        if (!WriteTable(t))
            return 0;

    state_.blocks_start = state_.position;
    if (!WriteBlocks())
        return 0;
    state_.blocks_size = state_.position - state_.blocks_start;
    if (state_.blocks_size > kMaxBlocksSize)
        return drawing_.RefuseFormLimit(kBlocksLimit);
    if (!PutSectionGap(kR12BlockSection))
        return 0;

    state_.extra_start = state_.position;
    if (!PutExtraAreaEnd() || !WriteTail() || !PatchHeader() || !RewriteBlockTable())
        return 0;
    return file_.Flush();
}

} // namespace

int CR12Drawing::WriteFile() {
    if (!file)
        return 0;
    R12DwgWriter writer(*this, *file);
    return writer.Run();
}

short CR12Drawing::SaveAsDWG(const char *name) {
    if (!TriggerLoading())
        return CDB_FAIL;
    if (!name) {
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    // The name may be the drawing's own file name, which changes below.
    const std::string given(name);
    // A new file object carries the drawing's layout (version, trailer); the old one is
    // kept until the new file is complete, and the old file is replaced only then.
    CFileReplacement replacement(given.c_str());
    std::unique_ptr<CDrawingFile> old = std::move(file);
    file = old ? std::make_unique<CDrawingFile>(*old) : std::make_unique<CDrawingFile>();
    if (!replacement.Open(*file)) {
        file = std::move(old);
        SetError(CDB_ERR_OPENING_FILE);
        return CDB_FAIL;
    }
    if (!WriteFile() || !replacement.Commit(*file)) {
        // Nothing of the new file stays.
        file->Close();
        file = std::move(old);
        return CDB_FAIL;
    }
    // The drawing goes on with the new name and no open file: what it holds in memory is
    // what counts.
    file_name = given;
    file->Close();
    file->in_entity_section = 0;
    old.reset();
    file_kind = kDwg;
    return 0;
}

short CR12Drawing::Save() {
    if (!TriggerLoading())
        return CDB_FAIL;
    if (file_kind == kTextDxf || file_kind == kBinaryDxf) {
        // A copy: the DXF writer takes the name as the drawing's name again.
        const std::string name = file_name;
        return SaveAsDXF(name.c_str(), file_kind == kBinaryDxf) == 0 ? short(0) : CDB_FAIL;
    }
    if (file_kind != kDwg)
        return CDB_FAIL;
    // The drawing's own file is replaced by a new one once that is complete.
    const std::string name = file_name;
    return SaveAsDWG(name.c_str());
}
