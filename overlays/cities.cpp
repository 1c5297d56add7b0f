// The station database: reading, filtering into the multi-key table, searches by
// identifier, number and position, and the straight search through the file.
#include "overlays/cities.h"

#include <cctype>
#include <climits>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "env/tables.h"
#include "maps/projections.h"

namespace {

constexpr const char* DEFAULT_FILE = "sao.cty";
constexpr int BYTES_PER_BUCKET = 59;
constexpr int MAX_BUCKETS = 4000;
constexpr float NO_ELEVATION = 9000.0f;
constexpr int RING_STEPS = 50;
constexpr int KEY_SIZE = 24;
constexpr int NO_NUMBER = 99999;
constexpr int DEFAULT_PRIOR = 10;
constexpr double EARTH_RADIUS_KM = 6371.2;
constexpr double DEG2RAD = 0.017453292519943334;

struct CityState {
    Table table{};                      // the stations, keyed by id, number (and position)
    bool built = false;                 // a table exists
    int store = 0;                      // mode of the table
    int id_type = 0;                    // 0 identifier, 1 number, 2 identifier or wmo_to_id
    int data_size = 0;                  // bytes of extra data per station
    CtyEnterFunc enter_func = nullptr;  // called for each station entered
    std::vector<std::unique_ptr<unsigned char[]>> extra;  // owners of the extra data
};
CityState state;

// Copies what fits, always terminated.
void copy_text(char* out, size_t size, const char* text) {
    if (size == 0) return;
    size_t n = text ? strnlen(text, size - 1) : 0;
    std::memcpy(out, text ? text : "", n);
    out[n] = '\0';
}

// A name on the file path, then the program's own tables.
FILE* open_on_path(const char* name, std::string* tried) {
    FILE_find_table(RES_get("file_path"), name, tried);
    return FILE_is_stdio(tried->c_str()) ? nullptr : FILE_open(tried->c_str(), "r");
}

// "*3*": a mark before, the digit, a mark behind. Huge numbers are held at the int range.
void decode_priority(const char* text, CityRec* rec) {
    rec->mark1 = rec->mark2 = 0;
    if (*text == '*') rec->mark1 = 1, text++;
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (value > 2147483647L) value = 2147483647L;
    if (value < -2147483647L) value = -2147483647L;
    rec->prior = static_cast<int32_t>(value);
    if (end && *end == '*') rec->mark2 = 1;
}

// Right-aligned decimal of v in at least `width` characters, zero-padded to
// `zeros` digits, as printf writes it; false when v needs printf itself.
bool put_int(char* out, double v, int width, int zeros) {
    if (!(std::fabs(v) < 1e9)) return false;
    long n = static_cast<long>(v);
    bool minus = std::signbit(v);
    unsigned long m = static_cast<unsigned long>(minus ? -n : n);
    char digits[16];
    int k = 0;
    do {
        digits[k++] = static_cast<char>('0' + m % 10);
        m /= 10;
    } while (m);
    while (k < zeros) digits[k++] = '0';
    if (minus) digits[k++] = '-';
    int pad = width > k ? width - k : 0;
    for (int i = 0; i < pad; i++) *out++ = ' ';
    while (k) *out++ = digits[--k];
    *out = '\0';
    return true;
}

void number_text(const CityRec* rec, char* out) {
    const bool buoy = !std::strcmp(rec->country, "B_");
    if (rec->wmo >= 0 && put_int(out + buoy, rec->wmo, 0, 5)) {
        if (buoy) out[0] = 'b';
        return;
    }
    std::snprintf(out, KEY_SIZE, buoy ? "b%05d" : "%05d", rec->wmo);
}

// "%5.0f%6.0f": the nearest integers, ties to even as printf rounds them.
void position_text(float lat, float lon, char* out) {
    double a = std::nearbyint(static_cast<double>(lat)),
           b = std::nearbyint(static_cast<double>(lon));
    if (put_int(out, a, 5, 1) && put_int(out + std::strlen(out), b, 6, 1)) return;
    std::snprintf(out, KEY_SIZE, "%5.0f%6.0f", static_cast<double>(lat), static_cast<double>(lon));
}

// The key of the short form by the identifier type.
void make_key(const CityRec* rec, const char* number, char* out) {
    bool no_id = rec->id[0] && rec->id[1] == '-';
    switch (state.id_type) {
        case 1:
            copy_text(out, CTY_ID_SIZE, rec->wmo == NO_NUMBER ? rec->id : number);
            break;
        case 2:
            if (!no_id)
                copy_text(out, CTY_ID_SIZE, rec->id);
            else if (!std::strcmp(rec->country, "B_"))
                copy_text(out, CTY_ID_SIZE, number);
            else {
                char coded[WMO_ID_SIZE];
                copy_text(out, CTY_ID_SIZE, wmo_to_id(coded, rec->wmo));
            }
            break;
        default:
            copy_text(out, CTY_ID_SIZE, no_id ? number : rec->id);
            break;
    }
}

double earth_dist(float lat1, float lon1, float lat2, float lon2) {
    double a =
        std::sin(lat1 * DEG2RAD) * std::sin(lat2 * DEG2RAD) +
        std::cos(lat1 * DEG2RAD) * std::cos(lat2 * DEG2RAD) * std::cos((lon2 - lon1) * DEG2RAD);
    if (a > 1.0) a = 1.0;
    if (a < -1.0) a = -1.0;
    return EARTH_RADIUS_KM * std::acos(a);
}

bool compare(float value, char how, float limit) {
    if (how == '<') return value <= limit;
    if (how == '>') return value >= limit;
    return value == limit;
}

// Numeric keys: the field name, then "=", "<" or ">" and the value.
struct NumericKey {
    const char* name;
    float (*field)(const CityRec*);
};
const NumericKey numeric_keys[] = {
    {"P", [](const CityRec* r) { return static_cast<float>(r->prior); }},
    {"Lat", [](const CityRec* r) { return r->lat; }},
    {"Lon", [](const CityRec* r) { return r->lon; }},
    {"Elev", [](const CityRec* r) { return r->elev; }},
    {"WMO", [](const CityRec* r) { return static_cast<float>(r->wmo); }},
};

// "lat,lon,range" with any of , / ; between the numbers.
bool within_range(const char* text, const CityRec* rec) {
    float lat = 0, lon = 0, range = 0;
    char a = 0, b = 0;
    if (std::sscanf(text, "%f%c%f%c%f", &lat, &a, &lon, &b, &range) != 5) return false;
    return earth_dist(lat, lon, rec->lat, rec->lon) <= range;
}

bool state_matches(const char* value, const CityRec* rec) {
    size_t n = std::strlen(value);
    if (n == 2) return !stricmp(value, rec->state);
    if (n == 5) {
        std::string both = std::string(rec->state) + "_" + rec->country;
        return !stricmp(value, both.c_str());
    }
    return false;
}

// One key of an item; -1 when the part isn't a key at all. `parts` and `at` let
// "ST:" and "CN:" take their value from the part behind.
int test_key(const std::vector<std::string>& parts, size_t* at, const CityRec* rec) {
    const std::string& part = parts[*at];
    const char* p = part.c_str();
    auto next_value = [&]() -> const char* {
        if (*at + 1 >= parts.size()) return nullptr;
        return parts[++*at].c_str();
    };
    if (!std::strncmp(p, "Name=", 5))
        return part.size() >= 6 && !strnicmp(rec->name, p + 6, static_cast<int>(part.size() - 6));
    if (!std::strncmp(p, "ST=", 3)) return state_matches(p + 3, rec);
    if (!std::strcmp(p, "ST")) {
        const char* v = next_value();
        return v && state_matches(v, rec);
    }
    if (!std::strncmp(p, "CN=", 3)) return !stricmp(p + 3, rec->country);
    if (!std::strcmp(p, "CN")) {
        const char* v = next_value();
        return v && !stricmp(v, rec->country);
    }
    if (!std::strncmp(p, "ID=", 3)) return !std::strcmp(p + 3, rec->id);
    if (!std::strncmp(p, "RA<", 3)) return within_range(p + 3, rec);
    for (const NumericKey& key : numeric_keys) {
        size_t n = std::strlen(key.name);
        if (!std::strncmp(p, key.name, n) && (p[n] == '=' || p[n] == '<' || p[n] == '>'))
            return compare(key.field(rec), p[n], static_cast<float>(std::atof(p + n + 1)));
    }
    return -1;
}

bool is_search_key(const char* item) {
    static const char* const starts[] = {"Name=", "ST=", "ST:", "CN=", "CN:", "ID=",  "RA<",
                                         "P=",    "P<",  "P>",  "Lat", "Lon", "Elev", "WMO"};
    for (const char* s : starts)
        if (!std::strncmp(item, s, std::strlen(s))) return true;
    return false;
}

// The plain text of an item: the number, the identifier, or a name prefix.
bool plain_matches(const char* text, const CityRec* rec) {
    if (!*text) return false;
    char number[KEY_SIZE];
    std::snprintf(number, sizeof number, "%05d", rec->wmo);
    if (!std::strcmp(text, number) || !stricmp(text, rec->id)) return true;
    size_t n = std::strlen(text);
    return n > 4 && !strnicmp(rec->name, text, static_cast<int>(n));
}

std::vector<std::string> split(const char* text, char delimiter) {
    std::vector<std::string> parts;
    std::string part;
    for (const char* p = text; *p; p++) {
        if (*p == delimiter) {
            parts.push_back(part);
            part.clear();
        } else {
            part += *p;
        }
    }
    parts.push_back(part);
    return parts;
}

bool item_matches(const char* item, const CityRec* rec) {
    std::vector<std::string> parts = split(item, ':');
    bool had_key = false;
    for (size_t at = 0; at < parts.size(); at++) {
        int result = test_key(parts, &at, rec);
        if (result == 0) return false;
        if (result == 1) had_key = true;
        if (result < 0 && !plain_matches(parts[at].c_str(), rec)) return false;
    }
    return had_key || plain_matches(item, rec);
}

// The identifier list of the resource "identifier"; a single "all" means none.
struct IdList {
    int count = 0;
    char** items = nullptr;
    IdList() {
        RES_getvals("identifier", &count, &items);
        if (count == 1 && !stricmp(items[0], "all")) clear();
    }
    ~IdList() { clear(); }
    void clear() {
        if (items) free_parsed_array(count, items);
        items = nullptr;
        count = 0;
    }
    IdList(const IdList&) = delete;
    IdList& operator=(const IdList&) = delete;
};

int bucket_count(int file_size) {
    int n = file_size / BYTES_PER_BUCKET;
    if (n > MAX_BUCKETS) n = MAX_BUCKETS;
    return n < 1 ? 1 : n;
}

void* attach_extra(CityRec* rec) {
    if (state.data_size <= 0) return nullptr;
    auto block = std::make_unique<unsigned char[]>(state.data_size);
    std::memset(block.get(), 0, state.data_size);
    void* data = block.get();
    state.extra.push_back(std::move(block));
    rec->data = data;
    if (state.enter_func) state.enter_func(data, rec);
    return data;
}

bool enter_station(CityRec* rec, int mode, float x, float y) {
    char number[KEY_SIZE];
    number_text(rec, number);
    void* data = attach_extra(rec);
    const bool no_id = rec->id[0] && rec->id[1] == '-';
    if (mode == CTY_STORE_FULL) {
        // Stations without an identifier go under their number, so that thousands
        // of them don't chain under one "--".
        const char* id_key = no_id ? number : rec->id;
        return TAB_enter(&state.table, rec, id_key, rec->wmo == NO_NUMBER ? id_key : number) == 0;
    }
    CityXY xy{};
    make_key(rec, number, xy.key);
    xy.wmo = rec->wmo;
    xy.x = x;
    xy.y = y;
    xy.elev = rec->elev;
    xy.prior = rec->prior;
    xy.data = data;
    // A station without a number keeps its own key in the number's place: "99999"
    // finds no station, and thousands don't chain under it.
    const char* number_key = rec->wmo == NO_NUMBER ? xy.key : number;
    if (mode == CTY_STORE_XY) return TAB_enter(&state.table, &xy, xy.key, number_key) == 0;
    char where[KEY_SIZE];
    position_text(rec->lat * 10.0f, rec->lon * 10.0f, where);
    return TAB_enter(&state.table, &xy, xy.key, number_key, where) == 0;
}

// Which key a search uses, and its text.
int search_key(const char* id, char* key) {
    size_t n = std::strlen(id);
    copy_text(key, KEY_SIZE, id);
    bool digits = n == 5;
    for (size_t i = 0; digits && i < n; i++)
        digits = std::isdigit(static_cast<unsigned char>(id[i]));
    if (digits) return 2;
    if (n == 5 && std::isupper(static_cast<unsigned char>(id[0])) &&
        std::isdigit(static_cast<unsigned char>(id[2])) &&
        std::isdigit(static_cast<unsigned char>(id[3])) &&
        std::isdigit(static_cast<unsigned char>(id[4]))) {
        int number = 99999;
        id_to_wmo(id, &number);
        std::snprintf(key, KEY_SIZE, "%5.5d", number);
        return 2;
    }
    if (n == 6 && id[0] == 'b') return 2;
    return 1;
}

void to_short(const CityRec* rec, CityXY* xy) {
    *xy = CityXY{};
    copy_text(xy->key, sizeof xy->key, rec->id);
    xy->wmo = rec->wmo;
    MAP_tran(rec->lat, rec->lon, &xy->x, &xy->y);
    xy->elev = rec->elev;
    xy->prior = rec->prior;
    xy->data = rec->data;
}

// The conversions of the database's line format on a stream, as scanf reads them.
struct Scanner {
    FILE* file;
    int peek() {
        int c = getc_unlocked(file);
        if (c != EOF) ungetc(c, file);
        return c;
    }
    void skip_white() {
        int c;
        while ((c = getc_unlocked(file)) != EOF && std::isspace(c)) {
        }
        if (c != EOF) ungetc(c, file);
    }
    // %Ns: up to `width` characters that aren't white space; false at the end.
    bool word(char* out, int width) {
        skip_white();
        int c, n = 0;
        while (n < width && (c = getc_unlocked(file)) != EOF) {
            if (std::isspace(c)) {
                ungetc(c, file);
                break;
            }
            out[n++] = static_cast<char>(c);
        }
        out[n] = '\0';
        return n > 0;
    }
    // The characters of a number: sign, digits, point, exponent.
    int gather(char* buffer, int size, bool real) {
        skip_white();
        int n = 0, c = peek();
        auto take = [&] {
            c = getc_unlocked(file);
            if (n < size - 1) buffer[n++] = static_cast<char>(c);
            c = peek();
        };
        if (c == '-' || c == '+') take();
        int digits = 0;
        while (c >= '0' && c <= '9') take(), digits++;
        if (real && c == '.') {
            take();
            while (c >= '0' && c <= '9') take(), digits++;
        }
        if (real && digits && (c == 'e' || c == 'E')) {
            take();
            if (c == '-' || c == '+') take();
            while (c >= '0' && c <= '9') take();
        }
        buffer[n] = '\0';
        return digits;
    }
    bool number(float* out) {
        char buffer[64];
        if (!gather(buffer, sizeof buffer, true)) return false;
        *out = std::strtof(buffer, nullptr);
        return true;
    }
    bool integer(int32_t* out) {
        char buffer[64];
        if (!gather(buffer, sizeof buffer, false)) return false;
        long long v = std::strtoll(buffer, nullptr, 10);
        *out = static_cast<int32_t>(v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : v);
        return true;
    }
};

}  // namespace

