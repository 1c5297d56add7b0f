// Date arithmetic of the suite: seconds since 1970 (UTC) in 32 bits, day-of-year
// conversion, sequence strings and the display labels with an optional local zone.
#include "env/dates.h"
#include "env/missing.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "env/messages.h"

namespace {

constexpr std::array<const char*, 12> months = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
constexpr std::array<const char*, 12> months_lc = {"jan", "feb", "mar", "apr", "may", "jun",
                                                   "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr std::array<const char*, 7> day_of_week = {"SUN", "MON", "TUE", "WED",
                                                    "THU", "FRI", "SAT"};
constexpr std::array<int, 13> num_day = {0,   31,  59,  90,  120, 151, 181,
                                         212, 243, 273, 304, 334, 365};
constexpr std::array<int, 13> num_day_leap = {0,   31,  60,  91,  121, 152, 182,
                                              213, 244, 274, 305, 335, 366};

// Labels must fit Image.date_label.
constexpr size_t LABEL_SIZE = 52;

char tz_str[8] = "Z";
int tz_off = 0;
int tz_pm = 0;

// The 32-bit second count wraps like the original unsigned arithmetic; reading it
// back as unsigned keeps dates up to 2106 apart from the sign.
int wrap32(long long value) {
    return static_cast<int>(static_cast<uint32_t>(value));
}

void breakdown(int seconds, Date* date) {
    time_t t = static_cast<time_t>(static_cast<uint32_t>(seconds));
    struct tm tm {};
    if (!gmtime_r(&t, &tm)) {
        DATE_init(date);
        return;
    }
    date->year = tm.tm_year + 1900;
    date->month = tm.tm_mon + 1;
    date->day = tm.tm_mday;
    date->julian = tm.tm_yday + 1;
    date->weekday = tm.tm_wday;
    date->hour = tm.tm_hour;
    date->minute = tm.tm_min;
    date->second = tm.tm_sec;
}

void copy_label(const std::string& text, char* out) {
    size_t n = std::min(text.size(), LABEL_SIZE - 1);
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}

std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* fmt, ...) {
    char buffer[256];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buffer, sizeof buffer, fmt, args);
    va_end(args);
    return buffer;
}

// The 12-hour clock text; minute below 0 leaves the minutes out.
std::string twelve_hour(int hour, int minute) {
    const char* half = hour < 12 ? "AM" : "PM";
    int h = hour;
    if (hour == 0 || hour == 12)
        h = 12;
    else if (hour > 12)
        h = hour - 12;
    if (minute < 0) return format("%d %s%s", h, half, tz_str);
    return format("%d:%2.2d %s%s", h, minute, half, tz_str);
}

bool unsigned_above(int value, unsigned limit) {
    return static_cast<unsigned>(value) > limit;
}

}  // namespace

int DATE_init(Date* date) {
    if (!date) return -1;
    date->year = ZMT_MISSING;
    date->month = ZMT_MISSING;
    date->day = ZMT_MISSING;
    date->julian = ZMT_MISSING;
    date->weekday = ZMT_MISSING;
    date->hour = ZMT_MISSING;
    date->minute = ZMT_MISSING;
    date->second = ZMT_MISSING;
    return 0;
}

int DATE_is_leap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DATE_num_sec(Date* date) {
    if (!date) return 0;
    if (date->year < 0) date->year = 1980;
    if (date->year < 50) date->year += 2000;
    if (date->year < 200) date->year += 1900;
    if (date->month < 1 || date->month > 12) date->month = 1;
    if (unsigned_above(date->day, 31)) date->day = 1;
    if (unsigned_above(date->hour, 23)) date->hour = 0;
    if (unsigned_above(date->minute, 59)) date->minute = 0;
    if (unsigned_above(date->second, 59)) date->second = 0;

    long long secs = date->hour * 3600LL + date->minute * 60LL + date->second;
    secs += (date->day - 1) * 86400LL;
    secs += num_day[date->month - 1] * 86400LL;
    // Leap days by the four-year rule only: right from 1970 to 2099.
    long long y = date->year - 1900LL;
    secs += (y - 70) * 31536000LL;
    if (date->month < 3 && y % 4 == 0)
        secs += (y / 4 - 18) * 86400LL;
    else
        secs += (y / 4 - 17) * 86400LL;
    return wrap32(secs);
}

