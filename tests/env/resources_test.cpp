// The resource list, value conversion, the command line rules, defaults files and the
// environment, decoded in-process.
#include <gtest/gtest.h>

#include <cstdint>
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
using sat_test::TempDir;
using sat_test::write_file;

// The options of the satellite display, in its order.
const int kKeyed[] = {57, 3,  73, 48, 41, 39, 55, 94, 63,  106, 112, 113, 114, 6,  72, 111, 82,
                      76, 64, 80, 47, 40, 58, 78, 84, 110, 96,  98,  89,  88,  85, 86, 44,  69,
                      37, 35, 51, 27, 28, 13, 23, 17, 22,  15,  46,  102, 59,  2,  53, 0};
const int kPositional[] = {50, 0};

class ResTest : public ::testing::Test {
   protected:
    void SetUp() override {
        clear_zmt_environment();
        // No defaults file of the machine may take part.
        setenv("zmtdefault", "/nonexistent/defaults", 1);
        reset();
    }
    void TearDown() override {
        clear_zmt_environment();
        reset();
    }
    static void reset() {
        RES_reset();
        DEF_reset();
        MESS_reset();
        FLAG_resetplot(1);
    }
    static void clear_zmt_environment() {
        std::vector<std::string> names;
        for (char** e = environ; *e; ++e) {
            std::string entry = *e;
            if (entry.rfind("zmt", 0) == 0) names.push_back(entry.substr(0, entry.find('=')));
        }
        for (const std::string& n : names) unsetenv(n.c_str());
    }
    void init(std::vector<std::string> args, const char* program = "/usr/local/bin/sat") {
        args_ = std::move(args);
        args_.insert(args_.begin(), program);
        argv_.clear();
        for (std::string& a : args_) argv_.push_back(a.data());
        argv_.push_back(nullptr);
        RES_init(static_cast<int>(args_.size()), argv_.data(), kKeyed, kPositional);
    }
    static std::string get(const char* name) {
        const char* v = RES_get(name);
        return v ? v : "<absent>";
    }

    std::vector<std::string> args_;
    std::vector<char*> argv_;
};

TEST_F(ResTest, ListStoresCopiesAndAppends) {
    EXPECT_EQ(RES_get("x"), nullptr);
    EXPECT_EQ(RES_new(5, "x", "one", RES_INTEGER), 0);
    char buffer[] = "two";
    RES_new(7, "y", buffer, RES_FLOAT);
    buffer[0] = 'T';
    EXPECT_EQ(get("y"), "two");  // a copy
    RES_new(-9999, "y", nullptr, RES_STRING);
    EXPECT_EQ(get("y"), "");  // mentioned without a value
    RES_append(1, "y", "a", RES_LIST);
    EXPECT_EQ(get("y"), "a");
    RES_append(1, "y", "b", RES_LIST);
    RES_append(1, "y", nullptr, RES_LIST);
    EXPECT_EQ(get("y"), "a\nb");
    RES_put("z", "p,q,,r");
    int count = -1;
    char** array = nullptr;
    EXPECT_EQ(RES_getvals("z", &count, &array), 4);
    ASSERT_EQ(count, 4);
    EXPECT_STREQ(array[2], "");
    EXPECT_STREQ(array[3], "r");
    free_parsed_array(count, array);
    RES_append(1, "nl", "f1", RES_LIST);
    RES_append(1, "nl", "f,2", RES_LIST);
    EXPECT_EQ(RES_getvals("nl", &count, &array), 2);  // a list splits at newlines only
    EXPECT_STREQ(array[1], "f,2");
    free_parsed_array(count, array);
    EXPECT_EQ(RES_getvals("none", &count, &array), 0);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(RES_get("X"), nullptr);  // names are case-sensitive

    Capture cap;
    RES_list();
    EXPECT_EQ(cap.out(), "x: one\ny: a\nb\nz: p,q,,r\nnl: f1\nf,2\n");
}

