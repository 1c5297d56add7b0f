// The one current projection domain of the process and its transforms.
//
// Projection coordinates are in units of 100 km; latitude-longitude domains are in
// degrees. The constants of a projection that need transcendental functions are
// computed at its first transform and kept until the projection changes; the
// remap switches between two domains at every pixel, so MAP_domain also keeps the
// finished state of the last few domains and restores it when one comes back.
#include "env/missing.h"
#include "maps/projections.h"

#include <array>
#include <cmath>
#include <cstring>

namespace {

constexpr double R = 63.7122;
constexpr double EQ_RADIUS = 63.78137;
constexpr double POLAR_RADIUS = 63.56752;
constexpr float DEF_SAT_RAD = 421.61f;
constexpr float DEF_SAT_RAD2 = 177754.98f;
constexpr float DEF_SAT_RAD4 = 31596834816.0f;
constexpr double DEG2RAD = 0.017453292519943334;
constexpr double RAD2DEG = 57.295779513082195;
constexpr double MOLL_PI = 3.1415926535898;

Domain make_unset_domain() {
    Domain d;
    DOM_init(&d);
    return d;
}

// The current projection. MAP_domain sets the domain and the constants its
// projection keeps; the transforms compute the cached constants at their first use
// after a change (-9999: still to compute); restore_snapshot brings back what a
// domain left behind.
struct Current {
    Domain domain = make_unset_domain();  // the current domain; MAP_domain, MAP_proj, MAP_coord
    float limits[4] = {0.0f, 0.0f, 0.0f, 0.0f};  // xmin, xmax, ymin, ymax; MAP_set_limits
    float tlat1 = 60.0f;                         // first true latitude in force; MAP_domain
    float tlat2 = 60.0f;           // second true latitude; for "sat", 1 asks for scan angles
    float xfactor = ZMT_FMISSING;  // cached constant of the projection (cone, scale, ...)
    float yfactor = ZMT_FMISSING;  // second cached constant (orthographic, graphs)
    float mult = ZMT_FMISSING;     // Lambert multiplier; scratch of "lambaz"
    // Orbit radius of "sat", its square and fourth power, and the square less the
    // equatorial radius squared; MAP_domain.
    float sat_rad = DEF_SAT_RAD;
    float sat_rad2 = DEF_SAT_RAD2;
    float sat_rad4 = DEF_SAT_RAD4;
    float sat2_earth2 = static_cast<float>(DEF_SAT_RAD2 - EQ_RADIUS * EQ_RADIUS);
    float sat_ratio = ZMT_FMISSING;    // sat_rad / R; computed by sat_constants
    float earth_ratio = ZMT_FMISSING;  // R / sat_rad; sat_constants
    // Square of polar over equatorial radius; MAP_domain.
    float earth_ratio2 = static_cast<float>(POLAR_RADIUS * POLAR_RADIUS / (EQ_RADIUS * EQ_RADIUS));
    float sign = 1.0f;   // hemisphere sign, cached with xfactor
    int grid_limit = 0;  // MAP_set_plot_limit's setting
};
Current cur;

// The state a MAP_domain leaves behind, kept per domain so that switching back
// and forth between two domains costs a comparison and a copy.
struct Snapshot {
    bool valid = false;
    Domain key;
    Domain domain;
    float limits[4];
    float tlat1, tlat2, xfactor, yfactor, mult;
    float sat_rad, sat_rad2, sat_rad4, sat2_earth2, sat_ratio, earth_ratio;
    float sign;
};

std::array<Snapshot, 4> snapshots;
size_t next_snapshot = 0;

void take_snapshot(const Domain& key) {
    Snapshot& s = snapshots[next_snapshot];
    next_snapshot = (next_snapshot + 1) % snapshots.size();
    s.valid = true;
    s.key = key;
    s.domain = cur.domain;
    std::memcpy(s.limits, cur.limits, sizeof(cur.limits));
    s.tlat1 = cur.tlat1;
    s.tlat2 = cur.tlat2;
    s.xfactor = cur.xfactor;
    s.yfactor = cur.yfactor;
    s.mult = cur.mult;
    s.sat_rad = cur.sat_rad;
    s.sat_rad2 = cur.sat_rad2;
    s.sat_rad4 = cur.sat_rad4;
    s.sat2_earth2 = cur.sat2_earth2;
    s.sat_ratio = cur.sat_ratio;
    s.earth_ratio = cur.earth_ratio;
    s.sign = cur.sign;
}

// Restores only what MAP_domain of that projection writes; the rest of the state
// carries over exactly as it would on a fresh computation.
void restore_snapshot(const Snapshot& s) {
    cur.domain = s.domain;
    std::memcpy(cur.limits, s.limits, sizeof(cur.limits));
    cur.xfactor = s.xfactor;
    cur.sat_ratio = s.sat_ratio;
    switch (cur.domain.proj) {
        case MAP_PSTEREO:
            cur.tlat1 = s.tlat1;
            cur.sign = s.sign;
            break;
        case MAP_LAMB:
            cur.tlat1 = s.tlat1;
            cur.tlat2 = s.tlat2;
            cur.sign = s.sign;
            cur.mult = s.mult;
            break;
        case MAP_ORTHO:
        case MAP_XY:
        case MAP_CAT:
        case MAP_XP:
        case MAP_SKEWT:
        case MAP_TEPH:
        case MAP_RTEPH:
            cur.yfactor = s.yfactor;
            break;
        case MAP_LAMBAZ:
            cur.mult = s.mult;
            break;
        case MAP_SAT:
            cur.tlat2 = s.tlat2;
            cur.sat_rad = s.sat_rad;
            cur.sat_rad2 = s.sat_rad2;
            cur.sat_rad4 = s.sat_rad4;
            cur.sat2_earth2 = s.sat2_earth2;
            cur.earth_ratio = s.earth_ratio;
            break;
        default:
            break;
    }
}

void no_image(float* a, float* b) {
    *a = ZMT_FMISSING;
    *b = ZMT_FMISSING;
}

// Brings a longitude into -180..180 by whole turns; 180 and -180 stay as given.
bool wrap_lon(float* lon) {
    if (!std::isfinite(*lon)) return false;
    if (std::fabs(*lon) > 1.0e5f) *lon = std::fmod(*lon, 360.0f);
    while (*lon > 180.0f) *lon -= 360.0f;
    while (*lon < -180.0f) *lon += 360.0f;
    return true;
}

// Constants of polar stereographic: hemisphere sign and the scale F.
void stereo_constants() {
    cur.sign = cur.domain.plat < 0.0f ? 1.0f : -1.0f;
    cur.xfactor = static_cast<float>(R * (1.0 + cur.sign * std::sin(-cur.tlat1 * DEG2RAD)));
}

// Constants of Lambert conformal: hemisphere sign, cone constant n and multiplier.
void lambert_constants() {
    cur.sign = cur.domain.plat >= 0.0f ? 1.0f : -1.0f;
    double n;
    if (cur.tlat1 != cur.tlat2) {
        n = (std::log(std::cos(cur.tlat1 * DEG2RAD)) - std::log(std::cos(cur.tlat2 * DEG2RAD))) /
            (std::log(std::tan((45.0 - cur.tlat1 / 2.0) * DEG2RAD)) -
             std::log(std::tan((45.0 - cur.tlat2 / 2.0) * DEG2RAD)));
    } else {
        n = std::cos((90.0 - cur.sign * cur.tlat1) * DEG2RAD);
    }
    cur.xfactor = static_cast<float>(n);
    cur.mult = static_cast<float>(
        std::cos(cur.tlat1 * DEG2RAD) /
        (std::pow(std::tan((45.0 - cur.tlat1 / 2.0) * DEG2RAD), cur.xfactor) * cur.xfactor));
}

void ortho_constants() {
    float plat = cur.domain.plat == ZMT_FMISSING ? 0.0f : cur.domain.plat;
    cur.xfactor = static_cast<float>(std::cos(plat * DEG2RAD));
    cur.yfactor = static_cast<float>(std::sin(plat * DEG2RAD));
}

void sat_constants() {
    cur.sat_ratio = static_cast<float>(cur.sat_rad / R);
    cur.earth_ratio = static_cast<float>(R / cur.sat_rad);
}

// Potential temperature of a temperature in kelvin at a pressure in hPa.
float potential_temperature(float t, float p) {
    if (t == ZMT_FMISSING || p == ZMT_FMISSING || p <= 0.0f || t <= 0.0f) return ZMT_FMISSING;
    return static_cast<float>(t * std::pow(1000.0 / p, 0.285714));
}

int sat_forward(float lat, float d, float* x, float* y) {
    if (cur.sat_ratio == ZMT_FMISSING) sat_constants();
    double cl, sl;
    if (cur.domain.ext) {
        double g = std::atan(std::tan(lat * DEG2RAD) * cur.earth_ratio2);
        cl = std::cos(g);
        sl = std::sin(g);
    } else {
        cl = std::cos(lat * DEG2RAD);
        sl = std::sin(lat * DEG2RAD);
    }
    double sd = std::sin(d * DEG2RAD);
    double q = std::cos(d * DEG2RAD) * cl;
    if (q < cur.earth_ratio) {
        no_image(x, y);
        return 0;
    }
    double r =
        cur.domain.ext ? POLAR_RADIUS / std::sqrt(1.0 - (1.0 - cur.earth_ratio2) * cl * cl) : R;
    double h = cur.sat_rad - r * q;
    // The scratch store of e is a float: part of the arithmetic as it stands.
    cur.xfactor = static_cast<float>(std::sqrt(h * h + (r * sd * cl) * (r * sd * cl)));
    double xv = r * sd * cl / h;
    double yv = r * sl / cur.xfactor;
    if (cur.tlat2 == 1.0f) {
        xv = std::atan(xv);
        yv = std::atan(yv);
    }
    *x = static_cast<float>(xv * cur.sat_rad);
    *y = static_cast<float>(yv * cur.sat_rad);
    return 1;
}

int sat_inverse(float x, float y, float* lat, float* lon) {
    if (cur.sat_ratio == ZMT_FMISSING) sat_constants();
    if (!cur.domain.ext) {
        double xv = x, yv = y;
        if (cur.tlat2 == 1.0f) {
            xv = std::tan(xv / cur.sat_rad) * cur.sat_rad;
            yv = std::tan(yv / cur.sat_rad) * cur.sat_rad;
        }
        double q = xv * xv + yv * yv + cur.sat_rad2;
        double m = cur.sat_rad4 - q * cur.sat2_earth2;
        if (m < 0.0) {
            no_image(lat, lon);
            return 0;
        }
        double t = (cur.sat_rad2 - std::sqrt(m)) / q;
        double la = std::asin(yv * t / R);
        *lat = static_cast<float>(la * RAD2DEG);
        *lon =
            static_cast<float>(std::asin(xv * t / (std::cos(la) * R)) * RAD2DEG + cur.domain.plon);
        return 1;
    }
    double a = x / static_cast<double>(cur.sat_rad);
    double b = y / static_cast<double>(cur.sat_rad);
    if (cur.tlat2 != 1.0f) {
        a = std::atan(a);
        b = std::atan(b);
    }
    double ca = std::cos(a), cb = std::cos(b), sb = std::sin(b);
    double p = ca * cur.sat_rad * cb;
    double k = sb * sb / cur.earth_ratio2 + cb * cb;
    double m = p * p - k * cur.sat2_earth2;
    if (m < 0.0) {
        no_image(lat, lon);
        return 0;
    }
    double t = (p - std::sqrt(m)) / k;
    double u = cur.sat_rad - ca * t * cb;
    double v = std::sin(a) * t * cb;
    double w = std::sqrt(u * u + v * v);
    *lat = static_cast<float>(std::atan(sb * t / (w * cur.earth_ratio2)) * RAD2DEG);
    *lon = static_cast<float>(std::atan(v / u) * RAD2DEG + cur.domain.plon);
    return 1;
}

int moll_forward(float lat, float d, float* x, float* y) {
    double t = lat * DEG2RAD;
    double k = MOLL_PI * std::sin(lat * DEG2RAD);
    for (int i = 0; i < 15; ++i) {
        double den = std::cos(t) + 1.0;
        if (den == 0.0) break;
        float e = static_cast<float>(-(t + std::sin(t) - k) / den);
        t += e;
        if (std::fabs(e) < 1e-10) break;
    }
    float w = d;
    if (w > 180.0f) w -= 360.0f;
    if (w < -180.0f) w += 360.0f;
    *x = static_cast<float>(std::cos(t / 2.0) * (R * w / 90.0));
    *y = static_cast<float>(std::sin(t / 2.0) * R);
    if (lat > 89.99f || lat < -89.99f) *x = 0.0f;
    return 1;
}

int moll_inverse(float x, float y, float* lat, float* lon) {
    double v = y / R;
    if (v < -1.0 || v > 1.0 || !std::isfinite(v)) {
        no_image(lat, lon);
        return 0;
    }
    double t = std::asin(v);
    double w = (std::sin(2.0 * t) + 2.0 * t) / MOLL_PI;
    if (w < -1.0 || w > 1.0) {
        no_image(lat, lon);
        return 0;
    }
    *lon = static_cast<float>(x * 90.0 / (std::cos(t) * R) + cur.domain.plon);
    *lat = static_cast<float>(std::asin(w) * RAD2DEG);
    return 1;
}

int lambaz_forward(float lat, float d, float* x, float* y) {
    double sp = std::sin(cur.domain.plat * DEG2RAD), cp = std::cos(cur.domain.plat * DEG2RAD);
    double sl = std::sin(lat * DEG2RAD), cl = std::cos(lat * DEG2RAD);
    double cd = std::cos(d * DEG2RAD);
    double c = sp * sl + cp * cl * cd;
    if (c == -1.0) {
        no_image(x, y);
        return 0;
    }
    cur.mult = static_cast<float>(R * std::sqrt(2.0 / (c + 1.0)));
    *x = static_cast<float>(cur.mult * cl * std::sin(d * DEG2RAD));
    *y = static_cast<float>(cur.mult * (cp * sl + std::sin(-cur.domain.plat * DEG2RAD) * cl * cd));
    return 1;
}

int lambaz_inverse(float x, float y, float* lat, float* lon) {
    double rho = std::sqrt(static_cast<double>(x) * x + static_cast<double>(y) * y);
    double z = rho / (2.0 * R);
    if (z > 1.0) {
        no_image(lat, lon);
        return 0;
    }
    double c = 2.0 * std::asin(z);
    if (rho < 1e-10) {
        *lon = cur.domain.plon;
        *lat = cur.domain.plat;
        return 0;
    }
    double pr = cur.domain.plat * DEG2RAD;
    double la = std::asin(std::sin(pr) * std::cos(c) + std::cos(pr) * std::sin(c) * y / rho);
    double lo;
    if (std::fabs(std::fabs(pr) - 90.0 * DEG2RAD) < 1e-10) {
        lo = pr >= 0.0 ? std::atan2(x, -y) : -std::atan2(-x, y);
    } else {
        double f = std::cos(c) - std::sin(pr) * std::sin(la);
        lo = std::atan2(x * std::sin(c) * std::cos(pr), rho * f);
    }
    *lat = static_cast<float>(la * RAD2DEG);
    *lon = static_cast<float>(lo * RAD2DEG + cur.domain.plon);
    return 1;
}

// Forward (earth to projection) and inverse of each projection, side by side. A
// forward takes the latitude and the longitude's distance `d` east of the domain's
// longitude; both return 1, or 0 with both outputs missing where there is no image.

int pstereo_forward(float lat, float d, float* x, float* y) {
    if (cur.xfactor == ZMT_FMISSING) stereo_constants();
    if (cur.sign * lat > 75.0f) lat = 75.0f * cur.sign;
    double rho = cur.xfactor * std::tan((cur.sign * lat + 90.0) / 2.0 * DEG2RAD);
    *x = static_cast<float>(std::sin(d * DEG2RAD) * rho);
    *y = static_cast<float>(cur.sign * std::cos(d * DEG2RAD) * rho);
    return 1;
}

int pstereo_inverse(float x, float y, float* lat, float* lon) {
    if (cur.xfactor == ZMT_FMISSING) stereo_constants();
    double lo = (x == 0.0f && y == 0.0f) ? 0.0 : std::atan2(x, y * cur.sign) * RAD2DEG;
    *lon = static_cast<float>(lo + cur.domain.plon);
    double rho = std::sqrt(static_cast<double>(x) * x + static_cast<double>(y) * y);
    *lat = static_cast<float>((2.0 * std::atan(rho / cur.xfactor) * RAD2DEG - 90.0) * cur.sign);
    return 1;
}

int latlon_forward(float lat, float d, float* x, float* y) {
    if (d > 180.0f) d -= 360.0f;
    if (d < -180.0f) d += 360.0f;
    *x = d;
    *y = lat;
    return 1;
}

int latlon_inverse(float x, float y, float* lat, float* lon) {
    float lo = x + cur.domain.plon;
    if (!wrap_lon(&lo)) {
        no_image(lat, lon);
        return 0;
    }
    *lon = lo;
    *lat = y;
    return 1;
}

int merc_forward(float lat, float d, float* x, float* y) {
    double xv = R * (d * DEG2RAD);
    if (xv > R * 180.0 * DEG2RAD) xv -= R * 360.0 * DEG2RAD;
    if (xv < -R * 180.0 * DEG2RAD) xv += R * 360.0 * DEG2RAD;
    if (lat > 89.9f) lat = 89.9f;
    if (lat < -89.9f) lat = -89.9f;
    *x = static_cast<float>(xv);
    *y = static_cast<float>(-R * std::log(std::tan((45.0 - lat / 2.0) * DEG2RAD)));
    return 1;
}

int merc_inverse(float x, float y, float* lat, float* lon) {
    float lo = static_cast<float>(x / (R * DEG2RAD) + cur.domain.plon);
    if (!wrap_lon(&lo)) {
        no_image(lat, lon);
        return 0;
    }
    *lon = lo;
    *lat = static_cast<float>(90.0 - 114.59155902616439 * std::atan(1.0 / std::exp(y / R)));
    return 1;
}

// The longitude itself too: a distance past half a turn is taken again from the
// longitude moved by a turn, in float, as the cone's angle needs.
int lamb_forward(float lat, float lon, float d, float* x, float* y) {
    if (cur.xfactor == ZMT_FMISSING) lambert_constants();
    if (cur.domain.plat >= 0.0f && lat < -89.0f) lat = -89.0f;
    if (cur.domain.plat < 0.0f && lat > 89.0f) lat = 89.0f;
    double rho =
        R * cur.mult * std::pow(std::tan((45.0 - cur.sign * lat / 2.0) * DEG2RAD), cur.xfactor);
    if (d > 180.0f) {
        lon += -360.0f;
        d = lon - cur.domain.plon;
    } else if (d < -180.0f) {
        lon += 360.0f;
        d = lon - cur.domain.plon;
    }
    double a = cur.xfactor * d * DEG2RAD;
    *x = static_cast<float>(std::sin(a) * rho);
    *y = static_cast<float>(-cur.sign * std::cos(a) * rho);
    return 1;
}

int lamb_inverse(float x, float y, float* lat, float* lon) {
    if (cur.xfactor == ZMT_FMISSING) lambert_constants();
    // A southern cone through two different true latitudes comes out with a
    // negative cone constant and multiplier, which makes the forward's rho
    // negative. The plain inverse then takes a fractional power of a negative
    // ratio and gives no number at all, so the radius and the angle are taken
    // with that sign. For every other cone this is the plain inverse.
    double flip = cur.mult < 0.0f ? -1.0 : 1.0;
    double a =
        (x == 0.0f && y == 0.0f) ? 0.0 : std::atan2(flip * x, -cur.sign * flip * y) * RAD2DEG;
    double rho = flip * std::sqrt(static_cast<double>(x) * x + static_cast<double>(y) * y);
    *lat = static_cast<float>(std::atan(std::pow(rho / (cur.mult * 63.7122), 1.0 / cur.xfactor)) *
                                  (cur.sign + cur.sign) * -57.295779513082195 +
                              cur.sign * 90.0);
    *lon = static_cast<float>(a / cur.xfactor + cur.domain.plon);
    return 1;
}

int ortho_forward(float lat, float d, float* x, float* y) {
    if (cur.xfactor == ZMT_FMISSING) ortho_constants();
    double cl = std::cos(lat * DEG2RAD), sl = std::sin(lat * DEG2RAD);
    double cd = std::cos(d * DEG2RAD);
    double c = cl * cur.xfactor * cd + sl * cur.yfactor;
    if (c < 0.0) {
        no_image(x, y);
        return 0;
    }
    *x = static_cast<float>(R * std::sin(d * DEG2RAD) * cl);
    *y = static_cast<float>(R * (-cur.yfactor * cl * cd + cur.xfactor * sl));
    return 1;
}

int ortho_inverse(float x, float y, float* lat, float* lon) {
    if (cur.xfactor == ZMT_FMISSING) ortho_constants();
    double m = R * R - static_cast<double>(x) * x - static_cast<double>(y) * y;
    if (m < 0.0) {
        no_image(lat, lon);
        return 0;
    }
    double k = std::sqrt(m);
    *lat = static_cast<float>(std::asin((k * cur.yfactor + y * cur.xfactor) / R) * RAD2DEG);
    *lon = static_cast<float>(std::atan2(x, k * cur.xfactor - y * cur.yfactor) * RAD2DEG +
                              cur.domain.plon);
    return 1;
}

// Graphs: the "latitude" is the abscissa and the "longitude" the ordinate's value;
// "xp" turns the ordinate upside down.
int graph_forward(float a, float b, float* x, float* y) {
    *x = cur.limits[0] + (a - cur.limits[0]) * cur.xfactor;
    if (cur.domain.proj == MAP_XP)
        *y = cur.limits[2] + (cur.limits[2] - b) * cur.yfactor;
    else
        *y = cur.limits[2] + (b - cur.limits[2]) * cur.yfactor;
    return 1;
}

int graph_inverse(float x, float y, float* a, float* b) {
    *a = cur.limits[0] + (x - cur.limits[0]) / cur.xfactor;
    if (cur.domain.proj == MAP_XP)
        *b = cur.limits[2] + (cur.limits[2] - y) / cur.yfactor;
    else
        *b = cur.limits[2] + (y - cur.limits[2]) / cur.yfactor;
    return 1;
}

// Angle in degrees clockwise from up, and radius.
int polar_forward(float angle, float r, float* x, float* y) {
    *x = static_cast<float>(std::sin(angle * DEG2RAD) * r);
    *y = static_cast<float>(std::cos(angle * DEG2RAD) * r);
    return 1;
}

int polar_inverse(float x, float y, float* angle, float* r) {
    if (x == 0.0f && y == 0.0f) {
        *angle = 0.0f;
    } else {
        double a = std::atan2(x, y) * RAD2DEG;
        if (a < 0.0) a += 360.0;
        *angle = static_cast<float>(a);
    }
    *r = static_cast<float>(std::sqrt(static_cast<double>(x) * x + static_cast<double>(y) * y));
    return 1;
}

// Charts whose abscissa passes as it is (a temperature, or a plain value): the
// ordinate of value `b` at abscissa `a`. No domain, the skew-T and the tephigram
// pass the ordinate too; screen pixels count it downwards.
float chart_ordinate(float a, float b) {
    switch (cur.domain.proj) {
        case MAP_XLOGP:
        case MAP_EMA:
            return static_cast<float>(-std::log(b));
        case MAP_STUVE:
            return static_cast<float>(-std::pow(b, 0.285714));
        case MAP_RTEPH: {
            // The log of the potential temperature of `a` in Celsius at pressure `b`.
            float t = a == ZMT_FMISSING ? a : a + 273.15f;
            float theta = potential_temperature(t, b);
            return theta == ZMT_FMISSING ? ZMT_FMISSING : static_cast<float>(std::log(theta));
        }
        case MAP_PIXEL:
            return -b;
        default:
            return b;
    }
}

// The value back from ordinate `y` at abscissa `x`.
float chart_value(float x, float y) {
    switch (cur.domain.proj) {
        case MAP_XLOGP:
        case MAP_EMA:
            return static_cast<float>(std::exp(-y));
        case MAP_STUVE:
            return static_cast<float>(std::pow(-y, 3.5));
        case MAP_RTEPH: {
            if (x == ZMT_FMISSING) return ZMT_FMISSING;
            double theta = std::exp(y);
            return static_cast<float>(1000.0 * std::pow((x + 273.15) / theta, 3.5));
        }
        case MAP_PIXEL:
            return -y;
        default:
            return y;
    }
}

}  // namespace

