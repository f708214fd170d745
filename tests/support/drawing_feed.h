// Reading everything that an opened drawing offers through the flat interface, as an
// application does: every table record, the header, the entity lists of a release 12 DWG,
// the walks of the main list and every block, the display walk, the viewport chain and the
// extended data of every walked entity; the saves of a drawing in every form of its release;
// and the feed of one file from its file info to its close.
//
// Every answer that breaks the interface is noted as trouble; nothing here stops on it. Free
// of any test framework and of threads, so that the mutation tests and the fuzz targets
// share it.
#pragma once

#include "velkow32.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace velko_test {

// Reads at most `max` bytes of a text the library handed out, so that a sanitizer sees a
// pointer into freed or too small memory.
size_t Touch(const char *text, size_t max);

struct ReadReport {
    long records = 0;    // table records, and the entities of a release 12 DWG's lists
    long walked = 0;     // records handed out by the walks
    std::string trouble; // empty when every call answered as it should
    size_t sink = 0;     // keeps the reads from being optimised away

    void Note(const std::string &what) {
        if (trouble.empty())
            trouble = what;
    }
};

// Every table record, the whole header and a few variables by name.
ReadReport ReadEverything(int16_t h);
// Loads the entities and the blocks of a release 12 DWG and reads them all; nothing for
// another kind of drawing.
void ReadEntities(int16_t h, ReadReport *report);
// Walks an opened drawing as an application does, through the flat interface: the main
// section, the blocks, the display walk and the viewport chain. Each walk must end, with
// its end value; a failed load must answer -123 everywhere.
void WalkEverything(int16_t h, ReadReport *report);

// The outcome of feeding one file to the library.
struct Outcome {
    bool opened = false;
    int16_t status = 0;   // the handle, or the failure status
    int16_t code = 0;     // the reason of a refusal
    double seconds = 0.0; // file info, open, reads and close
    long records = 0;     // as ReadReport
    long walked = 0;      // as ReadReport
    int saved = 0;        // the forms the drawing was saved in
    std::string trouble;  // empty when every call answered as it should
};

// Saves an opened release 12 drawing as DWG, as ASCII DXF and as binary DXF next to
// `path`, and removes what was written: the number of saves that succeeded. A save may
// refuse a damaged drawing; it must end without a crash or a sanitizer report.
int SaveEveryForm(int16_t h, const std::string &path);

// Saves an opened drawing of either release in every form it has (DWG, ASCII DXF, binary
// DXF) next to `path`, feeds each file that was written as a drawing of its own, and
// removes it: the number of saves that succeeded. Neither the saves nor the feeds of what
// they wrote may crash; what they refuse is their business.
int SaveAndReread(int16_t h, const std::string &path);

// FeedFile without a watchdog: the whole feed of one file on this thread. With `reread`
// the saves are those of SaveAndReread.
Outcome FeedDrawing(const std::string &path, bool save = false, bool reread = false);

} // namespace velko_test
