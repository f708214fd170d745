// Twin tests of release 12 DXF reading: one drawing read from two files, record by record.
//
//  - The corpus holds entities-2d and entities-3d twice: as a release 12 DWG and as an
//    ASCII DXF. Every record that the DXF drawing hands out is held against the DWG
//    drawing's: the main list, each block and its list, every table, the header. They
//    must be equal, except where the two readers differ by design; each such place is
//    named beside the comparison, with the rule that makes it.
//  - Every ASCII DXF of the corpus is copied into a binary DXF with the library's own
//    group stream, group for group. The two files must read to the same records: texts
//    and integers equal, numbers equal to 12 significant digits.
//
// The comparison (support/drawing_snapshot.h) walks both drawings through the flat
// interface and visits the fields of each pair of records side by side; a sink decides
// what equal means.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "walk/walk_support.h"

#include "dxf/dxf_numbers.h"
#include "dxf/dxf_stream.h"
#include "io/drawing_file.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

namespace velko_test {
namespace dxf12 {
namespace {

using snapshot::BlockCopy;
using snapshot::CompareDrawings;
using snapshot::EedValue;
using snapshot::EedValues;
using snapshot::ExactSink;
using snapshot::FieldSink;
using snapshot::Hex;
using snapshot::SameToDigits;
using snapshot::Show;
using snapshot::Snapshot;
using snapshot::Sources;
using walk::Val;

// ---------------------------------------------------------------------------
// The groups of an ASCII DXF, read the way the release 12 reader reads them
// ---------------------------------------------------------------------------

struct Group {
    int code = 0;
    std::string value;
};

// Lines end at a line feed; carriage returns are dropped wherever they stand; a last
// line without a line feed is not delivered. A code line is read as a decimal number
// after leading blanks.
std::vector<Group> ParseAsciiGroups(const std::vector<uint8_t> &bytes) {
    std::vector<std::string> lines;
    std::string line;
    for (uint8_t c : bytes) {
        if (c == '\r')
            continue;
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line.push_back(static_cast<char>(c));
        }
    }
    std::vector<Group> groups;
    for (size_t i = 0; i + 1 < lines.size(); i += 2)
        groups.push_back(
            {static_cast<int>(std::strtol(lines[i].c_str(), nullptr, 10)), lines[i + 1]});
    return groups;
}

// One object of the file: an entity, a table record, a header variable; its groups
// follow its name.
struct DxfObject {
    std::string name;
    std::vector<Group> groups;

    // The value of the last group with this code, or null.
    const std::string *Last(int code) const {
        const std::string *found = nullptr;
        for (const Group &g : groups) {
            if (g.code == code)
                found = &g.value;
        }
        return found;
    }
};

// What the sections of an ASCII DXF hold, in file order.
struct DxfLayout {
    std::map<std::string, DxfObject> header;              // "$EXTMIN" and its groups
    std::map<std::string, std::vector<DxfObject>> tables; // "LAYER" and its records
    std::vector<DxfObject> entities;                      // the ENTITIES section
    std::vector<std::vector<DxfObject>> blocks;           // BLOCK, entities, ENDBLK
    // The most digits behind the point of any real of the entities: the writer's
    // precision, of which trailing zeros were dropped.
    int writer_decimals = 0;
};

bool IsRealCode(int code) {
    return (code >= 10 && code <= 59) || (code >= 140 && code <= 147) ||
           (code >= 210 && code <= 239) || (code >= 1010 && code <= 1059);
}

int FractionDigits(const std::string &text) {
    size_t point = text.find('.');
    if (point == std::string::npos)
        return 0;
    int n = 0;
    for (size_t i = point + 1; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]));
         ++i)
        ++n;
    return n;
}

DxfLayout LayoutOf(const std::vector<Group> &groups) {
    DxfLayout layout;
    std::string section;
    std::string table;
    DxfObject *current = nullptr;
    for (size_t i = 0; i < groups.size(); ++i) {
        const Group &g = groups[i];
        if (g.code == 0 && g.value == "SECTION") {
            section = i + 1 < groups.size() ? groups[i + 1].value : "";
            ++i;
            current = nullptr;
            continue;
        }
        if (g.code == 0 && g.value == "ENDSEC") {
            section.clear();
            current = nullptr;
            continue;
        }
        if (section == "HEADER") {
            if (g.code == 9) {
                current = &layout.header[g.value];
                current->name = g.value;
                current->groups.clear();
            } else if (current) {
                current->groups.push_back(g);
            }
        } else if (section == "TABLES") {
            if (g.code == 0 && g.value == "TABLE") {
                table = i + 1 < groups.size() ? groups[i + 1].value : "";
                ++i;
                current = nullptr;
            } else if (g.code == 0 && g.value == "ENDTAB") {
                current = nullptr;
            } else if (g.code == 0) {
                layout.tables[table].push_back({g.value, {}});
                current = &layout.tables[table].back();
            } else if (current) {
                current->groups.push_back(g);
            }
        } else if (section == "BLOCKS" || section == "ENTITIES") {
            if (g.code == 0) {
                std::vector<DxfObject> *list = &layout.entities;
                if (section == "BLOCKS") {
                    if (g.value == "BLOCK" || layout.blocks.empty())
                        layout.blocks.emplace_back();
                    list = &layout.blocks.back();
                }
                list->push_back({g.value, {}});
                current = &list->back();
            } else if (current) {
                current->groups.push_back(g);
                if (IsRealCode(g.code))
                    layout.writer_decimals =
                        std::max(layout.writer_decimals, FractionDigits(g.value));
            }
        }
    }
    return layout;
}

// Half a unit of the last digit that the text of a real holds, taking a fixed-form text
// to hold at least `writer_decimals` digits behind the point (the writer dropped its
// trailing zeros: "30.0" stands for 30.000000).
double Resolution(const std::string &text, int writer_decimals) {
    size_t e = text.find_first_of("eE");
    int decimals = FractionDigits(text.substr(0, e));
    int exponent = 0;
    if (e != std::string::npos)
        exponent = static_cast<int>(std::strtol(text.c_str() + e + 1, nullptr, 10));
    else
        decimals = std::max(decimals, writer_decimals);
    return 0.5 * std::pow(10.0, exponent - decimals);
}

// ---------------------------------------------------------------------------
// DWG against DXF: the corpus twins
// ---------------------------------------------------------------------------

// A handle as the DWG reader makes it (upper-case hexadecimal, leading zeros dropped),
// from either form.
std::string NormalHandle(const char *text) {
    std::string s;
    for (const char *p = text; *p; ++p)
        s += static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    size_t first = s.find_first_not_of('0');
    return first == std::string::npos ? std::string("0") : s.substr(first);
}

