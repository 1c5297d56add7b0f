#include "maps/projections.h"

int MAP_domain(const Domain*) {
    return -1;
}
const Domain* MAP_get_domain(Domain*) {
    return nullptr;
}
int MAP_proj(int) {
    return 0;
}
int MAP_coord(float, float) {
    return 0;
}
int MAP_get_proj() {
    return -9999;
}
float MAP_get_clat() {
    return -9999.0f;
}
float MAP_get_clon() {
    return -9999.0f;
}
int MAP_get_limits(float*) {
    return 0;
}
int MAP_set_limits() {
    return 0;
}
int MAP_tran(float, float, float*, float*) {
    return 0;
}
int MAP_untran(float, float, float*, float*) {
    return 0;
}
int MAP_tran_center(float*, float*) {
    return 0;
}
int MAP_grid_tran(float, float, float*, float*) {
    return 0;
}
int MAP_grid_untran(float, float, float*, float*) {
    return 0;
}
int MAP_in_grid_domain(float, float) {
    return 0;
}
int MAP_domain_tran(const Domain*, const Domain*, float, float, float*, float*) {
    return 0;
}
int MAP_set_plot_limit(int) {
    return 0;
}
int MAP_get_plot_limit() {
    return 0;
}
float MAP_factor(float) {
    return 1.0f;
}
float MAP_dir_adj(float direction, float, float) {
    return direction;
}
