// Plot domains: a projection, a centre, a grid size and a spacing.
#pragma once

#include <cstdint>

constexpr int DOM_MISSING = -9999;
constexpr float DOM_FMISSING = -9999.0f;

struct Domain {
    int32_t proj;
    float plat;
    float plon;
    float param[5];  // param[0] tlat1, param[1] tlat2, param[2] scale
    float clat;
    float clon;
    float dx;
    float dy;
    int32_t nx;
    int32_t ny;
    int32_t ext;
};

int DOM_init(Domain* domain);
// (the rest of the DOM_ interface is declared below by the domains module)
