// The display walk of CDBNavigate, for any drawing class: it walks the main section
// through the drawing's entity cursor, follows inserts into their blocks (the return
// stack of navigate_stack.h brings the walk back behind them) and steps over what the
// filters hide, with the runs of vertices or attributes that follow a hidden entity.
#ifndef VELKO_DISPLAY_WALK_H
#define VELKO_DISPLAY_WALK_H

#include "model/base_drawing.h"
#include "model/navigate_stack.h"

#include <cstdint>

// One call of CDBNavigate on a loaded drawing.
class CDisplayWalk {
public:
    // `record` receives the entities; in list mode (`list_mode`) the copies of a record
    // that the walk filled and does not give out are freed.
    CDisplayWalk(CBaseDrawing &drawing, int16_t layer_bits, int16_t space_bits, bool list_mode,
                 CDB_ENTITY *record)
        : drawing_(drawing), layer_bits_(layer_bits), space_bits_(space_bits),
          list_mode_(list_mode), record_(record) {}

    // The position of the entity given out (its id's low 16 bits), with the cursor moved
    // behind it for the next call; -133 at the end of the walk, -123 on failure.
    int16_t Run();

private:
    // Steps over a hidden entity and the vertices or attributes that follow it, up to and
    // with the kind 17 that closes them; the id of the entity behind.
    int32_t SkipHidden(long &steps);
    // The record at the cursor, into the caller's record.
    int32_t Current();
    int16_t End(int32_t status);
    // Whether the insert `id` may enter block `target`: not deeper than the nesting
    // limit, and not into a block that is being walked already.
    static bool MayEnter(int32_t id, int16_t target);

    CBaseDrawing &drawing_;
    int16_t layer_bits_;
    int16_t space_bits_;
    bool list_mode_;
    CDB_ENTITY *record_;
    bool filled_ = false;
};

#endif
