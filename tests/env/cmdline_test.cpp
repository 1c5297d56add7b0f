// The command line as the user meets it: the real sat binary, its help screen and the
// message level that decides whether it shows, by the source that spoke last.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using sat_test::RunOptions;
using sat_test::RunResult;
using sat_test::TempDir;
using sat_test::write_file;

// A run of the binary with no defaults file of the machine taking part.
RunResult sat(const std::vector<std::string>& args, RunOptions options = {}) {
    if (!options.env.count("zmtdefault")) options.env["zmtdefault"] = "/nonexistent/defaults";
    return sat_test::run_sat(args, options);
}

// The help screen of a plain run; its head and exit code list are checked once.
const std::string& help_screen() {
    static const std::string screen = sat({"-h"}).out;
    return screen;
}

TEST(Binary, HelpScreenHeadAndExitCodes) {
    const std::string& screen = help_screen();
    EXPECT_EQ(screen.rfind("sat: This program plots satellite data\nsat syntax (version:", 0), 0u);
    // The exit code list ends the screen, 12 last.
    const std::string codes = "Exit codes...\n";
    const std::string last =
        " 10          no file, or no file could be read\n"
        " 12          an output could not be written\n";
    EXPECT_NE(screen.find(codes), std::string::npos) << screen;
    ASSERT_GT(screen.size(), last.size());
    EXPECT_EQ(screen.substr(screen.size() - last.size()), last);
}

// Whether the help screen shows, by message level and by the source of the level that
// spoke last: defaults list, environment, command line.
TEST(Binary, HelpScreenByLevelAndLatestSource) {
    TempDir dir;
    write_file(dir.file("quiet"), "sat.message: none\n");
    write_file(dir.file("loud"), "*message: print\n");
    const std::map<std::string, std::string> quiet{{"zmtdefault", dir.file("quiet")}},
        loud_env{{"zmtdefault", dir.file("loud")}, {"zmtsat.message", "none"}};
    const struct {
        std::vector<std::string> args;
        std::map<std::string, std::string> env;
        bool shown;
    } cases[] = {
        {{"-me", "none", "-h"}, {}, false},
        {{"--me=+debug", "-h"}, {}, true},
        {{"-me", "-print", "-h"}, {}, true},  // two switches: the level stays
        {{"-h"}, quiet, false},
        {{"-h"}, loud_env, false},
        {{"-h", "-me=print"}, loud_env, true},
    };
    ASSERT_NE(help_screen(), "");
    for (const auto& c : cases) {
        std::string label;
        for (const auto& a : c.args) label += a + " ";
        for (const auto& e : c.env) label += e.first + "=" + e.second + " ";
        RunOptions options;
        options.env = c.env;
        RunResult r = sat(c.args, options);
        EXPECT_EQ(r.code, 0) << label;
        EXPECT_EQ(r.err, "") << label;
        EXPECT_EQ(r.out, c.shown ? help_screen() : "") << label;
    }
}

TEST(Binary, PagingPausesEveryTwentyTwoLinesButNotInBatch) {
    RunOptions options;
    options.input = "\n\n\n\n";
    RunResult r = sat({"-me", "page,line:0", "-h"}, options);
    EXPECT_EQ(r.code, 0);
    std::string expected, line;
    std::istringstream in(help_screen());
    for (int count = 0; std::getline(in, line);) {
        expected += line + "\n";
        if (++count == 23) expected += "Press return to continue\n", count = 0;
    }
    EXPECT_EQ(r.out, expected);
    EXPECT_EQ(sat({"-me", "page,line:0", "-ba", "-h"}, options).out, help_screen());
}

}  // namespace