int MAP_domain(const Domain* in) {
    if (!in) {
        cur.domain.proj = ZMT_MISSING;
        return -1;
    }
    for (const Snapshot& s : snapshots) {
        if (s.valid && std::memcmp(&s.key, in, sizeof(Domain)) == 0) {
            restore_snapshot(s);
            return 0;
        }
    }
    cur.domain = *in;
    if (cur.domain.plat == ZMT_FMISSING) cur.domain.plat = cur.domain.clat;
    if (cur.domain.plon == ZMT_FMISSING) cur.domain.plon = cur.domain.clon;
    switch (cur.domain.proj) {
        case MAP_PSTEREO:
            cur.tlat1 = cur.domain.plat < 0.0f ? -60.0f : 60.0f;
            if (cur.domain.param[0] != ZMT_FMISSING) cur.tlat1 = cur.domain.param[0];
            break;
        case MAP_LAMB:
            cur.tlat1 = 30.0f;
            cur.tlat2 = 60.0f;
            if (cur.domain.param[0] != ZMT_FMISSING) {
                cur.tlat1 = cur.domain.param[0];
                cur.tlat2 = cur.domain.param[1];
            }
            break;
        case MAP_SAT:
            if (cur.domain.param[0] == ZMT_FMISSING) {
                cur.sat_rad = DEF_SAT_RAD;
                cur.sat_rad2 = DEF_SAT_RAD2;
                cur.sat_rad4 = DEF_SAT_RAD4;
            } else {
                cur.sat_rad = cur.domain.param[0];
                cur.sat_rad2 = cur.sat_rad * cur.sat_rad;
                cur.sat_rad4 = cur.sat_rad2 * cur.sat_rad2;
            }
            cur.sat2_earth2 = static_cast<float>(cur.sat_rad2 - EQ_RADIUS * EQ_RADIUS);
            // The second parameter asks for scan angles when it is 1.
            cur.tlat2 = cur.domain.param[1];
            break;
        default:
            break;
    }
    cur.xfactor = ZMT_FMISSING;
    cur.sat_ratio = ZMT_FMISSING;
    cur.earth_ratio2 = static_cast<float>(POLAR_RADIUS * POLAR_RADIUS / (EQ_RADIUS * EQ_RADIUS));
    MAP_set_limits();
    take_snapshot(*in);
    return 0;
}

