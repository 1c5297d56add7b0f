#include "navigation/area_nav.h"

int AREA_init(AreaFile*) {
    return 0;
}
int AREA_tran(int, float* lat, float* lon, float*, float*) {
    *lat = *lon = -9999.0f;
    return -1;
}
int AREA_line_elem(int, float, float, float* out_line, float* out_elem) {
    *out_line = *out_elem = -9999.0f;
    return -1;
}
int AREA_set_res(float, float, float, float) {
    return -1;
}
int AREA_calc_domain(Image*, AreaFile*) {
    return 0;
}
int AREA_pos(const AreaTime*, int, double* xyz) {
    xyz[0] = xyz[1] = xyz[2] = -9999.0;
    return -1;
}
double geolat(int, double) {
    return -9999.0;
}
int sphere_cvt(int, const double*, double*) {
    return -1;
}
int AREA_tran_ground(float* lat, float* lon, float*, float*) {
    *lat = *lon = -9999.0f;
    return -1;
}
void AREA_reset() {}
