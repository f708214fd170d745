// The block lookup of the benchmark: two drawings, one of 300 blocks and one of 30,000
// (each block a few lines, and an INSERT of each in model space), made by the library's
// own writer in a temporary directory from a release 12 template, and from a release 13
// one when the corpus has it. Round by round each is opened and walked block by block
// (CDBBlockGet of every index, the walk of each block's entities); printed are, per
// drawing, the best and the median time of a round, the time per block at each, and the
// ratio of the large drawing's time per block to the small one's: near 1 when every lookup
// costs the same however many blocks there are.
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
