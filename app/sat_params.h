// Plot parameters of the satellite display, shared by the read, remap and colour
// stages of the one display module. SAT_plot_param fills them once per process.
#pragma once

#include <cstdint>

#include "app/sat.h"
#include "env/missing.h"

struct SatParams {
    int32_t remap_inc = 20;  // column step of the interpolating remap, 0 for exact
    int32_t tran_sat = 1;    // 1: AREA navigation in a remap; 0: the image's Domain
    int32_t pix_ave = 1;     // 1: bilinear averaging; 0: nearest pixel
    float zoom = 1.0f;
    int32_t fill = 0;  // fill pattern mask of the enhancement
    int32_t over = 0;  // overlay with black transparent instead of loading
    int32_t bar = 0;   // 0 none, 1 "bar", 2 "irbar"
    int32_t pix_off = 0;
    float min_lon = ZMT_FMISSING;
    float max_lon = ZMT_FMISSING;
    int32_t refresh = 0;
    int32_t cutbase = 0;
    int32_t cutoff[5] = {0, 0, 0, 0, 0};
    int32_t numcut = 0;
    int32_t imager_source = SAT_AREA;  // calibration family, a value of flag 14
    int32_t imager_type = 0;
};

// The display's parameters; one set per process.
SatParams& SAT_params();
// Back to the start values (tests).
void SAT_params_reset();
