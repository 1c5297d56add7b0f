// Multi-key hash table, byte-order helpers and station identifier conversion.
#include "env/tables.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

// Set by swap_setup: whether the file's byte order differs from the machine's.
int swap = 0;

void reverse_bytes(unsigned char* p, int n) {
    for (int i = 0, j = n - 1; i < j; i++, j--) {
        unsigned char t = p[i];
        p[i] = p[j];
        p[j] = t;
    }
}

struct PrefixRange {
    int low;
    int high;
    const char* prefix;
};

// ICAO prefixes of the WMO block ranges; the first row that holds wins.
constexpr auto wmo_ranges = std::to_array<PrefixRange>({
    {1000, 1499, "EN"},   {2000, 2699, "ES"},   {2800, 2999, "EF"},   {3000, 3949, "EG"},
    {3950, 3999, "EI"},   {4000, 4099, "BI"},   {4100, 4399, "BG"},   {6000, 6199, "EK"},
    {6200, 6399, "EH"},   {6400, 6499, "EB"},   {6500, 6599, "EL"},   {6600, 6799, "LS"},
    {7000, 7999, "LF"},   {8000, 8499, "LE"},   {8500, 8579, "LP"},   {10000, 10999, "ED"},
    {11000, 11399, "LO"}, {11400, 11999, "LK"}, {12100, 12699, "EP"}, {12700, 12999, "LH"},
    {13000, 13599, "LY"}, {13600, 13699, "LA"}, {14000, 14299, "LJ"}, {15000, 15499, "LR"},
    {15500, 15999, "LB"}, {16000, 16599, "LI"}, {16600, 16999, "LG"}, {17000, 17599, "LT"},
    {17600, 17699, "LC"}, {20000, 29999, "U"},  {30000, 39999, "X"},  {40000, 40099, "OS"},
    {40100, 40149, "OL"}, {40150, 40199, "LL"}, {40250, 40349, "OJ"}, {40350, 40499, "OE"},
    {40500, 40599, "OK"}, {40600, 40699, "OR"}, {40700, 40899, "OI"}, {40900, 40999, "OA"},
    {41000, 41149, "OE"}, {41150, 41159, "OB"}, {41160, 41179, "OE"}, {41180, 41239, "OT"},
    {41240, 41319, "OM"}, {41320, 41409, "OY"}, {41410, 41499, "OD"}, {41500, 41799, "OP"},
    {41800, 41999, "VG"}, {42000, 42999, "VI"}, {43000, 43999, "VO"}, {44000, 44399, "ZM"},
    {44400, 44499, "VN"}, {45000, 45099, "VH"}, {46000, 46999, "RC"}, {47000, 47079, "ZK"},
    {47080, 47199, "RK"}, {47400, 47999, "RJ"}, {48000, 48199, "VB"}, {48300, 48599, "VT"},
    {48600, 48689, "WM"}, {48690, 48699, "WS"}, {48800, 48929, "VV"}, {48930, 48959, "VL"},
    {48960, 48999, "VD"}, {50000, 59999, "Z"},  {60000, 60049, "GC"}, {60050, 60319, "GM"},
    {60320, 60339, "GE"}, {60350, 60699, "DA"}, {60700, 60799, "DT"}, {61000, 61099, "DR"},
    {61100, 61299, "GA"}, {61400, 61499, "GQ"}, {61600, 61699, "GO"}, {61700, 61749, "GB"},
    {61750, 61799, "GG"}, {61800, 61849, "GU"}, {61850, 61899, "GF"}, {62000, 62299, "HL"},
    {62300, 62499, "HE"}, {62600, 62999, "HS"}, {63000, 63099, "HA"}, {63100, 63149, "HF"},
    {63150, 63299, "HC"}, {63300, 63499, "HA"}, {63600, 63979, "HK"}, {63980, 63999, "FS"},
    {64000, 64360, "FZ"}, {64380, 64389, "HR"}, {64390, 64399, "HB"}, {64400, 64499, "FC"},
    {64500, 64599, "FO"}, {64600, 64699, "FE"}, {64700, 64799, "FT"}, {64800, 64849, "FG"},
    {64850, 64999, "FK"}, {65000, 65299, "DN"}, {65300, 65349, "DB"}, {65350, 65399, "DX"},
    {65400, 65499, "DG"}, {65500, 65524, "DF"}, {65525, 65599, "DI"}, {65600, 65699, "GL"},
    {66000, 66999, "FN"}, {67000, 67199, "FM"}, {67200, 67399, "FQ"}, {67400, 67753, "FL"},
    {67755, 67789, "FV"}, {67790, 67799, "FW"}, {67800, 67999, "FV"}, {68000, 68999, "FA"},
    {69000, 69999, "KQ"}, {70000, 70999, "PA"}, {71000, 71999, "CY"}, {72000, 72999, "K2"},
    {74000, 74999, "K4"}, {76000, 76999, "MM"}, {78000, 78199, "MY"}, {78200, 78379, "MU"},
    {78380, 78384, "MW"}, {78385, 78399, "MK"}, {78400, 78449, "MT"}, {78450, 78499, "MD"},
    {78500, 78519, "MH"}, {78520, 78534, "TJ"}, {78535, 78550, "TI"}, {78580, 78599, "MZ"},
    {78600, 78649, "MG"}, {78650, 78699, "MS"}, {78700, 78729, "MH"}, {78730, 78759, "MN"},
    {78760, 78789, "MR"}, {78790, 78819, "MP"}, {78840, 78864, "TK"}, {78865, 78889, "TN"},
    {78890, 78899, "TF"}, {78900, 78919, "TD"}, {78920, 78939, "TF"}, {78940, 78959, "TL"},
    {78960, 78979, "TT"}, {78980, 78999, "TN"}, {80000, 80399, "SK"}, {80400, 80999, "SV"},
    {81000, 81199, "SY"}, {81200, 81399, "SM"}, {81400, 81599, "SO"}, {82000, 82999, "SB"},
    {83000, 83999, "SZ"}, {84000, 84299, "SE"}, {84300, 84999, "SP"}, {85000, 85399, "SL"},
    {85400, 85999, "SC"}, {86000, 86299, "SG"}, {86300, 86599, "SU"}, {87000, 87999, "SA"},
    {88000, 88999, "SF"}, {91000, 91199, "PH"}, {91250, 91259, "PK"}, {91260, 91299, "PH"},
    {91300, 91359, "PT"}, {91360, 91379, "PK"}, {91380, 91399, "PL"}, {91400, 91449, "PT"},
    {91450, 91499, "PL"}, {91500, 91549, "AG"}, {91550, 91569, "NV"}, {91570, 91599, "NW"},
    {91600, 91649, "NG"}, {91650, 91699, "NF"}, {91700, 91749, "N1"}, {91750, 91759, "NL"},
    {91760, 91769, "NS"}, {91770, 91799, "NF"}, {91800, 91849, "NC"}, {91900, 91959, "NT"},
    {92000, 92999, "AY"}, {93000, 93999, "NZ"}, {94100, 95999, "Y"},  {96000, 96999, "WI"},
    {97000, 97999, "WA"}, {98000, 98999, "RP"},
});
static_assert(wmo_ranges.size() == 182);

