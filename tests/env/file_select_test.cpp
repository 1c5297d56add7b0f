// Selection of the data file, tested on real trees of dated files with a fixed "now".
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "env/dates.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env_capture.h"
#include "test_support.h"

using sat_test::Capture;
using sat_test::TempDir;

namespace {

int utc(int year, int month, int day, int hour, int minute) {
    struct tm tm {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    return static_cast<int>(timegm(&tm));
}

Date make(int year, int month, int day, int hour, int minute) {
    Date d;
    DATE_init(&d);
    d.year = year;
    d.month = month;
    d.day = day;
    d.hour = hour;
    d.minute = minute;
    return d;
}

class Selection : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        MESS_reset();
        FLAG_reset(-9999);
        FILE_reset();
        data = dir.path() + "/data";
        RES_put("file_path", dir.path().c_str());
        RES_put("data_path", data.c_str());
        sat_test::write_file(dir.file("name_conv"),
                             "sat_ir  %D/%Y%m%d%h_ir.area  -  100\n"
                             "three   %D/%Y%m%d_%3h.x\n");
        FILE_make_dir((data + "/x").c_str(), 1);
        setenv("zmtcurtime", "200301151230", 1);
        FILE_set_name("sat_ir");
    }
    void TearDown() override {
        unsetenv("zmtcurtime");
        FILE_reset();
        RES_reset();
        FLAG_reset(-9999);
    }
    // An hourly file of the given size.
    std::string hourly(int day, int hour, size_t size = 200) {
        char name[64];
        std::snprintf(name, sizeof name, "/200301%2.2d%2.2d_ir.area", day, hour);
        sat_test::write_file(data + name, std::string(size, 'x'));
        return data + name;
    }
    std::string name_of(int day, int hour) {
        char name[64];
        std::snprintf(name, sizeof name, "/200301%2.2d%2.2d_ir.area", day, hour);
        return data + name;
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
    std::vector<std::string> run(const Date& base) {
        FILE_first(&base);
        std::vector<std::string> names;
        char out[FILE_NAME_SIZE];
        while (names.size() < 100 && FILE_get_next(out)) names.push_back(out);
        return names;
    }
    TempDir dir;
    std::string data;
};

TEST_F(Selection, ExplicitAndPartialNames) {
    std::string file = hourly(15, 12);
    RES_new(-9999, "filename", file.c_str(), RES_LIST);
    char out[FILE_NAME_SIZE];
    EXPECT_EQ(FILE_get_file("prompt: ", out), 1);
    EXPECT_EQ(out, file);
    Date got;
    FILE_get_date(&got);
    EXPECT_EQ(DATE_num_sec(&got), utc(2003, 1, 15, 12, 0));
    EXPECT_EQ(FILE_get_late_off(), 3600);

    // Only the date typed: the directory and the rest come from the template.
    EXPECT_EQ(set_file("2003011512"), file);
    EXPECT_EQ(set_file("2003011512_ir.area"), file);
    FILE_get_date(&got);
    EXPECT_EQ(got.hour, 12);
    // A name that does not fit the template stays as typed, in the data directory.
    EXPECT_EQ(set_file("local.area"), data + "/local.area");
    EXPECT_EQ(set_file("/elsewhere/2003011409_ir.area"), "/elsewhere/2003011409_ir.area");
    FILE_get_date(&got);
    EXPECT_EQ(got.day * 100 + got.hour, 1409);
    // Special names.
    EXPECT_EQ(set_file("@verbatim%Y"), "verbatim%Y");
    EXPECT_EQ(set_file("-"), "-");
    EXPECT_EQ(set_file("NONE"), "none");
    EXPECT_EQ(set_file("cu"), file);

    RES_reset();
    RES_put("data_path", data.c_str());
    RES_new(-9999, "filename", (data + "/absent").c_str(), RES_LIST);
    EXPECT_EQ(FILE_get_file("prompt: ", out), 0);
}

TEST_F(Selection, CurrentExpressions) {
    int s = 0;
    // The fixed now is 12:30 on 15 January 2003; files are hourly.
    EXPECT_EQ(current("", &s), name_of(15, 12));
    EXPECT_EQ(s, utc(2003, 1, 15, 12, 0));
    EXPECT_EQ(current("xyz"), name_of(15, 12));  // not an expression: now
    EXPECT_EQ(current("6"), name_of(15, 6));
    EXPECT_EQ(current("-6"), name_of(15, 6));
    EXPECT_EQ(current("+3"), name_of(15, 15));
    EXPECT_EQ(current("1:30"), name_of(15, 11));
    EXPECT_EQ(current("1d"), name_of(14, 12));
    EXPECT_EQ(current("1d2:30"), name_of(14, 10));
    EXPECT_EQ(current("+1d1"), name_of(16, 13));
    EXPECT_EQ(current("6-3"), name_of(15, 3));
    EXPECT_EQ(current("#200301141200", &s), name_of(14, 12));
    EXPECT_EQ(s, utc(2003, 1, 14, 12, 0));
    EXPECT_EQ(current("#20030114"), name_of(14, 0));
    EXPECT_EQ(current("#200301141200+2"), name_of(14, 14));
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
    EXPECT_EQ(current("LA"), name_of(15, 10));
    EXPECT_EQ(current("l"), name_of(15, 10));
    EXPECT_EQ(current("la-1:30"), name_of(15, 9));
    EXPECT_EQ(current("la-3"), name_of(15, 7));
    EXPECT_EQ(current("6la"), name_of(15, 5));
    EXPECT_EQ(current("+la"), name_of(15, 14));
    EXPECT_EQ(current("#200301151000la"), name_of(15, 10));
    // A limited search gives up on the last name it tried.
    EXPECT_EQ(current("la#2"), name_of(15, 11));
    EXPECT_EQ(current("la#3"), name_of(15, 10));
    EXPECT_EQ(current("la#0"), name_of(15, 12));
    // Nothing in 500 steps back: the name left is one that does not exist.
    EXPECT_FALSE(FILE_exist(current("3dla").c_str()));
    // A smaller size allowed by override takes the newest file.
    FILE_set_min_size(40);
    EXPECT_EQ(current("la"), name_of(15, 12));
}

TEST_F(Selection, PinnedTimesMoveBackToFit) {
    setenv("zmtcurtime", "200301151000", 1);
    Date pins;
    DATE_init(&pins);
    pins.hour = 12;
    FILE_set_time(&pins);
    EXPECT_EQ(current(""), name_of(14, 12));  // -ho 12 at 10Z is yesterday's 12Z
    pins.hour = 6;
    FILE_set_time(&pins);
    EXPECT_EQ(current(""), name_of(15, 6));
    EXPECT_EQ(current("#200301200300"), name_of(19, 6));

    DATE_init(&pins);
    pins.day = 20;
    FILE_set_time(&pins);
    char out[FILE_NAME_SIZE];
    FILE_set_current("", out);
    Date got;
    FILE_get_date(&got);
    EXPECT_EQ(got.year * 10000 + got.month * 100 + got.day, 20021220);

    DATE_init(&pins);
    pins.month = 3;
    FILE_set_time(&pins);
    FILE_set_current("", out);
    FILE_get_date(&got);
    EXPECT_EQ(got.year * 100 + got.month, 200203);

    // A tail on a name pins the date for the run.
    FILE_reset();
    RES_put("file_path", dir.path().c_str());
    RES_put("data_path", data.c_str());
    FILE_set_name("sat_ir");
    hourly(14, 9);
    EXPECT_EQ(set_file("la#200301140900"), name_of(14, 9));
    EXPECT_EQ(current(""), name_of(14, 9));
}

TEST_F(Selection, TemplateStepOfThreeHours) {
    FILE_set_name("three");
    int s = 0;
    EXPECT_EQ(current("", &s), data + "/20030115_12.x");
    EXPECT_EQ(s % 10800, 0);
    EXPECT_EQ(FILE_get_late_off(), 10800);
    sat_test::write_file(data + "/20030115_06.x", "x");
    EXPECT_EQ(current("la", &s), data + "/20030115_06.x");
    EXPECT_EQ(s, utc(2003, 1, 15, 6, 0));
}

TEST_F(Selection, RunsOverHours) {
    const Date base = make(2003, 1, 15, 6, 0);
    auto names = [&](std::initializer_list<int> hours) {
        std::vector<std::string> v;
        for (int h : hours) v.push_back(name_of(15, h));
        return v;
    };
    FILE_set_file("2003011506", nullptr);  // sets the step of the template
    RES_put("num_hour", "6,2");
    EXPECT_EQ(run(base), names({6, 8, 10, 12}));
    EXPECT_EQ(FILE_get_num_file(), 21600);
    RES_put("num_hour", "-6");
    EXPECT_EQ(run(base), names({0, 1, 2, 3, 4, 5, 6}));
    RES_put("num_hour", "1,0:30");  // a frame step below the file step is not used
    EXPECT_EQ(run(base), names({6, 7}));
    RES_put("num_hour", "-1:30");
    EXPECT_EQ(run(base), names({4, 5, 6}));  // whole steps back from the span

    // Several files: each in turn, whatever the span.
    RES_new(-9999, "filename",
            (name_of(15, 1) + "\n" + name_of(15, 3) + "\n" + name_of(15, 2)).c_str(), RES_LIST);
    EXPECT_EQ(run(base), names({1, 3, 2}));
    EXPECT_EQ(FILE_get_num_file(), 2);

    // One file and a span: the file starts it, the template gives the rest, in the
    // directory of that file.
    const std::string other = dir.path() + "/other";
    RES_new(-9999, "filename", (other + "/2003011509_ir.area").c_str(), RES_LIST);
    RES_put("num_hour", "2");
    char out[FILE_NAME_SIZE];
    FILE_get_file("", out);
    Date start;
    FILE_get_date(&start);
    EXPECT_EQ(run(start), (std::vector<std::string>{other + "/2003011509_ir.area",
                                                    other + "/2003011510_ir.area",
                                                    other + "/2003011511_ir.area"}));

    // One current file and no span: that file alone.
    RES_reset();
    RES_put("data_path", data.c_str());
    RES_put("current", "");
    hourly(15, 12);
    EXPECT_EQ(FILE_get_file("", out), 1);
    FILE_get_date(&start);
    EXPECT_EQ(run(start), names({12}));
    EXPECT_EQ(FILE_get_num_file(), 0);
}

TEST_F(Selection, SpanAndStepTexts) {
    struct Case {
        const char* text;
        int hours, skip;
    };
    FILE_set_file("2003011506", nullptr);
    const Case cases[] = {{"6", 21600, 3600},
                          {"-6", -21600, 3600},
                          {"1:30", 5400, 3600},
                          {"-0:30", -1800, 3600},
                          {":45", 2700, 3600},
                          {"6,2", 21600, 7200},
                          {"6,1:30", 21600, 5400},
                          {"6,:30", 21600, 0},
                          {"", 0, 3600},
                          {"junk", 0, 3600},
                          {"99999999999,99999999999", 2147483647, 2147483647},
                          // Minutes at the lowest int turn positive without overflow.
                          {"-1:-2147483648", 2147483647, 3600},
                          {"-0:-99999999999", 2147483647, 3600}};
    for (const Case& c : cases) {
        RES_put("num_hour", c.text);
        EXPECT_EQ(FILE_num_hour(), c.hours) << c.text;
        EXPECT_EQ(FILE_get_skip(), c.skip) << c.text;
    }
    RES_reset();
    FILE_set_def_hours(3);
    EXPECT_EQ(FILE_num_hour(), 10800);
}

TEST_F(Selection, BatchAndCurrentRunsEndWithTenWhenNothingIsThere) {
    FLAG_set_batch(1);
    EXPECT_EXIT(FILE_get_file("p", nullptr), ::testing::ExitedWithCode(10), "File not found: ");
    RES_put("current", "#200301150000");
    EXPECT_EXIT(FILE_get_file("p", nullptr), ::testing::ExitedWithCode(10), "File not found: ");
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

TEST_F(Selection, PromptReadsTheAnswer) {
    std::string file = hourly(14, 23);
    char out[FILE_NAME_SIZE] = "";
    {
        Capture capture("nothing_here\n2003011423\n");
        EXPECT_EQ(FILE_get_file("Enter the satellite filename: ", out), 1);
        EXPECT_NE(capture.out().find("Enter the satellite filename: "), std::string::npos);
        EXPECT_NE(capture.err().find("File not found: " + data + "/nothing_here"),
                  std::string::npos);
    }
    EXPECT_EQ(out, file);
    {
        Capture capture("cu13\n");
        EXPECT_EQ(FILE_get_file("Enter: ", out), 1);
    }
    EXPECT_EQ(out, file);
    EXPECT_EXIT(
        {
            Capture capture("a\nb\nc\nd\n");
            FILE_get_file("Enter: ", out);
        },
        ::testing::ExitedWithCode(10), "");
    EXPECT_EXIT(
        {
            Capture capture("exit\n");
            FILE_get_file("Enter: ", out);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            Capture capture("");
            FILE_get_file("Enter: ", out);
        },
        ::testing::ExitedWithCode(10), "");
}

TEST_F(Selection, OverwriteAnswers) {
    std::string file = hourly(15, 1);
    EXPECT_EQ(FILE_overwrite((data + "/new").c_str(), 1), 1);
    EXPECT_EQ(FILE_overwrite("-", 2), 1);
    struct Case {
        const char* answer;
        int mode, result;
    };
    const Case cases[] = {{"y\n", 1, 1},   {"Over\n", 1, 1}, {"n\n", 1, 3}, {"use\n", 2, 3},
                          {"app\n", 2, 2}, {"app\n", 1, 3},  {"y\n", 7, 0}};
    for (const Case& c : cases) {
        Capture capture(c.answer);
        EXPECT_EQ(FILE_overwrite(file.c_str(), c.mode), c.result) << c.answer << c.mode;
        if (c.mode == 2) {
            EXPECT_NE(capture.out().find(": exists overwrite (Y,N,Use,Over,App): "),
                      std::string::npos);
        }
    }
    FLAG_set(15, 2);
    EXPECT_EQ(FILE_overwrite(file.c_str(), 1), 2);
    FLAG_set(15, -9999);
    FLAG_set_batch(1);
    EXPECT_EQ(FILE_overwrite(file.c_str(), 1), 3);
}

TEST_F(Selection, HostileNamesAndExpressions) {
    const std::string huge(10000, '9');
    const std::string slashes(5000, '/');
    const char* names[] = {
        huge.c_str(),     slashes.c_str(), "#",    "a#",   "a#99999999999999999999", "la#", "la#-5",
        "la#99999999999", "cu+-+-",        "%%%%", "{}{}*"};
    for (const char* name : names) {
        char out[FILE_NAME_SIZE];
        FILE_set_file(name, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE)) << name;
    }
    const char* expressions[] = {"99999999999",
                                 "99999999999d99999999999:99999999999",
                                 "#99999999999999999",
                                 "-+-+",
                                 "+l+l",
                                 "ld",
                                 "d",
                                 "1d-la#1",
                                 huge.c_str()};
    for (const char* e : expressions) {
        char out[FILE_NAME_SIZE];
        FILE_set_current(e, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE)) << e;
    }
    setenv("zmtcurtime", "garbage", 1);
    char out[FILE_NAME_SIZE];
    FILE_set_current("", out);
    EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE));

    // Dates out of range are repaired or printed, never written past the name. The
    // tails above pinned a date; clear it.
    FILE_set_time(nullptr);
    FILE_set_name("@%Y%m%d%h%n%j%b");
    const Date bad[] = {make(2003, 13, 15, 0, 0), make(2003, 1, 0, 0, 0), make(10000, 1, 1, 0, 0),
                        make(2147483647, 2147483647, 2147483647, 2147483647, 2147483647),
                        make(-2147483647, -5, -5, -5, -5)};
    for (const Date& d : bad) {
        FILE_set_date(&d, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE));
        FILE_set_date_off(&d, 2147483647, out);
    }
    FILE_set_date(&bad[2], out);
    EXPECT_EQ(std::string(out).substr(0, 9), "100000101");
    Date pins = make(2003, 13, 0, 99, -2147483647);
    FILE_set_time(&pins);
    EXPECT_EQ(FILE_set_date(&bad[0], out), 0);
    FILE_set_current("la#3", out);
}

