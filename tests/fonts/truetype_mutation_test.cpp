// Robustness of the TrueType reader: damaged copies of a font (DejaVu Sans when it is
// installed, and fonts written by hand) are opened with InitFont and walked for a few
// characters: SetCurrentChar, every record, every end point and point, the width, then
// ExitFont. Nothing here checks what a damaged font holds; every mutant must end quickly,
// without a crash or a sanitizer report, and its answers must agree with each other.
//
// The damage comes from std::mt19937 seeded with one fixed number per font, so a failure
// is reproducible: it names the mutant's index and its damage. A mutant that crashes the
// process or hangs is described on stderr before the process ends, and stays on disk.
#include "fonts/ttf_bytes.h"
#include "support/font_feed.h"

#include "fonts/truetype_font.h"
#include "velkow32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <random>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_TTF_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#define VELKO_TTF_SANITIZED 1
#endif
#endif
#ifndef VELKO_TTF_SANITIZED
#define VELKO_TTF_SANITIZED 0
#endif

namespace {

using Clock = std::chrono::steady_clock;
using velko_test::ttf::Font;

constexpr uint32_t kSeed = 0x7A11F0E5u;

// One mutant's open, walk and close must stay under this many seconds.
double MutantLimit() {
    return VELKO_TTF_SANITIZED ? 10.0 : 2.0;
}

// Past this a mutant counts as hung and the process is stopped with a report.
double HangLimit() {
    return VELKO_TTF_SANITIZED ? 300.0 : 60.0;
}

// The characters walked in every mutant: space, letters, a composite, one beyond 255.
const std::vector<uint16_t> kCodes = {' ', 'A', 'g', '%', 0xC4, 0xE9, 0x2022, 300};

// ---------------------------------------------------------------------------------------
// Reports of a crash or hang
// ---------------------------------------------------------------------------------------

char g_current[512] = "";

void SayCurrent(const char *event) {
    if (!g_current[0])
        return;
    const char *lead = "\n*** TrueType mutation test: ";
    ssize_t ignored = write(2, lead, std::strlen(lead));
    ignored = write(2, event, std::strlen(event));
    ignored = write(2, ": ", 2);
    ignored = write(2, g_current, std::strlen(g_current));
    ignored = write(2, "\n", 1);
    (void)ignored;
}

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
struct sigaction g_previous[sizeof kSignals / sizeof kSignals[0]];

void OnSignal(int sig) {
    SayCurrent(sig == SIGABRT ? "abort" : "crash signal");
    // Hand the signal on to what was there before (a sanitizer's handler or the default).
    for (size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i)
        if (kSignals[i] == sig)
            sigaction(sig, &g_previous[i], nullptr);
    if (sig == SIGABRT)
        raise(sig);
}

// Signal reporters and a watchdog thread for the life of one test.
class Guard {
public:
    Guard() {
        for (size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i) {
            struct sigaction sa;
            std::memset(&sa, 0, sizeof sa);
            sa.sa_handler = OnSignal;
            sigemptyset(&sa.sa_mask);
            sa.sa_flags = SA_NODEFER;
            sigaction(kSignals[i], &sa, &g_previous[i]);
        }
        thread_ = std::thread([this] { Watch(); });
    }
    ~Guard() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        thread_.join();
        for (size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i)
            sigaction(kSignals[i], &g_previous[i], nullptr);
        g_current[0] = 0;
    }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

