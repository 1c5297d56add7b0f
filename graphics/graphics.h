// The drawing kernel: one process-wide workstation (a window, a window of another
// process, a metafile, PostScript or HPGL), its transformations, primitives,
// colours and images. Every call dispatches on the workstation type.
#pragma once

#include <cstdint>

struct Image;
struct Attrib;
struct _XDisplay;
struct _XGC;
struct _XImage;
union _XEvent;

// X resource ids (windows, pixmaps, colormaps) as Xlib defines them.
using XResId = unsigned long;

// Workstation types.
constexpr int GWS_WIN = 1;   // a window of this process
constexpr int GWS_META = 3;  // metafile, text or CGM
constexpr int GWS_PS = 4;    // PostScript
constexpr int GWS_HPGL = 5;  // HPGL
constexpr int GWS_PIX = 6;   // a window and pixmap of another process

// Colour index of the background, and the first and last print specials.
constexpr int GCOLR_BACK = -1;
constexpr int GCOLR_SPECIAL_FIRST = 500;
constexpr int GCOLR_SPECIAL_LAST = 508;
// Table entries: 0 to 255 and the background in 256.
constexpr int GCOLR_ENTRIES = 257;

// ---- Workstation and window ----------------------------------------------

int gopen_gks(const char* name);
int gclose_gks();
int gopen_ws(int id, const char* connection, int type);
int gclose_ws();
int gclear_ws();
int ginit_plot(int mode);
int gresize_window(int width, int height);
int gset_win_size(int width, int height);
int gupdate_window();
int gset_win_title(const char* title);
int gset_win_title_extra(const char* text);
int gget_win_title_extra(char* buffer);
int gmessage(int id, const char* text);
int ghold();
int gbell(int percent);
int gsync();
// rect: x1, x2, y1, y2 in world units of the selected transformation.
int gclear_region(const float rect[4]);
int gerr_printf(const char* function, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
int gemergency_close_gks();
int gactivate_ws(int id);
int gdeactivate_ws(int id);

int gtype_is_WIN();
int gtype_is_PIX();
int gtype_is_WIN_PIX();
int gtype_is_META();
int gtype_is_PS();
int gtype_is_HPGL();

int gchk_graphics();
// For a primitive or setter: 0 with a workstation open, else -1 after
// "GKS not opened" under the caller's name.
int gchk_open(const char* function);
// Depth of the window in bits; 10 on the batch devices, 0 before any open.
int gget_win_depth();
int gget_win_size(int* width, int* height);
int gget_win_offset(int* x, int* y);
const char* gget_win_title();
int gget_win_type();
int gset_win_type(int type);
int gget_cursor_type();
int gset_cursor_type(int code);
int gset_cursor(int code);
_XDisplay* gget_display();
int gget_screen();
XResId gget_root_window();
XResId gget_base_window();
int gset_base_window(XResId id);
XResId gget_draw_window();
// 0 selects the base pixmap.
int gset_draw_window(XResId id);
_XGC* gget_root_gc();
// The root visual (an Xlib Visual*).
void* gget_visual();
int gset_pix_mode(int mode);
int gset_prog_name(const char* name);
const char* gget_prog_name();
int gset_geometry(const char* geometry);
int gset_fixed_size(int on);
int gset_iconic(int on);
using GRefreshFunc = int (*)();
int gset_refresh_callback(int seconds, GRefreshFunc function);

// Where a window of another process is: its window and pixmap, the pixmap's
// size, and a colormap when the window id names one.
struct WindowId {
    XResId root = 0, base = 0;
    int width = 0, height = 0;
    XResId colormap = 0;
    int fields = 0;  // fields scanned
};
// Reads a window id given directly or, for a name, from its
// window-id file on the file path. 1, or 0 with the message.
int gread_window_id(const char* given, WindowId* out);

// ---- Transformations -------------------------------------------------------

struct NormTransformation {
    float xmin, ymin, xmax, ymax, width, height;
};

// What ginq_disp_space_size gives.
struct DisplaySpace {
    int units;            // 1: device units
    float width, height;  // w - 1, h - 1
    int raster_width, raster_height;
};

// rect: xmin, xmax, ymin, ymax.
int gset_win(int n, const float rect[4]);
int gset_vp(int n, const float rect[4]);
int gset_ws_win(int id, const float rect[4]);
int gset_ws_vp(int id, const float rect[4]);
int gsel_norm_tran(int n);
int ginit_tran(int mode);
// out: window xmin, xmax, ymin, ymax, viewport xmin, xmax, ymin, ymax.
int ginq_norm_tran(int n, int* status, float out[8]);
int ginq_disp_space_size(int id, int* status, DisplaySpace* out);
int ginq_maxview(int id, float* x, float* y);
// Trivial rejection: 0 when the points' box lies wholly outside the world window.
int gpts_in_win(int count, const float* points);
// The viewport in pixels: x, y, width, height.
int gget_xviewport(short viewport[4]);
// A primitive's graphics context made ready to draw: clipped to the viewport, white
// on black.
void gclip_gc(_XGC* gc);
int gget_gviewport(int viewport[4]);
int gget_cur_tran();

// World or normalised coordinates to device units (_p: window, y down;
// _ps: PostScript, HPGL, CGM, y up) and back.
double xW_p(float x);
double yW_p(float y);
double xW_ps(float x);
double yW_ps(float y);
double xNDC_p(float x);
double yNDC_p(float y);
double xNDC_ps(float x);
double yNDC_ps(float y);
double xp_W(float x);
double yp_W(float y);
double xW_trans(float v, int from, int to);
double yW_trans(float v, int from, int to);
// A window pixel back to the unzoomed pixel.
double xZ_p(float x);
double yZ_p(float y);

// ---- Lines, fills, markers -----------------------------------------------

int gpolyline(int count, const float* points);
int gfill_area(int count, const float* points);
int gpolymarker(int count, const float* points);

int greset_line();
int greset_marker();
int greset_fill();
int ginit_line(int mode);
int ginit_marker(int mode);
int ginit_fill(int mode);
int gdel_fill_pat();
// Free the GC of the unit at the close of a window.
int gclose_line();
int gclose_marker();
int gclose_fill();

int gset_linetype(int type);
int gset_linewidth(float width);
int gset_line_colr_ind(int index);
int gset_line_print_bold(int factor);
int gset_line_gc_func(int function);
int gset_marker_type(int type);
int gset_marker_size(float size);
int gset_marker_colr_ind(int index);
int gset_marker_width(float width);
int gset_fill_int_style(int style);
int gset_fill_style_ind(int index);
int gset_fill_colr_ind(int index);
int gset_fill_print_solid(int on);

int gget_line_colr();
_XGC* gget_line_gc();
int gget_line_gc_func();
int gget_line_print_bold();
int gget_marker_colr();
_XGC* gget_marker_gc();
int gget_fill_colr();
_XGC* gget_fill_gc();
int gget_fill_print_solid();

// Two points of 16-bit pixels on line_gc.
int gxline(XResId drawable, const short p1[2], const short p2[2]);
int gxrect(XResId drawable, const short p1[2], const short p2[2]);

int gfill_test(int pattern, int x, int y);
int DITHER_val(int size, int level, int a, int b);

// ---- Colours ----------------------------------------------------------------

int ginit_xcolr();
int galloc_colr(int index, float red, float green, float blue);
int gset_colr_rep(int id, int index, const float rgb[3]);
int gis_valid_colr(int index);
// The colour checks of the attribute setters: valid, print special (1 on a
// window), allocated. 0, or -1 with the message under the function's name.
int gcheck_colr_ind(const char* function, int* index);
// What a line, marker or fill colour setter does once the index is checked and
// stored: the metafile record "<record> <index>", or the redraw object and the
// foreground of the unit's GC on a window.
int gapply_colr_ind(int object, const char* record, _XGC* gc, int index);
// X pixel of an index; -1 not allocated, -2 allocated on PostScript.
long gget_color_ind(int index);
int gget_color_rgb(int index, float* red, float* green, float* blue);
unsigned long gget_back_color();
unsigned long gget_color_rgb_Xval(int red, int green, int blue);
int gis_color_near(long index, float red, float green, float blue, int by_pixel);
int ginit_background();
int gset_background(const char* name);
int gset_rw_colors(int on);
int gset_inverse(int on);
int gget_inverse();
int gset_def_cmap(XResId colormap);
int gset_user_cmap(XResId colormap);
XResId gget_user_cmap();
XResId gget_colormap();
int gset_local_colormap(int on);

// ---- Images on the window -------------------------------------------------

int gload_image(Image* image, int x, int y);
int goverlay_image(Image* image, const char* transparent_colour, int x, int y);
int gset_ximage_params(Image* image, _XImage* ximage);
int gsetup_image_colors(Image* image, long transparent);
int gget_image(Image* image);
int gread_image_file(const char* file, Image* image);
int goverlay_image_file(const char* file, const char* colour, int x, int y);
int gsave_image_file(const char* file);
int gset_save_image_type(int type);

// ---- Frames and looping -------------------------------------------------------

int ginit_loop();
int gcreate_frame(int n);
int gselect_frame(int n);
int gclear_frame(int n);
int gcopy_frame(int to, int from);
int gdisplay_frame(int n);
int gdelete_frame(int n);
int gdelete_all_frames();
int gset_looping(int on);
int gget_looping();
int gget_num_images();
int gget_cur_frame();
int ginc_frame(int step);
int gloop_sleep();
XResId gget_frame_id(int n);
int gset_frame_id(int n, XResId id);
int gswitch_frame(int a, int b);
// 1 starts, 0 stops, anything else toggles.
int gtoggle_loop(int mode);
int gset_loop_delay(int n, float delay);
float gget_loop_delay();
float gget_frame_delay(int n);
int ginc_loop_delay(float change);
int gset_loop_direct(int direction);
int gget_loop_direct();
int gset_loop_title(int on);
// User data of a frame, at most 50 bytes; the length, or -1.
int gget_image_data(int n, char* buffer);
int gset_image_data(int n, const char* buffer, int length);

// ---- Events -----------------------------------------------------------------

// Callback of keys, buttons and resizes: kind, text, x, y.
using GMouseFunc = int (*)(int kind, const char* text, float x, float y);
int ginit_event(int mode);
int gprocess_x11_event(_XEvent* event);
int gcheck_event();
int gwait_event();
int gset_mouse_callback(GMouseFunc function);
int gis_mapped();
int gset_input_mode(int mode);
int gget_input_mode();
int greset_zoom();
int gget_zoom();
int gzoom(int frame, int x, int y, int factor, int redisplay);
int gunzoom();
// 0 off, 1 line, 3 anchored lines, other values a rectangle.
int gset_rubber_band(int type);
// points: two world points, x and y.
int gset_rubber_band_limits(const float points[4]);
int gset_rubber_band_points(const float* points, int count, int constraint);

// ---- Redraw objects and metafile ------------------------------------------------

int ginit_objs();
int gclear_objs();
// Records a drawing call; the data block to fill, or null when nothing is kept.
void* gnew_obj(int type, int id, int size, const void* source);
int gset_cache(int on);
int gget_cache();
int gset_redraw(int on);
int gget_redraw();

// The other units of the kernel, each with its own header.
#include "graphics/gph.h"
#include "graphics/hpgl.h"
#include "graphics/metafile.h"
#include "graphics/postscript.h"
#include "graphics/text.h"
