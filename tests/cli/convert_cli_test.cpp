// velko convert and velko new, run as a user runs them, and the progress bar they draw.
#include "support/run_command.h"
#include "interface/test_files.h"
#include "velko/progress_bar.h"
#include "walk/walk_support.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using velko_test::TempFile;
namespace walk = velko_test::walk;

using Outcome = velko_test::CommandOutcome;
Outcome Shell(const std::string &command) {
    return velko_test::RunCommand(command);
}

// velko with the arguments: stdout captured, stderr dropped.
Outcome Velko(const std::string &arguments) {
    return Shell(std::string(VELKO_CLI) + " " + arguments + " 2>/dev/null");
}
// velko with the arguments: stderr captured, stdout dropped.
Outcome VelkoStderr(const std::string &arguments) {
    return Shell(std::string(VELKO_CLI) + " " + arguments + " 2>&1 >/dev/null");
}

const std::string kSample = std::string(VELKO_SOURCE_DIR) + "/data/sample.dwg";

std::string ReadAll(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool IsDwg12(const std::string &bytes) {
    return bytes.compare(0, 6, "AC1009") == 0;
}
bool IsBinaryDxf(const std::string &bytes) {
    return bytes.compare(0, 18, "AutoCAD Binary DXF") == 0;
}

// The form of a written file, told by its first bytes.
enum class Form { kDwg, kAsciiDxf, kBinaryDxf };

Form FormOf(const std::string &bytes) {
    if (IsDwg12(bytes))
        return Form::kDwg;
    return IsBinaryDxf(bytes) ? Form::kBinaryDxf : Form::kAsciiDxf;
}

// What a comparison across a conversion looks at: the size of every table, the kinds of
// the main list and the kinds of every block's list, in order.
struct Contents {
    std::vector<int> tables;
    std::vector<int> main_kinds;
    std::vector<std::vector<int>> block_kinds;
};

bool operator==(const Contents &a, const Contents &b) {
    return a.tables == b.tables && a.main_kinds == b.main_kinds && a.block_kinds == b.block_kinds;
}

std::ostream &operator<<(std::ostream &os, const Contents &c) {
    os << "tables";
    for (int n : c.tables)
        os << ' ' << n;
    os << "; main list of " << c.main_kinds.size() << ":";
    for (int k : c.main_kinds)
        os << ' ' << k;
    for (size_t b = 0; b < c.block_kinds.size(); ++b) {
        os << "; block " << b << ":";
        for (int k : c.block_kinds[b])
            os << ' ' << k;
    }
    return os;
}

// The contents of a drawing file, read through the library; `opened` false when it
// does not open.
Contents ReadContents(const std::string &path, bool *opened) {
    Contents c;
    walk::OpenDrawing d(path);
    *opened = d.handle >= 0;
    if (!*opened)
        return c;
    const int16_t h = d.handle;
    c.tables = {CDBBlockTableCount(h),     CDBLayerTableCount(h), CDBLineTypeTableCount(h),
                CDBStyleTableCount(h),     CDBVportTableCount(h), CDBViewTableCount(h),
                CDBUCSTableCount(h),       CDBAppidTableCount(h), CDBDimStyleTableCount(h),
                CDBMLineStyleTableCount(h)};
    c.main_kinds = walk::WalkKinds(h, -1);
    for (int16_t b = 0; b < CDBBlockTableCount(h); ++b)
        c.block_kinds.push_back(walk::WalkKinds(h, b));
    return c;
}

// A shell command that prints one line on what ezdxf reads in a DXF file: the names of
// each table's records and the kinds of the entities of every layout and block.
std::string EzdxfSummary(const std::string &path) {
    return "/usr/bin/python3 -c '"
           "import sys, ezdxf\n"
           "d = ezdxf.readfile(sys.argv[1])\n"
           "names = lambda t: \",\".join(r.dxf.name for r in t)\n"
           "kinds = [e.dxftype() for b in d.blocks for e in b]\n"
           "print(\"layers=\" + names(d.layers), \"ltypes=\" + names(d.linetypes),"
           " \"styles=\" + names(d.styles), \"dimstyles=\" + names(d.dimstyles),"
           " \"entities=\" + \",\".join(kinds))' " +
           path;
}

// A drawing with entities of several kinds in the main list and one block.
std::vector<uint8_t> DrawingWithEntitiesAndABlock() {
    using namespace walk;
    std::vector<BlockDef> blocks = {
        {"MARK", 0, Join({BlockBegin(0, 0), Line(0, 0, 1, 1), Circle(0, 0, 0.5), BlockEnd()})},
    };
    velko_test::Bytes entities =
        Join({Line(0, 0, 10, 10), Circle(5, 5, 2), Text(1, 1, 0.2, "velko"), Polyline(),
              Vertex(0, 0), Vertex(1, 0), Vertex(1, 1), SeqEnd(), Insert(0, 3, 3, 0, true),
              Attrib(3, 3, "42", "NUMBER"), SeqEnd(), Line(2, 2, 3, 3)});
    return BuildDrawing(entities, blocks);
}

// Converts `source` with the extra arguments and reads the result back: it opens, and
// holds what the source holds, in the form expected.
void ExpectConversionKeepsContents(const std::string &source, const std::string &out_name,
                                   const std::string &extra, Form expected) {
    bool opened = false;
    const Contents before = ReadContents(source, &opened);
    ASSERT_TRUE(opened) << source;
    TempFile out(out_name);
    const Outcome r = Velko("convert " + source + " " + out.path() + " " + extra);
    ASSERT_EQ(r.status, 0) << r.out;
    const std::string bytes = ReadAll(out.path());
    ASSERT_FALSE(bytes.empty());
    EXPECT_TRUE(FormOf(bytes) == expected) << out_name;
    const Contents after = ReadContents(out.path(), &opened);
    ASSERT_TRUE(opened) << out.path() << ": " << CDBGetErrorNumber(-123);
    EXPECT_EQ(after, before);
}

} // namespace

