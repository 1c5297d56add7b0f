// AREA navigation: the spin-scan ("GOES") orbit and scan geometry, the point
// transform shared with the three-axis model, and the image domain of every
// navigation type an AREA file can carry.
#include "navigation/area_nav.h"

#include <array>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <utility>

#include "app/sat_params.h"
#include "env/domains.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "formats/area.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "navigation/gvar.h"

namespace {

constexpr double kRad = 0.017453292519943334;
constexpr double kDeg = 57.295779513082195;
constexpr double kTwoPi = 6.2831853071796;
constexpr double kRe = 6378.388;
constexpr double kRp = 6356.912;

struct Orbit {
    int32_t sat_type = 0;
    int32_t anom_type = 0;
    int32_t sec_ord = 0;
    int32_t epoch_date = 0;
    int32_t epoch_time = 0;
    double semi_maj = 0.0;
    double eccent = 0.0;
    double inclin = 0.0;
    double anomaly = 0.0;
    double perigee = 0.0;
    double asc_node = 0.0;
    double period = 0.0;
    double an_period = 0.0;
};

struct SpinNav {
    int32_t num_lines = 0;
    double deg_line = 0.0;
    int32_t num_elem = 0;
    double deg_elem = 0.0;
    double spin_rate = 0.0;
    double declin = 0.0;
    double right_asc = 0.0;
    int32_t center_line = 0;
    double prec_rate = 0.0;
    double prec_dir = 0.0;
    double pitch = 0.0;
    double yaw = 0.0;
    double roll = 0.0;
};

// Navigation state of the current image.
int image_type = 0;
float ecor = 0.0f, lcor = 0.0f, eres = 1.0f, lres = 1.0f;

Orbit g_orb;
SpinNav g_nav;
AreaTime sat_time{0, 0.0};
AreaTime ref{0, 0.0};
double earth_rot = 0.0, prec_veq = 0.0;
double gamma_init = 0.0, gamma_dot = 0.0, atms_hght = 0.0;
std::array<double, 3> sat{};
std::array<double, 3> sp_sat{};

// Orbit state derived on the first AREA_pos call of the process.
struct OrbitDerived {
    bool initial = false;
    bool key = false;
    int32_t epoch = 0;
    double epoch_hours = 0.0;
    double ecc_fac = 0.0;
    double sin_i = 0.0, cos_i = 1.0;
    double an_mean_motion = 0.0;
    double del_per = 0.0, del_asn = 0.0;
    AreaTime perifocus{0, 0.0};
    double adj_perigee = 0.0, adj_ascnode = 0.0;
    std::array<double, 3> P{}, Q{};
};
OrbitDerived pos;

// Scan geometry derived on the first spin-scan AREA_tran call of the process.
struct ScanDerived {
    bool initial = false;
    int num_sensor = 1;
    double center_elem = 0.0;
    double rad_per_line = 0.0;
    double rad_per_elem = 0.0;
    std::array<double, 3> spin_ax{};
    double prec = 0.0;
    std::array<double, 6> rot_ax{};
    std::array<double, 3> pt_vec{};
};
ScanDerived scan;

int32_t word(const int32_t* block, int offset) {
    return block[offset / 4];
}

double reduce(double x, double period) {
    double r = std::fmod(x, period);
    if (r < 0.0) r += period;
    return r;
}

// The pixel coordinates' scan number.
int scan_of(float line) {
    int64_t r = rnd(line);
    return static_cast<int>((r - 1) / scan.num_sensor);
}

void spin_scan_setup() {
    ScanDerived& s = scan;
    int sensors = static_cast<int>((g_nav.num_lines / 100000) % 100);
    s.num_sensor = sensors < 1 ? 1 : sensors;
    g_nav.num_lines = (g_nav.num_lines % 100000) * s.num_sensor;
    s.center_elem = (g_nav.num_elem + 1.0) * 0.5;
    s.rad_per_line = g_nav.deg_line * kRad / (g_nav.num_lines - 1.0);
    s.rad_per_elem = g_nav.deg_elem * kRad / (g_nav.num_elem - 1.0);
    double ras =
        reduce(g_nav.right_asc * kRad -
                   (earth_rot - prec_veq) * timdif(ref.date, ref.hours, sat_time.date, 0.0),
               kTwoPi);
    double d = g_nav.declin * kRad;
    s.spin_ax = {std::cos(ras) * std::cos(d), std::sin(ras) * std::cos(d), std::sin(d)};
    g_nav.prec_rate = g_nav.prec_rate * kRad / 24.0;
    s.prec = g_nav.prec_dir * kRad;
    double p = g_nav.pitch * kRad, y = g_nav.yaw * kRad, r = g_nav.roll * kRad;
    s.rot_ax[0] = std::cos(p) * std::cos(r);
    s.rot_ax[1] = std::sin(p) * std::cos(y) + std::cos(p) * std::sin(y) * std::sin(r);
    s.rot_ax[2] = -std::sin(r);
    s.rot_ax[3] = std::sin(y) * std::cos(r);
    s.rot_ax[4] = -std::cos(r) * std::sin(p);
    s.rot_ax[5] = std::cos(p) * std::cos(y) - std::sin(p) * std::sin(y) * std::sin(r);
    s.initial = true;
}

bool finite_pair(float a, float b) {
    return std::isfinite(a) && std::isfinite(b);
}

// The satellite's frame at the time a pixel was scanned: the unit vector to the
// satellite, and the scan's axes (R and T across, S along the spin axis). Moves the
// spin axis by its precession and leaves the satellite's position in `sat` and
// `sp_sat`, as the transforms that follow expect.
struct SpinFrame {
    std::array<double, 3> u_sat, R, T, S;
    double radius;
};

SpinFrame spin_frame(float line, float elem) {
    ScanDerived& s = scan;
    std::array<double, 3>& A = s.spin_ax;
    int scan_no = scan_of(line);
    float f =
        static_cast<float>((g_nav.deg_elem / 360.0) * ((elem - 1.0) / (g_nav.num_elem - 1.0)));
    float hrs =
        static_cast<float>((f + static_cast<float>(scan_no)) * g_nav.spin_rate + sat_time.hours);
    double ptot = hrs * g_nav.prec_rate;
    double gamma = (hrs * gamma_dot + gamma_init) * s.rad_per_elem;
    double earth = hrs * 0.26251617076855077;
    double sg = std::sin(gamma), cg = std::cos(gamma);
    double sea = std::sin(earth), cea = std::cos(earth);

    AreaTime now{sat_time.date, hrs};
    AREA_pos(&now, 0, sat.data());
    sphere_cvt(1, sat.data(), sp_sat.data());
    SpinFrame fr;
    fr.radius = sp_sat[2];
    fr.u_sat = {sat[0] / fr.radius, sat[1] / fr.radius, sat[2] / fr.radius};
    const std::array<double, 3>& u_sat = fr.u_sat;

    // Precession of the spin axis; nothing moves while the rate is zero.
    double p = std::sqrt(1.0 / ((A[0] / A[2]) * (A[0] / A[2]) + 1.0));
    double a2 = -A[0] * p / A[2];
    double bv[3] = {a2 * A[1], A[2] * p - A[0] * a2, -A[1] * p};
    double sp = std::sin(s.prec), cp = std::cos(s.prec);
    double c[3] = {sp * bv[0] + cp * p, sp * bv[1], sp * bv[2] + cp * a2};
    double st = std::sin(ptot), ctt = std::cos(ptot);
    for (int k = 0; k < 3; ++k) A[k] = st * c[k] + ctt * A[k];

    std::array<double, 3>& S = fr.S;
    std::array<double, 3>& R = fr.R;
    std::array<double, 3>& T = fr.T;
    S = {A[1] * sea + A[0] * cea, A[1] * cea - A[0] * sea, A[2]};
    double su = S[0] * u_sat[0] + S[1] * u_sat[1] + S[2] * u_sat[2];
    double v[3] = {u_sat[0] - S[0] * su, u_sat[1] - S[1] * su, u_sat[2] - S[2] * su};
    double vn = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    R = {-v[0] / vn, -v[1] / vn, -v[2] / vn};
    T = {R[2] * S[1] - S[2] * R[1], S[2] * R[0] - S[0] * R[2], S[0] * R[1] - S[1] * R[0]};
    // The second line uses the value the first just stored, as the model has it.
    for (int k = 0; k < 3; ++k) {
        R[k] = cg * R[k] - sg * T[k];
        T[k] = cg * T[k] + sg * R[k];
    }
    return fr;
}

// Mode 1: the earth point seen along the pixel's direction (line angle sines and
// cosines sl, cl; element angle se, ce), where the ray meets the ellipsoid raised
// by the atmosphere's height. 0, or -1 with both outputs missing.
int spin_pixel_to_earth(const SpinFrame& fr, double sl, double cl, double se, double ce, float* lat,
                        float* lon) {
    std::array<double, 3>& pt = scan.pt_vec;
    const std::array<double, 6>& ra = scan.rot_ax;
    double d[3] = {cl * ra[0] - sl * ra[1], cl * ra[2] - sl * ra[3], cl * ra[4] - sl * ra[5]};
    double tv[3] = {se * d[1] + ce * d[0], ce * d[1] - se * d[0], d[2]};
    for (int k = 0; k < 3; ++k) pt[k] = tv[0] * fr.R[k] + tv[1] * fr.T[k] + tv[2] * fr.S[k];
    double a = atms_hght + kRe;
    double b2 = (atms_hght + kRp) * (atms_hght + kRp);
    double kk = b2 / (a * a);
    double q = (1.0 - kk) * pt[2] * pt[2] + kk;
    double m = 2.0 * (pt[2] * sat[2] + (pt[1] * sat[1] + pt[0] * sat[0]) * kk);
    double D = -4.0 * q * (sat[2] * sat[2] + (sat[1] * sat[1] + sat[0] * sat[0]) * kk - b2) + m * m;
    if (!(D >= 1.0)) {
        *lat = *lon = ZMT_FMISSING;
        return -1;
    }
    double h = (m + std::sqrt(D)) / (-2.0 * q);
    for (int k = 0; k < 3; ++k) sat[k] += h * pt[k];
    float la = static_cast<float>(
        geolat(2, std::atan2(sat[2], std::sqrt(sat[1] * sat[1] + sat[0] * sat[0])) * kDeg));
    float lo = static_cast<float>(std::atan2(sat[1], sat[0]) * kDeg);
    if (!finite_pair(la, lo)) {
        *lat = *lon = ZMT_FMISSING;
        return -1;
    }
    *lat = la;
    *lon = lo;
    return 0;
}

// Modes 2 and 3: the line and element at which the scan sees `pt_vec`. Returns
// whether the line moved to another scan, which asks for another round.
bool spin_point_to_pixel(const SpinFrame& fr, float* line, float* elem) {
    ScanDerived& s = scan;
    const std::array<double, 3>& pt = s.pt_vec;
    const std::array<double, 6>& ra = s.rot_ax;
    const std::array<double, 3>& R = fr.R;
    const std::array<double, 3>& T = fr.T;
    const std::array<double, 3>& S = fr.S;
    double dv[3] = {pt[0] - sat[0], pt[1] - sat[1], pt[2] - sat[2]};
    double dn = std::sqrt(dv[0] * dv[0] + dv[1] * dv[1] + dv[2] * dv[2]);
    for (double& x : dv) x /= dn;
    double X = dv[0] * R[0] + dv[1] * R[1] + dv[2] * R[2];
    double Y = dv[0] * T[0] + dv[1] * T[1] + dv[2] * T[2];
    double Z = dv[0] * S[0] + dv[1] * S[1] + dv[2] * S[2];
    double angx =
        std::atan2(Z, std::sqrt(ra[4] * ra[4] + ra[5] * ra[5] - Z * Z)) - std::atan2(ra[4], ra[5]);
    double x = std::sin(angx) * ra[1] + std::cos(angx) * ra[0];
    double y = std::sin(angx) * ra[3] + std::cos(angx) * ra[2];
    double angy = std::atan2(Y, X) - std::atan2(y, x);

    int prev_scan = scan_of(*line);
    *line = static_cast<float>(g_nav.center_line - angx / s.rad_per_line);
    *elem = static_cast<float>(s.center_elem - angy / s.rad_per_elem);
    return scan_of(*line) != prev_scan;
}

// The spin-scan transform. `ground` forms the ground point in the first round of
// mode 2, which AREA_tran itself never does.
int spin_scan_tran(int mode, float* lat, float* lon, float* line, float* elem, bool ground) {
    ScanDerived& s = scan;
    if (!s.initial) spin_scan_setup();

    double slat = 0.0, clat = 1.0, slon = 0.0, clon = 1.0;
    double sl = 0.0, cl = 1.0, se = 0.0, ce = 1.0;
    int iter = 0;
    if (mode == 2 || mode == 3) {
        *line = static_cast<float>(g_nav.center_line);
        *elem = static_cast<float>(s.center_elem);
        if (mode == 2) {
            double glat = geolat(1, *lat) * kRad;
            slat = std::sin(glat);
            clat = std::cos(glat);
            slon = std::sin(*lon * kRad);
            clon = std::cos(*lon * kRad);
        }
    } else {
        float aline = static_cast<float>((*line - g_nav.center_line) * s.rad_per_line);
        float aelem = static_cast<float>((*elem - s.center_elem) * s.rad_per_elem);
        sl = std::sin(static_cast<double>(aline));
        cl = std::cos(static_cast<double>(aline));
        se = std::sin(static_cast<double>(aelem));
        ce = std::cos(static_cast<double>(aelem));
        iter = 20;
    }

    std::array<double, 3>& pt = s.pt_vec;
    bool changed = false;
    do {
        const SpinFrame fr = spin_frame(*line, *elem);
        if (mode == 1) return spin_pixel_to_earth(fr, sl, cl, se, ce, lat, lon);

        ++iter;
        if (mode == 2 && ground && iter == 1) {
            pt = {clat * clon, clat * slon, slat};
            const std::array<double, 3>& u_sat = fr.u_sat;
            if (pt[0] * u_sat[0] + pt[1] * u_sat[1] + pt[2] * u_sat[2] < 6371.221 / fr.radius) {
                *line = *elem = ZMT_FMISSING;
                return -1;
            }
            double t = (slat / clat) * (slat / clat);
            double scale =
                std::sqrt((t + 1.0) / (40683833.478544 * t + 40410330.175744005)) * kRe * kRp +
                atms_hght;
            for (double& x : pt) x *= scale;
        }
        if (mode == 3 && iter == 1) pt = {0.0, 0.0, 0.0};
        changed = spin_point_to_pixel(fr, line, elem);
    } while (iter < 20 && changed);

    if (mode == 2) {
        if (!finite_pair(*line, *elem)) {
            *line = *elem = ZMT_FMISSING;
            return -1;
        }
        if (*line < 1.0f || *line > g_nav.num_lines || *elem < 1.0f || *elem > g_nav.num_elem)
            *line = *elem = ZMT_FMISSING;
    } else {
        *lat = static_cast<float>(sp_sat[0]);
        *lon = static_cast<float>(sp_sat[1]);
    }
    return 0;
}

void load_goes(const int32_t* blk) {
    sat_time.date = word(blk, 4) % 100000;
    sat_time.hours = int2deg(word(blk, 8));
    g_orb.epoch_date = word(blk, 16);
    g_orb.epoch_time = word(blk, 20);
    g_orb.semi_maj = word(blk, 24) / 100.0;
    g_orb.eccent = static_cast<float>(word(blk, 28)) / 1000000.0f;
    g_orb.inclin = static_cast<float>(word(blk, 32)) / 1000.0f;
    g_orb.anomaly = static_cast<float>(word(blk, 36)) / 1000.0f;
    g_orb.perigee = static_cast<float>(word(blk, 40)) / 1000.0f;
    g_orb.asc_node = static_cast<float>(word(blk, 44)) / 1000.0f;
    g_nav.declin = int2deg(word(blk, 48));
    g_nav.right_asc = int2deg(word(blk, 52));
    g_nav.center_line = word(blk, 56);
    g_nav.spin_rate = static_cast<float>(word(blk, 60)) / 3600000000.0f;
    g_nav.deg_line = int2deg(word(blk, 64));
    g_nav.num_lines = word(blk, 68);
    g_nav.deg_elem = int2deg(word(blk, 72));
    g_nav.num_elem = word(blk, 76);
    g_nav.pitch = int2deg(word(blk, 80));
    g_nav.yaw = int2deg(word(blk, 84));
    g_nav.roll = int2deg(word(blk, 88));
    gamma_init = word(blk, 152) / 100.0;
    gamma_dot = word(blk, 156) / 100.0;

    g_orb.sat_type = 1;
    g_orb.anom_type = 0;
    g_orb.sec_ord = 0;
    g_nav.prec_rate = 0.0;
    g_nav.prec_dir = 0.0;
    atms_hght = 0.0;
    ref.date = 90001;
    ref.hours = int2deg(171537);
    prec_veq = 0.0;
    earth_rot = 0.004375269512809179;

    const uint32_t dbg = 0xF0000000;
    MESS_print(dbg, "date            = %ld\n", static_cast<long>(sat_time.date));
    MESS_print(dbg, "pict_time       = %f\n", sat_time.hours);
    MESS_print(dbg, "orb.sat_type    = %d\n", g_orb.sat_type);
    MESS_print(dbg, "orb.sec_ord     = %d\n", g_orb.sec_ord);
    MESS_print(dbg, "orb.anom_type   = %d\n", g_orb.anom_type);
    MESS_print(dbg, "orb.epoch_date  = %ld\n", static_cast<long>(g_orb.epoch_date));
    MESS_print(dbg, "orb.epoch_time  = %ld\n", static_cast<long>(g_orb.epoch_time));
    MESS_print(dbg, "orb.semi_maj    = %f\n", g_orb.semi_maj);
    MESS_print(dbg, "orb.eccent      = %f\n", g_orb.eccent);
    MESS_print(dbg, "orb.inclin      = %f\n", g_orb.inclin);
    MESS_print(dbg, "orb.anomaly     = %f\n", g_orb.anomaly);
    MESS_print(dbg, "orb.perigee     = %f\n", g_orb.perigee);
    MESS_print(dbg, "orb.asc_node    = %f\n", g_orb.asc_node);
    MESS_print(dbg, "nav.declin      = %f\n", g_nav.declin);
    MESS_print(dbg, "nav.right_asc   = %f\n", g_nav.right_asc);
    MESS_print(dbg, "nav.center_line = %ld\n", static_cast<long>(g_nav.center_line));
    MESS_print(dbg, "nav.spin_rate   = %f\n", g_nav.spin_rate);
    MESS_print(dbg, "nav.deg_line    = %f\n", g_nav.deg_line);
    MESS_print(dbg, "nav.num_lines   = %ld\n", static_cast<long>(g_nav.num_lines));
    MESS_print(dbg, "nav.deg_elem    = %f\n", g_nav.deg_elem);
    MESS_print(dbg, "nav.num_elem    = %ld\n", static_cast<long>(g_nav.num_elem));
    MESS_print(dbg, "nav.pitch       = %f\n", g_nav.pitch);
    MESS_print(dbg, "nav.yaw         = %f\n", g_nav.yaw);
    MESS_print(dbg, "nav.roll        = %f\n", g_nav.roll);
    MESS_print(dbg, "nav.prec_rate   = %f\n", g_nav.prec_rate);
    MESS_print(dbg, "nav.prec_dir    = %f\n", g_nav.prec_dir);
    MESS_print(dbg, "gamma_init      = %f\n", gamma_init);
    MESS_print(dbg, "gamma_dot       = %f\n", gamma_dot);
    MESS_print(dbg, "atms_hght       = %f\n", atms_hght);
}

// Navigation types of the image domain.
enum class NavKind { None, Goes, Gvar, Ps, Moll, Rect, Merc, Lamb, Tanc, Msat };

NavKind nav_kind(const char* t) {
    if (std::strncmp(t, "GOES", 4) == 0) return NavKind::Goes;
    if (std::strncmp(t, "GVAR", 4) == 0) return NavKind::Gvar;
    if (std::strncmp(t, "PS", 2) == 0) return NavKind::Ps;
    if (std::strncmp(t, "MO", 2) == 0) return NavKind::Moll;
    if (std::strncmp(t, "RE", 2) == 0) return NavKind::Rect;
    if (std::strncmp(t, "ME", 2) == 0) return NavKind::Merc;
    if (std::strncmp(t, "LA", 2) == 0) return NavKind::Lamb;
    if (std::strncmp(t, "TA", 2) == 0) return NavKind::Tanc;
    if (std::strncmp(t, "MS", 2) == 0) return NavKind::Msat;
    return NavKind::None;
}

bool valid_lat(float lat) {
    return std::isfinite(lat) && lat >= -90.0f && lat <= 90.0f;
}

// A projected domain that the block could not define: the image keeps none.
bool projected_domain_sane(const Domain& d, int untran_ok) {
    return untran_ok == 1 && valid_lat(d.plat) && std::isfinite(d.plon) && valid_lat(d.clat) &&
           std::isfinite(d.clon) && std::isfinite(d.dx) && std::isfinite(d.dy) && d.dx != 0.0f &&
           d.dy != 0.0f && (d.proj != 1 && d.proj != 4 ? true : valid_lat(d.param[0])) &&
           (d.proj != 4 || valid_lat(d.param[1]));
}

const int32_t* block_for(const AreaFile* area, NavKind kind) {
    switch (kind) {
        case NavKind::Goes:
            return area->goes;
        case NavKind::Gvar:
            return area->gvar;
        case NavKind::Ps:
        case NavKind::Msat:
            return area->ps;
        case NavKind::Tanc:
            return area->tanc;
        case NavKind::Moll:
        case NavKind::Rect:
        case NavKind::Merc:
        case NavKind::Lamb:
            return area->proj;
        default:
            return nullptr;
    }
}

double pow10_exp(int32_t e) {
    if (e == 0) e = 4;
    return std::pow(10.0, static_cast<double>(e));
}

void print_domain(const Domain& dom) {
    MESS_print(MESS_OUT2, "Image domain: ");
    DOM_print(0xF0000, &dom);
}

}  // namespace

