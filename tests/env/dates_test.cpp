// Dates against the C library's own calendar, and the label forms.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <ctime>
#include <string>

#include "env/dates.h"

namespace {

Date make(int year, int month, int day, int hour, int minute, int second = 0) {
    Date d;
    DATE_init(&d);
    d.year = year;
    d.month = month;
    d.day = day;
    d.hour = hour;
    d.minute = minute;
    d.second = second;
    return d;
}

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
    const int times[] = {0, 1, 6 * 3600 + 30 * 60 + 15, 12 * 3600, 23 * 3600 + 59 * 60 + 59};
    struct tm end_tm {
    }, leap_end{};
    end_tm.tm_year = leap_end.tm_year = 2100 - 1900;
    end_tm.tm_mon = 11;
    end_tm.tm_mday = 31;
    leap_end.tm_mon = 2;
    leap_end.tm_mday = 1;
    const time_t last = timegm(&end_tm), first_wrong = timegm(&leap_end);
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

TEST_F(Dates, DayCountsAndDayOfYearAgreeWithTheCLibrary) {
    for (int days = 1; days <= 47482; days++) {  // to 2099-12-31
        time_t t = static_cast<time_t>(days - 1) * 86400;
        struct tm tm {};
        gmtime_r(&t, &tm);
        int y = 0, m = 0, d = 0, month = 0, day = 0, julian = 0;
        DATE_days_date(days, &y, &m, &d);
        ASSERT_EQ(y * 10000 + m * 100 + d,
                  (tm.tm_year + 1900) * 10000 + (tm.tm_mon + 1) * 100 + tm.tm_mday)
            << days;
        DATE_julian_monday(y, tm.tm_yday + 1, &month, &day);
        ASSERT_EQ(month * 100 + day, m * 100 + d) << days;
        DATE_monday_julian(y, m, d, &julian);
        ASSERT_EQ(julian, tm.tm_yday + 1) << days;
    }
    // Out of range day numbers are clamped to the year.
    const int clamps[][3] = {{2003, 400, 1231}, {2004, 60, 229}, {2003, 60, 301}, {2003, -5, 101}};
    for (const auto& c : clamps) {
        int month = 0, day = 0;
        DATE_julian_monday(c[0], c[1], &month, &day);
        EXPECT_EQ(month * 100 + day, c[2]) << c[0] << " " << c[1];
    }
    EXPECT_TRUE(DATE_is_leap(2000) && DATE_is_leap(2004));
    EXPECT_FALSE(DATE_is_leap(1900) || DATE_is_leap(2100));
    // A hostile day count ends quickly and stays in range.
    int y = 0, m = 0, d = 0;
    DATE_days_date(2147483647, &y, &m, &d);
    EXPECT_TRUE(m >= 1 && m <= 12 && d >= 1 && d <= 31);
}

TEST_F(Dates, NumSecRepairsTheRecord) {
    Date d;
    DATE_init(&d);
    EXPECT_EQ(DATE_num_sec(&d), 315532800);
    EXPECT_EQ(ymdhm(d) * 100 + d.second, 19800101000000LL);
    // Day 0 is the last day of the month before; two-digit years are completed.
    Date zero = make(2003, 3, 0, 0, 0), feb = make(2003, 2, 28, 0, 0);
    EXPECT_EQ(DATE_num_sec(&zero), DATE_num_sec(&feb));
    Date short_year = make(3, 1, 15, 12, 0), full_year = make(2003, 1, 15, 12, 0);
    EXPECT_EQ(DATE_num_sec(&short_year), DATE_num_sec(&full_year));
    EXPECT_EQ(short_year.year, 2003);
    Date ninety = make(99, 1, 1, 0, 0);
    DATE_num_sec(&ninety);
    EXPECT_EQ(ninety.year, 1999);
    // Month 13, hour 25, minute 61, day 32: repaired, never out of the tables.
    Date bad = make(2003, 13, 32, 25, 61, 99);
    DATE_num_sec(&bad);
    EXPECT_EQ(ymdhm(bad) * 100 + bad.second, 20030101000000LL);
    Date huge = make(10000, 1, 1, 0, 0), biggest = make(2147483647, 12, 31, 23, 59);
    DATE_num_sec(&huge);
    DATE_num_sec(&biggest);
}

TEST_F(Dates, SequenceStrings) {
    char out[13];
    Date d = make(2003, 1, 15, 12, 5), unset;
    EXPECT_EQ(DATE_make_seq(&d, out), 0);
    EXPECT_STREQ(out, "200301151205");
    DATE_init(&unset);
    DATE_make_seq(&unset, out);
    EXPECT_STREQ(out, "198001010000");
    EXPECT_EQ(DATE_make_seq(&d, nullptr), -1);
    // A year of five digits must not write past the 13 bytes of a sequence.
    char guarded[20];
    std::memset(guarded, 'x', sizeof guarded);
    Date big = make(10000, 12, 31, 23, 59);
    DATE_make_seq(&big, guarded);
    EXPECT_EQ(std::strlen(guarded), 12u);
    EXPECT_EQ(guarded[13], 'x');
}

TEST_F(Dates, MonthNamesAndTheirDecoding) {
    const char* upper[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                           "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
    for (int m = 1; m <= 12; m++) {
        std::string lower = upper[m - 1];
        for (char& c : lower) c = static_cast<char>(std::tolower(c));
        EXPECT_STREQ(DATE_month(m), upper[m - 1]);
        EXPECT_EQ(DATE_month_lower(m), lower);
        EXPECT_EQ(DATE_decode_month(upper[m - 1]), m);
        EXPECT_EQ(DATE_decode_month(lower.c_str()), m);
        EXPECT_EQ(DATE_decode_month((std::string(upper[m - 1]) + "UARY").c_str()), m);
    }
    EXPECT_STREQ(DATE_month(0), "");
    EXPECT_STREQ(DATE_month(13), "");
    EXPECT_STREQ(DATE_month_lower(-9999), "");
    // Mixed case is deliberately not understood, except where the first letter decides.
    const std::pair<const char*, int> mixed[] = {{"Jan", 0},   {"Mar", 0}, {"Apr", 0}, {"Feb", 2},
                                                 {"Dec", 12},  {"J", 0},   {"M", 0},   {"", 0},
                                                 {nullptr, 0}, {"xyz", 0}};
    for (const auto& [text, month] : mixed)
        EXPECT_EQ(DATE_decode_month(text), month) << (text ? text : "null");
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
        {nullptr, make(2003, 1, 15, 12, M), "12Z 15 JAN 03"},
        {nullptr, make(2003, 1, 15, M, M), "15 JAN 03"},
        {nullptr, make(2003, 1, M, M, M), "JAN 03"},
        {nullptr, make(2003, M, M, M, M), "03"},
        {nullptr, make(2003, 1, 5, 7, 9), "0709Z  5 JAN 03"},
        {nullptr, make(M, 1, 15, 12, 0), "1200Z 15 JAN 80"},
        {nullptr, make(2003, 13, 40, 12, 0), "1200Z  1 JAN 03"},
        {"-CST:-6", make(2003, 1, 15, 12, 0), "6:00 AM CST [1200Z] 15 JAN 03"},
        {"-CST:-6", make(2003, 1, 15, 12, M), "6 AM CST [12Z] 15 JAN 03"},
        // Back across midnight into the day before.
        {"-CST:-6", make(2003, 1, 15, 3, 30), "9:30 PM CST [0330Z] 14 JAN 03"},
        {"+JST:9", make(2003, 1, 15, 12, 0), "9:00 PM JST 15 JAN 03"},
        {"+JST:9", make(2003, 12, 31, 20, 15), "5:15 AM JST  1 JAN 04"},
        {"EET:2", make(2003, 1, 15, 12, 0), "1400 EET 15 JAN 03"},
        {"IST:5.5", make(2003, 1, 15, 12, 0), "1730 IST 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 0, 0), "12:00 AM UTC 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 12, 30), "12:30 PM UTC 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 23, 1), "11:01 PM UTC 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 0, M), "12 AM UTC 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 12, M), "12 PM UTC 15 JAN 03"},
        {"+UTC:0", make(2003, 1, 15, 13, M), "1 PM UTC 15 JAN 03"},
        // The name is cut to four letters and the hours are then not reached.
        {"-VERYLONGZONENAME:-6", make(2003, 1, 15, 12, 0), "12:00 PM VERY [1200Z] 15 JAN 03"}};
    for (const Case& c : cases) {
        DATE_reset();
        if (c.tz) DATE_set_TZ(c.tz);
        EXPECT_EQ(label(c.d), c.want) << (c.tz ? c.tz : "UTC");
    }
    EXPECT_EQ(DATE_make_label(&cases[0].d, nullptr), -1);
    DATE_reset();
    const Date d = make(2003, 1, 15, 12, 0);
    const std::string long_text(5000, 'Z');
    for (const char* text :
         {"", ":", "-", "+:", "X:nan", "X:inf", "X:1e30", "X:-1e30", long_text.c_str()}) {
        DATE_set_TZ(text);
        char out[64];
        ASSERT_EQ(DATE_make_label(&d, out), 0) << text;
        EXPECT_LT(std::strlen(out), 52u);
        DATE_reset();
    }
    EXPECT_EQ(DATE_set_TZ(nullptr), -1);
}