int DATE_get_time(int* seconds) {
    int now = wrap32(static_cast<long long>(std::time(nullptr)));
    if (seconds) *seconds = now;
    return now;
}

int DATE_get_gmdate(const int* seconds, Date* date) {
    if (!date) return -1;
    breakdown(seconds ? *seconds : DATE_get_time(nullptr), date);
    return 0;
}

int DATE_days_date(int days, int* year, int* month, int* day) {
    int y = 1970;
    // Whole 400-year cycles first, so that a hostile count cannot spin for long.
    constexpr int cycle = 146097;
    if (days > cycle) {
        int n = (days - 1) / cycle;
        days -= n * cycle;
        y += 400 * n;
    }
    for (;;) {
        int length = DATE_is_leap(y) ? 366 : 365;
        if (days <= length) break;
        days -= length;
        y++;
    }
    const auto& table = (y % 4 == 0) ? num_day_leap : num_day;
    int m = 1;
    while (m < 12 && days > table[m]) m++;
    if (year) *year = y;
    if (month) *month = m;
    if (day) *day = days - table[m - 1];
    return 0;
}

int DATE_time_date(int seconds, int* hour, int* minute, int* second) {
    if (hour) *hour = seconds / 3600;
    if (minute) *minute = (seconds / 60) % 60;
    if (second) *second = seconds % 60;
    return 0;
}

int DATE_julian_monday(int year, int julian, int* month, int* day) {
    const auto& table = DATE_is_leap(year) ? num_day_leap : num_day;
    if (julian < 1) julian = 1;
    if (julian > table[12]) julian = table[12];
    int m = 1;
    while (m < 12 && julian > table[m]) m++;
    if (month) *month = m;
    if (day) *day = julian - table[m - 1];
    return 0;
}

int DATE_monday_julian(int year, int month, int day, int* julian) {
    const auto& table = DATE_is_leap(year) ? num_day_leap : num_day;
    if (month < 1) month = 1;
    if (month > 12) month = 12;
    if (julian) {
        long long value = static_cast<long long>(table[month - 1]) + day;
        *julian = static_cast<int>(std::clamp<long long>(value, INT32_MIN, INT32_MAX));
    }
    return 0;
}

const char* DATE_month(int month) {
    return month >= 1 && month <= 12 ? months[month - 1] : "";
}

const char* DATE_month_lower(int month) {
    return month >= 1 && month <= 12 ? months_lc[month - 1] : "";
}

int DATE_decode_month(const char* text) {
    if (!text || !text[0]) return 0;
    switch (text[0]) {
        case 'F':
        case 'f':
            return 2;
        case 'S':
        case 's':
            return 9;
        case 'O':
        case 'o':
            return 10;
        case 'N':
        case 'n':
            return 11;
        case 'D':
        case 'd':
            return 12;
        default:
            break;
    }
    char second = text[1];
    char third = second ? text[2] : '\0';
    // Upper and lower case words are told apart; a mixed-case word gives 0.
    for (int lower = 0; lower < 2; lower++) {
        auto is = [lower](char c, char upper) {
            return c == (lower ? static_cast<char>(upper - 'A' + 'a') : upper);
        };
        if (is(text[0], 'J')) {
            if (is(second, 'A')) return 1;
            if (is(third, 'N')) return 6;
            if (is(third, 'L')) return 7;
            return 0;
        }
        if (is(text[0], 'M')) {
            if (is(third, 'R')) return 3;
            if (is(third, 'Y')) return 5;
            return 0;
        }
        if (is(text[0], 'A')) {
            if (is(third, 'R')) return 4;
            if (is(third, 'G')) return 8;
            return 0;
        }
    }
    return 0;
}

int DATE_make_seq(Date* date, char* out) {
    if (!out) return -1;
    if (!date) {
        out[0] = '\0';
        return -1;
    }
    if (date->year < 0) date->year = 1980;
    if (date->month < 1 || date->month > 12) date->month = 1;
    if (unsigned_above(date->day, 31)) date->day = 1;
    if (unsigned_above(date->hour, 23)) date->hour = 0;
    if (unsigned_above(date->minute, 59)) date->minute = 0;
    std::string seq = format("%4.4d%2.2d%2.2d%2.2d%2.2d", date->year, date->month, date->day,
                             date->hour, date->minute);
    // A year beyond 9999 cannot make the buffer of 13 overflow.
    seq.resize(std::min<size_t>(seq.size(), 12));
    std::memcpy(out, seq.c_str(), seq.size() + 1);
    return 0;
}

