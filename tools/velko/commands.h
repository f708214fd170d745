// The subcommands of velko. Each takes the arguments behind its name and returns the
// exit status: 0 success, 1 a drawing the library refuses, 2 wrong usage.
#ifndef VELKO_COMMANDS_H
#define VELKO_COMMANDS_H

int RunInfo(int argc, char **argv);
int RunDump(int argc, char **argv);
int RunConvert(int argc, char **argv);
int RunNew(int argc, char **argv);
int RunShapes(int argc, char **argv);
int RunShx(int argc, char **argv);
int RunSdx(int argc, char **argv);
int RunGlyph(int argc, char **argv);
int RunRender(int argc, char **argv);
int RunBatch(int argc, char **argv);

#endif
