// Robustness of the counts inside release 13 entity bodies: damaged copies of
// dwg13/example_r13_relaid.dwg, each with one count (now and then two) of an entity's own
// data damaged where it stands.
//
// The drawing has two SPLINEs, an MLINE, two REGIONs and a 3DSOLID; a LEADER and an OLE
// frame, made by the library's classes, are appended behind its tables, each with the
// handle of a model space LINE that the update behind the tables reaches, so that they
// stand in the main list in place of those lines. The counts are found by decoding each
// object's common head with the library and reading the kind's fields up to each count:
// the spline's scenario and its fit point, knot and control point counts; the multiline's
// line count, its vertex count and the segment and fill parameter counts of every line of
// every vertex; every chunk length of the modeler kinds; the leader's vertex count; the
// OLE frame's data size.
//
// A count is damaged in place with its selector kept (all ones, the largest positive,
// negative, zero, one more, one less) or has its selector changed (a short form turned
// into a longer one takes the bits behind it as its value, a longer one turned short
// leaves its bits to the fields behind it). Each copy is fed in a child process (the file
// info, the open, every table, the header, every walk, the close) under a time bound and,
// outside a sanitizer, a memory bound of the file's size plus 8 MB; a crash, a hang, a
// sanitizer report, a leak, an allocation past the bound or a broken answer of the flat
// interface fails the copy. The copies come from one fixed seed; VELKO_MUTATION_SCALE
// multiplies their number.
#include "support/child_feed.h"
#include "support/corpus.h"
#include "support/mutation_harness.h"
#include "support/r13_corpus_edit.h"

#include "dwg13/r13_entity.h"
#include "dwg13/r13_entity_kinds.h"
#include "dwg13/r13_update_pass.h"
#include "io/bit_stream.h"
#include "model/entity_list.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

const char kDrawing[] = "dwg13/example_r13_relaid.dwg";

// Copies before VELKO_MUTATION_SCALE; every kTwoCountsEvery-th has two counts damaged.
constexpr int kCopies = 520;
constexpr int kTwoCountsEvery = 8;
// Copies that one child process reads, one after the other.
constexpr size_t kBatch = 26;

constexpr int16_t kLeaderType = 45;
constexpr int16_t kOleType = 500;

// ---------------------------------------------------------------------------
// The drawing with a LEADER and an OLE frame behind its tables
// ---------------------------------------------------------------------------

const CDB_POINT3 kLeaderVertices[] = {{1.0, 2.0, 0.0}, {4.5, 6.25, 0.0}, {9.0, 6.25, 0.0}};
const uint8_t kOleData[] = {0x4F, 0x4C, 0x45, 0x00, 0x01, 0x02, 0xFE, 0xFF, 0x10, 0x20, 0x30};

std::unique_ptr<CR13Entity> MakeEntity(int16_t type, const CDB_ENTITY &like, uint32_t handle) {
    const R13EntityKind *kind = FindR13EntityKind(type);
    std::unique_ptr<CR13Entity> entity(kind->make(nullptr, type));
    SetEntityHead(*entity, R13EntityHead{}.Type(type).Handle(handle).Layer(like.layer_handle));
    return entity;
}

R13Object LeaderObject(const CDB_ENTITY &like, uint32_t handle) {
    std::unique_ptr<CR13Entity> leader = MakeEntity(kLeaderType, like, handle);
    CDB_LEADER_type &l = leader->GetData()->leader;
    const size_t n = std::size(kLeaderVertices);
    l.vertices = static_cast<CDB_POINT3 *>(std::malloc(sizeof kLeaderVertices));
    std::memcpy(l.vertices, kLeaderVertices, sizeof kLeaderVertices);
    l.vertex_count = static_cast<int16_t>(n);
    l.normal = CDB_POINT3{0.0, 0.0, 1.0};
    l.x_direction = CDB_POINT3{1.0, 0.0, 0.0};
    l.arrow_size = 0.18;
    l.text_height = 0.18;
    return EntityObjectOf(*leader);
}

