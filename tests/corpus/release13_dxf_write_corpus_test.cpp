// Corpus tests of the release 13 DXF writer: every release 13 drawing of the corpus that
// opens (dwg13/*.dwg, dxf13/*.dxf) is saved as ASCII DXF and as binary DXF.
//  - The ASCII file reads back through the library's open with every record equal, but for
//    the differences named in WriteSink.
//  - The binary file is held group for group against the ASCII one (the library's release
//    13 reader does not take the binary form the writer makes: one-byte group codes and no
//    sentinel; see support/r13_dxf_binary_groups.h).
//  - A drawing read from DXF keeps its OBJECTS section and end mark byte for byte, in the
//    form of its input, in both outputs.
//  - A drawing the writer must refuse (it holds a kind without a DXF writer: 3DSOLID, BODY,
//    REGION, OLEFRAME) is named below with its reason; the save fails and its output ends
//    inside the ENTITIES section.
#include "support/corpus.h"
#include "support/drawing_snapshot.h"
#include "support/dxf_entity_groups.h"
#include "support/r13_dxf_binary_groups.h"
#include "support/r13_written_file.h"

#include "dwg13/r13_drawing.h"
#include "dxf/dxf_sniff.h"
#include "interface/tool_support.h"
#include "io/drawing_file.h"
#include "records/entity_kinds.h"

#include "interface/test_files.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace velko_test {
namespace release13_dxf_write {
namespace {

// The drawings the reader refuses: nothing to save. example_r13.dwg's block headers do not
// follow the block control, so its load finds no block of the two spaces; ixmilia_r13.dxf
// has an empty BLOCKS section.
constexpr const char *kRefusedByTheReader[] = {"dwg13/example_r13.dwg", "dxf13/ixmilia_r13.dxf"};

// The drawings the writer refuses, with the section it stopped in, the kind of the entity
// that stopped it ("" when none did) and the reason. A refused save leaves no file.
struct Refusal {
    const char *path;
    const char *stopped_in;
    const char *stopped_by;
    const char *reason;
};
constexpr Refusal kRefusedByTheWriter[] = {
    // The dimension style table's one record comes from the DWG without a name, and $DIMSTYLE
    // names it: an index that gives an empty name ends the save.
    {"dwg13/example_r13_relaid.dwg", "HEADER", "",
     "$DIMSTYLE names the dimension style record that the DWG reader leaves without a name"},
    // The model space holds a 3DSOLID and REGIONs, kinds a release 13 DXF has no groups for.
    {"dxf13/example_r13.dxf", "ENTITIES", "3DSOLID REGION",
     "its model space holds a 3DSOLID and REGIONs, which have no DXF writer"},
};

bool RefusedByTheReader(const std::string &relative) {
    for (const char *path : kRefusedByTheReader)
        if (relative == path)
            return true;
    return false;
}

const Refusal *RefusedByTheWriter(const std::string &relative) {
    for (const Refusal &r : kRefusedByTheWriter)
        if (relative == r.path)
            return &r;
    return nullptr;
}

std::vector<std::string> Release13Files() {
    std::vector<std::string> files = CorpusFiles("dwg13");
    for (const std::string &f : CorpusFiles("dxf13"))
        files.push_back(f);
    return files;
}

// Where a DXF source keeps its OBJECTS section and end mark, as its reader found it;
// size 0 for a DWG.
struct Tail {
    int32_t start = 0;
    int32_t size = 0;
};

Tail TailOf(const std::string &path) {
    Tail tail;
    auto file = std::make_unique<CDrawingFile>();
    if (!file->Open(path.c_str(), kDrawingFileRead))
        return tail;
    const DxfSniff sniff = SniffDxf(*file);
    if (sniff.release != 13)
        return tail;
    CR13Drawing drawing(nullptr, 0);
    if (drawing.OpenDXFFrom(file, path.c_str(), sniff.form == CDxfStream::kBinary ? 1 : 0) != 1 ||
        drawing.LoadDWG() != 1)
        return tail;
    tail.start = drawing.TailStart();
    tail.size = drawing.TailSize();
    return tail;
}

std::vector<uint8_t> Slice(const std::vector<uint8_t> &bytes, size_t from, size_t size) {
    if (from > bytes.size() || bytes.size() - from < size)
        return {};
    return std::vector<uint8_t>(bytes.begin() + from, bytes.begin() + from + size);
}

// The bytes of a written file in front of the copied tail.
std::vector<uint8_t> Head(const std::vector<uint8_t> &bytes, const Tail &tail) {
    return bytes.size() < size_t(tail.size) ? bytes : Slice(bytes, 0, bytes.size() - tail.size);
}

// Equal to 8 significant digits, the precision of an ASCII DXF real, but for what the
// road through a DXF changes by design, each named here:
// - placement: a DXF places an entity by the section it stands in, a DWG by its mode bits
//   and owner (mode_model, mode_paper, has_owner, owner), and the links to neighbours and
//   dictionaries come from the objects of a DWG;
// - the main list closes with paper space's ENDBLK after a DWG read and with model space's
//   after a DXF read;
// - a block record goes out with its name alone: the flags a DWG keeps in its fixed byte
//   and its references to its entities are not in the DXF;
// - the current multiline style: a DWG that refers to none leaves its handle empty, and the
//   DXF's empty name reads back as "-1";
// - read back without the OBJECTS section (see CheckWritten), the current multiline style,
//   which names a style of that section, is not found;
// - header: the variables the writer leaves out (the view variables, the times), the code
//   page (always "ansi_1252"), and the current line type BYLAYER, which a DWG names by its
//   record's handle and a DXF as "-1".
class WriteSink : public snapshot::DigitsSink {
public:
    WriteSink(bool from_dwg, bool without_objects)
        : snapshot::DigitsSink(8), from_dwg_(from_dwg), without_objects_(without_objects) {}

