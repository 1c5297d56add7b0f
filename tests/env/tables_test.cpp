// Multi-key table, byte-order helpers and station identifiers.
#include "env/tables.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

struct Station {
    int number;
    float lat;
    char name[20];
};

TEST(Table, ItemIsStoredOnceAndFoundByEveryKey) {
    Table t;
    ASSERT_EQ(TAB_create(&t, 101, sizeof(Station), 3), 0);
    Station s{72530, 41.98f, "CHICAGO"};
    ASSERT_EQ(TAB_enter(&t, &s, "KORD", "72530", "420-880"), 0);
    s.number = 0;  // the table holds its own copy
    auto* a = static_cast<Station*>(TAB_search(&t, 1, "KORD"));
    auto* b = static_cast<Station*>(TAB_search(&t, 2, "72530"));
    auto* c = static_cast<Station*>(TAB_search(&t, 3, "420-880"));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
    EXPECT_EQ(a->number, 72530);
    EXPECT_STREQ(a->name, "CHICAGO");
    EXPECT_EQ(t.count, 1);

    // Keys are matched exactly, by the key number asked for.
    EXPECT_EQ(TAB_search(&t, 1, "kord"), nullptr);
    EXPECT_EQ(TAB_search(&t, 1, "72530"), nullptr);
    EXPECT_EQ(TAB_search(&t, 2, "KORD"), nullptr);
    EXPECT_EQ(TAB_search(&t, 4, "KORD"), nullptr);
    EXPECT_EQ(TAB_search(&t, 0, "KORD"), nullptr);
    EXPECT_EQ(TAB_search(nullptr, 1, "KORD"), nullptr);
}

TEST(Table, DegenerateTables) {
    Table one;
    ASSERT_EQ(TAB_create(&one, 10, sizeof(int), 1), 0);
    int v = 5;
    ASSERT_EQ(TAB_enter(&one, &v, "a"), 0);
    EXPECT_EQ(TAB_search(&one, 2, "a"), nullptr);  // key 2 on a one-key table

    Table none;
    EXPECT_EQ(TAB_create(&none, 10, sizeof(int), 0), 0);
    EXPECT_EQ(TAB_search(&none, 1, "a"), nullptr);
    EXPECT_EQ(TAB_enter(&none, &v, "a"), -1);

    Table empty;
    EXPECT_EQ(TAB_create(&empty, 0, sizeof(int), 1), 0);
    EXPECT_EQ(TAB_enter(&empty, &v, "a"), -1);
    EXPECT_EQ(TAB_search(&empty, 1, "a"), nullptr);

    // Re-creating drops what was there.
    ASSERT_EQ(TAB_create(&one, 10, sizeof(int), 1), 0);
    EXPECT_EQ(TAB_search(&one, 1, "a"), nullptr);
    EXPECT_EQ(one.count, 0);
    EXPECT_EQ(one.first, nullptr);
}

TEST(Table, CollisionsOrderAndRepeatedKeys) {
    // One bucket: everything shares a chain.
    Table t;
    ASSERT_EQ(TAB_create(&t, 1, sizeof(int), 2), 0);
    const int n = 3000;
    for (int i = 0; i < n; i++) {
        std::string k1 = "id" + std::to_string(i), k2 = std::to_string(i * 7);
        ASSERT_EQ(TAB_enter(&t, &i, k1.c_str(), k2.c_str()), 0);
    }
    EXPECT_EQ(t.count, n);
    for (int i = 0; i < n; i += 97) {
        auto* p = static_cast<int*>(TAB_search(&t, 1, ("id" + std::to_string(i)).c_str()));
        auto* q = static_cast<int*>(TAB_search(&t, 2, std::to_string(i * 7).c_str()));
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(*p, i);
        EXPECT_EQ(p, q);
    }
    // The order list walks the entries as they came.
    int seen = 0;
    for (TableNode* node = t.first; node; node = node->order, seen++)
        ASSERT_EQ(*static_cast<int*>(node->data), seen);
    EXPECT_EQ(seen, n);
    EXPECT_EQ(*static_cast<int*>(t.last->data), n - 1);

    // A repeated key is accepted but the first item keeps being found.
    int dup = -1;
    EXPECT_EQ(TAB_enter(&t, &dup, "id5", "dup"), 0);
    EXPECT_EQ(*static_cast<int*>(TAB_search(&t, 1, "id5")), 5);
    EXPECT_EQ(*static_cast<int*>(TAB_search(&t, 2, "dup")), -1);
}

