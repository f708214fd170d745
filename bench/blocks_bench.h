// The block lookup of the benchmark: two drawings, one of 300 blocks and one of 30,000
// (each block a few lines, and an INSERT of each in model space), made by the library's
// own writer in a temporary directory from a release 12 template; and, when the corpus has
// its DXF template, two of release 13, of 300 and 10,000 blocks. Round by round each is
// opened and its entities loaded, walked block by block (CDBBlockGet of every index, the
// walk of each block's entities) and closed; printed are, per step and in total, the best
// time per block of both drawings side by side and the ratio of the large one's to the
// small one's: near 1 when every lookup costs the same however many blocks there are.
#ifndef VELKO_BENCH_BLOCKS_BENCH_H
#define VELKO_BENCH_BLOCKS_BENCH_H

namespace velko_bench {

struct BlocksOptions {
    long iterations = 0; // rounds; 0: 5, or one when only `seconds` is given
    double seconds = 0;  // also at least this long; 0: no time asked
    bool json = false;   // one JSON object instead of the text rows
};

// 0 when every drawing was made and walked whole; 1 otherwise.
int RunBlocks(const BlocksOptions &o);

} // namespace velko_bench

#endif