    void Real(const std::string &field, int group, double a, double b) override {
        if (!Named(field))
            snapshot::DigitsSink::Real(field, group, a, b);
    }
    void Int(const std::string &field, int group, long a, long b) override {
        if (Named(field) || NamedInt(field, a, b))
            return;
        snapshot::DigitsSink::Int(field, group, a, b);
    }
    void Text(const std::string &field, int group, const char *a, const char *b) override {
        if (Named(field) || NamedText(field, a, b))
            return;
        snapshot::DigitsSink::Text(field, group, a, b);
    }

private:
    static bool Starts(const std::string &field, const char *prefix) {
        return field.rfind(prefix, 0) == 0;
    }

    bool Named(const std::string &field) const {
        if (record_ == "ENTITY" &&
            (field == "mode_model" || field == "mode_paper" || field == "has_owner" ||
             Starts(field, "owner.") || Starts(field, "next.") || Starts(field, "previous.") ||
             Starts(field, "dictionary.")))
            return true;
        if (from_dwg_ && record_ == "ENTITY" && kind_ == CDB_ENDBLK &&
            Starts(where_, "main list") && (field == "handle" || field == "space"))
            return true;
        if (without_objects_ && record_ == "HEADER" &&
            (field == "cmlstyle" || field == "hcmlstyle" || field == "$CMLSTYLE"))
            return true;
        if (from_dwg_ && record_ == "BLOCK_TBL" && (field == "flags" || Starts(field, "links.")))
            return true;
        if (record_ == "HEADER" &&
            (Starts(field, "viewctr") || Starts(field, "viewdir") || Starts(field, "viewsize") ||
             Starts(field, "$TD") || field == "$USRTIMER" || field == "$DWGCODEPAGE"))
            return true;
        return false;
    }

    bool NamedInt(const std::string &field, long a, long b) const {
        return from_dwg_ && record_ == "HEADER" && field == "$CELTYPE" && b == -1 && a >= 0;
    }

    bool NamedText(const std::string &field, const char *a, const char *b) const {
        const bool minus_one = b && std::strcmp(b, "-1") == 0;
        if (from_dwg_ && record_ == "HEADER" && field == "hcmlstyle" && minus_one && a && !*a)
            return true;
        return from_dwg_ && record_ == "HEADER" && field == "hceltype" && minus_one;
    }

