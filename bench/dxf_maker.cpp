// Makes the large release 12 DXF drawings of the benchmark; see dxf_maker.h.
//
// Groups come in the order in which the library's own release 12 writer puts them: the
// common groups 8, 6, 62, 5, 39 of an entity, then the kind's groups, then extended data.
// Every group goes through CDxfStream, so the ASCII and the binary file hold the same groups.
#include "dxf_maker.h"

#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace velko_bench {
namespace {

constexpr int kLayerCount = 8;
const char *const kLayers[kLayerCount] = {"0",    "WALL", "DOOR",  "AXIS",
                                          "TEXT", "DIM",  "HATCH", "NOTE"};
const int16_t kLayerColours[kLayerCount] = {7, 1, 2, 3, 4, 5, 6, 8};
const char *const kAppName = "VELKOBENCH";
const char *const kMarkBlock = "MARK";
// Entities in the MARK block: a circle, two lines and two attribute definitions.
constexpr long kMarkEntities = 5;
// The first entity handle; handles count up from here.
constexpr unsigned long kFirstHandle = 0x100;

// The repeating pattern of the bulk: each unit is one entity or one chain.
enum Unit {
    kLine,
    kLineEed,
    kCircle,
    kArc,
    kPoint,
    kText,
    kLine2,
    kTrace,
    kSolid,
    kFace,
    kInsertChain,
    kPolylineChain,
    kArcEed,
    kTextJustified,
    kCircle2,
    kLine3,
    kUnitCount
};
// INSERT, two ATTRIBs, SEQEND.
constexpr long kInsertChainSize = 4;
// POLYLINE, eight VERTEXes, SEQEND.
constexpr int kPolylineVertices = 8;
constexpr long kPolylineChainSize = kPolylineVertices + 2;

long UnitSize(int unit) {
    if (unit == kInsertChain)
        return kInsertChainSize;
    if (unit == kPolylineChain)
        return kPolylineChainSize;
    return 1;
}

class Maker {
public:
    explicit Maker(bool binary) : binary_(binary) {}

    bool Run(const std::string &path, long entities, DxfLayout *layout, std::string *error);

private:
    // ---- Groups; after the first refused write every further one is skipped -----------
    void Text(int16_t code, const char *text) {
        if (ok_)
            ok_ = stream_.WriteText(code, text) == 1;
    }
    void Real(int16_t code, double value) {
        if (ok_)
            ok_ = stream_.WriteReal(code, value) == 1;
    }
    void Int(int16_t code, int16_t value) {
        if (ok_)
            ok_ = stream_.WriteInt16(code, value) == 1;
    }
    void Point3(int16_t code, double x, double y, double z) {
        if (ok_)
            ok_ = stream_.WritePoint3(CDB_POINT3{x, y, z}, code) == 1;
    }
    void Point2(int16_t code, double x, double y) {
        if (ok_)
            ok_ = stream_.WritePoint2(CDB_POINT2{x, y}, code) == 1;
    }

    // ---- Numbers -----------------------------------------------------------------------
    uint32_t Next() {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<uint32_t>(state_ >> 33);
    }
    // A coordinate in [0, 1000) with two decimals.
    double Coord() { return static_cast<double>(Next() % 100000u) / 100.0; }
    double Size(double low, double high) {
        return low + (high - low) * static_cast<double>(Next() % 10000u) / 10000.0;
    }
    double Angle() { return static_cast<double>(Next() % 3600u) / 10.0; }

    // ---- Sections ----------------------------------------------------------------------
    void Header(long entities);
    void Tables();
    void SectionBreak(const char *next);
    void Block(const char *name, int16_t flags);
    void EndBlock();
    void MarkBlock();
    void Bulk(long count);

    // ---- Entities ----------------------------------------------------------------------
    // Group 0 and the common groups. `layer` is an index into kLayers.
    void Begin(const char *kind, int layer);
    void Handle();
    void Eed();
    void Unit(int unit);
    void Line(bool eed);
    void PointEntity();
    void Circle();
    void Arc(bool eed);
    void TextEntity(bool justified);
    void Quad(const char *kind, bool face);
    void InsertChain();
    void PolylineChain();
    void Seqend(int layer);