const Domain* MAP_get_domain(Domain* out) {
    if (out) *out = cur.domain;
    return &cur.domain;
}

int MAP_proj(int proj) {
    cur.domain.proj = proj;
    cur.xfactor = ZMT_FMISSING;
    cur.sat_ratio = ZMT_FMISSING;
    return 0;
}

int MAP_coord(float plat, float plon) {
    cur.domain.plat = plat;
    cur.domain.plon = plon;
    cur.xfactor = ZMT_FMISSING;
    cur.sat_ratio = ZMT_FMISSING;
    return 0;
}

int MAP_get_proj() {
    return cur.domain.proj;
}
float MAP_get_clat() {
    return cur.domain.clat;
}
float MAP_get_clon() {
    return cur.domain.clon;
}

int MAP_get_limits(float* out) {
    if (!out) return 0;
    std::memcpy(out, cur.limits, sizeof(cur.limits));
    return 0;
}

int MAP_set_limits() {
    const Domain& d = cur.domain;
    float x0 = 0.0f, y0 = 0.0f, x1 = 0.0f, y1 = 0.0f;
    switch (d.proj) {
        case MAP_PSTEREO:
        case MAP_LATLON:
        case MAP_MERC:
        case MAP_LAMB:
        case MAP_ORTHO:
        case MAP_GNOM:
        case MAP_MOLL:
        case MAP_LAMBAZ:
        case MAP_SAT: {
            float cx = 0.0f, cy = 0.0f;
            MAP_tran_center(&cx, &cy);
            // In double from the start: nx - 1 of the lowest int has no int result,
            // and every other size gives the same number as the int form.
            const double half_w = (static_cast<double>(d.nx) - 1.0) * 0.5;
            const double half_h = (static_cast<double>(d.ny) - 1.0) * 0.5;
            cur.limits[0] = static_cast<float>(cx - half_w * d.dx);
            cur.limits[1] = static_cast<float>(cx + half_w * d.dx);
            cur.limits[2] = static_cast<float>(cy - half_h * d.dy);
            cur.limits[3] = static_cast<float>(cy + half_h * d.dy);
            return 0;
        }
        case MAP_SKEWT:
        case MAP_TEPH:
        case MAP_RTEPH: {
            cur.xfactor = 0.0f;
            cur.yfactor = 0.0f;
            float ya = 0.0f, xb = 0.0f;
            MAP_tran(d.clat, d.clon, &x0, &ya);
            MAP_tran(d.clat + d.dx, d.clon + d.dy, &xb, &y1);
            x1 = xb;
            y0 = ya;
            cur.xfactor = ZMT_FMISSING;
            break;
        }
        case MAP_POLAR:
            x0 = d.clat;
            y0 = d.clon;
            x1 = d.clat + d.dx;
            y1 = d.clon + d.dy;
            break;
        case MAP_XY:
        case MAP_CAT:
        case MAP_XP:
            x0 = d.clat;
            x1 = d.clat + static_cast<float>(d.nx);
            y0 = d.proj == MAP_XP ? -d.clon : d.clon;
            y1 = y0 + static_cast<float>(d.ny);
            cur.xfactor = static_cast<float>(d.nx) / d.dx;
            cur.yfactor = static_cast<float>(d.ny) / d.dy;
            break;
        default:
            MAP_tran_center(&x0, &y0);
            MAP_tran(d.clat + d.dx, d.clon + d.dy, &x1, &y1);
            break;
    }
    cur.limits[0] = x0 < x1 ? x0 : x1;
    cur.limits[1] = x0 < x1 ? x1 : x0;
    cur.limits[2] = y0 < y1 ? y0 : y1;
    cur.limits[3] = y0 < y1 ? y1 : y0;
    return 0;
}