int AREA_init(AreaFile* area) {
    if (!area || !area->dir) return 0;
    const int32_t* dir = area->dir;
    if (std::strncmp(area->nav_type, "GOES", 4) == 0 && area->goes) {
        image_type = 1;
        ecor = static_cast<float>(dir[6]);
        lcor = static_cast<float>(static_cast<int64_t>(dir[5]) - dir[47]);
        eres = static_cast<float>(dir[12]);
        lres = static_cast<float>(dir[11]);
        load_goes(area->goes);
    } else if (std::strncmp(area->nav_type, "GVAR", 4) == 0 && area->gvar) {
        image_type = 2;
        ecor = static_cast<float>(dir[6]);
        lcor = static_cast<float>(dir[5]);
        eres = static_cast<float>(dir[12]);
        lres = static_cast<float>(dir[11]);
        GVAR_load(area->gvar);
    } else {
        ecor = static_cast<float>(dir[6]);
        lcor = static_cast<float>(dir[5]);
        eres = static_cast<float>(dir[12]);
        lres = static_cast<float>(dir[11]);
    }
    return 0;
}

int AREA_tran(int mode, float* lat, float* lon, float* line, float* elem) {
    if (image_type == 1) {
        if (mode < 1 || mode > 3) return 0;
        return spin_scan_tran(mode, lat, lon, line, elem, false);
    }
    if (image_type == 2) {
        if (mode == 1) {
            sat2earth(*line, *elem, lat, lon);
        } else if (mode == 2) {
            earth2sat(*lat, *lon, line, elem);
        } else if (mode == 3) {
            *lat = static_cast<float>(GVAR_sublat() * kDeg);
            *lon = static_cast<float>(GVAR_sublon() * kDeg);
        }
    }
    return 0;
}

