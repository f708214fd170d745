// A drawing of many blocks, made through the library's own editing calls and its DWG
// writer, and the walk of it block by block by index. The benchmark's --blocks mode and the
// tests of the block lookups share them.
//
// What callers may rely on: the drawing made from a template (any drawing CDBNew takes)
// holds the template's blocks followed by `blocks` new ones named "VB<number>", each of
// `entities_per_block` lines, and one INSERT of each new block in model space; it is saved
// in the template's release. The walk reaches every block with CDBBlockGet and every entity
// of each block's list with the entity walk.
#ifndef VELKO_BENCH_BLOCK_DRAWING_H
#define VELKO_BENCH_BLOCK_DRAWING_H

#include <string>

namespace velko_bench {

// Writes the drawing to `out`. False, with the reason in `error`, when a call fails.
bool MakeBlockDrawing(const std::string &template_path, const std::string &out, int blocks,
                      int entities_per_block, std::string *error);

struct BlockWalk {
    bool opened = false;
    long blocks = 0;   // blocks CDBBlockGet handed out
    long entities = 0; // entities of their lists
    long main_entities = 0;
    // Seconds of the three steps: the open with the loading of the entities, the walk, the
    // close.
    double load_seconds = 0;
    double walk_seconds = 0;
    double close_seconds = 0;
};

// Opens `path` and loads its entities, gets every block of the block table by its index
// and walks its entities, then walks the main list, and closes the drawing.
BlockWalk WalkBlocksByIndex(const std::string &path);

} // namespace velko_bench

#endif