int DATE_decode_label(const char* text, Date* date) {
    if (!date) return -1;
    DATE_init(date);
    if (!text) return 0;
    int len = static_cast<int>(std::strlen(text));
    char name[4] = "";
    int a = 0, b = 0, c = 0, d = 0, e = 0, f = 0;
    bool matched = false;
    auto at = [&](int start) -> const char* {
        return start >= 0 && start <= len ? text + start : nullptr;
    };

    if (std::sscanf(text, "%2dZ %2d %3s %2d", &a, &b, name, &c) == 4) {
        date->hour = a;
        date->day = b;
        date->year = c;
        matched = true;
    }
    if (!matched) {
        const char* p = at(len - 15);
        if (p && std::sscanf(p, "%2d%2dZ %2d %3s %2d", &a, &b, &c, name, &d) == 5) {
            if (*p == ' ') std::sscanf(p, "%1d%2d", &a, &b);
            date->hour = a;
            date->minute = b;
            date->day = c;
            date->year = d;
            matched = true;
        }
    }
    if (!matched) {
        const char* p = at(len - 19);
        if (p && std::sscanf(p, "%2d:%2d:%2dZ %2d %3s %2d", &a, &b, &c, &d, name, &e) == 6) {
            date->hour = a;
            date->minute = b;
            date->second = c;
            date->day = d;
            date->year = e;
            matched = true;
        }
    }
    if (!matched) {
        const char* p = at(len - 13);
        if (p && std::sscanf(p, "%2dZ %2d %3s %2d", &a, &b, name, &c) == 4) {
            date->hour = a;
            date->day = b;
            date->year = c;
            matched = true;
        }
    }
    if (!matched && std::sscanf(text, "%2d %2d %2d %2d", &a, &b, &c, &f) == 4) {
        // The fourth number is read into the year again and wins.
        date->year = a;
        date->month = b;
        date->day = c;
        date->year = f;
        name[0] = '\0';
        matched = true;
    }
    // The year rules hold for every text, so an unread year (-9999) comes out shifted.
    if (date->year < 50) date->year += 2000;
    if (date->year < 200) date->year += 1900;
    date->month = DATE_decode_month(name);
    return 0;
}

int DATE_make_label(const Date* date, char* out) {
    if (!out) return -1;
    if (!date) {
        out[0] = '\0';
        return -1;
    }
    Date d = *date;
    int utc_hour = d.hour;
    int utc_minute = d.minute;
    if (tz_off != 0) {
        Date work = d;
        int secs = DATE_num_sec(&work);
        utc_hour = work.hour;
        utc_minute = work.minute;
        breakdown(wrap32(static_cast<long long>(secs) + tz_off), &d);
    }
    int yy = (d.year < 0 ? 1980 : d.year) % 100;
    const char* mon = DATE_month(d.month < 1 || d.month > 12 ? 1 : d.month);
    int day = unsigned_above(d.day, 31) ? 1 : d.day;

    std::string label;
    if (date->month == ZMT_MISSING) {
        label = format("%2.2d", yy);
    } else if (date->day == ZMT_MISSING) {
        label = format("%3s %2.2d", mon, yy);
    } else if (date->hour == ZMT_MISSING) {
        label = format("%2d %3s %2.2d", day, mon, yy);
    } else {
        bool with_minute = date->minute != ZMT_MISSING;
        std::string time;
        if (tz_pm == 0) {
            time = with_minute ? format("%2.2d%2.2d%s", d.hour, d.minute, tz_str)
                               : format("%2.2d%s", d.hour, tz_str);
        } else {
            time = twelve_hour(d.hour, with_minute ? d.minute : -1);
            if (tz_pm < 0)
                time += with_minute ? format(" [%2.2d%2.2dZ]", utc_hour, utc_minute)
                                    : format(" [%2.2dZ]", utc_hour);
        }
        label = format("%s %2d %3s %2.2d", time.c_str(), day, mon, yy);
    }
    copy_label(label, out);
    return 0;
}

