// The process-wide table of open drawings and the global error slot.
#ifndef VELKO_DRAWING_TABLE_H
#define VELKO_DRAWING_TABLE_H

#include "records/last_error.h"
#include "velkow32.h"

#include <functional>

class CDrawingTable {
public:
    static constexpr int kSlots = 256;

    // Stores the drawing in the lowest free slot; its number is the handle, -123 when full.
    int16_t AddDrawing(CLibDrawing *drawing);
    // The drawing under a handle, or null for a handle out of range or a free slot.
    CLibDrawing *GetDrawing(int16_t handle) const;
    // Frees the slot without destroying the drawing: 1, or 0 for a bad or empty slot.
    int RemoveDrawing(int16_t handle);

private:
    CLibDrawing *slots[kSlots] = {};
};

extern CDrawingTable g_DrawingTable;

// Opens the drawing file `name` as CDBStartFileReading does (as DWG first, then as DXF)
// and gives it a handle: the handle, or -123 with g_LastError telling why. `before_load`,
// when not empty, is called with each drawing object an attempt opened, before its load
// reads it (a DXF, or a release 13 DWG, is read whole by that load).
int16_t OpenDrawingFile(const char *name, const char *search_path,
                        const std::function<void(CBaseDrawing &)> &before_load);

// The first step of every flat function: the drawing under the handle, with g_LastError
// set to 0 for a good handle and to -422 for a bad one.
CLibDrawing *LookupDrawing(int16_t handle);
// The drawing object under the handle, looked up as LookupDrawing does; null for a bad
// handle. The edit side clears the global code before the lookup.
CBaseDrawing *ReadDrawing(int16_t handle);
CBaseDrawing *EditDrawing(int16_t handle);
// LookupDrawing for a call whose `argument` must be given: null as well when it is missing,
// with "invalid parameter" then stored in the drawing.
CLibDrawing *LookupDrawingWith(int16_t handle, const void *argument);

#endif
