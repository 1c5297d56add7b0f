// Raw point files written here and read back field for field: with a head and
// positions, without a head, placed by identifier, and broken ones.
#include "overlays/raw.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "test_support.h"

namespace {

using sat_test::TempDir;
using sat_test::write_file;

struct Expect {
    const char* id;
    float lat, lon, value, value2;
    const char* text;
    const char* format;
    int result;
};

std::string label_of(int year, int month, int day, int hour) {
    Date date{year, month, day, -9999, -9999, hour, 0, 0};
    DATE_num_sec(&date);
    char label[64];
    DATE_make_label(&date, label);
    return label;
}

// Reads every point of an open handle with `var` and compares with `want`.
void expect_points(int handle, const RawVar& var, const std::vector<Expect>& want) {
    RawData data;
    int line = -1;
    for (const Expect& e : want) {
        line = -1;
        int result = RAW_read(handle, &data, &var, &line);
        SCOPED_TRACE(std::string(e.id) + " " + e.text);
        EXPECT_EQ(result, e.result);
        EXPECT_STREQ(data.id, e.id);
        EXPECT_FLOAT_EQ(data.lat, e.lat);
        EXPECT_FLOAT_EQ(data.lon, e.lon);
        EXPECT_FLOAT_EQ(data.value, e.value);
        EXPECT_FLOAT_EQ(data.value2, e.value2);
        EXPECT_STREQ(data.text, e.text);
        EXPECT_STREQ(data.format, e.format);
    }
    line = -1;
    EXPECT_EQ(RAW_read(handle, &data, &var, &line), -1);
}

class RawFiles : public ::testing::Test {
   protected:
    void TearDown() override {
        RAW_reset();
        RES_reset();
    }
    TempDir dir_;
};

constexpr float M = -9999.0f;

TEST_F(RawFiles, HeadWithPositionsEveryValueAndSelections) {
    std::string label = label_of(2024, 3, 5, 12);
    write_file(dir_.file("obs.raw"), "W surface observations\r\n" + label +
                                         "\n!Surface_obs at 12Z\n" +
                                         "stn lat lon t:Air_temperature:%4.1f wind:Wind ff\n"
                                         "   vis $ ignored\n"
                                         "KDCA 38.85 -77.04 21.5 270,15 txt:fm gust=25\r\n"
                                         "  EGLL 51.47 -0.45 - 180,5\n"
                                         "72530 - - 3 ,7 .5e1\n");
    int type = 0;
    int h = RAW_open(dir_.file("obs.raw").c_str(), 0, &type);
    ASSERT_GE(h, 0);
    EXPECT_EQ(type, 1);
    RawInfo info;
    ASSERT_EQ(RAW_getinfo(h, &info), 0);
    EXPECT_EQ(info.label, label);
    EXPECT_EQ(info.date.year, 2024);
    EXPECT_EQ(info.date.day, 5);
    EXPECT_EQ(info.date.hour, 12);
    EXPECT_STREQ(info.info, "Surface_obs at 12Z");
    EXPECT_EQ(RAW_get_num_fields(h), 7);
    RawVar t;
    std::snprintf(t.name, sizeof t.name, "t");
    EXPECT_STREQ(RAW_get_field_info(h, &t), "Air temperature");
    expect_points(h, RawVar{},
                  {{"KDCA", 38.85f, -77.04f, 21.5f, M, "21.5", "%4.1f", 1},
                   {"KDCA", 38.85f, -77.04f, 270, 15, "270,15", "", 1},
                   {"KDCA", 38.85f, -77.04f, M, M, "txt", ":fm", 1},
                   {"KDCA", 38.85f, -77.04f, 25, M, "25", "", 0},
                   {"EGLL", 51.47f, -0.45f, M, M, "", "%4.1f", 1},
                   {"EGLL", 51.47f, -0.45f, 180, 5, "180,5", "", 0},
                   {"72530", M, M, 3, M, "3", "%4.1f", 1},
                   {"72530", M, M, M, M, ",7", "", 1},
                   {"72530", M, M, 5, M, ".5e1", "", 0}});
    EXPECT_EQ(RAW_close(h), 0);
}

TEST_F(RawFiles, NoHeadAndPlacedByIdentifier) {
    // No head: the first byte isn't "W"; positions follow every identifier.
    write_file(dir_.file("plain.raw"), "KORD 41.98 -87.90 OVC\nRJTT 35.55 139.78 -\n");
    int type = 0;
    int h = RAW_open(dir_.file("plain.raw").c_str(), 0, &type);
    ASSERT_GE(h, 0);
    EXPECT_EQ(type, 99);
    RawInfo info;
    EXPECT_EQ(RAW_getinfo(h, &info), -1);
    expect_points(h, RawVar{},
                  {{"KORD", 41.98f, -87.90f, M, M, "OVC", "", 0},
                   {"RJTT", 35.55f, 139.78f, M, M, "", "", 0}});
    EXPECT_EQ(RAW_rewind(h), -1);
    EXPECT_EQ(RAW_close(h), -1);  // refused: it stays open
    // By identifier: the field after the identifier is a value, not a latitude.
    write_file(dir_.file("ids.raw"), "W\n" + label_of(2024, 1, 1, 0) +
                                         "\n!\nstn t:Temp:%3.0f td $\nKDCA 21.5 10\nEGLL - -3\n");
    type = 0;
    h = RAW_open(dir_.file("ids.raw").c_str(), 0, &type);
    ASSERT_GE(h, 0);
    ASSERT_EQ(RAW_getinfo(h, &info), 0);
    EXPECT_STREQ(info.info, "");
    expect_points(h, RawVar{},
                  {{"KDCA", M, M, 21.5f, M, "21.5", "%3.0f", 1},
                   {"KDCA", M, M, 10, M, "10", "", 0},
                   {"EGLL", M, M, M, M, "", "%3.0f", 1},
                   {"EGLL", M, M, -3, M, "-3", "", 0}});
}

TEST_F(RawFiles, FieldListsPathsAndHandles) {
    write_file(dir_.file("obs.raw"), "W\nlabel\ninfo\nKDCA 1 2 3\n");
    RES_put("raw_path", dir_.path().c_str());
    // A field by number with its format; "-9999" asks for none.
    RawVar var;
    char format[RAW_FORMAT_SIZE];
    int h = RAW_file_open("obs.raw-2:fm=%3.0f", &var, format, 0);
    EXPECT_GE(h, 0);
    EXPECT_EQ(var.number, RAW_VAR_BASE + 2);
    EXPECT_STREQ(format, "fm=%3.0f");
    RAW_close(h);
    RAW_close(RAW_file_open("obs.raw--9999", &var, format, 0));
    EXPECT_EQ(var.number, RAW_VAR_NONE);
    // Five handles at once, no sixth; a closed one frees its place.
    std::vector<int> handles;
    for (int i = 0; i < 5; i++)
        handles.push_back(RAW_open(dir_.file("obs.raw").c_str(), 0, nullptr));
    for (int h : handles) EXPECT_GE(h, 0);
    EXPECT_EQ(RAW_open(dir_.file("obs.raw").c_str(), 0, nullptr), -1);
    EXPECT_EQ(RAW_close(handles[2]), 0);
    EXPECT_EQ(RAW_open(dir_.file("obs.raw").c_str(), 0, nullptr), handles[2]);
}

TEST_F(RawFiles, BrokenFilesReadWithoutHarm) {
    std::string head = "W\nlabel\n!\nstn lat lon";
    for (int i = 0; i < 80; i++) head += " v" + std::to_string(i) + ":info_" + std::to_string(i);
    head += " $\n";
    std::string longline = "LONG 10 20";
    while (longline.size() < 1000) longline += " 1.5";
    write_file(dir_.file("bad.raw"), head + longline + "\n" +
                                         "BAD abc def 1.2.3 -x ,5 e5 +4\n"
                                         "NEXT 1 2 7\n");
    int h = RAW_open(dir_.file("bad.raw").c_str(), 0, nullptr);
    ASSERT_GE(h, 0);
    ASSERT_EQ(RAW_getinfo(h, nullptr), 0);
    EXPECT_EQ(RAW_get_num_fields(h), RAW_MAX_FIELDS);  // the rest are dropped
    EXPECT_STREQ(RAW_get_field_name(h, 74), "v71");
    // The long line stops at 400 characters: its values are 1.5 up to there.
    RawData data;
    int values = 0, result = 1;
    while (result == 1) {
        result = RAW_read(h, &data, nullptr, nullptr);
        EXPECT_STREQ(data.id, "LONG");
        values++;
    }
    std::istringstream kept(longline.substr(0, RAW_LINE_MAX));
    int tokens = 0;
    for (std::string token; kept >> token;) tokens++;
    EXPECT_EQ(values, tokens - 3);
    EXPECT_STREQ(data.text, "1");  // the value cut at the limit
    // Tokens that don't scan: the position is dropped, values keep their text.
    expect_points(h, RawVar{},
                  {{"BAD", M, M, 1.2f, M, "1.2.3", "", 1},
                   {"BAD", M, M, M, M, "-x", "", 1},
                   {"BAD", M, M, M, M, ",5", "", 1},
                   {"BAD", M, M, M, M, "e5", "", 1},
                   {"BAD", M, M, M, M, "+4", "", 0},
                   {"NEXT", 1, 2, 7, M, "7", "", 0}});
}

}  // namespace
