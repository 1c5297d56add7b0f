// State the lifecycle and the labels of the plot layer share.
#pragma once

// The picture's viewport, left, right, bottom, top: margins handed to the
// kernel, filled with the rectangle it gives back.
float* plt_view();
int plt_set_view(const float view[4]);
// Labels inside the picture ("fullab").
int plt_set_full_lab(int on);
