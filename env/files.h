// Data file naming by date templates, and the selection of the file or run of
// files a plot shows.
#pragma once

#include <cstdio>

#include "env/dates.h"

// Size of every file name buffer this module writes into: callers pass at least this.
constexpr int FILE_NAME_SIZE = 160;

// Name conventions and templates.
int FILE_set_name(const char* tag);
int FILE_set_key(int key, const char* text);
int FILE_set_key(const char* key, const char* text);  // the key is the first character
int FILE_get_key(int key, char* buffer);              // buffer needs 30 bytes
int FILE_set_date(const Date* date, char* out);
int FILE_hdr_set_date(const Date* date, char* out);
int FILE_save_name_conv();
int FILE_restore_name_conv();
int FILE_get_late_off();
int FILE_set_min_size(int bytes);
int FILE_get_min_size();
int FILE_get_date(Date* date);
int FILE_set_type(int type);
int FILE_type(const char* name);

// Paths and files.
int FILE_fullpath(const char* name);
int FILE_is_stdio(const char* name);
char* FILE_add_path_delim(char* path);
char* FILE_add_path(const char* directory, const char* name, char* out);
char* FILE_add_user_path(const char* name, char* out);
int FILE_exist(const char* name);
int FILE_is_dir(const char* name);
int FILE_size(const char* name);
int FILE_delete(const char* name);
FILE* FILE_open(const char* name, const char* mode);
int FILE_make_dir(const char* path, int leave);
int FILE_extract_extra_info(char* name);

// Selection of the file or the run of files.
int FILE_get_file(const char* prompt, char* out);
int FILE_set_current(const char* expression, char* out);
int FILE_set_file(const char* name, char* out);
int FILE_first(const Date* date);
int FILE_get_next(char* out);
int FILE_set_time(const Date* date);
int FILE_set_date_off(const Date* date, int seconds, char* out);
int FILE_get_offset();
int FILE_num_hour();
int FILE_get_skip();
int FILE_get_num_file();
int FILE_set_def_hours(int hours);
int FILE_list_file();
int FILE_overwrite(const char* name, int mode);

// Back to the state of a fresh process; for tests that select files several times.
void FILE_reset();