TEST_F(Dates, ValidTimeAndForecastHourTexts) {
    Date d = make(2003, 1, 15, 12, 0), no_hour = make(2003, 1, 15, -9999, 0);
    char out[64];
    const std::pair<int, const char*> valid[] = {{24, "12Z THU 16 JAN 03"},
                                                 {6, "18Z WED 15 JAN 03"},
                                                 {1024, "12Z THU 16 JAN 03"},  // modulo 1000
                                                 {900, "12Z WED 15 JAN 03"}};
    for (const auto& [hour, want] : valid) {
        EXPECT_EQ(DATE_make_label_valid_time(hour, &d, out), 0);
        EXPECT_STREQ(out, want) << hour;
    }
    DATE_make_label_valid_time(24, &no_hour, out);
    EXPECT_STREQ(out, "THU 16 JAN 03");
    DATE_set_TZ("-CST:-6");
    DATE_make_label_valid_time(0, &d, out);
    EXPECT_STREQ(out, "6 AM CST [12Z] WED 15 JAN 03");

    struct Case {
        int hour, days;
        const char* want;
    } cases[] = {{12, 0, "12 hour"}, {12, 1, "0.5 day"},  {24, 1, "1 day"},   {36, 1, "1.5 day"},
                 {48, 1, "2 day"},   {60, 1, "2.5 day"},  {60, 0, "60 hour"}, {72, 0, "3 day"},
                 {72, 1, "3 day"},   {84, 0, "3.5 day"},  {90, 0, "90 hour"}, {903, 0, "3 month"},
                 {805, 0, "5 day"},  {900, 0, "100 day"}, {0, 1, ""},         {-9999, 0, ""},
                 {-6, 0, "-6 hour"}};
    for (const Case& c : cases)
        EXPECT_STREQ(DATE_fhour_label(out, c.hour, c.days), c.want) << c.hour;
}

