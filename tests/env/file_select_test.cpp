// Name conventions and the selection of the data file, on real trees of dated files
// with a fixed "now".
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <tuple>
#include <vector>

#include "env/dates.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env_capture.h"
#include "test_support.h"

namespace {

using sat_test::make;

const int X = -9999;

// Seconds of a day and hour of January 2003, by the C library.
int utc(int day, int hour) {
    struct tm tm {};
    tm.tm_year = 103, tm.tm_mday = day, tm.tm_hour = hour;
    return static_cast<int>(timegm(&tm));
}

class Selection : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        MESS_reset();
        FLAG_reset(-9999);
        FILE_reset();
        RES_put("file_path", dir.path().c_str());
        RES_put("data_path", data.c_str());
        sat_test::write_file(dir.file("name_conv"),
                             "sat_ir   %D/%Y%m%d%h_ir.area  -  100\n"
                             "sat      %D/%Y%m%d%h_sat.%e   %D/hdr.%e\n"
                             "daily    %D/%Y%m%d.sfc\n");
        FILE_make_dir((data + "/x").c_str(), 1);
        setenv("zmtcurtime", "200301151230", 1);
        FILE_set_name("sat_ir");
    }
    void TearDown() override {
        unsetenv("zmtcurtime");
        FILE_reset();
        RES_reset();
    }
    std::string expand(const Date& d) {
        char out[FILE_NAME_SIZE];
        EXPECT_EQ(FILE_set_date(&d, out), 0);
        return out;
    }
    std::string expand_literal(const std::string& tmpl, const Date& d) {
        FILE_set_name(("@" + tmpl).c_str());
        return expand(d);
    }
    std::string name_of(int day, int hour) {
        char name[64];
        std::snprintf(name, sizeof name, "/200301%2.2d%2.2d_ir.area", day, hour);
        return data + name;
    }
    // An hourly file of the given size.
    std::string hourly(int day, int hour, size_t size = 200) {
        sat_test::write_file(name_of(day, hour), std::string(size, 'x'));
        return name_of(day, hour);
    }
    std::string current(const char* expression, int* seconds = nullptr) {
        char out[FILE_NAME_SIZE];
        int s = FILE_set_current(expression, out);
        if (seconds) *seconds = s;
        return out;
    }
    int file_seconds() {
        Date got;
        FILE_get_date(&got);
        return DATE_num_sec(&got);
    }
    std::vector<std::string> run(const Date& base) {
        FILE_first(&base);
        std::vector<std::string> names;
        char out[FILE_NAME_SIZE];
        while (names.size() < 100 && FILE_get_next(out)) names.push_back(out);
        return names;
    }
    std::vector<std::string> hours(std::initializer_list<int> list) {
        std::vector<std::string> v;
        for (int h : list) v.push_back(name_of(15, h));
        return v;
    }
    sat_test::TempDir dir;
    std::string data = dir.path() + "/data";
    const Date day = make(2003, 1, 15, 12, 0);
};

TEST_F(Selection, ConventionFileMatchesWholeAndPartialTags) {
    RES_put("data_path", "/data");
    EXPECT_EQ(FILE_set_name("SAT_IR"), 1);
    EXPECT_EQ(FILE_get_min_size(), 100);
    EXPECT_EQ(expand(day), "/data/2003011512_ir.area");
    EXPECT_EQ(FILE_get_late_off(), 3600);
    // A shorter line tag serves the longer tag, and the band becomes %e.
    EXPECT_EQ(FILE_set_name("sat_wv"), 1);
    EXPECT_EQ(FILE_get_min_size(), 0);
    EXPECT_EQ(expand(day), "/data/2003011512_sat.wv");
    char out[FILE_NAME_SIZE];
    // An unknown tag is a template of its own.
    EXPECT_EQ(FILE_set_name("x%Y.dat"), 0);
    EXPECT_EQ(expand(day), "x2003.dat");
    // "none" leaves no convention: the date gives no name.
    EXPECT_EQ(FILE_set_name("NONE"), 0);
    EXPECT_EQ(FILE_set_date(&day, out), 1);
    EXPECT_STREQ(out, "filename");
}