TEST_F(ResTest, ConversionByType) {
    int i = 42;
    EXPECT_EQ(RES_conv_data(nullptr, &i, RES_BOOLEAN), 1);
    EXPECT_EQ(i, 1);
    RES_conv_data("OFF", &i, RES_BOOLEAN);
    EXPECT_EQ(i, 0);
    RES_conv_data("Yes", &i, RES_BOOLEAN);
    EXPECT_EQ(i, 1);
    i = 42;
    RES_conv_data("maybe", &i, RES_BOOLEAN);
    EXPECT_EQ(i, 42);
    EXPECT_EQ(RES_conv_data("on", nullptr, RES_BOOLEAN), 0);

    RES_conv_data("0x1F", &i, RES_INTEGER);
    EXPECT_EQ(i, 31);
    RES_conv_data("-12", &i, RES_INTEGER);
    EXPECT_EQ(i, -12);
    RES_conv_data("+7", &i, RES_INTEGER);
    EXPECT_EQ(i, 7);
    RES_conv_data("abc", &i, RES_INTEGER);
    EXPECT_EQ(i, 7);
    RES_conv_data("-5", &i, RES_LONG);  // only a digit may begin it
    EXPECT_EQ(i, 7);
    RES_conv_data("123456", &i, RES_LONG);
    EXPECT_EQ(i, 123456);
    RES_conv_data("x9", &i, RES_UINTEGER);  // unchecked
    EXPECT_EQ(i, 0);
    int16_t s = 3;
    RES_conv_data("70000", &s, RES_SHORT);
    EXPECT_EQ(s, static_cast<int16_t>(70000));
    float f = 0;
    RES_conv_data("2.5e-1", &f, RES_FLOAT);
    EXPECT_FLOAT_EQ(f, 0.25f);

    const char* text = "value";
    const char* p = nullptr;
    RES_conv_data(text, &p, RES_STRING);
    EXPECT_EQ(p, text);  // no copy
    char copy[16];
    RES_conv_data(text, copy, RES_STRCOPY);
    EXPECT_STREQ(copy, "value");
    char* path = nullptr;
    RES_conv_data("NONE", &path, RES_PATH);
    ASSERT_NE(path, nullptr);
    EXPECT_STREQ(path, "");
    std::free(path);
    RES_conv_data("/data", &path, RES_PATH);
    EXPECT_STREQ(path, "/data/");
    std::free(path);
    RES_conv_data("/data/", &path, RES_PATH);
    EXPECT_STREQ(path, "/data/");
    std::free(path);

    // An absent value or destination does nothing.
    i = 9;
    EXPECT_EQ(RES_conv_data(nullptr, &i, RES_INTEGER), 0);
    EXPECT_EQ(RES_conv_data("5", nullptr, RES_INTEGER), 0);
    EXPECT_EQ(RES_conv_data(nullptr, nullptr, RES_MESSAGE), 0);
    EXPECT_EQ(i, 9);
    EXPECT_EQ(RES_conv_data("x", nullptr, RES_CURRENT), 0);
    EXPECT_EQ(RES_conv_data("x", &i, RES_CURRENT), 1);
}

TEST_F(ResTest, ConversionSideEffects) {
    FLAG_reset(-9999);
    EXPECT_EQ(RES_conv_data(nullptr, nullptr, RES_HELP), 1);
    EXPECT_EQ(FLAG_help(), 1);
    EXPECT_EQ(RES_conv_data(nullptr, nullptr, RES_BATCH), 1);
    EXPECT_EQ(FLAG_batch(), 1);
    EXPECT_EQ(MESS_get(), 0xFFu);  // batch default with no explicit level

    RES_conv_data("REUSE", nullptr, RES_FILEPARAM);
    EXPECT_EQ(FLAG_get(15), 3);
    RES_conv_data("recalc", nullptr, RES_FILEPARAM);
    EXPECT_EQ(FLAG_get(15), 1);
    RES_conv_data("other", nullptr, RES_FILEPARAM);  // unknown words change nothing
    EXPECT_EQ(FLAG_get(15), 1);
    RES_conv_data("NONE", nullptr, RES_PLOTTYPE);
    EXPECT_EQ(FLAG_get(11), 99);
    RES_conv_data("pie", nullptr, RES_PLOTTYPE);
    EXPECT_EQ(FLAG_get(11), 99);

    const char* connection = nullptr;
    RES_conv_data("p,out.ps", &connection, RES_DEVICE);
    EXPECT_EQ(FLAG_get(2), 4);
    EXPECT_STREQ(connection, "out.ps");
    connection = nullptr;
    RES_conv_data("Q", &connection, RES_DEVICE);
    EXPECT_EQ(FLAG_get(2), 5);
    EXPECT_EQ(connection, nullptr);
    RES_conv_data(",", &connection, RES_DEVICE);
    EXPECT_EQ(FLAG_get(2), 1);
    EXPECT_EQ(RES_set_device("meta"), 3);
    EXPECT_EQ(RES_set_device("window"), 6);
    EXPECT_EQ(RES_set_device("hp"), 5);
    EXPECT_EQ(RES_set_device("display"), 1);

    // Draw components: an unsigned first word clears everything first.
    FLAG_resetplot(1);
    RES_conv_data("map,+data,-grid,bogus", nullptr, RES_DRAW);
    EXPECT_EQ(FLAG_getplot(8), 1);
    EXPECT_EQ(FLAG_getplot(7), 1);
    EXPECT_EQ(FLAG_getplot(9), 0);
    EXPECT_EQ(FLAG_getplot(0), 0);
    EXPECT_EQ(FLAG_getplot(12), 2);
    RES_conv_data("+text", nullptr, RES_DRAW);  // text is 0 and the border 11
    EXPECT_EQ(FLAG_getplot(0), 6);
    EXPECT_EQ(FLAG_getplot(11), 1);
    RES_conv_data("-text_ul,sum", nullptr, RES_DRAW);
    EXPECT_EQ(FLAG_getplot(1), 0);
    EXPECT_EQ(FLAG_getplot(10), 1);
    EXPECT_EQ(FLAG_getplot(0), 5);
    RES_conv_data("+none", nullptr, RES_DRAW);  // always off
    EXPECT_EQ(FLAG_getplot(12), 0);
    RES_conv_data("-all", nullptr, RES_DRAW);  // always on
    EXPECT_EQ(FLAG_getplot(12), 17);
}