    bool binary_;
    CDrawingFile file_;
    CDxfStream stream_;
    bool ok_ = true;
    uint64_t state_ = 0x9E3779B97F4A7C15ULL;
    unsigned long handle_ = kFirstHandle;
    long serial_ = 0; // entities begun so far: picks layers, colours and options
    long next_unit_ = 0;
};

void Maker::SectionBreak(const char *next) {
    Text(0, "ENDSEC");
    Text(0, "SECTION");
    Text(2, next);
}

void Maker::Header(long entities) {
    Text(0, "SECTION");
    Text(2, "HEADER");
    // $ACADVER must come first: the version check at open reads no further.
    Text(9, "$ACADVER");
    Text(1, "AC1009");
    Text(9, "$INSBASE");
    Point3(10, 0.0, 0.0, 0.0);
    Text(9, "$EXTMIN");
    Point3(10, 0.0, 0.0, 0.0);
    Text(9, "$EXTMAX");
    Point3(10, 1000.0, 1000.0, 0.0);
    Text(9, "$LIMMIN");
    Point2(10, 0.0, 0.0);
    Text(9, "$LIMMAX");
    Point2(10, 1000.0, 1000.0);
    Text(9, "$ORTHOMODE");
    Int(70, 0);
    Text(9, "$REGENMODE");
    Int(70, 1);
    Text(9, "$FILLMODE");
    Int(70, 1);
    Text(9, "$LTSCALE");
    Real(40, 1.0);
    Text(9, "$TEXTSIZE");
    Real(40, 2.5);
    Text(9, "$TEXTSTYLE");
    Text(7, "STANDARD");
    Text(9, "$CLAYER");
    Text(8, "0");
    Text(9, "$CELTYPE");
    Text(6, "BYLAYER");
    Text(9, "$CECOLOR");
    Int(62, 256);
    Text(9, "$LUNITS");
    Int(70, 2);
    Text(9, "$LUPREC");
    Int(70, 4);
    Text(9, "$HANDLING");
    Int(70, 1);
    char seed[32];
    std::snprintf(seed, sizeof seed, "%lX", kFirstHandle + static_cast<unsigned long>(entities));
    Text(9, "$HANDSEED");
    Text(5, seed);
    Text(9, "$TILEMODE");
    Int(70, 1);
}

void Maker::Tables() {
    // VPORT: the one active viewport, its groups in the positional order the reader expects.
    Text(0, "TABLE");
    Text(2, "VPORT");
    Int(70, 1);
    Text(0, "VPORT");
    Text(2, "*ACTIVE");
    Int(70, 0);
    Point2(10, 0.0, 0.0);
    Point2(11, 1.0, 1.0);
    Point2(12, 500.0, 500.0);
    Point2(13, 0.0, 0.0);
    Point2(14, 1.0, 1.0);
    Point2(15, 10.0, 10.0);
    Point3(16, 0.0, 0.0, 1.0);
    Point3(17, 0.0, 0.0, 0.0);
    Real(40, 1000.0);
    Real(41, 1.5);
    Real(42, 50.0);
    Real(43, 0.0);
    Real(44, 0.0);
    Real(50, 0.0);
    Real(51, 0.0);
    Int(71, 0);
    Int(72, 100);
    Int(73, 1);
    Int(74, 3);
    Int(75, 0);
    Int(76, 0);
    Int(77, 0);
    Int(78, 0);
    Text(0, "ENDTAB");

    // LTYPE before LAYER: a layer names its line type.
    Text(0, "TABLE");
    Text(2, "LTYPE");
    Int(70, 1);
    Text(0, "LTYPE");
    Text(2, "CONTINUOUS");
    Int(70, 0);
    Text(3, "Solid line");
    Int(72, 65);
    Int(73, 0);
    Real(40, 0.0);
    Text(0, "ENDTAB");

    Text(0, "TABLE");
    Text(2, "LAYER");
    Int(70, kLayerCount);
    for (int i = 0; i < kLayerCount; ++i) {
        Text(0, "LAYER");
        Text(2, kLayers[i]);
        Int(70, 0);
        Int(62, kLayerColours[i]);
        Text(6, "CONTINUOUS");
    }
    Text(0, "ENDTAB");

    Text(0, "TABLE");
    Text(2, "STYLE");
    Int(70, 1);
    Text(0, "STYLE");
    Text(2, "STANDARD");
    Int(70, 0);
    Real(40, 0.0);
    Real(41, 1.0);
    Real(50, 0.0);
    Int(71, 0);
    Real(42, 2.5);
    Text(3, "txt");
    Text(4, "");
    Text(0, "ENDTAB");

    for (const char *empty : {"VIEW", "UCS"}) {
        Text(0, "TABLE");
        Text(2, empty);
        Int(70, 0);
        Text(0, "ENDTAB");
    }

    Text(0, "TABLE");
    Text(2, "APPID");
    Int(70, 2);
    for (const char *app : {"ACAD", kAppName}) {
        Text(0, "APPID");
        Text(2, app);
        Int(70, 0);
    }
    Text(0, "ENDTAB");

    Text(0, "TABLE");
    Text(2, "DIMSTYLE");
    Int(70, 0);
    Text(0, "ENDTAB");
}

void Maker::Block(const char *name, int16_t flags) {
    Text(0, "BLOCK");
    Text(8, "0");
    Text(2, name);
    Int(70, flags);
    Point3(10, 0.0, 0.0, 0.0);
    Text(3, name);
}

void Maker::EndBlock() {
    Text(0, "ENDBLK");
    Text(8, "0");
}

// The block that every INSERT names: a circle, a cross and the two attribute definitions
// that the INSERTs' ATTRIBs answer.
void Maker::MarkBlock() {
    Block(kMarkBlock, 2);
    Begin("CIRCLE", 0);
    Point3(10, 0.0, 0.0, 0.0);
    Real(40, 1.0);
    Begin("LINE", 0);
    Point3(10, -1.0, 0.0, 0.0);
    Point3(11, 1.0, 0.0, 0.0);
    Begin("LINE", 0);
    Point3(10, 0.0, -1.0, 0.0);
    Point3(11, 0.0, 1.0, 0.0);
    const char *const tags[2] = {"NUMBER", "OWNER"};
    const char *const prompts[2] = {"Part number", "Owner"};
    for (int i = 0; i < 2; ++i) {
        Begin("ATTDEF", 0);
        Point3(10, 1.5, i == 0 ? 0.0 : -1.0, 0.0);
        Real(40, 0.5);
        Text(1, "");
        Text(3, prompts[i]);
        Text(2, tags[i]);
        Int(70, 0);
    }
    EndBlock();
}

void Maker::Handle() {
    char text[32];
    std::snprintf(text, sizeof text, "%lX", handle_++);
    Text(5, text);
}

void Maker::Begin(const char *kind, int layer) {
    Text(0, kind);
    Text(8, kLayers[layer]);
    if (serial_ % 7 == 3)
        Text(6, "CONTINUOUS");
    if (serial_ % 5 == 1)
        Int(62, static_cast<int16_t>(1 + serial_ % 255));
    Handle();
    if (serial_ % 11 == 4)
        Real(39, Size(0.5, 5.0));
    ++serial_;
}

void Maker::Eed() {
    char text[64];
    std::snprintf(text, sizeof text, "bench item %ld", serial_);
    Text(1001, kAppName);
    Text(1000, text);
    Int(1070, static_cast<int16_t>(serial_ % 30000));
    Real(1040, Size(0.0, 100.0));
    Point3(1010, Coord(), Coord(), 0.0);
}

int NextLayer(long serial) {
    return static_cast<int>(serial % kLayerCount);
}

void Maker::Line(bool eed) {
    Begin("LINE", NextLayer(serial_));
    Point3(10, Coord(), Coord(), 0.0);
    Point3(11, Coord(), Coord(), 0.0);
    if (eed)
        Eed();
}

void Maker::PointEntity() {
    bool angled = serial_ % 3 == 0;
    Begin("POINT", NextLayer(serial_));
    Point3(10, Coord(), Coord(), 0.0);
    if (angled)
        Real(50, Angle());
}

void Maker::Circle() {
    Begin("CIRCLE", NextLayer(serial_));
    Point3(10, Coord(), Coord(), 0.0);
    Real(40, Size(1.0, 250.0));
}

void Maker::Arc(bool eed) {
    Begin("ARC", NextLayer(serial_));
    Point3(10, Coord(), Coord(), 0.0);
    Real(40, Size(1.0, 250.0));
    Real(50, Angle());
    Real(51, Angle());
    if (eed)
        Eed();
}

void Maker::TextEntity(bool justified) {
    char text[64];
    std::snprintf(text, sizeof text, "Note %ld", serial_);
    double x = Coord(), y = Coord();
    Begin("TEXT", NextLayer(serial_));
    Point3(10, x, y, 0.0);
    Real(40, 2.5);
    Text(1, text);
    if (justified) {
        Real(50, Angle());
        Real(41, 0.8);
        Int(72, 1);
        Point3(11, x + 10.0, y, 0.0);
    }
}

void Maker::Quad(const char *kind, bool face) {
    Begin(kind, NextLayer(serial_));
    double x = Coord(), y = Coord();
    double z = face ? Size(0.0, 10.0) : 0.0;
    Point3(10, x, y, z);
    Point3(11, x + 5.0, y, z);
    Point3(12, x, y + 5.0, z);
    Point3(13, x + 5.0, y + 5.0, z);
    if (face && serial_ % 2 == 0)
        Int(70, 1);
}

void Maker::Seqend(int layer) {
    Begin("SEQEND", layer);
}

void Maker::InsertChain() {
    int layer = NextLayer(serial_);
    double x = Coord(), y = Coord();
    bool scaled = serial_ % 3 == 0;
    Begin("INSERT", layer);
    Int(66, 1);
    Text(2, kMarkBlock);
    Point3(10, x, y, 0.0);
    if (scaled) {
        Real(41, 2.0);
        Real(42, 2.0);
        Real(50, Angle());
        Real(43, 2.0);
    }
    const char *const tags[2] = {"NUMBER", "OWNER"};
    for (int i = 0; i < 2; ++i) {
        char value[32];
        if (i == 0)
            std::snprintf(value, sizeof value, "P-%06ld", serial_);
        else
            std::snprintf(value, sizeof value, "Works %ld", serial_ % 97);
        Begin("ATTRIB", layer);
        Point3(10, x + 1.5, y - i, 0.0);
        Real(40, 0.5);
        Text(1, value);
        Text(2, tags[i]);
        Int(70, 0);
    }
    Seqend(layer);
}

void Maker::PolylineChain() {
    int layer = NextLayer(serial_);
    bool eed = serial_ % 2 == 0;
    bool closed = serial_ % 3 != 0;
    Begin("POLYLINE", layer);
    Int(66, 1);
    Point3(10, 0.0, 0.0, 0.0);
    if (closed)
        Int(70, 1);
    Int(72, 0);
    Int(75, 0);
    if (eed)
        Eed();
    double x = Coord(), y = Coord();
    for (int i = 0; i < kPolylineVertices; ++i) {
        bool bulge = i == 1;
        Begin("VERTEX", layer);
        Point3(10, x + 3.0 * (i & 3), y + 3.0 * (i >> 2), 0.0);
        if (bulge)
            Real(42, 0.41421356);
        Int(73, 0);
    }
    Seqend(layer);
}

void Maker::Unit(int unit) {
    switch (unit) {
    case kLine:
    case kLine2:
    case kLine3:
        Line(false);
        break;
    case kLineEed:
        Line(true);
        break;
    case kCircle:
    case kCircle2:
        Circle();
        break;
    case kArc:
        Arc(false);
        break;
    case kArcEed:
        Arc(true);
        break;
    case kPoint:
        PointEntity();
        break;
    case kText:
        TextEntity(false);
        break;
    case kTextJustified:
        TextEntity(true);
        break;
    case kTrace:
        Quad("TRACE", false);
        break;
    case kSolid:
        Quad("SOLID", false);
        break;
    case kFace:
        Quad("3DFACE", true);
        break;
    case kInsertChain:
        InsertChain();
        break;
    case kPolylineChain:
        PolylineChain();
        break;
    default:
        Line(false);
        break;
    }
}

// Exactly `count` entities of the pattern; a chain that would not fit whole becomes lines,
// so that no chain is split between two lists.
void Maker::Bulk(long count) {
    while (count > 0 && ok_) {
        int unit = static_cast<int>(next_unit_ % kUnitCount);
        long size = UnitSize(unit);
        if (size > count) {
            Line(false);
            --count;
            continue;
        }
        ++next_unit_;
        Unit(unit);
        count -= size;
    }
}

bool Maker::Run(const std::string &path, long entities, DxfLayout *layout, std::string *error) {
    if (entities < kMinEntities) {
        *error = "too few entities (at least " + std::to_string(kMinEntities) + ")";
        return false;
    }
    if (!file_.Open(path.c_str(), CDB_OPEN_CREATE)) {
        *error = "cannot create " + path;
        return false;
    }
    stream_.AttachOutput(&file_, binary_ ? 1 : 0);
    if (binary_ && stream_.WriteBinarySentinel() != 1)
        ok_ = false;

    // The bulk is cut into lists of equal size, the main section first.
    const long bulk = entities - kMarkEntities;
    const long lists = (bulk + kListLimit - 1) / kListLimit;
    const long per_list = (bulk + lists - 1) / lists;
    const long main_entities = per_list < bulk ? per_list : bulk;

    Header(entities);
    SectionBreak("TABLES");
    Tables();
    SectionBreak("BLOCKS");
    MarkBlock();
    long blocks = 1;
    for (long left = bulk - main_entities; left > 0 && ok_; ++blocks) {
        long count = left < per_list ? left : per_list;
        char name[32];
        std::snprintf(name, sizeof name, "BULK%ld", blocks);
        Block(name, 0);
        Bulk(count);
        EndBlock();
        left -= count;
    }
    SectionBreak("ENTITIES");
    Bulk(main_entities);
    Text(0, "ENDSEC");
    Text(0, "EOF");
    if (ok_ && !file_.Flush())
        ok_ = false;
    file_.Close();
    if (!ok_) {
        *error = "writing " + path + " failed";
        return false;
    }
    layout->entities = serial_;
    layout->main_entities = main_entities;
    layout->blocks = blocks;
    std::error_code ec;
    auto bytes = std::filesystem::file_size(path, ec);
    layout->bytes = ec ? -1 : static_cast<long long>(bytes);
    return true;
}

} // namespace

bool MakeBenchDxf(const std::string &path, bool binary, long entities, DxfLayout *layout,
                  std::string *error) {
    Maker maker(binary);
    return maker.Run(path, entities, layout, error);
}

} // namespace velko_bench