int AREA_tran_ground(float* lat, float* lon, float* line, float* elem) {
    if (image_type == 1) return spin_scan_tran(2, lat, lon, line, elem, true);
    if (image_type == 2) return earth2sat(*lat, *lon, line, elem);
    return 0;
}

int AREA_line_elem(int dir, float line, float elem, float* out_line, float* out_elem) {
    if (dir == 1) {
        *out_elem = ecor - 1.0f + elem * eres;
        *out_line = lcor - 1.0f + line * lres;
    } else {
        *out_elem = (elem - ecor) / eres + 1.0f;
        *out_line = (line - lcor) / lres + 1.0f;
    }
    return 0;
}

int AREA_set_res(float new_lcor, float new_ecor, float new_lres, float new_eres) {
    lcor = new_lcor;
    ecor = new_ecor;
    lres = new_lres;
    eres = new_eres;
    return 0;
}

void AREA_reset() {
    image_type = 0;
    ecor = lcor = 0.0f;
    eres = lres = 1.0f;
    g_orb = Orbit{};
    g_nav = SpinNav{};
    sat_time = ref = AreaTime{0, 0.0};
    earth_rot = prec_veq = gamma_init = gamma_dot = atms_hght = 0.0;
    sat = sp_sat = {0.0, 0.0, 0.0};
    pos = OrbitDerived{};
    scan = ScanDerived{};
}

