// The reader that fills a release 13 drawing from a DXF file "AC1012", ASCII or binary.
//
// A reader is made when the drawing takes an opened DXF file and lives as long as there is
// something left to read. It owns the group stream (release 13 column: two-byte group codes
// in a binary file) and the group just read; the drawing owns everything the reader builds.
//
// The load has the two phases of the release 12 reader: HEADER and TABLES up to the first
// BLOCKS or ENTITIES section, then BLOCKS, ENTITIES and the multiline styles of OBJECTS
// until "EOF". Entities and table records read their own groups (CR13Entity::ReadDXF,
// CR13TableRecord::ReadDXF) through this reader's stream. References to table records are
// kept as handle texts, found by name in the drawing's tables.
//
// The reader scans values for the words it knows and passes over what it does not know:
// an entity kind without a name in its dispatch table is skipped group by group, so a group
// inside it whose value is a known name starts that entity. Where the file ends before a
// section, table or entity is closed, or holds a name that its class refuses ("3DLINE",
// "OLE2FRAME"), the load ends with "Invalid File." instead of waiting for a group that
// never comes.
//
// Everything is read into the drawing's lists, in view mode too: LoadEntities and LoadBlock
// hand them out afterwards, as for a DWG. The ENTITIES section fills the list of the
// "*MODEL_SPACE" block, which becomes the main list at the end of the load (closed by that
// block's ENDBLK); the "*PAPER_SPACE" block is kept apart. Both leave the block list, so
// that block numbers stay block table indices.
#ifndef VELKO_R13_DXF_READER_H
#define VELKO_R13_DXF_READER_H

#include "dxf/dxf_eed.h"
#include "dxf/dxf_stream.h"
#include "dxf/r13_dxf_header.h"

#include <cstdint>

class CEntityList;
class CR13Drawing;

class CR13DxfReader {
public:
    // Reads the drawing's file, positioned where the groups begin, in `form`.
    CR13DxfReader(CR13Drawing &drawing, CDxfStream::Form form);
    CR13DxfReader(const CR13DxfReader &) = delete;
    CR13DxfReader &operator=(const CR13DxfReader &) = delete;

    // What entities and records read themselves through.
    CDxfStream &Stream() { return stream_; }
    const DxfEedLookup &EedLookup() const { return eed_lookup_; }
    CR13Drawing &Drawing() { return drawing_; }

    // The z of the point of the POLYLINE read last: the elevation of the vertices behind
    // it that carry no mesh marker. 0 before any polyline.
    double PolylineZ() const { return polyline_z_; }
    void SetPolylineZ(double z) { polyline_z_ = z; }

    // Both phases: 1, or 0 with the drawing's code set as the reader says and the
    // drawing's LoadFailure() telling why.
    int Load();

    // The object type that the entity dispatch makes for a group 0 name, 0 for a name it
    // does not know. "3DLINE" gives the line's type and "OLE2FRAME" the OLE frame's, whose
    // readers then refuse them.
    static int EntityTypeOfName(const char *name);

private:
    // The names of the two spaces' blocks and block records.
    static constexpr const char *kModelSpace = "*MODEL_SPACE";
    static constexpr const char *kPaperSpace = "*PAPER_SPACE";
    static bool Is(const char *value, const char *word);

    int LoadUpToBlocks();
    int LoadBlocksAndEntities();
    int ReadTables();
    int ReadTable(const char *name);
    int ReadBlocks();
    int ReadBlock();
    int ReadEntities();
    int ReadMlineStyle();
    // Reads entities into `list` until the value is `end` ("ENDSEC", "ENDBLK"): 1, or 0
    // (the code set) when the file ends or an entity cannot be gone past.
    int ReadEntityList(CEntityList &list, const char *end);
    // The steps around the sections: the header's names after the tables, the blocks'
    // records after BLOCKS, the spaces at the end.
    void ResolveAfterTables();
    void MatchBlockRecords();
    void AdoptSpaces();
    // Reads the next group into code_ / value_: false when the file has ended.
    bool NextGroup();
    // Ends a load that met the end of the file or a group it cannot go past.
    int Invalid(const char *why);
    // Ends a load that a section refused, with no code.
    int Refused(const char *why);

    CR13Drawing &drawing_;
    CDxfStream stream_;
    DxfEedLookup eed_lookup_;
    double polyline_z_ = 0.0;
    int16_t code_ = 0;
    char value_[CDxfStream::kValueSize] = {};
    // The section at which the first phase stopped.
    char next_section_[CDxfStream::kValueSize] = {};
    R13DxfHeaderNames header_names_;
    // Set once the load met the end of the file or a group it cannot go past.
    bool invalid_ = false;
};

#endif
