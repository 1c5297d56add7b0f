// The AWIPS, LRIT, TIFF and Unisys readers, each on its largest real file, in
// MB of file a second, beside cat of the same file and, for the JPEG segments,
// djpeg of the same stream where djpeg can decode it (8 bits).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "app/sat.h"
#include "env/messages.h"
#include "formats/awips.h"
#include "formats/image.h"
#include "formats/lrit.h"
#include "formats/tiff.h"
#include "formats/unisys.h"

namespace {

const std::string kData = SAT_TESTDATA_DIR;
const std::string kAwipz = kData + "/awips/west_conus_ch4_zlib_20030629_1330.gini";
const std::string kAwipPng = kData + "/awips/northern_hemisphere_ch1_pngbody_20020403_2330.gini";
const std::string kHrit = kData + "/lrit/IMG_FD_01_IR1_20120101_024020_01.hrit";
const std::string kJpeg8 = kData + "/lrit/IMG_FD_01_VIS_20120101_024020_05_jpeg8.lrit";
const std::string kJpeg12 = kData + "/lrit/IMG_FD_01_IR1_20120101_024020_01_jpeg12.hrit";
const std::string kTiff = kData + "/tiff/utm.tif";
const std::string kUnisys = kData + "/unisys/unisys_lambert_synthetic.uni";

std::string load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

using Reader = int (*)(const char*, Image*);

void read_file(benchmark::State& state, Reader reader, const std::string& path, int flag) {
    MESS_set(0, 0);
    FLAG_set(14, flag);
    for (auto _ : state) {
        Image image{};
        if (reader(path.c_str(), &image) != 0) {
            state.SkipWithError("unreadable file");
            break;
        }
        benchmark::DoNotOptimize(image.data);
        IMG_free(&image);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * load(path).size()));
}

void run(benchmark::State& state, const std::string& command, size_t bytes) {
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) state.SkipWithError(command.c_str());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void cat(benchmark::State& state, const std::string& path) {
    run(state, "cat '" + path + "' > /dev/null", load(path).size());
}

// The JPEG stream of a segment, behind its header chain, in a file of its own.
const std::string& jpeg_stream() {
    static const std::string path = [] {
        const std::string seg = load(kJpeg8);
        const auto* b = reinterpret_cast<const unsigned char*>(seg.data());
        const size_t header = size_t{b[4]} << 24 | b[5] << 16 | b[6] << 8 | b[7];
        std::string p = "/tmp/readers_bench_" + std::to_string(getpid()) + ".jpg";
        std::ofstream(p, std::ios::binary) << seg.substr(header);
        std::atexit([] { std::remove(jpeg_stream().c_str()); });
        return p;
    }();
    return path;
}

void BM_AwipsZlibChain(benchmark::State& s) {
    read_file(s, SAT_read_AWIP, kAwipz, SAT_AWIPZ);
}
void BM_AwipsZlibChainCat(benchmark::State& s) {
    cat(s, kAwipz);
}
void BM_AwipsPngBody(benchmark::State& s) {
    read_file(s, SAT_read_AWIP, kAwipPng, SAT_AWIP);
}
void BM_AwipsPngBodyCat(benchmark::State& s) {
    cat(s, kAwipPng);
}
void BM_LritRaw16(benchmark::State& s) {
    read_file(s, SAT_read_LRIT, kHrit, SAT_LRIT);
}
void BM_LritRaw16Cat(benchmark::State& s) {
    cat(s, kHrit);
}
void BM_LritJpeg8(benchmark::State& s) {
    read_file(s, SAT_read_LRIT, kJpeg8, SAT_LRIT);
}
void BM_LritJpeg8Cat(benchmark::State& s) {
    cat(s, kJpeg8);
}
void BM_LritJpeg8Djpeg(benchmark::State& s) {
    run(s, "djpeg -outfile /dev/null '" + jpeg_stream() + "'", load(kJpeg8).size());
}
void BM_LritJpeg12(benchmark::State& s) {
    read_file(s, SAT_read_LRIT, kJpeg12, SAT_LRIT);
}
void BM_LritJpeg12Cat(benchmark::State& s) {
    cat(s, kJpeg12);
}
void BM_Tiff(benchmark::State& s) {
    read_file(s, SAT_read_TIFF, kTiff, SAT_TIFF);
}
void BM_TiffCat(benchmark::State& s) {
    cat(s, kTiff);
}
void BM_Unisys(benchmark::State& s) {
    read_file(s, SAT_read_Unisys, kUnisys, SAT_UNISYS);
}
void BM_UnisysCat(benchmark::State& s) {
    cat(s, kUnisys);
}

}  // namespace

BENCHMARK(BM_AwipsZlibChain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AwipsZlibChainCat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AwipsPngBody)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AwipsPngBodyCat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritRaw16)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritRaw16Cat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritJpeg8)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritJpeg8Cat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritJpeg8Djpeg)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritJpeg12)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LritJpeg12Cat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Tiff)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TiffCat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Unisys)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_UnisysCat)->Unit(benchmark::kMillisecond)->UseRealTime();
