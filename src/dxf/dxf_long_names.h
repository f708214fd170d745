// Names longer than a release 12 record holds, on the tolerant road of CDB_READ_LONG_NAMES.
//
// The original road keeps a table name in 31 characters and looks names up by those 31
// characters, so that a group naming a longer record (a layer of 38 characters) finds none.
// With long names kept whole, the lookup that the original road misses is made again by the
// whole name; nothing changes for a name that the original lookup finds or for a name of at
// most 31 characters.
#ifndef VELKO_DXF_LONG_NAMES_H
#define VELKO_DXF_LONG_NAMES_H

#include "model/table_list.h"

// Whether `name` is longer than a release 12 record keeps.
bool IsLongTableName(const char *name);

// The index of the first live record of `list` whose name equals `name` ignoring case (as
// CTableList::FindNoCase), or -1. When `long_names` is set and the original lookup misses a
// long name, the whole names of the records are compared; `*took_road` is then set when that
// finds the record.
int FindTableNameNoCase(const CTableList &list, const char *name, bool long_names, bool *took_road);

#endif
