// The resource list, value conversion, the command line rules, defaults files and the
// environment, decoded in-process.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "env/dates.h"
#include "env/defaults.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env_capture.h"
#include "test_support.h"

extern char** environ;

namespace {

using sat_test::Capture;
using sat_test::kKeyed;
using sat_test::kPositional;
using sat_test::TempDir;
using sat_test::write_file;

// Expected values as "name=value".
using Values = std::vector<std::string>;

class ResTest : public ::testing::Test {
   protected:
    void SetUp() override {
        TearDown();
        setenv("zmtdefault", "/nonexistent/defaults", 1);  // no defaults of the machine
    }
    void TearDown() override {
        std::vector<std::string> names;
        for (char** e = environ; *e; ++e)
            if (std::strncmp(*e, "zmt", 3) == 0) names.emplace_back(*e, std::strcspn(*e, "="));
        for (const std::string& n : names) unsetenv(n.c_str());
        reset();
    }
    static void reset() {
        RES_reset();
        DEF_reset();
        MESS_reset();
        FLAG_resetplot(1);
    }
    // A resource, or the flag or level a command line leaves behind.
    static std::string get(const std::string& name) {
        if (name == "FLAG_batch") return std::to_string(FLAG_batch());
        if (name == "FLAG_help") return std::to_string(FLAG_help());
        if (name == "MESS_get") return std::to_string(MESS_get());
        if (name == "FLAG_get(11)") return std::to_string(FLAG_get(11));
        const char* v = RES_get(name.c_str());
        return v ? v : "<absent>";
    }
    // Resets, decodes a command line and checks the values it leaves.
    void expect_after(const std::vector<std::string>& args, const Values& expected) {
        reset();
        args_ = args;
        args_.insert(args_.begin(), "/usr/local/bin/sat");
        argv_.clear();
        std::string label;
        for (std::string& a : args_) argv_.push_back(a.data()), label += a + " ";
        argv_.push_back(nullptr);
        RES_init(static_cast<int>(args_.size()), argv_.data(), kKeyed, kPositional);
        for (const std::string& e : expected) {
            size_t eq = e.find('=');
            ASSERT_NE(eq, std::string::npos) << e;
            EXPECT_EQ(get(e.substr(0, eq)), e.substr(eq + 1)) << e << " after " << label;
        }
    }

