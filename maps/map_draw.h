// Drawing of the map list under and over an image: coastline and border files,
// images, metafiles and raw point files laid on the picture, and the graticule.
#pragma once

#include <cstdio>

struct Domain;

// Makes `domain` current and sets the world window of the map transformation to
// its limits.
int MAP_setup(const Domain* domain);

// One pass over the map list: mask 1 the entries marked "-" (under the image),
// 2 those marked "+", 4 the unmarked ones. The list is the resource map_file, or
// else chosen once for the run from the domain.
int MAP_draw(int mask);

// One entry of a map list (region block, scale filters, im:, if:, mf:, rf:,
// lalo: or a map file with an attribute). Returns 0, or -1 when it draws nothing.
int MAP_process(const char* entry);

// Draws one map file, text or big-endian binary. Returns 0 at its end, -1 on a
// short read, 1 when the current domain is no map projection.
int MAP_map(FILE* stream);

// Draws parallels and meridians with their labels, repeated labels and grid of
// crosses as MAP_latlon set them.
int MAP_lines(float lat_step, float lon_step);

// Graticule spacing, cross grid spacing and repeated-label spacing.
int MAP_latlon(float lat_step, float lon_step, int dot, int extra);
int MAP_get_latlon(float* lat_step, float* lon_step);

// Height of the view in projection units: the scale all map list tests use.
float MAP_get_vert();

// The list chosen for the run so far ("" before the first MAP_draw).
const char* MAP_get_name();

// Back to the state of a fresh process; for tests that draw several lists.
void MAP_reset();
