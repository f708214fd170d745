// The entity stream of release 12: finding frames, erased frames and jumps, the end of the
// section, and the load of the main section (list mode and view mode).
#include "dwg12/r12_loaded_drawing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace velko_test;

namespace {

// The kinds of the main section's entities, the end sentinel included.
std::vector<int> Codes(LoadedR12 &d) {
    std::vector<int> codes;
    for (int i = 0; i < d.Count(); ++i)
        codes.push_back(d->Entities().At(i)->Code());
    return codes;
}

double StartX(LoadedR12 &d, int i) {
    return Field(d.Entity(i)->line.start_point.x);
}

// A frame of a code that has no class (5, 6, 10, above 24).
Bytes ClasslessFrame(uint8_t code) {
    FrameSpec f(code);
    f.body = FrameBody().XY(1, 2).bytes();
    return MakeFrame(f);
}

} // namespace

TEST(R12Frames, ReadFramePeekLeavesThePosition) {
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(1, 2, 3, 4, 5, 6), CircleFrame(0, 0, 1)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    CDrawingFile *file = d->File();
    const int32_t start = static_cast<int32_t>(b.layout().entities_start);
    file->SetPosition(start, 0);
    file->in_entity_section = 1;

    uint8_t head[8] = {};
    short status = 9;
    EXPECT_EQ(d->ReadFrame(head, true, 0, status), nullptr);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(head[0], 1);
    EXPECT_EQ(file->GetPosition(), start);

    // Another code than the one wanted: status 0, and the position stays on the frame.
    EXPECT_EQ(d->ReadFrame(head, false, 3, status), nullptr);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(file->GetPosition(), start);

    const uint8_t *body = d->ReadFrame(head, false, 1, status);
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(status, 1);
    const int16_t length = static_cast<int16_t>(head[2] | head[3] << 8);
    EXPECT_EQ(file->GetPosition(), start + length);
    double x = 0;
    std::memcpy(&x, body, sizeof x);
    EXPECT_EQ(x, 1.0);

    EXPECT_EQ(d->ReadFrame(head, true, 0, status), nullptr);
    EXPECT_EQ(head[0], 3);
    d->ReadFrame(head, false, 3, status);
    EXPECT_EQ(status, 1);
    // Behind the last frame: the end of the section.
    EXPECT_EQ(d->ReadFrame(head, true, 0, status), nullptr);
    EXPECT_EQ(status, -2);
}

