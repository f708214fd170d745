#include "dwg13/r13_entity_kinds.h"

#include "dwg13/r13_block.h"
#include "dwg13/r13_classic_kinds.h"
#include "velkow32.h"

namespace {

// The block end and the sequence end hold nothing of their own; what they add to the size
// in bits is nothing either.
CR13Entity *MakeEndBlock(CR13Drawing *drawing, int16_t type) {
    return new CR13PlainEntity(drawing, CDB_ENDBLK, type, 0);
}
CR13Entity *MakeSeqEnd(CR13Drawing *drawing, int16_t type) {
    return new CR13PlainEntity(drawing, CDB_SEQEND, type, 0);
}
CR13Entity *MakeBlockStart(CR13Drawing *drawing, int16_t) {
    return new CR13BlockStart(drawing);
}

// clang-format off
constexpr R13EntityKind kKinds[] = {
    //  type  public kind      class
    {   1,  CDB_TEXT,          MakeR13Text},
    {   2,  CDB_ATTRIB,        MakeR13Attrib},
    {   3,  CDB_ATTDEF,        MakeR13Attdef},
    {   4,  CDB_BLOCK,         MakeBlockStart},
    {   5,  CDB_ENDBLK,        MakeEndBlock},
    {   6,  CDB_SEQEND,        MakeSeqEnd},
    {   7,  CDB_INSERT,        MakeR13Insert},
    {   8,  CDB_INSERT,        MakeR13Insert},
    {  10,  CDB_VERTEX,        MakeR13Vertex},
    {  11,  CDB_VERTEX,        MakeR13Vertex},
    {  12,  CDB_VERTEX,        MakeR13Vertex},
    {  13,  CDB_VERTEX,        MakeR13Vertex},
    {  14,  CDB_VERTEX,        MakeR13Vertex},
    {  15,  CDB_POLYLINE,      MakeR13Polyline},
    {  16,  CDB_POLYLINE,      MakeR13Polyline},
    {  17,  CDB_ARC,           MakeR13Circle},
    {  18,  CDB_CIRCLE,        MakeR13Circle},
    {  19,  CDB_LINE,          MakeR13Line},
    {  20,  CDB_DIMENSION,     MakeR13Dimension},
    {  21,  CDB_DIMENSION,     MakeR13Dimension},
    {  22,  CDB_DIMENSION,     MakeR13Dimension},
    {  23,  CDB_DIMENSION,     MakeR13Dimension},
    {  24,  CDB_DIMENSION,     MakeR13Dimension},
    {  25,  CDB_DIMENSION,     MakeR13Dimension},
    {  26,  CDB_DIMENSION,     MakeR13Dimension},
    {  27,  CDB_POINT,         MakeR13Point},
    {  28,  CDB_3DFACE,        MakeR13Face},
    {  29,  CDB_POLYLINE,      MakeR13Polyline},
    {  30,  CDB_POLYLINE,      MakeR13Polyline},
    {  31,  CDB_SOLID,         MakeR13Trace},
    {  32,  CDB_TRACE,         MakeR13Trace},
    {  33,  CDB_SHAPE,         MakeR13Shape},
    {  34,  CDB_VIEWPORT,      MakeR13Viewport},
    {  35,  CDB_ELLIPSE,       nullptr},
    {  36,  CDB_SPLINE,        nullptr},
    {  37,  CDB_REGION,        nullptr},
    {  38,  CDB_3DSOLID,       nullptr},
    {  39,  CDB_BODY,          nullptr},
    {  40,  CDB_RAY,           nullptr},
    {  41,  CDB_XLINE,         nullptr},
    {  44,  CDB_MTEXT,         nullptr},
    {  45,  CDB_LEADER,        nullptr},
    {  46,  CDB_TOLERANCE,     nullptr},
    {  47,  CDB_MLINE,         nullptr},
    { 500,  CDB_OLEFRAME,      nullptr},
};
// clang-format on

} // namespace

const R13EntityKind *FindR13EntityKind(int type) {
    for (const R13EntityKind &kind : kKinds)
        if (kind.type == type)
            return &kind;
    return nullptr;
}
