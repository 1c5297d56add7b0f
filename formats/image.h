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

// Empties the record; keeps resolutions, offsets, mapped and masks. Returns 0.
int IMG_init(Image* image);
// Releases pixels and colour table. Returns 0.
int IMG_free(Image* image);
// Reads a GIF, PNG, native or XWD raster by its first bytes: the reader's
// status, or 0 if the file cannot be opened.
int IMG_read(const char* name, Image* image, int truecolor);
// Native image: 1, 0 when the pixels cannot be held, -1 on open failure or bad magic.
int IMG_read_zmt(const char* name, Image* image);
// Native image, compressed when `compress` is 1: 1, or 0 when the file can't be opened.
int IMG_write(const char* name, const Image* image, int compress);
// IMG_write for a name the user typed: a "|command" name opens a pipe only when
// `user_typed` is non-zero (IMG_write never opens one).
int IMG_write_user(const char* name, const Image* image, int compress, int user_typed);
// The current window as a native image: 1, or 0.
int IMG_dump(const char* name);
// The window's pixels as `write` stores them in `name`: its status, or 0 when the
// window has no image to give.
int IMG_dump_with(const char* name, int (*write)(const char* name, Image* image));
// Seconds a compressed read waits for a file still being written (10); tests
// and the fuzzer lower it.
int IMG_set_max_waits(int seconds);
