#include "env/colors.h"

int CLR_clear_table() { return -1; }
int CLR_read_table(const char*) { return -1; }
int CLR_get_num() { return 0; }
int CLR_get_num_fill() { return 0; }
const char* CLR_get_name(int) { return ""; }
int CLR_get_rgb(int, float*, float*, float*) { return -1; }
int CLR_add(const char*, float, float, float) { return -1; }
int CLR_get_ind(const char*) { return -1; }
int ATTRIB_init(Attrib*) { return -1; }
int ATTRIB_update(Attrib*, const Attrib*) { return -1; }
int ATTRIB_parse(const char*, Attrib*) { return -1; }
int ATTRIB_get(const char*, const char*, Attrib*) { return 0; }
int ATTRIB_print(const Attrib*) { return -1; }
int ATTR_parse_fill_pat(const char*) { return 0; }
int ATTR_parse_marker(const char*) { return 0; }
