#include "dwg13/r13_block.h"

#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_tables.h"
#include "io/bit_stream.h"
#include "io/bit_writer.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

// ---- The block start ----------------------------------------------------------------------

CR13BlockStart::CR13BlockStart(CR13Drawing *owner) : CR13Entity(owner, CDB_BLOCK) {
    file_type = kR13BlockType;
}

CR13BlockStart::~CR13BlockStart() = default;

int CR13BlockStart::ReadBody(CBitStream &stream) {
    std::free(record->block.name);
    std::free(record->block.name_2);
    record->block.name = stream.ReadText();
    record->block.name_2 = DuplicateText(record->block.name);
    return 1;
}

void CR13BlockStart::WriteBody(CBitWriter &writer) const {
    writer.WriteText(record->block.name);
}

uint32_t CR13BlockStart::KindBits() const {
    const char *name = record->block.name;
    return 10 + 8u * static_cast<uint32_t>(name ? std::strlen(name) : 0);
}

// ---- The block ------------------------------------------------------------------------------

CR13Block::CR13Block() = default;
CR13Block::~CR13Block() = default;

void CR13Block::FillRecord() {
    if (!record || !header)
        return;
    std::free(record->name);
    std::free(record->name_2);
    std::free(record->xref_path);
    record->name = DuplicateText(header->RecordName());
    record->name_2 = DuplicateText(record->name);
    record->xref_path = DuplicateText(header->XrefPath() ? header->XrefPath() : "");
    // The header's flag byte is the block table record's; the block start keeps none of
    // it, so that a block stays walkable whatever bits the byte holds.
    record->base_point = header->BasePoint();
    record->entity_type = CDB_BLOCK;
    if (start) {
        start->in_model_flag = header->InModelFlag();
        start->is_xref_block = header->IsXrefBlock();
        if (CDB_ENTITY *own = start->GetData()) {
            own->block.base_point = header->BasePoint();
            own->elevation = header->BasePoint().z;
        }
    }
}
