#include "model/model_entity.h"

#include <cstdlib>

CModelEntity::CModelEntity(int16_t kind) : code(kind) {
    record = static_cast<CDB_ENTITY *>(std::calloc(1, sizeof(CDB_ENTITY)));
    if (!record)
        return;
    record->entity_type = kind;
    record->line_type_index = -1;
    record->color = -1;
    record->line_type_scale = 0.0;
    record->extrusion.x = 0.0;
    record->extrusion.y = 0.0;
    record->extrusion.z = 1.0;
}

CModelEntity::~CModelEntity() {
    std::free(record);
}
