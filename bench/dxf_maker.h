// Makes large release 12 DXF drawings for the benchmark, ASCII or binary, through the
// library's own group writer.
//
// The drawing has a HEADER (beginning with $ACADVER "AC1009"), the tables VPORT (*ACTIVE),
// LTYPE (CONTINUOUS), LAYER (8 layers), STYLE (STANDARD), VIEW, UCS, APPID, DIMSTYLE, a
// BLOCKS section and an ENTITIES section. The entities are of mixed kinds: LINE, POINT,
// CIRCLE, ARC, TEXT, TRACE, SOLID, 3DFACE, INSERT with ATTRIBs and SEQEND, POLYLINE with
// VERTEXes and SEQEND, some carrying extended data. A walk through the flat interface ends a
// list at 32767 entities, so the entities are spread over the main section and "bulk"
// blocks of at most kListLimit entities each; a small block "MARK", which the INSERTs name,
// holds a few more.
#ifndef VELKO_BENCH_DXF_MAKER_H
#define VELKO_BENCH_DXF_MAKER_H

#include <string>

namespace velko_bench {

// Most entities put in one list (the main section or one block).
constexpr long kListLimit = 30000;
// Fewest entities a drawing can be made with: the MARK block and a little more.
constexpr long kMinEntities = 16;

// What a made drawing holds.
struct DxfLayout {
    long entities = 0;      // every entity written, in all lists, ATTRIB/VERTEX/SEQEND too
    long main_entities = 0; // of these, in the ENTITIES section
    long blocks = 0;        // blocks in the BLOCKS section, MARK included
    long long bytes = 0;    // size of the file
};

// The entities a walk of such a drawing visits with CDBGetNextEntity: all of them, plus the
// end mark that closes the main list and the one of each block's list.
inline long ExpectedWalk(const DxfLayout &layout) {
    return layout.entities + 1 + layout.blocks;
}

// Writes a drawing of exactly `entities` entities (at least kMinEntities) to `path`, in
// binary form when `binary` is set. The same arguments give the same groups in both forms.
// On failure returns false with a reason in `error`.
bool MakeBenchDxf(const std::string &path, bool binary, long entities, DxfLayout *layout,
                  std::string *error);

} // namespace velko_bench

#endif
