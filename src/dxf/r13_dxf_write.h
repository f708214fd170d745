// What the release 13 DXF writer hands to every entity and table record that writes itself:
// the stream, the drawing, and the names that the records keep as handle texts.
//
// A release 13 record names its layer, line type, text style, dimension style, block and
// multiline style by handle; the file names them by name. The lookups here turn a handle
// back into the name of the live record that has it, and give an empty text for a handle no
// record has, so that a group is never left without a value.
//
// Private to src/dxf.
#ifndef VELKO_R13_DXF_WRITE_H
#define VELKO_R13_DXF_WRITE_H

#include "velkow32.h"

#include "dwg13/r13_drawing.h"

#include <cstddef>
#include <cstdint>

class CDxfStream;

class CR13DxfWriter {
public:
    CR13DxfWriter(CR13Drawing &drawing, CDxfStream &stream) : drawing_(drawing), stream_(stream) {}

    CDxfStream &Stream() const { return stream_; }
    CR13Drawing &Drawing() const { return drawing_; }

    // The name of the record of `table` whose handle is `handle`; "" when none has it.
    const char *NameOfHandle(R13Table table, const char *handle) const;
    // The name of a line type by handle: "BYBLOCK" for "0", "BYLAYER" for "-1".
    const char *LineTypeName(const char *handle) const;

    // The extended data of a record in the stored form of this release, as groups 1000 and
    // up: applications and layers by name. 1, or 0 when the stream refuses a group.
    int WriteExtendedData(const uint8_t *data, size_t size) const;

    // Remembers the entity that stopped the save.
    void StopAt(const char *kind, const char *handle) const {
        drawing_.SetDxfSaveStop(kind, handle);
    }

private:
    CR13Drawing &drawing_;
    CDxfStream &stream_;
};

// ---- The parts of the file, one unit each ----------------------------------------------------

// The variables of the HEADER section (behind its 0 "SECTION", 2 "HEADER"). 1, or 0 when a
// group cannot be written or a table index gives an empty name.
int WriteR13DxfHeaderVariables(CR13DxfWriter &writer);
// The nine tables of the TABLES section. 1, or 0.
int WriteR13DxfTables(CR13DxfWriter &writer);
// The blocks of the BLOCKS section, the two spaces first. 1, or 0.
int WriteR13DxfBlocks(CR13DxfWriter &writer);
// The entities of a list up to the kind 13 that closes it (or its end). 1, or 0 when a
// group cannot be written or an entity has no DXF writer.
int WriteR13DxfEntityList(CR13DxfWriter &writer, const CEntityList &list);
// The OBJECTS section built from the drawing: 0 "SECTION" to 0 "EOF". 1, or 0.
int WriteR13DxfObjects(CR13DxfWriter &writer);
// The three dictionary handles that the OBJECTS section uses: the drawing's own when it
// has three, otherwise three that no object of the drawing has.
void R13DxfDictionaryHandles(CR13Drawing &drawing, uint32_t out[3]);

#endif
