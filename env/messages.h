// Messages gated by a 32-bit level mask, the process flag tables, process
// services (ZMT_) and the text helpers every module shares.
#pragma once

#include <cstdint>
#include <cstdio>

// Message level masks.
constexpr uint32_t MESS_PRINT = 0x0000000F;
constexpr uint32_t MESS_ERROR = 0x00000030;
constexpr uint32_t MESS_WARN = 0x000000C0;
constexpr uint32_t MESS_MESS = 0x00000F00;
constexpr uint32_t MESS_OUT1 = 0x0000F000;
constexpr uint32_t MESS_OUT2 = 0x000F0000;
constexpr uint32_t MESS_OUT3 = 0x00F00000;
constexpr uint32_t MESS_OUT4 = 0x0F000000;
constexpr uint32_t MESS_DEBUG = 0xF0000000;
// Single sub-levels of a class (the letters a to d of "-me", counted from the class's
// lowest bit), for reports that only the one sub-level turns on.
constexpr uint32_t MESS_WARN_A = 0x00000040;
constexpr uint32_t MESS_MESS_D = 0x00000800;
constexpr uint32_t MESS_DEBUG_A = 0x10000000;
constexpr uint32_t MESS_DEBUG_B = 0x20000000;
constexpr uint32_t MESS_DEBUG_C = 0x40000000;
constexpr uint32_t MESS_DEBUG_D = 0x80000000;

// Exit codes of the program.
constexpr int ZMT_EXIT_OK = 0;         // normal end, and after help
constexpr int ZMT_EXIT_DETACH = 1;     // the batch detach failed
constexpr int ZMT_EXIT_GRAPHICS = 4;   // graphics could not be opened
constexpr int ZMT_EXIT_QUEUE = 7;      // the loop window queue did not respond
constexpr int ZMT_EXIT_NO_INPUT = 10;  // no file, or no file could be read
constexpr int ZMT_EXIT_OUTPUT = 12;    // an output could not be written

int MESS_set(int op, uint32_t mask);
uint32_t MESS_get();
int MESS_check_set();
int MESS_check(uint32_t level);
int MESS_set_out(int value);
int MESS_set_page(int value);
int MESS_get_max_lines();
int MESS_hold(uint32_t level, const char* text);
int MESS_file(const char* name, const char* mode);
int MESS_file_close();
int MESS_print(uint32_t level, const char* format, ...) __attribute__((format(printf, 2, 3)));
int MESS_print_prog(const char* title);
int MESS_set_str(const char* text);
// MESS_set_str for a setting the user typed: a log name "|command" may open a pipe.
int MESS_set_str_user(const char* text, int user_typed);
// Back to the compiled-in state; for tests that run several configurations in one process.
void MESS_reset();

int FLAG_get(int id);
int FLAG_getl(int id);
int FLAG_set(int id, int value);
int FLAG_setl(int id, int value);
int FLAG_reset(int value);
int FLAG_resetl(int value);
int FLAG_batch();
int FLAG_help();
int FLAG_set_batch(int value);
int FLAG_setplot(int index, int value);
int FLAG_getplot(int index);
int FLAG_resetplot(int value);

const char* ZMT_version();
// Leaves the process; a normal end (0) becomes ZMT_EXIT_OUTPUT once an output failed.
[[noreturn]] void ZMT_exit(int code);
int ZMT_init_time();
float ZMT_elapse_time();
int ZMT_sleep(float seconds);
int ZMT_set_command(const char* line);
float ZMT_promptf(const char* prompt);
char* ZMT_prompts(const char* prompt, char* buffer, int size);
int ZMT_back_proc();

int parse_string(const char* text, char delimiter, int* count, char*** array);
void free_parsed_array(int count, char** array);
int stricmp(const char* a, const char* b);
int strnicmp(const char* a, const char* b, int n);
int low_string(char* text);
int trim_cr_string(char* text);
int trim_string(char* text);
int wstrim_string(char* text);
int fill_string(char* text, char from, char to);
int clean_line(char* text);
char* set_num(char* out, const char* format, float value);

int fgetstring(FILE* file, char* buffer, int size);
int fgetnline(FILE* file, char* buffer, int size);
int fgetline(FILE* file, char* buffer);
int fskipline(FILE* file);