TEST_F(ResTest, TimeOfInterestForms) {
    const int M = -9999;
    const struct {
        const char* text;
        int year, month, day, hour, minute;
    } cases[] = {
        {"#201611260420", 2016, 11, 26, 4, 20},
        {"#2016", 2016, M, M, M, M},
        {"#2016ab26", 2016, M, 26, M, M},
        {"#x0161126", M, 11, 26, M, M},
        {"112604", M, 11, 26, 4, M},
        {"-12345", M, -1, 23, 45, M},  // six characters: no test of the first
        {"2604", M, M, 26, 4, M},
        {"504", M, M, 5, 4, M},
        {"1d6:30", M, M, 1, 6, 30},
        {"-1d", M, M, -1, M, M},
        {":45", M, M, M, M, 45},
        {"-:30", M, M, M, M, -30},
        {"6", M, M, M, 6, M},
        {"-6", M, M, M, -6, M},
        {"6:15", M, M, M, 6, 15},
        {"-2:30", M, M, M, -2, 30},
        {"-0:30", M, M, M, M, -30},
        // The lowest minute has no opposite in an int: it turns into the highest.
        {"-:-2147483648", M, M, M, M, 2147483647},
        {"-0:-2147483648", M, M, M, M, 2147483647},
        {"abc", M, M, M, M, M},
    };
    for (const auto& c : cases) {
        Date d;
        ASSERT_EQ(RES_hour_date(c.text, &d), 1);
        EXPECT_EQ(d.year, c.year) << c.text;
        EXPECT_EQ(d.month, c.month) << c.text;
        EXPECT_EQ(d.day, c.day) << c.text;
        EXPECT_EQ(d.hour, c.hour) << c.text;
        EXPECT_EQ(d.minute, c.minute) << c.text;
        EXPECT_EQ(d.second, M) << c.text;
    }
}

TEST_F(ResTest, FlagsNeverEatTheNextWord) {
    init({"-ba", "file1", "-ic", "file2", "-h", "file3"});
    EXPECT_EQ(get("filename"), "file1\nfile2\nfile3");
    EXPECT_EQ(get("batch"), "");
    EXPECT_EQ(get("icon"), "");
    EXPECT_EQ(FLAG_batch(), 1);
    EXPECT_EQ(FLAG_help(), 1);

    reset();
    init({"-cu", "file", "-ba=yes"});
    EXPECT_EQ(get("current"), "file");
    EXPECT_EQ(get("filename"), "<absent>");
    EXPECT_EQ(get("batch"), "yes");
}

TEST_F(ResTest, SwitchOrPositional) {
    init({"-5", "-pr", "-5", "--", "--pd=us", "-", "--5", "plain", "-foo", "bar", "-flag",
          "-ti=a=b"});
    EXPECT_EQ(get("stat_prior"), "-5");
    EXPECT_EQ(get("plot_domain"), "us");
    EXPECT_EQ(get("filename"), "-5\n-\n--5\nplain");
    EXPECT_EQ(get("foo"), "bar");
    EXPECT_EQ(get("flag"), "");
    EXPECT_EQ(get("title"), "a=b");
    EXPECT_EQ(get("--"), "<absent>");
    int count = 0;
    char** files = nullptr;
    EXPECT_EQ(RES_getvals("filename", &count, &files), 4);
    free_parsed_array(count, files);
}