int DATE_make_label_valid_time(int forecast_hour, const Date* date, char* out) {
    if (!out) return -1;
    if (!date) {
        out[0] = '\0';
        return -1;
    }
    int offset = ZMT_MISSING;
    if (forecast_hour != ZMT_MISSING) {
        offset = forecast_hour % 1000;
        if (offset == 900 || offset == 800) offset = 0;
    }
    Date d = *date;
    if (d.hour > 23) d.hour = 0;
    if (d.day < 1 || d.day > 31) d.day = 1;
    if (d.month < 1 || d.month > 12) d.month = 1;
    if (d.year < 0) d.year = 1980;
    if (d.minute == ZMT_MISSING) d.minute = 0;
    if (d.hour == ZMT_MISSING) d.hour = 0;

    int secs = wrap32(static_cast<long long>(DATE_num_sec(&d)) + offset * 3600LL);
    Date utc;
    breakdown(secs, &utc);
    Date local;
    breakdown(wrap32(static_cast<long long>(secs) + tz_off), &local);

    std::string time;
    if (tz_pm == 0) {
        time = format("%d%s", local.hour, tz_str);
    } else {
        time = twelve_hour(local.hour, -1);
        if (tz_pm < 0) time += format(" [%2.2dZ]", utc.hour);
    }
    const char* weekday =
        (local.weekday >= 0 && local.weekday < 7) ? day_of_week[local.weekday] : "";
    int yy = local.year % 100;
    std::string label;
    if (date->hour == ZMT_MISSING)
        label = format("%3s %2d %3s %2.2d", weekday, local.day, DATE_month(local.month), yy);
    else
        label = format("%s %3s %2d %3s %2.2d", time.c_str(), weekday, local.day,
                       DATE_month(local.month), yy);
    copy_label(label, out);
    return 0;
}

char* DATE_fhour_label(char* out, int hour, int use_days) {
    if (!out) return out;
    std::string text;
    if (hour >= 901) {
        text = format("%d month", hour - 900);
    } else if (hour >= 801 && hour <= 900) {
        text = format("%d day", hour - 800);
    } else if (use_days && hour == 12) {
        text = "0.5 day";
    } else if (use_days && hour == 24) {
        text = "1 day";
    } else if (use_days && hour == 36) {
        text = "1.5 day";
    } else if (use_days && hour == 48) {
        text = "2 day";
    } else if (use_days && hour == 60) {
        text = "2.5 day";
    } else if (hour > 60 && hour % 24 == 0) {
        text = format("%d day", hour / 24);
    } else if (hour > 60 && hour % 24 == 12) {
        text = format("%d.5 day", hour / 24);
    } else if (hour != 0 && hour != ZMT_MISSING) {
        text = format("%d hour", hour);
    }
    std::memcpy(out, text.c_str(), text.size() + 1);
    return out;
}

int DATE_set_TZ(const char* text) {
    if (!text) return -1;
    const char* p = text;
    if (*p == '-') {
        tz_pm = -1;
        p++;
    } else if (*p == '+') {
        tz_pm = 1;
        p++;
    }
    char name[5] = "";
    float hours = 0.0f;
    int n = std::sscanf(p, "%4[^:]:%f", name, &hours);
    if (n >= 1) std::snprintf(tz_str, sizeof tz_str, " %s", name);
    if (n >= 2) {
        // A zone is a few hours; anything else is bad input and must not overflow.
        if (!std::isfinite(hours) || std::fabs(hours) > 10000.0f) hours = 0.0f;
        tz_off = static_cast<int>(std::lround(hours * 3600.0f));
    }
    return 0;
}

int DATE_print(uint32_t level, const Date* date) {
    if (!date) return -1;
    MESS_print(level, "%d/%d/%d %2.2d:%2.2d:%2.2d\n", date->year, date->month, date->day,
               date->hour, date->minute, date->second);
    return 0;
}

char* DATE_get_current_str(char* out) {
    if (!out) return out;
    Date now;
    DATE_get_gmdate(nullptr, &now);
    std::snprintf(out, 32, "%2.2d %s %2.2d  %2.2d:%2.2d:%2.2dZ", now.year % 100,
                  DATE_month(now.month), now.day, now.hour, now.minute, now.second);
    return out;
}

void DATE_reset() {
    std::strcpy(tz_str, "Z");
    tz_off = 0;
    tz_pm = 0;
}
