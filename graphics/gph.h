// The drawing convenience layer over the kernel.
#pragma once

struct Attrib;

int GPH_trans(int n);
int GPH_set_color(int index, float red, float green, float blue);
int GPH_line_attr(const Attrib* attrib);
int GPH_get_view_size(float rect[4]);
int GPH_end(int id);
