// Every drawing of the corpus that opens is drawn: the page is well-formed and holds one
// entity group for each entity that the display walk of CDBNavigate shows.
#include "walk/walk_support.h"
#include "render/drawing_renderer.h"

#include "model/navigate_stack.h"
#include "support/corpus.h"
#include "support/mini_xml.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

namespace velko_test {
namespace {

// More CDBNavigate calls than this: a walk without end (a block that inserts itself).
constexpr long kNavigateLimit = 3000000;

CDB_ENTITY Cleared() {
    CDB_ENTITY r;
    std::memset(static_cast<void *>(&r), 0, sizeof r);
    return r;
}

struct NavigateCount {
    long entities = 0; // shown records that are not vertices, sequence ends or block starts
    long attdefs = 0;  // the attribute definitions among them
    bool ended = true;
};

// The display walk with the renderer's filters: off and frozen layers and paper space
// hidden (the layer filter is already on the drawing after the rendering).
NavigateCount CountNavigate(int16_t h) {
    NavigateCount count;
    ResetNavigateStack();
    CDBSpaceFilter(h, 1);
    if (CDBFirstEntity(h, -1) < 0)
        return count;
    for (long calls = 0;; ++calls) {
        if (calls > kNavigateLimit) {
            count.ended = false;
            break;
        }
        CDB_ENTITY r = Cleared();
        if (CDBNavigate(h, &r) < 0)
            break;
        const int kind = r.entity_type;
        if (kind != CDB_VERTEX && kind != CDB_SEQEND && kind != CDB_BLOCK)
            ++count.entities;
        if (kind == CDB_ATTDEF)
            ++count.attdefs;
        walk::FreeCopies(r);
    }
    ResetNavigateStack();
    return count;
}

// The attribute definitions of the main list that the filters show: the ones the
// renderer draws (inside inserted blocks they only ask for values).
long ShownMainListAttdefs(int16_t h) {
    long shown = 0;
    const int count = CDBEntityCount(h, -1);
    for (int position = 0; position < count; ++position) {
        CDB_ENTITY r = Cleared();
        if (CDBGetEntity(h, CDBPackEntityId(-1, static_cast<uint16_t>(position)), &r) < 0)
            break;
        if (r.entity_type == CDB_ATTDEF && CDBCheckEntityFiltering(h, &r) == 240)
            ++shown;
        walk::FreeCopies(r);
    }
    return shown;
}

TEST(RenderCorpus, EveryDrawingThatOpensRendersAWellFormedPageWithOneGroupPerShownEntity) {
    VELKO_REQUIRE_CORPUS();
    int rendered = 0;
    for (const std::string &relative : CorpusFiles()) {
        SCOPED_TRACE(relative);
        const std::string path = CorpusPath(relative);
        const int16_t h = CDBStartFileReading(path.c_str(), nullptr);
        if (h < 0)
            continue;
        render::SvgCanvas canvas;
        render::RenderSummary summary;
        ASSERT_TRUE(render::RenderDrawing(h, render::RenderOptions(), canvas, &summary));
        std::ostringstream svg;
        canvas.WriteSvg(svg, summary.min, summary.max, 800);
        xml::Document doc = xml::Parse(svg.str());
        ASSERT_TRUE(doc.ok()) << doc.error;
        long groups = 0;
        for (const xml::Element *g : doc.root->Descendants("g"))
            groups += g->Attr("class") == "entity";
        EXPECT_EQ(groups, summary.entities);

        // The same rule on both sides: every record the walk shows, but vertices,
        // sequence ends, block starts and attribute definitions met inside inserts.
        const NavigateCount walk = CountNavigate(h);
        if (walk.ended) {
            const long expected = walk.entities - walk.attdefs + ShownMainListAttdefs(h);
            EXPECT_EQ(groups, expected);
        }
        CDBEndOperation(h);
        ++rendered;

        // Paper space of the same drawing, opened afresh: a well-formed page as well.
        const int16_t sheet = CDBStartFileReading(path.c_str(), nullptr);
        ASSERT_GE(sheet, 0);
        render::RenderOptions paper;
        paper.paper = true;
        render::SvgCanvas paper_canvas;
        render::RenderSummary paper_summary;
        EXPECT_TRUE(render::RenderDrawing(sheet, paper, paper_canvas, &paper_summary));
        std::ostringstream paper_svg;
        paper_canvas.WriteSvg(paper_svg, paper_summary.min, paper_summary.max, 800);
        xml::Document paper_doc = xml::Parse(paper_svg.str());
        EXPECT_TRUE(paper_doc.ok()) << paper_doc.error;
        EXPECT_EQ(paper_canvas.EntityCount(), paper_summary.entities);
        CDBEndOperation(sheet);
    }
    EXPECT_GT(rendered, 0);
}

} // namespace
} // namespace velko_test
