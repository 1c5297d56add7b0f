// The current projection domain of the process and its transforms between earth
// coordinates, projection coordinates (100 km units, degrees for lat-lon) and grid
// positions. Transforms return 1, or 0 with both outputs -9999 where the point has
// no image.
#pragma once

#include "env/domains.h"

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