    bool from_dwg_;
    bool without_objects_;
};

bool IsDxf(const std::string &relative) {
    return relative.size() > 4 && relative.compare(relative.size() - 4, 4, ".dxf") == 0;
}

bool BinaryDxf(const std::string &path) {
    const std::vector<uint8_t> bytes = FileBytes(path);
    const char sentinel[] = "AutoCAD Binary DXF";
    return bytes.size() > sizeof sentinel &&
           std::memcmp(bytes.data(), sentinel, sizeof sentinel - 1) == 0;
}

// The value of a header variable in the groups, "" when absent.
std::string HeaderValue(const std::vector<DxfGroup> &groups, const char *name) {
    for (size_t i = 0; i + 1 < groups.size(); ++i)
        if (groups[i].code == 9 && groups[i].value == name)
            return groups[i + 1].value;
    return "";
}

// The OBJECTS section a drawing read from DWG gets: a root dictionary with exactly the
// entries ACAD_GROUP and ACAD_MLINESTYLE, both dictionaries with a reactor on the root.
// "" when it holds, else what does not.
std::string BuiltObjectsProblem(const std::vector<DxfGroup> &groups) {
    size_t at = 0;
    while (at + 1 < groups.size() &&
           !(groups[at].value == "SECTION" && groups[at + 1].value == "OBJECTS"))
        ++at;
    if (at + 1 >= groups.size())
        return "no OBJECTS section";
    std::vector<DxfEntityGroups> objects;
    for (size_t i = at + 2; i < groups.size(); ++i) {
        if (groups[i].code == 0 && groups[i].value == "ENDSEC")
            break;
        if (groups[i].code == 0) {
            objects.emplace_back();
            objects.back().name = groups[i].value;
        } else if (!objects.empty()) {
            objects.back().groups.push_back(groups[i]);
        }
    }
    if (objects.size() < 3 || objects[0].name != "DICTIONARY")
        return "no root dictionary and two named ones";
    const DxfEntityGroups &root = objects[0];
    if (root.Count(3) != 2 || root.Text(3) != "ACAD_GROUP" || *root.Find(3, 1) != "ACAD_MLINESTYLE")
        return "the root's entries are not ACAD_GROUP and ACAD_MLINESTYLE";
    const std::string root_handle = root.Text(5);
    for (int i = 1; i <= 2; ++i) {
        const DxfEntityGroups &named = objects[size_t(i)];
        if (named.name != "DICTIONARY" || named.Text(5) != *root.Find(350, i - 1))
            return "dictionary " + std::to_string(i) + " is not the root's entry";
        if (!named.HasReactors() || named.Text(330) != root_handle)
            return "dictionary " + std::to_string(i) + " has no reactor on the root";
    }
    return "";
}

// Saves `source` as ASCII and binary DXF and checks both: the ASCII file reads back with
// every record equal, the binary file holds its groups, "ansi_1252" is the code page, and the
// tail is the input's (for `tail` of a DXF input) or the OBJECTS section built for a DWG.
void CheckWritten(const snapshot::Snapshot &source, bool from_dwg, const Tail &tail,
                  const std::string &source_path) {
    TempFile ascii{"r13_write_corpus_ascii.dxf"};
    TempFile binary{"r13_write_corpus_binary.dxf"};
    ASSERT_EQ(CDBSaveAsDXF(source.handle(), ascii.c_str(), 0), 0)
        << "error " << CDBGetErrorNumber(source.handle());
    ASSERT_EQ(CDBSaveAsDXF(source.handle(), binary.c_str(), 1), 0)
        << "error " << CDBGetErrorNumber(source.handle());
    const std::vector<uint8_t> a = FileBytes(ascii.path()), b = FileBytes(binary.path());
    ASSERT_FALSE(b.empty());
    EXPECT_EQ(b[0], 0) << "no sentinel: the first byte is the code of the first group";
    if (tail.size > 0) {
        const std::vector<uint8_t> theirs =
            Slice(FileBytes(source_path), size_t(tail.start), size_t(tail.size));
        ASSERT_EQ(theirs.size(), size_t(tail.size));
        EXPECT_TRUE(Slice(a, a.size() - tail.size, tail.size) == theirs)
            << "the ASCII file's OBJECTS section and end mark are the input's";
        EXPECT_TRUE(Slice(b, b.size() - tail.size, tail.size) == theirs)
            << "the binary file's OBJECTS section and end mark are the input's";
    }
    const std::vector<DxfGroup> groups = ReadAsciiDxfGroups(Head(a, tail));
    ASSERT_GT(groups.size(), 10u);
    EXPECT_EQ(HeaderValue(groups, "$DWGCODEPAGE"), "ansi_1252");
    EXPECT_EQ(CompareBinaryWithAscii(Head(b, tail), groups), "");
    if (from_dwg) {
        EXPECT_EQ(BuiltObjectsProblem(groups), "");
    }

    // A binary input's tail reaches the ASCII file in binary, as it stood, and no reader
    // takes that mix: the entities and tables are read back from the file without it.
    const bool binary_tail = tail.size > 0 && BinaryDxf(source_path);
    std::vector<uint8_t> readable = Head(a, tail);
    const std::string end = "  0\r\nEOF\r\n";
    readable.insert(readable.end(), end.begin(), end.end());
    TempFile without_tail{"r13_write_corpus_no_tail.dxf", readable};
    snapshot::Snapshot back(binary_tail ? without_tail.path() : ascii.path());
    ASSERT_TRUE(back.opened()) << "code " << back.code();
    EXPECT_EQ(CDBGetAutoCADVersion(back.handle()), 13);
    EXPECT_EQ(back.KindCounts(), source.KindCounts());
    EXPECT_EQ(back.blocks_.size(), source.blocks_.size());
    EXPECT_EQ(back.layers_.size(), source.layers_.size());
    EXPECT_EQ(back.ltypes_.size(), source.ltypes_.size());
    EXPECT_EQ(back.styles_.size(), source.styles_.size());
    EXPECT_EQ(back.dimstyles_.size(), source.dimstyles_.size());
    WriteSink sink(from_dwg, binary_tail);
    snapshot::CompareDrawings(source, back, sink, sink);
}

class Release13DxfWriteCorpus : public ::testing::TestWithParam<std::string> {};

std::vector<std::string> Params() {
    std::vector<std::string> files = Release13Files();
    if (files.empty())
        files.push_back("none");
    return files;
}

TEST_P(Release13DxfWriteCorpus, WrittenAsAsciiAndBinaryReadsBackWithEveryRecordEqual) {
    VELKO_REQUIRE_CORPUS();
    const std::string relative = GetParam();
    snapshot::Snapshot source(CorpusPath(relative));
    if (!source.opened()) {
        EXPECT_TRUE(RefusedByTheReader(relative)) << "code " << source.code();
        return;
    }
    ASSERT_EQ(CDBGetAutoCADVersion(source.handle()), 13);
    if (const Refusal *refusal = RefusedByTheWriter(relative)) {
        TempFile out{"r13_write_corpus_refused.dxf"};
        EXPECT_EQ(CDBSaveAsDXF(source.handle(), out.c_str(), 0), -123) << refusal->reason;
        EXPECT_TRUE(FileBytes(out.path()).empty()) << "a save refused in " << refusal->stopped_in
                                                   << " leaves no file (" << refusal->reason << ")";
        std::string kind, handle;
        const bool stopped = tool_support::SaveStoppedAt(source.handle(), &kind, &handle);
        EXPECT_EQ(stopped, *refusal->stopped_by != 0);
        if (stopped) {
            EXPECT_NE(std::string(refusal->stopped_by).find(kind), std::string::npos) << kind;
            EXPECT_FALSE(handle.empty());
        }
        return;
    }
    const Tail tail = IsDxf(relative) ? TailOf(CorpusPath(relative)) : Tail{};
    if (IsDxf(relative)) {
        ASSERT_GT(tail.size, 0);
    }
    CheckWritten(source, !IsDxf(relative), tail, CorpusPath(relative));
}

// A DXF of the corpus saved as DWG, and that DWG saved as DXF: the road of a drawing read
// from DWG, with its OBJECTS section built by the writer.
TEST_P(Release13DxfWriteCorpus, ByWayOfDwgReadsBackWithEveryRecordEqual) {
    VELKO_REQUIRE_CORPUS();
    const std::string relative = GetParam();
    if (!IsDxf(relative) || RefusedByTheReader(relative) || RefusedByTheWriter(relative))
        GTEST_SKIP() << "a DWG, or nothing the writer takes";
    TempFile dwg{"r13_write_corpus_via.dwg"};
    {
        snapshot::Snapshot first(CorpusPath(relative));
        ASSERT_TRUE(first.opened());
        ASSERT_EQ(CDBSaveAsDWG(first.handle(), dwg.c_str()), 0);
    }
    snapshot::Snapshot source(dwg.path());
    ASSERT_TRUE(source.opened()) << "code " << source.code();
    CheckWritten(source, true, Tail{}, dwg.path());
}

INSTANTIATE_TEST_SUITE_P(Corpus, Release13DxfWriteCorpus, ::testing::ValuesIn(Params()),
                         [](const ::testing::TestParamInfo<std::string> &info) {
                             return TestNameFor(info.param);
                         });

} // namespace
} // namespace release13_dxf_write
} // namespace velko_test