// ---- velko convert --------------------------------------------------------------------------

TEST(ConvertCli, SampleToDwgReadsBackWithTheSourcesCounts) {
    ExpectConversionKeepsContents(kSample, "sample_out.dwg", "", Form::kDwg);
}

TEST(ConvertCli, UpperCaseDwgExtensionAlsoWritesDwg) {
    ExpectConversionKeepsContents(kSample, "sample_out.DWG", "", Form::kDwg);
}

TEST(ConvertCli, SampleToDxfWritesAsciiDxfWithTheSourcesCounts) {
    ExpectConversionKeepsContents(kSample, "sample_out.dxf", "", Form::kAsciiDxf);
}

// The sample has a dimension style, whose record carries groups 140 to 147 and 170 to 178.
// A release 12 binary file gives those codes no value bytes as this library reads it, so
// the library's own reader goes out of step there, as the readers of that release did. The
// binary file is checked from outside instead: ezdxf reads it as it reads the ASCII one,
// which the library reads back with the source's contents.
TEST(ConvertCli, BinaryFlagWritesBinaryDxfHoldingWhatTheAsciiOneHolds) {
    ExpectConversionKeepsContents(kSample, "sample_ascii.dxf", "", Form::kAsciiDxf);
    TempFile ascii("sample_ascii_twin.dxf"), binary("sample_bin.dxf");
    ASSERT_EQ(Velko("convert " + kSample + " " + ascii.path()).status, 0);
    ASSERT_EQ(Velko("convert " + kSample + " " + binary.path() + " --binary").status, 0);
    EXPECT_TRUE(FormOf(ReadAll(binary.path())) == Form::kBinaryDxf);
    if (Shell("/usr/bin/python3 -c 'import ezdxf' 2>/dev/null").status != 0)
        GTEST_SKIP() << "python3-ezdxf is not installed for /usr/bin/python3 (make deps)";
    const Outcome seen = Shell(EzdxfSummary(ascii.path()) + "; " + EzdxfSummary(binary.path()));
    ASSERT_EQ(seen.status, 0) << seen.out;
    const size_t split = seen.out.find('\n');
    ASSERT_NE(split, std::string::npos) << seen.out;
    EXPECT_NE(seen.out.find("layers="), std::string::npos) << seen.out;
    EXPECT_EQ(seen.out.substr(0, split + 1), seen.out.substr(split + 1)) << seen.out;
}