namespace {

// The charts (and no projection) whose abscissa is the first coordinate as it stands.
bool passes_abscissa(int proj) {
    switch (proj) {
        case ZMT_MISSING:
        case MAP_SKEWT:
        case MAP_TEPH:
        case MAP_XLOGP:
        case MAP_EMA:
        case MAP_STUVE:
        case MAP_RTEPH:
        case MAP_PIXEL:
            return true;
        default:
            return false;
    }
}

}  // namespace

int MAP_tran(float lat, float lon, float* x, float* y) {
    if (!x || !y) return 0;
    const int proj = cur.domain.proj;
    if (proj >= MAP_PSTEREO && proj <= MAP_SAT) {
        if (!std::isfinite(lat) || !wrap_lon(&lon)) {
            no_image(x, y);
            return 0;
        }
    }
    const float d = lon - cur.domain.plon;
    if (passes_abscissa(proj)) {
        *x = lat;
        *y = chart_ordinate(lat, lon);
        return 1;
    }
    switch (proj) {
        case MAP_PSTEREO:
            return pstereo_forward(lat, d, x, y);
        case MAP_LATLON:
            return latlon_forward(lat, d, x, y);
        case MAP_MERC:
            return merc_forward(lat, d, x, y);
        case MAP_LAMB:
            return lamb_forward(lat, lon, d, x, y);
        case MAP_ORTHO:
            return ortho_forward(lat, d, x, y);
        case MAP_GNOM:
            return 1;
        case MAP_MOLL:
            return moll_forward(lat, d, x, y);
        case MAP_LAMBAZ:
            return lambaz_forward(lat, d, x, y);
        case MAP_SAT:
            return sat_forward(lat, d, x, y);
        case MAP_XY:
        case MAP_CAT:
        case MAP_XP:
            return graph_forward(lat, lon, x, y);
        case MAP_POLAR:
            return polar_forward(lat, lon, x, y);
        default:
            return 1;
    }
}

