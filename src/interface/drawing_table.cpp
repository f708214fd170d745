#include "interface/drawing_table.h"

CDrawingTable g_DrawingTable;

int16_t CDrawingTable::AddDrawing(CLibDrawing *drawing) {
    for (int i = 0; i < kSlots; ++i) {
        if (!slots[i]) {
            slots[i] = drawing;
            return static_cast<int16_t>(i);
        }
    }
    return CDB_FAIL;
}

CLibDrawing *CDrawingTable::GetDrawing(int16_t handle) const {
    if (handle < 0 || handle >= kSlots)
        return nullptr;
    return slots[handle];
}

int CDrawingTable::RemoveDrawing(int16_t handle) {
    if (handle < 0 || handle >= kSlots || !slots[handle])
        return 0;
    slots[handle] = nullptr;
    return 1;
}

CLibDrawing *LookupDrawing(int16_t handle) {
    CLibDrawing *lib = g_DrawingTable.GetDrawing(handle);
    g_LastError = lib ? 0 : CDB_ERR_INVALID_DRAWING_HANDLE;
    return lib;
}

CBaseDrawing *ReadDrawing(int16_t handle) {
    CLibDrawing *lib = LookupDrawing(handle);
    return lib ? lib->Drawing() : nullptr;
}

CBaseDrawing *EditDrawing(int16_t handle) {
    g_LastError = 0;
    return ReadDrawing(handle);
}

CLibDrawing *LookupDrawingWith(int16_t handle, const void *argument) {
    CLibDrawing *lib = LookupDrawing(handle);
    if (lib && !argument)
        lib->SetError(CDB_ERR_INVALID_PARAMETER);
    return argument ? lib : nullptr;
}