R13Object OleObject(const CDB_ENTITY &like, uint32_t handle) {
    std::unique_ptr<CR13Entity> ole = MakeEntity(kOleType, like, handle);
    CDB_OLE_type &o = ole->GetData()->ole;
    o.data = static_cast<uint8_t *>(std::malloc(sizeof kOleData));
    std::memcpy(o.data, kOleData, sizeof kOleData);
    o.data_size = static_cast<int32_t>(sizeof kOleData);
    o.ole_version = 2;
    return EntityObjectOf(*ole);
}

struct Prepared {
    Bytes original;
    Bytes edited;       // with the LEADER and the OLE frame behind the tables
    int lines = 0;      // the main list's length
    int leader_at = -1; // the main list's places of the two replaced lines
    int ole_at = -1;
    uint32_t leader_handle = 0;
    uint32_t ole_handle = 0;
    std::set<uint32_t> entities; // the handles of the main list of the edited drawing
};

// Reads the drawing and appends the two objects; false with the reason in `error`.
bool Prepare(Prepared *p, std::string *error) {
    if (!ReadWholeFile(CorpusPath(kDrawing), &p->original)) {
        *error = "cannot read " + CorpusPath(kDrawing);
        return false;
    }
    LoadedR13 l = LoadR13Bytes(p->original, "r13_body_original.dwg");
    if (l.loaded != 1) {
        *error = "the drawing does not load: " + l.drawing->LoadFailure();
        return false;
    }
    CEntityList &main = l.drawing->Entities();
    // The drawing's chain reaches one LINE only; the OLE frame takes the place of the
    // next reachable entity of a simple kind.
    std::vector<int> places = ReachableEntities(main, CDB_LINE);
    for (int16_t kind : {CDB_XLINE, CDB_RAY, CDB_POINT, CDB_CIRCLE}) {
        const std::vector<int> more = ReachableEntities(main, kind);
        places.insert(places.end(), more.begin(), more.end());
    }
    if (places.size() < 2 || main.At(places[0])->GetData()->entity_type != CDB_LINE) {
        *error = "no reachable model space line, or nothing reachable beside it";
        return false;
    }
    p->lines = main.Count();
    p->leader_at = places[0];
    p->ole_at = places[1];
    p->leader_handle = HandleNumberAt(main, p->leader_at);
    p->ole_handle = HandleNumberAt(main, p->ole_at);
    R13Object leader = LeaderObject(*main.At(p->leader_at)->GetData(), p->leader_handle);
    R13Object ole = OleObject(*main.At(p->ole_at)->GetData(), p->ole_handle);
    // In handle order, as the update pass walks the chain.
    if (p->ole_handle < p->leader_handle)
        std::swap(leader, ole);
    p->edited = AppendBehindTables(p->original, {leader, ole});
    LoadedR13 edited = LoadR13Bytes(p->edited, "r13_body_edited.dwg");
    if (edited.loaded != 1) {
        *error = "the drawing with the LEADER and the OLE frame does not load: " +
                 edited.drawing->LoadFailure();
        return false;
    }
    CEntityList &list = edited.drawing->Entities();
    for (int i = 0; i < list.Count(); ++i)
        p->entities.insert(HandleNumberAt(list, i));
    return true;
}

// ---------------------------------------------------------------------------
// Where the counts stand
// ---------------------------------------------------------------------------

// How a count is coded in the stream.
enum class Coding {
    kBitShort,     // BS: 2 selector bits, low first; 16, 0 (zero), 8 or 0 (-1) value bits
    kPrefixedLong, // PL: 2 selector bits, high first; 32, 8, 16 or 24 value bits
    kByte,         // 8 bits, no selector
    kSmall,        // 5 bits passed over, then 5 value bits (the spline's scenario)
};

// The counts are damaged in groups, each in turn, so that one with many counts (the
// modeler's chunks) does not crowd out the others.
enum CountGroup {
    kGroupSplineScenario,
    kGroupSplineCounts,
    kGroupMlineLines,
    kGroupMlineVertices,
    kGroupMlineParameters,
    kGroupModelerChunks,
    kGroupLeaderVertices,
    kGroupOleSize,
    kGroups
};