TEST(ConvertCli, AnyOtherExtensionWritesDxf) {
    ExpectConversionKeepsContents(kSample, "sample_out.txt", "", Form::kAsciiDxf);
}

TEST(ConvertCli, EntitiesAndBlocksSurviveEveryOutputForm) {
    TempFile source("convert_source.dwg", DrawingWithEntitiesAndABlock());
    ExpectConversionKeepsContents(source.path(), "blocks_out.dwg", "", Form::kDwg);
    ExpectConversionKeepsContents(source.path(), "blocks_out.dxf", "", Form::kAsciiDxf);
    ExpectConversionKeepsContents(source.path(), "blocks_bin.dxf", "--binary", Form::kBinaryDxf);
}

TEST(ConvertCli, DxfInputConvertsBackToDwg) {
    TempFile source("convert_source.dwg", DrawingWithEntitiesAndABlock());
    TempFile dxf("convert_middle.dxf");
    ASSERT_EQ(Velko("convert " + source.path() + " " + dxf.path() + " --binary").status, 0);
    ExpectConversionKeepsContents(dxf.path(), "convert_back.dwg", "", Form::kDwg);
}

TEST(ConvertCli, SummaryNamesBothFormsAndAsJson) {
    TempFile out("summary_out.dxf");
    Outcome text = Velko("convert " + kSample + " " + out.path());
    ASSERT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("from:        DWG"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("to:          ASCII DXF"), std::string::npos) << text.out;

    Outcome json = Velko("convert --json " + kSample + " " + out.path() + " --binary");
    ASSERT_EQ(json.status, 0);
    ASSERT_FALSE(json.out.empty());
    EXPECT_EQ(json.out.front(), '{');
    EXPECT_NE(json.out.find("\"to\": \"binary DXF\""), std::string::npos) << json.out;
    EXPECT_NE(json.out.find("\"bytes\": " + std::to_string(ReadAll(out.path()).size())),
              std::string::npos)
        << json.out;
}

TEST(ConvertCli, QuietPrintsNothingOnStderrNorASummary) {
    TempFile out("quiet_out.dwg");
    Outcome err = VelkoStderr("convert --quiet " + kSample + " " + out.path());
    EXPECT_EQ(err.status, 0);
    EXPECT_EQ(err.out, "");
    Outcome stdout_only = Velko("convert " + kSample + " " + out.path() + " --quiet");
    EXPECT_EQ(stdout_only.status, 0);
    EXPECT_EQ(stdout_only.out, "");
}

TEST(ConvertCli, WrongUsageExitsTwo) {
    TempFile out("usage_out.dxf");
    EXPECT_EQ(Velko("convert").status, 2);
    EXPECT_EQ(Velko("convert " + kSample).status, 2);
    EXPECT_EQ(Velko("convert " + kSample + " " + out.path() + " third").status, 2);
    EXPECT_EQ(Velko("convert " + kSample + " " + out.path() + " --frobnicate").status, 2);
    // A DWG has no binary form.
    EXPECT_EQ(Velko("convert " + kSample + " out.dwg --binary").status, 2);
    EXPECT_EQ(Velko("convert --help").status, 0);
    EXPECT_NE(Velko("--help").out.find("velko convert IN OUT"), std::string::npos);
}

TEST(ConvertCli, RefusedInputExitsOneWithTheLibrarysMessage) {
    TempFile in("refused_in.dwg", std::string("AC1099") + std::string(400, '\0'));
    TempFile out("refused_out.dxf");
    Outcome r = VelkoStderr("convert " + in.path() + " " + out.path());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("Version Mismatch."), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("(-404)"), std::string::npos) << r.out;
}

TEST(ConvertCli, MissingInputExitsOneWithTheLibrarysMessage) {
    Outcome r = VelkoStderr("convert /nonexistent/in.dwg /tmp/never.dxf");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("/nonexistent/in.dwg"), std::string::npos) << r.out;
}