TEST_F(Selection, ConventionFileByResourceAndInstalledFallback) {
    sat_test::write_file(dir.file("other"), "sat_ir other%Y\n");
    RES_put("name_conv", "other");
    EXPECT_EQ(FILE_set_name("sat_ir"), 1);
    EXPECT_EQ(expand(day), "other2003");
    // Nothing on file_path: the installed conventions answer every tag the program asks for.
    RES_reset();
    RES_put("file_path", (dir.path() + "/nowhere").c_str());
    RES_put("sat_path", "/sat");
    for (const char* tag : {"sat_vis", "sat_ir", "sat_wv", "sat_img"}) {
        EXPECT_EQ(FILE_set_name(tag), 1) << tag;
        EXPECT_EQ(expand(day).rfind("/sat/", 0), 0u) << tag;
    }
    FILE_set_name("sat_ir");
    EXPECT_EQ(expand(make(1998, 9, 17, 7, 52)), "/sat/19980917_0745_ir.area");
    EXPECT_EQ(FILE_get_late_off(), 900);
    // No file anywhere: said so, and the tag is the template.
    RES_put("name_conv", "missing_conventions");
    sat_test::Capture capture;
    EXPECT_EQ(FILE_set_name("sat_%Y"), 0);
    EXPECT_EQ(expand(day), "sat_2003");
    EXPECT_NE(capture.err().find("FILE_set_name: No file name convention file: "),
              std::string::npos);
}

TEST_F(Selection, BrokenAndOverlongConventionLines) {
    sat_test::write_file(dir.file("name_conv"),
                         "# comment " + std::string(5000, '#') + "\n\n   \nlonely\n" +
                             "bin\x01\xff\x7f %Y \x02 notanumber\n"
                             "big %Y - 99999999999999999999\n"
                             "sat_ir\t%D/%Y_ir\t-\t7\r\n"  // tabs and a DOS line end
                             "last %Y");                   // no line end
    RES_put("data_path", "/d");
    EXPECT_EQ(FILE_set_name("sat_ir"), 1);
    EXPECT_EQ(expand(day), "/d/2003_ir");
    EXPECT_EQ(FILE_get_min_size(), 7);
    EXPECT_EQ(FILE_set_name("big"), 1);
    EXPECT_EQ(FILE_get_min_size(), 2147483647);
    EXPECT_EQ(FILE_set_name("last"), 1);
    EXPECT_EQ(expand(day), "2003");
}

TEST_F(Selection, TemplateItemsWidthsAndSteps) {
    RES_put("data_path", "/data");
    RES_put("region_name", "east coast");
    const Date d = make(2003, 1, 15, 14, 47);
    struct Case {
        const char* tmpl;
        Date date;
        const char* want;
        int late_off;  // 0: not checked
    } cases[] = {{"%Y|%y|%m|%b|%d|%j|%h|%n|%%|a b", d, "2003|03|01|jan|15|015|14|47|%|a_b", 0},
                 {"%{region_name}%{unknown}.%{data_path}", d, "east coast./data", 0},
                 // Widths round down and set the step.
                 {"%3h", d, "12", 10800},
                 {"%10Y", d, "2000", 0},
                 {"%d%h%n", d, "151447", 60},
                 {"%Y", make(-5, 1, 1, 0, 0), "0000", 0},
                 {"%b%h", make(2003, X, 15, X, 0), "xxx00", 0}};
    for (const Case& c : cases) {
        EXPECT_EQ(expand_literal(c.tmpl, c.date), c.want) << c.tmpl;
        EXPECT_EQ(c.late_off ? FILE_get_late_off() : 0, c.late_off) << c.tmpl;
    }
    // Missing fields give zeros, and file_date says they were not given.
    Date got;
    FILE_get_date(&got);
    EXPECT_TRUE(got.month == X && got.hour == X && got.day == X);  // day: not in the template
    FILE_set_name("daily");
    EXPECT_EQ(expand(make(2003, 1, 15, X, X)), "/data/20030115.sfc");
    EXPECT_EQ(FILE_get_late_off(), 86400);

    // Hostile templates are fuzzed (names_fuzz); a long one is cut.
    EXPECT_EQ(expand_literal(std::string(2000, 'x') + "%D%D%D%{data_path}", d),
              std::string(159, 'x'));
}

TEST_F(Selection, PinnedFieldsAndSteps) {
    struct Case {
        int year, day, hour, minute;  // the pins
        const char* tmpl;
        Date date;
        const char* want;
        int late_off;
    } cases[] = {
        {X, X, -1206, X, "%h", make(2003, 1, 15, 2, 0), "12", 21600},   // 6-hour cycle from 12
        {X, X, -1206, X, "%h", make(2003, 1, 15, 20, 0), "30", 21600},  // not folded
        {1999, -5, X, X, "%Y%d", make(2003, 1, 14, 0, 0), "199910", 432000},
        {X, X, 6, -15, "%h%n", make(2003, 1, 14, 9, 40), "0630", 0}};
    for (const Case& c : cases) {
        Date pins = make(c.year, X, c.day, c.hour, c.minute);
        FILE_set_time(&pins);
        EXPECT_EQ(expand_literal(c.tmpl, c.date), c.want) << c.tmpl << " " << c.hour;
        EXPECT_EQ(c.late_off ? FILE_get_late_off() : 0, c.late_off) << c.tmpl << " " << c.hour;
    }
    Date got;
    FILE_get_date(&got);  // the pinned fields are the file's date
    EXPECT_EQ(got.hour * 100 + got.minute, 630);
}

