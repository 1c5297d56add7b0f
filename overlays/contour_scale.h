// The contour value scale and its fill colours: a base, an interval and optional
// cutoffs divide the values into classes, and each class has a colour of the
// colour table's fill range. Point plots colour their values by it; the colour
// bar settings are kept here too. Contours themselves are not drawn.
#pragma once

#include "env/colors.h"

// Resets the scale (base, interval, cutoffs, fill range); the type is kept.
int CONT_init();
int CONT_set_base(float base);
int CONT_set_intrvl(float interval);
// Values below `low` or above `high` are beyond the scale; -9999 for none.
int CONT_set_cutoff(float low, float high);
// Fill colours from `first` to `last`; 0, 0 for the colour table's fill range.
int CONT_set_fill_colors(int first, int last);
int CONT_set_type(int type);
int CONT_get_type();
int CONT_set_bar(int bar);
int CONT_get_bar();
int CONT_set_bar_range(float low, float high);
int CONT_set_skip(int x, int y);
int CONT_set_plot_offset(float x, float y);

// Returned by CONT_get_values for a value below the lower or above the upper cutoff.
constexpr int CONT_BEYOND = -2;

// The class of `value`, floor((value - base) / interval), and its edges.
// Returns 0, CONT_BEYOND, or -1 for a missing value or a scale without a
// positive interval.
int CONT_get_values(float value, int* klass, float* low, float* high);
// Sets attrib->color to the fill colour of a class, the classes below the first
// colour taking the first and those above the last the last. Returns 0, or -1
// when there are no fill colours.
int CONT_get_fill_attrib(int klass, Attrib* attrib);
