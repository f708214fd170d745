// velko sdx: builds a control-shape index (SDX) that holds several shape files and big
// fonts, for the shape table to fall back on when a drawing's font is nowhere on disk. The
// index is laid out by the library; the tool names each font after its file.
#include "command_support.h"
#include "commands.h"
#include "interface/tool_support.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using tool_support::IndexedFont;
using tool_support::ShapeIndexOutcome;
using tool_support::ShapeIndexStatus;

int Usage() {
    return WrongUsage("usage: velko sdx OUT.SDX FILE.SHX...\n");
}

// The index name of a file: its base name without the extension, upper-cased.
std::string FontName(const std::string &path) {
    size_t slash = path.find_last_of("/\\");
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    size_t dot = base.rfind('.');
    if (dot != std::string::npos)
        base.erase(dot);
    for (char &c : base)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return base;
}

// The message and exit status of an index that was not written.
int Refused(const ShapeIndexOutcome &outcome, const std::vector<IndexedFont> &fonts,
            const char *out_path) {
    const char *path = fonts.empty() ? "" : fonts[outcome.font].path.c_str();
    switch (outcome.status) {
    case ShapeIndexStatus::kWritten:
        return 0;
    case ShapeIndexStatus::kTooManyFonts:
        return Usage();
    case ShapeIndexStatus::kBadName:
        std::fprintf(stderr, "velko: %s: the font name must have 1 to %zu characters\n", path,
                     tool_support::kLongestIndexedFontName);
        return 2;
    case ShapeIndexStatus::kDuplicateName:
        std::fprintf(stderr, "velko: %s: a second font named %s\n", path,
                     fonts[outcome.font].name.c_str());
        return 2;
    case ShapeIndexStatus::kUnreadableFont:
        std::fprintf(stderr, "velko: %s: cannot be read as a shape file or big font\n", path);
        return 1;
    case ShapeIndexStatus::kFontTooLarge:
        std::fprintf(stderr, "velko: %s: does not fit in an index\n", path);
        return 1;
    case ShapeIndexStatus::kNotWritten:
        std::fprintf(stderr, "velko: %s: cannot be written\n", out_path);
        return 1;
    }
    return 1;
}

} // namespace

int RunSdx(int argc, char **argv) {
    if (argc < 2)
        return Usage();
    for (int i = 0; i < argc; ++i)
        if (argv[i][0] == '-' && argv[i][1] != '\0') {
            std::fprintf(stderr, "velko: unknown option '%s'\n", argv[i]);
            return Usage();
        }
    const char *out_path = argv[0];
    std::vector<IndexedFont> fonts;
    for (int i = 1; i < argc; ++i)
        fonts.push_back({FontName(argv[i]), argv[i]});

    const ShapeIndexOutcome outcome = tool_support::WriteShapeIndex(out_path, fonts);
    if (outcome.status != ShapeIndexStatus::kWritten)
        return Refused(outcome, fonts, out_path);
    const size_t count = fonts.size();
    std::printf("%s: %zu font%s, %zu bytes\n", out_path, count, count == 1 ? "" : "s",
                outcome.bytes);
    return 0;
}
