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

int DATE_init(Date* date);
// (the rest of the DATE_ interface is declared below by the dates module)
