// Dates: the Date record, seconds since 1970 (UTC), labels and sequence strings.
#pragma once

#include <cstdint>

struct Date {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t julian;
    int32_t weekday;
    int32_t hour;
    int32_t minute;
    int32_t second;
};

// Every field -9999, "not given".
int DATE_init(Date* date);
int DATE_is_leap(int year);
// Seconds since 1970 UTC as a 32-bit count; repairs out-of-range fields in the record.
// Past 2038 the count wraps; read as unsigned it stays right up to 2099.
int DATE_num_sec(Date* date);
// The system time, also stored in *seconds when given.
int DATE_get_time(int* seconds);
// Breaks a 32-bit count (read as unsigned) down by UTC; an absent count means now.
int DATE_get_gmdate(const int* seconds, Date* date);
// Day 1 is 1 January 1970.
int DATE_days_date(int days, int* year, int* month, int* day);
int DATE_time_date(int seconds, int* hour, int* minute, int* second);
int DATE_julian_monday(int year, int julian, int* month, int* day);
int DATE_monday_julian(int year, int month, int day, int* julian);
const char* DATE_month(int month);
const char* DATE_month_lower(int month);
int DATE_decode_month(const char* text);
// out needs 13 bytes.
int DATE_make_seq(Date* date, char* out);
int DATE_decode_label(const char* text, Date* date);
// Labels need at most 64 bytes.
int DATE_make_label(const Date* date, char* out);
int DATE_make_label_valid_time(int forecast_hour, const Date* date, char* out);
char* DATE_fhour_label(char* out, int hour, int use_days);
int DATE_set_TZ(const char* text);
int DATE_print(uint32_t level, const Date* date);
// out needs 32 bytes.
char* DATE_get_current_str(char* out);
// Back to UTC on a 24-hour clock; for tests that label in several zones in one process.
void DATE_reset();
