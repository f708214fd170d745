// Corpus tests: every release 12 DWG of the corpus is opened and its header
// compared with what MANIFEST.json says of it (a few header variables; the
// sniff, the open, the lists and the table counts are checked for both file
// forms by the release 12 corpus suite);
// every other corpus drawing is sniffed with CDBGetDrawingFileInfo and
// opened once to see that the open ends cleanly, whatever its status.
//
// The drawings are real files made by other programs and serve only as input.
// One test instance per drawing, named after the file, so that a failure
// names the drawing.
#include "support/corpus.h"
#include "support/mini_json.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace velko_test {
namespace {

// ---------------------------------------------------------------------------
// Parameters
// ---------------------------------------------------------------------------

// One corpus drawing. An empty path is the stand-in instance made when the
// corpus or its manifest is missing, so that the suite reports a skip (or a
// failure under CI) instead of silently having no tests.
struct CorpusCase {
    std::string path; // relative to the corpus folder
    const json::Value *entry = nullptr;
};

void PrintTo(const CorpusCase &c, std::ostream *os) {
    *os << (c.path.empty() ? std::string("(no corpus)") : c.path);
}

std::string CaseName(const testing::TestParamInfo<CorpusCase> &info) {
    return info.param.path.empty() ? std::string("no_corpus") : TestNameFor(info.param.path);
}

std::vector<CorpusCase> CasesFrom(const std::vector<const json::Value *> &entries) {
    std::vector<CorpusCase> cases;
    for (const json::Value *e : entries)
        cases.push_back({(*e)["path"].as_string(), e});
    if (cases.empty())
        cases.push_back({});
    return cases;
}

std::vector<CorpusCase> Dwg12Cases() {
    std::vector<const json::Value *> entries;
    for (const json::Value *e : CorpusManifestEntries("dwg12/")) {
        if ((*e)["format"].as_string() == "dwg")
            entries.push_back(e);
    }
    return CasesFrom(entries);
}

std::vector<CorpusCase> OtherCases() {
    std::vector<const json::Value *> entries;
    for (const json::Value *e : CorpusManifestEntries("")) {
        const std::string &path = (*e)["path"].as_string();
        if (path.compare(0, 6, "dwg12/") != 0)
            entries.push_back(e);
    }
    return CasesFrom(entries);
}

// Whether the manifest says the drawing opens; an entry without "opens" does.
bool ManifestSaysOpens(const json::Value &entry) {
    const json::Value *opens = entry.find("opens");
    return !opens || opens->as_bool(true);
}

// ---------------------------------------------------------------------------
// Helpers
// ---------------------------------------------------------------------------

// The public records are byte-packed: their fields are copied out before they
// go to the assertion macros, which bind references to their arguments.
template <typename T> T Copy(T value) {
    return value;
}

// Closes the drawing on every way out of a test.
class ScopedDrawing {
public:
    explicit ScopedDrawing(int16_t handle) : handle_(handle) {}
    ~ScopedDrawing() {
        if (handle_ >= 0)
            CDBEndOperation(handle_);
    }
    ScopedDrawing(const ScopedDrawing &) = delete;
    ScopedDrawing &operator=(const ScopedDrawing &) = delete;

    int16_t handle() const { return handle_; }
    // CDBEndOperation's result; the drawing is no longer closed on exit.
    int16_t Close() {
        int16_t h = handle_;
        handle_ = -1;
        return CDBEndOperation(h);
    }

private:
    int16_t handle_;
};

class CorpusCaseTest : public testing::TestWithParam<CorpusCase> {
protected:
    void SetUp() override {
        VELKO_REQUIRE_CORPUS();
        if (GetParam().entry == nullptr) {
            FAIL() << "the corpus manifest lists no drawing for this suite: "
                   << (CorpusManifestError().empty() ? std::string("no matching entries")
                                                     : CorpusManifestError());
        }
        path_ = CorpusPath(GetParam().path);
    }

