// World points as window pixels for the X drawing calls of lines and areas.
#pragma once

#include <X11/Xlib.h>

#include <array>
#include <vector>

#include "graphics/graphics.h"

// Each point through xW_p and yW_p, + 0.5 truncated to 16 bits. Short runs, which
// are most of them, stay on the stack.
struct XPoints {
    static constexpr int STACK_POINTS = 10;
    std::array<XPoint, STACK_POINTS> small{};
    std::vector<XPoint> large;
    XPoint* data = small.data();

    XPoints(int count, const float* points) {
        if (count > STACK_POINTS) {
            large.resize(static_cast<size_t>(count));
            data = large.data();
        }
        for (int i = 0; i < count; ++i) {
            data[i].x = static_cast<short>(xW_p(points[2 * i]) + 0.5);
            data[i].y = static_cast<short>(yW_p(points[2 * i + 1]) + 0.5);
        }
    }
    XPoints(const XPoints&) = delete;
    XPoints& operator=(const XPoints&) = delete;
};
