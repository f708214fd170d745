// velko: the command-line face of velkow32.
#include "commands.h"
#include "velkow32.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

struct Command {
    const char *name;
    const char *summary;
    int (*run)(int argc, char **argv);
};

const Command kCommands[] = {
    {"info",
     "velko info FILE [--json]\n    file kind, release, table counts, main header "
     "variables and the external\n    references: each reference block, its stored path and "
     "whether its file is found",
     RunInfo},
    {"dump",
     "velko dump FILE [--json] [--blocks] [--navigate] [--xref]\n    every entity with all "
     "fields of its record and its extended data; --blocks adds\n    each block's record and "
     "entities, --navigate gives the display walk instead;\n    --xref first resolves every "
     "external reference, so that the referenced\n    drawing's entities are its block's "
     "content; --json prints one object per line",
     RunDump},
    {"convert",
     "velko convert IN OUT [--binary] [--release 12|13] [--quiet] [--json]\n    reads a "
     "drawing of release 12 or 13 and writes it in the same release, as DWG\n    when OUT ends "
     "in .dwg (any case), otherwise as DXF, ASCII or with --binary\n    binary (a release 13 "
     "binary DXF has no sentinel: other readers may\n    not take it; a drawing holding a "
     "3DSOLID, BODY, REGION or OLE frame is\n    not written as DXF, and the tool names the "
     "entity); --release refuses an input\n    of another release, since a "
     "drawing is saved in the release it was read in;\n    a job longer than a second shows a "
     "progress bar on stderr when stderr is a\n    terminal, never with --quiet, which also "
     "drops the summary",
     RunConvert},
    {"new",
     "velko new TEMPLATE OUT [--json]\n    makes a new drawing OUT from a template drawing of "
     "release 12 or 13, in\n    the template's release: DWG when OUT ends in .dwg (any case), "
     "otherwise\n    ASCII DXF",
     RunNew},
    {"shapes",
     "velko shapes FILE.SHX [--json]\n    number, name, data length and width of each shape "
     "of a shape file",
     RunShapes},
    {"shx",
     "velko shx compile IN.SHP OUT.SHX [--unifont | --bigfont RANGES] [--keep-order]\n    "
     "compiles shape definitions into a shape file; RANGES like 081-09F,0E0-0FC",
     RunShx},
    {"sdx",
     "velko sdx OUT.SDX FILE.SHX...\n    builds a control-shape index of shape files and big "
     "fonts, named by their upper-cased base names",
     RunSdx},
    {"glyph",
     "velko glyph FONT.TTF CHAR [--json]\n    glyph records, contours and points of one "
     "character of a TrueType font, and its advance; CHAR a character, a number or U+XXXX",
     RunGlyph},
    {"render",
     "velko render FILE OUT.svg [--paper] [--layer-filter BITS] [--width PX] [--png OUT.png]\n"
     "    [--json]\n    draws model space (paper space with --paper) as an SVG page showing "
     "the\n    header's extents; off and frozen layers are hidden, BITS adds layer filter "
     "bits;\n    --png (or OUT ending in .png, the SVG then written next to it) also makes a "
     "PNG\n    through rsvg-convert",
     RunRender},
    {"batch",
     "velko batch convert|info SRC_DIR DST_DIR [--jobs N] [--timeout SECONDS] [--json]\n"
     "    walks the folder SRC_DIR for drawings (.dwg, .dxf, any case); convert writes\n"
     "    each into DST_DIR under the same relative path, in the release and form\n"
     "    velko convert writes for its name; info only opens and counts each. N worker\n"
     "    processes (default 1); a file whose worker dies or runs past SECONDS\n"
     "    (default 300) is charged to that file and the walk goes on. One line per\n"
     "    file (file, result ok/refused/crashed/timeout, code and message, entity\n"
     "    and block counts, seconds; JSON with --json) and a summary line; exit\n"
     "    status 1 when any file failed",
     RunBatch},
};

void Usage(std::FILE *out) {
    std::fprintf(out, "usage: velko SUBCOMMAND [ARGS] [--strict]\n\nsubcommands:\n");
    for (const Command &c : kCommands)
        std::fprintf(out, "  %s\n", c.summary);
    std::fprintf(out, "\nDrawings are read tolerantly and written in the forms other programs "
                      "expect;\n--strict, with any subcommand, reads and writes exactly as the "
                      "original\nlibrary did.\n"
                      "'velko SUBCOMMAND --help' describes one subcommand.\n"
                      "Exit status: 0 success, 1 a drawing the library refuses, 2 wrong usage.\n");
}

// Takes "--strict" out of the arguments; without it the library reads tolerantly and writes
// interoperable files.
int ChooseReadingAndWriting(int argc, char **argv) {
    bool strict = false;
    int kept = 0;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--strict") == 0)
            strict = true;
        else
            argv[kept++] = argv[i];
    }
    CDBSetReadOptions(strict ? 0 : CDB_READ_TOLERANT);
    CDBSetWriteOptions(strict ? 0 : CDB_WRITE_INTEROPERABLE);
    return kept;
}

} // namespace

int main(int argc, char **argv) {
    argc = 1 + ChooseReadingAndWriting(argc - 1, argv + 1);
    if (argc < 2) {
        Usage(stderr);
        return 2;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        Usage(stdout);
        return 0;
    }
    for (const Command &c : kCommands) {
        if (std::strcmp(argv[1], c.name) != 0)
            continue;
        for (int i = 2; i < argc; ++i) {
            if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
                std::printf("usage: %s\n", c.summary);
                return 0;
            }
        }
        return c.run(argc - 2, argv + 2);
    }
    std::fprintf(stderr, "velko: unknown subcommand '%s'\n", argv[1]);
    Usage(stderr);
    return 2;
}
