// The process-wide resource database and the command line parser.
#pragma once

struct Date;

// Type codes of resources and of RES_conv_data.
enum ResType {
    RES_BOOLEAN = 1,
    RES_INTEGER = 2,
    RES_SHORT = 3,
    RES_LONG = 4,
    RES_FLOAT = 5,
    RES_STRING = 6,
    RES_STRCOPY = 7,
    RES_PATH = 8,
    RES_MESSAGE = 9,
    RES_DRAW = 10,
    RES_CURRENT = 11,
    RES_HOUR = 12,
    RES_REGION = 13,
    RES_NAMECONV = 14,
    RES_INGESTOR = 15,
    RES_FILEPARAM = 16,
    RES_DEVICE = 17,
    RES_PLOTTYPE = 18,
    RES_UINTEGER = 19,
    RES_DOMAIN = 20,
    RES_LIST = 21,
    RES_BATCH = 22,
    RES_HELP = 23,
};

struct Resource {
    int index;
    char* name;
    char* value;
    int type;
    Resource* next;
};

struct ResObj {
    const char* name;
    const char* env;
    const char* key;  // a switch name, or a position (1..10) cast to a pointer
    int type;
    void* value_ptr;
    int* count_ptr;
};

int RES_init(int argc, char** argv, const int* keyed_ids, const int* positional_ids);
int RES_decode(const char* program, const char* unused, int argc, char** argv, ResObj* table);
int RES_fill_obj(ResObj* row, const char* name, const char* env, const char* key, int type,
                 void* value_ptr, int* count_ptr);
int RES_enter(ResObj* row, int id);
int RES_help_print(const char* program, const int* keyed_ids, const int* positional_ids);
int RES_help_item(int id);
const char* RES_get(const char* name);
// Non-zero when resource `name` is set and its value was typed by the user: on the
// command line, in the environment, at a prompt (RES_put, RES_new), or in a defaults
// file of a list the user named (-df, -default, zmtdefault). Zero when it is unset or
// came from a defaults file found through the built-in list (the working directory)
// or from a loop window. Only a typed value may open a pipe ("|command").
int RES_typed(const char* name);
int RES_getval(const char* name, void* destination, int type);
int RES_getvals(const char* name, int* count, char*** array);
int RES_conv_data(const char* text, void* destination, int type);
int RES_new(int index, const char* name, const char* value, int type);
int RES_put(const char* name, const char* value);
int RES_append(int index, const char* name, const char* value, int type);
int RES_list();
int RES_setCL(int argc, char** argv);
const char* RES_get_prog();
// Copies without a bound: `buffer` must hold the base name of argv[0]; pass nullptr to
// have it allocated.
char* RES_get_progname(char* buffer);
int RES_set_device(const char* text);
// The time of interest of a `hour` value (-ho) as a Date: year, month, day, hour and minute,
// -9999 where not given, negative values being offsets from now. Returns 1.
int RES_hour_date(const char* text, Date* date);
// Drops every resource; for tests that decode several command lines in one process.
void RES_reset();