TEST(R12Frames, LoadsTheSectionAndAddsTheEndSentinel) {
    Dwg12FileBuilder b;
    BuildDrawing(b,
                 Concat({LineFrame(1, 2, 3, 4, 5, 6), CircleFrame(7, 8, 2), PointFrame(1, 1, 1)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    EXPECT_EQ(Codes(d), (std::vector<int>{1, 3, 2}));
    // A second load finds the list full.
    EXPECT_EQ(d->LoadEntitySection(), 0);

    LoadedR12 e(CurrentTestName() + "_2", b.bytes());
    ASSERT_TRUE(e.opened());
    EXPECT_EQ(e->TriggerLoading(), 1);
    EXPECT_EQ(Codes(e), (std::vector<int>{1, 3, 2, 13}));
    EXPECT_EQ(Field(e.Entity(3)->entity_type), 13);
    // Loading happens once.
    EXPECT_EQ(e->TriggerLoading(), 1);
    EXPECT_EQ(e.Count(), 4);
}

TEST(R12Frames, ErasedFramesAreSkipped) {
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({Erased(LineFrame(9, 0, 0, 0, 0, 0)), LineFrame(1, 0, 0, 0, 0, 0),
                            Erased(CircleFrame(0, 0, 1)), Erased(PointFrame(0, 0, 0)),
                            LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    ASSERT_EQ(Codes(d), (std::vector<int>{1, 1}));
    EXPECT_EQ(StartX(d, 0), 1.0);
    EXPECT_EQ(StartX(d, 1), 2.0);
}

TEST(R12Frames, ErasedFrameLastBeforeTheSectionEnd) {
    // The erased frame is skipped, and the end of the section comes from the next pass.
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0), Erased(LineFrame(2, 0, 0, 0, 0, 0))}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    EXPECT_EQ(Codes(d), (std::vector<int>{1}));
}

TEST(R12Frames, OnlyErasedFramesGiveAnEmptySection) {
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({Erased(LineFrame(1, 0, 0, 0, 0, 0)), Erased(CircleFrame(0, 0, 1))}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -2);
    EXPECT_EQ(d.Count(), 0);
}

TEST(R12Frames, ErasedFrameTooShortEndsTheLoad) {
    // A length below 8 would step backwards: the frame is a failure, not a loop.
    FrameSpec bad(0x81);
    bad.length = 2;
    Dwg12FileBuilder b;
    BuildDrawing(
        b, Concat({LineFrame(1, 0, 0, 0, 0, 0), MakeFrame(bad), LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    // The line before it was read, but its ending fails: it is not kept.
    EXPECT_EQ(d->LoadEntitySection(), -1);
    EXPECT_EQ(d.Count(), 0);
}

TEST(R12Frames, SectionWithNoEntity) {
    // entities_start = entities_end and extra_start beyond: the first peek gives -2, the
    // list stays empty and the load counts as a success.
    Dwg12FileBuilder b;
    BuildDrawing(b, Bytes());
    ASSERT_EQ(b.layout().entities_start, b.layout().entities_end);
    ASSERT_GT(b.layout().extra_start, b.layout().entities_end);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -2);
    EXPECT_EQ(d.Count(), 0);

    LoadedR12 e(CurrentTestName() + "_2", b.bytes());
    ASSERT_TRUE(e.opened());
    EXPECT_EQ(e->TriggerLoading(), 1);
    EXPECT_EQ(Codes(e), (std::vector<int>{13}));
}

TEST(R12Frames, RelativeJumpWithOffsetZeroGoesToTheExtraArea) {
    // Section: line 1, a jump to extra_start + 0. Extra area: line 2, a jump back to the
    // section's end, which ends the section.
    Dwg12FileBuilder b;
    Bytes section = Concat({LineFrame(1, 0, 0, 0, 0, 0), MakeRelativeJumpFrame(0)});
    Bytes extra = Concat({LineFrame(2, 0, 0, 0, 0, 0), MakeJumpFrame(0)});
    BuildDrawing(b, section, Bytes(), extra);
    const uint32_t back = b.layout().entities_end;
    extra = Concat({LineFrame(2, 0, 0, 0, 0, 0), MakeJumpFrame(back)});
    BuildDrawing(b, section, Bytes(), extra);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    ASSERT_EQ(d.Count(), 2);
    EXPECT_EQ(StartX(d, 0), 1.0);
    EXPECT_EQ(StartX(d, 1), 2.0);
}

TEST(R12Frames, RelativeJumpWithAnOffset) {
    Dwg12FileBuilder b;
    Bytes filler = LineFrame(99, 0, 0, 0, 0, 0); // never read
    Bytes section = Concat(
        {MakeRelativeJumpFrame(static_cast<int16_t>(filler.size())), LineFrame(5, 0, 0, 0, 0, 0)});
    Bytes extra = Concat({filler, LineFrame(3, 0, 0, 0, 0, 0), MakeJumpFrame(0)});
    BuildDrawing(b, section, Bytes(), extra);
    // Back into the section, behind the jump frame.
    const uint32_t back = b.layout().entities_start + 10;
    extra = Concat({filler, LineFrame(3, 0, 0, 0, 0, 0), MakeJumpFrame(back)});
    BuildDrawing(b, section, Bytes(), extra);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    ASSERT_EQ(d.Count(), 2);
    EXPECT_EQ(StartX(d, 0), 3.0);
    EXPECT_EQ(StartX(d, 1), 5.0);
}

TEST(R12Frames, AbsoluteJump) {
    // An absolute jump over a frame of the section that is never read.
    Dwg12FileBuilder b;
    Bytes skipped = LineFrame(99, 0, 0, 0, 0, 0);
    const uint32_t start = static_cast<uint32_t>(kDwg12EntitiesStart);
    Bytes section = Concat(
        {LineFrame(1, 0, 0, 0, 0, 0), MakeJumpFrame(0), skipped, LineFrame(2, 0, 0, 0, 0, 0)});
    const uint32_t target =
        start + static_cast<uint32_t>(section.size() - LineFrame(2, 0, 0, 0, 0, 0).size());
    section = Concat(
        {LineFrame(1, 0, 0, 0, 0, 0), MakeJumpFrame(target), skipped, LineFrame(2, 0, 0, 0, 0, 0)});
    BuildDrawing(b, section);
    ASSERT_EQ(b.layout().entities_start, start);
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    ASSERT_EQ(d.Count(), 2);
    EXPECT_EQ(StartX(d, 0), 1.0);
    EXPECT_EQ(StartX(d, 1), 2.0);
}

TEST(R12Frames, JumpIntoItselfEnds) {
    // A jump to its own frame would be followed for ever: the reader's allowance of frame
    // heads runs out and the load ends as broken, keeping nothing of the last entity.
    Dwg12FileBuilder b;
    const uint32_t self = static_cast<uint32_t>(kDwg12EntitiesStart) +
                          static_cast<uint32_t>(LineFrame(1, 0, 0, 0, 0, 0).size());
    BuildDrawing(
        b, Concat({LineFrame(1, 0, 0, 0, 0, 0), MakeJumpFrame(self), LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -1);
    EXPECT_EQ(d.Count(), 0);
    // The drawing still loads (a broken section counts as read).
    LoadedR12 e(CurrentTestName() + "_2", b.bytes());
    ASSERT_TRUE(e.opened());
    EXPECT_EQ(e->TriggerLoading(), 1);
    EXPECT_EQ(Codes(e), (std::vector<int>{13}));
}

TEST(R12Frames, JumpsInACircleEnd) {
    // Two lines and a jump back to the first: without a guard the section would repeat.
    Dwg12FileBuilder b;
    const uint32_t start = static_cast<uint32_t>(kDwg12EntitiesStart);
    BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0), LineFrame(2, 0, 0, 0, 0, 0),
                            MakeJumpFrame(start)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -1);
    // What was read before the allowance ran out stands; it is bounded by the file's size.
    EXPECT_GT(d.Count(), 2);
    EXPECT_LT(d.Count(), static_cast<int>(b.bytes().size()));
}

TEST(R12Frames, Code21FrameEndsTheLoad) {
    // A code 21 frame makes a line that asks for code 1: the frame fails, the load ends.
    FrameSpec line3d(21);
    line3d.body = FrameBody().XYZ(7, 0, 0).XYZ(0, 0, 0).bytes();
    Dwg12FileBuilder b;
    BuildDrawing(
        b, Concat({LineFrame(1, 0, 0, 0, 0, 0), MakeFrame(line3d), LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -1);
    ASSERT_EQ(Codes(d), (std::vector<int>{1}));
    EXPECT_EQ(StartX(d, 0), 1.0);
}

TEST(R12Frames, UnknownCodeIsRefusedKeepingWhatWasRead) {
    for (uint8_t code : {uint8_t(5), uint8_t(6), uint8_t(10), uint8_t(25), uint8_t(0x7F)}) {
        Dwg12FileBuilder b;
        BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0), CircleFrame(0, 0, 1),
                                ClasslessFrame(code), LineFrame(2, 0, 0, 0, 0, 0)}));
        LoadedR12 d(CurrentTestName() + std::to_string(code), b.bytes());
        ASSERT_TRUE(d.opened());
        EXPECT_EQ(d->LoadEntitySection(), -1) << int(code);
        EXPECT_EQ(Codes(d), (std::vector<int>{1, 3})) << int(code);
    }
}

TEST(R12Frames, FrameOfCode0x20EndsTheLoad) {
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0), ClasslessFrame(0x20),
                            LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -1);
    EXPECT_EQ(Codes(d), (std::vector<int>{1}));

    // As the first frame: the loop is not entered.
    Dwg12FileBuilder c;
    BuildDrawing(c, Concat({ClasslessFrame(0x20), LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 e(CurrentTestName() + "_2", c.bytes());
    ASSERT_TRUE(e.opened());
    EXPECT_EQ(e->LoadEntitySection(), -1);
    EXPECT_EQ(e.Count(), 0);
}

TEST(R12Frames, BodyShorterThanItsOptionsIsAFailedFrame) {
    // Options_1 0x01 asks for an extrusion that the body does not hold: nothing is read
    // past the body, and the frame fails.
    FrameSpec f(1);
    f.options_1 = 0x01;
    f.body = FrameBody().XYZ(1, 0, 0).XYZ(0, 0, 0).F64(1.0).bytes();
    Dwg12FileBuilder b;
    BuildDrawing(b,
                 Concat({LineFrame(5, 0, 0, 0, 0, 0), MakeFrame(f), LineFrame(2, 0, 0, 0, 0, 0)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -1);
    EXPECT_EQ(Codes(d), (std::vector<int>{1}));
    EXPECT_EQ(StartX(d, 0), 5.0);
}

TEST(R12Frames, LengthPastTheFileEndIsAFailedFrame) {
    FrameSpec f(1);
    f.body = FrameBody().XYZ(1, 0, 0).XYZ(0, 0, 0).bytes();
    f.length = 32000;
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(5, 0, 0, 0, 0, 0), MakeFrame(f)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), -1);
    EXPECT_EQ(Codes(d), (std::vector<int>{1}));
}

TEST(R12Frames, DecoderEndingGivesTheNextCode) {
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0), CircleFrame(0, 0, 1)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    d->File()->SetPosition(static_cast<int32_t>(b.layout().entities_start), 0);
    d->File()->in_entity_section = 1;
    std::unique_ptr<CR12Entity> line(MakeR12Entity(&d.drawing(), 1));
    uint8_t next = 0;
    EXPECT_EQ(line->ReadDWG(next), 1);
    EXPECT_EQ(next, 3);
    EXPECT_EQ(line->FilePosition(), static_cast<int32_t>(b.layout().entities_start));
    std::unique_ptr<CR12Entity> circle(MakeR12Entity(&d.drawing(), 3));
    EXPECT_EQ(circle->ReadDWG(next), -2);
    EXPECT_EQ(next, 0x20);
}

TEST(R12Frames, ProgressCallbackCountsTheEntities) {
    static std::vector<std::pair<int, int>> calls;
    calls.clear();
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0), CircleFrame(0, 0, 1)}));
    LoadedR12 d(CurrentTestName(), b.bytes());
    ASSERT_TRUE(d.opened());
    d->progress_callback = [](int16_t entities, int16_t blocks) {
        calls.emplace_back(entities, blocks);
    };
    EXPECT_EQ(d->LoadEntitySection(), 1);
    EXPECT_EQ(calls, (std::vector<std::pair<int, int>>{{1, -1}, {2, -1}}));
}

