// The workstation. None opens yet: every drawing call below finds it closed.
#include "graphics/graphics.h"

int gchk_graphics() { return 0; }

int gget_win_depth() { return 0; }