// Output opened for writing makes the directories it needs, "\\" read as "/".
TEST_F(Selection, OpenForWritingMakesDirectories) {
    std::string deep = dir.path() + "/a/b/c/file.txt";
    FILE* f = FILE_open(deep.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fputs("12345", f);
    std::fclose(f);
    EXPECT_EQ(FILE_size(deep.c_str()), 5);
    EXPECT_EQ(FILE_make_dir(deep.c_str(), 1), 1);  // parent there already
    FILE_make_dir((dir.path() + "\\w1\\w2\\f").c_str(), 1);
    EXPECT_TRUE(FILE_is_dir((dir.path() + "/w1/w2").c_str()));
    EXPECT_EQ(FILE_open("std", "w"), stdout);
}

TEST_F(Selection, ExplicitAndPartialNames) {
    std::string file = hourly(15, 12);
    RES_new(-9999, "filename", file.c_str(), RES_LIST);
    char out[FILE_NAME_SIZE];
    EXPECT_EQ(FILE_get_file("prompt: ", out), 1);
    EXPECT_EQ(out, file);
    EXPECT_EQ(file_seconds(), utc(15, 12));
    EXPECT_EQ(FILE_get_late_off(), 3600);
    // A date alone takes the template; a name that does not fit it stays, in data_path.
    const std::pair<std::string, std::string> names[] = {
        {"2003011512", file},
        {"local.area", data + "/local.area"},
        {"@verbatim%Y", "verbatim%Y"},
        {"NONE", "none"},
        {"cu", file},
        {"/elsewhere/2003011409_ir.area", "/elsewhere/2003011409_ir.area"}};
    for (const auto& [typed, want] : names) {
        EXPECT_EQ(FILE_set_file(typed.c_str(), out), 0);
        EXPECT_EQ(out, want) << typed;
    }
    EXPECT_EQ(file_seconds(), utc(14, 9));

    RES_reset();
    RES_put("data_path", data.c_str());
    RES_new(-9999, "filename", (data + "/absent").c_str(), RES_LIST);
    EXPECT_EQ(FILE_get_file("prompt: ", out), 0);
    // In batch, no name given: the newest file.
    RES_reset();
    RES_put("data_path", data.c_str());
    FLAG_set_batch(1);
    EXPECT_EQ(FILE_get_file("p", out), 1);
    EXPECT_EQ(out, file);
}

TEST_F(Selection, CurrentExpressions) {
    // The fixed now is 12:30 on 15 January 2003; files are hourly. Unknown text is now.
    const std::pair<const char*, int> cases[] = {{"xyz", 1512},    {"6", 1506},
                                                 {"1d2:30", 1410}, {"+1d1", 1613},
                                                 {"6-3", 1503},    {"#200301141200+2", 1414}};
    for (const auto& [text, day_hour] : cases) {
        int s = 0, day = day_hour / 100, hour = day_hour % 100;
        EXPECT_EQ(current(text, &s), name_of(day, hour)) << text;
        EXPECT_EQ(s, utc(day, hour)) << text;
    }
    setenv("zmtcurtime", "#200301100500", 1);
    EXPECT_EQ(current(""), name_of(10, 5));
}

TEST_F(Selection, NewestFileWalkingBack) {
    hourly(15, 12, 50);   // still being written: below min_size
    hourly(15, 11, 100);  // exactly min_size is not enough
    hourly(15, 10, 101);
    hourly(15, 9);
    hourly(15, 5);
    hourly(15, 14);
    int s = 0;
    EXPECT_EQ(current("la", &s), name_of(15, 10));
    EXPECT_EQ(s, utc(15, 10));
    EXPECT_EQ(current(nullptr), name_of(15, 10));
    // A limited search (#n) gives up on the last name it tried. Only a lower-case l
    // searches: "LA" is a name, the present hour's.
    const std::pair<const char*, int> cases[] = {{"LA", 12},  {"la-1:30", 9}, {"6la", 5},
                                                 {"+la", 14}, {"la#2", 11},   {"la#0", 12}};
    for (const auto& [text, hour] : cases) EXPECT_EQ(current(text), name_of(15, hour)) << text;
    // Nothing in 500 steps back: the name left is one that does not exist.
    EXPECT_FALSE(FILE_exist(current("3dla").c_str()));
    // A smaller size allowed by override takes the newest file.
    FILE_set_min_size(40);
    EXPECT_EQ(current("la"), name_of(15, 12));
}

TEST_F(Selection, RunsOverHours) {
    const Date base = make(2003, 1, 15, 6, 0);
    FILE_set_file("2003011506", nullptr);  // sets the step of the template
    // A frame step below the file step is not used; a span back goes in whole steps.
    RES_put("num_hour", "1,0:30");
    EXPECT_EQ(run(base), hours({6, 7}));
    RES_put("num_hour", "-1:30");
    EXPECT_EQ(run(base), hours({4, 5, 6}));
    // Several files: each in turn, whatever the span.
    RES_new(-9999, "filename",
            (name_of(15, 1) + "\n" + name_of(15, 3) + "\n" + name_of(15, 2)).c_str(), RES_LIST);
    EXPECT_EQ(run(base), hours({1, 3, 2}));
    EXPECT_EQ(FILE_get_num_file(), 2);
}

TEST_F(Selection, SpanAndStepTexts) {
    FILE_set_file("2003011506", nullptr);
    // Minutes at the lowest int turn positive without overflow.
    const std::tuple<const char*, int, int> cases[] = {
        {"6,:30", 21600, 0},
        {"99999999999,99999999999", 2147483647, 2147483647},
        {"-1:-2147483648", 2147483647, 3600},
        {"-0:-99999999999", 2147483647, 3600}};
    for (const auto& [text, span, skip] : cases) {
        RES_put("num_hour", text);
        EXPECT_EQ(FILE_num_hour(), span) << text;
        EXPECT_EQ(FILE_get_skip(), skip) << text;
    }
}

TEST_F(Selection, OverwriteAnswers) {
    std::string file = hourly(15, 1);
    EXPECT_EQ(FILE_overwrite((data + "/new").c_str(), 1), 1);
    const std::tuple<const char*, int, int> cases[] = {
        {"Over\n", 1, 1}, {"n\n", 1, 3}, {"app\n", 2, 2}, {"app\n", 1, 3}, {"y\n", 7, 0}};
    for (const auto& [answer, mode, result] : cases) {
        sat_test::Capture capture(answer);
        EXPECT_EQ(FILE_overwrite(file.c_str(), mode), result) << answer << mode;
    }
    FLAG_set(15, 2);
    EXPECT_EQ(FILE_overwrite(file.c_str(), 1), 2);
    FLAG_set(15, -9999);
    FLAG_set_batch(1);
    EXPECT_EQ(FILE_overwrite(file.c_str(), 1), 3);
}

// Hostile names and expressions are fuzzed (fuzz/names_fuzz.cpp); a date past the
// calendar is repaired, not written past the name.
TEST_F(Selection, DatesOutOfRangeAreRepaired) {
    char out[FILE_NAME_SIZE];
    FILE_set_name("@%Y%m%d%h%n%j%b");
    const Date far = make(10000, 1, 1, 0, 0),
               worst = make(2147483647, 2147483647, 2147483647, 2147483647, 2147483647);
    FILE_set_date(&worst, out);
    FILE_set_date_off(&worst, 2147483647, out);
    EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE));
    FILE_set_date(&far, out);
    EXPECT_EQ(std::string(out).substr(0, 9), "100000101");
}

