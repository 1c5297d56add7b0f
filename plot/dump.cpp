// Raster dumps of the plot. No dump format is built yet.
#include "plot/dump.h"

int PLT_dump(int) { return -1; }
