// The points of the public records built from their coordinates, for the defaults and
// anywhere else a record is filled in place.
#ifndef VELKO_RECORDS_RECORD_POINTS_H
#define VELKO_RECORDS_RECORD_POINTS_H

#include "velkow32.h"

inline CDB_POINT2 Point2(double x, double y) {
    CDB_POINT2 p;
    p.x = x;
    p.y = y;
    return p;
}

inline CDB_POINT3 Point3(double x, double y, double z) {
    CDB_POINT3 p;
    p.x = x;
    p.y = y;
    p.z = z;
    return p;
}

#endif