int MAP_untran(float x, float y, float* lat, float* lon) {
    if (!lat || !lon) return 0;
    if (passes_abscissa(cur.domain.proj)) {
        *lat = x;
        *lon = chart_value(x, y);
        return 1;
    }
    switch (cur.domain.proj) {
        case MAP_PSTEREO:
            return pstereo_inverse(x, y, lat, lon);
        case MAP_LATLON:
            return latlon_inverse(x, y, lat, lon);
        case MAP_MERC:
            return merc_inverse(x, y, lat, lon);
        case MAP_LAMB:
            return lamb_inverse(x, y, lat, lon);
        case MAP_ORTHO:
            return ortho_inverse(x, y, lat, lon);
        case MAP_MOLL:
            return moll_inverse(x, y, lat, lon);
        case MAP_LAMBAZ:
            return lambaz_inverse(x, y, lat, lon);
        case MAP_SAT:
            return sat_inverse(x, y, lat, lon);
        case MAP_XY:
        case MAP_CAT:
        case MAP_XP:
            return graph_inverse(x, y, lat, lon);
        case MAP_POLAR:
            return polar_inverse(x, y, lat, lon);
        default:
            return 1;
    }
}

int MAP_tran_center(float* x, float* y) {
    return MAP_tran(cur.domain.clat, cur.domain.clon, x, y);
}

