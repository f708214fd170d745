// Robustness tests: damaged copies of every corpus drawing, and plain bad
// files, fed to the readers. Nothing here checks what a damaged drawing holds;
// every open must end (opened or refused with a reason), quickly, without a
// crash or a sanitizer report, and an opened drawing must answer every table
// and header read and close again. A sample of the opened release 12 mutants is
// also saved as DWG and as DXF, within the same time bound.
//
// The mutants come from std::mt19937 seeded per drawing from one fixed
// number, so a failure is reproducible: it names the drawing, the mutant's
// index and its damage. When a mutant crashes the process or hangs, the same
// description goes to stderr before the process ends, and the damaged file is
// left at the temporary path that is printed with it.
#include "support/corpus.h"
#include "support/dwg12_builder.h"
#include "support/mutation_harness.h"

#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace velko_test {
namespace {

using Clock = std::chrono::steady_clock;

// At least this many mutants per drawing; small drawings get more.
constexpr int kMinMutants = 200;
constexpr int kSmallDrawingMutants = 400;
constexpr size_t kSmallDrawing = 64 * 1024;

// Every this many mutants is also saved as DWG and as DXF when it opens; a drawing above
// kSmallDrawing bytes more rarely, as each save writes all of it three times.
constexpr int kSaveEvery = 10;
constexpr int kSaveEveryLarge = 100;

// Damage aimed at the entity frames of a release 12 DWG, which the trailer locates: the
// frames of the entity section and of the block section are found by their lengths, and
// one of them is damaged; or the entity section itself is moved or given a made-up
// frame (the only damage for a drawing without frames). A repeating pattern of 10 kinds.
class FrameMutator {
public:
    FrameMutator(const std::vector<uint8_t> &original, uint32_t seed)
        : original_(original), rng_(seed) {
        const size_t size = original.size();
        if (size < 2000 || std::memcmp(original.data(), "AC1009", 6) != 0)
            return;
        trailer_ = size - 150;
        const size_t trailer = trailer_;
        entities_start_ = U32(trailer);
        const uint32_t entities_end = U32(trailer + 4);
        const uint32_t blocks_start = U32(trailer + 8);
        extra_start_ = U32(trailer + 12);
        Scan(entities_start_, entities_end);
        Scan(blocks_start, extra_start_);
    }

    // The number of frame mutants: none for a file that is no release 12 DWG.
    int Count() const {
        if (!trailer_)
            return 0;
        return std::max(1, static_cast<int>(kFrameMutants * MutationScale()));
    }

