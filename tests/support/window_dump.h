// A window's pixels as xwd and netpbm's xwdtopnm see them, and the channel value
// a visual of a given depth holds for a colour asked for.
#pragma once

#include <cctype>
#include <cmath>
#include <string>
#include <vector>

#include "test_support.h"

namespace sat_test {

struct Ppm {
    int width = 0, height = 0, maxval = 0;
    std::vector<int> samples;  // r, g, b a pixel
    int at(int x, int y, int c) const {
        return samples[static_cast<size_t>((y * width + x) * 3 + c)];
    }
};

// A binary PPM of one or two bytes a sample; empty when it is not one.
inline Ppm parse_ppm(const std::string& bytes) {
    Ppm p;
    if (bytes.compare(0, 2, "P6") != 0) return p;
    size_t pos = 2;
    auto number = [&] {
        while (pos < bytes.size() && std::isspace(static_cast<unsigned char>(bytes[pos]))) ++pos;
        int v = 0;
        while (pos < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes[pos])))
            v = v * 10 + (bytes[pos++] - '0');
        return v;
    };
    p.width = number();
    p.height = number();
    p.maxval = number();
    ++pos;
    const size_t wide = p.maxval > 255 ? 2 : 1;
    const size_t n = static_cast<size_t>(p.width) * static_cast<size_t>(p.height) * 3;
    if (bytes.size() < pos + n * wide) return Ppm{};
    p.samples.resize(n);
    for (size_t i = 0; i < n; ++i) {
        const auto* b = reinterpret_cast<const unsigned char*>(bytes.data() + pos + i * wide);
        p.samples[i] = wide == 2 ? b[0] << 8 | b[1] : b[0];
    }
    return p;
}

// Window `id` of the server on `display`, through xwd and xwdtopnm.
inline Ppm xwd_window(const std::string& display, const std::string& id) {
    RunOptions options;
    options.env["DISPLAY"] = display;
    options.timeout_seconds = 20;
    const auto r = run_program(
        "/bin/sh", {"-c", "xwd -nobdrs -silent -id " + id + " | xwdtopnm 2>/dev/null"}, options);
    return parse_ppm(r.out);
}

// Bits of channel c on the Xvfb visuals: 5, 6, 5 at depth 16, else 8.
inline int channel_bits(int depth, int c) {
    return depth == 16 ? (c == 1 ? 6 : 5) : 8;
}

// What the window holds for a colour fraction f: true colour truncates to the
// channel's bits, a colormap cell keeps the top 8 of the 16 bits asked for.
inline int window_channel(float f, int depth, int c) {
    if (depth <= 8) return static_cast<int>(f * 65535.0f) >> 8;
    return static_cast<int>(static_cast<float>((1 << channel_bits(depth, c)) - 1) * f);
}

// A dumped sample brought back to the channel's bits.
inline int dumped_channel(const Ppm& p, int x, int y, int c, int depth) {
    const int max = (1 << channel_bits(depth, c)) - 1;
    return static_cast<int>(std::lround(static_cast<double>(p.at(x, y, c)) * max / p.maxval));
}

}  // namespace sat_test