// Through the real program: the prompt when no file was given, and the exits.
class Program : public ::testing::Test {
   protected:
    sat_test::RunOptions options() {
        sat_test::RunOptions o;
        o.cwd = dir.path();
        o.env["zmtcurtime"] = "200301151230";
        o.timeout_seconds = 120;
        return o;
    }
    TempDir dir;
};

TEST_F(Program, BatchWithoutAFileExitsWithTen) {
    auto result = sat_test::run_sat({"-ba", "-sp", dir.path()}, options());
    EXPECT_EQ(result.code, 10) << result.err;
    EXPECT_NE(result.err.find("File not found: "), std::string::npos) << result.err;
}

TEST_F(Program, PromptGivesUpAfterFourTries) {
    auto o = options();
    o.input = "no1\nno2\nno3\nno4\nno5\n";
    auto result = sat_test::run_sat({"-sp", dir.path()}, o);
    EXPECT_EQ(result.code, 10) << result.err;
    EXPECT_NE(result.out.find("Enter the satellite filename: "), std::string::npos) << result.out;
    size_t count = 0;
    for (size_t at = result.err.find("File not found: "); at != std::string::npos;
         at = result.err.find("File not found: ", at + 1))
        count++;
    EXPECT_EQ(count, 4u) << result.err;
    EXPECT_EQ(result.err.find("no5"), std::string::npos);

    o.input = "exit\n";
    EXPECT_EQ(sat_test::run_sat({"-sp", dir.path()}, o).code, 0);
}

TEST_F(Program, PromptAnswerIsTheFileRead) {
    auto o = options();
    o.input = "not_there\n" + sat_test::testdata("area/goes8_wv_gvar_1998260_0745.area") + "\n";
    auto result = sat_test::run_sat({"-pl", "none", "-ou", "seq"}, o);
    // The report run ends with 10 after printing the image's time: 1998 day 260, 07:45.
    EXPECT_EQ(result.code, 10) << result.err;
    EXPECT_NE(result.out.find("199809170745"), std::string::npos) << result.out;
}

}  // namespace