double geolat(int dir, double lat) {
    double t = std::tan(lat * kRad);
    t = dir == 1 ? t * 0.9932773468128505 : t / 0.9932773468128505;
    return std::atan(t) * kDeg;
}

int sphere_cvt(int dir, const double* xyz, double* out) {
    if (dir != 1) return 0;
    double horiz = std::sqrt(xyz[0] * xyz[0] + xyz[1] * xyz[1]);
    out[0] = std::atan2(xyz[2], horiz) * kDeg;
    out[1] = std::atan2(xyz[1], xyz[0]) * kDeg;
    out[2] = std::sqrt(horiz * horiz + xyz[2] * xyz[2]);
    return 0;
}

namespace {

// The time of the perifocus passage before the epoch, to the second, from the mean
// anomaly at the epoch.
void perifocus_passage(OrbitDerived& o, double mean_anom) {
    double h = mean_anom * kRad / (o.an_mean_motion * -60.0) + o.epoch_hours;
    double sign = h > 0.0 ? 1.0 : (h < 0.0 ? -1.0 : 0.0);
    // Past some ten thousand years an orbit block is nonsense; bound the day walk.
    double nd = std::trunc((std::fabs(h) / 24.0 + 1.0) * sign);
    if (!(nd < 4.0e6)) nd = 4.0e6;
    if (!(nd > -4.0e6)) nd = -4.0e6;
    int64_t n = static_cast<int64_t>(nd);
    if (n > 0) --n;
    int64_t year = o.epoch / 1000;
    int64_t day = o.epoch % 1000;
    if (n != 0) {
        day += n;
        while (day < 1) {
            --year;
            day += numyr(static_cast<int>(year));
        }
        while (day > numyr(static_cast<int>(year))) {
            day -= numyr(static_cast<int>(year));
            ++year;
        }
    }
    int64_t date = year * 1000 + day;
    if (date > std::numeric_limits<int32_t>::max()) date = std::numeric_limits<int32_t>::max();
    if (date < std::numeric_limits<int32_t>::min()) date = std::numeric_limits<int32_t>::min();
    o.perifocus.date = static_cast<int32_t>(date);
    o.perifocus.hours = int2deg(deg2int(h - 24.0 * static_cast<double>(n)));
}

// What the orbit block gives once: epoch, mean motion and its secular drifts, the
// perifocus passage and the perigee and ascending node adjusted to it.
void derive_orbit(OrbitDerived& o, double e, double inc) {
    o.epoch = mdcon(1, g_orb.epoch_date);
    o.epoch_hours = int2deg(g_orb.epoch_time);
    double mean_anom = g_orb.anomaly;
    if (g_orb.anom_type != 0) {
        double cv = std::cos(g_orb.anomaly * kRad);
        double E = std::acos((e + cv) / (1.0 + e * cv));
        mean_anom = (E - e * std::sin(E)) * kDeg;
    }
    mean_anom = reduce(mean_anom, 360.0);
    o.ecc_fac = std::sqrt(1.0 - e * e);
    double sparam = (g_orb.semi_maj / kRe) * o.ecc_fac * o.ecc_fac;
    o.sin_i = std::sin(inc);
    o.cos_i = std::cos(inc);
    double mean_motion = 0.07436574 * std::pow(kRe / g_orb.semi_maj, 1.5);
    g_orb.period = kTwoPi / mean_motion;
    if (g_orb.sec_ord == 0) {
        o.an_mean_motion = mean_motion;
        o.del_per = o.del_asn = 0.0;
    } else {
        double s2 = o.sin_i * o.sin_i;
        double j = 0.00162342 / (sparam * sparam);
        o.an_mean_motion = mean_motion * (1.0 + (o.ecc_fac * j) * (1.0 - 1.5 * s2));
        o.del_per = o.an_mean_motion * (2.0 - 2.5 * s2) * j * kDeg;
        o.del_asn = o.an_mean_motion * (-0.00162342 * o.cos_i) / (sparam * sparam) * kDeg;
    }
    g_orb.an_period = kTwoPi / o.an_mean_motion;

    perifocus_passage(o, mean_anom);

    double time_diff = timdif(o.epoch, o.epoch_hours, o.perifocus.date, o.perifocus.hours);
    o.adj_perigee = reduce(g_orb.perigee + time_diff * o.del_per, 360.0);
    o.adj_ascnode = reduce(g_orb.asc_node + time_diff * o.del_asn, 360.0);
    o.key = true;
}

}  // namespace

