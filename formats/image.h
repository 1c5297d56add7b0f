// The raster record of the system and the native image format.
#pragma once

#include <cstdint>

#include "env/dates.h"
#include "env/domains.h"

struct Image {
    int32_t source;
    int32_t type;
    int32_t version;
    char date_label[52];
    Date date;
    char info[76];
    int32_t width;
    int32_t height;
    int32_t depth;
    float xres;
    float yres;
    float xoff;
    float yoff;
    int32_t bits_per_pixel;
    int32_t bytes_per_line;
    int32_t byte_order;
    int32_t mapped;
    int32_t num_colors;
    uint32_t red_mask;
    uint32_t green_mask;
    uint32_t blue_mask;
    float* colors;  // num_colors entries of red, green, blue in 0..1; owned
    int32_t transparent;
    Domain domain;
    unsigned char* data;  // height lines of bytes_per_line bytes; owned
};

int IMG_init(Image* image);
int IMG_free(Image* image);
// (the rest of the IMG_ interface is declared below by the image module)
