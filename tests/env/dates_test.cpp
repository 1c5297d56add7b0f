// Dates against the C library's own calendar, and the label forms.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <ctime>
#include <string>

#include "env/dates.h"

namespace {

Date from_tm(const struct tm& tm) {
    Date d;
    DATE_init(&d);
    d.year = tm.tm_year + 1900;
    d.month = tm.tm_mon + 1;
    d.day = tm.tm_mday;
    d.hour = tm.tm_hour;
    d.minute = tm.tm_min;
    d.second = tm.tm_sec;
    return d;
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

std::string label(const Date& d) {
    char out[64];
    EXPECT_EQ(DATE_make_label(&d, out), 0);
    return out;
}

std::string valid_label(int fhour, const Date& d) {
    char out[64];
    EXPECT_EQ(DATE_make_label_valid_time(fhour, &d, out), 0);
    return out;
}

std::string fhour(int hour, int use_days) {
    char out[32];
    return DATE_fhour_label(out, hour, use_days);
}

class Dates : public ::testing::Test {
   protected:
    void TearDown() override { DATE_reset(); }
};

// Every day from 1970 to 2100 at several times of day, both ways, with timegm and
// gmtime_r as the oracle. Seconds are a 32-bit count read as unsigned past 2038.
TEST_F(Dates, SecondsAgreeWithTheCLibraryEveryDay) {
    const int times[] = {0, 1, 6 * 3600 + 30 * 60 + 15, 12 * 3600, 23 * 3600 + 59 * 60 + 59};
    struct tm end_tm {};
    end_tm.tm_year = 2100 - 1900;
    end_tm.tm_mon = 11;
    end_tm.tm_mday = 31;
    const time_t last = timegm(&end_tm);
    struct tm leap_end {};
    leap_end.tm_year = 2100 - 1900;
    leap_end.tm_mon = 2;
    leap_end.tm_mday = 1;
    const time_t first_wrong = timegm(&leap_end);
    int failures = 0;
    for (time_t day = 0; day <= last && failures < 5; day += 86400) {
        for (int tod : times) {
            time_t t = day + tod;
            struct tm tm {};
            ASSERT_NE(gmtime_r(&t, &tm), nullptr);
            Date d = from_tm(tm);
            ASSERT_EQ(timegm(&tm), t);
            uint32_t secs = static_cast<uint32_t>(DATE_num_sec(&d));
            // The four-year leap rule counts 2100 as a leap year: a day late from March on.
            uint32_t expected = static_cast<uint32_t>(t < first_wrong ? t : t + 86400);
            if (secs != expected) {
                ADD_FAILURE() << "num_sec " << tm.tm_year + 1900 << "-" << tm.tm_mon + 1 << "-"
                              << tm.tm_mday << " +" << tod << ": " << secs << " != " << expected;
                failures++;
            }
            int count = static_cast<int>(static_cast<uint32_t>(t));
            Date back;
            ASSERT_EQ(DATE_get_gmdate(&count, &back), 0);
            if (back.year != tm.tm_year + 1900 || back.month != tm.tm_mon + 1 ||
                back.day != tm.tm_mday || back.julian != tm.tm_yday + 1 ||
                back.weekday != tm.tm_wday || back.hour != tm.tm_hour || back.minute != tm.tm_min ||
                back.second != tm.tm_sec) {
                ADD_FAILURE() << "gmdate " << t;
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
        int y = 0, m = 0, d = 0;
        DATE_days_date(days, &y, &m, &d);
        ASSERT_EQ(y, tm.tm_year + 1900) << days;
        ASSERT_EQ(m, tm.tm_mon + 1) << days;
        ASSERT_EQ(d, tm.tm_mday) << days;
        int month = 0, day = 0, julian = 0;
        DATE_julian_monday(y, tm.tm_yday + 1, &month, &day);
        ASSERT_EQ(month, m);
        ASSERT_EQ(day, d);
        DATE_monday_julian(y, m, d, &julian);
        ASSERT_EQ(julian, tm.tm_yday + 1);
    }
    // Out of range day numbers are clamped to the year.
    int month = 0, day = 0;
    DATE_julian_monday(2003, 400, &month, &day);
    EXPECT_EQ(month * 100 + day, 1231);
    DATE_julian_monday(2004, 60, &month, &day);
    EXPECT_EQ(month * 100 + day, 229);
    DATE_julian_monday(2003, 60, &month, &day);
    EXPECT_EQ(month * 100 + day, 301);
    DATE_julian_monday(2003, -5, &month, &day);
    EXPECT_EQ(month * 100 + day, 101);
    EXPECT_TRUE(DATE_is_leap(2000));
    EXPECT_FALSE(DATE_is_leap(1900));
    EXPECT_FALSE(DATE_is_leap(2100));
    EXPECT_TRUE(DATE_is_leap(2004));
    // A hostile day count ends quickly and stays in range.
    int y = 0, m = 0, d = 0;
    DATE_days_date(2147483647, &y, &m, &d);
    EXPECT_TRUE(m >= 1 && m <= 12 && d >= 1 && d <= 31);
}

TEST_F(Dates, NumSecRepairsTheRecord) {
    Date d;
    DATE_init(&d);
    EXPECT_EQ(DATE_num_sec(&d), 315532800);
    EXPECT_EQ(d.year, 1980);
    EXPECT_EQ(d.month, 1);
    EXPECT_EQ(d.day, 1);
    EXPECT_EQ(d.hour, 0);
    EXPECT_EQ(d.minute, 0);
    EXPECT_EQ(d.second, 0);

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
    Date bad = make(2003, 13, 32, 25, 61);
    bad.second = 99;
    DATE_num_sec(&bad);
    EXPECT_EQ(bad.month, 1);
    EXPECT_EQ(bad.day, 1);
    EXPECT_EQ(bad.hour, 0);
    EXPECT_EQ(bad.minute, 0);
    EXPECT_EQ(bad.second, 0);
    Date huge = make(10000, 1, 1, 0, 0);
    DATE_num_sec(&huge);
    Date biggest = make(2147483647, 12, 31, 23, 59);
    DATE_num_sec(&biggest);
}

TEST_F(Dates, SequenceStrings) {
    char out[13];
    Date d = make(2003, 1, 15, 12, 5);
    EXPECT_EQ(DATE_make_seq(&d, out), 0);
    EXPECT_STREQ(out, "200301151205");
    Date unset;
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
    const char* lower[] = {"jan", "feb", "mar", "apr", "may", "jun",
                           "jul", "aug", "sep", "oct", "nov", "dec"};
    for (int m = 1; m <= 12; m++) {
        EXPECT_STREQ(DATE_month(m), upper[m - 1]);
        EXPECT_STREQ(DATE_month_lower(m), lower[m - 1]);
        EXPECT_EQ(DATE_decode_month(upper[m - 1]), m);
        EXPECT_EQ(DATE_decode_month(lower[m - 1]), m);
        EXPECT_EQ(DATE_decode_month((std::string(upper[m - 1]) + "UARY").c_str()), m);
    }
    EXPECT_STREQ(DATE_month(0), "");
    EXPECT_STREQ(DATE_month(13), "");
    EXPECT_STREQ(DATE_month_lower(-9999), "");
    // Mixed case is deliberately not understood, except where the first letter decides.
    EXPECT_EQ(DATE_decode_month("Jan"), 0);
    EXPECT_EQ(DATE_decode_month("Mar"), 0);
    EXPECT_EQ(DATE_decode_month("Apr"), 0);
    EXPECT_EQ(DATE_decode_month("Feb"), 2);
    EXPECT_EQ(DATE_decode_month("Dec"), 12);
    EXPECT_EQ(DATE_decode_month("J"), 0);
    EXPECT_EQ(DATE_decode_month("M"), 0);
    EXPECT_EQ(DATE_decode_month(""), 0);
    EXPECT_EQ(DATE_decode_month(nullptr), 0);
    EXPECT_EQ(DATE_decode_month("xyz"), 0);
}

TEST_F(Dates, LabelFormsInUtc) {
    Date d = make(2003, 1, 15, 12, 0);
    EXPECT_EQ(label(d), "1200Z 15 JAN 03");
    d.minute = -9999;
    EXPECT_EQ(label(d), "12Z 15 JAN 03");
    d.hour = -9999;
    EXPECT_EQ(label(d), "15 JAN 03");
    d.day = -9999;
    EXPECT_EQ(label(d), "JAN 03");
    d.month = -9999;
    EXPECT_EQ(label(d), "03");
    Date early = make(2003, 1, 5, 7, 9);
    EXPECT_EQ(label(early), "0709Z  5 JAN 03");
    Date no_year = make(-9999, 1, 15, 12, 0);
    EXPECT_EQ(label(no_year), "1200Z 15 JAN 80");
    Date bad = make(2003, 13, 40, 12, 0);
    EXPECT_EQ(label(bad), "1200Z  1 JAN 03");
    EXPECT_EQ(DATE_make_label(&d, nullptr), -1);
}

TEST_F(Dates, LabelsInZonesEastAndWest) {
    Date d = make(2003, 1, 15, 12, 0);
    DATE_set_TZ("-CST:-6");
    EXPECT_EQ(label(d), "6:00 AM CST [1200Z] 15 JAN 03");
    Date no_minute = d;
    no_minute.minute = -9999;
    EXPECT_EQ(label(no_minute), "6 AM CST [12Z] 15 JAN 03");
    // Back across midnight into the day before.
    Date night = make(2003, 1, 15, 3, 30);
    EXPECT_EQ(label(night), "9:30 PM CST [0330Z] 14 JAN 03");

    DATE_reset();
    DATE_set_TZ("+JST:9");
    EXPECT_EQ(label(d), "9:00 PM JST 15 JAN 03");
    Date late = make(2003, 12, 31, 20, 15);
    EXPECT_EQ(label(late), "5:15 AM JST  1 JAN 04");

    DATE_reset();
    DATE_set_TZ("EET:2");
    EXPECT_EQ(label(d), "1400 EET 15 JAN 03");
    DATE_set_TZ("IST:5.5");
    EXPECT_EQ(label(d), "1730 IST 15 JAN 03");
}

TEST_F(Dates, TwelveHourClockAtNoonAndMidnight) {
    DATE_set_TZ("+UTC:0");
    EXPECT_EQ(label(make(2003, 1, 15, 0, 0)), "12:00 AM UTC 15 JAN 03");
    EXPECT_EQ(label(make(2003, 1, 15, 12, 30)), "12:30 PM UTC 15 JAN 03");
    EXPECT_EQ(label(make(2003, 1, 15, 23, 1)), "11:01 PM UTC 15 JAN 03");
    EXPECT_EQ(label(make(2003, 1, 15, 0, -9999)), "12 AM UTC 15 JAN 03");
    EXPECT_EQ(label(make(2003, 1, 15, 12, -9999)), "12 PM UTC 15 JAN 03");
    EXPECT_EQ(label(make(2003, 1, 15, 13, -9999)), "1 PM UTC 15 JAN 03");
}

TEST_F(Dates, ZoneTextsOfAnyKindAreSafe) {
    Date d = make(2003, 1, 15, 12, 0);
    // The name is cut to four letters and the hours are then not reached.
    DATE_set_TZ("-VERYLONGZONENAME:-6");
    EXPECT_EQ(label(d), "12:00 PM VERY [1200Z] 15 JAN 03");
    DATE_reset();
    const std::string long_text(5000, 'Z');
    const char* hostile[] = {
        "", ":", "-", "+:", "X:nan", "X:inf", "X:1e30", "X:-1e30", long_text.c_str()};
    for (const char* text : hostile) {
        DATE_set_TZ(text);
        char out[64];
        ASSERT_EQ(DATE_make_label(&d, out), 0) << text;
        EXPECT_LT(std::strlen(out), 52u);
        DATE_reset();
    }
    EXPECT_EQ(DATE_set_TZ(nullptr), -1);
}

TEST_F(Dates, ValidTimeLabels) {
    Date d = make(2003, 1, 15, 12, 0);
    EXPECT_EQ(valid_label(24, d), "12Z THU 16 JAN 03");
    EXPECT_EQ(valid_label(6, d), "18Z WED 15 JAN 03");
    EXPECT_EQ(valid_label(1024, d), "12Z THU 16 JAN 03");  // modulo 1000
    EXPECT_EQ(valid_label(900, d), "12Z WED 15 JAN 03");
    Date no_hour = d;
    no_hour.hour = -9999;
    EXPECT_EQ(valid_label(24, no_hour), "THU 16 JAN 03");
    DATE_set_TZ("-CST:-6");
    EXPECT_EQ(valid_label(0, d), "6 AM CST [12Z] WED 15 JAN 03");
}

TEST_F(Dates, LabelsDecodeBack) {
    Date d;
    DATE_decode_label("1200Z 15 JAN 03", &d);
    EXPECT_EQ(d.year, 2003);
    EXPECT_EQ(d.month, 1);
    EXPECT_EQ(d.day, 15);
    EXPECT_EQ(d.hour, 12);
    EXPECT_EQ(d.minute, 0);
    DATE_decode_label("12Z 15 JAN 99", &d);
    EXPECT_EQ(d.year, 1999);
    EXPECT_EQ(d.hour, 12);
    EXPECT_EQ(d.minute, -9999);
    DATE_decode_label("GOES-8 IR 07:45:30Z 17 SEP 98", &d);
    EXPECT_EQ(d.hour * 10000 + d.minute * 100 + d.second, 74530);
    EXPECT_EQ(d.month, 9);
    DATE_decode_label(" 945Z 17 SEP 98", &d);
    EXPECT_EQ(d.hour, 9);
    EXPECT_EQ(d.minute, 45);
    // Numbers only: the fourth overwrites the year and no month is known.
    DATE_decode_label("03 01 15 04", &d);
    EXPECT_EQ(d.year, 2004);
    EXPECT_EQ(d.month, 0);
    EXPECT_EQ(d.day, 15);
    // Nothing that reads leaves the year unset.
    const char* junk[] = {"", "garbage", "1:2:3Z"};
    for (const char* text : junk) {
        DATE_decode_label(text, &d);
        EXPECT_EQ(d.year, -9999) << text;
    }
    const std::string digits(300, '9');
    EXPECT_EQ(DATE_decode_label(digits.c_str(), &d), 0);
    // Every label of a day round-trips through its text.
    for (int hour = 0; hour < 24; hour += 5) {
        Date in = make(2010, 6, 7, hour, 42);
        Date out;
        DATE_decode_label(label(in).c_str(), &out);
        EXPECT_EQ(out.year * 100000000LL + out.month * 1000000 + out.day * 10000 + out.hour * 100 +
                      out.minute,
                  201006070000LL + hour * 100 + 42);
    }
}

TEST_F(Dates, ForecastHourTexts) {
    EXPECT_EQ(fhour(12, 0), "12 hour");
    EXPECT_EQ(fhour(12, 1), "0.5 day");
    EXPECT_EQ(fhour(24, 1), "1 day");
    EXPECT_EQ(fhour(36, 1), "1.5 day");
    EXPECT_EQ(fhour(48, 1), "2 day");
    EXPECT_EQ(fhour(60, 1), "2.5 day");
    EXPECT_EQ(fhour(60, 0), "60 hour");
    EXPECT_EQ(fhour(72, 0), "3 day");
    EXPECT_EQ(fhour(72, 1), "3 day");
    EXPECT_EQ(fhour(84, 0), "3.5 day");
    EXPECT_EQ(fhour(90, 0), "90 hour");
    EXPECT_EQ(fhour(903, 0), "3 month");
    EXPECT_EQ(fhour(805, 0), "5 day");
    EXPECT_EQ(fhour(900, 0), "100 day");
    EXPECT_EQ(fhour(0, 1), "");
    EXPECT_EQ(fhour(-9999, 0), "");
    EXPECT_EQ(fhour(-6, 0), "-6 hour");
}

TEST_F(Dates, CurrentStamp) {
    time_t before = time(nullptr);
    char out[32];
    DATE_get_current_str(out);
    struct tm tm {};
    gmtime_r(&before, &tm);
    char expected[32];
    std::strftime(expected, sizeof expected, "%y %b %d  ", &tm);
    for (char* c = expected; *c; c++) *c = static_cast<char>(toupper(*c));
    EXPECT_EQ(std::string(out).substr(0, 11), expected);
    EXPECT_EQ(std::strlen(out), 20u);
}

}  // namespace
