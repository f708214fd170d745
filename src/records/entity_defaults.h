// Default records of the entity kinds: what CDBEntityDefault fills.
//
// FillEntityDefault clears a record and gives it the defaults of the common part; the kind's
// own defaults come from the function that the kind's row in the registry
// (records/entity_kinds.h) points at. Texts that a default sets point at one text of the
// library, "NOT_ASSIGNED", and the viewport's extended data at a block of the library: a
// caller neither frees nor changes them.
#ifndef VELKO_ENTITY_DEFAULTS_H
#define VELKO_ENTITY_DEFAULTS_H

#include "velkow32.h"

// Clears the record and fills the defaults of the kind `type`; always 0.
short FillEntityDefault(CDB_ENTITY *entity, short type);

// The kinds' own defaults, one function per kind, for the registry's rows. Each is called on
// a record whose common part has its defaults and whose kind part is zero.
void FillNoKindFields(CDB_ENTITY &record); // the kind keeps zeros in its own part
void FillLineDefault(CDB_ENTITY &record);
void FillPointDefault(CDB_ENTITY &record);
void FillCircleDefault(CDB_ENTITY &record);
void FillShapeDefault(CDB_ENTITY &record);
void FillTextDefault(CDB_ENTITY &record);
void FillTraceDefault(CDB_ENTITY &record);
void FillSolidDefault(CDB_ENTITY &record);
void FillInsertDefault(CDB_ENTITY &record);
void FillAttDefDefault(CDB_ENTITY &record);
void FillAttribDefault(CDB_ENTITY &record);
void FillFaceDefault(CDB_ENTITY &record);
void FillDimensionDefault(CDB_ENTITY &record);
void FillViewportDefault(CDB_ENTITY &record);
void FillMTextDefault(CDB_ENTITY &record);
void FillLeaderDefault(CDB_ENTITY &record);
void FillToleranceDefault(CDB_ENTITY &record);

#endif
