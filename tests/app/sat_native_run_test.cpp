// Native images through the whole run: an AREA file remapped and written with
// -of img, read back with -in img and written again compressed.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "env/domains.h"
#include "formats/image.h"
#include "test_support.h"

using sat_test::run_sat;

namespace {

const std::string radar = sat_test::testdata("area/radar_composite_ps_2000137_0859.area");

struct Loaded {
    Image image;
    int status;
    explicit Loaded(const std::string& name) {
        std::memset(&image, 0, sizeof image);
        IMG_init(&image);
        status = IMG_read_zmt(name.c_str(), &image);
    }
    ~Loaded() { IMG_free(&image); }
};

}  // namespace

TEST(SatNativeRun, RemappedCountsWrittenReadBackAndRewrittenCompressed) {
    sat_test::TempDir dir;
    auto r = run_sat(
        {"-ba", "-pl", "none", "-me", "out2", "-sp", dir.path(), "-pd", "us", "-of", "img", radar});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("Remapping image..."), std::string::npos) << r.out;
    const std::string plain = std::filesystem::directory_iterator(dir.path())->path();
    EXPECT_EQ(sat_test::read_file(plain).substr(0, 7), "ZMTIMG\n");

    Loaded first(plain);
    ASSERT_EQ(first.status, 1);
    // Without a window the remap grid is the default 640 by 427 on the region.
    EXPECT_EQ(first.image.width, 640);
    EXPECT_EQ(first.image.height, 427);
    EXPECT_EQ(first.image.domain.proj, 1);
    EXPECT_NEAR(first.image.domain.clat, 39.0f, 1e-3);
    EXPECT_NEAR(first.image.domain.clon, -97.0f, 1e-3);
    // The radar composite holds only 0, 32, ..., 192; the remap averages within them.
    int nonzero = 0;
    for (int i = 0; i < 640 * 427; ++i) {
        EXPECT_LE(first.image.data[i], 192) << i;
        nonzero += first.image.data[i] != 0;
    }
    EXPECT_GT(nonzero, 1000);

    // Read back and written compressed, unchanged: its own domain is no remap request.
    const std::string copy = dir.file("copy.imgz");
    r = run_sat(
        {"-ba", "-pl", "none", "-me", "out2", "-inp", "img", "-of", "imgz:@" + copy, plain});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("Writing image file: " + copy), std::string::npos) << r.out;
    EXPECT_EQ(sat_test::read_file(copy).substr(0, 8), "ZMTIMGZ\n");
    Loaded second(copy);
    ASSERT_EQ(second.status, 1);
    ASSERT_EQ(second.image.width, first.image.width);
    ASSERT_EQ(second.image.height, first.image.height);
    EXPECT_EQ(DOM_comp(&second.image.domain, &first.image.domain), 1);
    EXPECT_EQ(std::memcmp(second.image.data, first.image.data, 640 * 427), 0);
}