    std::string Make(int index, std::vector<uint8_t> *out) {
        *out = original_;
        if (frames_.empty() || index % 10 >= 8)
            return SectionDamage(index, out);
        std::ostringstream what;
        const Frame f = frames_[Pick(frames_.size())];
        what << "frame at " << f.at << " (length " << f.length << "): ";
        switch (index % 8) {
        case 0: { // bits inside the frame
            int n = Uniform(1, 4);
            what << "bit flips:";
            for (int i = 0; i < n; ++i) {
                size_t at = f.at + Pick(f.length);
                int bit = Uniform(0, 7);
                (*out)[at] ^= static_cast<uint8_t>(1u << bit);
                what << " " << at << "." << bit;
            }
            break;
        }
        case 1: { // one bit of the frame head
            size_t at = f.at + Pick(8);
            int bit = Uniform(0, 7);
            (*out)[at] ^= static_cast<uint8_t>(1u << bit);
            what << "head bit flip " << at << "." << bit;
            break;
        }
        case 2: { // a length below 8
            static const int16_t kShort[] = {-32768, -1, 0, 1, 2, 7};
            int16_t length = Uniform(0, 1) ? kShort[Pick(6)] : static_cast<int16_t>(Uniform(0, 7));
            Put16(out, f.at + 2, static_cast<uint16_t>(length));
            what << "length " << length;
            break;
        }
        case 3: { // a length past the frame, or past the file
            int16_t length = Uniform(0, 3) == 0 ? int16_t(0x7FFF)
                                                : static_cast<int16_t>(f.length + Uniform(1, 64));
            Put16(out, f.at + 2, static_cast<uint16_t>(length));
            what << "length " << length;
            break;
        }
        case 4: { // a jump into nowhere, into itself or back
            (*out)[f.at] = 18;
            const bool relative = Uniform(0, 1) == 1;
            (*out)[f.at + 7] = static_cast<uint8_t>(relative ? 0x80 : 0x00);
            uint32_t target = 0;
            switch (Uniform(0, 6)) {
            case 0:
                target = static_cast<uint32_t>(out->size() + Pick(1000));
                break;
            case 1:
                target = 0xFFFFFFFFu;
                break;
            case 2:
                target = 0x80000000u;
                break;
            case 3:
                target = f.at;
                break;
            case 4:
                target = entities_start_;
                break;
            case 5:
                target = static_cast<uint32_t>(Pick(1727));
                break;
            default:
                target = static_cast<uint32_t>(Pick(out->size()));
                break;
            }
            if (relative) {
                int16_t offset = static_cast<int16_t>(Uniform(-32768, 32767));
                if (Uniform(0, 1))
                    offset = static_cast<int16_t>(static_cast<int64_t>(target) -
                                                  static_cast<int64_t>(extra_start_));
                Put16(out, f.at + 4, static_cast<uint16_t>(offset));
                what << "relative jump " << offset;
            } else {
                Put16(out, f.at + 4, static_cast<uint16_t>(target & 0xFFFF));
                Put16(out, f.at + 6, static_cast<uint16_t>(target >> 16));
                what << "jump to " << target;
            }
            break;
        }
        case 5: { // a code that no class reads, or a kind out of place
            static const uint8_t kCodes[] = {0, 5, 6, 10, 12, 13, 21, 25, 30, 0x20, 0x7F, 0xFF};
            uint8_t code = kCodes[Pick(sizeof kCodes)];
            (*out)[f.at] = code;
            what << "code " << int(code);
            break;
        }
        case 6: { // the file cut inside the frame
            size_t keep = f.at + Pick(f.length);
            out->resize(keep);
            what << "truncated to " << keep;
            break;
        }
        default: { // the erased mark, set or cleared, and a flags byte of all bits
            (*out)[f.at] ^= 0x80;
            if (Uniform(0, 1))
                (*out)[f.at + 1] = 0xFF;
            what << "erased mark flipped, flags " << int((*out)[f.at + 1]);
            break;
        }
        }
        return what.str();
    }

private:
    static constexpr int kFrameMutants = 200;

    // The entity section's end moved, or a made-up frame at its start.
    std::string SectionDamage(int index, std::vector<uint8_t> *out) {
        std::ostringstream what;
        const size_t start = entities_start_;
        if (index % 2 == 0 || start + 80 > out->size()) {
            uint32_t end = 0;
            switch (Uniform(0, 3)) {
            case 0:
                end = static_cast<uint32_t>(start + Pick(4096));
                break;
            case 1:
                end = static_cast<uint32_t>(Pick(out->size()));
                break;
            case 2:
                end = static_cast<uint32_t>(out->size() + Pick(100));
                break;
            default:
                end = 0xFFFFFFFFu;
                break;
            }
            Put16(out, trailer_ + 4, static_cast<uint16_t>(end & 0xFFFF));
            Put16(out, trailer_ + 6, static_cast<uint16_t>(end >> 16));
            what << "entity section end moved to " << end;
            return what.str();
        }
        static const uint8_t kCodes[] = {1, 2, 3, 7, 8, 13, 14, 17, 18, 19, 20, 22, 23, 24, 0x81};
        const uint8_t code =
            Uniform(0, 3) ? kCodes[Pick(sizeof kCodes)] : static_cast<uint8_t>(Uniform(0, 255));
        const int16_t length = static_cast<int16_t>(Uniform(-16, 72));
        (*out)[start] = code;
        (*out)[start + 1] = static_cast<uint8_t>(Uniform(0, 255));
        Put16(out, start + 2, static_cast<uint16_t>(length));
        Put16(out, start + 4, static_cast<uint16_t>(Uniform(-3, 3)));
        (*out)[start + 6] = static_cast<uint8_t>(Uniform(0, 255));
        (*out)[start + 7] = static_cast<uint8_t>(Uniform(0, 255));
        for (size_t i = 8; i < 72; ++i)
            (*out)[start + i] = static_cast<uint8_t>(Uniform(0, 255));
        const uint32_t end = static_cast<uint32_t>(start + 8 + Pick(72));
        if (end > U32(trailer_ + 4)) {
            Put16(out, trailer_ + 4, static_cast<uint16_t>(end & 0xFFFF));
            Put16(out, trailer_ + 6, static_cast<uint16_t>(end >> 16));
        }
        what << "made-up frame at " << start << ": code " << int(code) << ", length " << length
             << ", section end " << end;
        return what.str();
    }
    struct Frame {
        size_t at;
        size_t length;
    };