TEST_F(Dates, LabelsDecodeBack) {
    Date d;
    const std::pair<const char*, long long> texts[] = {{"1200Z 15 JAN 03", 200301151200LL},
                                                       {"12Z 15 JAN 99", 199901151200LL - 9999},
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
    for (const char* text : {"", "garbage", "1:2:3Z"}) {
        DATE_decode_label(text, &d);
        EXPECT_EQ(d.year, -6099) << text;
    }
    EXPECT_EQ(DATE_decode_label(std::string(300, '9').c_str(), &d), 0);
    // Every label of a day round-trips through its text.
    for (int hour = 0; hour < 24; hour += 5) {
        Date out;
        DATE_decode_label(label(make(2010, 6, 7, hour, 42)).c_str(), &out);
        EXPECT_EQ(ymdhm(out), 201006070000LL + hour * 100 + 42);
    }
}

TEST_F(Dates, CurrentStamp) {
    time_t before = time(nullptr);
    char out[32], expected[32];
    DATE_get_current_str(out);
    struct tm tm {};
    gmtime_r(&before, &tm);
    std::strftime(expected, sizeof expected, "%y %b %d  ", &tm);
    for (char* c = expected; *c; c++) *c = static_cast<char>(toupper(*c));
    EXPECT_EQ(std::string(out).substr(0, 11), expected);
    EXPECT_EQ(std::strlen(out), 20u);
}

}  // namespace
