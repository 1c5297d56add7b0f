// Images on the window. With the workstation closed there is no window to load
// into or read from.
#include "formats/image.h"
#include "graphics/graphics.h"

int gload_image(Image*, int, int) { return 0; }
int goverlay_image(Image*, const char*, int, int) { return 0; }
int gget_image(Image*) { return 0; }
