// The block section of a release 12 DWG: one block per block table record, each read from
// its run of frames (a kind 12 frame, the entities, a kind 13 frame), and view mode's road
// to one block (LoadBlock).
#include "dwg12/r12_drawing.h"
#include "dwg12/r12_entity_layout.h"

#include "io/byte_order.h"
#include "io/drawing_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint8_t kXrefFlag = 0x04;
constexpr size_t kBlockNameBlock = 32;

// A new block of at least 32 bytes holding a copy of `name` ("" for null).
char *NameBlock(const char *name) {
    const size_t length = name ? std::strlen(name) : 0;
    const size_t room = length + 1 > kBlockNameBlock ? length + 1 : kBlockNameBlock;
    char *block = static_cast<char *>(std::calloc(room, 1));
    if (block && length)
        std::memcpy(block, name, length);
    return block;
}

} // namespace

// ---- Reading the section ----------------------------------------------------------------------

int CR12Drawing::LoadBlockSection() {
    if (blocks.Count() != 0)
        return 0;
    if (!file)
        return -1;
    const int32_t saved_position = file->GetPosition();
    const uint8_t saved_in_section = file->in_entity_section;
    file->in_entity_section = 0;

    const int count = Table(kR12Blocks).Count();
    ArmFrameBudget(int64_t(4) * count);
    int16_t block_number = 0;
    for (int i = 0; i < count; ++i) {
        auto *block = new CModelBlock();
        ReadTableBlock(i, *block, block_number);
        block->code = 12;
        blocks.Add(block);
    }

    file->SetPosition(saved_position, 0);
    file->in_entity_section = saved_in_section;
    return 1;
}

int CR12Drawing::ReadTableBlock(int index, CModelBlock &block, int16_t &block_number) {
    CR12TableRecord *table_record = BlockTableRecord(index);
    if (!table_record || !block.record)
        return 0;
    const uint8_t flags = table_record->Flags();
    if (flags & kR12DeletedFlag) {
        block.record->flags = 128;
        block.entities.reset();
        return 1;
    }

    auto *table = static_cast<CDB_BLOCK_TBL *>(table_record->GetRecord());
    if (table->name && table->name[0] == '*') {
        // An anonymous block: the next number goes behind its name, in the table as well.
        char digits[16];
        std::snprintf(digits, sizeof digits, "%ld", long(blocks.NextAnonymousNumber()));
        const size_t length = std::strlen(table->name);
        const size_t added = std::strlen(digits);
        const size_t room =
            length + added + 1 > kR12NameBlockSize ? length + added + 1 : kR12NameBlockSize;
        char *renamed = static_cast<char *>(std::calloc(room, 1));
        if (renamed) {
            std::memcpy(renamed, table->name, length);
            std::memcpy(renamed + length, digits, added);
            std::free(table->name);
            table->name = renamed;
            if (auto *typed = dynamic_cast<CR12BlockRecord *>(table_record)) {
                std::memset(typed->body.name_in_place, 0, sizeof typed->body.name_in_place);
                std::strncpy(typed->body.name_in_place, renamed,
                             sizeof typed->body.name_in_place - 1);
            }
            BlockTableNamesChanged();
        }
    }

    const int64_t at = int64_t(BlocksStart()) + R12BlockOffset(table_record);
    file->SetPosition(at > INT32_MAX ? INT32_MAX : static_cast<int32_t>(at), 0);
    block_counter = block_number;
    block_number = static_cast<int16_t>(uint16_t(block_number) + 1u);
    if (!ViewFlag())
        block.entities = std::make_unique<CEntityList>();
    ReadBlockDefinition(block, table->name, flags);
    return 1;
}

void CR12Drawing::ReadBlockDefinition(CModelBlock &block, const char *table_name,
                                      uint8_t table_flags) {
    if (!file || !block.record)
        return;
    {
        // The start frame goes into a temporary object whose content moves to the block.
        CR12BeginBlock begin(this);
        uint8_t next = kR12NoNextCode;
        if (begin.ReadDWG(next) != 1)
            SetError(CDB_ERR_DRAWING_CORRUPTED);
        begin.ReleaseRecordTo(block.record);
    }
    std::free(block.record->name);
    block.record->name = NameBlock(table_name);
    block.record->flags = table_flags;
    block.plain = (table_flags & kXrefFlag) ? 0 : 1;

    CEntityList *list = ViewFlag() ? nullptr : block.entities.get();
    for (;;) {
        uint8_t head[kR12FrameHeadSize];
        short status = 0;
        ReadFrame(head, true, 0, status);
        // A block whose frames end before its kind 13 frame ends there.
        if (status != 1)
            break;
        const int code = head[0];
        CR12Entity *entity = MakeR12Entity(this, code);
        // A code without a class cannot be stepped over: the block ends there.
        if (!entity)
            break;
        const int32_t before = file->GetPosition();
        uint8_t next = kR12NoNextCode;
        entity->ReadDWG(next);
        entity->SetCode(static_cast<int16_t>(code));
        // A frame that could not be read leaves the position where it was (a code 21
        // line): the block ends behind it instead of reading it again and again.
        const bool stalled = file->GetPosition() == before;
        KeepEntity(list, entity, true, block.plain == 0);
        if (code == CDB_ENDBLK || stalled)
            break;
    }
}

// ---- Viewport entity headers ------------------------------------------------------------------

void CR12Drawing::HandOutViewportHeaders() {
    CR12TableList &headers = Table(kR12VxHeaders);
    const int count = headers.Count();
    CViewportLink *viewport = viewports.HeadLink();
    for (int i = 0; i < count && viewport; ++i) {
        const uint8_t *raw = R12VxRaw(headers.At(i));
        if (!raw || raw[0] == 0 || (raw[0] & kR12DeletedFlag))
            continue;
        uint16_t value = 0;
        ReadValueAt(raw, size_t(R12RecordSize(kR12VxHeaders)), 39, value);
        if (CDB_ENTITY *record = viewport->entity->GetData())
            record->viewport.vx_index = static_cast<int16_t>(value != 0 ? value : count);
        viewport = viewport->next;
    }
}

// ---- View mode: one block ---------------------------------------------------------------

// A reference block is resolved on the way: its child's model space goes to BlockCall.
// While that happens, the child's own blocks are loaded through the child.
CDB_STARTBLOCK_ENTITY_type *CR12Drawing::LoadBlock(int index) {
    if (ForwardsToReference(index))
        return ForwardToReference(index);
    if (index < 0 || index >= BlockTableRecordCount())
        return nullptr;
    if (file_kind == kDwg) {
        if (!file)
            return nullptr;
        const int32_t position = file->GetPosition();
        const uint8_t in_section = file->in_entity_section;
        const int16_t counter = block_counter;
        file->in_entity_section = 0;
        auto *block = new CModelBlock();
        int16_t number = static_cast<int16_t>(index);
        ArmFrameBudget();
        ReadTableBlock(index, *block, number);
        block->code = 12;
        blocks.Put(index, block);
        block_counter = counter;
        file->in_entity_section = in_section;
        file->SetPosition(position, 0);
        return IsReferenceBlock(index) ? ShowReference(index) : block->record;
    }
    // A drawing read from DXF holds its blocks' entities in lists already.
    CModelBlock *block = blocks.At(index);
    if (!block)
        return nullptr;
    if (IsReferenceBlock(index))
        return ShowReference(index);
    if (block->entities && Lib()) {
        for (int i = 0; i < block->entities->Count(); ++i) {
            CModelEntity *entity = block->entities->At(i);
            if (entity)
                Lib()->EntityCall(entity->GetResolvedRecord());
        }
    }
    return block->record;
}
