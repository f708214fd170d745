// The reader that fills a release 12 drawing from a DXF file, ASCII or binary.
//
// A reader is made when the drawing takes an opened DXF file and lives only as long as
// there is something left to read: the drawing drops it once its load is complete (in view
// mode, once LoadEntities has handed the ENTITIES section out). It owns the group stream,
// the group just read and the name of the section the first phase stopped at; the drawing
// owns everything the reader builds.
//
// The load runs in two phases. The first reads up to the first BLOCKS or ENTITIES section:
// HEADER and TABLES, in any order, found by their names wherever they stand; then the
// header's names become table indices. The second reads BLOCKS and ENTITIES until "EOF".
// The reader is loose by design: it scans values for the words it knows and passes over
// what it does not know. Where the file ends before a section, table or entity is closed,
// or holds a group that cannot be gone past (an entity kind that has no class), the load
// ends with "Invalid File." instead of waiting for a group that never comes.
#ifndef VELKO_R12_DXF_READER_H
#define VELKO_R12_DXF_READER_H

#include "dxf/dxf_eed.h"
#include "dxf/dxf_stream.h"

#include <cstdint>

class CR12Drawing;
class CEntityList;

class CR12DxfReader {
public:
    // Reads the drawing's file, positioned where the groups begin, in `form`.
    CR12DxfReader(CR12Drawing &drawing, CDxfStream::Form form);
    CR12DxfReader(const CR12DxfReader &) = delete;
    CR12DxfReader &operator=(const CR12DxfReader &) = delete;

    // What an entity reads itself through.
    CDxfStream &Stream() { return stream_; }
    const DxfEedLookup &EedLookup() const { return eed_lookup_; }

    // Both phases: 1, or 0 with the drawing's code set as the reader says. A phase that
    // already ran is not run again.
    int Load();
    // View mode: hands the ENTITIES section that the load left to the application. True
    // when the section was read; nothing is read when the load did not stop before it.
    bool HandOutEntities();
    // The drawing was saved to another file: the stream reads nothing more, and the form
    // is that of the save.
    void DetachInput(CDxfStream::Form form);

private:
    // The phases and section readers fill the drawing's tables, lists and load flags
    // directly (the reader is the drawing's friend). Each returns 1, or 0 with the code
    // set as the reader says; a file that ends too early sets "Invalid File.".
    int LoadUpToBlocks();
    int LoadBlocksAndEntities();
    int ReadTables();
    int ReadTable(int t);
    int ReadBlocks();
    int ReadBlock(int16_t &block_number);
    int ReadEntities();
    // Reads the entity whose name stands in value_ and keeps it: 1, or 0 when its kind has
    // no class or the file ended inside it.
    int ReadEntity(CEntityList *list, bool in_block);
    // Reads the next group into code_ / value_: false when the file has ended.
    bool NextGroup();
    // Ends a load that met the end of the file or a group it cannot go past.
    int Invalid();

    CR12Drawing &drawing_;
    CDxfStream stream_;
    DxfEedLookup eed_lookup_;
    int16_t code_ = 0;
    char value_[CDxfStream::kValueSize] = {};
    // The section at which the first phase stopped; empty once the second read it all.
    char next_section_[256] = {};
};

#endif