struct CountSite {
    uint32_t handle = 0;
    const char *kind = "";
    std::string name;
    size_t bit = 0; // in the file, from its first bit, most significant bit of a byte first
    Coding coding = Coding::kBitShort;
    CountGroup group = kGroups;
};

// Notes the sites of one object as the kind's fields are read up to each count.
class Locator {
public:
    Locator(CBitStream &stream, size_t object_at, uint32_t handle, const char *kind,
            std::vector<CountSite> *sites)
        : s(stream), at_(object_at), handle_(handle), kind_(kind), sites_(sites) {}

    void Mark(const std::string &name, Coding coding, CountGroup group) {
        const size_t bit = 8 * (at_ + size_t(s.TellByte())) + size_t(s.TellBit());
        sites_->push_back({handle_, kind_, name, bit, coding, group});
    }
    void SkipDoubles(int64_t n) {
        for (int64_t i = 0; i < n && !s.Overrun(); ++i)
            s.ReadBitDouble();
    }

    CBitStream &s;

private:
    size_t at_;
    uint32_t handle_;
    const char *kind_;
    std::vector<CountSite> *sites_;
};

void LocateSpline(Locator &l) {
    l.Mark("scenario", Coding::kSmall, kGroupSplineScenario);
    l.s.ReadBits(5);
    const uint32_t scenario = l.s.ReadBits(5);
    l.s.ReadBits(10); // the degree
    if (scenario == 2) {
        l.SkipDoubles(7); // fit tolerance, start and end tangents
        l.Mark("fit point count", Coding::kBitShort, kGroupSplineCounts);
    } else if (scenario == 1) {
        l.s.ReadBits(3);
        l.SkipDoubles(2); // knot and control tolerances
        l.Mark("knot count", Coding::kBitShort, kGroupSplineCounts);
        l.s.ReadBitShort();
        l.Mark("control point count", Coding::kBitShort, kGroupSplineCounts);
    }
}

void LocateMline(Locator &l) {
    l.SkipDoubles(1); // scale
    l.s.ReadByte();   // justification
    l.SkipDoubles(6); // base point, extrusion
    l.s.ReadBitShort();
    l.Mark("line count", Coding::kByte, kGroupMlineLines);
    const int lines = static_cast<int>(l.s.ReadBits(8));
    l.Mark("vertex count", Coding::kBitShort, kGroupMlineVertices);
    const int vertices = l.s.ReadBitShort();
    for (int v = 0; v < vertices && !l.s.Overrun(); ++v) {
        l.SkipDoubles(9); // location, direction, miter direction
        for (int k = 0; k < lines && !l.s.Overrun(); ++k) {
            const std::string line = "vertex " + std::to_string(v) + " line " + std::to_string(k);
            l.Mark(line + " segment parameter count", Coding::kBitShort, kGroupMlineParameters);
            l.SkipDoubles(l.s.ReadBitShort());
            l.Mark(line + " fill parameter count", Coding::kBitShort, kGroupMlineParameters);
            l.SkipDoubles(l.s.ReadBitShort());
        }
    }
}

// Every chunk length, the one that ends the chunks included, as the reader walks them.
void LocateChunks(Locator &l) {
    l.s.Skip(1, 4);
    const int32_t limit = l.s.Size();
    for (int k = 0; !l.s.Overrun(); ++k) {
        l.Mark("chunk " + std::to_string(k) + " length", Coding::kPrefixedLong,
               kGroupModelerChunks);
        const uint32_t length = l.s.ReadPrefixedLong();
        if (int64_t(length) + l.s.TellByte() >= limit)
            return;
        l.s.Skip(static_cast<int32_t>(length), 0);
    }
}

