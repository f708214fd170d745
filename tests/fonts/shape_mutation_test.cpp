// Robustness of the shape loaders: damaged copies of a shapes 1.1 file, a unifont, a big font
// and an index file, each loaded through the library and looked up in every way. Nothing
// checks what a damaged file yields; every load must end, quickly, without a crash or a
// sanitizer report. The damage comes from std::mt19937 with a fixed seed per file, so a
// failure names a reproducible mutant.
#include "fonts/shape_file.h"
#include "fonts/shape_index.h"
#include "fonts/shape_strokes.h"
#include "fonts/shape_table.h"
#include "fonts/shx_bytes.h"
#include "support/font_feed.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_SHAPE_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#define VELKO_SHAPE_TEST_SANITIZED 1
#endif
#endif
#ifndef VELKO_SHAPE_TEST_SANITIZED
#define VELKO_SHAPE_TEST_SANITIZED 0
#endif

namespace {

using shx_test::Bytes;
using shx_test::IndexDirectories;
using shx_test::ScratchDir;
using shx_test::SdxFont;
using shx_test::Shape;
using velko_test::ExerciseShapeFile;
using velko_test::ExerciseShapeTable;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kSeed = 0x5A17C0DEu;
constexpr int kMutants = 600;

// One mutant's loads and lookups must stay under this (seconds).
double MutantLimit() {
    return VELKO_SHAPE_TEST_SANITIZED ? 10.0 : 2.0;
}
// Past this a mutant counts as hung and the process stops with a report.
double HangLimit() {
    return VELKO_SHAPE_TEST_SANITIZED ? 120.0 : 30.0;
}

// Stops the process when one mutant runs far too long, naming it.
class Watchdog {
public:
    Watchdog() : thread([this] { Watch(); }) {}
    ~Watchdog() {
        done = true;
        thread.join();
    }
    void Start(const std::string &what) {
        std::snprintf(label, sizeof label, "%s", what.c_str());
        started = Clock::now().time_since_epoch().count();
        running = true;
    }
    void Stop() { running = false; }

private:
    void Watch() {
        while (!done) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (!running)
                continue;
            Clock::duration spent =
                Clock::now().time_since_epoch() - Clock::duration(started.load());
            if (std::chrono::duration<double>(spent).count() > HangLimit()) {
                std::fprintf(stderr, "shape mutant hung: %s\n", label);
                std::abort();
            }
        }
    }

    std::atomic<bool> done{false};
    std::atomic<bool> running{false};
    std::atomic<Clock::rep> started{0};
    char label[256] = {};
    std::thread thread;
};

// Damages a copy of `base`: flipped bytes, extreme 16- and 32-bit values (often in the
// headers and directories, where the counts and offsets stand), cuts and appended bytes.
Bytes Mutate(const Bytes &base, std::mt19937 &random, std::string *what) {
    Bytes bytes = base;
    auto pick = [&](size_t n) { return n ? static_cast<size_t>(random() % n) : 0; };
    auto place = [&](size_t width) {
        if (bytes.size() <= width)
            return size_t(0);
        // Half the time in the first 96 bytes.
        size_t span = (random() & 1) && bytes.size() > 96 + width ? 96 : bytes.size() - width;
        return pick(span + 1);
    };
    static const uint16_t kExtremes16[] = {0, 1, 0x00FF, 0x0100, 0x7FFF, 0x8000, 0xFFFF, 0xFFFE};
    static const uint32_t kExtremes32[] = {0, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0x10000u};
    const int steps = 1 + static_cast<int>(random() % 4);
    for (int s = 0; s < steps; ++s) {
        switch (random() % 6) {
        case 0: {
            size_t at = pick(bytes.size());
            if (!bytes.empty()) {
                bytes[at] ^= static_cast<uint8_t>(1u << (random() % 8));
                *what += " flip@" + std::to_string(at);
            }
            break;
        }
        case 1: {
            size_t at = pick(bytes.size());
            if (!bytes.empty()) {
                bytes[at] = static_cast<uint8_t>(random());
                *what += " byte@" + std::to_string(at);
            }
            break;
        }
        case 2: {
            if (bytes.size() < 2)
                break;
            size_t at = place(2);
            uint16_t v =
                (random() & 1) ? kExtremes16[random() % 8] : static_cast<uint16_t>(random());
            shx_test::Set16(bytes, at, v);
            *what += " u16@" + std::to_string(at) + "=" + std::to_string(v);
            break;
        }
        case 3: {
            if (bytes.size() < 4)
                break;
            size_t at = place(4);
            uint32_t v =
                (random() & 1) ? kExtremes32[random() % 5] : static_cast<uint32_t>(random());
            shx_test::Set32(bytes, at, v);
            *what += " u32@" + std::to_string(at) + "=" + std::to_string(v);
            break;
        }
        case 4: {
            size_t keep = pick(bytes.size() + 1);
            bytes.resize(keep);
            *what += " cut@" + std::to_string(keep);
            break;
        }
        default: {
            size_t n = 1 + pick(64);
            for (size_t i = 0; i < n; ++i)
                bytes.push_back(static_cast<uint8_t>(random()));
            *what += " append" + std::to_string(n);
            break;
        }
        }
    }
    return bytes;
}

