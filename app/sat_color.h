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