    void Begin(const std::string &what) {
        std::lock_guard<std::mutex> lock(mutex_);
        std::snprintf(g_current, sizeof g_current, "%s", what.c_str());
        busy_ = true;
        start_ = Clock::now();
    }
    void End() {
        std::lock_guard<std::mutex> lock(mutex_);
        busy_ = false;
    }

private:
    void Watch() {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!stop_) {
            wake_.wait_for(lock, std::chrono::milliseconds(200));
            if (stop_ || !busy_)
                continue;
            if (std::chrono::duration<double>(Clock::now() - start_).count() > HangLimit()) {
                SayCurrent("hang");
                std::abort();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    bool busy_ = false;
    Clock::time_point start_;
    std::thread thread_;
};

// ---------------------------------------------------------------------------------------
// Damage
// ---------------------------------------------------------------------------------------

struct Region {
    size_t begin;
    size_t end;
    std::string name;
};

// The places worth damaging: the directory, cmap, the heads of maxp, head and hhea, the
// loca entries and glyf bytes of the walked characters' glyphs, all of loca and glyf.
std::vector<Region> Regions(const std::vector<uint8_t> &bytes, const std::string &path) {
    std::vector<Region> regions;
    size_t count = velko_test::ttf::GetU16(bytes, 4);
    regions.push_back({0, 12 + 16 * count, "directory"});
    auto table = [&](const char *tag, size_t cap) {
        uint32_t offset = 0, length = 0;
        if (velko_test::ttf::FindTable(bytes, tag, &offset, &length) && offset < bytes.size())
            regions.push_back(
                {offset, std::min<size_t>(bytes.size(), offset + std::min<size_t>(length, cap)),
                 tag});
    };
    table("cmap", SIZE_MAX);
    table("maxp", 32);
    table("head", 54);
    table("hhea", 36);
    table("loca", SIZE_MAX);
    table("glyf", SIZE_MAX);
    table("hmtx", SIZE_MAX);

    CTrueTypeFont font;
    if (!font.Open(path.c_str()))
        return regions;
    uint32_t loca = font.TableOffset("loca"), glyf = font.TableOffset("glyf");
    size_t entry = font.Head().index_to_loc_format == 0 ? 2 : 4;
    for (uint16_t code : kCodes) {
        uint16_t id = 0;
        if (!font.MapCode(code, &id) || size_t(id) + 1 >= font.GlyphOffsets().size())
            continue;
        std::vector<uint16_t> ids = {id};
        if (font.SetCurrentChar(code) > 0)
            for (const TtfGlyphRecord &r : font.Records())
                ids.push_back(r.glyph_id);
        for (uint16_t g : ids) {
            size_t begin = glyf + size_t(font.GlyphOffsets()[g]);
            size_t end = glyf + size_t(font.GlyphOffsets()[size_t(g) + 1]);
            if (begin < end && end <= bytes.size())
                regions.push_back({begin, end, "glyph " + std::to_string(g)});
            regions.push_back({loca + entry * g, loca + entry * (size_t(g) + 2),
                               "loca of glyph " + std::to_string(g)});
        }
    }
    return regions;
}

// Damages the copy; returns what was done.
std::string Damage(std::vector<uint8_t> &bytes, const std::vector<Region> &regions,
                   std::mt19937 &rng) {
    auto pick = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(rng); };
    std::string what;
    int steps = 1 + static_cast<int>(pick(3));
    for (int s = 0; s < steps && !bytes.empty(); ++s) {
        const Region &r = regions[pick(regions.size())];
        size_t begin = std::min(r.begin, bytes.size() - 1);
        size_t end = std::max(begin + 1, std::min(r.end, bytes.size()));
        size_t at = begin + pick(end - begin);
        // Damage in place three times as often as a cut, so that most mutants open.
        size_t kind = pick(11);
        switch (kind < 3 ? 0 : kind < 6 ? 1 : kind < 9 ? 2 : kind - 6) {
        case 0: { // bit flips
            int flips = 1 + static_cast<int>(pick(4));
            for (int i = 0; i < flips; ++i) {
                size_t p = begin + pick(end - begin);
                bytes[p] ^= static_cast<uint8_t>(1u << pick(8));
            }
            what += " flip " + std::to_string(flips) + " bits in " + r.name;
            break;
        }
        case 1: { // random bytes
            size_t n = 1 + pick(8);
            for (size_t i = 0; i < n && at + i < bytes.size(); ++i)
                bytes[at + i] = static_cast<uint8_t>(pick(256));
            what += " overwrite " + std::to_string(n) + " bytes at " + std::to_string(at) + " in " +
                    r.name;
            break;
        }
        case 2: { // an extreme 16- or 32-bit value on an even position
            static const uint32_t kValues[] = {0,      0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu,
                                               0xFFFF, 0x8000,      0x7FFF,      1};
            uint32_t v = kValues[pick(sizeof kValues / sizeof kValues[0])];
            size_t p = at & ~size_t(1);
            size_t width = pick(2) ? 4 : 2;
            for (size_t i = 0; i < width && p + i < bytes.size(); ++i)
                bytes[p + i] = static_cast<uint8_t>(v >> (8 * (width - 1 - i)));
            what += " value " + std::to_string(v) + " (" + std::to_string(width) + " bytes) at " +
                    std::to_string(p) + " in " + r.name;
            break;
        }
        case 3: { // truncation inside the region
            bytes.resize(at);
            what += " truncate at " + std::to_string(at) + " in " + r.name;
            break;
        }
        default: { // truncation anywhere
            size_t cut = pick(bytes.size());
            bytes.resize(cut);
            what += " truncate at " + std::to_string(cut);
            break;
        }
        }
    }
    return what;
}

bool WriteBytes(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

// Feeds `mutants` damaged copies of `pristine` to the library.
void RunMutants(const std::string &label, const std::vector<uint8_t> &pristine, int mutants,
                uint32_t seed) {
    std::string path = ::testing::TempDir() + "velko_ttf_mutant_" + std::to_string(getpid()) + "_" +
                       label + ".ttf";
    ASSERT_TRUE(WriteBytes(path, pristine));
    // The pristine font itself must open and walk cleanly.
    bool pristine_opened = false;
    EXPECT_EQ(velko_test::WalkTrueType(path, kCodes, &pristine_opened), "") << label;
    ASSERT_TRUE(pristine_opened) << label;
    std::vector<Region> regions = Regions(pristine, path);
    ASSERT_FALSE(regions.empty());

    Guard guard;
    std::mt19937 rng(seed);
    int opened = 0, decoded = 0;
    double slowest = 0.0;
    for (int i = 0; i < mutants; ++i) {
        std::vector<uint8_t> bytes = pristine;
        std::string damage = Damage(bytes, regions, rng);
        std::string what =
            label + " mutant " + std::to_string(i) + ":" + damage + " (file " + path + ")";
        ASSERT_TRUE(WriteBytes(path, bytes)) << what;
        guard.Begin(what);
        Clock::time_point start = Clock::now();
        bool was_opened = false;
        std::string trouble = velko_test::WalkTrueType(path, kCodes, &was_opened, &decoded);
        opened += was_opened ? 1 : 0;
        double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        guard.End();
        slowest = std::max(slowest, seconds);
        EXPECT_EQ(trouble, "") << what;
        EXPECT_LT(seconds, MutantLimit()) << what;
    }
    std::remove(path.c_str());
    std::printf("[ mutants  ] %s: %d mutants, %d opened, %d characters decoded, slowest %.3f s\n",
                label.c_str(), mutants, opened, decoded, slowest);
}

} // namespace

TEST(TrueTypeMutation, DamagedDejaVuSansEndsQuicklyAndCleanly) {
    const std::string font = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
    std::ifstream in(font, std::ios::binary);
    std::vector<uint8_t> bytes;
    if (in)
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (bytes.size() < 1024) {
        // Without DejaVu Sans the hand-made font stands in.
        Font f = velko_test::ttf::HandMadeFont();
        f.format0 = true;
        RunMutants("handmade-standin", velko_test::ttf::Build(f), 600, kSeed);
        return;
    }
    RunMutants("DejaVuSans", bytes, 600, kSeed);
}

TEST(TrueTypeMutation, DamagedHandMadeFontsEndQuicklyAndCleanly) {
    Font f = velko_test::ttf::HandMadeFont();
    RunMutants("short-loca-format4", velko_test::ttf::Build(f), 300, kSeed + 1);
    f.long_loca = true;
    f.format0 = true;
    f.format4_first = false;
    f.number_of_h_metrics = 3;
    RunMutants("long-loca-format0", velko_test::ttf::Build(f), 300, kSeed + 2);
}
