#include "env/dates.h"

int DATE_init(Date*) { return -1; }
int DATE_is_leap(int) { return 0; }
int DATE_num_sec(Date*) { return -1; }
int DATE_get_time(int*) { return -1; }
int DATE_get_gmdate(const int*, Date*) { return -1; }
int DATE_days_date(int, int*, int*, int*) { return -1; }
int DATE_time_date(int, int*, int*, int*) { return -1; }
int DATE_julian_monday(int, int, int*, int*) { return -1; }
int DATE_monday_julian(int, int, int, int*) { return -1; }
const char* DATE_month(int) { return ""; }
const char* DATE_month_lower(int) { return ""; }
int DATE_decode_month(const char*) { return 0; }
int DATE_make_seq(Date*, char*) { return -1; }
int DATE_decode_label(const char*, Date*) { return -1; }
int DATE_make_label(const Date*, char*) { return -1; }
int DATE_make_label_valid_time(int, const Date*, char*) { return -1; }
char* DATE_fhour_label(char* out, int, int) { return out; }
int DATE_set_TZ(const char*) { return -1; }
int DATE_print(uint32_t, const Date*) { return -1; }
char* DATE_get_current_str(char* out) { return out; }
void DATE_reset() {}