double ValueOf(const std::string *text) {
    return text ? std::strtod(text->c_str(), nullptr) : 0.0;
}

// The DWG drawing on side a, the DXF drawing on side b. Tolerances come from the digits
// that the DXF file gives each number: a number is equal when it lies within half a unit
// of the text's last digit, or within a relative 1e-9 (the DWG reader's radians to
// degrees and the like).
class TwinSink : public FieldSink, public Sources {
public:
    explicit TwinSink(const DxfLayout &layout) : layout_(layout) {
        for (const DxfObject &vport : Table("VPORT")) {
            const std::string *name = vport.Last(2);
            if (name && *name == "*ACTIVE")
                active_ = &vport;
        }
    }

    // ---- Sources --------------------------------------------------------------------------
    void Entity(int block, size_t position) override {
        source_ = nullptr;
        if (block < 0) {
            if (position < layout_.entities.size())
                source_ = &layout_.entities[position];
            return; // past the ENTITIES section: the end marker that the reader hangs on
        }
        const size_t b = static_cast<size_t>(block);
        // A block's list begins after its BLOCK object.
        if (b < layout_.blocks.size() && position + 1 < layout_.blocks[b].size())
            source_ = &layout_.blocks[b][position + 1];
    }
    void BlockStart(size_t block) override {
        source_ = block < layout_.blocks.size() && !layout_.blocks[block].empty()
                      ? &layout_.blocks[block][0]
                      : nullptr;
    }
    void TableRecord(const std::string &table, size_t index) override {
        source_ = nullptr;
        if (table == "BLOCK_TBL") {
            BlockStart(index);
            return;
        }
        const std::vector<DxfObject> &records = Table(table);
        if (index < records.size())
            source_ = &records[index];
    }
    void Header() override { source_ = nullptr; }

    // ---- Fields ---------------------------------------------------------------------------
    void Real(const std::string &field, int group, double a, double b) override {
        if (record_ == "HEADER") {
            HeaderReal(field, a, b);
            return;
        }
        if (record_ == "ENTITY" && EntityReal(field, a, b))
            return;
        if (StartsAtOne(group)) {
            EXPECT_EQ(b, 1.0) << where_ << " " << field << " (DXF: absent, starts at 1)";
            return;
        }
        Near(field, a, b, Tolerance(group, a, b));
    }

    void Int(const std::string &field, int group, long a, long b) override {
        if (record_ == "HEADER") {
            if (!HeaderField(field))
                return;
        }
        if (StartsAtOne(group)) {
            EXPECT_EQ(b, 1) << where_ << " " << field << " (DXF: absent, starts at 1)";
            return;
        }
        EXPECT_EQ(a, b) << where_ << " " << field;
    }

    // A field that the DXF writer leaves out when it is 1: the DXF reader starts it at 1,
    // so that a file without its group reads as the writer meant; the DWG reader leaves an
    // absent option as the cleared record has it, 0.
    bool StartsAtOne(int group) const {
        if (record_ != "ENTITY" || !source_ || Text(group))
            return false;
        switch (kind_) {
        case CDB_TEXT:
        case CDB_SHAPE:
        case CDB_ATTDEF:
        case CDB_ATTRIB:
            return group == 41;
        case CDB_INSERT:
            return group == 41 || group == 42 || group == 43 || group == 70 || group == 71;
        default:
            return false;
        }
    }

    void Text(const std::string &field, int group, const char *a, const char *b) override {
        (void)group;
        if (record_ == "HEADER" && !HeaderField(field))
            return;
        if (field == "handle") {
            // The DWG reader writes a handle's bytes as upper-case hexadecimal without
            // leading zeros; the DXF reader keeps group 5 as the text stands.
            if (!a || !b) {
                EXPECT_EQ(Show(a), Show(b)) << where_ << " handle";
                return;
            }
            EXPECT_EQ(NormalHandle(a), NormalHandle(b)) << where_ << " handle";
            return;
        }
        if (record_ == "ENTITY" && kind_ == CDB_DIMENSION && field == "text") {
            // The DXF twin's writer left group 1 empty where the DWG holds the dimension's
            // text (a blank); an empty text group leaves the DXF record's text null.
            const std::string *written = source_ ? source_->Last(1) : nullptr;
            if (!written || written->empty()) {
                EXPECT_EQ(Show(b), Show(nullptr)) << where_ << " text (empty group 1)";
                return;
            }
        }
        if ((record_ == "BLOCK" || record_ == "BLOCK_TBL") && field == "name" && a && b &&
            a[0] == '*' && b[0] == '*') {
            // An anonymous block: the DWG stores the bare stem ("*D") and loading appends
            // the count of anonymous blocks read before it ("*D0"); the DXF keeps the name
            // as written ("*D2").
            int &counter = record_ == "BLOCK" ? anonymous_blocks_ : anonymous_records_;
            std::string stem(b);
            while (stem.size() > 2 && std::isdigit(static_cast<unsigned char>(stem.back())))
                stem.pop_back();
            EXPECT_EQ(std::string(a), stem + std::to_string(counter)) << where_ << " name (DWG)";
            const std::string *written = source_ ? source_->Last(2) : nullptr;
            EXPECT_EQ(Show(b), Show(written ? written->c_str() : nullptr))
                << where_ << " name (DXF)";
            ++counter;
            return;
        }
        if (record_ == "BLOCK" && field == "xref_path" && (!source_ || !source_->Last(1))) {
            // No path: the DWG reader gives an empty text, never null; the DXF block start
            // has no group 1 and keeps none.
            EXPECT_EQ(Show(a), Show("")) << where_ << " xref_path (DWG)";
            EXPECT_TRUE(!b || !*b) << where_ << " xref_path (DXF) " << Show(b);
            return;
        }
        EXPECT_EQ(Show(a), Show(b)) << where_ << " " << field;
    }

    void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
              size_t nb) override {
        EXPECT_EQ(Hex(a, na), Hex(b, nb)) << where_ << " " << field;
    }

