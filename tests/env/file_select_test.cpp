// Selection of the data file, tested on real trees of dated files with a fixed "now".
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

int utc(int year, int month, int day, int hour, int minute) {
    struct tm tm {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
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
        sat_test::write_file(dir.file("name_conv"), "sat_ir  %D/%Y%m%d%h_ir.area  -  100\n");
        FILE_make_dir((data + "/x").c_str(), 1);
        setenv("zmtcurtime", "200301151230", 1);
        FILE_set_name("sat_ir");
    }
    void TearDown() override {
        unsetenv("zmtcurtime");
        FILE_reset();
        RES_reset();
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
    std::string set_file(const std::string& name) {
        char out[FILE_NAME_SIZE];
        EXPECT_EQ(FILE_set_file(name.c_str(), out), 0);
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
};

TEST_F(Selection, ExplicitAndPartialNames) {
    std::string file = hourly(15, 12);
    RES_new(-9999, "filename", file.c_str(), RES_LIST);
    char out[FILE_NAME_SIZE];
    EXPECT_EQ(FILE_get_file("prompt: ", out), 1);
    EXPECT_EQ(out, file);
    EXPECT_EQ(file_seconds(), utc(2003, 1, 15, 12, 0));
    EXPECT_EQ(FILE_get_late_off(), 3600);
    // Only the date typed: the directory and the rest come from the template. A name
    // that does not fit the template stays as typed, in the data directory.
    const std::pair<std::string, std::string> names[] = {
        {"2003011512", file},
        {"local.area", data + "/local.area"},
        {"@verbatim%Y", "verbatim%Y"},
        {"NONE", "none"},
        {"cu", file},
        {"/elsewhere/2003011409_ir.area", "/elsewhere/2003011409_ir.area"}};
    for (const auto& [typed, want] : names) EXPECT_EQ(set_file(typed), want) << typed;
    EXPECT_EQ(file_seconds(), utc(2003, 1, 14, 9, 0));

    RES_reset();
    RES_put("data_path", data.c_str());
    RES_new(-9999, "filename", (data + "/absent").c_str(), RES_LIST);
    EXPECT_EQ(FILE_get_file("prompt: ", out), 0);
}

TEST_F(Selection, CurrentExpressions) {
    // The fixed now is 12:30 on 15 January 2003; files are hourly. Unknown text is now.
    const std::pair<const char*, int> cases[] = {{"xyz", 1512},    {"6", 1506},
                                                 {"1d2:30", 1410}, {"+1d1", 1613},
                                                 {"6-3", 1503},    {"#200301141200+2", 1414}};
    for (const auto& [text, day_hour] : cases) {
        int s = 0, day = day_hour / 100, hour = day_hour % 100;
        EXPECT_EQ(current(text, &s), name_of(day, hour)) << text;
        EXPECT_EQ(s, utc(2003, 1, day, hour, 0)) << text;
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
    EXPECT_EQ(s, utc(2003, 1, 15, 10, 0));
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

TEST_F(Selection, BatchRunsTakeTheCurrentOrNewestFile) {
    FLAG_set_batch(1);
    RES_put("current", "#200301150000");
    hourly(15, 0);
    char out[FILE_NAME_SIZE];
    EXPECT_EQ(FILE_get_file("p", out), 1);
    EXPECT_EQ(out, name_of(15, 0));
    RES_reset();
    RES_put("data_path", data.c_str());
    hourly(15, 11);
    EXPECT_EQ(FILE_get_file("p", out), 1);  // batch, no file: the newest
    EXPECT_EQ(out, name_of(15, 11));
}

TEST_F(Selection, OverwriteAnswers) {
    std::string file = hourly(15, 1);
    EXPECT_EQ(FILE_overwrite((data + "/new").c_str(), 1), 1);
    const std::tuple<const char*, int, int> cases[] = {
        {"Over\n", 1, 1}, {"n\n", 1, 3}, {"app\n", 2, 2}, {"app\n", 1, 3}, {"y\n", 7, 0}};
    for (const auto& [answer, mode, result] : cases) {
        sat_test::Capture capture(answer);
        EXPECT_EQ(FILE_overwrite(file.c_str(), mode), result) << answer << mode;
        const bool asked =
            capture.out().find(": exists overwrite (Y,N,Use,Over,App): ") != std::string::npos;
        EXPECT_TRUE(mode != 2 || asked) << answer << mode;
    }
    FLAG_set(15, 2);
    EXPECT_EQ(FILE_overwrite(file.c_str(), 1), 2);
    FLAG_set(15, -9999);
    FLAG_set_batch(1);
    EXPECT_EQ(FILE_overwrite(file.c_str(), 1), 3);
}

TEST_F(Selection, HostileNamesExpressionsAndDates) {
    const std::string huge(10000, '9'), slashes(5000, '/');
    char out[FILE_NAME_SIZE];
    for (const char* name : {huge.c_str(), slashes.c_str(), "a#99999999999999999999", "la#-5"}) {
        FILE_set_file(name, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE)) << name;
    }
    for (const char* e : {"99999999999d99999999999:99999999999", "#99999999999999999", "+l+l",
                          "1d-la#1", huge.c_str()}) {
        FILE_set_current(e, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE)) << e;
    }

    // Dates out of range are repaired or printed, never written past the name.
    FILE_set_time(nullptr);
    FILE_set_name("@%Y%m%d%h%n%j%b");
    const Date bad[] = {make(2003, 13, 15, 0, 0), make(10000, 1, 1, 0, 0),
                        make(2147483647, 2147483647, 2147483647, 2147483647, 2147483647)};
    for (const Date& d : bad) {
        FILE_set_date(&d, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE));
        FILE_set_date_off(&d, 2147483647, out);
    }
    FILE_set_date(&bad[1], out);
    EXPECT_EQ(std::string(out).substr(0, 9), "100000101");
}

// Through the real program: the prompt when no file was given, and the exits.
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
