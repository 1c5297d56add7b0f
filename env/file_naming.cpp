#include "env/files.h"

int FILE_set_name(const char*) { return 0; }
int FILE_set_key(int, const char*) { return -1; }
int FILE_set_key(const char*, const char*) { return -1; }
int FILE_get_key(int, char*) { return -1; }
int FILE_set_date(const Date*, char*) { return -1; }
int FILE_hdr_set_date(const Date*, char*) { return -1; }
int FILE_save_name_conv() { return -1; }
int FILE_restore_name_conv() { return -1; }
int FILE_get_late_off() { return -9999; }
int FILE_set_min_size(int) { return -1; }
int FILE_get_min_size() { return 0; }
int FILE_get_date(Date*) { return -1; }
int FILE_set_type(int) { return -1; }
int FILE_type(const char*) { return -1; }
int FILE_fullpath(const char*) { return 0; }
int FILE_is_stdio(const char*) { return 0; }
char* FILE_add_path_delim(char* path) { return path; }
char* FILE_add_path(const char*, const char*, char* out) { return out; }
char* FILE_add_user_path(const char*, char* out) { return out; }
int FILE_exist(const char*) { return 0; }
int FILE_is_dir(const char*) { return 0; }
int FILE_size(const char*) { return -1; }
int FILE_delete(const char*) { return -1; }
FILE* FILE_open(const char*, const char*) { return nullptr; }
int FILE_make_dir(const char*, int) { return -1; }
int FILE_extract_extra_info(char*) { return -1; }