    const json::Value &entry() const { return *GetParam().entry; }
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

// What CDBGetDrawingFileInfo must answer for a file, worked out from its first
// bytes by the library's own rules: the first 256 bytes are searched, as a
// zero-terminated text, for "AC10"; the kind is DWG when the file begins with
// it, binary DXF when the text holds "AutoCAD Binary DXF", text DXF otherwise.
// A binary DXF carries its version behind the zero byte of its opening
// sentinel, so this search does not find it and the file counts as invalid.
struct ExpectedInfo {
    bool ok = false;
    int32_t file_kind = 0;
    int32_t release = 0;
    std::string version;
};

ExpectedInfo ExpectedInfoFor(const std::vector<uint8_t> &bytes) {
    ExpectedInfo x;
    size_t n = bytes.size() < 256 ? bytes.size() : 256;
    std::string text(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
    text = text.substr(0, text.find('\0'));
    size_t at = text.find("AC10");
    if (at == std::string::npos)
        return x;
    x.ok = true;
    if (text.compare(0, 4, "AC10") == 0)
        x.file_kind = CDB_FILE_DWG;
    else if (text.find("AutoCAD Binary DXF") != std::string::npos)
        x.file_kind = CDB_FILE_BINARY_DXF;
    else
        x.file_kind = CDB_FILE_TEXT_DXF;
    x.version = text.substr(at, 6);
    x.release = x.version == "AC1009"   ? CDB_RELEASE_12
                : x.version == "AC1012" ? CDB_RELEASE_13
                                        : CDB_RELEASE_OTHER;
    return x;
}

// The kind and release the manifest gives a drawing.
int32_t ManifestFileKind(const json::Value &entry) {
    if (entry["format"].as_string() == "dwg")
        return CDB_FILE_DWG;
    return entry["form"].as_string() == "binary" ? CDB_FILE_BINARY_DXF : CDB_FILE_TEXT_DXF;
}

int32_t ManifestRelease(const json::Value &entry) {
    const std::string &v = entry["version"].as_string();
    return v == "AC1009" ? CDB_RELEASE_12 : v == "AC1012" ? CDB_RELEASE_13 : CDB_RELEASE_OTHER;
}

// ---------------------------------------------------------------------------
// Release 12 DWG drawings
// ---------------------------------------------------------------------------

class Dwg12CorpusTest : public CorpusCaseTest {};

void ExpectPoint3(int16_t h, const json::Value &header, const char *name) {
    const json::Value *want = header.find(name);
    if (!want) {
        ADD_FAILURE() << "the manifest header has no " << name;
        return;
    }
    ASSERT_EQ(want->size(), 3u) << name;
    CDB_VAR_VALUE_type v;
    std::memset(&v, 0, sizeof v);
    EXPECT_EQ(CDBGetVariableValue(h, name, &v), CDB_VAR_POINT3) << name;
    EXPECT_DOUBLE_EQ(Copy(v.point3_value.x), want->at(0).as_number()) << name << ".x";
    EXPECT_DOUBLE_EQ(Copy(v.point3_value.y), want->at(1).as_number()) << name << ".y";
    EXPECT_DOUBLE_EQ(Copy(v.point3_value.z), want->at(2).as_number()) << name << ".z";
}

TEST_P(Dwg12CorpusTest, HeaderMatchesManifest) {
    if (!ManifestSaysOpens(entry()))
        GTEST_SKIP() << "the manifest says this drawing does not open";
    int16_t h = CDBStartFileReading(path().c_str(), nullptr);
    ASSERT_GE(h, 0) << path() << ": error " << CDBGetErrorNumber(-123);
    ScopedDrawing d(h);

    const json::Value &header = entry()["header"];
    ASSERT_TRUE(header.is_object()) << "no \"header\" in the manifest entry";

    ExpectPoint3(h, header, "insbase");
    ExpectPoint3(h, header, "extmin");
    ExpectPoint3(h, header, "extmax");

    if (const json::Value *limmax = header.find("limmax")) {
        ASSERT_EQ(limmax->size(), 2u);
        CDB_VAR_VALUE_type v;
        std::memset(&v, 0, sizeof v);
        EXPECT_EQ(CDBGetVariableValue(h, "limmax", &v), CDB_VAR_POINT2);
        EXPECT_DOUBLE_EQ(Copy(v.point2_value.x), limmax->at(0).as_number()) << "limmax.x";
        EXPECT_DOUBLE_EQ(Copy(v.point2_value.y), limmax->at(1).as_number()) << "limmax.y";
    } else {
        ADD_FAILURE() << "the manifest header has no limmax";
    }

    if (const json::Value *ltscale = header.find("ltscale")) {
        CDB_VAR_VALUE_type v;
        std::memset(&v, 0, sizeof v);
        EXPECT_EQ(CDBGetVariableValue(h, "ltscale", &v), CDB_VAR_REAL);
        EXPECT_DOUBLE_EQ(Copy(v.real_value), ltscale->as_number());
    } else {
        ADD_FAILURE() << "the manifest header has no ltscale";
    }

    // A stored tree depth of 0 reads as 3020.
    int expected_treedepth = 0;
    if (const json::Value *treedepth = header.find("treedepth")) {
        expected_treedepth = static_cast<int>(treedepth->as_number());
        if (expected_treedepth == 0)
            expected_treedepth = 3020;
        CDB_VAR_VALUE_type v;
        std::memset(&v, 0, sizeof v);
        EXPECT_EQ(CDBGetVariableValue(h, "treedepth", &v), CDB_VAR_INT16);
        EXPECT_EQ(Copy(v.int_value), expected_treedepth);
    } else {
        ADD_FAILURE() << "the manifest header has no treedepth";
    }

    std::string expected_handseed;
    if (const json::Value *handseed = header.find("handseed")) {
        expected_handseed = handseed->as_string();
        CDB_VAR_VALUE_type v;
        std::memset(&v, 0, sizeof v);
        EXPECT_EQ(CDBGetVariableValue(h, "handseed", &v), CDB_VAR_TEXT);
        ASSERT_EQ(v.text[sizeof v.text - 1], 0) << "handseed text not terminated";
        EXPECT_STREQ(v.text, expected_handseed.c_str());
    } else {
        ADD_FAILURE() << "the manifest header has no handseed";
    }

    // The whole record agrees with the single lookups.
    CDB_HEADER_type all;
    std::memset(&all, 0, sizeof all);
    ASSERT_EQ(CDBGetAllVariables(h, &all), 0);
    ASSERT_NE(Copy(all.acadver), nullptr);
    EXPECT_STREQ(all.acadver, "AC1009");
    if (header.has("extmin")) {
        EXPECT_DOUBLE_EQ(Copy(all.extmin.x), header["extmin"].at(0).as_number());
        EXPECT_DOUBLE_EQ(Copy(all.extmin.y), header["extmin"].at(1).as_number());
        EXPECT_DOUBLE_EQ(Copy(all.extmin.z), header["extmin"].at(2).as_number());
    }
    if (header.has("limmax")) {
        EXPECT_DOUBLE_EQ(Copy(all.limmax.x), header["limmax"].at(0).as_number());
        EXPECT_DOUBLE_EQ(Copy(all.limmax.y), header["limmax"].at(1).as_number());
    }
    if (header.has("treedepth")) {
        EXPECT_EQ(Copy(all.treedepth), expected_treedepth);
    }
    if (header.has("handseed")) {
        ASSERT_NE(Copy(all.handseed), nullptr);
        EXPECT_STREQ(all.handseed, expected_handseed.c_str());
    }

    EXPECT_EQ(d.Close(), 0);
}

INSTANTIATE_TEST_SUITE_P(Dwg12Corpus, Dwg12CorpusTest, testing::ValuesIn(Dwg12Cases()), CaseName);

// ---------------------------------------------------------------------------
// Every other corpus drawing: release 13 DWG, DXF of both releases
// ---------------------------------------------------------------------------

class OtherCorpusTest : public CorpusCaseTest {};

TEST_P(OtherCorpusTest, FileInfo) {
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ReadWholeFile(path(), &bytes)) << path();
    ExpectedInfo want = ExpectedInfoFor(bytes);

    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    int16_t r = CDBGetDrawingFileInfo(path().c_str(), &info);
    if (!want.ok) {
        // Binary DXF: see ExpectedInfoFor.
        EXPECT_EQ(r, -123);
        EXPECT_STREQ(info.version, "Invalid DrawingFile.");
        EXPECT_EQ(CDBGetErrorNumber(-123), -405);
        return;
    }
    ASSERT_EQ(r, 0);
    EXPECT_EQ(Copy(info.file_kind), want.file_kind);
    EXPECT_EQ(Copy(info.release), want.release);
    EXPECT_STREQ(info.version, want.version.c_str());
    // Where the sniff sees the version, it agrees with the manifest.
    EXPECT_EQ(Copy(info.file_kind), ManifestFileKind(entry()));
    EXPECT_EQ(Copy(info.release), ManifestRelease(entry()));
    EXPECT_EQ(std::string(info.version), entry()["version"].as_string());
}

TEST_P(OtherCorpusTest, OpenEndsCleanly) {
    // Readers still missing refuse a drawing with a reason; that passes. Only a
    // drawing that the manifest says the open checks refuse must be refused.
    int16_t h = CDBStartFileReading(path().c_str(), nullptr);
    RecordProperty("open_result", h);
    if (!ManifestSaysOpens(entry())) {
        EXPECT_LT(h, 0) << "the manifest says this drawing does not open";
    }
    if (h < 0) {
        EXPECT_EQ(h, -123);
        int16_t code = CDBGetErrorNumber(-123);
        RecordProperty("error_code", code);
        EXPECT_NE(code, 0) << "a refused open must leave a reason";
        return;
    }
    ScopedDrawing d(h);
    int16_t version = CDBGetAutoCADVersion(h);
    EXPECT_EQ(version, ManifestRelease(entry()) == CDB_RELEASE_12 ? 12 : 13);
    EXPECT_EQ(d.Close(), 0);
}

INSTANTIATE_TEST_SUITE_P(OtherCorpus, OtherCorpusTest, testing::ValuesIn(OtherCases()), CaseName);

// ---------------------------------------------------------------------------
// The manifest and its reader
// ---------------------------------------------------------------------------

TEST(CorpusManifest, ListsFilesThatExist) {
    VELKO_REQUIRE_CORPUS();
    ASSERT_TRUE(CorpusManifestError().empty()) << CorpusManifestError();
    const json::Value &manifest = CorpusManifest();
    EXPECT_TRUE(manifest["about"].is_string());
    std::vector<std::string> on_disk = CorpusFiles();
    size_t listed = 0;
    for (const json::Value *e : CorpusManifestEntries("")) {
        const std::string &p = (*e)["path"].as_string();
        ++listed;
        bool found = false;
        for (const std::string &f : on_disk)
            found = found || f == p;
        EXPECT_TRUE(found) << p << " is listed but not in " << CorpusDir();
    }
    EXPECT_GT(listed, 0u);
    EXPECT_FALSE(CorpusManifestEntries("dwg12/").empty());
}

TEST(CorpusJsonReader, ReadsEveryKindOfValue) {
    std::string error;
    json::Value v = json::Parse(
        R"( {"a": [1, -2.5e2, 0.125, true, false, null], "s": "x\"\\\/\n\u00e9\ud83d\ude00",
             "o": {"k": {}}, "e": []} )",
        &error);
    ASSERT_TRUE(error.empty()) << error;
    ASSERT_TRUE(v.is_object());
    EXPECT_EQ(v.size(), 4u);
    const json::Value &a = v["a"];
    ASSERT_TRUE(a.is_array());
    ASSERT_EQ(a.size(), 6u);
    EXPECT_EQ(a.at(0).as_number(), 1.0);
    EXPECT_EQ(a.at(1).as_number(), -250.0);
    EXPECT_EQ(a.at(2).as_number(), 0.125);
    EXPECT_TRUE(a.at(3).as_bool());
    EXPECT_TRUE(a.at(4).is_bool());
    EXPECT_FALSE(a.at(4).as_bool(true));
    EXPECT_TRUE(a.at(5).is_null());
    EXPECT_TRUE(a.at(6).is_null()); // past the end
    EXPECT_EQ(v["s"].as_string(), "x\"\\/\n\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_TRUE(v["o"]["k"].is_object());
    EXPECT_EQ(v["o"]["k"].size(), 0u);
    EXPECT_TRUE(v["e"].is_array());
    EXPECT_FALSE(v.has("missing"));
    EXPECT_TRUE(v["missing"]["deeper"].is_null());
    EXPECT_EQ(v["missing"].as_string(), "");
    EXPECT_EQ(v["a"].as_number(7.0), 7.0);
    EXPECT_EQ(v.members().front().first, "a");
}

TEST(CorpusJsonReader, RefusesBadText) {
    const char *bad[] = {"",      "{",     "[1,]",    "{\"a\" 1}",  "01",          "1.",
                         "\"abc", "tru",   "[1] x",   "{\"a\":1,}", "\"\\ud800\"", "\"\\x\"",
                         "-",     "{1:2}", "\"a\nb\""};
    for (const char *text : bad) {
        std::string error;
        json::Value v = json::Parse(text, &error);
        EXPECT_FALSE(error.empty()) << "accepted: " << text;
        EXPECT_TRUE(v.is_null()) << text;
    }
    std::string deep(2000, '[');
    std::string error;
    json::Parse(deep, &error);
    EXPECT_FALSE(error.empty());
}

} // namespace
} // namespace velko_test
