// GIF raster files: the program's own colour quantiser and LZW coder, a reader
// into an Image with a colour table, and the dump of the window.
#pragma once

#include <cstdint>

struct Image;

// Interlaced output from the next GIF_write on (1) or plain rows (0).
int GIF_interlace(int flag);
// A transparency extension naming the window's background colour (1) or none (0).
int GIF_transparent(int flag);
// Writes the image as GIF89a: 1, or 0 when the file cannot be written. The
// image's pixels are overwritten by their colour indices.
int GIF_write(const char* name, Image* image);
// Reads the first picture of a GIF: 1, or 0 on failure. With header_only 1 it
// stops behind the screen descriptor and allocates nothing.
int GIF_read(const char* name, Image* image, int header_only);
// The window as a GIF: 1, or 0.
int GIF_dump(const char* name);

// The colours a quantised picture uses, in order of first sight.
struct GifPalette {
    int num_color = 0;      // entries found
    uint32_t value[256]{};  // pixel value of each entry
    int red[256]{};         // 0..255
    int grn[256]{};
    int blu[256]{};
};

// How the quantiser stores the indices it finds.
enum GifQuantiseMode {
    GIF_IN_PLACE,   // over the pixels of the image
    GIF_TO_BUFFER,  // to `indices`, width * height bytes, the image left alone
};

// Gives every pixel the index of its colour in `palette` (at most 256; the rest
// take index 0). With GIF_TO_BUFFER an 8-bit image takes its first pixel's
// index everywhere, as the PNG dump of an 8-bit window does.
void GIF_quantise(Image* image, GifQuantiseMode mode, unsigned char* indices, GifPalette* palette);
