// The real program against hostile input: names out of files that try to run a
// command, inputs that never end, numbers at the ends of the int range and outputs
// that cannot be written. Each case runs in its own directory, where the script
// `mk` creates MARK: a command that ran leaves the mark. Hostile bytes of each
// reader are the fuzz targets' business; here is one run per exit and message.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

// A native image of 100 by 100 on a polar stereographic grid, `pixels` bytes of it.
std::string native(size_t pixels, const std::string& domain = "ps,60,-105,100,100,1,1") {
    return "ZMTIMG4\nlabel\ninfo\n" + domain + "\n" + std::string(pixels, '\x41');
}

struct Case {
    const char* what;
    std::vector<std::string> args;                           // after "-ba -pl none -inp img"
    std::vector<std::pair<std::string, std::string>> files;  // planted; "fifo" a FIFO
    int code;                                                // -1: any
    const char* shell = nullptr;  // a shell command run before sat, with its arguments
    const char* says = "";        // in stderr; a failure says something in any case
};

std::set<std::string> listing(const std::string& dir) {
    std::set<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.insert(e.path().filename().string());
    return names;
}

// Runs the case and checks that no command ran, it ended within 5 s with its code,
// its message and no sanitizer report; returns the files it left behind.
std::set<std::string> run_case(const Case& c) {
    SCOPED_TRACE(c.what);
    sat_test::TempDir dir;
    sat_test::write_file(dir.file("mk"), "#!/bin/sh\ntouch MARK\ncat >/dev/null\n");
    chmod(dir.file("mk").c_str(), 0755);
    for (const auto& [name, bytes] : c.files) {
        std::filesystem::create_directories(std::filesystem::path(dir.file(name)).parent_path());
        if (name == "fifo")
            mkfifo(dir.file(name).c_str(), 0600);
        else
            sat_test::write_file(dir.file(name), bytes);
    }
    const std::set<std::string> planted = listing(dir.path());
    std::string line = std::string(c.shell ? c.shell : "") + " exec " + SAT_BIN;
    for (const std::string& a : c.args) line += " '" + a + "'";
    sat_test::RunOptions options;
    options.cwd = dir.path();
    options.timeout_seconds = 20;
    const auto start = std::chrono::steady_clock::now();
    const auto r = sat_test::run_program("/bin/sh", {"-c", line}, options);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 5.0);
    EXPECT_FALSE(sat_test::file_exists(dir.file("MARK"))) << "a command ran";
    if (c.code >= 0) {
        EXPECT_EQ(r.code, c.code) << r.err;
    }
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
    EXPECT_TRUE(r.code == 0 || !r.err.empty()) << "a failure says why";
    EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << r.err;
    std::set<std::string> left;
    for (const std::string& name : listing(dir.path()))
        if (!planted.count(name) && name != "MARK") left.insert(name);
    return left;
}

std::vector<std::string> run_args(std::vector<std::string> more) {
    std::vector<std::string> args = {"-ba", "-pl", "none", "-inp", "img"};
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

const std::string good = native(10000);

TEST(Hostile, NoCommandRunsNothingHangsAndNoFailureIsSilentOrLeavesAFile) {
    const Case cases[] = {
        // Names out of files.
        {"domain line of an image",
         run_args({"a.img"}),
         {{"a.img", native(10000, "fi:|./mk")}},
         10},
        {"plot domain in .zmtdef",
         run_args({"g.img"}),
         {{"g.img", good}, {".zmtdef", "*plot_domain: fi:|./mk\n"}},
         0},
        {"output in Zmt.res",
         run_args({"g.img"}),
         {{"g.img", good}, {"Zmt.res", "*out_file: img:@|./mk\n"}},
         12},
        {"search path in the listing", run_args({"-sp", ".;./mk;", "list"}), {}, 0},
        // A typed output pipe that breaks is reported, not fatal.
        // The image is larger than a pipe holds, so the write waits for the reader
        // that never reads and breaks when it ends.
        {"broken pipe",
         run_args({"-of", "img:@|true", "g.img"}),
         {{"g.img", native(250000, "ps,60,-105,500,500,1,1")}},
         12,
         nullptr,
         "Broken pipe"},
        // Inputs and walks without end, numbers at the ends of the int range.
        {"FIFO as the image", run_args({"fifo"}), {{"fifo", ""}}, 10},
        {"newest file over the whole int range",
         run_args({"-if", "@x%Y%m%d%h%n.img", "-cu", "la#2147483647"}),
         {},
         10},
        {"defaults file", run_args({"-df", "/dev/zero", "g.img"}), {{"g.img", good}}, 0},
        // An endless answer at the prompt is one failed try, and the tries end.
        {"endless prompt answer", {"-pl", "none"}, {}, 10, "</dev/zero"},
        {"grid of the lowest int",
         run_args({"-pd", "ps,60,-105,-2147483648,10,0.1,0.1", "g.img"}),
         {{"g.img", good}},
         -1},
        {"pixel offset of the highest int",
         run_args({"-pp", "pixoff=2147483647", "g.img"}),
         {{"g.img", good}},
         0},
        // Failed reads and writes; a write that fails part way removes its temporary.
        {"two missing files", {"-ba", "-pl", "none", "/nonexist1", "/nonexist2"}, {}, 10},
        {"pixel file missing", run_args({"a.img"}), {{"a.img", "ZMTIMG*\nl\ni\n2 2\nnone\n"}}, 10},
        {"full device",
         run_args({"-pf", "over", "-of", "img:/dev/full", "g.img"}),
         {{"g.img", good}},
         12},
        {"file size limit",
         run_args({"-of", "img:big.img", "g.img"}),
         {{"g.img", good}},
         12,
         "ulimit -f 4 &&"},
    };
    for (const Case& c : cases) EXPECT_EQ(run_case(c), std::set<std::string>{}) << c.what;
}

}  // namespace
