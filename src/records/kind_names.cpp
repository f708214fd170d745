#include "records/kind_names.h"

#include "velkow32.h"

namespace {

struct KindName {
    int kind;
    const char *name;
};

constexpr KindName kKindNames[] = {
    {CDB_LINE, "LINE"},           {CDB_POINT, "POINT"},       {CDB_CIRCLE, "CIRCLE"},
    {CDB_SHAPE, "SHAPE"},         {CDB_TEXT, "TEXT"},         {CDB_ARC, "ARC"},
    {CDB_TRACE, "TRACE"},         {CDB_SOLID, "SOLID"},       {CDB_BLOCK, "BLOCK"},
    {CDB_ENDBLK, "ENDBLK"},       {CDB_INSERT, "INSERT"},     {CDB_ATTDEF, "ATTDEF"},
    {CDB_ATTRIB, "ATTRIB"},       {CDB_SEQEND, "SEQEND"},     {CDB_POLYLINE, "POLYLINE"},
    {CDB_VERTEX, "VERTEX"},       {CDB_3DLINE, "3DLINE"},     {CDB_3DFACE, "3DFACE"},
    {CDB_DIMENSION, "DIMENSION"}, {CDB_VIEWPORT, "VIEWPORT"}, {CDB_ELLIPSE, "ELLIPSE"},
    {CDB_SPLINE, "SPLINE"},       {CDB_REGION, "REGION"},     {CDB_3DSOLID, "3DSOLID"},
    {CDB_BODY, "BODY"},           {CDB_RAY, "RAY"},           {CDB_XLINE, "XLINE"},
    {CDB_MTEXT, "MTEXT"},         {CDB_LEADER, "LEADER"},     {CDB_TOLERANCE, "TOLERANCE"},
    {CDB_MLINE, "MLINE"},         {CDB_OLEFRAME, "OLEFRAME"},
};

} // namespace

const char *EntityKindName(int kind) {
    for (const KindName &k : kKindNames)
        if (k.kind == kind)
            return k.name;
    return "UNKNOWN";
}
