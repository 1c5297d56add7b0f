// Raw point files: the suite's plain-text tables of point data, one station or
// point a line, with an optional head that names the value fields. Up to five
// files are open at once, each addressed by a small handle.
#pragma once

#include <cstdint>

#include "env/colors.h"
#include "env/dates.h"
#include "env/missing.h"

constexpr int RAW_MAX_FILES = 5;
constexpr int RAW_MAX_FIELDS = 75;
constexpr int RAW_LINE_MAX = 400;
constexpr int RAW_TEXT_SIZE = 80;
constexpr int RAW_FORMAT_SIZE = 128;
constexpr int RAW_NAME_SIZE = 20;
constexpr int RAW_INFO_SIZE = 60;
constexpr int RAW_FIELD_FORMAT_SIZE = 40;

// Variable numbers of a read: every value of a line in turn, or none.
constexpr int RAW_VAR_ALL = 1;
constexpr int RAW_VAR_NONE = ZMT_MISSING;
// A value chosen by number n is variable n + RAW_VAR_BASE (values counted from 0).
constexpr int RAW_VAR_BASE = 10;
// Variable numbers below this are numbers; others select a field by name.
constexpr int RAW_VAR_LIMIT = 76;

// Which value a read takes: a variable number, or a field name when `name` is set.
struct RawVar {
    int number = RAW_VAR_ALL;
    char name[RAW_NAME_SIZE] = "";
};

// One point as read. Unset floats are -9999, unset texts empty.
struct RawData {
    char id[RAW_TEXT_SIZE];
    int32_t num_id;  // from an identifier of more than 4 characters
    float lat;
    float lon;
    float value;
    float value2;
    char text[RAW_TEXT_SIZE];
    char format[RAW_FORMAT_SIZE];
    Attrib attrib;
};

// The head of a file.
struct RawInfo {
    char label[RAW_LINE_MAX + 1];  // the date label as written
    Date date;
    char info[RAW_LINE_MAX + 1];
};

int RAW_file_open(const char* request, RawVar* var, char* format, int mode);
int RAW_open(const char* name, int mode, int* type);
int RAW_chktype(const char* name);
int RAW_getinfo(int handle, RawInfo* info);
// One point. *line < 0 (or no line) reads on; 0 starts again; a number reads that
// data line, the current one again. *line gets the number of the line read.
// Returns 0, 1 when more values of the same line wait, -1 at the end.
int RAW_read(int handle, RawData* data, const RawVar* var, int* line);
int RAW_dec_line(int handle, int field, RawData* data, const char* text);
int RAW_rewind(int handle);
int RAW_close(int handle);
int RAW_get_field_ind(int handle, const RawVar* var);
const char* RAW_get_field_info(int handle, const RawVar* var);
int RAW_get_num_fields(int handle);
const char* RAW_get_field_name(int handle, int field);
int RAW_data_init(RawData* data);
// Closes every handle whatever its type; for tests that open many files in one process.
void RAW_reset();
