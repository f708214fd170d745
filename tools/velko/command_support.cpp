#include "command_support.h"

#include "velkow32.h"

#include <cstdio>

int WrongUsage(const char *usage) {
    std::fputs(usage, stderr);
    return 2;
}

int Refused(const char *file, int16_t code) {
    char message[64] = {};
    CDBGetErrorMessage(code, message, sizeof message - 1);
    std::fprintf(stderr, "velko: %s: %s (%d)\n", file, message, code);
    return 1;
}
