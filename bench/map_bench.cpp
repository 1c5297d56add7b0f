// The whole map layer on a 1280x1024 window: the North American map over the US
// domain and the world coastlines and borders over an Asian domain, with and
// without the graticule. Starts an Xvfb of its own when no DISPLAY is set.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/colors.h"
#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "maps/map_draw.h"

namespace {

pid_t own_server = 0;

void stop_server() {
    if (own_server > 0) {
        kill(own_server, SIGTERM);
        waitpid(own_server, nullptr, 0);
    }
}

// Xvfb picks a free display and writes its number to a pipe.
void start_server_if_needed() {
    if (std::getenv("DISPLAY")) return;
    int fds[2];
    if (pipe(fds) != 0) return;
    own_server = fork();
    if (own_server == 0) {
        close(fds[0]);
        if (!std::freopen("/dev/null", "w", stderr)) _exit(127);
        char fd[16];
        std::snprintf(fd, sizeof fd, "%d", fds[1]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd, "-screen", "0", "1600x1200x24", "-nolisten", "tcp",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    std::atexit(stop_server);
    char name[16] = ":";
    size_t n = 1;
    char c;
    while (n + 1 < sizeof name && read(fds[0], &c, 1) == 1 && c != '\n') name[n++] = c;
    name[n] = '\0';
    close(fds[0]);
    setenv("DISPLAY", name, 1);
}

bool open_window() {
    static bool open = [] {
        start_server_if_needed();
        gset_win_size(1280, 1024);
        RES_put("file_path", SAT_DATA_DIR);
        CLR_read_table(nullptr);
        int id = 1, type = GWS_WIN;
        GPH_begin(&id, nullptr, &type);
        float rect[4] = {0, 0, 0, 0};
        GPH_reset(&id, &type, 0.0f, rect);
        FLAG_setplot(8, 1);
        return gget_display() != nullptr;
    }();
    return open;
}

// Points in the map files of a list, for the points-a-second figure.
long count_points(const char* list) {
    long total = 0;
    std::string names = list;
    for (size_t start = 0; start < names.size();) {
        size_t comma = names.find(',', start);
        if (comma == std::string::npos) comma = names.size();
        const std::string path =
            std::string(SAT_DATA_DIR) + "/" + names.substr(start, comma - start);
        if (FILE* f = std::fopen(path.c_str(), "rb")) {
            unsigned char h[22];
            while (std::fread(h, 1, 2, f) == 2) {
                const int n = h[0] << 8 | h[1];
                if (n == 0) break;
                total += n;
                std::fseek(f, 20 + 8L * n, SEEK_CUR);
            }
            std::fclose(f);
        }
        start = comma + 1;
    }
    return total;
}

void draw_layer(benchmark::State& state, const char* domain_text, const char* list, float grid) {
    if (!open_window()) {
        state.SkipWithError("no window");
        return;
    }
    Domain domain;
    DOM_decode(domain_text, &domain);
    int id = 1, type = GWS_WIN;
    float rect[4] = {0, 0, 0, 0};
    GPH_panel(id, type, static_cast<float>(DOM_aspect(&domain)), rect);
    MAP_setup(&domain);
    RES_put("map_file", list);
    MAP_latlon(grid, grid, 0, 0);
    for (auto _ : state) {
        MAP_draw(6);
        gsync();
    }
    const long points = count_points(list);
    state.counters["points"] = static_cast<double>(points);
    state.counters["points_per_s"] = benchmark::Counter(
        static_cast<double>(points), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_ZmtMapOverUS(benchmark::State& state) {
    draw_layer(state, "us", "zmt.map", 0.0f);
}
void BM_WorldMapsOverAsia(benchmark::State& state) {
    draw_layer(state, "lamb,40,100,1280,1024,0.1,0.1", "cont.map,country.map", 0.0f);
}
void BM_ZmtMapAndGraticule(benchmark::State& state) {
    draw_layer(state, "us", "zmt.map", 10.0f);
}
void BM_WorldMapsWholeEarth(benchmark::State& state) {
    draw_layer(state, "latlon,0,0,1281,641,0.28125,0.28125", "cont.map,country.map", 0.0f);
}

BENCHMARK(BM_ZmtMapOverUS)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WorldMapsOverAsia)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZmtMapAndGraticule)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WorldMapsWholeEarth)->Unit(benchmark::kMillisecond);

}  // namespace
