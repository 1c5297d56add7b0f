// Raster dumps of the plot and location queries.
#pragma once

// Dump types.
constexpr int PLT_DUMP_NONE = 0;
constexpr int PLT_DUMP_XWD = 1;
constexpr int PLT_DUMP_GIF = 2;
constexpr int PLT_DUMP_IMG = 3;
constexpr int PLT_DUMP_PNG = 4;
// PLT_dump's frame for every frame of a loop.
constexpr int PLT_ALL_FRAMES = -4;

// Sets the dump type and its file name convention; an empty or null name takes
// the default ("zmt.gif", "zmt.png", else "zmt.xwd"). Returns 0.
int PLT_set_dump(int type, const char* name);
// The dump type set, PLT_DUMP_NONE for none.
int PLT_get_dump();
// Writes the window, or each frame for PLT_ALL_FRAMES, as the dump type asks,
// naming the files by the convention with key "i" (frame or "win") and "p" (the
// window title). -1 when no dump is set, else 0 whether or not the write worked.
int PLT_dump(int frame);
// On "v-Alt", prints latitude, longitude, projection and pixel position of the
// world point x, y. Returns 0.
int PLT_print_location(const char* event, float x, float y);
// The point query: the location and the nearest station of the city table.
// Returns 0.
int PLT_print_values(const char* event, float x, float y);
// Puts a status text of at most 79 characters in the window. Returns 0.
int PLT_mess(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Back to no dump; for tests that set several in one process.
void PLT_reset_dump();
