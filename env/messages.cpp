#include "env/messages.h"

#include <cstdlib>

int MESS_set(int, uint32_t) { return -1; }
uint32_t MESS_get() { return 0; }
int MESS_check_set() { return 0; }
int MESS_check(uint32_t) { return 0; }
int MESS_set_out(int) { return -1; }
int MESS_set_page(int) { return -1; }
int MESS_get_max_lines() { return 0; }
int MESS_hold(uint32_t, const char*) { return -1; }
int MESS_file(const char*, const char*) { return -1; }
int MESS_file_close() { return -1; }
int MESS_print(uint32_t, const char*, ...) { return 0; }
int MESS_print_prog(const char*) { return -1; }
int MESS_set_str(const char*) { return -1; }
void MESS_reset() {}

int FLAG_get(int) { return 0; }
int FLAG_getl(int) { return 0; }
int FLAG_set(int, int) { return -1; }
int FLAG_setl(int, int) { return -1; }
int FLAG_reset(int) { return -1; }
int FLAG_resetl(int) { return -1; }
int FLAG_batch() { return 0; }
int FLAG_help() { return 0; }
int FLAG_set_batch(int) { return -1; }
int FLAG_setplot(int, int) { return -1; }
int FLAG_getplot(int) { return 0; }
int FLAG_resetplot(int) { return -1; }

const char* ZMT_version() { return ""; }
void ZMT_exit(int code) { std::exit(code); }
int ZMT_init_time() { return -1; }
float ZMT_elapse_time() { return 0.0f; }
int ZMT_sleep(float) { return -1; }
int ZMT_set_command(const char*) { return 0; }
float ZMT_promptf(const char*) { return 0.0f; }
char* ZMT_prompts(const char*, char* buffer, int) { return buffer; }
int ZMT_back_proc() { return 0; }

int parse_string(const char*, char, int* count, char*** array) { if (count) *count = 0; if (array) *array = nullptr; return -1; }
void free_parsed_array(int, char**) {}
int stricmp(const char*, const char*) { return 1; }
int strnicmp(const char*, const char*, int) { return 1; }
int low_string(char*) { return 0; }
int trim_cr_string(char*) { return 0; }
int trim_string(char*) { return 0; }
int wstrim_string(char*) { return 0; }
int fill_string(char*, char, char) { return 0; }
int clean_line(char*) { return 0; }
char* set_num(char* out, const char*, float) { return out; }

int fgetstring(FILE*, char*, int) { return -1; }
int fgetnline(FILE*, char*, int) { return -1; }
int fgetline(FILE*, char*) { return -1; }
int fskipline(FILE*) { return -1; }
