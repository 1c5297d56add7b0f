// A 1280 x 1024 image page written to PostScript, in grey and in colour: open the
// workstation, put the image in a viewport of exactly its size, close (trailer,
// rename into place). The file goes through the page cache.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "env/colors.h"
#include "env/messages.h"
#include "formats/image.h"
#include "graphics/graphics.h"

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 1024;

// Smooth cloud-like counts with noise, so the hex output is not one repeated byte.
Image& scene() {
    static std::vector<unsigned char> pixels;
    static Image image = [] {
        Image im{};
        im.width = im.bytes_per_line = kWidth;
        im.height = kHeight;
        im.depth = im.bits_per_pixel = 8;
        pixels.resize(static_cast<size_t>(kWidth) * kHeight);
        uint32_t noise = 12345;
        for (int y = 0; y < kHeight; y++) {
            for (int x = 0; x < kWidth; x++) {
                noise = noise * 1664525u + 1013904223u;
                pixels[static_cast<size_t>(y) * kWidth + x] = static_cast<unsigned char>(
                    120 + 80 * std::sin(x * 0.01f) * std::cos(y * 0.013f) + (noise >> 28));
            }
        }
        im.data = pixels.data();
        return im;
    }();
    return image;
}

void write_page(benchmark::State& state, const char* options) {
    MESS_set(0, MESS_WARN);
    // The shipped colour table, beside this source's folder.
    const std::string source = __FILE__;
    CLR_read_table((source.substr(0, source.rfind("bench/")) + "data/zmt.clr").c_str());
    Image& image = scene();
    char dir[] = "/tmp/sat_ps_bench.XXXXXX";
    if (!mkdtemp(dir)) {
        state.SkipWithError("no temporary directory");
        return;
    }
    const std::string out = std::string(dir) + "/page.ps";
    // 19 by 16 inches leaves room for a 1280 by 1024 point viewport.
    const std::string device = out + ",sz=19x16," + options;
    long bytes = 0;
    for (auto _ : state) {
        if (gopen_ws(1, device.c_str(), GWS_PS) != 0) {
            state.SkipWithError("cannot open the PostScript workstation");
            break;
        }
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        const float d = static_cast<float>(w - 1);
        const float ws[4] = {0.0f, 1.0f, 0.0f, static_cast<float>(h - 1) / d};
        const float vp[4] = {0.0f, (kWidth - 1) / d, 0.0f, (kHeight - 1) / d};
        gset_ws_win(1, ws);
        gset_vp(1, vp);
        gsel_norm_tran(1);
        gload_image(&image, 0, 0);
        gclose_ws();
        FILE* f = std::fopen(out.c_str(), "rb");
        if (f) {
            std::fseek(f, 0, SEEK_END);
            bytes = std::ftell(f);
            std::fclose(f);
        }
    }
    state.counters["file_MB"] = static_cast<double>(bytes) / 1e6;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight);
    unlink(out.c_str());
    rmdir(dir);
}

void BM_PostScriptGreyPage(benchmark::State& state) {
    write_page(state, "gray");
}
void BM_PostScriptColourPage(benchmark::State& state) {
    write_page(state, "color");
}

}  // namespace

BENCHMARK(BM_PostScriptGreyPage)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PostScriptColourPage)->Unit(benchmark::kMillisecond);
