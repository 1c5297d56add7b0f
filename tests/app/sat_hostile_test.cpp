// The real program against hostile input: names out of files that try to run a
// command, inputs that never end, numbers at the ends of the int range and outputs
// that cannot be written. Every case runs in its own directory, where a script `mk`
// creates MARK: a command that ran leaves the mark.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "test_support.h"
#include "tests/tools/area_tool.cpp"

namespace {

using sat_test::RunOptions;
using sat_test::RunResult;
using sat_test::TempDir;

constexpr const char* kPayload = "|./mk";
const std::string radar = sat_test::testdata("area/radar_composite_ps_2000137_0859.area");

// A native image of 100 by 100 on a polar stereographic grid, `pixels` bytes of it.
std::string native(size_t pixels, const std::string& domain = "ps,60,-105,100,100,1,1") {
    return "ZMTIMG4\nlabel\ninfo\n" + domain + "\n" + std::string(pixels, '\x41');
}

struct Case {
    const char* what;
    std::vector<std::string> args;
    std::vector<std::pair<std::string, std::string>> files;  // planted in the directory
    std::map<std::string, std::string> env;
    int code;  // -1: any
};

std::set<std::string> listing(const std::string& dir) {
    std::set<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.insert(e.path().filename().string());
    return names;
}

struct Outcome {
    RunResult run;
    double seconds;
    bool marked;
    std::set<std::string> left;  // files in the directory that the case did not plant
};

Outcome run_case(const Case& c, const std::string& program = SAT_BIN,
                 std::vector<std::string> args = {}) {
    TempDir dir;
    sat_test::write_file(dir.file("mk"), "#!/bin/sh\ntouch MARK\ncat >/dev/null\n");
    chmod(dir.file("mk").c_str(), 0755);
    for (const auto& [name, bytes] : c.files) {
        std::filesystem::create_directories(std::filesystem::path(dir.file(name)).parent_path());
        sat_test::write_file(dir.file(name), bytes);
    }
    std::set<std::string> planted = listing(dir.path());
    RunOptions options;
    options.cwd = dir.path();
    options.env = c.env;
    options.timeout_seconds = 20;
    if (args.empty()) args = c.args;
    auto start = std::chrono::steady_clock::now();
    Outcome o;
    o.run = sat_test::run_program(program, args, options);
    o.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    o.marked = sat_test::file_exists(dir.file("MARK"));
    for (const std::string& name : listing(dir.path()))
        if (!planted.count(name) && name != "MARK") o.left.insert(name);
    return o;
}

void expect_safe(const Case& c, const Outcome& o) {
    SCOPED_TRACE(c.what);
    EXPECT_FALSE(o.marked) << "a command ran";
    EXPECT_LT(o.seconds, 5.0);
    if (c.code >= 0) {
        EXPECT_EQ(o.run.code, c.code) << o.run.err;
    }
    EXPECT_EQ(o.run.err.find("runtime error"), std::string::npos) << o.run.err;
    EXPECT_EQ(o.run.err.find("Sanitizer"), std::string::npos) << o.run.err;
}

const std::vector<std::string> kRun = {"-ba", "-pl", "none", "-inp", "img"};

std::vector<std::string> run_args(std::vector<std::string> more) {
    std::vector<std::string> args = kRun;
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

TEST(Hostile, NamesOutOfFilesNeverRunACommand) {
    const std::string good = native(10000);
    const std::string payload = kPayload;
    const Case cases[] = {
        {"domain line of an image",
         run_args({"a.img"}),
         {{"a.img", native(10000, "fi:" + payload)}},
         {},
         10},
        {"pixel file of an image",
         run_args({"a.img"}),
         {{"a.img", "ZMTIMG*\nlabel\ninfo\n10 10\n" + payload + "\n"}},
         {},
         10},
        {"plot domain in .zmtdef",
         run_args({"g.img"}),
         {{"g.img", good}, {".zmtdef", "*plot_domain: fi:" + payload + "\n"}},
         {},
         0},
        {"output in Zmt.res",
         run_args({"g.img"}),
         {{"g.img", good}, {"Zmt.res", "*out_file: img:@" + payload + "\n"}},
         {},
         12},
        {"name convention file of the output",
         run_args({"-of", "img:sat_img", "g.img"}),
         {{"g.img", good}, {"name_conv", "sat_img " + payload + " - 0\n"}},
         {},
         12},
        {"region file in the working directory",
         run_args({"-pd", "us", "g.img"}),
         {{"g.img", good}, {"zmt.reg", "us US 1 fi:" + payload + "\n"}},
         {},
         0},
        {"search path in the listing", run_args({"-sp", ".;./mk;", "list"}), {}, {}, 0},
    };
    for (const Case& c : cases) {
        Outcome o = run_case(c);
        expect_safe(c, o);
        EXPECT_TRUE(o.left.empty()) << c.what << ": " << *o.left.begin();
    }
    // What the user types may open a pipe, and a broken one is reported, not fatal.
    Case typed{"typed log pipe",
               run_args({"-me", "+fi:|cat >typed.log", "g.img"}),
               {{"g.img", good}},
               {},
               0};
    Outcome o = run_case(typed);
    EXPECT_EQ(o.run.code, 0) << o.run.err;
    EXPECT_EQ(o.left, std::set<std::string>{"typed.log"});
    Case broken{"typed output pipe that breaks",
                run_args({"-of", "img:@|cat_>_x", "g.img"}),
                {{"g.img", good}},
                {},
                12};
    o = run_case(broken);
    expect_safe(broken, o);
    EXPECT_NE(o.run.err.find("Broken pipe"), std::string::npos) << o.run.err;
}

TEST(Hostile, EndlessInputsAndWalksEndQuickly) {
    const std::string good = native(10000);
    std::vector<Case> cases = {
        {"FIFO as the image", run_args({"fifo"}), {}, {}, 10},
        {"directory as the image", run_args({"."}), {}, {}, 10},
        {"newest file over the whole int range",
         run_args({"-if", "@x%Y%m%d%h%n.img", "-cu", "la#2147483647"}),
         {},
         {},
         10},
        {"a million files a minute apart",
         run_args({"-if", "@x%Y%m%d%h%n.img", "-nh", "1000000,0:01", "x200001010000.img"}),
         {{"x200001010000.img", good}},
         {},
         0},
    };
    for (const char* option : {"-df", "-nc"})
        cases.push_back(
            {option, run_args({option, "/dev/zero", "g.img"}), {{"g.img", good}}, {}, 0});
    cases.push_back(
        {"domain file", run_args({"-pd", "fi:/dev/urandom", "g.img"}), {{"g.img", good}}, {}, 0});
    for (const Case& c : cases) {
        TempDir fifo_home;
        Outcome o;
        if (std::string(c.what).rfind("FIFO", 0) == 0) {
            // The FIFO is made in the case's directory by a shell around the run.
            std::string line = "mkfifo fifo && exec " + std::string(SAT_BIN);
            for (const std::string& a : c.args) line += " '" + a + "'";
            o = run_case(c, "/bin/sh", {"-c", line});
        } else {
            o = run_case(c);
        }
        expect_safe(c, o);
    }
    // An endless answer at the prompt is one failed try, and the tries end.
    Case prompt{"endless prompt answer", {}, {}, {}, 10};
    Outcome o = run_case(prompt, "/bin/sh",
                         {"-c", "exec " + std::string(SAT_BIN) + " -pl none < /dev/zero"});
    expect_safe(prompt, o);
}

TEST(Hostile, NumbersAtTheEndsOfTheIntRange) {
    std::string area = area_tool::load(radar);
    const bool big = area_tool::big_endian(area);
    // The longitude word of the polar stereographic navigation is negated.
    area_tool::put32(area, area_tool::get32(area, 4 * 34, big) + 20, 0x80000000u, big);
    const Case cases[] = {
        {"grid of the lowest int",
         run_args({"-pd", "ps,60,-105,-2147483648,10,0.1,0.1", "g.img"}),
         {{"g.img", native(10000)}},
         {},
         -1},
        {"pixel offset of the highest int",
         run_args({"-pp", "pixoff=2147483647", "g.img"}),
         {{"g.img", native(10000)}},
         {},
         0},
        {"navigation word of the lowest int",
         {"-ba", "-pl", "none", "-pd", "us", "n.area"},
         {{"n.area", area}},
         {},
         -1},
    };
    for (const Case& c : cases) expect_safe(c, run_case(c));
}

TEST(Hostile, ExitCodesTellTheTruth) {
    // Reads: none of two files, an invalid size, a missing pixel file.
    const Case reads[] = {
        {"two missing files", {"-ba", "-pl", "none", "/nonexist1", "/nonexist2"}, {}, {}, 10},
        {"invalid size", run_args({"a.img"}), {{"a.img", "ZMTIMG\nl\ni\n0 10\n"}}, {}, 10},
        {"pixel file missing",
         run_args({"a.img"}),
         {{"a.img", "ZMTIMG*\nl\ni\n2 2\nnone\n"}},
         {},
         10},
    };
    for (const Case& c : reads) {
        Outcome o = run_case(c);
        expect_safe(c, o);
        EXPECT_NE(o.run.err, "") << c.what << ": a failed read says why";
    }
    // A short image reads as far as it goes and writes back whole.
    Case short_image{
        "short image", run_args({"-of", "img:out.img", "a.img"}), {{"a.img", native(10)}}, {}, 0};
    Outcome o = run_case(short_image);
    expect_safe(short_image, o);
    EXPECT_EQ(o.left, std::set<std::string>{"out.img"});

    // Writes that fail leave nothing behind and end with 12.
    std::vector<Case> writes = {
        {"full device",
         run_args({"-pf", "over", "-of", "img:/dev/full", "g.img"}),
         {{"g.img", native(10000)}},
         {},
         12},
        {"a directory",
         run_args({"-pf", "over", "-of", "img:sub", "g.img"}),
         {{"g.img", native(10000)}, {"sub/keep", "x"}},
         {},
         12},
    };
    if (geteuid() != 0)  // root writes anywhere
        writes.push_back({"unwritable directory",
                          run_args({"-of", "img:/x.img", "g.img"}),
                          {{"g.img", native(10000)}},
                          {},
                          12});
    for (const Case& c : writes) {
        o = run_case(c);
        expect_safe(c, o);
        EXPECT_TRUE(o.left.empty()) << c.what << ": " << *o.left.begin();
    }
    // A file size limit: the write fails part way and its temporary is removed.
    Case limited{"file size limit",
                 run_args({"-of", "img:big.img", "g.img"}),
                 {{"g.img", native(10000)}},
                 {},
                 12};
    std::string line = "ulimit -f 4 && exec " + std::string(SAT_BIN);
    for (const std::string& a : limited.args) line += " '" + a + "'";
    o = run_case(limited, "/bin/sh", {"-c", line});
    expect_safe(limited, o);
    EXPECT_TRUE(o.left.empty()) << *o.left.begin();
}

}  // namespace
