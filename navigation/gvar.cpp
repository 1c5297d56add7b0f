#include "navigation/gvar.h"

namespace {
GvarNav gv_nav{};
}

GvarNav& GVAR_nav() {
    return gv_nav;
}
int GVAR_load(const unsigned char*) {
    return -1;
}
int GVAR_init() {
    return -1;
}
int GVAR_read(FILE*) {
    return 0;
}
int GVAR_calc_domain(Image*) {
    return -1;
}
int GVAR_gatt_read(GattRec*, FILE*) {
    return -1;
}
double gatt(const GattRec*, double, double) {
    return -9999.0;
}
int gatt_init(GattRec*, const int32_t*) {
    return -1;
}
int inst2e(double, double, double, const double*, double*) {
    return -1;
}
int set_gvar_con(int, int, int, int, int) {
    return -1;
}
int gpoint(double, double, double* elev, double* scan) {
    *elev = *scan = -9999.0;
    return 1;
}
int lpoint(double, double, double* lat, double* lon) {
    *lat = *lon = -9999.0;
    return 1;
}
int earth2sat(float, float, float* line, float* elem) {
    *line = *elem = -9999.0f;
    return -1;
}
int sat2earth(float, float, float* lat, float* lon) {
    *lat = *lon = -9999.0f;
    return -1;
}
double elev_line(int, float) {
    return -9999.0;
}
double scan_angle(int, float) {
    return -9999.0;
}
int elev_scan2line_pix(double, double, float* line, float* elem) {
    *line = *elem = -9999.0f;
    return -1;
}
float elev_delta() {
    return -9999.0f;
}
float scan_delta() {
    return -9999.0f;
}
double GVAR_sublat() {
    return -9999.0;
}
double GVAR_sublon() {
    return -9999.0;
}
float gould_float(int32_t) {
    return -9999.0f;
}
int fread_gould_float(float*, FILE*) {
    return 0;
}
double time50(const int32_t*) {
    return -9999.0;
}
double timex(int, int, int, int, double) {
    return -9999.0;
}
double timdif(int32_t, double, int32_t, double) {
    return -9999.0;
}
int32_t mdcon(int, int32_t) {
    return -9999;
}
int numyr(int) {
    return -9999;
}
int32_t numdy(int32_t, int32_t) {
    return -9999;
}
double int2deg(int32_t) {
    return -9999.0;
}
int32_t deg2int(double) {
    return -9999;
}
int32_t rnd(double) {
    return -9999;
}
