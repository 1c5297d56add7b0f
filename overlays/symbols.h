// Meteorological glyphs drawn at a point in plot units: wind barbs, vectors and
// tracks, the cloud-cover circle, and vector symbols read from a symbol file.
// Directions are in degrees from which the wind blows; -9999 is missing.
#pragma once

constexpr int WX_MAX_ENTRIES = 100;
constexpr int WX_NAME_SIZE = 15;
constexpr int WX_RUN_MAX = 20;

// Staff from `inner` to `length` along the direction, with flags, barbs and a
// half barb for the speed. -1 for a missing or zero wind.
int WIND_barb(float x, float y, float dir, float speed, float length, float inner);
// The same with the direction turned from north to the map's grid.
int WIND_barb_map(float x, float y, float dir, float speed, float length, float inner);
// An arrow downwind, `size` plot units per unit of speed, with a head if head > 0.
int WIND_vect(float x, float y, float dir, float speed, float size, float head);
int WIND_vect_map(float x, float y, float dir, float speed, float size, float head);
// A line of `length` downwind with `ticks` cross ticks and a head.
int WIND_track(float x, float y, float dir, float length, float head, int ticks);
// The cloud-cover circle of one code character.
int WX_cloud(float x, float y, float radius, const char* code);
// The symbol file in use; null means "wx.smb". -1 if it is already the one in use
// or cannot be opened.
int WX_symb_file(const char* name);
// The first entry whose name begins `name` (any case), `size` plot units a unit,
// placed by the text alignment. 1 if drawn, 0 if no entry fits.
int WX_symb(float x, float y, const char* name, float size);
// Entries of the file in use, after the first symbol drew.
int WX_symb_count();
// Forgets the symbol file; for tests that read several in one process.
void WX_reset();
