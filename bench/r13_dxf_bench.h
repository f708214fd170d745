// The release 13 DXF bench: a release 13 drawing of about N entities (200 000 by default) is
// made by the library itself -- the corpus's dxf13/v.dxf saved as DWG and opened again, so
// that the drawing is one read from a DWG, then lines, circles, arcs, texts and polylines
// with their vertices added through the flat calls, in blocks of at most 30 000 entities
// each (a list walk ends at 32 767) -- and
// written as ASCII DXF and as binary DXF, round by round after one untimed round; the ASCII
// file is read back the same way. It prints each step's best and median time with MB/s of
// the file written or read, then the process's peak resident memory.
#ifndef VELKO_BENCH_R13_DXF_H
#define VELKO_BENCH_R13_DXF_H

#include <string>

namespace velko_bench {

struct R13DxfOptions {
    std::string file;    // the release 13 drawing to start from; empty: DefaultR13DxfFile()
    long entities = 0;   // entities to add; 0: 200 000
    long iterations = 0; // rounds; 0: 5, or one when only `seconds` is given
    double seconds = 0;  // also at least this long; 0: no time asked
    bool json = false;   // one JSON object instead of the text rows
};

// dxf13/v.dxf of the corpus the build was configured with.
std::string DefaultR13DxfFile();

// 0 when every round wrote and read, and also when the default file is absent (said so on
// stdout: a build without the corpus has nothing to measure); 1 otherwise.
int RunR13Dxf(const R13DxfOptions &o);

} // namespace velko_bench

#endif