TEST(ConvertCli, UnwritableOutputExitsOne) {
    Outcome dwg = VelkoStderr("convert " + kSample + " /nonexistent/dir/out.dwg");
    EXPECT_EQ(dwg.status, 1);
    EXPECT_NE(dwg.out.find("/nonexistent/dir/out.dwg"), std::string::npos) << dwg.out;
    Outcome dxf = VelkoStderr("convert " + kSample + " /nonexistent/dir/out.dxf");
    EXPECT_EQ(dxf.status, 1);
    EXPECT_NE(dxf.out.find("/nonexistent/dir/out.dxf"), std::string::npos) << dxf.out;
}

// ---- velko new ------------------------------------------------------------------------------

TEST(NewCli, DwgExtensionInEitherCaseWritesDwg) {
    for (const char *name : {"new_out.dwg", "new_out.DWG", "new_out.Dwg"}) {
        TempFile out(name);
        Outcome r = Velko("new " + kSample + " " + out.path());
        EXPECT_EQ(r.status, 0) << name;
        EXPECT_TRUE(FormOf(ReadAll(out.path())) == Form::kDwg) << name;
        bool opened = false;
        ReadContents(out.path(), &opened);
        EXPECT_TRUE(opened) << name;
    }
}

TEST(NewCli, OtherExtensionOrNoneWritesAsciiDxf) {
    bool opened = false;
    const Contents template_contents = ReadContents(kSample, &opened);
    ASSERT_TRUE(opened);
    for (const char *name : {"new_out.dxf", "new_out", "new_out.dwg.bak"}) {
        TempFile out(name);
        Outcome r = Velko("new " + kSample + " " + out.path());
        EXPECT_EQ(r.status, 0) << name;
        const std::string bytes = ReadAll(out.path());
        ASSERT_FALSE(bytes.empty()) << name;
        EXPECT_TRUE(FormOf(bytes) == Form::kAsciiDxf) << name;
        EXPECT_EQ(ReadContents(out.path(), &opened), template_contents) << name;
        EXPECT_TRUE(opened) << name;
    }
}

TEST(NewCli, JsonNamesTheNewFile) {
    TempFile out("new_json.dwg");
    Outcome r = Velko("new --json " + kSample + " " + out.path());
    ASSERT_EQ(r.status, 0);
    ASSERT_FALSE(r.out.empty());
    EXPECT_EQ(r.out.front(), '{');
    EXPECT_NE(r.out.find("\"to\": \"DWG\""), std::string::npos) << r.out;
}

TEST(NewCli, RefusedTemplateExitsOneWithTheLibrarysMessage) {
    TempFile in("refused_template.dwg", std::string("AC1099") + std::string(400, '\0'));
    TempFile out("refused_new.dxf");
    Outcome r = VelkoStderr("new " + in.path() + " " + out.path());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("Version Mismatch."), std::string::npos) << r.out;
}

TEST(NewCli, FailedSaveExitsOneWithTheDrawingsMessage) {
    Outcome r = VelkoStderr("new " + kSample + " /nonexistent/dir/new.dwg");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("/nonexistent/dir/new.dwg"), std::string::npos) << r.out;
    // The reason comes from the drawing the failed save left open, not a code of 0.
    EXPECT_EQ(r.out.find("(0)"), std::string::npos) << r.out;
}

TEST(NewCli, WrongUsageExitsTwo) {
    EXPECT_EQ(Velko("new").status, 2);
    EXPECT_EQ(Velko("new " + kSample).status, 2);
    EXPECT_EQ(Velko("new " + kSample + " a.dxf b.dxf").status, 2);
    EXPECT_EQ(Velko("new --frobnicate " + kSample + " a.dxf").status, 2);
    EXPECT_EQ(Velko("new --help").status, 0);
}

// ---- The progress bar -----------------------------------------------------------------------

namespace {

// A bar that draws into a temporary file, on a clock the test moves by hand.
class BarOnFile {
public:
    explicit BarOnFile(bool enabled = true)
        : file_(std::tmpfile()), start_(ProgressBar::Clock::now()),
          bar_(file_, enabled, 1.0, start_) {}
    ~BarOnFile() {
        bar_.Finish(); // while the file is still open
        if (file_)
            std::fclose(file_);
    }
    BarOnFile(const BarOnFile &) = delete;
    BarOnFile &operator=(const BarOnFile &) = delete;

