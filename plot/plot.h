// The plot layer: opening and closing a plot, the plot parameters, panels,
// zoom, resize and refresh, and the labels round the picture.
#pragma once

struct Domain;

using PltDomainFunc = int (*)(Domain* domain);
// The mouse callback, as the kernel calls it: kind, the event's name (such as
// "B1-P-Shft"), x and y in projection coordinates.
using PltCallback = int (*)(int kind, const char* event, float x, float y);

// Lifecycle. Status 0, or -1 when no workstation is wanted.
int PLT_open(float aspect);
int PLT_reset(float aspect);
int PLT_close();
[[noreturn]] void PLT_exit(int code);

// Plot parameters (resource plot_param) and panels ("2x2+1+0" or fractions).
int PLT_param_decode();
int PLT_panel_decode(const char* text);

// Callbacks of the program.
int PLT_set_callback(PltCallback function);
int PLT_set_zoom_func(PltDomainFunc function);
int PLT_set_resize_func(PltDomainFunc function);
int PLT_set_refresh_func(int seconds, PltDomainFunc function);

// Reactions to the user. x and y are projection coordinates.
int PLT_plot_zoom(const char* event, float x, float y);
int PLT_plot_resize(const char* event);
int PLT_plot_refresh();

// The picture's place on the page.
int PLT_get_work_type();
// view: left, right, bottom, top of the picture, normalised units.
int PLT_get_view(float view[4]);
int PLT_set_view_offset(float value);
int PLT_set_view_offsets(float left, float right, float bottom, float top);
float PLT_get_view_offset();
// Draw a border round the picture (1, the default) or not.
int PLT_set_border(int on);

// Labels: six positions (0 upper left, 1 upper centre, 2 upper right, 3 lower
// left, 4 lower centre, 5 lower right), each a stack of six overlay lines.
int PLT_labels();
int PLT_init_labels();
int PLT_label_up_left(const char* text);
int PLT_label_up_center(const char* text);
int PLT_label_up_right(const char* text);
int PLT_label_low_left(const char* text);
int PLT_label_low_center(const char* text);
int PLT_label_low_right(const char* text);
int PLT_label_strcpy(int position, const char* text);
int PLT_label_strcat(int position, const char* text);
// out must hold 70 characters.
int PLT_label_format(const char* format, char* out);
const char* PLT_get_label(int position, int overlay);
int PLT_set_overlay(int n);
int PLT_set_overlay_base(int n);
int PLT_get_overlay_base();
int PLT_set_num_overlay(int n);
int PLT_get_num_over();
int PLT_set_label_type(int type);
int PLT_get_label_type();
// Raster dumps and location queries have their own unit.
#include "plot/dump.h"
