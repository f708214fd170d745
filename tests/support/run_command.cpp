#include "support/run_command.h"

#include <array>
#include <cstdio>
#include <sys/wait.h>

namespace velko_test {

CommandOutcome RunCommand(const std::string &command) {
    CommandOutcome result;
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return result;
    std::array<char, 4096> buffer;
    size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        result.out.append(buffer.data(), n);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

CommandOutcome RunVelko(const std::string &arguments, bool with_stderr) {
    return RunCommand(std::string(VELKO_CLI) + " " + arguments +
                      (with_stderr ? " 2>&1" : " 2>/dev/null"));
}

} // namespace velko_test
