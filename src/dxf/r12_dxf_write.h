// What the release 12 DXF writer hands to every record and entity that writes itself: the
// stream, the drawing, and the names of table records by index.
#ifndef VELKO_R12_DXF_WRITE_H
#define VELKO_R12_DXF_WRITE_H

#include "velkow32.h"

#include "dxf/dxf_eed.h"
#include "dxf/r12_dxf_header.h"
#include "records/file_options.h"

#include <cstdint>

class CDxfStream;
class CR12Drawing;

struct R12DxfWriteContext final : R12DxfRecordNames, DxfEedNames {
    R12DxfWriteContext(CDxfStream &stream, CR12Drawing &drawing)
        : stream(stream), drawing(drawing), strict(WriteOption(CDB_WRITE_STRICT_DXF)) {}

    // The name of record `index` of table `t` (r12_tables.h numbers) as the record keeps
    // it; null for an index outside the table and for a record without a name.
    const char *RecordName(int t, int index) const;

    const char *Layer(int index) const override;
    const char *Ltype(int index) const override;
    const char *Style(int index) const override;
    const char *Dimstyle(int index) const override;
    const char *Ucs(int index) const override;
    const char *Appid(int index) const override;
    const char *Block(int index) const;

    CDxfStream &stream;
    CR12Drawing &drawing;
    // The strict road (CDB_WRITE_STRICT_DXF), taken when the save starts: the file leaves
    // out what strict readers refuse and fills what they want filled.
    const bool strict;
};

// 0 "ENDSEC", then 0 "SECTION" and 2 `name`, or, when `last` is not 0, 0 `name` (the end
// mark "EOF"). 1, or 0 when the stream refuses a group.
int WriteSectionBreak(CDxfStream &stream, const char *name, int last);

// Writes a block's start: 0 "BLOCK", the common groups, the groups of the block start's
// layout and the extended data, from `start`, with the name and flags given (those of the
// block's table record). 1, or 0 when the stream refuses a group.
int WriteBlockStartDxf(R12DxfWriteContext &context, const CDB_STARTBLOCK_ENTITY_type &start,
                       const char *name, int16_t flags);

#endif