// Runs `load` over kMutants damaged copies of `base` written to `path`. `load` tells
// whether the mutant still loaded; enough of them must, or the damage never reaches past
// the first checks.
void RunMutants(const char *kind, const Bytes &base, const std::string &path,
                const std::function<bool()> &load) {
    std::mt19937 random(kSeed ^ static_cast<uint32_t>(std::hash<std::string>()(kind)));
    Watchdog watchdog;
    double worst = 0;
    int loaded = 0;
    for (int i = 0; i < kMutants; ++i) {
        std::string what;
        Bytes mutant = Mutate(base, random, &what);
        {
            std::FILE *out = std::fopen(path.c_str(), "wb");
            ASSERT_NE(out, nullptr) << path;
            if (!mutant.empty())
                std::fwrite(mutant.data(), 1, mutant.size(), out);
            std::fclose(out);
        }
        const std::string label = std::string(kind) + " #" + std::to_string(i) + ":" + what;
        watchdog.Start(label);
        Clock::time_point start = Clock::now();
        loaded += load() ? 1 : 0;
        double spent = std::chrono::duration<double>(Clock::now() - start).count();
        watchdog.Stop();
        worst = spent > worst ? spent : worst;
        EXPECT_LT(spent, MutantLimit()) << label;
    }
    ::testing::Test::RecordProperty(std::string(kind) + "_worst_ms",
                                    static_cast<int>(worst * 1000));
    ::testing::Test::RecordProperty(std::string(kind) + "_loaded", loaded);
    EXPECT_GT(loaded, kMutants / 5) << kind;
}

Bytes BaseShx() {
    return shx_test::Shx({shx_test::FontInfo("BASE", 21),
                          {65, "A", {2, 14, 8, 0xFE, 0xFA, 1, 0x44, 0x2C, 5, 0x10, 6, 0}},
                          {66, "B", {10, 3, 0x44, 11, 0, 128, 0, 2, 0x72, 0}},
                          {67, "C", {12, 0, 4, 127, 13, 0, 4, 127, 1, 0, 0, 0, 0, 0}},
                          {68, "D", {9, 5, 0, 0xFE, 3, 0, 0, 3, 2, 4, 3, 7, 65, 0x30, 0}},
                          {300, "EXTRA", {0x50, 0}}});
}

Bytes BaseUnifont() {
    return shx_test::Unifont({{300, "EXTRA", {0x30, 0}},
                              {66, "B", {0x20, 0}},
                              {0, "UNI", {12, 3, 0, 0}},
                              {0x8041, "HIGH", {0x10, 0}},
                              {65, "A", {0x10, 0}}});
}

Bytes BaseBigFont() {
    return shx_test::BigFontFile(
        {{0x81, 0x9F}, {0xE0, 0xFC}},
        {{0x8140, "", {0x40, 0}}, {0x8141, "K1", {0x22, 0x2E, 0}}, {0xE0A1, "K2", {1, 2, 0}}});
}