namespace {

// A façade in view mode that keeps what it is handed.
class Recorder : public CLibDrawing {
public:
    Recorder() : CLibDrawing(1) {}
    void EntityCall(void *record) override {
        auto *r = static_cast<CDB_ENTITY *>(record);
        entities.push_back(r->entity_type);
        eed_kept.push_back(r->eed_data != nullptr);
        if (r->entity_type == CDB_LINE)
            xs.push_back(Field(r->line.start_point.x));
    }
    void BlockCall(void *record) override {
        blocks.push_back(static_cast<CDB_ENTITY *>(record)->entity_type);
    }
    std::vector<int> entities, blocks;
    std::vector<bool> eed_kept;
    std::vector<double> xs;
};

} // namespace

TEST(R12Frames, ViewModeHandsTheRecordsOut) {
    FrameSpec with_eed(1);
    with_eed.common.eed = Bytes{1, 2, 3};
    with_eed.body = FrameBody().XYZ(4, 0, 0).XYZ(0, 0, 0).bytes();
    FrameSpec viewport(24);
    viewport.common.eed = MakeMviewData(MviewData{});
    viewport.body = FrameBody().XYZ(1, 2, 0).F64(3).F64(4).I16(2).bytes();
    Dwg12FileBuilder b;
    BuildDrawing(b,
                 Concat({LineFrame(1, 0, 0, 0, 0, 0), MakeFrame(with_eed), MakeFrame(viewport)}));
    Recorder lib;
    LoadedR12 d(CurrentTestName(), b.bytes(), 1, &lib);
    ASSERT_TRUE(d.opened());
    EXPECT_EQ(d->LoadEntitySection(), 1);
    EXPECT_EQ(d.Count(), 0); // nothing is kept
    EXPECT_EQ(lib.entities, (std::vector<int>{1, 1, 24}));
    EXPECT_EQ(lib.xs, (std::vector<double>{1.0, 4.0}));
    // View mode keeps the extended data of a viewport only.
    EXPECT_EQ(lib.eed_kept, (std::vector<bool>{false, false, true}));
    EXPECT_TRUE(lib.blocks.empty());
    EXPECT_EQ(d->Viewports().Head(), nullptr);
}

TEST(R12Frames, ViewModeOfAReferenceUsesBlockCall) {
    Dwg12FileBuilder b;
    BuildDrawing(b, Concat({LineFrame(1, 0, 0, 0, 0, 0)}));
    Recorder lib;
    LoadedR12 d(CurrentTestName(), b.bytes(), 1, &lib);
    ASSERT_TRUE(d.opened());
    d->SetInXref(1);
    EXPECT_EQ(d->LoadEntitySection(), 1);
    EXPECT_TRUE(lib.entities.empty());
    EXPECT_EQ(lib.blocks, (std::vector<int>{1}));
    // A drawing of a reference leaves its shape table to the host: it is its own here.
    d->SetInXref(0);
}