FILE* CTY_open(const char* name, const char* mode, int* size) {
    if (!name) return nullptr;
    FILE* file = std::fopen(name, mode && *mode ? mode : "r");
    if (file && size) {
        std::fseek(file, 0, SEEK_END);
        long n = std::ftell(file);
        *size = n > 0x7fffffffL ? 0x7fffffff : static_cast<int>(n);
        std::rewind(file);
    }
    return file;
}

int CTY_read(FILE* file, CityRec* rec) {
    if (!file || !rec) return -1;
    char prior[32] = "";
    *rec = CityRec{};
    rec->lat = rec->lon = rec->elev = ZMT_FMISSING;
    rec->wmo = NO_NUMBER;
    // "%20s %2s %2s %9s %31s %f %f %f %d %d\n", read by hand: a line runs on into
    // the next when it is short, as it does for fscanf, at a tenth of the cost.
    Scanner in{file};
    int n = 0;
    char* words[] = {rec->name, rec->state, rec->country, rec->id, prior};
    const int widths[] = {20, 2, 2, 9, 31};
    for (int i = 0; i < 5; i++, n++)
        if (!in.word(words[i], widths[i])) return n == 0 ? -1 : n;
    float* floats[] = {&rec->lat, &rec->lon, &rec->elev};
    bool ok = true;
    for (int i = 0; ok && i < 3; i++) ok = in.number(floats[i]) && ++n;
    if (ok) ok = in.integer(&rec->wmo) && ++n;
    if (ok) ok = in.integer(&rec->data_flag) && ++n;
    if (ok) in.skip_white();
    decode_priority(prior, rec);
    if (rec->elev >= NO_ELEVATION) rec->elev = ZMT_FMISSING;
    return n;
}

