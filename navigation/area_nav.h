// AREA navigation: the point transform between earth coordinates and the
// satellite's line and element (spin-scan "GOES" here, three-axis "GVAR" through
// gvar.h), and the image domain of every navigation type of an AREA file.
#pragma once

#include <cstdint>

struct AreaFile;
struct Image;

// A date (yyddd) and an hour of that day.
struct AreaTime {
    int32_t date;
    double hours;
};

// Loads the navigation state from an AREA file. Always 0.
int AREA_init(AreaFile* area);
// Mode 1: line and element to latitude and longitude; mode 2: the reverse;
// mode 3: the sub-satellite point. Degrees, satellite coordinates. 0, or -1 with
// -9999 in what could not be found.
int AREA_tran(int mode, float* lat, float* lon, float* line, float* elem);
// dir 1: image line and element to satellite coordinates; any other: back.
int AREA_line_elem(int dir, float line, float elem, float* out_line, float* out_elem);
int AREA_set_res(float lcor, float ecor, float lres, float eres);
// Builds the image's Domain. Always 0.
int AREA_calc_domain(Image* image, AreaFile* area);
// Satellite position (km) at a date and hour; flag 0 earth-fixed, else inertial.
int AREA_pos(const AreaTime* time, int flag, double* xyz);
double geolat(int dir, double lat);
int sphere_cvt(int dir, const double* xyz, double* out);

// Earth to satellite coordinates for the spin-scan model with the ground point
// formed, which mode 2 of AREA_tran never does; for "GVAR" the same as mode 2.
int AREA_tran_ground(float* lat, float* lon, float* line, float* elem);
// Forgets the derived orbit and scan geometry of the spin-scan model and the
// navigation type, so that another image can be loaded (tests, fuzzing).
void AREA_reset();
