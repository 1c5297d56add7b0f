#include "env/domains.h"

int DOM_init(Domain*) {
    return -1;
}
int DOM_decode(const char*, Domain*) {
    return -1;
}
int DOM_set_params(int, char**, Domain*, ...) {
    return 1;
}
int DOM_proj_str(const char*) {
    return -1;
}
int DOM_search_file(const char*, const char*, char*) {
    return 0;
}
int DOM_read_menu(const char*) {
    return 0;
}
const DomMenuEntry* DOM_get_menu() {
    return nullptr;
}
int DOM_get_num_regs() {
    return 0;
}
int DOM_get_def_region(const char*, Domain*) {
    return 0;
}
double DOM_aspect(const Domain*) {
    return 1.0;
}
int DOM_comp(const Domain*, const Domain*) {
    return 0;
}
int DOM_print(uint32_t, const Domain*) {
    return 0;
}
int DOM_set_base_prior(float) {
    return 0;
}
int DOM_get_prior() {
    return 0;
}
int DOM_set_loc_prior(int) {
    return 0;
}
int DOM_get_loc_prior() {
    return 0;
}