private:
    const std::vector<DxfObject> &Table(const std::string &name) const {
        static const std::vector<DxfObject> none;
        auto it = layout_.tables.find(name);
        return it == layout_.tables.end() ? none : it->second;
    }

    const std::string *Text(int group) const { return source_ ? source_->Last(group) : nullptr; }

    double Tolerance(int group, double a, double b) const {
        double tol = 1e-9 * std::max(std::fabs(a), std::fabs(b)) + 1e-12;
        // An entity's elevation comes from group 38 or, in the two-dimensional kinds,
        // from the last of the z groups 30 to 33: any of them may have set it.
        std::vector<int> groups = {group};
        if (group == 38)
            groups = {30, 31, 32, 33, 38};
        for (int g : groups) {
            if (const std::string *text = Text(g))
                tol = std::max(tol, Resolution(*text, layout_.writer_decimals));
        }
        return tol;
    }

    void Near(const std::string &field, double a, double b, double tol) {
        if (std::isnan(a) && std::isnan(b))
            return;
        EXPECT_NEAR(a, b, tol) << where_ << " " << field;
    }

    // The places where the DWG and the DXF reader of release 12 differ by design, for
    // the entity kinds. True when the field was handled here.
    bool EntityReal(const std::string &field, double a, double b) {
        if (kind_ == CDB_CIRCLE && field == "center.z") {
            // DWG: a circle's centre is stored without z, and a z of 0 takes the
            // elevation. DXF: group 30 of a CIRCLE goes to the elevation and the centre's
            // z stays 0.
            Near(field + " (DWG: the elevation)", a, Val(a_->elevation), 1e-12);
            EXPECT_EQ(b, 0.0) << where_ << " " << field << " (DXF: 0)";
            return true;
        }
        if (kind_ == CDB_POLYLINE && field == "elevation") {
            // DWG: the polyline's elevation is a common field and its origin is 0, 0,
            // elevation. DXF: a POLYLINE keeps group 30 in its origin, and only group 38
            // sets the elevation.
            Near(field + " (DWG: the origin's z)", a, Val(a_->polyline.origin.z), 1e-12);
            Near(field + " (DXF: group 38)", b, ValueOf(Text(38)), Tolerance(38, b, b));
            return true;
        }
        if (kind_ == CDB_DIMENSION &&
            (field == "text_midpoint.z" || field == "clone_insertion_point.z")) {
            // DWG: the text midpoint and the clone insertion point are stored as x and y,
            // their z 0. DXF: groups 31 and 32 fill those z.
            const int group = field == "text_midpoint.z" ? 31 : 32;
            EXPECT_EQ(a, 0.0) << where_ << " " << field << " (DWG: 0)";
            Near(field + " (DXF: its group)", b, ValueOf(Text(group)), Tolerance(group, b, b));
            return true;
        }
        if (field == "elevation" && source_ && !Text(30) && !Text(31) && !Text(32) && !Text(33) &&
            !Text(38)) {
            // The DXF entity has no group that sets an elevation (the twin's SEQEND after
            // the polyline), while the DWG frame carries one: the file holds none to
            // compare, and the DXF record keeps 0.
            EXPECT_EQ(b, 0.0) << where_ << " " << field << " (DXF: no group)";
            return true;
        }
        if (kind_ == CDB_DIMENSION && field == "oblique_angle") {
            // The DWG reader does not read a dimension's oblique angle; DXF group 53 does.
            EXPECT_EQ(a, 0.0) << where_ << " " << field << " (DWG: not read)";
            Near(field + " (DXF: group 53)", b, ValueOf(Text(53)), Tolerance(53, b, b));
            return true;
        }
        return false;
    }

    // A header field that the DXF file fills: a variable of its HEADER section, or a view
    // setting that the reader takes from the "*ACTIVE" viewport.
    bool HeaderField(const std::string &field) const { return HeaderSource(field) != nullptr; }

    static std::string VariableOf(const std::string &field) {
        return field.substr(0, field.find('.'));
    }

    // The "*ACTIVE" viewport's group for a header field that the reader takes from it.
    static int ActiveGroup(const std::string &field) {
        static const std::map<std::string, int> groups = {
            {"viewctr.x", 12},  {"viewctr.y", 22}, {"viewdir.x", 16}, {"viewdir.y", 26},
            {"viewdir.z", 36},  {"viewsize", 40},  {"snapang", 50},   {"snapbase.x", 13},
            {"snapbase.y", 23}, {"snapmode", 75},  {"snapstyle", 77}, {"snapisopair", 78}};
        auto it = groups.find(field);
        return it == groups.end() ? 0 : it->second;
    }

    const DxfObject *HeaderSource(const std::string &field) const {
        if (field[0] == '$') {
            auto it = layout_.header.find(VariableOf(field));
            return it == layout_.header.end() ? nullptr : &it->second;
        }
        return ActiveGroup(field) ? active_ : nullptr;
    }

    void HeaderReal(const std::string &field, double a, double b) {
        // A variable that the file lacks reads as 0 in the DXF drawing, not as the DWG's
        // value; and a field that no variable fills stays 0. Neither is compared.
        const DxfObject *source = HeaderSource(field);
        if (!source)
            return;
        const std::string *text = nullptr;
        if (field[0] == '$') {
            const std::string suffix = field.size() > 2 ? field.substr(field.size() - 2) : "";
            const int group = suffix == ".x" ? 10 : suffix == ".y" ? 20 : suffix == ".z" ? 30 : 0;
            for (const Group &g : source->groups) {
                if (group == 0 || g.code == group) {
                    text = &g.value;
                    break;
                }
            }
        } else {
            text = source->Last(ActiveGroup(field));
        }
        double tol = 1e-9 * std::max(std::fabs(a), std::fabs(b)) + 1e-12;
        if (text)
            tol = std::max(tol, Resolution(*text, layout_.writer_decimals));
        if (field.compare(0, 3, "$TD") == 0 && !(std::fabs(a - b) <= tol)) {
            // The DWG reader takes the 8 bytes of a date or a time in the header block as
            // one f64, where this DWG keeps two 32-bit numbers, the day and the
            // milliseconds; the DXF twin has the day with its fraction. Read that way, the
            // DWG's bytes give the DXF's number.
            int32_t parts[2];
            std::memcpy(parts, &a, sizeof parts);
            const double days = parts[0] + parts[1] / 86400000.0;
            Near(field + " (DWG bytes as day and milliseconds)", days, b, tol + 1e-8);
            return;
        }
        Near(field, a, b, tol);
    }

    const DxfLayout &layout_;
    const DxfObject *source_ = nullptr;
    const DxfObject *active_ = nullptr;
    int anonymous_blocks_ = 0;
    int anonymous_records_ = 0;
};

class Dxf12Twin : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override { VELKO_REQUIRE_CORPUS(); }
};

