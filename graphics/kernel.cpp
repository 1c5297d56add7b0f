// The kernel as it stands before the workstation exists: no workstation opens, so
// every drawing call finds it closed.
#include "graphics/graphics.h"
#include "formats/image.h"

int gchk_graphics() { return 0; }

int gset_win(int n, const float*) { return (n < 0 || n > 5) ? -1 : 0; }

int gsel_norm_tran(int n) { return (static_cast<unsigned>(n) > 6) ? -1 : 0; }

int gget_gviewport(int viewport[4]) {
    viewport[0] = viewport[1] = viewport[2] = viewport[3] = 0;
    return 0;
}

int gpolyline(int, float*) { return -1; }
int gfill_area(int, float*) { return 0; }
int gset_fill_colr_ind(int) { return -1; }

int gload_image(Image*, int, int) { return 0; }
int goverlay_image(Image*, const char*, int, int) { return 0; }
int gget_image(Image*) { return 0; }
int gcreate_frame(int) { return 0; }
int gselect_frame(int) { return 0; }
int gclear_frame(int) { return 0; }
int gcopy_frame(int, int) { return 0; }
int gdisplay_frame(int) { return 0; }
int gset_looping(int) { return 0; }
int gget_num_images() { return 0; }

int GPH_trans(int n) { return gsel_norm_tran(n); }
int GPH_set_color(int, float, float, float) { return 0; }
int GPH_line_attr(const Attrib*) { return 0; }
int GPH_get_view_size(float rect[4]) {
    rect[0] = rect[1] = rect[2] = rect[3] = 0.0f;
    return 0;
}
int GPH_end(int) { return 0; }