TEST(Table, KeyHash) {
    Table t;
    ASSERT_EQ(TAB_create(&t, 1000, 4, 1), 0);
    // h = (c + 257 h) mod 35177: 'A' -> 65, then 66 + 257 * 65 = 16771.
    EXPECT_EQ(TAB_key(&t, "AB"), 771);
    EXPECT_EQ(TAB_key(&t, ""), 0);
    // Long keys wrap by 35177 at each step: 'z' x 4 computed by hand.
    long h = 0;
    for (int i = 0; i < 4; i++) h = ('z' + 257 * h) % 35177;
    EXPECT_EQ(TAB_key(&t, "zzzz"), h % 1000);
    // Bytes above 127 count as negative, yet the bucket stays in range.
    const char high[] = {'\xff', '\xfe', '\x80', 0};
    int b = TAB_key(&t, high);
    EXPECT_GE(b, 0);
    EXPECT_LT(b, 1000);
    int v = 9;
    ASSERT_EQ(TAB_enter(&t, &v, high), 0);
    EXPECT_EQ(*static_cast<int*>(TAB_search(&t, 1, high)), 9);
}

TEST(ByteOrder, SetupDecidesWhetherToSwap) {
    const bool little = htonl(1) != 1;
    uint32_t v = 0x11223344;

    swap_setup(-1);
    EXPECT_EQ(swap_long(&v), -1);
    EXPECT_EQ(v, 0x11223344u);

    swap_setup(1);  // file is big-endian
    EXPECT_EQ(swap_long(&v), little ? 0 : -1);
    EXPECT_EQ(v, little ? 0x44332211u : 0x11223344u);

    v = 0x11223344;
    swap_setup(2);  // file is little-endian
    EXPECT_EQ(swap_long(&v), little ? -1 : 0);

    v = 0x11223344;
    swap_setup(0);  // any other mode always swaps
    EXPECT_EQ(swap_long(&v), 0);
    EXPECT_EQ(v, 0x44332211u);
}

TEST(ByteOrder, ArraysAndWidths) {
    swap_setup(0);
    uint16_t s[3] = {0x0102, 0xA0B0, 0xFFEE};
    EXPECT_EQ(swap_shorts(s, 3), 0);
    EXPECT_EQ(s[0], 0x0201);
    EXPECT_EQ(s[1], 0xB0A0);
    EXPECT_EQ(s[2], 0xEEFF);
    uint16_t one = 0x1234;
    swap_short(&one);
    EXPECT_EQ(one, 0x3412);

    uint32_t l[4] = {1, 0x80000000u, 0xDEADBEEF, 0};
    uint32_t expect[4];
    for (int i = 0; i < 4; i++) expect[i] = __builtin_bswap32(l[i]);
    EXPECT_EQ(swap_longs(l, 4), 0);
    EXPECT_EQ(std::memcmp(l, expect, sizeof l), 0);

    uint64_t d = 0x0102030405060708ull;
    EXPECT_EQ(swap_double(&d), 0);
    EXPECT_EQ(d, 0x0807060504030201ull);

    swap_setup(-1);
    uint16_t keep[2] = {1, 2};
    EXPECT_EQ(swap_shorts(keep, 2), -1);
    EXPECT_EQ(keep[0], 1);
    EXPECT_EQ(swap_double(&d), -1);

    float a = 1.5f, b = -2.0f;
    fswap(&a, &b);
    EXPECT_EQ(a, -2.0f);
    EXPECT_EQ(b, 1.5f);
    int32_t i = 7, j = -7;
    fswap(&i, &j);
    EXPECT_EQ(i, -7);
}

TEST(ByteOrder, ReadAndSwapFromFile) {
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    const unsigned char bytes[] = {0x00, 0x2A, 0x00, 0x00, 0x01, 0x00, 0x40, 0x09,
                                   0x21, 0xFB, 0x54, 0x44, 0x2D, 0x18, 0x07};
    std::fwrite(bytes, 1, sizeof bytes, f);
    std::rewind(f);
    swap_setup(1);  // big-endian file
    int16_t s = 0;
    int32_t l = 0;
    double d = 0;
    EXPECT_EQ(fread_short_swap(&s, f), 1u);
    EXPECT_EQ(s, 42);
    EXPECT_EQ(fread_long_swap(&l, f), 1u);
    EXPECT_EQ(l, 256);
    EXPECT_EQ(fread_double_swap(&d, f), 1u);
    EXPECT_DOUBLE_EQ(d, 3.141592653589793);
    // One byte left: the read fails.
    EXPECT_EQ(fread_long_swap(&l, f), 0u);
    std::fclose(f);
}

