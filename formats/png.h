// PNG raster files.
#pragma once

struct Image;

// 1, or 0 on failure.
int PNG_read(const char* name, Image* image, int header_only);
