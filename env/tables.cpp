#include "env/tables.h"

TableNode::~TableNode() {}
int TAB_init(Table*) {
    return -1;
}
int TAB_create(Table*, int, int, int) {
    return -1;
}
int TAB_key(const Table*, const char*) {
    return 0;
}
int TAB_enter(Table*, const void*, ...) {
    return -1;
}
void* TAB_search(const Table*, int, const char*) {
    return nullptr;
}
int swap_setup(int) {
    return -1;
}
int swap_short(void*) {
    return -1;
}
int swap_long(void*) {
    return -1;
}
int swap_double(void*) {
    return -1;
}
int swap_shorts(void*, int) {
    return -1;
}
int swap_longs(void*, int) {
    return -1;
}
int fswap(float*, float*) {
    return -1;
}
int fswap(int32_t*, int32_t*) {
    return -1;
}
size_t fread_short_swap(void*, FILE*) {
    return 0;
}
size_t fread_long_swap(void*, FILE*) {
    return 0;
}
size_t fread_double_swap(void*, FILE*) {
    return 0;
}
char* wmo_to_id(char* out, int) {
    return out;
}
int id_to_wmo(const char*, int*) {
    return -1;
}