int CTY_rewind(FILE* file) {
    if (!file) return -1;
    std::rewind(file);
    return 0;
}

int CTY_close(FILE* file) {
    return file ? std::fclose(file) : -1;
}

FILE* CTY_open_file(const char* default_name, int* size) {
    const char* name = RES_get("city_file");
    if (name && !stricmp(name, "none")) return nullptr;
    if (!name || !*name) name = default_name && *default_name ? default_name : DEFAULT_FILE;
    std::string tried;
    FILE* file = open_on_path(name, &tried);
    if (!file) {
        MESS_print(MESS_WARN, "CTY_open_file: Database file not found: %s\n", tried.c_str());
        return nullptr;
    }
    if (size) {
        std::fseek(file, 0, SEEK_END);
        long n = std::ftell(file);
        *size = n > 0x7fffffffL ? 0x7fffffff : static_cast<int>(n);
        std::rewind(file);
    }
    return file;
}

void CTY_free() {
    state.table = Table{};
    state.extra.clear();
    state.built = false;
    state.store = 0;
}

int CTY_store(const char* name, int mode, const Domain* domain, int priority) {
    int size = 0;
    FILE* file = CTY_open_file(name, &size);
    if (!file) {
        CTY_free();  // no database: every lookup fails
        return -1;
    }
    std::vector<char> buffer(1 << 16);  // lives until the file is closed below
    std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
    if (domain) MAP_domain(domain);
    MESS_print(MESS_MESS, "Reading the city database file...\n");
    IdList list;
    if (priority == ZMT_MISSING) priority = CTY_get_prior();
    if (mode < CTY_STORE_FULL || mode > CTY_STORE_LOC) mode = CTY_STORE_LOC;

    CTY_free();
    CTY_rewind(file);
    int item_size = mode == CTY_STORE_FULL ? sizeof(CityRec) : sizeof(CityXY);
    if (TAB_create(&state.table, bucket_count(size), item_size, mode == CTY_STORE_LOC ? 3 : 2) !=
        0) {
        CTY_close(file);
        return -1;
    }
    state.built = true;
    state.store = mode;
    CityRec rec;
    while (CTY_read(file, &rec) >= 0) {
        if (rec.prior > priority) continue;
        if (list.count > 0 && CTY_data_cmp(list.count, list.items, &rec) < 0) continue;
        float x = ZMT_FMISSING, y = ZMT_FMISSING;
        if (MAP_tran(rec.lat, rec.lon, &x, &y) != 1 || !MAP_in_grid_domain(x, y)) continue;
        if (!enter_station(&rec, mode, x, y)) break;
    }
    CTY_close(file);
    return state.table.count;
}