TEST_P(Dxf12Twin, DxfRecordsEqualTheDwgTwinsExceptWhereTheReadersDiffer) {
    const std::string dwg_path = CorpusPath("dwg12/" + GetParam() + ".dwg");
    const std::string dxf_path = CorpusPath("dxf12/" + GetParam() + ".dxf");
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ReadWholeFile(dxf_path, &bytes)) << dxf_path;
    const DxfLayout layout = LayoutOf(ParseAsciiGroups(bytes));
    // The twins' writer gives six digits behind the point.
    EXPECT_EQ(layout.writer_decimals, 6);

    Snapshot dwg(dwg_path);
    ASSERT_TRUE(dwg.opened()) << dwg_path << ": error " << dwg.code();
    Snapshot dxf(dxf_path);
    ASSERT_TRUE(dxf.opened()) << dxf_path << ": error " << dxf.code();
    ASSERT_FALSE(dwg.main_.empty());
    EXPECT_EQ(dwg.main_.size(), layout.entities.size() + 1) << "the entities and the end marker";

    TwinSink sink(layout);
    CompareDrawings(dwg, dxf, sink, sink);
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dxf12Twin, testing::Values("entities-2d", "entities-3d"),
                         [](const testing::TestParamInfo<std::string> &info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// The two-dimensional kinds and the BYBLOCK references of the DXF twin, field by field:
// where each z of the file went.
TEST(Dxf12TwinFields, ZOfTwoDimensionalKindsGoesToTheElevation) {
    VELKO_REQUIRE_CORPUS();
    Snapshot dxf(CorpusPath("dxf12/entities-2d.dxf"));
    ASSERT_TRUE(dxf.opened()) << dxf.code();
    ASSERT_EQ(dxf.main_.size(), 20u);
    auto at = [&](size_t i, int kind) -> const CDB_ENTITY & {
        EXPECT_EQ(Val(dxf.main_[i].entity_type), kind) << "main list #" << i;
        return dxf.main_[i];
    };
    // POINT and LINE keep their z; nothing sets their elevation.
    const CDB_ENTITY &point = at(0, CDB_POINT);
    EXPECT_EQ(Val(point.point.location.z), 3.0);
    const CDB_ENTITY &line = at(1, CDB_LINE);
    EXPECT_EQ(Val(line.line.start_point.z), 4.0);
    EXPECT_EQ(Val(line.line.end_point.z), 5.0);
    EXPECT_EQ(Val(line.elevation), 0.0);
    // ARC: group 30 goes to the elevation and stays in the centre's z.
    const CDB_ENTITY &arc = at(2, CDB_ARC);
    EXPECT_EQ(Val(arc.arc.center.z), 5.0);
    EXPECT_EQ(Val(arc.elevation), 5.0);
    // CIRCLE: group 30 goes to the elevation only.
    const CDB_ENTITY &circle = at(3, CDB_CIRCLE);
    EXPECT_EQ(Val(circle.circle.center.z), 0.0);
    EXPECT_EQ(Val(circle.elevation), 2.0);
    // TEXT: groups 30 and 31 go to the elevation; both points keep z 0.
    const CDB_ENTITY &text = at(4, CDB_TEXT);
    EXPECT_EQ(Val(text.text.insertion_point.z), 0.0);
    EXPECT_EQ(Val(text.text.alignment_point.z), 0.0);
    EXPECT_EQ(Val(text.elevation), 2.0);
    // TRACE and SOLID: the four z groups go to the elevation.
    for (size_t i : {size_t(5), size_t(8)}) {
        const CDB_ENTITY &e = dxf.main_[i];
        EXPECT_TRUE(Val(e.entity_type) == CDB_TRACE || Val(e.entity_type) == CDB_SOLID);
        EXPECT_EQ(Val(e.trace.corner_1.z), 0.0) << i;
        EXPECT_EQ(Val(e.trace.corner_4.z), 0.0) << i;
        EXPECT_EQ(Val(e.elevation), 2.0) << i;
    }
    // INSERT, SHAPE, ATTDEF, ATTRIB alike.
    const CDB_ENTITY &insert = at(6, CDB_INSERT);
    EXPECT_EQ(Val(insert.insert.insertion_point.z), 0.0);
    EXPECT_EQ(Val(insert.elevation), 3.0);
    EXPECT_EQ(Val(insert.insert.block_index), 0) << "BLOCK1";
    const CDB_ENTITY &attdef = at(9, CDB_ATTDEF);
    EXPECT_EQ(Val(attdef.attdef.insertion_point.z), 0.0);
    EXPECT_EQ(Val(attdef.elevation), 2.0);
    const CDB_ENTITY &attrib = at(11, CDB_ATTRIB);
    EXPECT_EQ(Val(attrib.attrib.insertion_point.z), 0.0);
    EXPECT_EQ(Val(attrib.elevation), 4.0);
    // POLYLINE keeps group 30 in its origin; VERTEX puts it in its z and its elevation.
    const CDB_ENTITY &polyline = at(13, CDB_POLYLINE);
    EXPECT_EQ(Val(polyline.polyline.origin.z), 2.0);
    EXPECT_EQ(Val(polyline.elevation), 0.0);
    for (size_t i = 14; i < 17; ++i) {
        const CDB_ENTITY &vertex = at(i, CDB_VERTEX);
        EXPECT_EQ(Val(vertex.vertex.location.z), 2.0);
        EXPECT_EQ(Val(vertex.elevation), 2.0);
    }
    // DIMENSION keeps its z; its empty group 1 leaves no text; "*D2" is the third block.
    const CDB_ENTITY &dimension = at(18, CDB_DIMENSION);
    EXPECT_EQ(Val(dimension.dimension.definition_point_2.z), 2.0);
    EXPECT_EQ(Val(dimension.dimension.definition_point_3.z), 3.0);
    EXPECT_EQ(Val(dimension.dimension.text), nullptr);
    EXPECT_EQ(Val(dimension.dimension.block_index), 2);
    EXPECT_EQ(Val(dxf.main_[19].entity_type), CDB_ENDBLK);
}

TEST(Dxf12TwinFields, ByblockLineTypeAndColourOfTheAnonymousBlock) {
    VELKO_REQUIRE_CORPUS();
    Snapshot dxf(CorpusPath("dxf12/entities-2d.dxf"));
    ASSERT_TRUE(dxf.opened()) << dxf.code();
    ASSERT_EQ(dxf.blocks_.size(), 3u);
    const BlockCopy &d = dxf.blocks_[2];
    EXPECT_EQ(Show(d.start.name), Show("*D2"));
    ASSERT_EQ(d.list.size(), 9u);
    for (size_t i = 0; i < 8; ++i) {
        // Group 6 "BYBLOCK" gives -2, colour 0 stays BYBLOCK.
        EXPECT_EQ(Val(d.list[i].line_type_index), -2) << i;
        EXPECT_EQ(Val(d.list[i].color), 0) << i;
    }
    // Entities without group 6 and 62 are BYLAYER in both.
    const CDB_ENTITY &line = dxf.blocks_[0].list[0];
    EXPECT_EQ(Val(line.line_type_index), -1);
    EXPECT_EQ(Val(line.color), -1);
    // The points of the anonymous block stand on DEFPOINTS, the second layer.
    EXPECT_EQ(Val(d.list[5].layer_index), 1);
}

std::string AsciiText(const std::vector<Group> &groups) {
    std::string text;
    for (const Group &g : groups)
        text += std::to_string(g.code) + "\n" + g.value + "\n";
    return text;
}

bool WriteText(const std::string &path, const std::string &text) {
    return WriteWholeFile(path, reinterpret_cast<const uint8_t *>(text.data()), text.size());
}

std::string TempName(const std::string &tag) {
    return ::testing::TempDir() + "velko_dxf12_" + std::to_string(::getpid()) + "_" + tag;
}

// A temporary file removed at the end of the test.
struct TempPath {
    explicit TempPath(const std::string &tag) : path(TempName(tag)) {}
    ~TempPath() { std::remove(path.c_str()); }
    TempPath(const TempPath &) = delete;
    TempPath &operator=(const TempPath &) = delete;
    std::string path;
};

// The corpus twins end their lines with a carriage return and a line feed; the same
// groups with line feeds alone read to the same records.
TEST(Dxf12TwinFiles, LineFeedsAloneReadAsCarriageReturnAndLineFeed) {
    VELKO_REQUIRE_CORPUS();
    const std::string original = CorpusPath("dxf12/entities-2d.dxf");
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ReadWholeFile(original, &bytes));
    ASSERT_NE(std::find(bytes.begin(), bytes.end(), '\r'), bytes.end()) << "no CR LF to drop";
    std::vector<uint8_t> lf;
    for (uint8_t c : bytes) {
        if (c != '\r')
            lf.push_back(c);
    }
    TempPath path("lf.dxf");
    ASSERT_TRUE(WriteWholeFile(path.path, lf.data(), lf.size()));
    Snapshot a(original);
    Snapshot b(path.path);
    ASSERT_TRUE(a.opened()) << a.code();
    ASSERT_TRUE(b.opened()) << b.code();
    ExactSink sink;
    CompareDrawings(a, b, sink, sink);
}