    uint32_t U32(size_t at) const {
        return static_cast<uint32_t>(original_[at]) |
               static_cast<uint32_t>(original_[at + 1]) << 8 |
               static_cast<uint32_t>(original_[at + 2]) << 16 |
               static_cast<uint32_t>(original_[at + 3]) << 24;
    }
    static void Put16(std::vector<uint8_t> *out, size_t at, uint16_t v) {
        if (at + 1 < out->size()) {
            (*out)[at] = static_cast<uint8_t>(v);
            (*out)[at + 1] = static_cast<uint8_t>(v >> 8);
        }
    }
    // Frames one after another from `from`, while their lengths hold, below `to`.
    void Scan(uint32_t from, uint32_t to) {
        size_t p = from;
        const size_t end = std::min<size_t>(to, original_.size());
        while (p + 10 <= end && frames_.size() < 100000) {
            int16_t length = static_cast<int16_t>(original_[p + 2] | (original_[p + 3] << 8));
            if (length < 10 || p + static_cast<size_t>(length) > end)
                break;
            frames_.push_back({p, static_cast<size_t>(length)});
            p += static_cast<size_t>(length);
        }
    }
    int Uniform(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    size_t Pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng_); }

    const std::vector<uint8_t> &original_;
    std::mt19937 rng_;
    std::vector<Frame> frames_;
    size_t trailer_ = 0;
    uint32_t entities_start_ = 0;
    uint32_t extra_start_ = 0;
};

int MutantCountFor(size_t size) {
    int base = size <= kSmallDrawing ? kSmallDrawingMutants : kMinMutants;
    int n = static_cast<int>(base * MutationScale());
    return std::max(n, kMinMutants);
}

// ---------------------------------------------------------------------------
// The mutation test, one instance per corpus drawing
// ---------------------------------------------------------------------------

std::vector<std::string> MutationCases() {
    std::vector<std::string> files;
    for (const char *folder : {"dwg12", "dwg13", "dxf12", "dxf13"}) {
        for (const std::string &f : CorpusFiles(folder))
            files.push_back(f);
    }
    if (files.empty())
        files.push_back(""); // stand-in: reports the missing corpus
    return files;
}

std::string MutationCaseName(const testing::TestParamInfo<std::string> &info) {
    return info.param.empty() ? std::string("no_corpus") : TestNameFor(info.param);
}

class CorpusMutationTest : public testing::TestWithParam<std::string> {};

