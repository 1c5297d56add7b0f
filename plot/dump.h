// Raster dumps of the plot and location queries.
#pragma once

// Writes the raster dumps that the plot parameters ask for, of the given frame.
int PLT_dump(int frame);