// The loader finds the sections by their names: ENTITIES before BLOCKS reads to the same
// records. (The HEADER stays first: the version check at open wants its $ACADVER in the
// file's first groups.)
TEST(Dxf12TwinFiles, EntitiesBeforeBlocksReadAlike) {
    VELKO_REQUIRE_CORPUS();
    const std::string original = CorpusPath("dxf12/entities-2d.dxf");
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ReadWholeFile(original, &bytes));
    const std::vector<Group> groups = ParseAsciiGroups(bytes);
    std::map<std::string, std::vector<Group>> sections;
    for (size_t i = 0; i + 1 < groups.size(); ++i) {
        if (groups[i].code != 0 || groups[i].value != "SECTION")
            continue;
        size_t end = i;
        while (end < groups.size() && !(groups[end].code == 0 && groups[end].value == "ENDSEC"))
            ++end;
        ASSERT_LT(end, groups.size());
        sections[groups[i + 1].value].assign(groups.begin() + static_cast<std::ptrdiff_t>(i),
                                             groups.begin() + static_cast<std::ptrdiff_t>(end + 1));
        i = end;
    }
    ASSERT_EQ(sections.size(), 4u);
    std::vector<Group> reordered;
    for (const char *name : {"HEADER", "TABLES", "ENTITIES", "BLOCKS"})
        reordered.insert(reordered.end(), sections[name].begin(), sections[name].end());
    reordered.push_back({0, "EOF"});
    TempPath path("reordered.dxf");
    ASSERT_TRUE(WriteText(path.path, AsciiText(reordered)));
    Snapshot a(original);
    Snapshot b(path.path);
    ASSERT_TRUE(a.opened()) << a.code();
    ASSERT_TRUE(b.opened()) << b.code();
    ExactSink sink;
    CompareDrawings(a, b, sink, sink);
}

// With TABLES first the same file is refused: the version check at open reads the first
// groups and wants "SECTION", "HEADER" and then $ACADVER, before any loading.
TEST(Dxf12TwinFiles, TablesBeforeTheHeaderAreRefusedAtOpen) {
    VELKO_REQUIRE_CORPUS();
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ReadWholeFile(CorpusPath("dxf12/entities-2d.dxf"), &bytes));
    const std::vector<Group> groups = ParseAsciiGroups(bytes);
    std::vector<Group> header, rest;
    bool in_header = true;
    for (const Group &g : groups) {
        (in_header ? header : rest).push_back(g);
        if (in_header && g.code == 0 && g.value == "ENDSEC")
            in_header = false;
    }
    ASSERT_FALSE(rest.empty());
    // TABLES, then HEADER, then the rest.
    std::vector<Group> reordered;
    size_t tables_end = 0;
    while (tables_end < rest.size() &&
           !(rest[tables_end].code == 0 && rest[tables_end].value == "ENDSEC"))
        ++tables_end;
    ASSERT_LT(tables_end, rest.size());
    reordered.assign(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(tables_end + 1));
    reordered.insert(reordered.end(), header.begin(), header.end());
    reordered.insert(reordered.end(), rest.begin() + static_cast<std::ptrdiff_t>(tables_end + 1),
                     rest.end());
    ASSERT_EQ(reordered[1].value, "TABLES");
    TempPath path("tables_first.dxf");
    ASSERT_TRUE(WriteText(path.path, AsciiText(reordered)));
    Snapshot b(path.path);
    EXPECT_FALSE(b.opened());
    EXPECT_EQ(b.code(), CDB_ERR_INVALID_FILE);
}

// ---------------------------------------------------------------------------
// ASCII against binary: a copy through the library's own group stream
// ---------------------------------------------------------------------------

// How a release 12 binary file holds the value of a group, by its code. Codes outside
// the reader's table have no value bytes in such a file: it cannot carry them.
enum class BinaryValue { kString, kReal, kInt16, kInt32, kChunk, kNone };

BinaryValue Release12Value(int code) {
    if ((code >= 0 && code <= 9) || code == 999 || (code >= 1000 && code <= 1003) ||
        (code >= 1005 && code <= 1009))
        return BinaryValue::kString;
    if ((code >= 10 && code <= 58) || (code >= 210 && code <= 230) ||
        (code >= 1010 && code <= 1042))
        return BinaryValue::kReal;
    if ((code >= 62 && code <= 78) || code == 1070)
        return BinaryValue::kInt16;
    if (code == 1071)
        return BinaryValue::kInt32;
    if (code == 1004)
        return BinaryValue::kChunk;
    return BinaryValue::kNone;
}