TEST_F(ResTest, LookupPasses) {
    // (a) switch, (b) resource name, (c) prefix of a resource name; any case.
    init({"-PD", "us", "-in", "5", "-inpu", "area", "-plot_t", "cf", "-GRID_DOMAIN", "x", "-mess",
          "warn"});
    EXPECT_EQ(get("plot_domain"), "us");
    EXPECT_EQ(get("con_interval"), "5");  // the switch wins over the prefix of `input`
    EXPECT_EQ(get("input"), "area");
    EXPECT_EQ(get("plot_type"), "cf");
    EXPECT_EQ(FLAG_get(11), 15);
    EXPECT_EQ(get("grid_domain"), "x");
    EXPECT_EQ(get("message"), "warn");
    EXPECT_EQ(MESS_get(), 0xFFu);

    reset();
    std::string longname(60, 'q');
    init({"-" + longname, "v", "-msg", "none"});
    EXPECT_EQ(get(longname.substr(0, 49).c_str()), "v");
    EXPECT_EQ(get("msg"), "none");
    EXPECT_EQ(MESS_get(), 0x000FFFFFu);  // an unknown spelling is not converted
}

TEST_F(ResTest, NameAndDefaultAreTakenEarly) {
    init({"-n", "radar", "-dfx", "/tmp/nothing", "-Name", "other", "-ti", "t"});
    EXPECT_EQ(get("name"), "radar");
    EXPECT_EQ(get("default"), "/tmp/nothing");
    EXPECT_EQ(get("Name"), "<absent>");
    EXPECT_EQ(get("ti"), "<absent>");
    EXPECT_EQ(get("title"), "t");
    EXPECT_EQ(get("filename"), "<absent>");  // the consumed values stay consumed

    reset();
    init({"-names", "x", "-default=/a:/b"});
    EXPECT_EQ(get("names"), "x");
    EXPECT_EQ(get("default"), "/a:/b");
}

TEST_F(ResTest, LaterSourcesWin) {
    TempDir dir;
    write_file(dir.file("defs"),
               "# site file\n"
               "*plot_domain: from_file\n"
               "sat.region: file_region\n"
               "*title \"two words\"\n"
               "*label two words\n"
               "*.myflag: 1\n"
               "other.yourflag: 1\n"
               "sat*domain: both\n");
    setenv("zmtdefault", dir.file("defs").c_str(), 1);
    setenv("zmtdomain", "from_env", 1);
    init({"-pd", "from_cl"});
    EXPECT_EQ(get("plot_domain"), "from_cl");
    EXPECT_EQ(get("grid_domain"), "both");
    EXPECT_EQ(get("region"), "file_region");
    EXPECT_EQ(get("title"), "two words");
    EXPECT_EQ(get("label"), "two");
    EXPECT_EQ(get("myflag"), "1");
    EXPECT_EQ(get("yourflag"), "<absent>");

    reset();
    init({});
    EXPECT_EQ(get("plot_domain"), "from_env");

    // The three environment names, most qualified first.
    reset();
    setenv("zmtplot_domain", "third", 1);
    unsetenv("zmtdomain");
    init({});
    EXPECT_EQ(get("plot_domain"), "third");
    reset();
    setenv("zmtdomain", "second", 1);
    init({});
    EXPECT_EQ(get("plot_domain"), "second");
    reset();
    setenv("zmtsat.plot_domain", "first", 1);
    init({});
    EXPECT_EQ(get("plot_domain"), "first");
    reset();
    setenv("zmtsat.loop.plot_domain", "loop", 1);
    init({"-name", "+loop"});
    EXPECT_EQ(get("plot_domain"), "loop");
    reset();
    setenv("zmtradar.plot_domain", "radar", 1);
    init({"-name", "radar"});
    EXPECT_EQ(get("plot_domain"), "radar");
}

