// The PostScript device: a text file or pipe in units of 1/72 inch, a short
// prolog of abbreviations, then the plot as paths, greys or colours and images.
#pragma once

#include <cstdio>

struct Image;

// Opens the output: "|command" spools to a pipe, "+name" appends another plot to
// name (no prolog, no trailer), anything else creates the file. The handle, or
// null when it cannot be opened.
FILE* gps_open_file(const char* name);
// Resets what was last written (grey, colour index, width) before a plot.
int gps_init();
// Writes the prolog of a new file, or the short header of an appended plot.
int gps_init_file();
// Ends the plot, writes the trailer unless appending, completes the file.
// 0, or -1 when nothing was open or the output could not be completed.
int gps_close_file();

// Paper long and short side in inches.
int gps_set_size(float long_side, float short_side);
// Records the grey of a colour table entry (0..256); runs on every device.
int gps_set_color_rep(int index, float red, float green, float blue);
// Grey of an entry; 0 for indices with no entry.
float gps_get_gray(int index);

int gps_set_base_width(int width);
int gps_set_EPS(int on);
// 1 portrait, 0 landscape.
int gps_set_orient(int portrait);
int gps_set_scale(float scale);
// Colour or grey output.
int gps_set_colorPS(int on);
int gps_get_colorPS();
// Reverses the grey of every colour recorded after it.
int gps_set_reverse(int on);

// Line attributes, written only when they change.
int gps_set_type(int type);
int gps_set_width(int colour, float width);
int gps_set_color(int index);
int gps_set_fill_color(int index);

// World coordinates of the selected transformation.
int gps_move(float x, float y);
int gps_line(float x, float y);
// Device units.
int gps_move_abs(double x, double y);
int gps_line_abs(double x, double y);
// Writes to the open output; nothing when it is closed.
int gps_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The 8-bit image into the current viewport, shifted by x columns and y rows.
int gps_image(const Image* image, int x, int y);
