// The release 13 save of the benchmark: a release 13 DWG is loaded (CDBStartFileReading
// reads such a drawing whole) and saved as DWG (CDBSaveAsDWG) into a temporary directory,
// round by round, with one untimed round first. It prints the load, the save and both with
// the best and the median time, MB/s (of the input for the load and both, of the file
// written for the save) and entities/s, then the process's peak resident memory.
#ifndef VELKO_BENCH_R13_SAVE_H
#define VELKO_BENCH_R13_SAVE_H

#include <string>

namespace velko_bench {

struct R13SaveOptions {
    std::string file;    // the release 13 DWG; empty: DefaultR13SaveFile()
    long iterations = 0; // rounds; 0: 20, or one when only `seconds` is given
    double seconds = 0;  // also at least this long; 0: no time asked
    bool json = false;   // one JSON object instead of the text rows
};

// dwg13/example_r13_relaid.dwg of the corpus the build was configured with.
std::string DefaultR13SaveFile();

// 0 when every round loaded and saved, and also when the default file is absent (said so
// on stdout: a build without the corpus has nothing to measure); 1 otherwise.
int RunR13Save(const R13SaveOptions &o);

} // namespace velko_bench

#endif
