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
#ifndef VELKO_R13_DXF_READER_H
#define VELKO_R13_DXF_READER_H

#include "dxf/dxf_eed.h"
#include "dxf/dxf_stream.h"

#include <cstdint>

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

    // Both phases: 1, or 0 with the drawing's code set.
    int Load();

private:
    CR13Drawing &drawing_;
    CDxfStream stream_;
    DxfEedLookup eed_lookup_;
    double polyline_z_ = 0.0;
};

#endif
