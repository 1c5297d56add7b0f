// Three-axis (GVAR) navigation: orbit and attitude model, earth to instrument
// angles and back, and the date arithmetic that the navigation blocks need.
#include "navigation/gvar.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "app/sat_params.h"
#include "env/domains.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "env/tables.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"

namespace {

constexpr double kRad = 0.017453292519943334;
constexpr double kDeg = 57.295779513082195;
// Square of the ratio of equatorial to polar radius, and that less one.
constexpr double kAeBe2 = 1.0067391845079678;
constexpr double kEcc2 = 0.006739184507967844;
constexpr double kRe = 6378.388;
constexpr double kOrbit = 42164.365;

// Instrument constants, imager then sounder.
constexpr std::array<float, 2> kIncMax = {6136.0f, 2805.0f};
constexpr std::array<float, 2> kElevInc = {7.999999979801942e-06f, 1.7500000467407517e-05f};
constexpr std::array<float, 2> kScanInc = {1.5999999959603883e-05f, 3.5000000934815034e-05f};
constexpr std::array<float, 2> kElevDln = {2.8000000384054147e-05f, 0.0002800000074785203f};
constexpr std::array<float, 2> kScanPix = {1.5999999959603883e-05f, 0.0002800000074785203f};
constexpr std::array<float, 2> kElevBnds = {0.22089600563049316f, 0.2208937555551529f};
constexpr std::array<float, 2> kScanBnds = {0.24544000625610352f, 0.24543750286102295f};

GvarNav gv_nav{};

std::array<float, 2> inc_max = kIncMax;
std::array<float, 2> elev_inc = kElevInc;
std::array<float, 2> scan_inc = kScanInc;
std::array<float, 2> elev_dln = kElevDln;
std::array<float, 2> scan_pix = kScanPix;
std::array<float, 2> elev_bnds = kElevBnds;
std::array<float, 2> scan_bnds = kScanBnds;

double dr = 0.0, phi = 0.0, psi = 0.0;
double roll = 0.0, pitch = 0.0, yaw = 0.0;
float rma = 0.0f, pma = 0.0f;
double sublat = 0.0, sublon = 0.0;
std::array<double, 3> xs{};
double q3 = 0.0;
std::array<double, 9> b{};
std::array<double, 9> bt{};
int imc = 0;
int instr = 0;
int sat_id = 0;

// Table index of an instrument number: anything but the sounder reads the
// imager's constants, so that a block with a wild number stays inside the tables.
int inst_index(int k) {
    return k == 1 ? 1 : 0;
}

int32_t word_at(const int32_t* block, int offset) {
    return block[offset / 4];
}

float scaled(int32_t value, double scale) {
    return static_cast<float>(value / scale);
}

// Saturating conversion to a 32-bit integer, NaN as 0.
int32_t to_int(double x) {
    if (std::isnan(x)) return 0;
    if (x >= 2147483647.0) return std::numeric_limits<int32_t>::max();
    if (x <= -2147483648.0) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(x);
}

// Full year of a two-digit year of the navigation blocks.
int64_t full_year(int64_t year) {
    if (year < 50) year += 2000;
    if (year < 200) year += 1900;
    return year;
}

int64_t floor_div(int64_t a, int64_t b) {
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

// Days from a fixed origin to day 0 of a full year, Gregorian calendar.
int64_t days_before(int64_t year) {
    int64_t y = year - 1;
    return 365 * year + floor_div(y, 4) - floor_div(y, 100) + floor_div(y, 400);
}

constexpr std::array<int, 13> kCumCommon = {0,   31,  59,  90,  120, 151, 181,
                                            212, 243, 273, 304, 334, 365};
constexpr std::array<int, 13> kCumLeap = {0,   31,  60,  91,  121, 152, 182,
                                          213, 244, 274, 305, 335, 366};

}  // namespace

GvarNav& GVAR_nav() {
    return gv_nav;
}
double GVAR_sublat() {
    return sublat;
}
double GVAR_sublon() {
    return sublon;
}

int gatt_init(GattRec* out, const int32_t* words) {
    out->exp_mag = scaled(words[0], 10000000.0);
    out->exp_tc = scaled(words[1], 100.0);
    out->mean = scaled(words[2], 10000000.0);
    out->n_sin = words[3];
    for (int i = 0; i < 15; ++i) {
        out->sin[i].mag = scaled(words[4 + 2 * i], 10000000.0);
        out->sin[i].phase = scaled(words[5 + 2 * i], 10000000.0);
    }
    out->n_mono = words[34];
    for (int i = 0; i < 4; ++i) {
        const int32_t* m = words + 35 + 5 * i;
        out->mono[i].sin_order = m[0];
        out->mono[i].mono_order = m[1];
        out->mono[i].mag = scaled(m[2], 10000000.0);
        out->mono[i].phase = scaled(m[3], 10000000.0);
        out->mono[i].angle = scaled(m[4], 10000000.0);
    }
    return 0;
}

int set_gvar_con(int instrument, int ns_cyc, int ns_inc, int ew_cyc, int ew_inc) {
    inc_max = kIncMax;
    elev_inc = kElevInc;
    scan_inc = kScanInc;
    elev_dln = kElevDln;
    scan_pix = kScanPix;
    elev_bnds = kElevBnds;
    scan_bnds = kScanBnds;
    if (ns_cyc == 0 || ns_inc == 0 || ew_cyc == 0 || ew_inc == 0) return 0;
    int k = inst_index(instrument);
    if (gv_nav.instrument == 0)
        elev_bnds[k] =
            (static_cast<float>(ns_cyc) * inc_max[k] + static_cast<float>(ns_inc)) * elev_inc[k];
    else
        elev_bnds[k] =
            (static_cast<float>(9.0 - ns_cyc) * inc_max[k] - static_cast<float>(ns_inc)) *
            elev_inc[k];
    scan_bnds[k] =
        (static_cast<float>(ew_cyc) * inc_max[k] + static_cast<float>(ew_inc)) * scan_inc[k];
    return 0;
}

int GVAR_load(const int32_t* block) {
    GvarNav& n = gv_nav;
    n.nav_type = word_at(block, 0);
    n.imc_word = word_at(block, 4);
    n.imc_word2 = word_at(block, 8);
    n.ref_lon = scaled(word_at(block, 20), 10000000.0);
    n.ref_dist = scaled(word_at(block, 24), 10000000.0);
    n.ref_lat = scaled(word_at(block, 28), 10000000.0);
    n.ref_yaw = scaled(word_at(block, 32), 10000000.0);
    n.att_roll = scaled(word_at(block, 36), 10000000.0);
    n.att_pitch = scaled(word_at(block, 40), 10000000.0);
    n.att_yaw = scaled(word_at(block, 44), 10000000.0);
    n.epoch = time50(block + 48 / 4);
    n.imc_offset = scaled(word_at(block, 56), 100.0);
    n.adj_roll = scaled(word_at(block, 60), 10000000.0);
    n.adj_pitch = scaled(word_at(block, 64), 10000000.0);
    n.adj_yaw = scaled(word_at(block, 68), 10000000.0);
    for (int i = 0; i < 13; ++i) n.lon_coef[i] = scaled(word_at(block, 72 + 4 * i), 10000000.0);
    for (int i = 0; i < 11; ++i) n.dist_coef[i] = scaled(word_at(block, 124 + 4 * i), 10000000.0);
    for (int i = 0; i < 9; ++i) n.lat_coef[i] = scaled(word_at(block, 168 + 4 * i), 10000000.0);
    for (int i = 0; i < 9; ++i) n.yaw_coef[i] = scaled(word_at(block, 204 + 4 * i), 10000000.0);
    n.sun_rate = scaled(word_at(block, 240), 10000000.0);
    n.exp_start = scaled(word_at(block, 244), 100.0);
    gatt_init(&n.roll, block + 248 / 4);
    gatt_init(&n.pitch, block + 516 / 4);
    gatt_init(&n.yaw, block + 736 / 4);
    gatt_init(&n.rma, block + 1028 / 4);
    gatt_init(&n.pma, block + 1248 / 4);

    int32_t date = word_at(block, 1468);
    int32_t time = word_at(block, 1472);
    int year = 1900 + date / 1000;
    int day = date % 1000;
    int hour = time / 10000000;
    int minute = (time % 10000000) / 100000;
    double seconds = (time % 100000) / 1000.0;
    n.img_time = timex(year, day, hour, minute, seconds);

    n.instrument = static_cast<int32_t>(static_cast<int64_t>(word_at(block, 1476)) - 1);
    instr = n.instrument;
    set_gvar_con(n.instrument, word_at(block, 1516), word_at(block, 1524), word_at(block, 1520),
                 word_at(block, 1528));
    // The flag is the top bit of the byte that leads the third word in memory on
    // the little-endian hosts the block is byte-corrected for: its low-order byte.
    imc = (static_cast<uint32_t>(n.imc_word2) & 0x80u) ? 0 : 1;
    return GVAR_init();
}

double gatt(const GattRec* rec, double wa, double te) {
    double value = rec->mean;
    if (te >= 0.0) value += rec->exp_mag * std::exp(-te / rec->exp_tc);
    int n_sin = rec->n_sin < 15 ? rec->n_sin : 15;
    for (int i = 0; i < n_sin; ++i) value += rec->sin[i].mag * std::cos(i * wa + rec->sin[i].phase);
    int n_mono = rec->n_mono < 4 ? rec->n_mono : 4;
    for (int i = 0; i < n_mono; ++i) {
        const GattMono& m = rec->mono[i];
        value += m.mag * std::pow(wa - m.angle, static_cast<double>(m.mono_order)) *
                 std::cos(m.sin_order * wa + m.phase);
    }
    return value;
}

int inst2e(double r, double p, double y, const double* bm, double* out) {
    const double a[9] = {1.0 - (p * p + y * y) / 2.0, -y, p,         p * r + y,
                         1.0 - (y * y + r * r) / 2.0, -r, r * y - p, r + y * p,
                         1.0 - (p * p + r * r) / 2.0};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[3 * i + j] = bm[3 * i] * a[j] + bm[3 * i + 1] * a[3 + j] + bm[3 * i + 2] * a[6 + j];
    return 0;
}

namespace {

// The orbit's drift since its epoch, `t` seconds: the longitude moved by its
// harmonic series, and the radial distance, latitude and yaw of the orbit.
void orbit_motion(const GvarNav& n, double t, double& lon) {
    double w = t * 0.0043746900000000005;
    double s0 = std::sin(w), c0 = std::cos(w);
    double s1 = std::sin(0.927 * w), c1 = std::cos(0.927 * w);
    double s2 = std::sin(2.0 * w), c2 = std::cos(2.0 * w);
    double s3 = std::sin(1.9268 * w), c3 = std::cos(1.9268 * w);

    const float* L = n.lon_coef;
    lon = lon + L[0] + (L[2] * w + L[1]) * w +
          2.0 * (L[3] * s0 + L[4] * c0 + L[5] * s2 + L[6] * c2 + L[7] * s3 + L[8] * c3 + L[9] * s1 +
                 L[10] * c1 + w * (L[11] * s0 + L[12] * c0));

    const float* R = n.dist_coef;
    dr = R[0] + R[1] * c0 + R[2] * s0 + R[3] * c2 + R[4] * s2 + R[5] * c3 + R[6] * s3 + R[7] * c1 +
         R[8] * s1 + w * (R[9] * c0 + R[10] * s0);

    const float* P = n.lat_coef;
    double u = P[0] + P[1] * c0 + P[2] * s0 + P[3] * c2 + P[4] * s2 + w * (P[5] * c0 + P[6] * s0) +
               P[7] * c1 + P[8] * s1;
    phi = u * (1.0 + u * u / 6.0);

    const float* Y = n.yaw_coef;
    u = Y[0] + Y[1] * s0 + Y[2] * c0 + Y[3] * s2 + Y[4] * c2 + w * (Y[5] * s0 + Y[6] * c0) +
        Y[7] * s1 + Y[8] * c1;
    psi = u * (1.0 + u * u / 6.0);
}

}  // namespace

int GVAR_init() {
    const GvarNav& n = gv_nav;
    double lon = n.ref_lon;
    dr = n.ref_dist;
    phi = n.ref_lat;
    psi = n.ref_yaw;
    roll = n.att_roll;
    pitch = n.att_pitch;
    yaw = n.att_yaw;
    rma = 0.0f;
    pma = 0.0f;

    double t = 0.0;
    if (imc) {
        dr = phi = psi = 0.0;
        t = n.img_time - n.epoch;
        orbit_motion(n, t, lon);
    }

    double sp = std::sin(phi);
    double sy = std::sin(psi);
    double v = sp * sp + sy * sy;
    double ct = std::sqrt(1.0 - v);
    double st = std::sqrt(v);
    double u = (sp == 0.0 && sy == 0.0) ? 0.0 : std::atan2(sp, sy);
    double su = std::sin(u), cu = std::cos(u);
    double sl = std::sin(lon - u), cl = std::cos(lon - u);

    sublat = std::atan(std::tan(phi) * kAeBe2);
    sublon = std::atan2(ct * su, cu) + lon - u;

    b[0] = -su * cl - cu * sl * ct;
    b[1] = -sl * st;
    b[2] = su * sl * ct - cu * cl;
    b[3] = cu * cl * ct - su * sl;
    b[4] = st * cl;
    b[5] = -cu * sl - su * cl * ct;
    b[6] = st * cu;
    b[7] = -ct;
    b[8] = -sp;

    double r = (dr + kOrbit) / kRe;
    xs[0] = -b[2] * r;
    xs[1] = -b[5] * r;
    xs[2] = sp * r;
    q3 = xs[1] * xs[1] + xs[0] * xs[0] + xs[2] * xs[2] * kAeBe2 - 1.0;

    if (imc) {
        double wa = t * n.sun_rate;
        double te = t - n.exp_start;
        roll += gatt(&n.roll, wa, te);
        pitch += gatt(&n.pitch, wa, te);
        yaw += gatt(&n.yaw, wa, te);
        rma = static_cast<float>(gatt(&n.rma, wa, te));
        pma = static_cast<float>(gatt(&n.pma, wa, te));
        roll += n.adj_roll;
        pitch += n.adj_pitch;
        yaw += n.adj_yaw;
    }
    inst2e(roll, pitch, yaw, b.data(), bt.data());
    return 0;
}

int gpoint(double lat, double lon, double* elev, double* scan) {
    double s = std::sin(lat);
    double w = -0.01334333324545034 * s * s;
    double sl = s * (w * (0.375 * w - 0.5) + 1.0) / kAeBe2;
    double w2 = kEcc2 * sl * sl;
    double k = w2 * (0.375 * w2 - 0.5) + 1.0;
    double rr = k * std::sqrt(1.0 - sl * sl);
    double f[3] = {rr * std::cos(lon), rr * std::sin(lon), sl * k};
    double ft[3] = {f[0] - xs[0], f[1] - xs[1], f[2] - xs[2]};
    if (f[0] * ft[0] + f[1] * ft[1] + kAeBe2 * f[2] * ft[2] > 0.0) {
        *elev = *scan = ZMT_DMISSING;
        return 1;
    }
    double u1 = ft[0] * bt[0] + ft[1] * bt[3] + ft[2] * bt[6];
    double u2 = ft[0] * bt[1] + ft[1] * bt[4] + ft[2] * bt[7];
    double u3 = ft[0] * bt[2] + ft[1] * bt[5] + ft[2] * bt[8];
    double sc = std::atan(u1 / std::sqrt(u2 * u2 + u3 * u3));
    double el = -std::atan(u2 / u3);
    *scan = sc - std::sin(el) * rma;
    *elev = el + (1.0 - std::cos(el) / std::cos(sc)) * rma +
            std::sin(el) * pma * (std::tan(sc) + 1.0 / std::cos(sc));
    return 0;
}

int lpoint(double elev, double scan, double* lat, double* lon) {
    double e = elev - (std::tan(scan) + 1.0 / std::cos(scan)) * std::sin(elev) * pma -
               (1.0 - std::cos(elev) / std::cos(scan)) * rma;
    double c = scan + std::sin(elev) * rma;
    double g[3] = {std::sin(c), -std::cos(c) * std::sin(e), std::cos(c) * std::cos(e)};
    double u[3];
    for (int i = 0; i < 3; ++i)
        u[i] = bt[3 * i] * g[0] + bt[3 * i + 1] * g[1] + bt[3 * i + 2] * g[2];
    double q1 = u[0] * u[0] + u[1] * u[1] + kAeBe2 * u[2] * u[2];
    double q2 = u[0] * xs[0] + u[1] * xs[1] + kAeBe2 * u[2] * xs[2];
    double d = q2 * q2 - q1 * q3;
    // A ray that misses the earth by more than the tolerance lands on its limb;
    // only a near miss is refused. The edge of the displayed disk depends on it.
    if (d < -1e-09) {
        d = 0.0;
    } else if (d < 0.0) {
        *lat = *lon = ZMT_DMISSING;
        return 1;
    }
    double h = -(std::sqrt(d) + q2) / q1;
    double p[3] = {u[0] * h + xs[0], u[1] * h + xs[1], u[2] * h + xs[2]};
    double sn = p[2] / std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    *lat = std::atan(kAeBe2 * sn / std::sqrt(1.0 - sn * sn));
    *lon = std::atan2(p[1], p[0]);
    return 0;
}

double elev_line(int instrument, float line) {
    if (instrument == 1) return elev_bnds[1] - (line - 4.5) * elev_dln[1];
    int k = inst_index(instrument);
    return elev_bnds[k] - (line - 2.5) * elev_dln[k];
}

double scan_angle(int instrument, float elem) {
    int k = inst_index(instrument);
    return (elem - 1.0) * scan_pix[k] - scan_bnds[k];
}

int elev_scan2line_pix(double elev, double scan, float* line, float* elem) {
    int k = inst_index(instr);
    double l = (elev_bnds[k] - elev) / elev_dln[k];
    l += (instr == 0) ? 4.5 : 2.5;
    *line = static_cast<float>(l);
    *elem = static_cast<float>((scan + scan_bnds[k]) / scan_pix[k] + 1.0);
    return 0;
}

float elev_delta() {
    return elev_dln[inst_index(instr)];
}
float scan_delta() {
    return scan_pix[inst_index(instr)];
}

int earth2sat(float lat, float lon, float* line, float* elem) {
    double elev = 0.0, scan = 0.0;
    if (!(lat >= -90.0f && lat <= 90.0f) || gpoint(lat * kRad, lon * kRad, &elev, &scan) != 0) {
        *line = *elem = ZMT_FMISSING;
        return -1;
    }
    elev_scan2line_pix(elev, scan, line, elem);
    if (instr == 1) {
        *line = *line * 10.0f - 9.0f;
        *elem = *elem * 10.0f - 9.0f;
    }
    return 0;
}

int sat2earth(float line, float elem, float* lat, float* lon) {
    if (instr == 1) line = (9.0f + (line + 9.0f) / 10.0f) / 10.0f;
    double rlat = 0.0, rlon = 0.0;
    if (lpoint(elev_line(instr, line), scan_angle(instr, elem), &rlat, &rlon) != 0) {
        *lat = *lon = ZMT_FMISSING;
        return -1;
    }
    *lat = static_cast<float>(rlat * kDeg);
    *lon = static_cast<float>(rlon * kDeg);
    return 0;
}

int GVAR_calc_domain(Image* image) {
    Domain& dom = image->domain;
    const char* grid = RES_get("grid_domain");
    if (grid && *grid) {
        SAT_params().tran_sat = 0;
        DOM_decode(grid, &dom);
        return 0;
    }
    DOM_init(&dom);
    dom.proj = 9;
    MAP_proj(9);
    if (SAT_params().tran_sat) {
        float lat = ZMT_FMISSING, lon = ZMT_FMISSING, line = 0.0f, elem = 0.0f;
        AREA_tran(3, &lat, &lon, &line, &elem);
        dom.plat = lat;
        dom.plon = lon;
    }
    dom.param[0] = 421.643f;
    dom.param[1] = 1.0f;
    dom.ext = 1;
    MAP_coord(dom.plat, dom.plon);

    float line = image->height * 0.5f;
    float elem = image->width * 0.5f;
    float sat_line = 0.0f, sat_elem = 0.0f;
    AREA_line_elem(1, line, elem, &sat_line, &sat_elem);
    MESS_print(MESS_DEBUG_D, "%f %f %f %f\n", line, elem, sat_line, sat_elem);
    float lat = ZMT_FMISSING, lon = ZMT_FMISSING;
    AREA_tran(1, &lat, &lon, &sat_line, &sat_elem);
    MESS_print(MESS_DEBUG_D, "1: %f %f %f %f\n", sat_line, sat_elem, lat, lon);
    dom.clat = lat;
    dom.clon = lon;
    dom.nx = image->width;
    dom.ny = image->height;
    dom.dx = static_cast<float>(scan_delta() * image->xres * 421.643);
    dom.dy = static_cast<float>(elev_delta() * image->yres * 421.643);
    MESS_print(MESS_OUT2, "Image domain: ");
    DOM_print(0xF0000, &dom);
    return 0;
}

float gould_float(int32_t word) {
    uint32_t w = static_cast<uint32_t>(word);
    bool negative = (w & 0x80000000u) != 0;
    uint32_t fraction = w & 0xFFFFFFu;
    if (negative) {
        w = 0u - w;
        fraction = (0u - fraction) & 0xFFFFFFu;
    }
    int exponent = static_cast<int>((w >> 24) & 0x7Fu) - 64;
    double value = std::ldexp(static_cast<double>(fraction) * 5.960464477539063e-08, 4 * exponent);
    if (value > std::numeric_limits<float>::max()) value = std::numeric_limits<float>::max();
    return static_cast<float>(negative ? -value : value);
}

int fread_gould_float(float* out, FILE* file) {
    int32_t word = 0;
    int count = static_cast<int>(fread_long_swap(&word, file));
    *out = gould_float(word);
    return count;
}

int GVAR_gatt_read(GattRec* rec, FILE* file) {
    fread_gould_float(&rec->exp_mag, file);
    fread_gould_float(&rec->exp_tc, file);
    fread_gould_float(&rec->mean, file);
    fread_long_swap(&rec->n_sin, file);
    for (GattSin& s : rec->sin) {
        fread_gould_float(&s.mag, file);
        fread_gould_float(&s.phase, file);
    }
    fread_long_swap(&rec->n_mono, file);
    for (GattMono& m : rec->mono) {
        fread_long_swap(&m.sin_order, file);
        fread_long_swap(&m.mono_order, file);
        fread_gould_float(&m.mag, file);
        fread_gould_float(&m.phase, file);
        fread_gould_float(&m.angle, file);
    }
    return 0;
}

int GVAR_read(FILE* file) {
    GvarNav& n = gv_nav;
    swap_setup(1);
    if (std::fseek(file, 90, SEEK_CUR) != 0) return 0;
    int id = std::fgetc(file);
    sat_id = id == EOF ? 0 : id;
    std::fseek(file, 29, SEEK_CUR);
    int32_t words[2] = {0, 0};
    if (fread_long_swap(&words[0], file) != 1) return 0;
    fread_long_swap(&words[1], file);
    n.img_time = time50(words);

    std::fseek(file, 240, SEEK_CUR);
    if (std::fread(&n.nav_type, 4, 1, file) != 1) n.nav_type = 0;
    std::fseek(file, 12, SEEK_CUR);
    n.imc_word = n.imc_word2 = 0;

    fread_gould_float(&n.ref_lon, file);
    fread_gould_float(&n.ref_dist, file);
    fread_gould_float(&n.ref_lat, file);
    fread_gould_float(&n.ref_yaw, file);
    fread_gould_float(&n.att_roll, file);
    fread_gould_float(&n.att_pitch, file);
    fread_gould_float(&n.att_yaw, file);
    words[0] = words[1] = 0;
    fread_long_swap(&words[0], file);
    fread_long_swap(&words[1], file);
    n.epoch = time50(words);
    fread_gould_float(&n.imc_offset, file);
    fread_gould_float(&n.adj_roll, file);
    fread_gould_float(&n.adj_pitch, file);
    fread_gould_float(&n.adj_yaw, file);
    for (float& c : n.lon_coef) fread_gould_float(&c, file);
    for (float& c : n.dist_coef) fread_gould_float(&c, file);
    for (float& c : n.lat_coef) fread_gould_float(&c, file);
    for (float& c : n.yaw_coef) fread_gould_float(&c, file);
    fread_gould_float(&n.sun_rate, file);
    fread_gould_float(&n.exp_start, file);
    GVAR_gatt_read(&n.roll, file);
    GVAR_gatt_read(&n.pitch, file);
    GVAR_gatt_read(&n.yaw, file);
    GVAR_gatt_read(&n.rma, file);
    GVAR_gatt_read(&n.pma, file);

    n.instrument = 0;
    instr = 0;
    // Only the last setting stands: each call starts again from the defaults.
    set_gvar_con(0, 4, 3299, 2, 3025);
    set_gvar_con(0, 4, 3487, 2, 3068);
    set_gvar_con(0, 0, 0, 0, 0);
    set_gvar_con(0, 4, 3487, 2, 3068);
    const char* con = std::getenv("GVARCON");
    if (con) {
        int ns = 0, ew = 0;
        if (std::sscanf(con, "%d,%d", &ns, &ew) == 2) set_gvar_con(n.instrument, 4, ns, 2, ew);
    }
    imc = 1;
    GVAR_init();
    return 1;
}

// Date arithmetic.

double timex(int year, int day, int hour, int minute, double seconds) {
    int64_t y = year;
    int64_t days = day - 2465022 + (y * 1461 + 7011339) / 4 - ((y + 4899) / 100 * 3) / 4;
    return seconds / 60.0 + minute + hour * 60.0 + 1440.0 * static_cast<double>(days);
}

double time50(const int32_t* words) {
    uint32_t w0 = static_cast<uint32_t>(words[0]);
    uint32_t w1 = static_cast<uint32_t>(words[1]);
    auto nib = [](uint32_t w, int i) { return static_cast<int>((w >> (28 - 4 * i)) & 0xFu); };
    int year = nib(w0, 0) * 1000 + nib(w0, 1) * 100 + nib(w0, 2) * 10 + nib(w0, 3);
    int day = nib(w0, 4) * 100 + nib(w0, 5) * 10 + nib(w0, 6);
    int hour = nib(w0, 7) * 10 + nib(w1, 0);
    int minute = nib(w1, 1) * 10 + nib(w1, 2);
    float seconds = static_cast<float>(nib(w1, 3) * 10 + nib(w1, 4));
    seconds += static_cast<float>(nib(w1, 5) * 0.1);
    seconds += static_cast<float>(nib(w1, 6) * 0.01);
    seconds += static_cast<float>(nib(w1, 7) * 0.001);
    return timex(year, day, hour, minute, seconds);
}

int numyr(int year) {
    int64_t full =
        year < 50 ? 2000 + static_cast<int64_t>(year) : 1900 + static_cast<int64_t>(year);
    if ((year % 4 == 0 && full % 100 != 0) || full % 400 == 0) return 366;
    return 365;
}

int32_t numdy(int32_t date1, int32_t date2) {
    int64_t y1 = full_year(date1 / 1000), y2 = full_year(date2 / 1000);
    int64_t days = (days_before(y2) + date2 % 1000) - (days_before(y1) + date1 % 1000);
    if (days > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (days < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(days);
}

double timdif(int32_t date1, double hours1, int32_t date2, double hours2) {
    return numdy(date1, date2) * 1440.0 + (hours2 - hours1) * 60.0;
}

int32_t mdcon(int dir, int32_t date) {
    if (dir == 1) {
        int32_t yy = date / 10000;
        int32_t mm = (date / 100) % 100;
        int32_t dd = date % 100;
        if (mm < 1) mm = 1;
        if (mm > 12) mm = 12;
        const auto& cum = numyr(yy) == 366 ? kCumLeap : kCumCommon;
        return static_cast<int32_t>(static_cast<int64_t>(yy) * 1000 + cum[mm - 1] + dd);
    }
    int32_t yy = date / 1000;
    int32_t ddd = date % 1000;
    const auto& cum = numyr(yy) == 366 ? kCumLeap : kCumCommon;
    if (ddd > cum[12]) ddd = cum[12];
    if (ddd < 1) ddd = 1;
    int mm = 1;
    while (mm < 12 && ddd > cum[mm]) ++mm;
    return static_cast<int32_t>(static_cast<int64_t>(yy) * 10000 + mm * 100 + (ddd - cum[mm - 1]));
}

double int2deg(int32_t value) {
    int64_t v = value < 0 ? -static_cast<int64_t>(value) : value;
    double sign = value < 0 ? -1.0 : 1.0;
    return sign * (static_cast<double>(v / 10000) + static_cast<double>(v / 100 % 100) / 60.0 +
                   static_cast<double>(v % 100) / 3600.0);
}

int32_t deg2int(double hours) {
    double a = std::fabs(hours) + 0.000138888;
    if (!(a < 200000.0)) return hours < 0.0 ? -to_int(a * 10000.0) : to_int(a * 10000.0);
    int32_t whole = to_int(a);
    int32_t secs = to_int((a - whole) * 3600.0);
    int32_t packed = whole * 10000 + (secs / 60) * 100 + secs % 60;
    return hours < 0.0 ? -packed : packed;
}

int32_t rnd(double x) {
    if (x > 0.0) return to_int(x + 0.5);
    if (x < 0.0) return to_int(x - 0.5);
    return 0;
}