int AREA_pos(const AreaTime* time, int flag, double* xyz) {
    OrbitDerived& o = pos;
    const double e = g_orb.eccent;
    const double inc = g_orb.inclin * kRad;
    if (!o.initial) derive_orbit(o, e, inc);

    double t = timdif(o.perifocus.date, o.perifocus.hours, time->date, time->hours);
    if (g_orb.sec_ord != 0 || o.key) {
        o.key = false;
        double w = (t * o.del_per + o.adj_perigee) * kRad;
        double W = (t * o.del_asn + o.adj_ascnode) * kRad;
        double sw = std::sin(w), cw = std::cos(w), sW = std::sin(W), cW = std::cos(W);
        o.P = {cw * cW - sw * sW * o.cos_i, sw * cW * o.cos_i + cw * sW, sw * o.sin_i};
        o.Q = {-sw * cW - cw * sW * o.cos_i, cw * cW * o.cos_i - sw * sW, cw * o.sin_i};
        o.initial = true;
    }
    double M = std::fmod(t * o.an_mean_motion, kTwoPi);
    double E = M;
    for (int i = 0; i < 20; ++i) {
        double next = M + e * std::sin(E);
        bool done = std::fabs(next - E) < 1e-08;
        E = next;
        if (done) break;
    }
    double x = g_orb.semi_maj * (std::cos(E) - e);
    double y = g_orb.semi_maj * std::sin(E) * o.ecc_fac;
    for (int k = 0; k < 3; ++k) xyz[k] = y * o.Q[k] + x * o.P[k];
    if (flag == 0) {
        double dt = timdif(ref.date, ref.hours, time->date, time->hours);
        double a = reduce((earth_rot - prec_veq) * dt, kTwoPi);
        double X = xyz[0], Y = xyz[1];
        xyz[0] = std::sin(a) * Y + std::cos(a) * X;
        xyz[1] = std::cos(a) * Y - std::sin(a) * X;
    }
    return 0;
}

