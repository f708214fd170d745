// Changing a real release 13 DWG the way a later save of its writer would: new objects
// appended behind its tables, where the update pass of the reader finds them.
//
// AppendBehindTables writes the objects where the file's object map stood and moves the
// map (and everything behind it) after them; the offsets of the head that pointed at or
// past the map move along. The map itself is not extended: the reader of this library
// walks the objects behind the tables by their sizes, up to the map.
#ifndef VELKO_TEST_R13_CORPUS_EDIT_H
#define VELKO_TEST_R13_CORPUS_EDIT_H

#include "support/dwg13_builder.h"

#include "interface/test_files.h"

#include "dwg13/r13_drawing.h"

#include "velkow32.h"

#include <cstdint>
#include <memory>
#include <vector>

class CEntityList;

namespace velko_test {

// The file `file` with `objects` appended behind its tables.
std::vector<uint8_t> AppendBehindTables(const std::vector<uint8_t> &file,
                                        const std::vector<R13Object> &objects);

// A drawing loaded from bytes through a temporary file (kept while the drawing lives).
struct LoadedR13 {
    std::unique_ptr<TempFile> file;
    std::unique_ptr<CR13Drawing> drawing;
    int loaded = 0; // LoadDWG's result; 0 also when the open failed
};
LoadedR13 LoadR13Bytes(const std::vector<uint8_t> &bytes, const char *name);

// The handle of entity `i` of `list` as a number.
uint32_t HandleNumberAt(CEntityList &list, int i);

// The indices of the model space entities of kind `kind` in the main list `main` that an
// update behind the tables reaches, in list order: the handle is below the space's end
// (the handle of the last model space entity; paper space and the closing ENDBLK follow),
// and every entity in front of it has a lower handle (the patch walks the chain in handle
// order, and a real drawing's chain is not sorted throughout).
std::vector<int> ReachableEntities(CEntityList &main, int16_t kind);

// A model space LINE object with the handle `handle` on the layer of `like`, ending at
// (x, 0, 0); with a `previous` link (relative) when it is not 0.
R13Object LineLike(const CDB_ENTITY &like, uint32_t handle, double x, uint32_t previous = 0);

} // namespace velko_test

#endif