TEST_P(CorpusMutationTest, DamagedCopiesEndCleanly) {
    VELKO_REQUIRE_CORPUS();
    const std::string &relative = GetParam();
    ASSERT_FALSE(relative.empty()) << "no drawing found in " << CorpusDir();
    std::vector<uint8_t> original;
    ASSERT_TRUE(ReadWholeFile(CorpusPath(relative), &original)) << relative;
    ASSERT_FALSE(original.empty()) << relative;

    CrashReporter reporter;
    Watchdog watchdog;
    TempPath temp("mutant");
    uint32_t seed = SeedFor(relative);
    Mutator mutator(original, seed);
    FrameMutator frames(original, seed ^ 0x46524D45u);
    const int regular = MutantCountFor(original.size());
    const int mutants = regular + frames.Count();

    int troubled = 0;
    // A sample of the mutants is also saved, in every form, when it opens.
    const int save_every = original.size() <= kSmallDrawing ? kSaveEvery : kSaveEveryLarge;
    FeedTally tally;
    std::vector<uint8_t> bytes;
    Clock::time_point test_start = Clock::now();
    for (int i = 0; i < mutants; ++i) {
        std::string damage =
            i < regular ? mutator.Make(i, &bytes) : frames.Make(i - regular, &bytes);
        std::ostringstream what;
        what << relative << " mutant " << i << " (seed " << seed << "): " << damage << "; file "
             << temp.str();
        SetCurrentInput(what.str());
        ASSERT_TRUE(WriteWholeFile(temp.str(), bytes.data(), bytes.size())) << temp.str();

        Outcome out = FeedFile(temp.str(), &watchdog, i % save_every == 0);
        tally.Add(out, what.str());
        EXPECT_LE(out.seconds, MutantTimeLimit()) << "too slow: " << what.str();
        if (!out.trouble.empty()) {
            // Report the first few in full; count the rest.
            if (++troubled <= 5)
                ADD_FAILURE() << out.trouble << ": " << what.str();
        }
    }
    SetCurrentInput("");
    double wall = std::chrono::duration<double>(Clock::now() - test_start).count();
    EXPECT_EQ(troubled, 0) << troubled << " mutants of " << relative
                           << " got answers that break the interface";

    RecordProperty("mutants", mutants);
    RecordProperty("opened", tally.opened);
    RecordProperty("saved", tally.saved);
    std::printf("[ mutation ] %-40s %4d mutants, %4d opened, %3d saved, %.3f s (reads %.3f s, "
                "slowest %.4f s)\n",
                relative.c_str(), mutants, tally.opened, tally.saved, wall, tally.seconds,
                tally.slowest);
    if (tally.slowest > MutantTimeLimit() / 4)
        std::printf("[ mutation ] slowest: %s\n", tally.slowest_what.c_str());
}

INSTANTIATE_TEST_SUITE_P(Corpus, CorpusMutationTest, testing::ValuesIn(MutationCases()),
                         MutationCaseName);

// ---------------------------------------------------------------------------
// Plain bad inputs
// ---------------------------------------------------------------------------

class DrawingBadInput : public testing::Test {
protected:
    // Feeds `bytes` through a temporary file; fails the test on a broken
    // answer or when it takes too long.
    Outcome Feed(const Bytes &bytes, const std::string &what) {
        SetCurrentInput(what + "; file " + temp_.str());
        EXPECT_TRUE(WriteWholeFile(temp_.str(), bytes.data(), bytes.size()));
        Outcome out = FeedFile(temp_.str(), &watchdog_);
        SetCurrentInput("");
        EXPECT_TRUE(out.trouble.empty()) << out.trouble << ": " << what;
        EXPECT_LE(out.seconds, MutantTimeLimit()) << "too slow: " << what;
        return out;
    }

    // Writes `bytes` to the temporary file and returns its path.
    const std::string &Put(const Bytes &bytes) {
        EXPECT_TRUE(WriteWholeFile(temp_.str(), bytes.data(), bytes.size()));
        return temp_.str();
    }

    CrashReporter reporter_;
    Watchdog watchdog_;
    TempPath temp_{"bad_input"};
};

// The public records are byte-packed: their fields are copied out before they
// go to the assertion macros, which bind references to their arguments.
template <typename T> T Copy(T value) {
    return value;
}

Bytes Text(const std::string &s) {
    return Bytes(s.begin(), s.end());
}

// A small but complete release 12 drawing.
Bytes MinimalDrawing() {
    Dwg12FileBuilder b;
    b.AddMinimalTables();
    return b.Build();
}

TEST_F(DrawingBadInput, EmptyFile) {
    Outcome out = Feed(Bytes(), "empty file");
    EXPECT_FALSE(out.opened);
    EXPECT_EQ(out.status, -123);
    EXPECT_NE(out.code, 0);

    CDB_FILE_INFO info;
    std::memset(&info, 0, sizeof info);
    EXPECT_EQ(CDBGetDrawingFileInfo(Put(Bytes()).c_str(), &info), -123);
    EXPECT_EQ(CDBGetErrorNumber(-123), -405);
}

TEST_F(DrawingBadInput, MissingFile) {
    std::string path = temp_.str() + ".does-not-exist";
    EXPECT_EQ(CDBStartFileReading(path.c_str(), nullptr), -123);
    EXPECT_NE(CDBGetErrorNumber(-123), 0);
    CDB_FILE_INFO info;
    EXPECT_EQ(CDBGetDrawingFileInfo(path.c_str(), &info), -123);
    EXPECT_EQ(CDBGetErrorNumber(-123), -405);
}

