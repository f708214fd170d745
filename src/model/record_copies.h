// The texts that a record handed out in list mode owns: GetRecord, GetCurrentEntity,
// GetEntity and the block walk give the caller copies of their own (malloc) of the texts
// a record points at. These free them again and null the pointers.
#ifndef VELKO_RECORD_COPIES_H
#define VELKO_RECORD_COPIES_H

#include "velkow32.h"

// TEXT one, ATTRIB two, ATTDEF three, DIMENSION one, block start three.
void FreeRecordCopies(CDB_ENTITY *record);
// The xref path and the two names of a block record of the block walk.
void FreeBlockCopies(CDB_STARTBLOCK_ENTITY_type *block);

#endif
