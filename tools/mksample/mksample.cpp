// mksample OUT.dwg
//
// Writes the small release 12 drawing that the repository ships as
// data/sample.dwg. It is made by the test builder, not by the library, so the
// file is an independent check of the library's reader: a 12 x 9 drawing with
// three live layers and one deleted, two line types, a text style, a view, a
// UCS, the active viewport, the ACAD application id and a dimension style,
// no blocks and no entities.
#include "support/dwg12_builder.h"

#include <cstdio>

using namespace velko_test;

namespace {

// A layer record; `flags` 0x80 marks it deleted.
void AddLayer(Dwg12FileBuilder &b, const char *name, int16_t color, int16_t ltype,
              uint8_t flags = 0) {
    LayerRec layer;
    layer.flags = flags;
    layer.name = name;
    layer.color = color;
    layer.ltype = ltype;
    b.Add(layer);
}

// A table record of which only the name is set.
template <typename Record> void AddNamed(Dwg12FileBuilder &b, const char *name) {
    Record record;
    record.name = name;
    b.Add(record);
}

Dwg12FileBuilder MakeSample() {
    Dwg12FileBuilder b;

    Dwg12HeaderBlock &h = b.header();
    h = Dwg12HeaderBlock::Defaults();
    h.SetPoint3(hdr::insbase, 0, 0, 0);
    h.SetPoint3(hdr::extmin, 0, 0, 0);
    h.SetPoint3(hdr::extmax, 12, 9, 0);
    h.SetPoint2(hdr::limmin, 0, 0);
    h.SetPoint2(hdr::limmax, 12, 9);
    h.SetPoint2(hdr::viewctr, 6, 4.5);
    h.SetF64(hdr::viewsize, 9);
    h.SetF64(hdr::ltscale, 1);
    h.SetI16(hdr::treedepth, 3020);
    h.SetI16(hdr::clayer, 0);
    h.SetI16(hdr::textstyle, 0);
    h.SetI16(hdr::dimstyle, 0);
    h.SetI16(hdr::handling, 1);
    h.SetHandseed({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2A, 0x0F}); // "2A0F"
    h.SetI16(hdr::dwgcodepage, 2);                                   // "iso8859-1"

    // Layers: index 2 is a deleted record that keeps its slot.
    AddLayer(b, "0", 7, 0);
    AddLayer(b, "WALLS", 1, 1); // DASHED
    AddLayer(b, "OLDLAYER", 5, 0, 0x80);
    AddLayer(b, "DIMS", 3, 0);

    LtypeRec continuous;
    continuous.name = "CONTINUOUS";
    continuous.description = "Solid line";
    continuous.alignment = 65;
    b.Add(continuous);
    LtypeRec dashed;
    dashed.name = "DASHED";
    dashed.description = "__ __ __ __ __ __ __ __ __ __";
    dashed.alignment = 65;
    dashed.pattern_length = 0.75;
    dashed.dashes = {0.5, -0.25};
    b.Add(dashed);

    StyleRec standard;
    standard.name = "STANDARD";
    standard.height = 0;
    standard.width_factor = 1;
    standard.last_height = 0.2;
    standard.font_file = "txt";
    b.Add(standard);

    ViewRec front;
    front.name = "FRONT";
    front.height = 9;
    front.width = 12;
    front.center[0] = 6;
    front.center[1] = 4.5;
    front.direction[0] = 0;
    front.direction[1] = -1;
    front.direction[2] = 0;
    b.Add(front);

    AddNamed<UcsRec>(b, "TOP");

    VportRec active;
    active.name = "*ACTIVE";
    active.view_height = 9;
    active.view_center[0] = 6;
    active.view_center[1] = 4.5;
    active.aspect_ratio = 12.0 / 9.0;
    b.Add(active);

    AddNamed<AppidRec>(b, "ACAD");
    AddNamed<DimstyleRec>(b, "STANDARD");

    return b;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: mksample OUT.dwg\n");
        return 2;
    }
    Dwg12FileBuilder b = MakeSample();
    Bytes file = b.Build();
    if (!WriteFile(argv[1], file)) {
        std::fprintf(stderr, "mksample: cannot write %s\n", argv[1]);
        return 1;
    }
    std::printf("%s: %zu bytes\n", argv[1], file.size());
    return 0;
}
