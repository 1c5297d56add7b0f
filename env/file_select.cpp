#include "env/files.h"

int FILE_get_file(const char*, char*) { return 0; }
int FILE_set_current(const char*, char*) { return -1; }
int FILE_set_file(const char*, char*) { return -1; }
int FILE_first(const Date*) { return -1; }
int FILE_get_next(char*) { return 0; }
int FILE_set_time(const Date*) { return -1; }
int FILE_set_date_off(const Date*, int, char*) { return -1; }
int FILE_get_offset() { return 100000; }
int FILE_num_hour() { return 0; }
int FILE_get_skip() { return 0; }
int FILE_get_num_file() { return 0; }
int FILE_set_def_hours(int) { return -1; }
int FILE_list_file() { return -1; }
int FILE_overwrite(const char*, int) { return 0; }
void FILE_reset() {}
