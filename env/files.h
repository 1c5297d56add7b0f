// Data file naming by date templates, and the selection of the file or run of
// files a plot shows.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "env/dates.h"

// Size of every file name buffer this module writes into: callers pass at least this.
constexpr int FILE_NAME_SIZE = 160;

// Name conventions and templates.
int FILE_set_name(const char* tag);
// FILE_set_name for a tag the user typed (-of, -if): a template given directly
// ("@template", or a tag no convention file knows) then makes names that may open a
// pipe; a template read from a convention file never does.
int FILE_set_name_user(const char* tag, int user_typed);
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
// Where a table of the program is: `name` in `directory` (a path resource's value;
// none or empty is the working directory), else among the tables installed with the
// program. Non-zero when a file was found;
// `out` is then its path, otherwise the first path tried, for the caller's message.
// A full name, standard input or a "|command" is left as it stands, to the opener.
int FILE_find_table(const char* directory, const char* name, std::string* out);
// The installed copy of table `name`, or "" when there is none.
std::string FILE_installed_table(const char* name);
int FILE_exist(const char* name);
int FILE_is_dir(const char* name);
int FILE_size(const char* name);
int FILE_delete(const char* name);
// Opens a file for reading or, through FILE_make_dir, for writing. Safe for names
// that come out of files: a name beginning with "|" is refused with a message naming
// it (unless it is the very name the user typed, FILE_typed_name). An input that is
// a directory, FIFO or device is refused before it is opened, with a message; the
// caller reports as for any failed open. "-", "std" and "stdn" are standard input or
// output.
FILE* FILE_open(const char* name, const char* mode);
// FILE_open for a name the user typed: with `user_typed` non-zero a name beginning
// with "|" opens a pipe to the command behind it; with zero it is FILE_open.
FILE* FILE_open_user(const char* name, const char* mode, int user_typed);
// FILE_open that also takes the "|" rule from where the value of resource `resource`
// came from (RES_typed): a pipe opens only for a value the user typed.
FILE* FILE_open_res(const char* name, const char* mode, const char* resource);
// Owns a file FILE_open gave and closes it, leaving the standard streams open.
struct FileCloser {
    void operator()(FILE* f) const {
        if (f && f != stdin && f != stdout) std::fclose(f);
    }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;
// Bytes from the position to the end of a regular file; -1 for a stream whose
// size is not known. Readers bound their allocations by it.
long long FILE_bytes_left(FILE* f);

// Output files. Opens `name` for writing via a temporary file in the same directory.
// A name beginning with "|" opens a pipe only when `user_typed` is non-zero, else it
// is refused with a message naming it. A name beginning with "+" appends (copy the
// existing file to the temporary first so the rename still completes it). Returns
// null on failure, with a message naming the file; the output failure is recorded.
FILE* FILE_create(const char* name, const char* mode, int user_typed);
// Completes a file from FILE_create: checks for write errors, closes, renames the
// temporary into place (pclose for a pipe, reporting a broken pipe instead of dying
// of SIGPIPE). 0, or -1 with a message naming the file; on failure the temporary is
// removed and the process-wide output failure is recorded.
int FILE_commit(FILE* fp);
// Abandons a file from FILE_create: closes and removes the temporary.
void FILE_discard(FILE* fp);
// Non-zero once any output could not be written; main ends with exit code 12 then.
int FILE_output_failed();
// Records an output failure that did not go through FILE_commit (a writer that found
// its data unusable after FILE_create); the run then ends with exit code 12.
void FILE_set_output_failed();

// Bounds of every text table: a table longer than this many bytes, or with more
// lines, is cut there with a message, so a huge or endless file ends quickly.
constexpr long FILE_TEXT_MAX_BYTES = 16L * 1024 * 1024;
constexpr long FILE_TEXT_MAX_LINES = 200000;
// Counts a text table as it is read, one character at a time: take(c) is false once
// the table is over a bound, after one message naming the file.
struct TextBudget {
    explicit TextBudget(const char* file_name) : name(file_name ? file_name : "") {}
    bool take(int c) {
        if (over) return false;
        if (++bytes <= FILE_TEXT_MAX_BYTES && (c != '\n' || ++lines <= FILE_TEXT_MAX_LINES))
            return true;
        return over_bound();
    }
    bool over_bound();  // reports and returns false
    // The next line without its newline, of which the first `keep` characters are
    // kept; false at the end of the file and at the bounds.
    bool read_line(FILE* file, std::string& line, size_t keep);

    const char* name;
    long bytes = 0;
    long lines = 0;
    bool over = false;
};
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
// Non-zero when `name` is a "|command" the user typed: a file name on the command line
// or at the prompt, or a name made from a typed template. FILE_open and FILE_create
// open a pipe for such a name.
int FILE_typed_name(const char* name);

// Back to the state of a fresh process; for tests that select files several times.
void FILE_reset();