std::string id_of(int number) {
    char out[6];
    return wmo_to_id(out, number);
}

TEST(Stations, NumberToIdentifier) {
    EXPECT_EQ(id_of(72530), "K2530");
    EXPECT_EQ(id_of(3772), "EG772");
    EXPECT_EQ(id_of(25000), "U5000");
    EXPECT_EQ(id_of(99999), "99999");
    EXPECT_EQ(id_of(0), "00000");
    EXPECT_EQ(id_of(94767), "Y4767");
    EXPECT_EQ(id_of(91700), "N1700");
    EXPECT_EQ(id_of(35000), "X5000");
    EXPECT_EQ(id_of(1000), "EN000");
    // Range ends and the gaps between them.
    EXPECT_EQ(id_of(40149), "OL149");
    EXPECT_EQ(id_of(40150), "LL150");
    EXPECT_EQ(id_of(67753), "FL753");
    EXPECT_EQ(id_of(67754), "67754");
    EXPECT_EQ(id_of(67755), "FV755");
    EXPECT_EQ(id_of(98999), "RP999");
    EXPECT_EQ(id_of(999), "00999");
    EXPECT_EQ(id_of(123456), "12345");  // never more than five characters
}

TEST(Stations, IdentifierToNumber) {
    int n = 0;
    EXPECT_EQ(id_to_wmo("K2530", &n), 0);
    EXPECT_EQ(n, 72530);
    EXPECT_EQ(id_to_wmo("OE300", &n), 0);  // no base applies
    EXPECT_EQ(n, 300);
    EXPECT_EQ(id_to_wmo("OE301", &n), 0);
    EXPECT_EQ(n, 40301);
    EXPECT_EQ(id_to_wmo("OE299", &n), 0);
    EXPECT_EQ(n, 41299);
    EXPECT_EQ(id_to_wmo("X5000", &n), 0);  // back to the 20000s
    EXPECT_EQ(n, 25000);
    EXPECT_EQ(id_to_wmo("Y4767", &n), 0);
    EXPECT_EQ(n, 94767);
    EXPECT_EQ(id_to_wmo("Z1234", &n), 0);  // Z keeps three digits
    EXPECT_EQ(n, 50234);
    EXPECT_EQ(id_to_wmo("QQ123", &n), 0);  // unknown pair
    EXPECT_EQ(n, 123);
    EXPECT_EQ(id_to_wmo("K-530", &n), 0);  // any second character
    EXPECT_EQ(n, 530);
    EXPECT_EQ(id_to_wmo("k2530", &n), 0);  // capitals only
    EXPECT_EQ(n, 530);

    EXPECT_EQ(id_to_wmo("72530", &n), -1);  // five digits: the value, but -1
    EXPECT_EQ(n, 72530);
    for (const char* bad : {"K253", "K25300", "", "1A234", "KA2B4", "KORD5", "-K530"}) {
        n = 0;
        EXPECT_EQ(id_to_wmo(bad, &n), -1) << bad;
        EXPECT_EQ(n, 99999) << bad;
    }
    EXPECT_EQ(id_to_wmo(nullptr, &n), -1);
}

TEST(Stations, RoundTripOverEveryStationNumber) {
    // The two tables are separate data; a slip in either shows up here. The
    // documented exceptions: X returns to the 20000s, Z plus a digit keeps three
    // digits, and the pair DR has no base.
    int checked = 0;
    for (int number = 0; number <= 99999; number++) {
        char id[6];
        wmo_to_id(id, number);
        int back = -1;
        int status = id_to_wmo(id, &back);
        if (id[0] >= '0' && id[0] <= '9') {
            EXPECT_EQ(status, -1);
            EXPECT_EQ(back, number);
            continue;
        }
        ASSERT_EQ(status, 0) << id;
        if (id[0] == 'X') {
            EXPECT_EQ(back, number - 10000) << id;
        } else if (id[0] == 'Z' && id[1] >= '0' && id[1] <= '9') {
            EXPECT_EQ(back, 50000 + number % 1000) << id;
        } else if (id[0] == 'D' && id[1] == 'R') {
            EXPECT_EQ(back, number % 1000) << id;
        } else {
            EXPECT_EQ(back, number) << id;
            checked++;
        }
    }
    EXPECT_GT(checked, 50000);
}

}  // namespace