// Whether a group passes into a release 12 binary file and back: its code must be in the
// reader's table, and the writer, which puts a code below 1000 in one byte, must not cut
// it (999, the comment, would come out as 231).
bool BinaryCarries(int code) {
    return Release12Value(code) != BinaryValue::kNone && (code < 256 || code >= 1000);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Copies the groups of an ASCII DXF into `to` through CDxfStream: in binary form (the
// sentinel, then each group with the value type that its code has for the release 12
// reader) or in ASCII form (each group's text as it stands). Groups that a release 12
// binary file cannot carry are left out of both forms, so that the two copies hold the
// same groups. `dropped` counts them by code.
bool CopyDxf(const std::string &from, const std::string &to, bool binary,
             std::map<int, int> *dropped, std::string *error) {
    CDrawingFile in;
    if (!in.Open(from.c_str(), CDB_OPEN_READ)) {
        *error = "cannot open " + from;
        return false;
    }
    CDrawingFile out;
    if (!out.Open(to.c_str(), CDB_OPEN_CREATE)) {
        *error = "cannot create " + to;
        return false;
    }
    CDxfStream reader;
    reader.AttachInput(&in, CDxfStream::kAscii, CDxfStream::kRelease12);
    CDxfStream writer;
    writer.AttachOutput(&out, binary ? 1 : 0);
    if (binary && !writer.WriteBinarySentinel()) {
        *error = "the sentinel was refused";
        return false;
    }
    int16_t code = 0;
    char value[CDxfStream::kValueSize + 8];
    std::memset(value, 0, sizeof value);
    long groups = 0;
    while (reader.ReadGroup(&code, value) == 1) {
        if (++groups > 10000000) {
            *error = "no end of the input";
            return false;
        }
        if (!BinaryCarries(code)) {
            if (dropped)
                ++(*dropped)[code];
            continue;
        }
        char out_value[CDxfStream::kValueSize + 16];
        std::memset(out_value, 0, sizeof out_value);
        int16_t length = 0;
        const size_t text_length = strnlen(value, CDxfStream::kValueSize);
        if (!binary) {
            std::memcpy(out_value, value, text_length);
            length = static_cast<int16_t>(text_length + 1);
        } else {
            switch (Release12Value(code)) {
            case BinaryValue::kString:
                std::memcpy(out_value, value, text_length);
                length = static_cast<int16_t>(text_length + 1);
                break;
            case BinaryValue::kReal:
                length = writer.FormatReal(DxfTextToReal(value), out_value);
                break;
            case BinaryValue::kInt16:
                length = writer.FormatInt16(static_cast<int16_t>(DxfTextToInt(value)), out_value);
                break;
            case BinaryValue::kInt32:
                length = writer.FormatInt32(DxfTextToInt(value), out_value);
                break;
            case BinaryValue::kChunk: {
                // ASCII holds the bytes as hexadecimal text, two digits a byte; binary
                // holds a length byte and the bytes.
                size_t n = 0;
                for (size_t i = 0; i + 1 < text_length && n < 255; i += 2) {
                    int hi = HexDigit(value[i]), lo = HexDigit(value[i + 1]);
                    if (hi < 0 || lo < 0)
                        break;
                    out_value[1 + n++] = static_cast<char>(hi * 16 + lo);
                }
                out_value[0] = static_cast<char>(n);
                length = static_cast<int16_t>(n + 1);
                break;
            }
            case BinaryValue::kNone:
                break;
            }
        }
        if (!writer.WriteGroup(code, out_value, length)) {
            *error = "the output refused group " + std::to_string(code);
            return false;
        }
    }
    out.Flush();
    out.Close();
    in.Close();
    return true;
}

// The ASCII drawing on side a, its binary copy on side b.
class BinaryCopySink : public FieldSink, public Sources {
public:
    // `groups_dropped`: side a is the original file, which holds groups that the copy
    // could not carry.
    explicit BinaryCopySink(bool groups_dropped) : groups_dropped_(groups_dropped) {}

    void Real(const std::string &field, int group, double a, double b) override {
        if (record_ == "HEADER" && field == "$ANGBASE") {
            // The binary reader of header reals takes only group code 40; $ANGBASE is
            // written under 50 and reads as 0 from a binary file, whatever it holds.
            EXPECT_EQ(b, 0.0) << where_ << " $ANGBASE (binary: 0)";
            return;
        }
        if (Uncarried(group))
            return;
        EXPECT_TRUE(SameToDigits(a, b, 12))
            << where_ << " " << field << ": " << Digits(a) << " against " << Digits(b);
    }
    void Int(const std::string &field, int group, long a, long b) override {
        if (Uncarried(group))
            return;
        EXPECT_EQ(a, b) << where_ << " " << field;
    }
    void Text(const std::string &field, int group, const char *a, const char *b) override {
        if (Uncarried(group))
            return;
        EXPECT_EQ(Show(a), Show(b)) << where_ << " " << field;
    }
    void Data(const std::string &field, const uint8_t *a, size_t na, const uint8_t *b,
              size_t nb) override {
        if (field == "eed") {
            // The reals of extended data pass the binary reader as text too: compared
            // value by value, the reals to 12 digits.
            std::vector<EedValue> va, vb;
            if (EedValues(a, na, &va) && EedValues(b, nb, &vb)) {
                ASSERT_EQ(va.size(), vb.size()) << where_ << " eed values";
                for (size_t i = 0; i < va.size(); ++i) {
                    const std::string at = where_ + " eed value " + std::to_string(i);
                    EXPECT_EQ(va[i].code, vb[i].code) << at;
                    EXPECT_EQ(Hex(va[i].bytes.data(), va[i].bytes.size()),
                              Hex(vb[i].bytes.data(), vb[i].bytes.size()))
                        << at;
                    ASSERT_EQ(va[i].reals.size(), vb[i].reals.size()) << at;
                    for (size_t k = 0; k < va[i].reals.size(); ++k)
                        EXPECT_TRUE(SameToDigits(va[i].reals[k], vb[i].reals[k], 12))
                            << at << ": " << Digits(va[i].reals[k]) << " against "
                            << Digits(vb[i].reals[k]);
                }
                return;
            }
        }
        EXPECT_EQ(Hex(a, na), Hex(b, nb)) << where_ << " " << field;
    }

private:
    static std::string Digits(double v) {
        char text[40];
        std::snprintf(text, sizeof text, "%.17g", v);
        return text;
    }
    // The dimension style fields of groups 140 to 178 have no value type in a release 12
    // binary file: the copy leaves them out, and the binary drawing holds what a record
    // without them holds. Held against the original, they are not compared.
    bool Uncarried(int group) const {
        return groups_dropped_ && record_ == "DIMSTYLE" && group >= 140 && group <= 178;
    }

    bool groups_dropped_;
};

// Each ASCII drawing of the corpus whose version check passes.
std::vector<std::string> AsciiCases() {
    std::vector<std::string> cases;
    for (const json::Value *e : CorpusManifestEntries("dxf12/")) {
        const json::Value *opens = e->find("opens");
        if ((*e)["form"].as_string() == "ascii" && (!opens || opens->as_bool(true)))
            cases.push_back((*e)["path"].as_string());
    }
    if (cases.empty())
        cases.push_back("");
    return cases;
}

class Dxf12BinaryCopy : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        ASSERT_FALSE(GetParam().empty()) << "the manifest lists no ASCII dxf12 drawing";
    }
};

