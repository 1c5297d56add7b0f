// Dates against the C library's own calendar, and the label forms.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "env/dates.h"
#include "env_capture.h"

namespace {

using sat_test::make;

std::string label(const Date& d) {
    char out[64];
    EXPECT_EQ(DATE_make_label(&d, out), 0);
    return out;
}

long long ymdhm(const Date& d) {
    return d.year * 100000000LL + d.month * 1000000 + d.day * 10000 + d.hour * 100 + d.minute;
}

class Dates : public ::testing::Test {
   protected:
    void TearDown() override { DATE_reset(); }
};

// Every day from 1970 to 2100 at several times of day, both ways, with timegm and
// gmtime_r as the oracle. Seconds are a 32-bit count read as unsigned past 2038.
TEST_F(Dates, SecondsAgreeWithTheCLibraryEveryDay) {
    const int times[] = {0, 6 * 3600 + 30 * 60 + 15, 23 * 3600 + 59 * 60 + 59};
    struct tm leap {};
    leap.tm_year = 200, leap.tm_mon = 2, leap.tm_mday = 1;  // 1 March 2100
    const time_t first_wrong = timegm(&leap), last = first_wrong + 305 * 86400;
    int failures = 0;
    for (time_t day = 0; day <= last && failures < 5; day += 86400) {
        for (int tod : times) {
            time_t t = day + tod;
            struct tm tm {};
            ASSERT_NE(gmtime_r(&t, &tm), nullptr);
            ASSERT_EQ(timegm(&tm), t);
            Date d = make(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min,
                          tm.tm_sec);
            uint32_t secs = static_cast<uint32_t>(DATE_num_sec(&d));
            // The four-year leap rule counts 2100 as a leap year: a day late from March on.
            uint32_t expected = static_cast<uint32_t>(t < first_wrong ? t : t + 86400);
            int count = static_cast<int>(static_cast<uint32_t>(t));
            Date back;
            ASSERT_EQ(DATE_get_gmdate(&count, &back), 0);
            if (secs != expected || back.year != tm.tm_year + 1900 || back.month != tm.tm_mon + 1 ||
                back.day != tm.tm_mday || back.julian != tm.tm_yday + 1 ||
                back.weekday != tm.tm_wday || back.hour != tm.tm_hour || back.minute != tm.tm_min ||
                back.second != tm.tm_sec) {
                ADD_FAILURE() << t << ": num_sec " << secs << " != " << expected << " or gmdate";
                failures++;
            }
        }
    }
}

// Labels in UTC and in zones east and west, with the 12-hour forms.
TEST_F(Dates, LabelForms) {
    const int M = -9999;
    struct Case {
        const char* tz;
        Date d;
        const char* want;
    } cases[] = {
        {nullptr, make(2003, 1, 15, 12, 0), "1200Z 15 JAN 03"},
        {nullptr, make(2003, M, M, M, M), "03"},
        {nullptr, make(2003, 1, 5, 7, 9), "0709Z  5 JAN 03"},
        {nullptr, make(M, 1, 15, 12, 0), "1200Z 15 JAN 80"},
        {nullptr, make(2003, 13, 40, 12, 0), "1200Z  1 JAN 03"},
        // Back across midnight into the day before.
        {"-CST:-6", make(2003, 1, 15, 3, 30), "9:30 PM CST [0330Z] 14 JAN 03"},
        {"+JST:9", make(2003, 12, 31, 20, 15), "5:15 AM JST  1 JAN 04"},
        {"EET:2", make(2003, 1, 15, 12, 0), "1400 EET 15 JAN 03"},
        {"IST:5.5", make(2003, 1, 15, 12, 0), "1730 IST 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 0, 0), "12:00 AM UTC 15 JAN 03"},
        // The name is cut to four letters and the hours are then not reached.
        {"-VERYLONGZONENAME:-6", make(2003, 1, 15, 12, 0), "12:00 PM VERY [1200Z] 15 JAN 03"}};
    for (const Case& c : cases) {
        DATE_reset();
        if (c.tz) DATE_set_TZ(c.tz);
        EXPECT_EQ(label(c.d), c.want) << (c.tz ? c.tz : "UTC");
    }
    EXPECT_EQ(DATE_make_label(&cases[0].d, nullptr), -1);
    EXPECT_EQ(DATE_set_TZ(nullptr), -1);  // other hostile zones are fuzzed (names_fuzz)
}

TEST_F(Dates, LabelsDecodeBack) {
    Date d;
    const std::pair<const char*, long long> texts[] = {{"12Z 15 JAN 99", 199901151200LL - 9999},
                                                       {" 945Z 17 SEP 98", 199809170945LL}};
    for (const auto& [text, want] : texts) {
        DATE_decode_label(text, &d);
        EXPECT_EQ(ymdhm(d), want) << text;
    }
    // Numbers only: the fourth overwrites the year and no month is known.
    DATE_decode_label("03 01 15 04", &d);
    EXPECT_EQ(d.year * 10000 + d.month * 100 + d.day, 20040015);
    DATE_decode_label("GOES-8 IR 07:45:30Z 17 SEP 98", &d);
    EXPECT_EQ(d.month * 1000000 + d.hour * 10000 + d.minute * 100 + d.second, 9074530);
    // Nothing that reads still goes through the year rules: -9999 + 2000 + 1900.
    DATE_decode_label("1:2:3Z", &d);
    EXPECT_EQ(d.year, -6099);
    // A label round-trips through its text.
    Date out;
    DATE_decode_label(label(make(2010, 6, 7, 19, 42)).c_str(), &out);
    EXPECT_EQ(ymdhm(out), 201006071942LL);
}

}  // namespace