struct PrefixBase {
    char first;
    const char* seconds;  // second characters that take this base
    int base;
};

// Base numbers of the two-character prefixes. "OE" depends on the digits and
// "Z" plus a digit is handled by the caller.
constexpr auto id_bases = std::to_array<PrefixBase>({
    {'E', "N", 1000},
    {'E', "SF", 2000},
    {'E', "GI", 3000},
    {'E', "KHBL", 6000},
    {'E', "D", 10000},
    {'E', "P", 12000},
    {'B', "IG", 4000},
    {'L', "S", 6000},
    {'L', "F", 7000},
    {'L', "EP", 8000},
    {'L', "OK", 11000},
    {'L', "H", 12000},
    {'L', "YA", 13000},
    {'L', "J", 14000},
    {'L', "RB", 15000},
    {'L', "IG", 16000},
    {'L', "TC", 17000},
    {'L', "L", 40000},
    {'O', "SLJKRIA", 40000},
    {'O', "BTMYDP", 41000},
    {'V', "G", 41000},
    {'V', "I", 42000},
    {'V', "O", 43000},
    {'V', "N", 44000},
    {'V', "H", 45000},
    {'V', "BTVLD", 48000},
    {'Z', "M", 44000},
    {'Z', "K", 47000},
    {'R', "C", 46000},
    {'R', "KJ", 47000},
    {'R', "P", 98000},
    {'W', "MS", 48000},
    {'W', "I", 96000},
    {'W', "A", 97000},
    {'G', "CME", 60000},
    {'G', "AQOBGUF", 61000},
    {'G', "L", 65000},
    {'D', "AT", 60000},
    {'D', "NBXGFI", 65000},
    {'H', "LES", 62000},
    {'H', "AFCK", 63000},
    {'H', "RB", 64000},
    {'F', "S", 63000},
    {'F', "ZCOETGK", 64000},
    {'F', "N", 66000},
    {'F', "MQLWV", 67000},
    {'F', "A", 68000},
    {'K', "Q", 69000},
    {'K', "2", 72000},
    {'K', "4", 74000},
    {'P', "A", 70000},
    {'P', "HKTL", 91000},
    {'C', "Y", 71000},
    {'M', "M", 76000},
    {'M', "YUWKTDHZGSNRP", 78000},
    {'T', "JIKNFDLT", 78000},
    {'S', "KV", 80000},
    {'S', "YMO", 81000},
    {'S', "B", 82000},
    {'S', "Z", 83000},
    {'S', "EP", 84000},
    {'S', "LC", 85000},
    {'S', "GU", 86000},
    {'S', "A", 87000},
    {'S', "F", 88000},
    {'A', "G", 91000},
    {'A', "Y", 92000},
    {'N', "VWGF1LSCT", 91000},
    {'N', "Z", 93000},
});

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_letter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

}  // namespace

