// velko shx compile: compiles the text form of shape definitions into a shape file (SHX).
#include "command_support.h"
#include "commands.h"
#include "shapec/shape_compiler.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

const size_t kMaxSourceSize = 64u << 20;

int Usage() {
    return WrongUsage("usage: velko shx compile IN.SHP OUT.SHX [--unifont | --bigfont RANGES] "
                      "[--keep-order]\n");
}

bool ReadText(const char *path, std::string *text) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    in.seekg(0, std::ios::end);
    std::streamoff size = in.tellg();
    if (size < 0 || static_cast<size_t>(size) > kMaxSourceSize)
        return false;
    in.seekg(0, std::ios::beg);
    text->assign(static_cast<size_t>(size), '\0');
    if (size > 0)
        in.read(&(*text)[0], size);
    return static_cast<bool>(in);
}

bool WriteBytes(const char *path, const std::vector<uint8_t> &bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out)
        return false;
    out.write(reinterpret_cast<const char *>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out.flush());
}

} // namespace

int RunShx(int argc, char **argv) {
    if (argc < 1 || std::strcmp(argv[0], "compile") != 0)
        return Usage();
    const char *in_path = nullptr;
    const char *out_path = nullptr;
    const char *ranges_text = nullptr;
    bool unifont = false, keep_order = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--unifont") == 0) {
            unifont = true;
        } else if (std::strcmp(argv[i], "--bigfont") == 0) {
            if (i + 1 >= argc || ranges_text)
                return Usage();
            ranges_text = argv[++i];
        } else if (std::strcmp(argv[i], "--keep-order") == 0) {
            keep_order = true;
        } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
            std::fprintf(stderr, "velko: unknown option '%s'\n", argv[i]);
            return Usage();
        } else if (!in_path) {
            in_path = argv[i];
        } else if (!out_path) {
            out_path = argv[i];
        } else {
            return Usage();
        }
    }
    if (!in_path || !out_path || (unifont && ranges_text))
        return Usage();

    velko_shapec::Options options;
    options.keep_order = keep_order;
    velko_shapec::Form form = velko_shapec::Form::kShapes11;
    std::string error;
    if (unifont)
        form = velko_shapec::Form::kUnifont;
    if (ranges_text) {
        form = velko_shapec::Form::kBigFont;
        if (!velko_shapec::ParseRanges(ranges_text, &options.ranges, &error)) {
            std::fprintf(stderr, "velko: %s\n", error.c_str());
            return Usage();
        }
    }

    std::string text;
    if (!ReadText(in_path, &text)) {
        std::fprintf(stderr, "velko: %s: cannot be read\n", in_path);
        return 1;
    }
    std::vector<velko_shapec::ShapeDef> defs;
    if (!velko_shapec::ParseShapes(text, &defs, &error)) {
        std::fprintf(stderr, "velko: %s: %s\n", in_path, error.c_str());
        return 1;
    }
    std::vector<uint8_t> bytes = velko_shapec::CompileShx(defs, form, options, &error);
    if (bytes.empty()) {
        std::fprintf(stderr, "velko: %s: %s\n", in_path, error.c_str());
        return 1;
    }
    if (!WriteBytes(out_path, bytes)) {
        std::fprintf(stderr, "velko: %s: cannot be written\n", out_path);
        return 1;
    }
    std::printf("%s: %zu shapes, %zu bytes\n", out_path, defs.size(), bytes.size());
    return 0;
}
