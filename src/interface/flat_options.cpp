// The reading and writing options beyond the original interface: see the public header.
#include "model/base_drawing.h"
#include "records/file_options.h"
#include "interface/drawing_table.h"

extern "C" {

int32_t CDBSetReadOptions(int32_t options) {
    const int32_t before = g_ReadOptions;
    g_ReadOptions = options & CDB_READ_TOLERANT;
    return before;
}

int32_t CDBGetReadOptions(void) {
    return g_ReadOptions;
}

int32_t CDBSetWriteOptions(int32_t options) {
    const int32_t before = g_WriteOptions;
    g_WriteOptions = options & CDB_WRITE_INTEROPERABLE;
    return before;
}

int32_t CDBGetWriteOptions(void) {
    return g_WriteOptions;
}

int32_t CDBGetTolerantReads(int16_t h) {
    CLibDrawing *lib = LookupDrawing(h);
    if (!lib)
        return CDB_FAIL;
    return lib->Drawing()->TolerantReads();
}

} // extern "C"