// Chains can be long when the caller picks few buckets; free them in a loop,
// not by recursion through `next`.
TableNode::~TableNode() {
    std::unique_ptr<TableNode> p = std::move(next);
    while (p) p = std::move(p->next);
}

int TAB_init(Table* table) {
    if (!table) return -1;
    table->cursor = nullptr;
    table->first = nullptr;
    table->last = nullptr;
    table->count = 0;
    table->num_keys = 0;
    table->buckets.clear();  // nothing reaches the old entries any more
    return 0;
}

int TAB_create(Table* table, int size, int item_size, int num_keys) {
    if (!table) return -1;
    TAB_init(table);
    if (size < 0 || item_size < 0) return -1;
    table->size = size;
    table->item_size = item_size;
    if (num_keys < 1) return 0;
    try {
        table->buckets.reserve(num_keys);
        for (int k = 0; k < num_keys; k++)
            table->buckets.push_back(std::make_unique<TableNode[]>(size));
    } catch (const std::bad_alloc&) {
        table->buckets.clear();
        return -1;
    }
    table->num_keys = num_keys;
    return 0;
}

int TAB_key(const Table* table, const char* key) {
    if (!table || table->size <= 0 || !key) return 0;
    int h = 0;
    for (const char* p = key; *p; p++) h = (static_cast<signed char>(*p) + 257 * h) % 35177;
    h %= table->size;
    // Bytes above 127 count as negative and could give a negative bucket.
    if (h < 0) h += table->size;
    return h;
}

