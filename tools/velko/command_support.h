// What the subcommands of velko share in reporting how they ended: wrong usage and a
// drawing the library refuses. Both write to stderr and return the exit status that
// commands.h documents.
#ifndef VELKO_COMMAND_SUPPORT_H
#define VELKO_COMMAND_SUPPORT_H

#include <cstdint>

// Writes `usage` as it is to stderr; returns 2.
int WrongUsage(const char *usage);

// Writes "velko: FILE: MESSAGE (CODE)" to stderr, the message being the library's text for
// the error number `code`; returns 1.
int Refused(const char *file, int16_t code);

#endif
