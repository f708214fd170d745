// velko render: a drawing as a picture. Model space (or paper space) drawn into an SVG
// page, and into a PNG through rsvg-convert when one is asked for.
#include "command_support.h"
#include "commands.h"
#include "json_writer.h"
#include "render/drawing_renderer.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const char kRenderUsage[] = "usage: velko render FILE OUT.svg [--paper] [--layer-filter BITS] "
                            "[--width PX] [--png OUT.png] [--json]\n";

int WrongUsage(const char *why) {
    std::fprintf(stderr, "velko render: %s\n%s", why, kRenderUsage);
    return 2;
}

// A whole decimal number within [low, high].
bool ParseNumber(const char *text, long low, long high, long *value) {
    if (!text || !*text)
        return false;
    errno = 0;
    char *end = nullptr;
    const long parsed = std::strtol(text, &end, 10);
    if (errno != 0 || *end != 0 || parsed < low || parsed > high)
        return false;
    *value = parsed;
    return true;
}

bool EndsWithPng(const std::string &path) {
    if (path.size() < 4)
        return false;
    std::string tail = path.substr(path.size() - 4);
    for (char &c : tail)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return tail == ".png";
}

// A word the shell takes as it stands.
std::string ShellQuoted(const std::string &text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

bool ConverterAvailable() {
    return std::system("command -v rsvg-convert >/dev/null 2>&1") == 0;
}

bool ConvertToPng(const std::string &svg, const std::string &png) {
    const std::string command =
        "rsvg-convert -o " + ShellQuoted(png) + " " + ShellQuoted(svg) + " 2>/dev/null";
    return std::system(command.c_str()) == 0;
}

struct RenderArguments {
    std::string file, out, svg, png;
    bool json = false;
    render::RenderOptions options;
};

// The arguments, or the exit status of wrong usage in `status`.
bool ParseArguments(int argc, char **argv, RenderArguments *args, int *status) {
    std::string positional[2];
    int positionals = 0;
    for (int i = 0; i < argc; ++i) {
        const char *arg = argv[i];
        long value = 0;
        if (std::strcmp(arg, "--paper") == 0) {
            args->options.paper = true;
        } else if (std::strcmp(arg, "--json") == 0) {
            args->json = true;
        } else if (std::strcmp(arg, "--layer-filter") == 0) {
            if (i + 1 >= argc || !ParseNumber(argv[i + 1], 0, 0x7FFF, &value)) {
                *status = WrongUsage("--layer-filter takes a number from 0 to 32767");
                return false;
            }
            args->options.layer_filter = static_cast<int16_t>(value);
            ++i;
        } else if (std::strcmp(arg, "--width") == 0) {
            if (i + 1 >= argc || !ParseNumber(argv[i + 1], 1, 32768, &value)) {
                *status = WrongUsage("--width takes a number of pixels from 1 to 32768");
                return false;
            }
            args->options.width_px = static_cast<int>(value);
            ++i;
        } else if (std::strcmp(arg, "--png") == 0) {
            if (i + 1 >= argc || !*argv[i + 1]) {
                *status = WrongUsage("--png takes the path of the picture");
                return false;
            }
            args->png = argv[++i];
        } else if (arg[0] == '-' && arg[1] != 0) {
            *status = WrongUsage((std::string("unknown option ") + arg).c_str());
            return false;
        } else if (positionals < 2) {
            positional[positionals++] = arg;
        } else {
            *status = WrongUsage("too many arguments");
            return false;
        }
    }
    if (positionals < 2 || positional[0].empty() || positional[1].empty()) {
        *status = WrongUsage("FILE and OUT are needed");
        return false;
    }
    args->file = positional[0];
    args->out = positional[1];
    args->svg = args->out;
    if (EndsWithPng(args->out)) {
        // The picture asked for by its name: the page goes next to it.
        if (args->png.empty())
            args->png = args->out;
        args->svg = args->out.substr(0, args->out.size() - 4) + ".svg";
    }
    return true;
}

void PrintSummary(const RenderArguments &args, const render::RenderSummary &summary) {
    Report report;
    report.AddText("file", args.file.c_str());
    report.AddText("space", args.options.paper ? "paper" : "model");
    report.AddInt("entities", summary.entities);
    report.AddInt("shape_texts", summary.shape_texts);
    report.AddInt("plain_texts", summary.plain_texts);
    report.AddInt("opaque", summary.opaque);
    const double min[2] = {summary.min.x, summary.min.y};
    const double max[2] = {summary.max.x, summary.max.y};
    report.AddPoint("window_min", min, 2);
    report.AddPoint("window_max", max, 2);
    report.AddText("window_from", summary.header_extents ? "header" : "drawn");
    report.AddText("svg", args.svg.c_str());
    if (!args.png.empty())
        report.AddText("png", args.png.c_str());
    if (args.json)
        std::printf("%s\n", report.Json().c_str());
    else
        report.PrintText(stdout);
}

} // namespace

int RunRender(int argc, char **argv) {
    RenderArguments args;
    int status = 0;
    if (!ParseArguments(argc, argv, &args, &status))
        return status;
    if (!args.png.empty() && !ConverterAvailable()) {
        std::fprintf(stderr, "velko render: PNG output needs rsvg-convert (Debian package "
                             "librsvg2-bin), which is not installed\n");
        return 1;
    }
    render::RenderSummary summary;
    std::string error;
    if (!render::RenderFile(args.file, args.svg, args.options, &summary, &error)) {
        std::fprintf(stderr, "velko: %s\n", error.c_str());
        // A drawing that opened but did not load: what the loader met, as info and dump say.
        const std::string why = tool_support::WhyRefused(args.file);
        if (!why.empty())
            std::fprintf(stderr, "velko: %s: %s\n", args.file.c_str(), why.c_str());
        return 1;
    }
    if (!args.png.empty() && !ConvertToPng(args.svg, args.png)) {
        std::fprintf(stderr, "velko render: rsvg-convert could not write %s\n", args.png.c_str());
        return 1;
    }
    PrintSummary(args, summary);
    return 0;
}