namespace {

// Geostationary views of a navigation block are drawn at this orbit radius, in
// units of 100 km.
constexpr float kMsatOrbitRadius = 421.64f;
// An MSAT image is cut from the 2500-pixel full disk; the directory places it in
// half-resolution pixels of that disk. The sub-satellite point lies at this column:
constexpr double kMsatDiskCentre = 1250.5;
// and a full-disk pixel spans this much of the view's projection plane, an image
// pixel half as much.
constexpr double kMsatDiskPixel = 0.0529848;
constexpr double kMsatImagePixel = 0.0264924;
// The earth's radius in 100 km that turns a spacing in km per pixel into projection
// units. Polar stereographic blocks were written against the rounded 63.71, the
// Mercator and Lambert blocks against 63.713; each keeps its own so that images
// land on the same pixels as the files' makers put them.
constexpr double kEarthRadiusPs = 63.71;
constexpr double kEarthRadius = 63.713;
// Mollweide scale words: a block marked "PPMK" gives the radius and a scale whose
// ratio, over this factor, is the spacing; an unmarked one gives km per pixel.
constexpr double kMollMarkedScale = 380.344;
constexpr double kMollSqrtHalf = 0.7071;
constexpr double kMollUnmarkedScale = 0.62;

// What every navigation type starts from: the directory's size and resolution, and
// the image centre in the navigation's own line and element coordinates.
struct NavFrame {
    const int32_t* dir;
    const int32_t* blk;
    int32_t elements, lines;
    float lc, ec;
    float line_res, elem_res;
};

NavFrame nav_frame(const AreaFile& area, const int32_t* blk) {
    NavFrame f{area.dir, blk, area.dir[9], area.dir[8], 0.0f, 0.0f, 0.0f, 0.0f};
    AREA_line_elem(1, static_cast<float>(f.lines / 2), static_cast<float>(f.elements / 2), &f.lc,
                   &f.ec);
    f.line_res = static_cast<float>(area.dir[11]);
    f.elem_res = static_cast<float>(area.dir[12]);
    return f;
}

// A longitude word of the block, west positive in ten-thousandths.
float east_lon(const int32_t* blk, int offset) {
    return static_cast<float>(-static_cast<double>(word(blk, offset)) / 10000.0);
}

void print_block_words(const char* type, const char* nav_type, const int32_t* blk,
                       const std::initializer_list<std::pair<const char*, int>>& words) {
    MESS_print(MESS_DEBUG_A, "%s: %s\n", type, nav_type);
    for (const auto& [name, offset] : words)
        MESS_print(MESS_DEBUG_A, "%s: %d\n", name, word(blk, offset));
}

// The centre comes from the inverse of the domain's own projection (`untran_ok` its
// result); a centre off the earth leaves no domain at all.
void keep_if_sane(Domain& dom, int untran_ok) {
    if (!projected_domain_sane(dom, untran_ok)) DOM_init(&dom);
}

void tanc_domain(Domain& dom, const AreaFile& area, const NavFrame& f) {
    const int32_t* blk = f.blk;
    SAT_params().tran_sat = 0;
    dom.proj = MAP_LAMB;
    dom.plat = static_cast<float>(word(blk, 16) / 10000.0);
    dom.plon = east_lon(blk, 20);
    dom.param[0] = dom.param[1] = dom.plat;
    dom.nx = f.elements;
    dom.ny = f.lines;
    print_block_words(
        "TANC", area.nav_type, blk,
        {{"NPLINE", 4}, {"NPELEM", 8}, {"STDLAT", 16}, {"SPACE", 12}, {"NRMLON", 20}});
    MAP_domain(&dom);
    float s = static_cast<float>(word(blk, 12) / 1000000.0);
    float x = static_cast<float>((word(blk, 8) / -10000.0 + f.ec) * s);
    float y = static_cast<float>((word(blk, 4) / -10000.0 + f.lc) * s);
    dom.dx = s * f.elem_res;
    dom.dy = s * f.line_res;
    keep_if_sane(dom, MAP_untran(x, -y, &dom.clat, &dom.clon));
}

void msat_domain(Image& image, const NavFrame& f) {
    Domain& dom = image.domain;
    const int32_t* blk = f.blk;
    const int32_t* dir = f.dir;
    SAT_params().tran_sat = 0;
    dom.proj = MAP_SAT;
    dom.plat = 0.0f;
    dom.plon = static_cast<float>(word(blk, 24) / -10000.0);
    dom.param[0] = kMsatOrbitRadius;
    dom.param[1] = 1.0f;
    dom.ext = 1;
    dom.nx = image.width;
    dom.ny = image.height;
    MAP_domain(&dom);
    double a = word(blk, 12), b = word(blk, 16), c = word(blk, 20);
    double x =
        ((dir[6] - 1.0 + f.elements * 0.5 * dir[12]) * -0.5 + kMsatDiskCentre) * kMsatDiskPixel;
    double y = (c - (b + (dir[5] - 1.0 + f.lines * 0.5 * dir[11]) * 0.5 - a)) * kMsatDiskPixel;
    int ok = MAP_untran(static_cast<float>(x), static_cast<float>(y), &dom.clat, &dom.clon);
    dom.dx = static_cast<float>(dir[12] * kMsatImagePixel);
    dom.dy = static_cast<float>(dir[11] * kMsatImagePixel);
    keep_if_sane(dom, ok);
}

// Projection, centre and size shared by the remaining types. A geostationary view
// under satellite navigation is centred on the sub-satellite point.
void start_domain(Domain& dom, const NavFrame& f, int proj, float clat, float clon) {
    dom.proj = proj;
    MAP_proj(proj);
    if (proj == MAP_SAT && SAT_params().tran_sat) {
        float line = 0.0f, elem = 0.0f;
        AREA_tran(3, &clat, &clon, &line, &elem);
    }
    dom.plat = clat;
    dom.plon = clon;
    MAP_coord(clat, clon);
    dom.nx = f.elements;
    dom.ny = f.lines;
}

// GOES: the centre by the satellite navigation, the spacing from the points ten
// pixels to the left of it and ten lines below.
void goes_domain(Domain& dom, const NavFrame& f) {
    start_domain(dom, f, MAP_SAT, ZMT_FMISSING, ZMT_FMISSING);
    float lat0 = ZMT_FMISSING, lon0 = ZMT_FMISSING, x0 = 0.0f, y0 = 0.0f;
    float l = f.lc, e = f.ec;
    AREA_tran(1, &lat0, &lon0, &l, &e);
    dom.clat = lat0;
    dom.clon = lon0;
    MAP_tran(lat0, lon0, &x0, &y0);
    float lat1 = ZMT_FMISSING, lon1 = ZMT_FMISSING, x1 = 0.0f, y1 = 0.0f;
    AREA_line_elem(1, static_cast<float>(f.lines / 2), static_cast<float>(f.elements / 2 - 10), &l,
                   &e);
    AREA_tran(1, &lat1, &lon1, &l, &e);
    MAP_tran(lat1, lon1, &x1, &y1);
    dom.dx = (x0 - x1) / 10.0f;
    float lat2 = ZMT_FMISSING, lon2 = ZMT_FMISSING, x2 = 0.0f, y2 = 0.0f;
    AREA_line_elem(1, static_cast<float>(f.lines / 2 + 10), static_cast<float>(f.elements / 2), &l,
                   &e);
    AREA_tran(1, &lat2, &lon2, &l, &e);
    MAP_tran(lat2, lon2, &x2, &y2);
    dom.dy = (y0 - y2) / 10.0f;
}

// The scaled projections: `s` projection units per pixel, the block's pole or
// origin at line word 4 and element word 8. Returns MAP_untran's result.
int place_scaled(Domain& dom, const NavFrame& f, float s) {
    float x = (f.ec - static_cast<float>(word(f.blk, 8))) * s;
    float y = (f.lc - static_cast<float>(word(f.blk, 4))) * s;
    MAP_domain(&dom);
    dom.dx = s * f.elem_res;
    dom.dy = s * f.line_res;
    return MAP_untran(x, -y, &dom.clat, &dom.clon);
}

void ps_domain(Domain& dom, const AreaFile& area, const NavFrame& f) {
    const int32_t* blk = f.blk;
    start_domain(dom, f, MAP_PSTEREO, static_cast<float>(word(blk, 12) / 10000.0),
                 east_lon(blk, 20));
    SAT_params().tran_sat = 0;
    dom.param[0] = dom.plat;
    print_block_words("PS", area.nav_type, blk,
                      {{"NPLINE", 4},
                       {"NPELEM", 8},
                       {"STDLAT", 12},
                       {"SPACE", 16},
                       {"NRMLON", 20},
                       {"EQURAD", 24},
                       {"ECCENT", 28}});
    keep_if_sane(
        dom,
        place_scaled(dom, f, static_cast<float>(word(blk, 16) * kEarthRadiusPs / word(blk, 24))));
}

void merc_domain(Domain& dom, const NavFrame& f) {
    start_domain(dom, f, MAP_MERC, 0.0f, east_lon(f.blk, 20));
    SAT_params().tran_sat = 0;
    keep_if_sane(
        dom,
        place_scaled(dom, f, static_cast<float>(word(f.blk, 16) * kEarthRadius / word(f.blk, 24))));
}

void lamb_domain(Domain& dom, const NavFrame& f) {
    const int32_t* blk = f.blk;
    start_domain(dom, f, MAP_LAMB, static_cast<float>(word(blk, 44) / 10000.0), east_lon(blk, 24));
    SAT_params().tran_sat = 0;
    dom.param[0] = static_cast<float>(word(blk, 12) / 10000.0);
    dom.param[1] = static_cast<float>(word(blk, 16) / 10000.0);
    keep_if_sane(
        dom,
        place_scaled(dom, f, static_cast<float>(word(blk, 20) * kEarthRadius / word(blk, 28))));
}

void moll_domain(Domain& dom, const NavFrame& f) {
    const int32_t* blk = f.blk;
    const float clon = east_lon(blk, 16);
    start_domain(dom, f, MAP_MOLL, 0.0f, clon);
    SAT_params().tran_sat = 0;
    const unsigned char* marker = reinterpret_cast<const unsigned char*>(blk) + 56;
    float s;
    if (std::memcmp(marker, "PPMK", 4) == 0)
        s = static_cast<float>((word(blk, 24) * kMollSqrtHalf / 1000.0) /
                               (word(blk, 12) * kMollMarkedScale));
    else
        s = static_cast<float>(word(blk, 12) * kMollUnmarkedScale / 1000.0);
    s *= f.elem_res;
    int ok = place_scaled(dom, f, s);
    // The domain keeps the block's longitude, whatever the inverse gave.
    dom.plon = clon;
    keep_if_sane(dom, ok);
}

// Rectilinear: spacings and origin as mantissa words with decimal exponent words.
void rect_domain(Domain& dom, const NavFrame& f) {
    const int32_t* blk = f.blk;
    start_domain(dom, f, MAP_LATLON, 0.0f, 0.0f);
    SAT_params().tran_sat = 0;
    MAP_domain(&dom);
    double dxr = word(blk, 20) / pow10_exp(word(blk, 52));
    double dyr = word(blk, 24) / pow10_exp(word(blk, 56));
    double lat0 = word(blk, 8) / pow10_exp(word(blk, 44));
    double lon0 = -static_cast<double>(word(blk, 16)) / pow10_exp(word(blk, 48));
    dom.dx = static_cast<float>(dxr * f.elem_res);
    dom.dy = static_cast<float>(dyr * f.line_res);
    float x = static_cast<float>((word(blk, 12) - f.ec) * dxr + lon0);
    float y = static_cast<float>((word(blk, 4) - f.lc) * dyr + lat0);
    int ok = MAP_untran(x, -y, &dom.clat, &dom.clon);
    dom.plon = dom.clon;
    keep_if_sane(dom, ok);
}

}  // namespace

