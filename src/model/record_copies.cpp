#include "model/record_copies.h"

#include <cstdlib>

void FreeRecordCopies(CDB_ENTITY *record) {
    auto release = [](char *&text) {
        std::free(text);
        text = nullptr;
    };
    switch (record->entity_type) {
    case CDB_TEXT:
        release(record->text.text);
        break;
    case CDB_ATTRIB:
        release(record->attrib.value);
        release(record->attrib.tag);
        break;
    case CDB_ATTDEF:
        release(record->attdef.default_value);
        release(record->attdef.prompt);
        release(record->attdef.tag);
        break;
    case CDB_DIMENSION:
        release(record->dimension.text);
        break;
    case CDB_BLOCK:
        release(record->block.xref_path);
        release(record->block.name);
        release(record->block.name_2);
        break;
    default:
        break;
    }
}

void FreeBlockCopies(CDB_STARTBLOCK_ENTITY_type *block) {
    std::free(block->xref_path);
    std::free(block->name);
    std::free(block->name_2);
    block->xref_path = block->name = block->name_2 = nullptr;
}
