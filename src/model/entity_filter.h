// The filters of the display walk: the layer filter hides entities by their layer's
// state, the space filter by their space. The bits are those of CDBLayerFilter and
// CDBSpaceFilter; 0 hides nothing.
#ifndef VELKO_ENTITY_FILTER_H
#define VELKO_ENTITY_FILTER_H

#include "model/base_drawing.h"

// Layer bits: 1 a layer that is off (negative colour), 2 one that is on, 4 one that is
// frozen. A kind 17 and an entity whose layer the drawing lacks are never layer-filtered.
bool HiddenByLayer(CBaseDrawing &drawing, int16_t layer_bits, const CDB_ENTITY *entity);
// Space bits: 1 paper space, 2 model space.
bool HiddenBySpace(int16_t space_bits, const CDB_ENTITY *entity);
// Either filter.
inline bool HiddenByFilters(CBaseDrawing &drawing, int16_t layer_bits, int16_t space_bits,
                            const CDB_ENTITY *entity) {
    return HiddenByLayer(drawing, layer_bits, entity) || HiddenBySpace(space_bits, entity);
}

#endif
