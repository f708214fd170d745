// Running a program from a test: a shell command, or the velko tool, with its standard
// output captured and its exit status.
#pragma once

#include <string>

namespace velko_test {

struct CommandOutcome {
    // The exit status; -1 when the command could not run or did not exit.
    int status = -1;
    std::string out;
};

// Runs `command` through the shell.
CommandOutcome RunCommand(const std::string &command);

// Runs velko with `arguments`; its standard error is dropped, or joined to the output when
// `with_stderr` is set.
CommandOutcome RunVelko(const std::string &arguments, bool with_stderr = false);

} // namespace velko_test