int AREA_calc_domain(Image* image, AreaFile* area) {
    Domain& dom = image->domain;
    const char* grid = RES_get("grid_domain");
    if (grid && *grid) {
        SAT_params().tran_sat = 0;
        DOM_decode(grid, &dom);
        print_domain(dom);
        return 0;
    }
    DOM_init(&dom);
    if (!area || !area->dir) {
        print_domain(dom);
        return 0;
    }
    const NavKind kind = nav_kind(area->nav_type);
    const int32_t* blk = block_for(area, kind);
    // A type named without its block has nothing to build from.
    if (kind != NavKind::None && !blk) {
        print_domain(dom);
        return 0;
    }
    if (kind == NavKind::Gvar) {
        dom.proj = MAP_SAT;
        GVAR_calc_domain(image);
        return 0;
    }
    const NavFrame f = nav_frame(*area, blk);
    switch (kind) {
        case NavKind::Tanc:
            tanc_domain(dom, *area, f);
            break;
        case NavKind::Msat:
            msat_domain(*image, f);
            break;
        case NavKind::Goes:
            goes_domain(dom, f);
            break;
        case NavKind::Ps:
            ps_domain(dom, *area, f);
            break;
        case NavKind::Merc:
            merc_domain(dom, f);
            break;
        case NavKind::Lamb:
            lamb_domain(dom, f);
            break;
        case NavKind::Moll:
            moll_domain(dom, f);
            break;
        case NavKind::Rect:
            rect_domain(dom, f);
            break;
        default:
            start_domain(dom, f, 0, ZMT_FMISSING, ZMT_FMISSING);
            break;
    }
    print_domain(dom);
    return 0;
}
