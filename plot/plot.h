// The plot layer: opening and closing a plot, labels, zoom and resize, dumps.
#pragma once

struct Domain;

using PltCallback = int (*)(int window, int event, int x, int y);
using PltDomainFunc = int (*)(Domain* domain);

int PLT_open(float aspect);
int PLT_reset(float aspect);
int PLT_close();
[[noreturn]] void PLT_exit(int code);
int PLT_param_decode();
int PLT_set_callback(PltCallback function);
int PLT_set_zoom_func(PltDomainFunc function);
int PLT_set_resize_func(PltDomainFunc function);
int PLT_set_refresh_func(int seconds, PltDomainFunc function);
int PLT_print_values(int event, int x, int y);
int PLT_plot_zoom(int event, int x, int y);
int PLT_plot_resize(int event);
int PLT_get_work_type();
int PLT_get_view(float view[4]);
int PLT_set_view_offset(float value);
float PLT_get_view_offset();
int PLT_labels();
int PLT_label_up_left(const char* text);
int PLT_label_up_center(const char* text);
int PLT_label_up_right(const char* text);
int PLT_label_low_left(const char* text);
int PLT_label_low_center(const char* text);
int PLT_label_low_right(const char* text);
const char* PLT_get_label(int position, int overlay);

// Raster dumps and location queries have their own unit.
#include "plot/dump.h"