int MAP_grid_tran(float i, float j, float* x, float* y) {
    if (!x || !y) return 0;
    if (i == ZMT_FMISSING) {
        no_image(x, y);
        return -1;
    }
    *x = cur.limits[0] + i * cur.domain.dx;
    *y = cur.limits[3] - j * cur.domain.dy;
    return 1;
}

int MAP_grid_untran(float x, float y, float* i, float* j) {
    if (!i || !j) return 0;
    if (x == ZMT_FMISSING) {
        no_image(i, j);
        return -1;
    }
    *i = (x - cur.limits[0]) / cur.domain.dx;
    *j = (cur.limits[3] - y) / cur.domain.dy;
    return 1;
}

int MAP_in_grid_domain(float x, float y) {
    if (cur.domain.proj == ZMT_MISSING) return 1;
    float mx = 3.0f * cur.domain.dx, my = 3.0f * cur.domain.dy;
    return x >= cur.limits[0] - mx && x <= cur.limits[1] + mx && y >= cur.limits[2] - my &&
           y <= cur.limits[3] + my;
}

int MAP_domain_tran(const Domain* from, const Domain* to, float x, float y, float* out_x,
                    float* out_y) {
    if (!from || !to || !out_x || !out_y) return 0;
    if (DOM_comp(from, to)) {
        *out_x = x;
        *out_y = y;
        return 1;
    }
    Domain saved = cur.domain;
    float lat = ZMT_FMISSING, lon = ZMT_FMISSING;
    MAP_domain(from);
    int ok = MAP_untran(x, y, &lat, &lon);
    MAP_domain(to);
    if (ok == 1) {
        ok = MAP_tran(lat, lon, out_x, out_y);
    } else {
        no_image(out_x, out_y);
    }
    MAP_domain(&saved);
    return ok;
}

