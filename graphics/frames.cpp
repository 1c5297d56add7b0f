// Frames of a loop. Frames need a display and a window; with the workstation
// closed there are none.
#include "graphics/graphics.h"

int gcreate_frame(int) { return 0; }
int gselect_frame(int) { return 0; }
int gclear_frame(int) { return 0; }
int gcopy_frame(int, int) { return 0; }
int gdisplay_frame(int) { return 0; }
int gset_looping(int) { return 0; }
int gget_num_images() { return 0; }
