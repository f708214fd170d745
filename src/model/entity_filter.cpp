#include "model/entity_filter.h"

bool HiddenByLayer(CBaseDrawing &drawing, int16_t bits, const CDB_ENTITY *entity) {
    if (entity->entity_type == CDB_SEQEND || bits == 0)
        return false;
    const CDB_LAYER_TBL_type *layer = drawing.GetLayerTable(entity->layer_index);
    if (!layer)
        return false;
    if ((bits & 1) && layer->color < 0)
        return true;
    if ((bits & 2) && layer->color >= 0)
        return true;
    if ((bits & 4) && (layer->flags & 1))
        return true;
    return false;
}

bool HiddenBySpace(int16_t bits, const CDB_ENTITY *entity) {
    if (bits == 0)
        return false;
    if ((bits & 1) && entity->space != 0)
        return true;
    if ((bits & 2) && entity->space == 0)
        return true;
    return false;
}
