// The station database: sao.cty against its source, the searches, search keys, hostile files.
#include "overlays/cities.h"

#include <gtest/gtest.h>

#include <string>

#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env/tables.h"
#include "test_support.h"

namespace {

using sat_test::TempDir;
using sat_test::write_file;

// Positions as OurAirports publishes them, with the airports' WMO numbers.
struct Known {
    const char* id;
    int wmo;
    float lat, lon;
};
const Known known[] = {
    {"KDCA", 72405, 38.8521f, -77.037697f},    {"EGLL", 3772, 51.4706f, -0.461941f},
    {"KORD", 72530, 41.9786f, -87.9048f},      {"RJTT", 47671, 35.552299f, 139.779999f},
    {"YSSY", 94767, -33.946098f, 151.177002f}, {"CYYZ", 71624, 43.6772f, -79.6306f},
    {"LFPG", 7157, 49.012798f, 2.55f},         {"LIRF", 16242, 41.804501f, 12.2508f},
    {"KJFK", 74486, 40.639447f, -73.779317f},  {"KLAX", 72295, 33.942501f, -118.407997f},
    {"KDEN", 72565, 39.861698f, -104.672997f}, {"KATL", 72219, 33.6367f, -84.428101f},
    {"KSEA", 72793, 47.449001f, -122.308998f}, {"KMIA", 72202, 25.7932f, -80.290604f},
    {"LEMD", 8221, 40.471926f, -3.56264f},     {"EHAM", 6240, 52.308601f, 4.76389f},
    {"OMDB", 41194, 25.2528f, 55.364399f},     {"SBGR", 83075, -23.431944f, -46.467778f},
    {"FAOR", 68368, -26.1392f, 28.246f},       {"NZAA", 93119, -37.008099f, 174.792007f},
};

// No projection: map x is the latitude and y the longitude.
Domain plain_domain() {
    Domain d;
    DOM_init(&d);
    return d;
}

class Cities : public ::testing::Test {
   protected:
    void SetUp() override { MESS_reset(); }
    void TearDown() override {
        CTY_free();
        CTY_set_id_type(0);
        RES_reset();
    }
    TempDir dir_;
};

TEST_F(Cities, ShippedDatabaseAgreesWithItsSource) {
    Domain d = plain_domain();
    ASSERT_GT(CTY_store("sao.cty", CTY_STORE_LOC, &d, 10), 15000);
    for (const Known& k : known) {
        SCOPED_TRACE(k.id);
        char number[8], coded[WMO_ID_SIZE];
        std::snprintf(number, sizeof number, "%05d", k.wmo);
        wmo_to_id(coded, k.wmo);
        for (const char* key :
             {k.id, static_cast<const char*>(number), static_cast<const char*>(coded)}) {
            CityXY rec{};
            ASSERT_EQ(CTY_search(key, &rec), 1) << key;
            EXPECT_EQ(rec.wmo, k.wmo) << key;
            EXPECT_NEAR(rec.x, k.lat, 0.01) << key;
            EXPECT_NEAR(rec.y, k.lon, 0.01) << key;
        }
    }
    // The station a domain text is centred on, through CTY_get_loc.
    Domain centred;
    ASSERT_EQ(DOM_decode("ps,id:EGLL,25,17,1,1", &centred), 1);
    EXPECT_NEAR(centred.clat, 51.4706f, 0.01);
    EXPECT_FALSE(CTY_search("ZZZZ", static_cast<CityXY*>(nullptr)));
}

// A file of stations around 40N 100W, one buoy, and the lines a tired hand writes.
std::string small_file() {
    return "Alpha                -- US AAAA *1 40.00 -100.00 500 72001 0\n"
           "Beta_Town            KS US BBBB 2* 40.30 -100.00 9000 72002 0\n"
           "Gamma                NE US CCCC 3 41.00 -100.00 10 99999 0\n"
           "Delta                -- GB -- 2 51.00 0.00 10 3001 0\n"
           "Buoy_Station         -- B_ -- 5 30.00 -80.00 0 41001 0\n"
           "Far_Away             -- AU FFFF 2147483648000 -30.00 140.00 0 94001 0\n";
}

TEST_F(Cities, SearchesByKeyNumberAndRing) {
    write_file(dir_.file("test.cty"), small_file());
    RES_put("file_path", dir_.path().c_str());
    Domain d = plain_domain();
    ASSERT_EQ(CTY_store("test.cty", CTY_STORE_LOC, &d, 10), 5);  // the huge priority is out
    CityXY rec{};
    ASSERT_EQ(CTY_search("b41001", &rec), 1);  // buoys are numbered "b%05d"
    EXPECT_FLOAT_EQ(rec.x, 30.0f);
    ASSERT_EQ(CTY_search("03001", &rec), 1);  // no identifier: keyed by its number
    EXPECT_STREQ(rec.key, "03001");
    EXPECT_EQ(CTY_search("K2001", &rec), 1);
    EXPECT_STREQ(rec.key, "AAAA");
    ASSERT_EQ(CTY_search("BBBB", &rec), 1);
    EXPECT_EQ(rec.elev, -9999.0f);  // 9000 metres and up is no elevation
    EXPECT_EQ(rec.prior, 2);
    // The ring search: the nearest ring that holds a station; nothing beyond 4.9 degrees.
    struct Ring {
        float lat, lon;
        const char* key;
    } rings[] = {{40.22f, -100.0f, "BBBB"}, {40.08f, -100.0f, "AAAA"}, {40.9f, -99.8f, "CCCC"},
                 {45.0f, -100.0f, "CCCC"},  {46.0f, -100.0f, nullptr}, {0.0f, 0.0f, nullptr}};
    for (const Ring& r : rings) {
        CityXY hit{};
        int found = CTY_search_loc(r.lat, r.lon, &hit);
        EXPECT_EQ(found, r.key ? 1 : 0) << r.lat << " " << r.lon;
        if (r.key) {
            EXPECT_STREQ(hit.key, r.key) << r.lat << " " << r.lon;
        }
    }
}

// Search keys alone and joined by ":"; the "identifier" resource stores what they select.
TEST_F(Cities, SearchKeysAndIdentifierLists) {
    CityRec beta{"Beta_Town", "KS",    "US",   "BBBB", 2, 0,      1,
                 40.3f,       -100.0f, 120.0f, 72002,  0, nullptr};
    struct Case {
        const char* item;
        int match;
    } cases[] = {{"Name=_beta", 1},    {"ST=KS_US", 1},      {"CN:GB", 0}, {"P<1", 0},
                 {"RA<40/-100/40", 1}, {"RA<40/-100/20", 0}, {"Beta", 0},  {"CN=US:P<3:Lat>40", 1}};
    for (const Case& c : cases) {
        char* list[] = {const_cast<char*>("nothing"), const_cast<char*>(c.item)};
        EXPECT_EQ(CTY_data_cmp(2, list, &beta), c.match ? 1 : -1) << c.item;
    }
    // A list of identifiers with a search key in it lets every station through.
    char* ids[] = {const_cast<char*>("KDCA"), const_cast<char*>("EGLL")};
    EXPECT_EQ(CTY_ids_cmp(2, ids, "EGLL"), 1);
    EXPECT_EQ(CTY_ids_cmp(2, ids, "KORD"), 0);
    char* keyed[] = {const_cast<char*>("KDCA"), const_cast<char*>("ST=VA")};
    EXPECT_EQ(CTY_ids_cmp(2, keyed, "KORD"), 1);
    write_file(dir_.file("test.cty"), small_file());
    RES_put("file_path", dir_.path().c_str());
    RES_put("identifier", "ST=KS,CCCC");
    Domain d = plain_domain();
    EXPECT_EQ(CTY_store("test.cty", CTY_STORE_LOC, &d, 10), 2);
    RES_put("identifier", "all");
    EXPECT_EQ(CTY_store("test.cty", CTY_STORE_LOC, &d, 10), 5);
}

TEST_F(Cities, HostileFilesAndNoDatabase) {
    // Short lines, words for numbers, a huge priority, 100000 stations: read through.
    std::string text = small_file();
    for (int i = 0; i < 100000; i++) {
        char line[96];
        std::snprintf(line, sizeof line, "S%-19d -- XX X%07d %d %.2f %.2f 10 %05d 0\n", i, i,
                      1 + i % 9, -60.0 + (i % 1200) * 0.1, -180.0 + (i / 1200) * 0.3, i % 100000);
        text += line;
    }
    text += "Line KS US SSSS 1 x y z\nShort -- US\n";
    write_file(dir_.file("big.cty"), text);
    RES_put("file_path", dir_.path().c_str());
    Domain d = plain_domain();
    int stored = CTY_store("big.cty", CTY_STORE_LOC, &d, 10);
    EXPECT_GT(stored, 100000);
    CityXY rec{};
    EXPECT_EQ(CTY_search("X0099999", &rec), 1);
    EXPECT_EQ(CTY_search("BBBB", &rec), 1);
    EXPECT_EQ(CTY_search_loc(-60.0f, -179.85f, &rec), 1);
    // "none" means no database at all, without a word.
    RES_put("city_file", "none");
    EXPECT_EQ(CTY_store("big.cty", CTY_STORE_LOC, &d, 10), -1);
    EXPECT_EQ(CTY_search("BBBB", &rec), 0);
    float lat, lon;
    EXPECT_EQ(CTY_get_loc("big.cty", "BBBB", &lat, &lon), 0);
}

}  // namespace
