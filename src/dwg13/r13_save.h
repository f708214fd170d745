// Saving a release 13 drawing as a DWG "AC1012".
//
// The save is a rewrite that borrows from the drawing's open source file: the file head,
// the header variables (only the handle seed is put in anew), the classes section, the
// trailing and preview sections and every object that the load did not decode are copied;
// the block control, the block headers, the entities and the table records are encoded
// from memory, one object at a time in a small bit writer, each going out in one write
// through the file's buffer. The object map is then written from the drawing's map, which
// by then holds every object's new offset.
//
// A drawing without a DWG source (read from DXF, or new) is saved by the same steps with
// nothing to carry: no objects are copied, no trailing and no preview section is written,
// and the sections a reader needs are made from memory -- a head of three section records
// (header variables, classes, object map), the header variables encoded from the drawing's
// header, an empty classes section. Before that every object to be written that has no
// handle takes a fresh one from the handle seed, the control objects list their records,
// the entities take the mode bits and owners by which a DWG places them and the block
// records the references that bound their blocks (r13_save_handles.h). These stay with
// the drawing, whatever becomes of the save.
//
// What callers may rely on:
// - every object written ends in the check FF FF, the map's sections end in FF FF and the
//   map closes with 00 02 01 D0 (no real checks are computed);
// - the map keeps only the objects the new file holds, sorted by handle;
// - the drawing's save progress hook counts the entities of every chain, the block headers
//   and the table records as they go out (control objects, BLOCK and ENDBLK objects and
//   carried objects are not counted), from 0 at the start of each save;
// - on failure Run gives 0 and the drawing's map and file are as before the save: the
//   caller owns the output file and decides what becomes of it;
// - the objects come out in the order a DWG reader walks: the block control, every block
//   (its record, its entities, BLOCK and ENDBLK), model space, paper space, the tables
//   with their controls, carried objects, multiline styles; so the object written first,
//   the block control, also has the lowest offset in the map, where a reader of a head
//   with three records starts.
#ifndef VELKO_R13_SAVE_H
#define VELKO_R13_SAVE_H

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

class CBitWriter;
class CDrawingFile;
class CEntityList;
class CObjectMap;
class CR13Drawing;
class CR13Entity;
struct CR13Block;
class CR13BlockRecord;

// What a save of the drawing as it is now writes and counts for the save hook: the
// entities of the chains (an ENDBLK goes with its block, not counted), the blocks of the
// block list, and the records (block headers and the records of the other tables).
struct R13SaveCounts {
    long entities = 0;
    long blocks = 0;
    long records = 0;
};
R13SaveCounts CountSavedObjects(CR13Drawing &drawing);

class CR13DwgSaver {
public:
    // Where the save went wrong.
    // kLimit: the drawing does not fit the form; the drawing holds CDB_ERR_FORM_LIMIT and
    // the limit's words.
    enum Failure { kNone, kOutput, kHeader, kSequence, kLimit };

    // `source` is the file the drawing was read from, null for a drawing that has none.
    CR13DwgSaver(CR13Drawing &drawing, CDrawingFile *source, CDrawingFile &output);

    // Writes the whole file. 1, or 0 with Why() telling the step.
    int Run();
    Failure Why() const { return failure; }
    // The new offset of every object written, by handle, sorted: the drawing's map after
    // the save.
    const std::vector<std::pair<uint32_t, int32_t>> &Written() const { return written; }
    int32_t ObjectsStart() const { return objects_start; }

    // Carries one object over unchanged: the object standing at `source_offset` of the
    // source goes out as it is and takes `handle`'s place in the new map. 1, or 0 when
    // nothing stands there.
    int CopyObjectAt(uint32_t handle, int32_t source_offset);
    // The same by the object's handle in the drawing's map (an offset of 0: not carried).
    int CopyObjectByHandle(uint32_t handle);
    int CopyObject(const char *handle_text);

private:
    // The sections in front of the objects (r13_save_sections.cpp): copied from the source,
    // or made from memory without one.
    bool WriteHead();
    bool WriteHeader();
    bool CopyHeader();
    bool EncodeHeader();
    const char *CurrentLineTypeHandle(const char *kept);
    bool WriteClasses();
    bool WriteBlocks();
    bool WriteBlock(CR13Block &block, CR13BlockRecord *header, CEntityList &chain, int filter);
    bool WriteChain(CR13Block &block, CEntityList &chain, int filter);
    bool WriteEntity(CR13Entity &entity);
    bool LinkSequence(CEntityList &chain, int at, int filter);
    bool WriteTables();
    bool WriteCarried();
    bool WriteMap();
    bool RewriteTrailing();
    bool RewritePreview();

    // Puts one built object out and notes its handle's new offset.
    bool PutObject(const CBitWriter &writer, uint32_t handle);
    bool Put(const void *bytes, uint32_t size);
    bool PatchLong(int32_t at, uint32_t value);
    bool SealHead();
    bool ReadSource(int32_t at, void *bytes, uint32_t size);
    uint32_t SourceLong(int32_t at);
    void Note(uint32_t handle, int32_t offset);
    bool Fail(Failure why);

    CR13Drawing &drawing;
    CDrawingFile *source;
    CDrawingFile &output;
    int32_t write_offset = 0;
    int32_t objects_start = 0;
    Failure failure = kNone;
    std::vector<std::pair<uint32_t, int32_t>> written;
    // Whether the checks are computed (the interoperable road) or fixed (the original).
    const bool real_checks;
    // The file head as written and patched since, for its check.
    std::vector<uint8_t> head;
};

#endif
