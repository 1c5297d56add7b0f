// The kernel on a real window (an Xvfb started here): a 1280 by 1024 colour-mapped
// image put into the viewport of a window of that size at depth 24.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "env/messages.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "../tests/graphics/xserver.h"

namespace {

constexpr int WIDTH = 1280, HEIGHT = 1024;

struct Window {
    sat_test::Xvfb server{24, "1600x1280"};
    bool ok = false;
    Window() {
        MESS_set(0, MESS_WARN);
        if (server.display().empty()) return;
        gset_geometry("1280x1024+0+0");
        gopen_gks(nullptr);
        if (gopen_ws(1, server.display().c_str(), GWS_WIN) != 0) return;
        float xv = 0, yv = 0;
        ginq_maxview(1, &xv, &yv);
        const float full[4] = {0, xv, 0, yv};
        gset_ws_win(1, full);
        gset_vp(1, full);
        gset_win(1, full);
        gsel_norm_tran(1);
        ok = true;
    }
};

Window& window() {
    static Window w;
    return w;
}

void BM_LoadImage24(benchmark::State& state) {
    Window& w = window();
    if (!w.ok) {
        state.SkipWithError("no window");
        return;
    }
    Image image{};
    IMG_init(&image);
    image.width = WIDTH;
    image.height = HEIGHT;
    image.depth = 8;
    image.bits_per_pixel = 8;
    image.bytes_per_line = WIDTH;
    image.num_colors = 256;
    image.colors = static_cast<float*>(std::malloc(sizeof(float) * 3 * 256));
    for (int i = 0; i < 256; ++i) {
        image.colors[3 * i] = static_cast<float>(i) / 255.0f;
        image.colors[3 * i + 1] = static_cast<float>((i * 3) % 256) / 255.0f;
        image.colors[3 * i + 2] = static_cast<float>(255 - i) / 255.0f;
    }
    image.data = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(WIDTH) * HEIGHT));
    for (int i = 0; i < WIDTH * HEIGHT; ++i) image.data[i] = static_cast<unsigned char>(i * 7 / 3);
    for (auto _ : state) {
        gload_image(&image, 0, 0);
        gsync();  // the server has the picture
    }
    IMG_free(&image);
}
BENCHMARK(BM_LoadImage24)->Unit(benchmark::kMillisecond);

}  // namespace