void LocateLeader(Locator &l) {
    l.s.ReadBit();
    l.s.ReadBitShort(); // annotation type
    l.s.ReadBitShort(); // path type
    l.Mark("vertex count", Coding::kBitShort, kGroupLeaderVertices);
}

void LocateOle(Locator &l) {
    l.s.Skip(73, 5);
    l.s.ReadBitShort(); // version
    l.Mark("data size", Coding::kPrefixedLong, kGroupOleSize);
}

// The kinds whose counts are damaged: object type, public kind, name, and what stands in
// front of each count behind the common head.
struct KindCounts {
    int16_t type;
    int16_t code;
    const char *name;
    void (*locate)(Locator &);
};

const KindCounts kKinds[] = {
    {36, CDB_SPLINE, "SPLINE", LocateSpline},          {37, CDB_REGION, "REGION", LocateChunks},
    {38, CDB_3DSOLID, "3DSOLID", LocateChunks},        {39, CDB_BODY, "BODY", LocateChunks},
    {kLeaderType, CDB_LEADER, "LEADER", LocateLeader}, {47, CDB_MLINE, "MLINE", LocateMline},
    {kOleType, CDB_OLEFRAME, "OLE frame", LocateOle},
};

uint32_t U32At(const Bytes &b, size_t at) {
    return static_cast<uint32_t>(b[at]) | static_cast<uint32_t>(b[at + 1]) << 8 |
           static_cast<uint32_t>(b[at + 2]) << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

struct Located {
    std::vector<CountSite> sites;
    std::map<std::string, int> objects; // per kind name
};

// Walks the object area (from the start the trailing section gives, by the objects' sizes,
// up to the map; the long form passed over, as the reader does) and locates the counts of
// every object of the kinds above whose handle is one of `entities`.
bool LocateCounts(const Bytes &file, const std::set<uint32_t> &entities, Located *found,
                  std::string *error) {
    constexpr size_t kMapOffsetAt = 44, kTrailingOffsetAt = 53, kObjectsStartInTrailing = 16;
    const size_t map_at = U32At(file, kMapOffsetAt);
    size_t at = U32At(file, U32At(file, kTrailingOffsetAt) + kObjectsStartInTrailing);
    while (at + 2 <= map_at) {
        const size_t size = size_t(file[at]) | size_t(file[at + 1]) << 8;
        if (size & 0x8000) {
            // The long form, which the reader passes over: 4 bytes of size, data, check.
            const size_t high = size_t(file[at + 2]) | size_t(file[at + 3]) << 8;
            at += ((size & 0x7FFF) ^ (high << 15)) + 6;
            continue;
        }
        CBitStream stream(file.data() + at);
        stream.ReadModularSize();
        const int type = stream.ReadBitShort();
        for (const KindCounts &kind : kKinds) {
            if (kind.type != type)
                continue;
            CR13Entity probe(nullptr, kind.code);
            stream.Seek(0, 0);
            if (probe.ReadCommon(stream) != 1) {
                *error = std::string("the head of a ") + kind.name + " fails";
                return false;
            }
            const uint32_t handle = R13HandleNumber(probe.GetData()->handle);
            if (!entities.count(handle))
                continue; // not in the drawing's lists: another object of the same type
            Locator locator(stream, at, handle, kind.name, &found->sites);
            kind.locate(locator);
            ++found->objects[kind.name];
        }
        at += 2 + size + 2;
    }
    if (at != map_at) {
        *error = "the object area does not end at the map";
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Damage
// ---------------------------------------------------------------------------

uint32_t GetBits(const Bytes &b, size_t bit, int n) {
    uint32_t value = 0;
    for (int i = 0; i < n; ++i, ++bit)
        value = value << 1 | (b[bit / 8] >> (7 - bit % 8) & 1u);
    return value;
}

void PutBits(Bytes *b, size_t bit, uint32_t value, int n) {
    for (int i = n - 1; i >= 0; --i, ++bit) {
        const uint8_t mask = static_cast<uint8_t>(0x80u >> (bit % 8));
        if (value >> i & 1u)
            (*b)[bit / 8] |= mask;
        else
            (*b)[bit / 8] &= static_cast<uint8_t>(~mask);
    }
}

// A count as it stands: its selector and its value bits.
struct Field {
    int selector_bits = 0;
    uint32_t selector = 0; // as the reader takes it
    int value_bits = 0;    // 0 for the forms without bits of their own
    uint32_t value = 0;
};

// The bit-short selector in stream order is low bit first; the prefixed long's high first.
uint32_t SelectorInStream(Coding coding, uint32_t selector) {
    return coding == Coding::kBitShort ? (selector & 1u) << 1 | selector >> 1 : selector;
}

int ValueBits(Coding coding, uint32_t selector) {
    switch (coding) {
    case Coding::kBitShort: {
        static const int kBits[] = {16, 0, 8, 0};
        return kBits[selector];
    }
    case Coding::kPrefixedLong:
        return selector == 0 ? 32 : 8 * static_cast<int>(selector);
    case Coding::kByte:
        return 8;
    case Coding::kSmall:
        return 5;
    }
    return 0;
}

int SelectorBits(Coding coding) {
    return coding == Coding::kByte ? 0 : coding == Coding::kSmall ? 5 : 2;
}

// Multi-byte values stand low byte first, each byte most significant bit first.
uint32_t GetValue(const Bytes &b, size_t bit, int bits) {
    if (bits < 8)
        return GetBits(b, bit, bits);
    uint32_t value = 0;
    for (int k = 0; k < bits / 8; ++k)
        value |= GetBits(b, bit + 8 * size_t(k), 8) << (8 * k);
    return value;
}

void PutValue(Bytes *b, size_t bit, uint32_t value, int bits) {
    if (bits < 8)
        return PutBits(b, bit, value, bits);
    for (int k = 0; k < bits / 8; ++k)
        PutBits(b, bit + 8 * size_t(k), value >> (8 * k) & 0xFFu, 8);
}

Field ReadField(const Bytes &b, const CountSite &site) {
    Field f;
    f.selector_bits = SelectorBits(site.coding);
    const uint32_t raw = GetBits(b, site.bit, f.selector_bits);
    f.selector = site.coding == Coding::kSmall ? raw : SelectorInStream(site.coding, raw);
    f.value_bits = ValueBits(site.coding, f.selector);
    f.value = GetValue(b, site.bit + size_t(f.selector_bits), f.value_bits);
    return f;
}

enum class Damage {
    kAllOnes,
    kLargestPositive,
    kNegative,
    kZero,
    kOneMore,
    kOneLess,
    kSelectorChanged,
    kKinds // the number of kinds, not a kind
};

const char *DamageName(Damage d) {
    static const char *const kNames[] = {
        "all ones", "the largest positive", "negative", "zero", "one more", "one less", "selector"};
    return kNames[static_cast<int>(d)];
}

const char *CodingName(Coding c) {
    static const char *const kNames[] = {"bit short", "prefixed long", "8 bits", "5 bits"};
    return kNames[static_cast<int>(c)];
}

// Damaged copies of one file, aimed at its counts; the same seed gives the same copies.
class CountDamager {
public:
    CountDamager(const Bytes &base, const std::vector<CountSite> &sites, uint32_t seed)
        : base_(base), sites_(sites), rng_(seed) {
        groups_.resize(kGroups);
        for (size_t i = 0; i < sites.size(); ++i)
            groups_[sites[i].group].push_back(i);
        groups_.erase(std::remove_if(groups_.begin(), groups_.end(),
                                     [](const std::vector<size_t> &g) { return g.empty(); }),
                      groups_.end());
        cursors_.assign(groups_.size(), 0);
    }

    // Makes copy `index` (they must be asked for in order) into `out`: every count once
    // first, then the groups in turn; returns what was done to it.
    std::string Make(int index, Bytes *out) {
        *out = base_;
        std::ostringstream what;
        const size_t first = index < static_cast<int>(sites_.size()) ? size_t(index) : NextInTurn();
        DamageAt(sites_[first], out, &what);
        if (index % kTwoCountsEvery == kTwoCountsEvery - 1 && sites_.size() > 1) {
            const size_t second = (first + 1 + Pick(sites_.size() - 1)) % sites_.size();
            what << "; and ";
            DamageAt(sites_[second], out, &what);
        }
        return what.str();
    }

private:
    size_t NextInTurn() {
        const size_t g = turn_++ % groups_.size();
        return groups_[g][cursors_[g]++ % groups_[g].size()];
    }

    void DamageAt(const CountSite &site, Bytes *out, std::ostringstream *what) {
        const Field was = ReadField(base_, site);
        Damage d = static_cast<Damage>(Pick(static_cast<size_t>(Damage::kKinds)));
        // A count without a selector keeps its form; one without value bits changes it.
        if (d == Damage::kSelectorChanged && site.coding == Coding::kByte)
            d = static_cast<Damage>(Pick(static_cast<size_t>(Damage::kSelectorChanged)));
        if (was.value_bits == 0 && site.coding != Coding::kSmall)
            d = Damage::kSelectorChanged;
        *what << "handle " << std::hex << std::uppercase << site.handle << std::dec << " "
              << site.kind << " " << site.name << " (" << CodingName(site.coding) << " at bit "
              << site.bit << ", selector " << was.selector << ", value " << was.value << "): ";
        if (d == Damage::kSelectorChanged)
            return ChangeSelector(site, was, out, what);
        const uint32_t value = DamagedValue(d, was);
        PutValue(out, site.bit + size_t(was.selector_bits), value, was.value_bits);
        *what << DamageName(d) << " in place, " << value;
    }

    uint32_t DamagedValue(Damage d, const Field &was) {
        const int n = was.value_bits;
        const uint32_t all = n >= 32 ? 0xFFFFFFFFu : (1u << n) - 1;
        const uint32_t top = 1u << (n - 1);
        switch (d) {
        case Damage::kAllOnes:
            return all;
        case Damage::kLargestPositive:
            return top - 1;
        case Damage::kNegative:
            return top | (static_cast<uint32_t>(rng_()) & (top - 1) & (Pick(2) ? 0u : all));
        case Damage::kZero:
            return 0;
        case Damage::kOneMore:
            return (was.value + 1) & all;
        default:
            return (was.value - 1) & all;
        }
    }

    // Another selector: the value now takes the bits that stand behind the selector.
    void ChangeSelector(const CountSite &site, const Field &was, Bytes *out,
                        std::ostringstream *what) {
        const int span = 1 << was.selector_bits;
        const uint32_t selector =
            static_cast<uint32_t>((was.selector + 1 + Pick(size_t(span) - 1)) % size_t(span));
        const uint32_t raw =
            site.coding == Coding::kSmall ? selector : SelectorInStream(site.coding, selector);
        PutBits(out, site.bit, raw, was.selector_bits);
        const Field now = ReadField(*out, site);
        *what << "selector changed to " << selector << ", which reads " << now.value_bits
              << " value bits: " << now.value;
    }

    size_t Pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }

    const Bytes &base_;
    const std::vector<CountSite> &sites_;
    std::mt19937 rng_;
    std::vector<std::vector<size_t>> groups_;
    std::vector<size_t> cursors_;
    size_t turn_ = 0;
};

// ---------------------------------------------------------------------------
// Tests
// ---------------------------------------------------------------------------

class R13BodyMutation : public ::testing::Test {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        std::string error;
        ASSERT_TRUE(Prepare(&p, &error)) << kDrawing << ": " << error;
        ASSERT_TRUE(LocateCounts(p.edited, p.entities, &located, &error))
            << kDrawing << ": " << error;
    }

    // Feeds the damaged copies with the read options in force.
    void FeedDamagedCounts();

    Prepared p;
    Located located;
};

TEST_F(R13BodyMutation, LeaderAndOleFrameBehindTheTablesTakeThePlacesOfTheirLines) {
    LoadedR13 l = LoadR13Bytes(p.edited, "r13_body_edited.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    CEntityList &main = l.drawing->Entities();
    ASSERT_EQ(main.Count(), p.lines);

    const CDB_ENTITY &leader = *main.At(p.leader_at)->GetData();
    EXPECT_EQ(leader.entity_type, CDB_LEADER);
    EXPECT_EQ(R13HandleNumber(leader.handle), p.leader_handle);
    ASSERT_EQ(leader.leader.vertex_count, static_cast<int16_t>(std::size(kLeaderVertices)));
    for (size_t i = 0; i < std::size(kLeaderVertices); ++i) {
        EXPECT_EQ(leader.leader.vertices[i].x, kLeaderVertices[i].x) << "vertex " << i;
        EXPECT_EQ(leader.leader.vertices[i].y, kLeaderVertices[i].y) << "vertex " << i;
        EXPECT_EQ(leader.leader.vertices[i].z, kLeaderVertices[i].z) << "vertex " << i;
    }

    const CDB_ENTITY &ole = *main.At(p.ole_at)->GetData();
    EXPECT_EQ(ole.entity_type, CDB_OLEFRAME);
    EXPECT_EQ(R13HandleNumber(ole.handle), p.ole_handle);
    ASSERT_EQ(ole.ole.data_size, static_cast<int32_t>(sizeof kOleData));
    EXPECT_EQ(std::memcmp(ole.ole.data, kOleData, sizeof kOleData), 0);
}

TEST_F(R13BodyMutation, IntactDrawingWithLeaderAndOleFrameWalksCleanlyInAChild) {
    TempPath temp("r13_body_intact");
    ASSERT_TRUE(WriteWholeFile(temp.str(), p.edited.data(), p.edited.size())) << temp.str();
    const ChildFeedOutcome fed = FeedFileInChild(temp.str(), 0);
    EXPECT_EQ(fed.Failure(), "");
    EXPECT_TRUE(fed.report.opened);
    EXPECT_GT(fed.report.walked, p.lines);
}

// The counts the locator finds are the ones the library reads.
TEST_F(R13BodyMutation, CountsOfEveryBodyAreFound) {
    EXPECT_EQ(located.objects["SPLINE"], 2);
    EXPECT_EQ(located.objects["MLINE"], 1);
    EXPECT_EQ(located.objects["REGION"], 2);
    EXPECT_EQ(located.objects["3DSOLID"], 1);
    EXPECT_EQ(located.objects["LEADER"], 1);
    EXPECT_EQ(located.objects["OLE frame"], 1);

    LoadedR13 l = LoadR13Bytes(p.edited, "r13_body_counts.dwg");
    ASSERT_EQ(l.loaded, 1) << l.drawing->LoadFailure();
    std::map<uint32_t, const CDB_ENTITY *> by_handle;
    CEntityList &main = l.drawing->Entities();
    for (int i = 0; i < main.Count(); ++i)
        by_handle[HandleNumberAt(main, i)] = main.At(i)->GetData();

    int checked = 0;
    for (const CountSite &site : located.sites) {
        const auto found = by_handle.find(site.handle);
        if (found == by_handle.end())
            continue;
        const CDB_ENTITY &e = *found->second;
        const Field f = ReadField(p.edited, site);
        const int32_t value = site.coding == Coding::kBitShort
                                  ? (f.selector == 1   ? 0
                                     : f.selector == 3 ? -1
                                                       : static_cast<int16_t>(f.value))
                                  : static_cast<int32_t>(f.value);
        const std::string what = std::string(site.kind) + " " + site.name;
        if (site.name == "fit point count")
            EXPECT_EQ(value, e.spline.fit_point_count) << what;
        else if (site.name == "knot count")
            EXPECT_EQ(value, e.spline.knot_count) << what;
        else if (site.name == "control point count")
            EXPECT_EQ(value, e.spline.control_point_count) << what;
        else if (site.group == kGroupMlineLines)
            EXPECT_EQ(value, e.mline.line_count) << what;
        else if (site.group == kGroupMlineVertices)
            EXPECT_EQ(value, e.mline.vertex_count) << what;
        else if (site.group == kGroupLeaderVertices)
            EXPECT_EQ(value, e.leader.vertex_count) << what;
        else if (site.group == kGroupOleSize)
            EXPECT_EQ(value, e.ole.data_size) << what;
        else
            continue;
        ++checked;
    }
    EXPECT_GE(checked, 6);
    std::map<int, int> per_group;
    for (const CountSite &site : located.sites)
        ++per_group[site.group];
    for (int g = 0; g < kGroups; ++g)
        EXPECT_GT(per_group[g], 0) << "no count of group " << g;
}

int CopyCount(size_t sites) {
    const int base = std::max(kCopies, static_cast<int>(sites));
    return std::max(static_cast<int>(sites), static_cast<int>(base * MutationScale()));
}

TEST_F(R13BodyMutation, DamagedCountsEndCleanly) {
    FeedDamagedCounts();
}

// The same copies read with every tolerant option on: the tolerant roads are fed damaged
// files too. The children inherit the options.
TEST_F(R13BodyMutation, DamagedCountsReadTolerantlyEndCleanly) {
    const int32_t kept = CDBSetReadOptions(CDB_READ_TOLERANT);
    FeedDamagedCounts();
    CDBSetReadOptions(kept);
}

void R13BodyMutation::FeedDamagedCounts() {
    const uint32_t seed = SeedFor(std::string("entity body counts of ") + kDrawing);
    CountDamager damager(p.edited, located.sites, seed);
    const int copies = CopyCount(located.sites.size());
    std::vector<std::unique_ptr<TempPath>> temps;
    for (size_t k = 0; k < kBatch; ++k)
        temps.push_back(std::make_unique<TempPath>("r13_body_" + std::to_string(k)));
    ChildFeedBounds bounds;

    FeedTally tally;
    int failed = 0;
    bool limited = false;
    const Clock::time_point start = Clock::now();
    Bytes bytes;
    for (int first = 0; first < copies; first += static_cast<int>(kBatch)) {
        std::vector<std::string> paths, whats;
        for (int i = first; i < copies && paths.size() < kBatch; ++i) {
            std::ostringstream what;
            what << kDrawing << " copy " << i << " (seed " << seed
                 << "): " << damager.Make(i, &bytes);
            const std::string &path = temps[paths.size()]->str();
            ASSERT_TRUE(WriteWholeFile(path, bytes.data(), bytes.size())) << path;
            paths.push_back(path);
            whats.push_back(what.str());
        }
        const std::vector<ChildFeedOutcome> fed = FeedFilesInChild(paths, bounds);
        for (size_t k = 0; k < fed.size(); ++k) {
            Outcome out;
            out.opened = fed[k].report.opened != 0;
            out.seconds = fed[k].report.seconds;
            tally.Add(out, whats[k]);
            limited = limited || fed[k].report.memory_bound;
            std::string failure = fed[k].Failure();
            if (failure.empty() && fed[k].report.seconds > MutantTimeLimit())
                failure = "too slow: " + std::to_string(fed[k].report.seconds) + " s";
            if (!failure.empty() && ++failed <= 5)
                ADD_FAILURE() << failure << ": " << whats[k];
        }
    }
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_EQ(failed, 0) << failed << " copies of " << kDrawing << " failed";

    RecordProperty("mutants", copies);
    RecordProperty("opened", tally.opened);
    std::printf("[ mutation ] %-40s %4d copies (%zu counts), %4d opened, %.3f s (reads %.3f s, "
                "slowest %.4f s), memory bound %s\n",
                kDrawing, copies, located.sites.size(), tally.opened, wall, tally.seconds,
                tally.slowest, limited ? "on" : "off");
    if (tally.slowest > MutantTimeLimit() / 4)
        std::printf("[ mutation ] slowest: %s\n", tally.slowest_what.c_str());
}

} // namespace
} // namespace velko_test
