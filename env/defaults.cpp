#include "env/defaults.h"

int DEF_prog() { return -1; }
int DEF_name(const char*) { return -1; }
int DEF_clr_tag() { return -1; }
int DEF_tag(const char*) { return -1; }
int DEF_open(const char*) { return -1; }
int DEF_close() { return -1; }
int DEF_get(char*, char*) { return -1; }
int DEF_cmp(const char*, const char*) { return 0; }
int DEF_valid(const char*) { return 0; }
char* DEF_parse_name(const char*, char* out) { return out; }
int DEF_env(const char*, const char*, char*) { return 0; }
void DEF_reset() {}