Bytes BaseSdx() {
    SdxFont big;
    big.name = "KANJI";
    big.kind = -2;
    big.ranges = {{0x81, 0x9F}};
    big.shapes = {{0x8140, "", {0x40, 0}}, {0x8141, "K1", {0x22, 0}}};
    return shx_test::Sdx({{"ROMANS",
                           -1,
                           66,
                           {shx_test::FontInfo("ROMANS", 9),
                            {65, "A", {0x40, 0}, 4.0},
                            {66, "B", {0x20, 0}, 2.0},
                            {300, "X", {0x10, 0}, 1.0}},
                           {}},
                          big,
                          {"TXT", -1, 65, {{65, "T", {0x10, 0}, 1.0}}, {}}});
}

TEST(ShapeMutation, Shapes11File) {
    ScratchDir dir("mutshx");
    ScratchDir index_dir("mutshxnoindex");
    IndexDirectories no_index({index_dir.path()});
    const std::string path = dir.File("FONT.SHX");
    RunMutants("shx11", BaseShx(), path, [&] {
        std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
        if (font)
            ExerciseShapeFile(*font);
        CShapeTable table;
        table.SetLocation(dir.File("DRAW.DWG").c_str(), nullptr);
        table.LoadFont("FONT.SHX", "FONT.SHX");
        ExerciseShapeTable(table);
        return font != nullptr;
    });
}

TEST(ShapeMutation, UnifontFile) {
    ScratchDir dir("mutuni");
    ScratchDir index_dir("mutuninoindex");
    IndexDirectories no_index({index_dir.path()});
    const std::string path = dir.File("UNI.SHX");
    RunMutants("unifont", BaseUnifont(), path, [&] {
        std::unique_ptr<CShapeFile> font = CShapeFile::Load(path);
        if (font)
            ExerciseShapeFile(*font);
        CShapeTable table;
        table.SetLocation(dir.File("DRAW.DWG").c_str(), nullptr);
        table.LoadFont("uni");
        ExerciseShapeTable(table);
        return font != nullptr;
    });
}

TEST(ShapeMutation, BigFontFile) {
    ScratchDir dir("mutbig");
    ScratchDir index_dir("mutbignoindex");
    IndexDirectories no_index({index_dir.path()});
    dir.Write("MAIN.SHX", shx_test::Shx({{65, "A", {0x10, 0}}}));
    const std::string path = dir.File("BIG.SHX");
    RunMutants("bigfont", BaseBigFont(), path, [&] {
        std::unique_ptr<BigFont> big = CShapeFile::LoadBigFont(path);
        if (big) {
            std::vector<uint8_t> data;
            for (size_t i = 0; i < big->shapes.size() && i < 256; ++i)
                ReadBigFontShape(*big, i, &data);
            for (int lead = 0; lead < 256; ++lead)
                big->IsLeadByte(static_cast<uint8_t>(lead));
        }
        CShapeFile::Load(path);
        CShapeTable table;
        table.SetLocation(dir.File("DRAW.DWG").c_str(), nullptr);
        table.LoadFont("MAIN.SHX", "BIG.SHX");
        table.LoadFont("BIG.SHX");
        ExerciseShapeTable(table);
        return big != nullptr;
    });
}

TEST(ShapeMutation, IndexFile) {
    ScratchDir dir("mutsdx");
    ScratchDir disk("mutsdxdisk");
    IndexDirectories index_here({dir.path()});
    const std::string path = dir.File("VELKO.SDX");
    RunMutants("sdx", BaseSdx(), path, [&] {
        CShapeIndex index;
        const bool opened = index.Open(path) != 0;
        if (opened) {
            for (size_t i = 0; i < index.Entries().size() && i < 64; ++i) {
                if (std::unique_ptr<CShapeFile> font = index.LoadShapeFile(static_cast<int>(i)))
                    ExerciseShapeFile(*font);
                if (std::unique_ptr<BigFont> big = index.LoadBigFont(static_cast<int>(i))) {
                    std::vector<uint8_t> data;
                    for (size_t k = 0; k < big->shapes.size() && k < 64; ++k)
                        ReadBigFontShape(*big, k, &data);
                }
            }
            index.Lookup("romans");
        }
        CShapeTable table;
        table.SetLocation(disk.File("DRAW.DWG").c_str(), nullptr);
        table.LoadFont("ROMANS.SHX", "KANJI");
        table.LoadFont("TXT.SHX");
        table.LoadFont("KANJI.SHX");
        ExerciseShapeTable(table);
        return opened;
    });
}

} // namespace
