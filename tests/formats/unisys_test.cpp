// The Unisys reader on the synthetic files of the test data, with their
// expected pixels and header values, and on headers made by hand.
#include "formats/unisys.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "app/sat.h"
#include "env/messages.h"
#include "formats/image.h"
#include "navigation/area_nav.h"
#include "reader_harness.h"

namespace {

struct Read : sat_test::Read {
    explicit Read(const std::string& path) : sat_test::Read(SAT_read_Unisys, path) {}
};

// A number of the expected JSON by its key; the keys are unique in these files.
double json(const std::string& text, const std::string& key) {
    const size_t at = text.find("\"" + key + "\":");
    EXPECT_NE(at, std::string::npos) << key;
    return at == std::string::npos ? -1e30
                                   : std::strtod(text.c_str() + at + key.size() + 3, nullptr);
}

using sat_test::pgm_pixels;

// The satellite coordinates of image line and element 0 and 1: the four
// values that AREA_set_res last stored.
std::vector<float> resolution() {
    float l0, e0, l1, e1;
    AREA_line_elem(1, 0, 0, &l0, &e0);
    AREA_line_elem(1, 1, 1, &l1, &e1);
    return {l0 + 1, e0 + 1, l1 - l0, e1 - e0};
}

class UnisysTest : public sat_test::ReaderTest {};

TEST_F(UnisysTest, SyntheticFilesGiveTheirExpectedPixelsAndDomains) {
    for (const char* name : {"unisys_lambert_synthetic.uni", "unisys_unnav_synthetic.uni"}) {
        SCOPED_TRACE(name);
        const std::string path = sat_test::testdata(std::string("unisys/") + name);
        const std::string want = sat_test::read_file(path + ".expected.json");
        AREA_set_res(1, 2, 3, 4);
        Read r(path);
        ASSERT_EQ(r.status, 0) << r.err;
        const Image& im = r.image;
        const Domain& d = im.domain;
        EXPECT_TRUE(r.pixels() == pgm_pixels(sat_test::read_file(path + ".expected.pgm")));
        EXPECT_NE(want.find("\"info\": \"" + std::string(im.info) + "\""), std::string::npos);
        const std::pair<const char*, double> values[] = {{"source", im.source},
                                                         {"width", im.width},
                                                         {"height", im.height},
                                                         {"bits_per_pixel", im.bits_per_pixel},
                                                         {"bytes_per_line", im.bytes_per_line},
                                                         {"proj", d.proj},
                                                         {"clat", d.clat},
                                                         {"clon", d.clon},
                                                         {"dx", d.dx},
                                                         {"dy", d.dy},
                                                         {"nx", d.nx},
                                                         {"ny", d.ny}};
        for (auto [key, value] : values) EXPECT_FLOAT_EQ(value, json(want, key)) << key;
        // The time token is seconds since 1970 in UTC, as Python breaks it down. (The
        // expected JSON's "date_utc" disagrees with the token by 9600 s.)
        const std::string header = sat_test::read_file(path).substr(0, 200);
        const size_t f = header.find(" fld") + 4;
        auto py = sat_test::run_program(
            "/usr/bin/python3", {"-c",
                                 "import sys,time; t=time.gmtime(int(sys.argv[1])); "
                                 "print(t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min)",
                                 header.substr(f, header.find(' ', f) - f)});
        char when[64];
        std::snprintf(when, sizeof when, "%d %d %d %d %d\n", im.date.year, im.date.month,
                      im.date.day, im.date.hour, im.date.minute);
        EXPECT_EQ(py.out, when);
        if (d.proj == 4) {
            EXPECT_FLOAT_EQ(d.plat, json(want, "plat"));
            EXPECT_FLOAT_EQ(d.plon, json(want, "plon"));
            EXPECT_FLOAT_EQ(d.param[0], json(want, "param0"));
            EXPECT_FLOAT_EQ(d.param[1], json(want, "param1"));
            EXPECT_EQ(resolution(), (std::vector<float>{1, 2, 3, 4}));  // no "lr": untouched
        } else {
            EXPECT_EQ(resolution(), (std::vector<float>{static_cast<float>(json(want, "lcor")),
                                                        static_cast<float>(json(want, "ecor")),
                                                        static_cast<float>(json(want, "lres")),
                                                        static_cast<float>(json(want, "eres"))}));
        }
    }
}

TEST_F(UnisysTest, HandMadeHeaders) {
    std::string filler;
    for (int i = 0; i < 27; i++) filler += " zz";
    const std::string open30 = "idOPEN x16 y8" + filler + " ";
    std::string tail;
    for (int i = 0; i < 128; i++) tail += static_cast<char>('A' + i % 26);
    struct Case {
        std::string bytes;
        int status;
        const char* message;
        float dx;
    };
    const Case cases[] = {
        // Three matches suffice without "end": the pixels start where the 30
        // tokens leave the stream.
        {open30 + tail, 0, "", 1.0f},
        {"idX x8 " + tail, -1, "SAT_read_Unisys: Unable to determine image parameters", 0},
        {"x16 y8 range5 end " + tail, 0, "", 1.0f},  // range with a value is no keyword
        {"x16 y8 range end " + tail, 0, "", 0.08f},
        {"x16 y8 ssn5 sr2 lr end " + tail, 0, "", 1.0f},  // lr without a number
        {"y8 end " + tail, -1, "SAT_read_Unisys: Invalid image parameters", 0},
        {"x2000000000 y2000000000 end", -1, "SAT_read_Unisys: Image data cut short", 0},
        {"x8 y8 end " + tail.substr(0, 40), -1, "SAT_read_Unisys: Image data cut short", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes.substr(0, 20));
        AREA_set_res(1, 2, 3, 4);
        Read r(copy(c.bytes));
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err.substr(0, std::strlen(c.message)), c.message) << r.err;
        if (c.status != 0) {
            EXPECT_EQ(r.image.data, nullptr);
            continue;
        }
        EXPECT_EQ(r.image.domain.dx, c.dx);
        EXPECT_EQ(resolution(), (std::vector<float>{1, 2, 3, 4}));
        // Pixel i is byte i of the file from the end of the header on.
        const size_t p = c.bytes.find("ABCDE");  // behind the header and one separator
        std::string want(128, '\0');
        for (size_t i = p; i < want.size(); i++) want[i] = c.bytes[i];
        EXPECT_TRUE(r.pixels() == want);
    }
}

TEST_F(UnisysTest, ConventionsEndToEnd) {
    sat_test::write_file(dir.file("20120101_0230_ir.uni"),
                         sat_test::real("unisys/unisys_lambert_synthetic.uni"));
    sat_test::write_file(dir.file("bad.uni"), "idX x1");
    sat_test::expect_runs({
        {{"-sp", dir.path(), "-if", "unis_unisys_ir", "20120101_0230"}, 0, "Info: SYNTH_LC", ""},
        {{"-inp", "unisat", dir.file("bad.uni")}, 10, "Unable to determine image parameters", ""},
    });
}

}  // namespace
