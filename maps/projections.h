// The current projection domain of the process and its transforms between earth
// coordinates, projection coordinates (100 km units, degrees for lat-lon) and grid
// positions. Transforms return 1, or 0 with both outputs -9999 where the point has
// no image.
#pragma once

#include "env/domains.h"

// Projection codes of Domain.proj, with the word a domain text names each by.
constexpr int MAP_PSTEREO = 1;  // "pstereo": polar stereographic
constexpr int MAP_LATLON = 2;   // "latlon": cylindrical equidistant
constexpr int MAP_MERC = 3;     // "merc": Mercator
constexpr int MAP_LAMB = 4;     // "lamb": Lambert conformal
constexpr int MAP_ORTHO = 5;    // "ortho": orthographic
constexpr int MAP_GNOM = 6;     // "gnom": gnomonic, no transform
constexpr int MAP_MOLL = 7;     // "moll": Mollweide
constexpr int MAP_LAMBAZ = 8;   // "lambaz": Lambert azimuthal equal area
constexpr int MAP_SAT = 9;      // "sat": geostationary view
constexpr int MAP_XY = 20;      // "xy": plain graph
constexpr int MAP_XZ = 21;      // "xz": no transform
constexpr int MAP_XLOGP = 22;   // "xlogp": log ordinate
constexpr int MAP_POLAR = 23;   // "polar": polar graph
constexpr int MAP_CAT = 24;     // "cat": plain graph
constexpr int MAP_XP = 25;      // "xp": graph with inverted ordinate
constexpr int MAP_SKEWT = 40;   // "skewt"
constexpr int MAP_STUVE = 41;   // "stuve"
constexpr int MAP_EMA = 42;     // "ema": emagram, log ordinate
constexpr int MAP_TEPH = 43;    // "teph": tephigram
constexpr int MAP_RTEPH = 44;   // "rteph": rotated tephigram
constexpr int MAP_ZOOM = 50;    // "zoom": no projection, handled by the caller
constexpr int MAP_SIZE = 51;    // "size": no projection, handled by the caller
constexpr int MAP_PIXEL = 99;   // "pixel": screen pixels
// ZMT_MISSING ("miss") is no domain: the identity.

// Makes a copy of `domain` current; an absent domain sets the identity and gives -1.
int MAP_domain(const Domain* domain);
// Copies the current domain to `domain` if given; returns the current domain.
const Domain* MAP_get_domain(Domain* domain = nullptr);
// Direct changes of projection or centre; the limits stay as they were.
int MAP_proj(int proj);
int MAP_coord(float plat, float plon);
int MAP_get_proj();
float MAP_get_clat();
float MAP_get_clon();
// xmin, xmax, ymin, ymax of the current domain.
int MAP_get_limits(float* limits);
int MAP_set_limits();
int MAP_tran(float lat, float lon, float* x, float* y);
int MAP_untran(float x, float y, float* lat, float* lon);
int MAP_tran_center(float* x, float* y);
int MAP_grid_tran(float i, float j, float* x, float* y);
int MAP_grid_untran(float x, float y, float* i, float* j);
int MAP_in_grid_domain(float x, float y);
// Moves a point from the projection of `from` to that of `to`; the current
// domain is left as it was.
int MAP_domain_tran(const Domain* from, const Domain* to, float x, float y, float* out_x,
                    float* out_y);
int MAP_set_plot_limit(int limit);
int MAP_get_plot_limit();
float MAP_factor(float lat);
// A direction (degrees from north) at a point, turned to the map's grid.
float MAP_dir_adj(float direction, float x, float y);
