// The process-wide options that go beyond the original behaviour of the readers and the
// writers: the tolerant roads a reader may take through files that real programs wrote, and
// the interoperable forms a writer may give its files. Both sets start empty, which is the
// original behaviour; the flat functions CDBSetReadOptions and CDBSetWriteOptions change
// them, with the CDB_READ_ and CDB_WRITE_ bits of the public header.
//
// A drawing takes the read options in force when it is made (CBaseDrawing), so that a
// change between its open and its lazy load does not mix two roads in one drawing. A save
// takes the write options in force when it starts.
#ifndef VELKO_FILE_OPTIONS_H
#define VELKO_FILE_OPTIONS_H

#include <cstdint>

extern int32_t g_ReadOptions;
extern int32_t g_WriteOptions;

// Whether the writers give their files the interoperable form `bits` (all of them).
inline bool WriteOption(int32_t bits) {
    return (g_WriteOptions & bits) == bits;
}

#endif
