// PostScript device state that other parts consult before the device is built.
#include "graphics/postscript.h"

namespace {
int pr_color = 0;  // colour output
}

int gps_set_colorPS(int on) {
    pr_color = on;
    return 0;
}

int gps_get_colorPS() { return pr_color; }
