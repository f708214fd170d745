// What the subcommands of velko share: reporting how they ended (wrong usage and a
// drawing the library refuses, both written to stderr, returning the exit status that
// commands.h documents) and the names the reports give the forms of a drawing file.
#ifndef VELKO_COMMAND_SUPPORT_H
#define VELKO_COMMAND_SUPPORT_H

#include "interface/tool_support.h"

#include <cstdint>

// Writes `usage` as it is to stderr; returns 2.
int WrongUsage(const char *usage);

// Writes "velko: FILE: MESSAGE (CODE)" to stderr, the message being the library's text for
// the error number `code`; returns 1.
int Refused(const char *file, int16_t code);
// Refused with the code of a failed open, and a second line that tells what the library met
// in the file, when it can tell more than the code does. Returns 1.
int RefusedToOpen(const char *file);

// "DWG", "ASCII DXF", "binary DXF", or "unknown": the name of a drawing's form, given as
// the tool support's DrawingForm or as the file kind of CDB_FILE_INFO.
const char *DrawingFormName(tool_support::DrawingForm form);
const char *FileKindName(int32_t file_kind);

#endif
