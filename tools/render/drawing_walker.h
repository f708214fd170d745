// The display walk of the renderer: the main list (or a block's) walked position by
// position in the order CDBNavigate gives, inserts followed into their blocks with their
// placement, hidden entities stepped over as that walk steps over them, and every shown
// entity drawn as its geometry into a group of its own.
#ifndef VELKO_RENDER_DRAWING_WALKER_H
#define VELKO_RENDER_DRAWING_WALKER_H

#include "render/svg_canvas.h"
#include "render/text_painter.h"

#include "velkow32.h"

#include <cstdint>
#include <map>
#include <vector>

namespace render {

// Bounds that keep any drawing from hanging the walk: inserts nested deeper than this
// are not followed, and no more entities than this are drawn in all.
constexpr int kMaxInsertDepth = 16;
constexpr long kMaxDrawnEntities = 2000000;
// Records looked at in all, drawn or hidden: a large grid of a block full of hidden
// entities ends here.
constexpr long kMaxVisitedRecords = 20000000;

// Counts of what the walk drew.
struct WalkCounts {
    int groups = 0;
    int shape_texts = 0;
    int plain_texts = 0;
    // REGION, 3DSOLID and BODY met: their modeler data is shown as nothing.
    int opaque = 0;
};

class DrawingWalker {
public:
    // Draws the entities of one space: paper space when `paper` is set.
    DrawingWalker(int16_t drawing, bool paper, SvgCanvas &canvas);

    // Walks the main list and draws what it shows.
    void DrawMainList();
    const WalkCounts &Counts() const { return counts_; }

private:
    // Where a list is drawn: its map into the world, the colour that BYBLOCK stands for,
    // how deep in inserts, and whether its entities make groups of their own (not those
    // of a dimension's block, which draw into the dimension's group).
    struct Placement {
        Affine map = Affine::Identity();
        int byblock_color = 7;
        int depth = 0;
        bool own_groups = true;
    };
    class Record;

    void DrawList(int16_t block, const Placement &at);
    // The position after a hidden entity at `position - 1` and what it takes along.
    int SkipHidden(int16_t block, int position, int count);
    bool Hidden(Record &record, const Placement &at);
    // The position after the polyline at `position` and its vertices.
    int DrawPolyline(int16_t block, int position, int count, Record &head, const Placement &at);
    void FollowInsert(const CDB_ENTITY &insert, const Placement &at);
    void DrawBlock(int16_t block, const Affine &placement, int byblock_color, bool own_groups,
                   const Placement &at);
    void DrawEntity(Record &record, const Placement &at);
    void DrawGeometry(CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawFaceEdges(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawViewportFrame(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    // The kinds that release 13 added (their own file).
    void DrawRelease13Kind(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawEllipse(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawSpline(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawEndlessLine(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawMText(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawLeader(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawTolerance(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawMline(const CDB_ENTITY &e, const Placement &at, const Rgb &color);
    void DrawText(const TextLayout &layout, const CDB_ENTITY &e, const Placement &at,
                  const Rgb &color);
    void DrawShapeEntity(CDB_ENTITY &e, const Placement &at, const Rgb &color);

    // The colour number an entity is drawn in: BYLAYER through its layer, BYBLOCK
    // through the insert being drawn.
    int ColorNumber(const CDB_ENTITY &e, const Placement &at);
    int LayerColor(int layer_index);
    bool BlockBase(int16_t block, Vec3 *base);

    int16_t drawing_;
    bool paper_;
    SvgCanvas &canvas_;
    TextPainter texts_;
    WalkCounts counts_;
    long drawn_ = 0;
    long visited_ = 0;
    std::map<int, int> layer_colors_;
    std::map<int, std::pair<bool, Vec3>> block_bases_;
};

} // namespace render

#endif