TEST_F(DrawingBadInput, TooShortForATrailer) {
    // 149 bytes cannot hold the tail record: "Invalid File.", and the DXF
    // reader refuses the bytes as well.
    Bytes b = Text("AC1009");
    b.resize(149, 0);
    Outcome out = Feed(b, "149 bytes beginning AC1009");
    EXPECT_FALSE(out.opened);
    EXPECT_EQ(out.status, -123);
    EXPECT_EQ(out.code, -405);

    // Around that length: whatever the result, it must end cleanly.
    for (size_t n : {6u, 7u, 100u, 148u, 150u, 151u, 160u, 300u}) {
        Bytes c = Text("AC1009");
        c.resize(n, 0);
        Feed(c, std::to_string(n) + " bytes beginning AC1009");
    }
}

TEST_F(DrawingBadInput, VersionFollowedByZeros) {
    // All descriptors read as zero: empty tables, the default viewport, and a
    // header of zeros in which the tree depth 0 reads as 3020.
    Bytes b = Text("AC1009");
    b.resize(2000, 0);
    int16_t h = CDBStartFileReading(Put(b).c_str(), nullptr);
    ASSERT_GE(h, 0) << "error " << CDBGetErrorNumber(-123);
    EXPECT_EQ(CDBGetAutoCADVersion(h), 12);
    EXPECT_EQ(CDBBlockTableCount(h), 0);
    EXPECT_EQ(CDBLayerTableCount(h), 0);
    EXPECT_EQ(CDBLineTypeTableCount(h), 0);
    EXPECT_EQ(CDBStyleTableCount(h), 0);
    EXPECT_EQ(CDBViewTableCount(h), 0);
    EXPECT_EQ(CDBUCSTableCount(h), 0);
    EXPECT_EQ(CDBAppidTableCount(h), 0);
    EXPECT_EQ(CDBDimStyleTableCount(h), 0);
    EXPECT_EQ(CDBVportTableCount(h), 1);
    CDB_VPORT_TBL_type vport;
    std::memset(&vport, 0, sizeof vport);
    EXPECT_EQ(CDBVportTableGet(h, 0, &vport), 0);
    ASSERT_NE(Copy(vport.name), nullptr);
    EXPECT_STREQ(vport.name, "*ACTIVE");
    CDB_VAR_VALUE_type v;
    std::memset(&v, 0, sizeof v);
    EXPECT_EQ(CDBGetVariableValue(h, "treedepth", &v), CDB_VAR_INT16);
    EXPECT_EQ(Copy(v.int_value), 3020);
    std::memset(&v, 0, sizeof v);
    EXPECT_EQ(CDBGetVariableValue(h, "handseed", &v), CDB_VAR_TEXT);
    EXPECT_STREQ(v.text, "0");
    ReadReport report = ReadEverything(h);
    EXPECT_TRUE(report.trouble.empty()) << report.trouble;
    EXPECT_EQ(CDBEndOperation(h), 0);

    Feed(b, "AC1009 and 1994 zero bytes");
}

TEST_F(DrawingBadInput, RandomBytes) {
    const size_t sizes[] = {1, 5, 6, 64, 149, 150, 151, 1727, 1900, 4096, 20480, 70000};
    const char *prefixes[] = {
        "",
        "AC1009",
        "AC1012",
        "AC10",
        "  0\nSECTION\n  2\nHEADER\n  9\n$ACADVER\n  1\nAC1009\n",
        "  0\nSECTION\n  2\nHEADER\n  9\n$ACADVER\n  1\nAC1012\n",
        "AutoCAD Binary DXF\r\n\x1a",
    };
    for (uint32_t seed : {1u, 2u, 3u, 4u, 5u}) {
        std::mt19937 rng(kMutationSeed + seed);
        for (size_t size : sizes) {
            for (const char *prefix : prefixes) {
                Bytes b(size);
                for (uint8_t &x : b)
                    x = static_cast<uint8_t>(rng());
                size_t plen = std::strlen(prefix);
                if (std::strcmp(prefix, "AutoCAD Binary DXF\r\n\x1a") == 0)
                    ++plen; // its zero byte too
                std::memcpy(b.data(), prefix, std::min(plen, size));
                std::ostringstream what;
                what << size << " random bytes (seed " << seed << ") after \"" << prefix << "\"";
                Feed(b, what.str());
            }
        }
    }
}

