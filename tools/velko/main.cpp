// velko: the command-line face of velkow32.
#include "commands.h"

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
     "velko info FILE [--json]\n    file kind, release, table counts and main header "
     "variables",
     RunInfo},
};

void Usage(std::FILE *out) {
    std::fprintf(out, "usage: velko SUBCOMMAND [ARGS]\n\nsubcommands:\n");
    for (const Command &c : kCommands)
        std::fprintf(out, "  %s\n", c.summary);
    std::fprintf(out, "\n'velko SUBCOMMAND --help' describes one subcommand.\n"
                      "Exit status: 0 success, 1 a drawing the library refuses, 2 wrong usage.\n");
}

} // namespace

int main(int argc, char **argv) {
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
