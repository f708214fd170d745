// The tolerant roads of the DXF readers, between a drawing and its group stream.
//
// A drawing keeps the read options in force when it was made; the stream takes the DXF ones
// of them when a reader attaches it (DxfReadOptionsOf), and the roads the stream has taken
// go back to the drawing when a phase of the load ends (DxfRoadsNote), so that
// CDBGetTolerantReads reports them whether the phase succeeded or not.
#ifndef VELKO_DXF_TOLERANCE_H
#define VELKO_DXF_TOLERANCE_H

#include "dxf/dxf_stream.h"
#include "model/base_drawing.h"

#include <cstdint>

// The CDB_READ_ bits of `drawing` that the DXF readers serve.
inline int32_t DxfReadOptionsOf(const CBaseDrawing &drawing) {
    int32_t options = 0;
    for (int32_t bit : {CDB_READ_FULL_BINARY_CODES, CDB_READ_COMMENTS, CDB_READ_LONG_NAMES})
        if (drawing.ReadsTolerantly(bit))
            options |= bit;
    return options;
}

// Hands the roads that the stream took to the drawing when it goes out of scope.
class DxfRoadsNote {
public:
    DxfRoadsNote(const CDxfStream &stream, CBaseDrawing &drawing)
        : stream_(stream), drawing_(drawing) {}
    DxfRoadsNote(const DxfRoadsNote &) = delete;
    DxfRoadsNote &operator=(const DxfRoadsNote &) = delete;
    ~DxfRoadsNote() { drawing_.NoteTolerantRead(stream_.TolerantReadsTaken()); }

private:
    const CDxfStream &stream_;
    CBaseDrawing &drawing_;
};

#endif