    std::vector<std::string> args_;
    std::vector<char*> argv_;
};

TEST_F(ResTest, ConversionByType) {
    // Each case converts into an int that held `before`.
    // clang-format off
    const struct { const char* text; int type, before, after; } cases[] = {
        {nullptr, RES_BOOLEAN, 42, 1},   {"OFF", RES_BOOLEAN, 1, 0},
        {"maybe", RES_BOOLEAN, 42, 42},  {"0x1F", RES_INTEGER, 0, 31},
        {"abc", RES_INTEGER, 7, 7},      {"-5", RES_LONG, 7, 7},  // only a digit may begin it
        {"x9", RES_UINTEGER, 7, 0}};                             // unchecked
    // clang-format on
    for (const auto& c : cases) {
        int i = c.before;
        RES_conv_data(c.text, &i, c.type);
        EXPECT_EQ(i, c.after) << (c.text ? c.text : "(null)") << " type " << c.type;
    }
    int i = 0;
    EXPECT_EQ(RES_conv_data("x", &i, RES_CURRENT), 1);
    float f = 0;
    RES_conv_data("2.5e-1", &f, RES_FLOAT);
    EXPECT_FLOAT_EQ(f, 0.25f);

    for (auto [in, out] : {std::pair{"NONE", ""}, {"/data", "/data/"}}) {
        char* path = nullptr;
        RES_conv_data(in, &path, RES_PATH);
        ASSERT_NE(path, nullptr) << in;
        EXPECT_STREQ(path, out) << in;
        std::free(path);
    }
}

TEST_F(ResTest, TimeOfInterestForms) {
    // "text=year month day hour minute", "-" for missing. The lowest minute has no
    // opposite in an int: it turns into the highest.
    // clang-format off
    const std::string cases[] = {
        "#201611260420=2016 11 26 4 20", "#x0161126=- 11 26 - -",
        "112604=- 11 26 4 -", "-12345=- -1 23 45 -", "504=- - 5 4 -", "1d6:30=- - 1 6 30",
        "-1d=- - -1 - -", ":45=- - - - 45", "-6=- - - -6 -",
        "-0:30=- - - - -30", "abc=- - - - -", "-0:-2147483648=- - - - 2147483647",
        "-0=- - - - 9999"};  // a bare -0 negates the missing minute too
    // clang-format on
    for (const std::string& c : cases) {
        std::string text = c.substr(0, c.find('=')), expected = c.substr(c.find('=') + 1);
        Date d;
        ASSERT_EQ(RES_hour_date(text.c_str(), &d), 1);
        std::string got;
        for (int v : {d.year, d.month, d.day, d.hour, d.minute})
            got += (got.empty() ? "" : " ") + (v == -9999 ? "-" : std::to_string(v));
        EXPECT_EQ(got, expected) << text;
        EXPECT_EQ(d.second, -9999) << text;
    }
}

TEST_F(ResTest, CommandLineRules) {
    const std::string longname(60, 'q');
    const struct {
        std::vector<std::string> args;
        Values expected;
    } cases[] = {
        // Flags never eat the next word.
        {{"-ba", "file1", "-ic", "file2", "-h", "file3"},
         {"filename=file1\nfile2\nfile3", "batch=", "icon=", "FLAG_batch=1", "FLAG_help=1"}},
        {{"-cu", "file", "-ba=yes"}, {"current=file", "filename=<absent>", "batch=yes"}},
        // A lone number or dash is positional; `--` vanishes; `--name=value` is a switch.
        {{"-5", "-pr", "-5", "--", "--pd=us", "-", "--5", "plain", "-foo", "bar", "-flag",
          "-ti=a=b"},
         {"stat_prior=-5", "plot_domain=us", "filename=-5\n-\n--5\nplain", "foo=bar",
          "flag=", "title=a=b", "--=<absent>"}},
        // Switch first, then resource name, then prefix of a name; any case.
        {{"-PD", "us", "-in", "5", "-inpu", "area", "-plot_t", "cf", "-GRID_DOMAIN", "x", "-mess",
          "warn"},
         {"plot_domain=us",
          "con_interval=5",  // the switch wins over the prefix of `input`
          "input=area", "plot_type=cf", "grid_domain=x", "message=warn", "FLAG_get(11)=15",
          "MESS_get=" + std::to_string(0xFFu)}},
        // An unknown spelling is not converted.
        {{"-" + longname, "v", "-msg", "none"},
         {longname.substr(0, 49) + "=v", "msg=none", "MESS_get=" + std::to_string(0xFFFFFu)}},
        // The program name and defaults list are taken in an early scan and stay consumed.
        {{"-n", "radar", "-dfx", "/tmp/nothing", "-Name", "other", "-ti", "t"},
         {"name=radar", "default=/tmp/nothing", "Name=<absent>", "ti=<absent>", "title=t",
          "filename=<absent>"}},
    };
    for (const auto& c : cases) expect_after(c.args, c.expected);
}

TEST_F(ResTest, LaterSourcesWin) {
    TempDir dir;
    write_file(
        dir.file("defs"),
        "# site file\n*plot_domain: from_file\nsat.region: file_region\n*title \"two words\"\n"
        "*label two words\n*.myflag: 1\nother.yourflag: 1\nsat*domain: both\n");
    setenv("zmtdefault", dir.file("defs").c_str(), 1);
    setenv("zmtdomain", "from_env", 1);
    expect_after({"-pd", "from_cl"},
                 {"plot_domain=from_cl", "grid_domain=both", "region=file_region",
                  "title=two words", "label=two", "myflag=1", "yourflag=<absent>"});
    expect_after({}, {"plot_domain=from_env"});
    // The three environment names, most qualified first; then the program's own.
    unsetenv("zmtdomain");
    // clang-format off
    const struct { const char *env, *value; std::vector<std::string> args; } cases[] = {
        {"zmtplot_domain", "third", {}}, {"zmtdomain", "second", {}},
        {"zmtsat.plot_domain", "first", {}},
        {"zmtsat.loop.plot_domain", "loop", {"-name", "+loop"}},
        {"zmtradar.plot_domain", "radar", {"-name", "radar"}}};
    // clang-format on
    for (const auto& c : cases) {
        setenv(c.env, c.value, 1);
        expect_after(c.args, {"plot_domain=" + std::string(c.value)});
    }
}

TEST_F(ResTest, DefaultsListTagsAndConditionals) {
    TempDir dir;
    write_file(dir.file("x"),
               "IF sat\n*title: first\nELSE\n*title: second\nEND\n"
               "IF a\n*label: a\nELIF b\n*label: b\nELSE\n*label: c\nEND\n"
               "IF nosuch\nDEF c\nEND\nIF c\n*geometry: 10x10\nEND\nUNDEF nosuch\n"
               "IF c\n*background: wrong\nEND\nIF b\n*font_list: kept_b\nEND\nUNDEF SAT\n"
               "IF sat\n*color_table: wrong\nEND\nIF b extra\n*output: counted\nEND\n");
    setenv("zmtdefault", ("+sat:+a:+b:" + dir.file("x")).c_str(), 1);
    Capture cap;
    // Only the first true branch counts; DEF acts inside a false branch; UNDEF of an
    // unknown tag drops the last one; an IF of three words opens nothing.
    expect_after({}, {"title=first", "label=a", "geometry=10x10", "background=<absent>",
                      "font_list=kept_b", "color_table=<absent>", "output=counted"});
    EXPECT_EQ(cap.err(), "DEF_get: end without an if\n");
}

TEST_F(ResTest, DefaultsDirectorySearch) {
    TempDir a, b;
    write_file(a.file(".zmtdef"), "*title: dot\n");
    write_file(a.file("Zmt.res"), "*title: res\n");
    write_file(b.file("Zmt.res"), "*label: res\n");
    write_file(b.file("zmt.cfg"), "*label: cfg\n");
    setenv("zmtdefault", (a.path() + ":" + b.path() + ":/nonexistent").c_str(), 1);
    expect_after({}, {"title=dot", "label=cfg"});
}

// Qualified names through the defaults file are in LaterSourcesWin; the quirks here.
TEST_F(ResTest, PatternsAndQualifiedNames) {
    expect_after({}, {});
    // The chunk after a star is taken at its first place only.
    EXPECT_EQ(DEF_cmp("plot_domain", "s*t.plot_domain"), 1);
    EXPECT_EQ(DEF_cmp("plot_domain", "*domain*"), 0);
    EXPECT_EQ(DEF_cmp("ab_ab", "*_ab"), 1);
    EXPECT_EQ(DEF_cmp("ab_ab", "*ab"), 0);
    char out[DEF_KEY_SIZE];
    EXPECT_STREQ(DEF_parse_name("sat*.x.myflag", out), "myflag");
    EXPECT_STREQ(DEF_parse_name("abc", out), "bc");
}

}  // namespace