int CTY_count() {
    return state.built ? state.table.count : 0;
}

int CTY_set_id_type(int type) {
    state.id_type = type;
    return 0;
}

int CTY_set_data(int size, CtyEnterFunc function) {
    state.data_size = size > 0 ? size : 0;
    state.enter_func = function;
    return 0;
}

int CTY_search(const char* id, CityRec* rec) {
    if (!state.built || !id || state.store != CTY_STORE_FULL) return 0;
    char key[KEY_SIZE];
    int which = search_key(id, key);
    const void* found = TAB_search(&state.table, which, key);
    if (!found) return 0;
    if (rec) std::memcpy(rec, found, sizeof(CityRec));
    return 1;
}

int CTY_search(const char* id, CityXY* rec) {
    if (!state.built || !id) return 0;
    char key[KEY_SIZE];
    int which = search_key(id, key);
    const void* found = TAB_search(&state.table, which, key);
    if (!found) return 0;
    if (!rec) return 1;
    if (state.store == CTY_STORE_FULL)
        to_short(static_cast<const CityRec*>(found), rec);
    else
        std::memcpy(rec, found, sizeof(CityXY));
    return 1;
}

int CTY_search_loc(float lat, float lon, CityXY* rec) {
    if (!state.built || state.store != CTY_STORE_LOC) return 0;
    const float la = lat * 10.0f, lo = lon * 10.0f;
    char key[KEY_SIZE];
    for (int r = 0; r < RING_STEPS; r++) {
        for (int i = 1 - r; i <= r; i++) {
            const float tries[4][2] = {
                {la + r, lo + i}, {la + i, lo + r}, {la - r, lo + i}, {la + i, lo - r}};
            for (const auto& t : tries) {
                position_text(t[0], t[1], key);
                const void* found = TAB_search(&state.table, 3, key);
                if (found) {
                    if (rec) std::memcpy(rec, found, sizeof(CityXY));
                    return 1;
                }
            }
        }
    }
    return 0;
}

