// The drawing kernel (lower-case g functions) and the GPH_ drawing layer.
// The window, transformation, primitive and frame units are not built yet: until
// they are, no workstation is ever open, and the calls below behave as they do on
// a closed workstation (nothing drawn, failure status where one is defined).
#pragma once

struct Image;
struct Attrib;

// Workstation.
int gchk_graphics();
// Depth of the window in bits; 0 with no window.
int gget_win_depth();

// Transformations.
// rect: xmin, xmax, ymin, ymax.
int gset_win(int n, const float rect[4]);
int gsel_norm_tran(int n);
int gget_gviewport(int viewport[4]);

// Primitives and fill.
int gpolyline(int count, float* points);
int gfill_area(int count, float* points);
int gset_fill_colr_ind(int index);
int gfill_test(int pattern, int x, int y);
int DITHER_val(int size, int level, int a, int b);

// Images on the window and frames.
int gload_image(Image* image, int x, int y);
int goverlay_image(Image* image, const char* transparent_colour, int x, int y);
int gget_image(Image* image);
int gcreate_frame(int n);
int gselect_frame(int n);
int gclear_frame(int n);
int gcopy_frame(int to, int from);
int gdisplay_frame(int n);
int gset_looping(int on);
int gget_num_images();

// The other units of the kernel, each with its own header.
#include "graphics/gph.h"
#include "graphics/postscript.h"
#include "graphics/text.h"
