#include "env/resources.h"

int RES_init(int, char**, const int*, const int*) { return 0; }
int RES_decode(const char*, const char*, int, char**, ResObj*) { return -1; }
int RES_fill_obj(ResObj*, const char*, const char*, const char*, int, void*, int*) { return 0; }
int RES_enter(ResObj*, int) { return 0; }
int RES_help_print(const char*, const int*, const int*) { return 0; }
int RES_help_item(int) { return 0; }
const char* RES_get(const char*) { return nullptr; }
int RES_getval(const char*, void*, int) { return 0; }
int RES_getvals(const char*, int* count, char*** array) { if (count) *count = 0; if (array) *array = nullptr; return 0; }
int RES_conv_data(const char*, void*, int) { return 0; }
int RES_new(int, const char*, const char*, int) { return -1; }
int RES_put(const char*, const char*) { return -1; }
int RES_append(int, const char*, const char*, int) { return -1; }
int RES_list() { return 0; }
int RES_setCL(int, char**) { return 0; }
const char* RES_get_prog() { return nullptr; }
char* RES_get_progname(char* buffer) { return buffer; }
int RES_set_device(const char*) { return 1; }
void RES_reset() {}
