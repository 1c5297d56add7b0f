#include "app/sat_color.h"

int SAT_color_setup() { return -1; }
int SAT_decode_colors(char*, int*) { return -1; }
int SAT_ir_ind(float) { return 0; }
float SAT_ind_ir(int) { return 0.0f; }
int SAT_color_image(Image*) { return -1; }
int SAT_color_bar(int) { return -1; }