    ProgressBar &bar() { return bar_; }
    ProgressBar::Clock::time_point At(double seconds) const {
        return start_ + std::chrono::duration_cast<ProgressBar::Clock::duration>(
                            std::chrono::duration<double>(seconds));
    }
    std::string Text() {
        std::fflush(file_);
        std::rewind(file_);
        std::string s;
        for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_))
            s += static_cast<char>(c);
        return s;
    }

private:
    std::FILE *file_;
    ProgressBar::Clock::time_point start_;
    ProgressBar bar_;
};

} // namespace

TEST(ProgressBar, NothingIsDrawnBeforeTheFirstSecond) {
    BarOnFile b;
    b.bar().Update("loading", 0.5, 100, b.At(0.2));
    b.bar().Update("saving", 0.9, 200, b.At(0.99));
    EXPECT_EQ(b.Text(), "");
    EXPECT_FALSE(b.bar().Drawn());
    b.bar().Finish();
    EXPECT_EQ(b.Text(), "");
}

TEST(ProgressBar, AfterOneSecondTheBarShowsPhaseFractionAndCount) {
    BarOnFile b;
    b.bar().Update("loading", 0.5, 1234, b.At(1.5));
    const std::string text = b.Text();
    EXPECT_EQ(text.front(), '\r');
    EXPECT_NE(text.find("loading"), std::string::npos) << text;
    EXPECT_NE(text.find("[###############...............]"), std::string::npos) << text;
    EXPECT_NE(text.find(" 50%"), std::string::npos) << text;
    EXPECT_NE(text.find("1234 objects"), std::string::npos) << text;
    EXPECT_TRUE(b.bar().Drawn());
}

TEST(ProgressBar, RedrawsAtMostEveryTenthOfASecondWithinAPhase) {
    BarOnFile b;
    b.bar().Update("saving", 0.1, 1, b.At(2.0));
    const size_t once = b.Text().size();
    b.bar().Update("saving", 0.2, 2, b.At(2.05));
    EXPECT_EQ(b.Text().size(), once);
    b.bar().Update("saving", 0.3, 3, b.At(2.2));
    EXPECT_GT(b.Text().size(), once);
}

TEST(ProgressBar, ANewPhaseIsDrawnAtOnce) {
    BarOnFile b;
    b.bar().Update("loading", 1.0, 10, b.At(2.0));
    b.bar().Update("saving", 0.0, 0, b.At(2.01));
    const std::string text = b.Text();
    EXPECT_NE(text.find("saving"), std::string::npos) << text;
}

TEST(ProgressBar, UnknownFractionShowsTheCountAlone) {
    BarOnFile b;
    b.bar().Update("loading", -1.0, 77, b.At(3.0));
    const std::string text = b.Text();
    EXPECT_EQ(text.find('['), std::string::npos) << text;
    EXPECT_NE(text.find("77 objects"), std::string::npos) << text;
}

TEST(ProgressBar, FractionAboveOneIsShownFull) {
    BarOnFile b;
    b.bar().Update("saving", 1.7, 5, b.At(3.0));
    const std::string text = b.Text();
    EXPECT_NE(text.find("100%"), std::string::npos) << text;
    EXPECT_EQ(text.find("170%"), std::string::npos) << text;
}

TEST(ProgressBar, FinishBlanksTheLineItDrew) {
    BarOnFile b;
    b.bar().Update("loading", 0.25, 9, b.At(1.0));
    const std::string drawn = b.Text();
    b.bar().Finish();
    const std::string text = b.Text();
    ASSERT_GT(text.size(), drawn.size());
    const std::string tail = text.substr(drawn.size());
    EXPECT_EQ(tail, "\r" + std::string(drawn.size() - 1, ' ') + "\r");
    EXPECT_FALSE(b.bar().Drawn());
}

TEST(ProgressBar, ADisabledBarNeverDraws) {
    BarOnFile b(false);
    b.bar().Update("loading", 0.5, 100, b.At(5.0));
    b.bar().Finish();
    EXPECT_EQ(b.Text(), "");
}
