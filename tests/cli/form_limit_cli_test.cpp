// velko convert of a drawing that the target form cannot hold: the library's message for
// the refusal and the limit in words, exit status 1, and no file written.
#include "interface/test_files.h"
#include "support/run_command.h"
#include "support/save_scene.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace velko_test {
namespace {

TEST(FormLimitCli, ConvertNamesTheLimitThatRefusedTheSave) {
    TempFile in("form_limit_cli.dxf", SplineR13Dxf(1400));
    TempFile out("form_limit_cli.dwg");
    const CommandOutcome r = RunCommand(std::string(VELKO_CLI) + " convert " + in.path() + " " +
                                        out.path() + " 2>&1 >/dev/null");
    EXPECT_EQ(r.status, 1) << r.out;
    EXPECT_NE(r.out.find("Drawing exceeds a limit of the file form. (-440)"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("the limit: release 13 DWG: an object of at most 32,767 bytes"),
              std::string::npos)
        << r.out;
    EXPECT_FALSE(std::ifstream(out.path()).good());
}

} // namespace
} // namespace velko_test