TEST_P(Dxf12BinaryCopy, ReadsToTheSameRecordsAsTheAsciiFile) {
    const std::string original = CorpusPath(GetParam());
    TempPath binary(TestNameFor(GetParam()) + ".bin.dxf");
    TempPath ascii(TestNameFor(GetParam()) + ".same.dxf");
    std::map<int, int> dropped;
    std::string error;
    ASSERT_TRUE(CopyDxf(original, binary.path, true, &dropped, &error)) << error;
    ASSERT_TRUE(CopyDxf(original, ascii.path, false, nullptr, &error)) << error;
    std::string left_out;
    for (const auto &kv : dropped) {
        left_out += " " + std::to_string(kv.first) + "x" + std::to_string(kv.second);
        // Nothing but the dimension style groups that release 13 added, the subclass
        // markers (100) and the comments (999) is expected to be left out.
        const bool dimstyle = kv.first >= 140 && kv.first <= 178;
        EXPECT_TRUE(dimstyle || kv.first == 100 || kv.first == 105 || kv.first == 999)
            << "group " << kv.first << " left out of the copy";
    }
    RecordProperty("left_out", left_out);

    Snapshot a(original);
    Snapshot b(binary.path);
    Snapshot c(ascii.path);
    if (!a.opened()) {
        // Whatever refuses the ASCII file refuses its copies alike.
        EXPECT_FALSE(b.opened()) << "the binary copy opens where the ASCII file does not";
        EXPECT_FALSE(c.opened());
        EXPECT_EQ(b.code(), a.code());
        EXPECT_EQ(c.code(), a.code());
        return;
    }
    ASSERT_TRUE(b.opened()) << "the binary copy is refused: " << b.code();
    ASSERT_TRUE(c.opened()) << "the ASCII copy is refused: " << c.code();

    {
        SCOPED_TRACE("the original against its binary copy");
        BinaryCopySink sink(!dropped.empty());
        CompareDrawings(a, b, sink, sink);
    }
    {
        // The same groups in both forms: every field agrees, the dimension styles too.
        SCOPED_TRACE("the ASCII copy against the binary copy");
        BinaryCopySink sink(false);
        CompareDrawings(c, b, sink, sink);
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, Dxf12BinaryCopy, testing::ValuesIn(AsciiCases()),
                         [](const testing::TestParamInfo<std::string> &info) {
                             return info.param.empty() ? std::string("no_corpus")
                                                       : TestNameFor(info.param);
                         });

// ---- Hand-made drawings -------------------------------------------------------------

// An ASCII DXF from (code, value) pairs.
std::string AsciiDxf(const std::vector<std::pair<int, std::string>> &groups) {
    std::string text;
    for (const auto &g : groups) {
        char code[16];
        std::snprintf(code, sizeof code, "%3d\n", g.first);
        text += code + g.second + "\n";
    }
    return text;
}

// A small release 12 drawing: the header variables given, the tables that the entities
// need, and the entities given.
std::string SmallDrawing(const std::vector<std::pair<int, std::string>> &header,
                         const std::vector<std::pair<int, std::string>> &entities) {
    std::vector<std::pair<int, std::string>> g = {
        {0, "SECTION"}, {2, "HEADER"}, {9, "$ACADVER"}, {1, "AC1009"}};
    g.insert(g.end(), header.begin(), header.end());
    const std::vector<std::pair<int, std::string>> tables = {
        {0, "ENDSEC"},  {0, "SECTION"},    {2, "TABLES"},     {0, "TABLE"},  {2, "LTYPE"},
        {70, "1"},      {0, "LTYPE"},      {2, "CONTINUOUS"}, {70, "0"},     {3, "Solid line"},
        {72, "65"},     {73, "0"},         {40, "0.0"},       {0, "ENDTAB"}, {0, "TABLE"},
        {2, "LAYER"},   {70, "1"},         {0, "LAYER"},      {2, "0"},      {70, "0"},
        {62, "7"},      {6, "CONTINUOUS"}, {0, "ENDTAB"},     {0, "TABLE"},  {2, "APPID"},
        {70, "1"},      {0, "APPID"},      {2, "ACAD"},       {70, "0"},     {0, "ENDTAB"},
        {0, "ENDSEC"},  {0, "SECTION"},    {2, "BLOCKS"},     {0, "ENDSEC"}, {0, "SECTION"},
        {2, "ENTITIES"}};
    g.insert(g.end(), tables.begin(), tables.end());
    g.insert(g.end(), entities.begin(), entities.end());
    g.push_back({0, "ENDSEC"});
    g.push_back({0, "EOF"});
    return AsciiDxf(g);
}

// Writes `text` as an ASCII DXF and its binary copy; both paths in `ascii` and `binary`.
void WriteBothForms(const std::string &text, const TempPath &ascii, const TempPath &binary) {
    ASSERT_TRUE(
        WriteWholeFile(ascii.path, reinterpret_cast<const uint8_t *>(text.data()), text.size()));
    std::string error;
    ASSERT_TRUE(CopyDxf(ascii.path, binary.path, true, nullptr, &error)) << error;
}

TEST(Dxf12BinaryCopyRules, AngbaseReadsAsZeroFromABinaryFile) {
    for (const char *angle : {"90.0", "30.0"}) {
        TempPath ascii(std::string("angbase_") + angle + ".dxf");
        TempPath binary(std::string("angbase_") + angle + ".bin.dxf");
        WriteBothForms(
            SmallDrawing({{9, "$ANGBASE"}, {50, angle}, {9, "$LTSCALE"}, {40, "2.5"}}, {}), ascii,
            binary);
        Snapshot a(ascii.path);
        Snapshot b(binary.path);
        ASSERT_TRUE(a.opened()) << a.code();
        ASSERT_TRUE(b.opened()) << b.code();
        EXPECT_EQ(Val(a.header_.angbase), std::strtod(angle, nullptr)) << "ASCII";
        EXPECT_EQ(Val(b.header_.angbase), 0.0) << "binary: group 50 is no code 40";
        // A real under code 40 reads alike from both.
        EXPECT_EQ(Val(a.header_.ltscale), 2.5);
        EXPECT_EQ(Val(b.header_.ltscale), 2.5);
    }
}

TEST(Dxf12BinaryCopyRules, EntityRealsPassTwelveSignificantDigits) {
    TempPath ascii("digits.dxf");
    TempPath binary("digits.bin.dxf");
    WriteBothForms(SmallDrawing({}, {{0, "LINE"},
                                     {8, "0"},
                                     {10, "0.1"},
                                     {20, "1.234567890123456789"},
                                     {30, "-98765.4321098765"},
                                     {11, "1e-20"},
                                     {21, "123456789012345678"},
                                     {31, "0"}}),
                   ascii, binary);
    Snapshot a(ascii.path);
    Snapshot b(binary.path);
    ASSERT_TRUE(a.opened()) << a.code();
    ASSERT_TRUE(b.opened()) << b.code();
    ASSERT_EQ(a.main_.size(), 2u);
    ASSERT_EQ(b.main_.size(), 2u);
    const CDB_LINE_type la = a.main_[0].line, lb = b.main_[0].line;
    EXPECT_EQ(la.start_point.x, 0.1);
    EXPECT_EQ(lb.start_point.x, 0.1) << "a binary 0.1 reaches the reader as the text 0.1";
    EXPECT_EQ(la.start_point.y, 1.234567890123456789);
    EXPECT_EQ(lb.start_point.y, 1.23456789012) << "the digits past the twelfth are lost";
    EXPECT_EQ(la.start_point.z, -98765.4321098765);
    EXPECT_EQ(lb.start_point.z, -98765.4321099);
    EXPECT_EQ(lb.end_point.x, 1e-20);
    EXPECT_EQ(la.end_point.y, 123456789012345678.0);
    EXPECT_EQ(lb.end_point.y, 123456789012000000.0);
    EXPECT_EQ(lb.end_point.z, 0.0);
}

TEST(Dxf12BinaryCopyRules, ExtendedDataReadsToTheSameBytes) {
    TempPath ascii("eed.dxf");
    TempPath binary("eed.bin.dxf");
    WriteBothForms(
        SmallDrawing({}, {{0, "LINE"},      {8, "0"},           {10, "1.5"},    {20, "2.5"},
                          {30, "0.0"},      {11, "3.5"},        {21, "4.5"},    {31, "0.0"},
                          {1001, "ACAD"},   {1000, "text"},     {1002, "{"},    {1070, "-7"},
                          {1071, "123456"}, {1040, "0.25"},     {1010, "1.0"},  {1020, "2.0"},
                          {1030, "3.0"},    {1004, "01FF7F80"}, {1005, "1A2B"}, {1003, "0"},
                          {1002, "}"},      {0, "POINT"},       {8, "0"},       {10, "1.0"},
                          {20, "2.0"},      {30, "3.0"}}),
        ascii, binary);
    Snapshot a(ascii.path);
    Snapshot b(binary.path);
    ASSERT_TRUE(a.opened()) << a.code();
    ASSERT_TRUE(b.opened()) << b.code();
    ASSERT_EQ(a.main_.size(), 3u) << "the group 0 that ends the data is handed back";
    ASSERT_EQ(b.main_.size(), 3u);
    ASSERT_NE(Val(a.main_[0].eed_data), nullptr);
    ASSERT_NE(Val(b.main_[0].eed_data), nullptr);
    EXPECT_GT(Val(a.main_[0].eed_size), 0);
    EXPECT_EQ(Hex(a.main_[0].eed_data, a.main_[0].eed_size),
              Hex(b.main_[0].eed_data, b.main_[0].eed_size));
    EXPECT_EQ(Val(a.main_[1].entity_type), CDB_POINT);
    BinaryCopySink sink(false);
    CompareDrawings(a, b, sink, sink);
}

// A binary chunk reaches the reader as text that begins with its length byte, and the
// text ends at the first zero byte: a 1004 value with a zero byte keeps, in a binary
// file, none of the bytes from that zero on, where the ASCII file keeps them all.
TEST(Dxf12BinaryCopyRules, ChunkIsCutAtItsFirstZeroByteInABinaryFile) {
    TempPath ascii("chunk.dxf");
    TempPath binary("chunk.bin.dxf");
    WriteBothForms(SmallDrawing({}, {{0, "POINT"},
                                     {8, "0"},
                                     {10, "1.0"},
                                     {20, "2.0"},
                                     {30, "3.0"},
                                     {1001, "ACAD"},
                                     {1004, "7F00FF"},
                                     {1070, "5"}}),
                   ascii, binary);
    Snapshot a(ascii.path);
    Snapshot b(binary.path);
    ASSERT_TRUE(a.opened()) << a.code();
    ASSERT_TRUE(b.opened()) << b.code();
    ASSERT_EQ(a.main_.size(), 2u);
    ASSERT_EQ(b.main_.size(), 2u);
    std::vector<EedValue> va, vb;
    ASSERT_TRUE(EedValues(a.main_[0].eed_data, a.main_[0].eed_size, &va))
        << Hex(a.main_[0].eed_data, a.main_[0].eed_size);
    ASSERT_TRUE(EedValues(b.main_[0].eed_data, b.main_[0].eed_size, &vb))
        << Hex(b.main_[0].eed_data, b.main_[0].eed_size);
    ASSERT_EQ(va.size(), 3u);
    ASSERT_EQ(vb.size(), 3u);
    EXPECT_EQ(va[1].code, 4);
    EXPECT_EQ(Hex(va[1].bytes.data(), va[1].bytes.size()), "037F00FF") << "ASCII: all of it";
    ASSERT_EQ(vb[1].code, 4);
    ASSERT_FALSE(vb[1].bytes.empty());
    EXPECT_EQ(static_cast<size_t>(vb[1].bytes[0]), vb[1].bytes.size() - 1)
        << "binary: the length byte counts what is kept";
    EXPECT_LE(vb[1].bytes.size(), 2u) << "binary: nothing from the zero byte on";
    if (vb[1].bytes.size() == 2) {
        EXPECT_EQ(vb[1].bytes[1], 0x7F);
    }
    // The value behind the chunk is read alike.
    EXPECT_EQ(va[2].code, 70);
    EXPECT_EQ(Hex(va[2].bytes.data(), 2), Hex(vb[2].bytes.data(), 2));
}

} // namespace
} // namespace dxf12
} // namespace velko_test