TEST_F(DrawingBadInput, TruncatedTrailer) {
    Bytes whole = MinimalDrawing();
    // The intact drawing opens; cut at the end, the trailer is read from the
    // wrong place and its positions are garbage.
    Outcome intact = Feed(whole, "minimal drawing");
    EXPECT_TRUE(intact.opened);
    for (size_t cut : {1u, 2u, 16u, 17u, 18u, 22u, 23u, 100u, 128u, 149u, 150u, 154u, 300u}) {
        Bytes b(whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(cut));
        Feed(b, "minimal drawing less its last " + std::to_string(cut) + " bytes");
    }
    // The trailer zeroed or filled with 0xFF.
    for (uint8_t fill : {uint8_t(0x00), uint8_t(0xFF)}) {
        Bytes b = whole;
        std::fill(b.end() - 150, b.end() - 22, fill);
        Feed(b, "minimal drawing with its trailer filled with " + std::to_string(fill));
    }
}

TEST_F(DrawingBadInput, TableDescriptorsPastTheEnd) {
    const Bytes whole = MinimalDrawing();
    const uint32_t past = static_cast<uint32_t>(whole.size()) + 1000;
    struct CountFn {
        int table;
        int16_t (*count)(int16_t);
    };
    const CountFn counts[] = {
        {kBlockTable, CDBBlockTableCount},       {kLayerTable, CDBLayerTableCount},
        {kStyleTable, CDBStyleTableCount},       {kLtypeTable, CDBLineTypeTableCount},
        {kViewTable, CDBViewTableCount},         {kUcsTable, CDBUCSTableCount},
        {kVportTable, CDBVportTableCount},       {kAppidTable, CDBAppidTableCount},
        {kDimstyleTable, CDBDimStyleTableCount},
    };

    for (int t = 0; t < kDwg12TableCount; ++t) {
        // Records past the end of the file get no slots: the table is empty.
        Dwg12FileBuilder b;
        b.AddMinimalTables();
        b.OverrideDescriptor(t, kDwg12RecordSize[static_cast<size_t>(t)], 5, past);
        Bytes bytes = b.Build();
        std::string what = "table " + std::to_string(t) + ": 5 records past the end";
        SetCurrentInput(what);
        int16_t h = CDBStartFileReading(Put(bytes).c_str(), nullptr);
        SetCurrentInput("");
        ASSERT_GE(h, 0) << what << ": error " << CDBGetErrorNumber(-123);
        for (const CountFn &c : counts) {
            if (c.table == t) {
                EXPECT_EQ(c.count(h), 0) << what;
            }
        }
        ReadReport report = ReadEverything(h);
        EXPECT_TRUE(report.trouble.empty()) << report.trouble << ": " << what;
        EXPECT_EQ(CDBEndOperation(h), 0);

        // Other bad descriptors: only a clean end is asked for.
        struct Bad {
            uint16_t record_size;
            int16_t count;
            uint32_t position;
            const char *what;
        };
        const Bad bads[] = {
            {kDwg12RecordSize[static_cast<size_t>(t)], 32767, past, "32767 records past the end"},
            {kDwg12RecordSize[static_cast<size_t>(t)], 3, 0xFFFFFFF0u, "position 0xFFFFFFF0"},
            {kDwg12RecordSize[static_cast<size_t>(t)], 3, 0x80000000u, "position 0x80000000"},
            {kDwg12RecordSize[static_cast<size_t>(t)], -1, past, "count -1"},
            {kDwg12RecordSize[static_cast<size_t>(t)], -32768, 0, "count -32768"},
            {0, 40, 0, "40 records over the header block"},
            {0xFFFF, 20, static_cast<uint32_t>(whole.size()) - 60,
             "20 records from 60 bytes before the end"},
        };
        for (const Bad &bad : bads) {
            Dwg12FileBuilder c;
            c.AddMinimalTables();
            c.OverrideDescriptor(t, bad.record_size, bad.count, bad.position);
            Feed(c.Build(), "table " + std::to_string(t) + ": " + bad.what);
        }
    }
}

} // namespace
} // namespace velko_test
