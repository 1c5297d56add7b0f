// PNG raster files through libpng, with the GIF quantiser in front of the writer.
#pragma once

struct Image;

// Reads a PNG: 1, or 0 on failure (libpng's errors included; they never end the
// program). With header_only 1 it stops after the header and allocates nothing.
int PNG_read(const char* name, Image* image, int header_only);
// Writes the image as an 8-bit palette PNG: 1, or 0. The image is left alone.
int PNG_write(const char* name, const Image* image);
// The window as a PNG: 1, or 0.
int PNG_dump(const char* name);
