// The fuzz targets: see fuzz_targets.h.
#include "fuzz_targets.h"

#include "support/drawing_feed.h"
#include "support/font_feed.h"

#include "fonts/shape_file.h"
#include "fonts/shape_index.h"
#include "fonts/shape_table.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include <unistd.h>

namespace {

// A folder of this process for the inputs, in memory where the system has /dev/shm; it goes
// when the process ends normally.
class Scratch {
public:
    Scratch() {
        std::error_code ignored;
        const char *tmp = std::getenv("TMPDIR");
        std::filesystem::path base =
            std::filesystem::is_directory("/dev/shm", ignored) ? "/dev/shm" : (tmp ? tmp : "/tmp");
        root_ = base / ("velko-fuzz-" + std::to_string(getpid()));
        std::filesystem::create_directories(root_ / "index", ignored);
        std::filesystem::create_directories(root_ / "fonts", ignored);
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    std::string Path(const std::string &name) const { return (root_ / name).string(); }

    // Writes the input to `name` in the folder: its path, or "" when it could not be written.
    std::string Write(const std::string &name, const uint8_t *data, size_t size) const {
        const std::string path = Path(name);
        std::FILE *out = std::fopen(path.c_str(), "wb");
        if (!out)
            return "";
        const bool written = size == 0 || std::fwrite(data, 1, size, out) == size;
        return std::fclose(out) == 0 && written ? path : "";
    }

private:
    std::filesystem::path root_;
};

Scratch &TheScratch() {
    static Scratch scratch;
    return scratch;
}

} // namespace

void FuzzSetUp() {
    SetShapeIndexDirectoriesForTesting({TheScratch().Path("index")});
}

int FuzzDrawing(const uint8_t *data, size_t size) {
    const std::string path = TheScratch().Write("INPUT.DWG", data, size);
    if (!path.empty())
        velko_test::FeedDrawing(path);
    return 0;
}

int FuzzSaveAndReread(const uint8_t *data, size_t size) {
    const std::string path = TheScratch().Write("SAVED.DWG", data, size);
    if (!path.empty())
        velko_test::FeedDrawing(path, true, true);
    return 0;
}

int FuzzShapeFile(const uint8_t *data, size_t size) {
    const std::string path = TheScratch().Write("fonts/FONT.SHX", data, size);
    if (path.empty())
        return 0;
    if (std::unique_ptr<CShapeFile> font = CShapeFile::Load(path))
        velko_test::ExerciseShapeFile(*font);
    if (std::unique_ptr<BigFont> big = CShapeFile::LoadBigFont(path)) {
        std::vector<uint8_t> codes;
        for (size_t i = 0; i < big->shapes.size(); ++i)
            ReadBigFontShape(*big, i, &codes);
        for (int lead = 0; lead < 256; ++lead)
            big->IsLeadByte(static_cast<uint8_t>(lead));
    }
    CShapeTable table;
    table.SetLocation(TheScratch().Path("fonts/DRAW.DWG").c_str(), nullptr);
    table.LoadFont("FONT.SHX");
    table.LoadFont("FONT.SHX", "FONT.SHX");
    velko_test::ExerciseShapeTable(table);
    return 0;
}

int FuzzShapeIndex(const uint8_t *data, size_t size) {
    const std::string path =
        TheScratch().Write(std::string("index/") + CShapeIndex::kFileName, data, size);
    if (path.empty())
        return 0;
    CShapeIndex index;
    if (index.Open(path) != 0) {
        for (size_t i = 0; i < index.Entries().size(); ++i) {
            if (std::unique_ptr<CShapeFile> font = index.LoadShapeFile(static_cast<int>(i)))
                velko_test::ExerciseShapeFile(*font);
            if (std::unique_ptr<BigFont> big = index.LoadBigFont(static_cast<int>(i))) {
                std::vector<uint8_t> codes;
                for (size_t k = 0; k < big->shapes.size(); ++k)
                    ReadBigFontShape(*big, k, &codes);
            }
        }
        index.Lookup("romans");
        index.Lookup("TXT");
    }
    // Fonts that are nowhere on disk: the table takes them from the index.
    CShapeTable table;
    table.SetLocation(TheScratch().Path("DRAW.DWG").c_str(), nullptr);
    table.LoadFont("ROMANS.SHX", "KANJI");
    table.LoadFont("TXT.SHX");
    table.LoadFont("KANJI.SHX");
    velko_test::ExerciseShapeTable(table);
    return 0;
}

int FuzzTrueType(const uint8_t *data, size_t size) {
    const std::string path = TheScratch().Write("fonts/FONT.TTF", data, size);
    if (path.empty())
        return 0;
    // Every code a map can hold is at most 65536 codes: a map that claims them all is walked
    // once.
    velko_test::WalkTrueType(path, velko_test::MappedCodes(path, 65536));
    return 0;
}

const FuzzTarget kFuzzTargets[] = {
    {"dwg12", FuzzDrawing},          {"dwg13", FuzzDrawing},      {"dxf_ascii", FuzzDrawing},
    {"dxf_binary", FuzzDrawing},     {"save", FuzzSaveAndReread}, {"shx", FuzzShapeFile},
    {"shape_index", FuzzShapeIndex}, {"truetype", FuzzTrueType},
};
const size_t kFuzzTargetCount = sizeof kFuzzTargets / sizeof kFuzzTargets[0];
