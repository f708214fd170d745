// Placeholder benchmark program; to be replaced.
#include <cstdio>

int main(int argc, char **argv) {
    (void)argc;
    (void)argv;
    std::printf("usage: velko_bench [DRAWING...]\n"
                "Times reading and writing of drawings (not implemented yet).\n");
    return 0;
}
