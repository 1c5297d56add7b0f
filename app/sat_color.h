// Colour enhancement of satellite counts: the enhancement tables, the infrared
// temperature scales, the colouring of an image and the colour bar.
#pragma once

struct Image;

int SAT_color_setup();
int SAT_decode_colors(char* text, int* index);
int SAT_ir_ind(float temperature);
float SAT_ind_ir(int count);
int SAT_color_image(Image* image);
int SAT_color_bar(int type);

// The tables as the last SAT_color_setup left them, for reports and tests. A bin
// or count outside the tables gives -9999.
int SAT_color_get_max();
const char* SAT_color_get_enhance();
int SAT_color_get_dither();
int SAT_color_get_cut(int bin);
int SAT_color_get_fill_ind(int bin);
int SAT_color_get_color_ind(int bin);
int SAT_color_get_dither_ind(int bin);
int SAT_color_get_dith_color(int bin);
int SAT_color_get_bin(int count);
int SAT_color_get_pixel(int count);
// Forgets the dither kind, which otherwise stands for the life of the process (tests).
void SAT_color_reset();
