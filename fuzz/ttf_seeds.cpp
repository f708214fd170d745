// Writes the small TrueType fonts that the truetype fuzz target starts from into a folder:
// the hand-made font of the tests (simple and composite glyphs of every transform kind) with
// short and long glyph locations and with format 4, format 0 or both character maps.
//
//     velko_fuzz_ttf_seeds FOLDER
#include "fonts/ttf_bytes.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

bool Write(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::FILE *out = std::fopen(path.c_str(), "wb");
    if (!out)
        return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    return std::fclose(out) == 0 && written;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: velko_fuzz_ttf_seeds FOLDER\n");
        return 2;
    }
    using velko_test::ttf::Build;
    const std::string folder = argv[1];
    velko_test::ttf::Font font = velko_test::ttf::HandMadeFont();
    bool ok = Write(folder + "/short-loca-format4.ttf", Build(font));
    font.long_loca = true;
    font.format0 = true;
    font.format4_first = false;
    font.number_of_h_metrics = 3;
    ok = Write(folder + "/long-loca-format0-format4.ttf", Build(font)) && ok;
    font.format4 = false;
    ok = Write(folder + "/long-loca-format0.ttf", Build(font)) && ok;
    return ok ? 0 : 1;
}