sat_test::RunResult sat_run(const sat_test::TempDir& dir, const std::vector<std::string>& args,
                            const std::string& input = "") {
    sat_test::RunOptions o;
    o.cwd = dir.path();
    o.env["zmtcurtime"] = "200301151230";
    o.timeout_seconds = 120;
    o.input = input;
    return sat_test::run_sat(args, o);
}

TEST(Program, FourFailedTriesAtThePromptExitWithTen) {
    sat_test::TempDir dir;
    auto result = sat_run(dir, {"-sp", dir.path()}, "no1\nno2\nno3\nno4\nno5\n");
    EXPECT_EQ(result.code, 10) << result.err;
    EXPECT_NE(result.out.find("Enter the satellite filename: "), std::string::npos) << result.out;
    size_t count = 0;
    for (size_t at = result.err.find("File not found: "); at != std::string::npos;
         at = result.err.find("File not found: ", at + 1))
        count++;
    EXPECT_EQ(count, 4u) << result.err;
    EXPECT_EQ(result.err.find("no5"), std::string::npos);
    // The end of the input ends the tries at once.
    result = sat_run(dir, {"-sp", dir.path()}, "no1\n");
    EXPECT_EQ(result.code, 10) << result.err;
    EXPECT_EQ(result.out.find("Enter the satellite filename: Enter the satellite filename: "
                              "Enter the satellite filename: "),
              std::string::npos)
        << result.out;
    EXPECT_EQ(sat_run(dir, {"-sp", dir.path()}, "exit\n").code, 0);
    // An empty answer is a name like any other: the standard input, here the file.
    result = sat_run(
        dir, {"-pl", "none", "-ou", "date"},
        "\n" + sat_test::read_file(sat_test::testdata("area/goes8_wv_gvar_1998260_0745.area")));
    EXPECT_EQ(result.code, 10) << result.err;
    EXPECT_NE(result.out.find("0745Z 17 SEP 98"), std::string::npos) << result.out;
}

}  // namespace