void* CTY_get_data(const char* id) {
    if (!state.built || !id) return nullptr;
    size_t n = std::strlen(id);
    int which = (n == 5 && std::isdigit(static_cast<unsigned char>(id[0]))) ||
                        (n == 4 && std::islower(static_cast<unsigned char>(id[0])))
                    ? 2
                    : 1;
    const void* found = TAB_search(&state.table, which, id);
    if (!found) return nullptr;
    if (state.store == CTY_STORE_FULL) return static_cast<const CityRec*>(found)->data;
    return static_cast<const CityXY*>(found)->data;
}

int CTY_get(const char* name, const char* id, CityRec* rec) {
    if (!id) return 0;
    // A file named by the caller is read as named, quietly; without one the
    // database of the resources.
    const char* chosen = RES_get("city_file");
    if (chosen && !stricmp(chosen, "none")) return 0;
    std::string tried;
    FILE* file = name && *name ? open_on_path(name, &tried) : CTY_open_file(nullptr, nullptr);
    if (!file) return 0;
    MESS_print(MESS_MESS, "Searching the city database file for: %s ...\n", id);
    CityRec r;
    int found = 0;
    char number[KEY_SIZE];
    while (!found && CTY_read(file, &r) >= 0) {
        std::snprintf(number, sizeof number, "%05d", r.wmo);
        found = !stricmp(r.id, id) || !stricmp(r.name, id) || !stricmp(number, id);
    }
    CTY_close(file);
    if (found && rec) *rec = r;
    return found;
}

int CTY_get_loc(const char* name, const char* id, float* lat, float* lon) {
    CityRec rec;
    if (CTY_get(name, id, &rec) != 1) return 0;
    if (lat) *lat = rec.lat;
    if (lon) *lon = rec.lon;
    return 1;
}

int CTY_get_prior() {
    int prior = DEFAULT_PRIOR;
    RES_getval("stat_prior", &prior, RES_INTEGER);
    return prior;
}

int CTY_ids_cmp(int count, char** list, const char* id) {
    if (count <= 0 || !list) return 1;
    for (int i = 0; i < count; i++) {
        if (!list[i]) continue;
        if (is_search_key(list[i])) return 1;
        if (id && !std::strcmp(list[i], id)) return 1;
    }
    return 0;
}

int CTY_data_cmp(int count, char** list, const CityRec* rec) {
    if (count <= 0 || !list) return 1;
    if (!rec) return -1;
    for (int i = 0; i < count; i++)
        if (list[i] && item_matches(list[i], rec)) return i;
    return -1;
}