int TAB_enter(Table* table, const void* item, ...) {
    if (!table || table->num_keys < 1 || table->size <= 0) return -1;
    const int num_keys = table->num_keys;

    // Everything that needs memory is made first, so that a failure leaves the
    // table as it was.
    std::vector<const char*> keys(num_keys);
    std::vector<std::unique_ptr<char[]>> copies(num_keys);
    std::vector<std::unique_ptr<TableNode>> fresh(num_keys);
    std::unique_ptr<unsigned char[]> stored;
    va_list args;
    va_start(args, item);
    for (int k = 0; k < num_keys; k++) {
        keys[k] = va_arg(args, const char*);
        if (!keys[k]) keys[k] = "";
    }
    va_end(args);
    try {
        for (int k = 0; k < num_keys; k++) {
            size_t n = std::strlen(keys[k]) + 1;
            copies[k] = std::make_unique<char[]>(n);
            std::memcpy(copies[k].get(), keys[k], n);
        }
        stored = std::make_unique<unsigned char[]>(table->item_size > 0 ? table->item_size : 1);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    if (table->item_size > 0) {
        if (item)
            std::memcpy(stored.get(), item, table->item_size);
        else
            std::memset(stored.get(), 0, table->item_size);
    }

    std::vector<TableNode*> slots(num_keys);
    for (int k = 0; k < num_keys; k++) {
        TableNode* node = &table->buckets[k][TAB_key(table, keys[k])];
        while (node->key && node->next) node = node->next.get();
        if (node->key) {
            try {
                fresh[k] = std::make_unique<TableNode>();
            } catch (const std::bad_alloc&) {
                return -1;
            }
        }
        slots[k] = node;
    }

    void* data = stored.get();
    for (int k = 0; k < num_keys; k++) {
        TableNode* node = slots[k];
        if (fresh[k]) {
            node->next = std::move(fresh[k]);
            node = node->next.get();
        }
        node->key = std::move(copies[k]);
        node->data = data;
        if (k == 0) {
            node->item = std::move(stored);
            node->order = nullptr;
            if (table->last)
                table->last->order = node;
            else
                table->first = node;
            table->last = node;
        }
    }
    table->count++;
    return 0;
}

void* TAB_search(const Table* table, int key_number, const char* key) {
    if (!table || table->size <= 0 || !key) return nullptr;
    if (key_number < 1 || key_number > table->num_keys) return nullptr;
    if (static_cast<size_t>(key_number) > table->buckets.size()) return nullptr;
    const TableNode* node = &table->buckets[key_number - 1][TAB_key(table, key)];
    for (; node; node = node->next.get())
        if (node->key && std::strcmp(node->key.get(), key) == 0) return node->data;
    return nullptr;
}

int swap_setup(int mode) {
    const int one = 1;
    unsigned char first;
    std::memcpy(&first, &one, 1);
    const bool little = first == 1;
    if (mode == -1)
        swap = 0;
    else if (mode == 1)
        swap = little ? 1 : 0;
    else if (mode == 2)
        swap = little ? 0 : 1;
    else
        swap = 1;
    return 0;
}

int swap_short(void* p) {
    if (!swap) return -1;
    reverse_bytes(static_cast<unsigned char*>(p), 2);
    return 0;
}

int swap_long(void* p) {
    if (!swap) return -1;
    reverse_bytes(static_cast<unsigned char*>(p), 4);
    return 0;
}

int swap_double(void* p) {
    if (!swap) return -1;
    reverse_bytes(static_cast<unsigned char*>(p), 8);
    return 0;
}

int swap_shorts(void* p, int n) {
    if (!swap) return -1;
    unsigned char* b = static_cast<unsigned char*>(p);
    for (int i = 0; i < n; i++) reverse_bytes(b + 2 * static_cast<size_t>(i), 2);
    return 0;
}

int swap_longs(void* p, int n) {
    if (!swap) return -1;
    unsigned char* b = static_cast<unsigned char*>(p);
    for (int i = 0; i < n; i++) reverse_bytes(b + 4 * static_cast<size_t>(i), 4);
    return 0;
}

int fswap(float* a, float* b) {
    float t = *a;
    *a = *b;
    *b = t;
    return 0;
}

int fswap(int32_t* a, int32_t* b) {
    int32_t t = *a;
    *a = *b;
    *b = t;
    return 0;
}

size_t fread_short_swap(void* p, FILE* file) {
    size_t n = std::fread(p, 2, 1, file);
    if (n == 1) swap_short(p);
    return n;
}

size_t fread_long_swap(void* p, FILE* file) {
    size_t n = std::fread(p, 4, 1, file);
    if (n == 1) swap_long(p);
    return n;
}

size_t fread_double_swap(void* p, FILE* file) {
    size_t n = std::fread(p, 8, 1, file);
    if (n == 1) swap_double(p);
    return n;
}

char* wmo_to_id(char* out, int number) {
    for (const PrefixRange& r : wmo_ranges) {
        if (number < r.low || number > r.high) continue;
        if (r.prefix[1])
            std::snprintf(out, 6, "%s%3.3d", r.prefix, number % 1000);
        else
            std::snprintf(out, 6, "%s%4.4d", r.prefix, number % 10000);
        return out;
    }
    // A number outside the station ranges is written whole, at least five digits.
    std::snprintf(out, WMO_ID_SIZE, "%5.5d", number);
    return out;
}

int id_to_wmo(const char* id, int* number) {
    int dummy;
    if (!number) number = &dummy;
    *number = 99999;
    if (!id || std::strlen(id) != 5) return -1;
    bool all_digits = true;
    for (int i = 0; i < 5; i++) all_digits = all_digits && is_digit(id[i]);
    if (all_digits) {
        *number = (id[0] - '0') * 10000 + (id[1] - '0') * 1000 + (id[2] - '0') * 100 +
                  (id[3] - '0') * 10 + (id[4] - '0');
        return -1;
    }
    if (!is_letter(id[0]) || !is_digit(id[2]) || !is_digit(id[3]) || !is_digit(id[4])) return -1;

    const int three = (id[2] - '0') * 100 + (id[3] - '0') * 10 + (id[4] - '0');
    const char first = id[0];
    const char second = id[1];
    if ((first == 'U' || first == 'X' || first == 'Y') && is_digit(second)) {
        // X goes back to the 20000s, not to the 30000s that wmo_to_id gives it.
        *number = (second - '0') * 1000 + three + (first == 'Y' ? 90000 : 20000);
        return 0;
    }
    int base = 0;
    if (first == 'Z' && is_digit(second)) {
        base = 50000;
    } else if (first == 'O' && second == 'E') {
        if (three >= 301)
            base = 40000;
        else if (three <= 299)
            base = 41000;
    } else {
        for (const PrefixBase& p : id_bases) {
            if (p.first != first || !second || !std::strchr(p.seconds, second)) continue;
            base = p.base;
            break;
        }
    }
    *number = three + base;
    return 0;
}
