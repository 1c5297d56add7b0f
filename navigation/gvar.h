// Three-axis satellite navigation (GVAR imager and sounder): orbit and attitude
// coefficients, the derived satellite position and attitude matrix, and the
// transforms between earth coordinates and scan and elevation angles.
#pragma once

#include <cstdint>
#include <cstdio>

struct Image;

// One attitude model: an exponential term, a mean, a sinusoid series and a few
// monomial-sinusoid terms. 55 four-byte items in this order in a block.
struct GattSin {
    float mag;
    float phase;
};

struct GattMono {
    int32_t sin_order;
    int32_t mono_order;
    float mag;
    float phase;
    float angle;
};

struct GattRec {
    float exp_mag;
    float exp_tc;
    float mean;
    int32_t n_sin;
    GattSin sin[15];
    int32_t n_mono;
    GattMono mono[4];
};

// The coefficient record of the current image.
struct GvarNav {
    int32_t nav_type;
    int32_t imc_word;
    int32_t imc_word2;
    float ref_lon;
    float ref_dist;
    float ref_lat;
    float ref_yaw;
    float att_roll;
    float att_pitch;
    float att_yaw;
    double epoch;
    float imc_offset;
    float adj_roll;
    float adj_pitch;
    float adj_yaw;
    float lon_coef[13];
    float dist_coef[11];
    float lat_coef[9];
    float yaw_coef[9];
    float sun_rate;
    float exp_start;
    GattRec roll;
    GattRec pitch;
    GattRec yaw;
    GattRec rma;
    GattRec pma;
    double img_time;
    int32_t instrument;
};

// Size in words of a "GVAR" navigation block.
constexpr int GVAR_BLOCK_WORDS = 640;

// The module's coefficient record, filled by GVAR_load or GVAR_read.
GvarNav& GVAR_nav();

// Loads the coefficient record from a "GVAR" block (640 words, those behind the
// first in host order), sets the instrument constants and runs GVAR_init.
int GVAR_load(const int32_t* block);

int GVAR_init();
int GVAR_read(FILE* file);
int GVAR_calc_domain(Image* image);
int GVAR_gatt_read(GattRec* rec, FILE* file);
double gatt(const GattRec* rec, double wa, double te);
// Converts the 55 scaled integer words of a block's attitude record.
int gatt_init(GattRec* out, const int32_t* words);
int inst2e(double roll, double pitch, double yaw, const double* b, double* bt);
int set_gvar_con(int instr, int ns_cyc, int ns_inc, int ew_cyc, int ew_inc);

// Radians. 0, or 1 with -9999 in both outputs.
int gpoint(double lat, double lon, double* elev, double* scan);
int lpoint(double elev, double scan, double* lat, double* lon);
// Degrees and pixels. 0, or -1 with -9999 in both outputs.
int earth2sat(float lat, float lon, float* line, float* elem);
int sat2earth(float line, float elem, float* lat, float* lon);

double elev_line(int instr, float line);
double scan_angle(int instr, float elem);
int elev_scan2line_pix(double elev, double scan, float* line, float* elem);
float elev_delta();
float scan_delta();
// Sub-satellite point of the current model, radians.
double GVAR_sublat();
double GVAR_sublon();

float gould_float(int32_t word);
int fread_gould_float(float* out, FILE* file);

// Date arithmetic shared with the spin-scan model.
double time50(const int32_t* words);
double timex(int year, int day, int hour, int minute, double seconds);
double timdif(int32_t date1, double hours1, int32_t date2, double hours2);
int32_t mdcon(int dir, int32_t date);
int numyr(int year);
int32_t numdy(int32_t date1, int32_t date2);
double int2deg(int32_t value);
int32_t deg2int(double hours);
int32_t rnd(double x);
