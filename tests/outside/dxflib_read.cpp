// An outside reader for the tests: reads DXF files with dxflib (the Debian package
// libdxflib-dev, a DXF library of another maker) and tells, one line of JSON a file, whether
// it took the file and what it found: {"file": ..., "ok": true, "layers": N, "blocks": N,
// "entities": N}. The exit status is 0 when every file was taken. It serves only as a check
// of the library's DXF writer in tests and is no part of the library.
#include <dxflib/dl_creationadapter.h>
#include <dxflib/dl_dxf.h>

#include <cstdio>
#include <string>

namespace {

class Tally : public DL_CreationAdapter {
public:
    void addLayer(const DL_LayerData &) override { ++layers; }
    void addBlock(const DL_BlockData &) override { ++blocks; }
    void addPoint(const DL_PointData &) override { ++entities; }
    void addLine(const DL_LineData &) override { ++entities; }
    void addArc(const DL_ArcData &) override { ++entities; }
    void addCircle(const DL_CircleData &) override { ++entities; }
    void addPolyline(const DL_PolylineData &) override { ++entities; }
    void addVertex(const DL_VertexData &) override { ++entities; }
    void addInsert(const DL_InsertData &) override { ++entities; }
    void addText(const DL_TextData &) override { ++entities; }
    void addSolid(const DL_SolidData &) override { ++entities; }
    void add3dFace(const DL_3dFaceData &) override { ++entities; }

    int layers = 0;
    int blocks = 0;
    int entities = 0;
};

std::string Quoted(const std::string &text) {
    std::string q = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\')
            q += '\\';
        q += c;
    }
    return q + "\"";
}

} // namespace

int main(int argc, char **argv) {
    int status = 0;
    for (int i = 1; i < argc; ++i) {
        Tally tally;
        DL_Dxf dxf;
        const bool ok = dxf.in(argv[i], &tally);
        if (!ok)
            status = 1;
        std::printf(
            "{\"file\": %s, \"ok\": %s, \"layers\": %d, \"blocks\": %d, \"entities\": %d}\n",
            Quoted(argv[i]).c_str(), ok ? "true" : "false", tally.layers, tally.blocks,
            tally.entities);
    }
    return status;
}
