// The process-wide error slot: the code of a failure that has no drawing to be kept in
// (an open that failed, a bad handle, a default record asked for without a place to go).
// The flat functions set it and CDBGetErrorNumber(-123) reads it back.
#ifndef VELKO_LAST_ERROR_H
#define VELKO_LAST_ERROR_H

#include <cstdint>

extern int16_t g_LastError;

#endif
