#include "app/sat_remap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "app/sat.h"
#include "app/sat_params.h"
#include "env/domains.h"
#include "env/messages.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"
#include "test_support.h"

namespace {

const char* const kSector = "area/goes8_wv_gvar_1998260_0745.area";
const char* const kRadar = "area/radar_composite_ps_2000137_0859.area";
const char* const kFullDisk = "area/goes8_fulldisk_gvar_synthetic.area";

Domain make_domain(int proj, float clat, float clon, float dx, int nx, int ny) {
    Domain d;
    DOM_init(&d);
    d.proj = proj;
    d.plat = proj == 1 ? 90.0f : clat;
    d.plon = d.clon = clon;
    d.clat = clat;
    d.dx = d.dy = dx;
    d.nx = nx;
    d.ny = ny;
    return d;
}

// Targets in every projection that has a transform, with a spacing of about
// `dx` hundred kilometres (degrees for lat-lon; the Mollweide unit is ~157 km).
std::vector<Domain> targets(float clat, float clon, float dx, int nx, int ny) {
    std::vector<Domain> out;
    for (int proj : {1, 2, 3, 4, 5, 7, 8, 9}) {
        const float unit = proj == 2 ? 0.9f : proj == 7 ? 0.64f : 1.0f;
        out.push_back(make_domain(proj, clat, clon, dx * unit, nx, ny));
    }
    return out;
}

struct OwnedImage {
    Image im{};
    ~OwnedImage() {
        std::free(im.data);
        std::free(im.colors);
    }
};

bool load(const char* rel, OwnedImage& out) {
    AREA_reset();
    FLAG_set(14, SAT_AREA);
    return SAT_read_file(sat_test::testdata(rel).c_str(), &out.im) == 1 && out.im.data != nullptr;
}

// A copy of the source pixels, sampled independently of the code under test.
struct Pixels {
    std::vector<unsigned char> d;
    int w = 0, h = 0;
    explicit Pixels(const Image& im)
        : d(im.data, im.data + static_cast<size_t>(im.width) * im.height),
          w(im.width),
          h(im.height) {}
    double at(long i) const { return i < static_cast<long>(d.size()) ? d[i] : 0.0; }
    bool inside(double ix, double iy) const {
        return ix >= 0 && iy >= 0 && ix <= w - 1 && iy <= h - 1;
    }
    int nearest(float ix, float iy) const {
        if (!inside(ix, iy)) return 0;
        const long i = static_cast<long>(iy) * w + static_cast<long>(ix);
        return static_cast<int>(
            at(i + (iy - std::floor(iy) > 0.5f ? w : 0) + (ix - std::floor(ix) > 0.5f ? 1 : 0)));
    }
    // Zoom bounds: the last line and column are sampled, missing neighbours are zero.
    double raw(double ix, double iy) const {
        const long i = static_cast<long>(iy) * w + static_cast<long>(ix);
        const double fy = iy - std::floor(iy), fx = ix - std::floor(ix);
        return at(i) * (1 - fy) * (1 - fx) + at(i + 1) * (1 - fy) * fx + at(i + w) * fy * (1 - fx) +
               at(i + w + 1) * fy * fx;
    }
    double bilinear(double ix, double iy) const { return inside(ix, iy) ? raw(ix, iy) : 0.0; }
};

// Source position through the image's own domain.
void through_domain(const Domain& src, float lat, float lon, float& ix, float& iy) {
    float px, py;
    MAP_domain(&src);
    MAP_tran(lat, lon, &px, &py);
    MAP_grid_untran(px, py, &ix, &iy);
}

// Source position through the satellite navigation; false off the earth.
bool through_nav(float lat, float lon, float& ix, float& iy) {
    float line, elem;
    AREA_tran(2, &lat, &lon, &line, &elem);
    AREA_line_elem(2, line, elem, &iy, &ix);
    return line != -9999.0f;
}

class Remap : public ::testing::Test {
   protected:
    void SetUp() override {
        SAT_params_reset();
        MESS_reset();
        MESS_set(0, MESS_WARN);
    }
};

// "remap=0" gives every pixel the source's sample to the count; the interpolated
// remap stays close to the per-pixel truth and does not smear across the limb.
// The interpolated radar case is centred on the storms near its grid 380, 150.
TEST_F(Remap, RemapFollowsTheSourcePositionsInEveryProjection) {
    struct Case {
        const char* file;
        float lat, lon, dx;
        bool exact;
    };
    for (const Case& cs :
         {Case{kRadar, 38.3f, -98.2f, 0.25f, true}, Case{kSector, 25.0f, -80.0f, 0.2f, true},
          Case{kFullDisk, 78.0f, -75.0f, 0.05f, false},
          Case{kRadar, 39.67f, -91.9f, 0.05f, false}}) {
        const bool nav = !cs.exact && cs.file != kRadar;
        const int nx = cs.exact ? 160 : 230, ny = cs.exact ? 110 : nav ? 190 : 150;
        for (const Domain& target : targets(cs.lat, cs.lon, cs.dx, nx, ny)) {
            for (int pix_ave : cs.exact ? std::vector<int>{0, 1} : std::vector<int>{-1}) {
                SCOPED_TRACE(std::string(cs.file) + " proj " + std::to_string(target.proj) +
                             (cs.exact ? " exact, pix_ave " + std::to_string(pix_ave) : ""));
                SAT_params_reset();
                SAT_params().tran_sat = 1;  // a projected file clears it
                OwnedImage img;
                ASSERT_TRUE(load(cs.file, img));
                ASSERT_EQ(SAT_params().tran_sat, cs.file != kRadar ? 1 : 0);
                if (cs.exact) {  // otherwise the defaults
                    SAT_params().remap_inc = 0;
                    SAT_params().pix_ave = pix_ave;
                }
                const Domain src = img.im.domain;
                const Pixels pix(img.im);
                const std::string info = img.im.info;
                ASSERT_EQ(SAT_remap_image(&img.im, &target), 1);
                EXPECT_EQ(
                    (std::vector<int>{img.im.source, img.im.width, img.im.height,
                                      img.im.bytes_per_line, DOM_comp(&img.im.domain, &target)}),
                    (std::vector<int>{SAT_NATIVE, nx, ny, nx, 1}));
                EXPECT_EQ(info, img.im.info);
                long wrong = 0, covered = 0, close = 0, limb = 0, echoes = 0;
                MAP_domain(&target);
                float lim[4];
                MAP_get_limits(lim);
                float y = lim[3];
                for (int r = 0; r < ny; ++r, y -= target.dy) {
                    float x = lim[0];
                    for (int c = 0; c < nx; ++c, x += target.dx) {
                        float lat, lon, ix, iy;
                        MAP_domain(&target);
                        MAP_untran(x, y, &lat, &lon);
                        const bool on_earth = nav ? through_nav(lat, lon, ix, iy)
                                                  : (through_domain(src, lat, lon, ix, iy), true);
                        const double truth = pix.bilinear(ix, iy);
                        const int got = img.im.data[r * nx + c];
                        covered += pix.inside(ix, iy);
                        wrong += pix_ave == 0 ? got != pix.nearest(ix, iy)
                                              : std::fabs(got - std::floor(truth)) > 1;
                        close += std::fabs(got - truth) <= 2.0;
                        echoes += truth > 0;
                        // The first segment of a row has its start untested.
                        limb += !on_earth && c >= SAT_params().remap_inc && got != 0;
                    }
                }
                if (cs.exact) {
                    EXPECT_EQ(wrong, 0);
                    EXPECT_GT(covered, nx * ny / 4);
                } else {
                    EXPECT_GE(close, nx * ny * 99L / 100);
                    EXPECT_EQ(limb, 0) << "pixels off the earth";
                    EXPECT_TRUE(nav || echoes > nx * ny / 10) << echoes;
                }
            }
        }
    }
}

// The longitude clip blanks every pixel beyond min_lon and max_lon when the remap
// interpolates; the exact remap does not clip.
TEST_F(Remap, LongitudeClipActsOnlyWhenInterpolating) {
    const Domain target = make_domain(2, 25.0f, -80.0f, 0.1f, 200, 120);
    for (int remap_inc : {20, 0}) {
        SCOPED_TRACE(remap_inc);
        OwnedImage img;
        ASSERT_TRUE(load(kSector, img));
        SAT_params().remap_inc = remap_inc;
        SAT_params().min_lon = -85.0f;
        SAT_params().max_lon = -76.0f;
        ASSERT_EQ(SAT_remap_image(&img.im, &target), 1);
        long n[2] = {0, 0}, blank[2] = {0, 0};  // [outside, inside]
        MAP_domain(&target);
        float lim[4];
        MAP_get_limits(lim);
        float y = lim[3];
        for (int r = 0; r < target.ny; ++r, y -= target.dy) {
            float x = lim[0];
            for (int c = 0; c < target.nx; ++c, x += target.dx) {
                float lat, lon;
                MAP_untran(x, y, &lat, &lon);
                const int in = lon >= -85.0f && lon <= -76.0f;
                ++n[in];
                blank[in] += img.im.data[r * target.nx + c] == 0;
            }
        }
        if (remap_inc != 0)
            EXPECT_EQ(blank[0], n[0]);
        else
            EXPECT_LT(blank[0], n[0] / 2);
        EXPECT_LT(blank[1], n[1] / 10);
    }
}

// Left half `a`, right half `b` on a lat-lon grid; one target pixel at element 3 + f.
int classify(int a, int b, float f, const char* cutoff) {
    SAT_params_reset();
    SAT_params().remap_inc = 0;
    if (cutoff != nullptr) {
        int n = std::sscanf(cutoff, "%d:%d:%d:%d", &SAT_params().cutbase, &SAT_params().cutoff[1],
                            &SAT_params().cutoff[2], &SAT_params().cutoff[3]);
        SAT_params().numcut = n - 1;
        SAT_params().cutoff[0] = 0;
        SAT_params().cutoff[n] = 256;
    }
    OwnedImage img;
    img.im.source = SAT_NATIVE;
    img.im.width = img.im.bytes_per_line = 8;
    img.im.height = 4;
    img.im.depth = 8;
    img.im.domain = make_domain(2, 0.0f, 0.0f, 1.0f, 8, 4);
    img.im.data = static_cast<unsigned char*>(std::malloc(32));
    for (int i = 0; i < 32; ++i) img.im.data[i] = static_cast<unsigned char>(i % 8 < 4 ? a : b);
    Domain target = make_domain(2, 0.5f, f - 0.5f, 1.0f, 1, 1);
    target.plon = 0.0f;
    SAT_remap_image(&img.im, &target);
    return img.im.data[0];
}

TEST_F(Remap, CutoffClasses) {
    struct Case {
        int a, b;
        float f;
        const char* cutoff;
        int want;
    };
    // Across classes the nearest, not the average; the base is lifted to 0, an exact
    // 0 turns back into it, and it counts in every class.
    for (const Case& c : {Case{5, 60, 0.5f, nullptr, 32}, Case{5, 60, 0.5f, "10:50", 5},
                          Case{10, 30, 0.25f, "10:50", 7}, Case{10, 30, 0.0f, "10:50", 10},
                          Case{10, 60, 0.5f, "10:50", 55}})
        EXPECT_EQ(classify(c.a, c.b, c.f, c.cutoff), c.want) << c.a << "," << c.b << " " << c.f;
}

// The navigated sector zooms on the satellite grid and moves its navigation along;
// the projected radar file zooms on its domain.
TEST_F(Remap, ZoomRealFiles) {
    OwnedImage img;
    ASSERT_TRUE(load(kSector, img));
    ASSERT_EQ(img.im.domain.proj, 9);
    float lat = 25.0f, lon = -80.0f, line, elem, l, e, sat_l, sat_e;
    AREA_tran(2, &lat, &lon, &line, &elem);
    AREA_line_elem(2, line, elem, &l, &e);
    AREA_line_elem(1, l, e, &sat_l, &sat_e);
    const Pixels pix(img.im);
    ASSERT_EQ(SAT_zoom_image_to(&img.im, 25.0f, -80.0f, 2.0f, 600, 400), 0);
    ASSERT_TRUE(img.im.width == 600 && img.im.height == 400);
    EXPECT_EQ(img.im.domain.clat, 25.0f);
    long wrong = 0;
    for (int r = 0; r < 400; r += 7)
        for (int c = 0; c < 600; c += 5)
            wrong += std::fabs(img.im.data[r * 600 + c] -
                               pix.raw(e - 150 + c * 0.5, l - 100 + r * 0.5)) > 1.0;
    EXPECT_EQ(wrong, 0);
    float sl, se;
    AREA_line_elem(1, 200.0f, 300.0f, &sl, &se);
    EXPECT_NEAR(sl, sat_l, 0.05);
    EXPECT_NEAR(se, sat_e, 0.05);
    OwnedImage radar;
    ASSERT_TRUE(load(kRadar, radar));
    const Pixels rp(radar.im);
    const float z = 1.5f, s = 1 / z;  // positions advance by a float step of 1 / zoom
    ASSERT_EQ(SAT_zoom_image_to(&radar.im, -9999.0f, -9999.0f, z, 700, 600), 0);
    ASSERT_TRUE(radar.im.width == 700 && radar.im.height == 525);
    float y = 0.0f;
    for (int r = 0; r < 525; ++r, y += s) {
        float x = 0.0f;
        for (int c = 0; c < 700; ++c, x += s)
            ASSERT_LE(std::fabs(radar.im.data[r * 700 + c] - rp.raw(x, y)), 1.0) << r << "," << c;
    }
}

}  // namespace