int MAP_set_plot_limit(int limit) {
    cur.grid_limit = limit;
    return 0;
}

int MAP_get_plot_limit() {
    return cur.grid_limit;
}

float MAP_factor(float lat) {
    switch (cur.domain.proj) {
        case MAP_PSTEREO:
            return static_cast<float>(1.866 / (std::sin(lat * DEG2RAD) + 1.0));
        case MAP_LAMB:
            return cur.domain.param[2];
        default:
            return 1.0f;
    }
}

float MAP_dir_adj(float direction, float x, float y) {
    switch (cur.domain.proj) {
        case MAP_PSTEREO: {
            float s = cur.domain.plat < 0.0f ? 1.0f : -1.0f;
            if (x == 0.0f && y == 0.0f)
                return s > 0.0f ? direction + cur.domain.plon : direction - cur.domain.plon;
            if (cur.domain.plat >= 0.0f)
                return static_cast<float>(direction + std::atan2(x, -y) * -57.295779513082195);
            return static_cast<float>(direction + std::atan2(x, y) * 57.295779513082195);
        }
        case MAP_LAMB:
            if (cur.xfactor == ZMT_FMISSING) lambert_constants();
            return static_cast<float>(direction +
                                      std::atan2(x, -cur.sign * y) * -57.295779513082195);
        case MAP_SAT: {
            float lat, lon;
            if (MAP_untran(x, y, &lat, &lon) != 1) return ZMT_FMISSING;
            float lat2 = static_cast<float>(lat + std::cos(direction * DEG2RAD) / 111.195);
            float lon2 = static_cast<float>(lon + std::sin(direction * DEG2RAD) /
                                                      (std::cos(lat * DEG2RAD) * 111.195));
            float x2, y2;
            if (MAP_tran(lat2, lon2, &x2, &y2) != 1 || x2 == ZMT_FMISSING || y2 == ZMT_FMISSING)
                return ZMT_FMISSING;
            return static_cast<float>(std::atan2(x2 - x, y2 - y) * RAD2DEG);
        }
        default:
            return direction;
    }
}
