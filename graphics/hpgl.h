// The HPGL/2 device, 1015 units to the inch, with an optional PCL wrapper.
#pragma once

// Opens the output ("|command" a pipe, "+name" to append); 0 on failure.
int ghpgl_open_file(const char* name);
int ghpgl_init();
int ghpgl_init_file();
int ghpgl_close_file();
int ghpgl_set_pcl(int mode);
int ghpgl_set_rotate(int degrees);
int ghpgl_set_scale(float scale);
int ghpgl_set_base_width(float width);
int ghpgl_set_type(int type);
int ghpgl_set_color(int index);
int ghpgl_set_width(int colour, float width);
int ghpgl_set_fill_color(int index);
// World coordinates of the selected transformation.
int ghpgl_move(float x, float y);
int ghpgl_line(float x, float y);
// Device units.
int ghpgl_move_abs(double x, double y);
int ghpgl_line_abs(double x, double y);
int ghpgl_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
