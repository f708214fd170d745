// Entities taking a public record in, for the edit functions.
#include "dwg12/r12_entities.h"
#include "dwg12/r12_entity_layout.h"
#include "io/record_field.h"
#include "records/entity_kinds.h"
#include "records/heap_text.h"

#include <cstdlib>
#include <cstring>

namespace {

// The extended data block, `size` bytes and a zero byte behind them; null for none.
uint8_t *CopyEed(const uint8_t *data, uint16_t size) {
    if (!data || size == 0)
        return nullptr;
    auto *copy = static_cast<uint8_t *>(std::malloc(size_t(size) + 1));
    if (copy) {
        std::memcpy(copy, data, size);
        copy[size] = 0;
    }
    return copy;
}

} // namespace

void CR12Entity::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record)
        return;
    ReleaseOwned();
    // The values come over as they stand; the pointers among them are still the caller's
    // and are replaced by copies of the object's own, or dropped.
    const size_t bytes = layout ? layout->record_bytes : offsetof(CDB_ENTITY, line);
    std::memcpy(static_cast<void *>(record), in, bytes);

    record->handle = DuplicateText(record->handle);
    record->eed_data = CopyEed(record->eed_data, record->eed_size);
    if (!record->eed_data)
        record->eed_size = 0;
    record->layer_handle = nullptr;
    record->line_type_handle = nullptr;
    for (uint16_t offset : OwnedTextsOf(code))
        StoreField<char *>(record, offset, DuplicateText(LoadField<char *>(record, offset)));
    // The references of release 13 (handle texts) are not carried by a release 12 entity.
    for (uint16_t offset : HandleTextsOf(code))
        StoreField<char *>(record, offset, nullptr);
}

void CR12BlockReference::SetRecord(const CDB_ENTITY *in) {
    CR12PlainEntity::SetRecord(in);
    block_name.clear();
    named = false;
}

void CR12Viewport::SetRecord(const CDB_ENTITY *in) {
    if (!in || !record)
        return;
    std::free(record->viewport.frozen_layers);
    record->viewport.frozen_layers = nullptr;
    CR12Entity::SetRecord(in);
    CDB_VIEWPORT_type &v = record->viewport;
    const int16_t count = v.frozen_layers ? v.frozen_layer_count : int16_t(0);
    int16_t *layers = nullptr;
    if (count > 0) {
        layers = static_cast<int16_t *>(std::malloc(size_t(count) * sizeof(int16_t)));
        if (layers)
            std::memcpy(layers, v.frozen_layers, size_t(count) * sizeof(int16_t));
    }
    v.frozen_layers = layers;
    v.frozen_layer_count = layers ? count : int16_t(0);
}
