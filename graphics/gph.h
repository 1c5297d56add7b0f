// The drawing convenience layer over the kernel: start and end a plot, the
// plot panel on the page, and attribute records mapped to attribute calls.
#pragma once

struct Attrib;

// Workstation start and end. type 0 asks the user for the device.
int GPH_begin(int* id, const char* connection, int* type);
int GPH_end(int id);
// rect: left, right, bottom, top margins as fractions of the panel; receives
// the picture's rectangle, xmin, xmax, ymin, ymax in normalised units.
int GPH_setup(int* id, int* type, float aspect, float rect[4]);
int GPH_reset(int* id, int* type, float aspect, float rect[4]);
int GPH_panel(int id, int type, float aspect, float rect[4]);
int GPH_set_win_title();
int GPH_hold(int id);
// The workstation type this layer opened, as requested and as opened.
int GPH_get_type();

// Transformations and the panel.
int GPH_trans(int n);
int GPH_get_win(int n, float rect[4]);
int GPH_set_view_size(float sx, float sy, float ox, float oy);
int GPH_get_view_size(float rect[4]);
// A rectangle of proportion w to h that fits view (x1, x2, y1, y2); hpos and
// vpos: 2 centres, 3 aligns with the right or top edge, others the left or bottom.
int gset_aspect(const float view[4], float result[4], float w, float h, int hpos, int vpos);

// Text and drawing.
int GPH_pprint(const float position[2], const char* text);
int GPH_printf(float x, float y, const char* format, ...) __attribute__((format(printf, 3, 4)));
int GPH_border(const float rect[4]);
int GPH_mark(float x, float y);
int GPH_get_text_align(int* h, int* v);
int GPH_text_align(int h, int v);
int GPH_set_def_font(const char* name);
int GPH_text_font(const char* name);

// Attribute records; -9999 in a member leaves that attribute alone.
int GPH_set_color(int index, float red, float green, float blue);
int GPH_line_attr(const Attrib* attrib);
int GPH_fill_attr(const Attrib* attrib);
int GPH_mark_attr(const Attrib* attrib, float size);
int GPH_text_attr(const Attrib* attrib, float height);

// The workstation type of a device string ("ps,out.ps"); rest receives the
// text after the first comma.
int gdevice_setup(const char* text, char* rest, int rest_size);