TEST_F(ResTest, DefaultsListTagsAndConditionals) {
    TempDir dir;
    write_file(dir.file("x"),
               "IF sat\n*title: first\nELSE\n*title: second\nEND\n"
               "IF a\n*label: a\nELIF b\n*label: b\nELSE\n*label: c\nEND\n"
               "IF nosuch\nDEF c\nEND\n"
               "IF c\n*geometry: 10x10\nEND\n"
               "UNDEF nosuch\n"
               "IF c\n*background: wrong\nEND\n"
               "IF b\n*font_list: kept_b\nEND\n"
               "UNDEF SAT\n"
               "IF sat\n*color_table: wrong\nEND\n"
               "IF b extra\n*output: counted\nEND\n");
    setenv("zmtdefault", ("+sat:+a:+b:" + dir.file("x")).c_str(), 1);
    Capture cap;
    init({});
    EXPECT_EQ(get("title"), "first");
    EXPECT_EQ(get("label"), "a");              // only the first true branch counts
    EXPECT_EQ(get("geometry"), "10x10");       // DEF acts inside a false branch
    EXPECT_EQ(get("background"), "<absent>");  // UNDEF of an unknown tag drops the last one
    EXPECT_EQ(get("font_list"), "kept_b");
    EXPECT_EQ(get("color_table"), "<absent>");
    EXPECT_EQ(get("output"), "counted");  // an IF of three words opens nothing
    EXPECT_EQ(cap.err(), "DEF_get: end without an if\n");
}

TEST_F(ResTest, DefaultsDirectorySearch) {
    TempDir a, b;
    write_file(a.file(".zmtdef"), "*title: dot\n");
    write_file(a.file("Zmt.res"), "*title: res\n");
    write_file(b.file("Zmt.res"), "*label: res\n");
    write_file(b.file("zmt.cfg"), "*label: cfg\n");
    setenv("zmtdefault", (a.path() + ":" + b.path() + ":/nonexistent").c_str(), 1);
    init({});
    EXPECT_EQ(get("title"), "dot");
    EXPECT_EQ(get("label"), "cfg");
}

TEST_F(ResTest, PatternsAndQualifiedNames) {
    init({});
    EXPECT_EQ(DEF_cmp("plot_domain", "sat*domain"), 1);
    EXPECT_EQ(DEF_cmp("grid_domain", "sat*domain"), 1);
    EXPECT_EQ(DEF_cmp("plot_domain", "*.plot_domain"), 1);
    EXPECT_EQ(DEF_cmp("plot_domain", "*plot_domain"), 1);
    EXPECT_EQ(DEF_cmp("plot_domain", "radar.plot_domain"), 0);
    EXPECT_EQ(DEF_cmp("plot_domain", "*domain*"), 0);
    EXPECT_EQ(DEF_cmp("plot_domain", ""), 0);
    EXPECT_EQ(DEF_cmp("plot_domain", "s*t.plot_domain"), 1);
    // The chunk after a star is taken at its first place only.
    EXPECT_EQ(DEF_cmp("ab_ab", "*ab"), 0);
    EXPECT_EQ(DEF_cmp("ab_ab", "*_ab"), 1);
    EXPECT_EQ(DEF_valid("*.myflag"), 1);
    EXPECT_EQ(DEF_valid("other.myflag"), 0);
    char out[DEF_KEY_SIZE];
    EXPECT_STREQ(DEF_parse_name("sat*.x.myflag", out), "myflag");
    EXPECT_STREQ(DEF_parse_name("abc", out), "bc");
    EXPECT_STREQ(DEF_parse_name("", out), "");

    reset();
    init({"-name", "+loop"});
    EXPECT_EQ(DEF_cmp("plot_domain", "sat.loop.plot_domain"), 1);
    EXPECT_EQ(DEF_cmp("plot_domain", "sat.plot_domain"), 0);
    reset();
    init({"-na=radar"});
    EXPECT_EQ(DEF_cmp("plot_domain", "radar.plot_domain"), 1);
}

TEST_F(ResTest, QueueSourceWithNoWindow) {
    setenv("zmtdefault", "#3", 1);
    setenv("zmttitle", "kept", 1);
    Capture cap;
    init({});
    EXPECT_EQ(cap.err(), "ZMTloop window: 3 not running or no message queue exists\n");
    EXPECT_EQ(get("title"), "kept");
}

TEST_F(ResTest, UnknownIdsAndProgramName) {
    Capture cap;
    ResObj row;
    RES_enter(&row, 999);
    EXPECT_STREQ(row.name, "");
    RES_help_item(998);
    EXPECT_EQ(cap.out(), "999\n998\n");
    init({});
    char buffer[32];
    EXPECT_STREQ(RES_get_progname(buffer), "sat");
    EXPECT_STREQ(RES_get_prog(), "/usr/local/bin/sat");
    char* allocated = RES_get_progname(nullptr);
    EXPECT_STREQ(allocated, "sat");
    std::free(allocated);
}

}  // namespace
