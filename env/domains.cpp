// Plot domains: the record, its text forms, the region file and built-in regions,
// and the station priority that goes with a domain's size.
#include "env/domains.h"

#include <array>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#if __has_include("overlays/cities.h")
#include "overlays/cities.h"
#define DOM_HAVE_CITIES 1
#endif

namespace {

constexpr uint32_t LOG_LEVEL = 0x40000000;
constexpr int LINE_MAX_CHARS = 500;
constexpr int MENU_SIZE = 20;  // entries 1..19 and the closing empty one
// A region that names a region that names ... must end somewhere.
constexpr int MAX_NESTING = 8;

int priority = 1;
int loc_prior = ZMT_MISSING;
int nesting = 0;
// Whether the text being decoded was typed by the user: only then may its "fi:" file
// be a "|command". Texts read from files are decoded with it off.
bool typed_text = false;

// Where a region file is looked for: the path and then the installed tables, the path
// only, or the installed tables only.
enum class Lookup { named, path_only, installed_only };

int search_file(const char* file, const char* key, char* out, Lookup lookup);
int decode_text(const char* text, Domain* domain);

void close_table(FILE* fp) {
    if (fp != stdin) std::fclose(fp);
}

std::array<DomMenuEntry, MENU_SIZE + 1> reg_menu{};
int num_regs = 1;

struct ProjWord {
    const char* word;
    int chars;  // characters compared; 0 for the whole word
    int code;
};

// Tested in this order: earlier words shadow later ones on purpose.
constexpr std::array<ProjWord, 29> proj_words = {{
    {"ll", 2, 2},
    {"lat", 3, 2},
    {"polar", 5, 1},
    {"ps", 2, 1},
    {"sat", 3, 9},
    {"lamb", 4, 4},
    {"lc", 2, 4},
    {"la", 2, 8},
    {"gn", 2, 6},
    {"or", 2, 5},
    {"mo", 2, 7},
    {"me", 2, 3},
    {"pix", 3, 99},
    {"xy", 2, 20},
    {"xlogy", 5, 22},
    {"xlogp", 5, 22},
    {"cat", 3, 24},
    {"skewt", 5, 40},
    {"therm", 5, 40},
    {"ema", 3, 42},
    {"teph", 4, 43},
    {"rteph", 5, 44},
    {"stuve", 5, 41},
    {"hodo", 4, 23},
    {"vert", 4, 22},
    {"xp", 4, 25},
    {"zoom", 4, 50},
    {"size", 4, 51},
    {"miss", 0, ZMT_MISSING},
}};

const char* print_word(int proj) {
    switch (proj) {
        case 1:
            return "pstereo";
        case 2:
            return "latlon";
        case 3:
            return "merc";
        case 4:
            return "lamb";
        case 5:
            return "ortho";
        case 6:
            return "gnom";
        case 7:
            return "moll";
        case 8:
            return "lambaz";
        case 9:
            return "sat";
        case 20:
            return "xy";
        case 21:
            return "xz";
        case 22:
            return "xlogp";
        case 23:
            return "polar";
        case 24:
            return "cat";
        case 40:
            return "skewt";
        case 41:
            return "stuve";
        case 42:
            return "ema";
        case 50:
            return "zoom";
        case 99:
            return "pixel";
        default:
            return "";
    }
}

struct DefRegion {
    const char* name;
    float clat;
    float clon;
    float d;
};

constexpr std::array<DefRegion, 8> def_regions = {{
    {"us", 39.0f, -97.0f, 2.3f},
    {"ne", 42.0f, -76.0f, 0.9f},
    {"at", 37.0f, -82.0f, 0.9f},
    {"se", 31.0f, -88.0f, 1.1f},
    {"mw", 43.0f, -93.0f, 1.1f},
    {"sp", 32.5f, -100.0f, 1.2f},
    {"nw", 44.0f, -112.0f, 1.0f},
    {"sw", 37.0f, -112.0f, 1.0f},
}};

bool unset(float v) {
    return v == ZMT_FMISSING;
}

bool begins_with_nocase(const char* text, const char* prefix) {
    for (; *prefix; ++text, ++prefix) {
        if (std::tolower(static_cast<unsigned char>(*text)) !=
            std::tolower(static_cast<unsigned char>(*prefix)))
            return false;
    }
    return true;
}

// Items are read as the scanner reads them: a leading number is enough.
bool scan_float(const char* text, float* out) {
    float v;
    if (std::sscanf(text, "%f", &v) != 1) return false;
    *out = v;
    return true;
}

bool scan_int(const char* text, int* out) {
    long long v;
    if (std::sscanf(text, "%lld", &v) != 1) return false;
    if (v > INT32_MAX) v = INT32_MAX;
    if (v < INT32_MIN) v = INT32_MIN;
    *out = static_cast<int>(v);
    return true;
}

// Nearest integer of a size read as a float; nonsense gives the unset value.
int32_t round_size(float v) {
    if (!(std::fabs(v) < 2.0e9f)) return ZMT_MISSING;
    return static_cast<int32_t>(std::lround(v));
}

// The pieces of a text split at a delimiter, released on scope exit.
struct Pieces {
    int count = 0;
    char** items = nullptr;
    Pieces(const char* text, char delimiter) {
        if (parse_string(text, delimiter, &count, &items) != 0) {
            count = 0;
            items = nullptr;
        }
    }
    ~Pieces() {
        if (items) free_parsed_array(count, items);
    }
    Pieces(const Pieces&) = delete;
    Pieces& operator=(const Pieces&) = delete;
};

// The proj slot: a projection word and optional colon-separated numbers.
bool read_proj(const char* item, Domain* domain) {
    Pieces parts(item, ':');
    if (parts.count < 1) {
        domain->proj = 1;
        return false;
    }
    int code = DOM_proj_str(parts.items[0]);
    if (code == -1) {
        domain->proj = 1;
        return false;
    }
    domain->proj = code;
    if (parts.count == 2) {
        if (parts.items[1][0] == '\0') return true;
        return scan_float(parts.items[1], &domain->plon);
    }
    int first = 1;
    if (parts.count >= 3 && std::strcmp(parts.items[1], "e") == 0) {
        domain->ext = 1;
        first = 2;
    }
    float* targets[] = {&domain->plat,     &domain->plon,     &domain->param[0],
                        &domain->param[1], &domain->param[2], &domain->param[3]};
    for (int k = first, t = 0; k < parts.count; ++k, ++t) {
        if (t >= 6) return false;
        if (parts.items[k][0] == '\0') continue;
        if (!scan_float(parts.items[k], targets[t])) return false;
    }
    return true;
}

// "id:ident" or "id:file:ident": the centre from the station database.
bool read_id(const char* item, Domain* domain) {
    if (!begins_with_nocase(item, "id:")) return false;
    std::string rest(item + 3);
    std::string file = "sao.cty";
    std::string ident = rest;
    size_t colon = rest.find(':');
    if (colon != std::string::npos) {
        file = rest.substr(0, colon);
        ident = rest.substr(colon + 1);
    }
    if (ident.empty()) return false;
#ifdef DOM_HAVE_CITIES
    float lat = ZMT_FMISSING, lon = ZMT_FMISSING;
    if (CTY_get_loc(file.c_str(), ident.c_str(), &lat, &lon) != 1) return false;
    domain->clat = lat;
    domain->clon = lon;
    return true;
#else
    // A build without the station database knows no station.
    (void)domain;
    return false;
#endif
}

// The region slot; every outcome but an "id:" item counts as read.
bool read_region(const char* item, Domain* domain) {
    if (begins_with_nocase(item, "id:")) return false;
    char buffer[LINE_MAX_CHARS + 1];
    if (begins_with_nocase(item, "fi:")) {
        if (search_file(item + 3, nullptr, buffer, Lookup::named) == 1) DOM_decode(buffer, domain);
        return true;
    }
    const char* colon = std::strchr(item, ':');
    if (colon) {
        std::string file(item, colon - item);
        if (colon[1] != '\0') {
            if (search_file(file.c_str(), colon + 1, buffer, Lookup::named) == 1)
                DOM_decode(buffer, domain);
        } else {
            DOM_read_menu(file.c_str());
        }
        return true;
    }
    // With no region file on the path the built-in rows answer; the installed table
    // answers only for a name they do not know.
    if (search_file("zmt.reg", item, buffer, Lookup::path_only) == 1) {
        DOM_decode(buffer, domain);
    } else if (DOM_get_def_region(item, domain) != 1) {
        if (search_file("zmt.reg", item, buffer, Lookup::installed_only) == 1)
            DOM_decode(buffer, domain);
        else
            domain->proj = -1;
    }
    return true;
}

// Opens a table on the file path (a "|command" only when the text was typed), then in
// the program's own data directory, as `lookup` allows.
FILE* open_on_path(const char* name, std::string* tried, Lookup lookup) {
    if (lookup == Lookup::installed_only) {
        *tried = FILE_installed_table(name);
        return tried->empty() ? nullptr : FILE_open(tried->c_str(), "r");
    }
    char path[FILE_NAME_SIZE * 4] = "";
    const char* dir = RES_get("file_path");
    if (std::strlen(name) + (dir ? std::strlen(dir) : 0) + 2 > sizeof(path)) return nullptr;
    if (lookup == Lookup::path_only)
        *tried = FILE_add_path(dir, name, path);
    else
        FILE_find_table(dir, name, tried);
    // Typed is the name as it stands: a directory put in front comes from elsewhere.
    return FILE_open_user(tried->c_str(), "r", typed_text && *tried == name ? 1 : 0);
}

struct Form {
    int slots[8];
    const char* log;
};

void fill_int(int32_t* field, int value) {
    if (*field == ZMT_MISSING) *field = value;
}

void fill_float(float* field, float value) {
    if (unset(*field)) *field = value;
}

// Defaults of a form once it has been read.
void fill_defaults(int order, Domain* d) {
    auto size_25_17 = [d] {
        fill_int(&d->nx, 25);
        fill_int(&d->ny, 17);
    };
    auto proj_1 = [d] { fill_int(&d->proj, 1); };
    switch (order) {
        case 3:
        case 6:
            size_25_17();
            break;
        case 4:
            fill_float(&d->dy, d->dx);
            break;
        case 5:
            proj_1();
            break;
        case 7:
            proj_1();
            fill_float(&d->dy, d->dx);
            break;
        case 8:
            size_25_17();
            fill_float(&d->dy, d->dx);
            break;
        case 9:
            proj_1();
            fill_float(&d->dx, 1.2f);
            fill_float(&d->dy, 1.2f);
            break;
        case 10:
            proj_1();
            size_25_17();
            fill_float(&d->dy, d->dx);
            break;
        case 11:
            if (d->proj == 51) {
                d->nx = round_size(d->clat);
                d->ny = round_size(d->clon);
                d->clat = ZMT_FMISSING;
                d->clon = ZMT_FMISSING;
            } else if (d->proj == 50) {
                fill_float(&d->dx, 1.0f);
                fill_float(&d->dy, 1.0f);
                size_25_17();
            } else {
                fill_float(&d->dx, 1.2f);
                fill_float(&d->dy, 1.2f);
                size_25_17();
            }
            break;
        case 12:
        case 13:
            proj_1();
            size_25_17();
            fill_float(&d->dx, 1.2f);
            fill_float(&d->dy, 1.2f);
            break;
        default:
            break;
    }
}

enum : int {
    P = DOM_SLOT_PROJ,
    PL = DOM_SLOT_PLON,
    ID = DOM_SLOT_ID,
    LA = DOM_SLOT_CLAT,
    LO = DOM_SLOT_CLON,
    NX = DOM_SLOT_NX,
    NY = DOM_SLOT_NY,
    DX = DOM_SLOT_DX,
    DY = DOM_SLOT_DY,
    RG = DOM_SLOT_REGION,
};

const std::array<Form, 15> forms = {{
    {{P, NX, NY, 0}, "%2d proj,nx,ny\n"},
    {{P, PL, LA, LO, NX, NY, DX, DY}, "%2d proj,plon,clat,clon,nx,ny,dx,dy\n"},
    {{P, LA, LO, NX, NY, DX, DY, 0}, "%2d proj,clat,clon,nx,ny,dx,dy\n"},
    {{P, PL, LA, LO, DX, DY, 0}, "%2d proj,plon,clat,clon,dx,dy\n"},
    {{P, LA, LO, NX, NY, DX, 0}, "%2d proj,clat,clon,nx,ny,dx\n"},
    {{LA, LO, NX, NY, DX, DY, 0}, "%2d clat,clon,nx,ny,dx,dy\n"},
    {{P, LA, LO, DX, DY, 0}, "%2d proj,clat,clon,dx,dy\n"},
    {{LA, LO, NX, NY, DX, 0}, "%2d clat,clon,nx,ny,dx\n"},
    {{P, LA, LO, DX, 0}, "%2d proj,clat,clon,dx\n"},
    {{LA, LO, NX, NY, 0}, "%2d clat,clon,nx,ny\n"},
    {{LA, LO, DX, 0}, "%2d clat,clon,dx\n"},
    {{P, LA, LO, 0}, "%2d proj,clat,clon\n"},
    {{LA, LO, 0}, "%2d clat,clon\n"},
    {{ID, 0}, "%2d id:###\n"},
    {{RG, 0}, "%2d reg:REG\n"},
}};

int set_params_list(int count, char** items, Domain* domain, const int* slots, int nslots) {
    // An "id:" item where a latitude is due names a station for both coordinates.
    int eff[8];
    int n = 0;
    for (int s = 0; s < nslots; ++s) {
        int slot = slots[s];
        if (slot == DOM_SLOT_CLAT && n < count && items[n] && begins_with_nocase(items[n], "id:")) {
            eff[n++] = DOM_SLOT_ID;
            if (s + 1 < nslots && slots[s + 1] == DOM_SLOT_CLON) ++s;
            continue;
        }
        eff[n++] = slot;
    }
    if (n != count) return 1;
    DOM_init(domain);
    if (count >= 1 && items[0] &&
        (stricmp(items[0], "miss") == 0 || stricmp(items[0], "none") == 0))
        return 0;
    bool region = false;
    for (int k = 0; k < count; ++k) {
        const char* item = items[k];
        if (!item) return 1;
        bool ok = false;
        switch (eff[k]) {
            case DOM_SLOT_PROJ:
                ok = read_proj(item, domain);
                break;
            case DOM_SLOT_PLON:
                ok = scan_float(item, &domain->plon);
                break;
            case DOM_SLOT_ID:
                ok = read_id(item, domain);
                break;
            case DOM_SLOT_CLAT:
                ok = scan_float(item, &domain->clat);
                break;
            case DOM_SLOT_CLON:
                ok = scan_float(item, &domain->clon);
                break;
            case DOM_SLOT_NX:
                ok = scan_int(item, &domain->nx);
                break;
            case DOM_SLOT_NY:
                ok = scan_int(item, &domain->ny);
                break;
            case DOM_SLOT_DX:
                ok = scan_float(item, &domain->dx);
                break;
            case DOM_SLOT_DY:
                ok = scan_float(item, &domain->dy);
                break;
            case DOM_SLOT_REGION:
                region = true;
                ok = read_region(item, domain);
                break;
            default:
                ok = false;
                break;
        }
        if (!ok) return 1;
    }
    FLAG_set(5, region ? 2 : 1);
    return 0;
}

}  // namespace

int DOM_init(Domain* domain) {
    if (!domain) return 0;
    domain->proj = ZMT_MISSING;
    domain->plat = ZMT_FMISSING;
    domain->plon = ZMT_FMISSING;
    for (float& p : domain->param) p = ZMT_FMISSING;
    domain->clat = ZMT_FMISSING;
    domain->clon = ZMT_FMISSING;
    domain->dx = ZMT_FMISSING;
    domain->dy = ZMT_FMISSING;
    domain->nx = ZMT_MISSING;
    domain->ny = ZMT_MISSING;
    domain->ext = 0;
    return 0;
}

int DOM_proj_str(const char* text) {
    if (!text) return -1;
    for (const ProjWord& w : proj_words) {
        int differs = w.chars ? strnicmp(text, w.word, w.chars) : stricmp(text, w.word);
        if (differs == 0) return w.code;
    }
    return -1;
}

int DOM_set_params(int count, char** items, Domain* domain, ...) {
    int slots[8];
    int nslots = 0;
    va_list args;
    va_start(args, domain);
    while (nslots < 8) {
        int slot = va_arg(args, int);
        if (slot == 0) break;
        slots[nslots++] = slot;
    }
    va_end(args);
    if (!domain || count < 0 || (count > 0 && !items)) return 1;
    return set_params_list(count, items, domain, slots, nslots);
}

int DOM_decode(const char* text, Domain* domain) {
    return DOM_decode_user(text, domain, 0);
}

int DOM_decode_user(const char* text, Domain* domain, int user_typed) {
    // Only the outermost text can be typed; what it reads from files is data.
    const bool outer_typed = typed_text;
    typed_text = user_typed != 0 && nesting == 0;
    int result = decode_text(text, domain);
    typed_text = outer_typed;
    return result;
}

namespace {

int decode_text(const char* text, Domain* domain) {
    Domain scratch;
    if (!domain) domain = &scratch;
    DOM_init(domain);
    if (!text || text[0] == '\0' || stricmp(text, "miss") == 0) return ZMT_MISSING;

    Pieces items(text, ',');
    MESS_print(LOG_LEVEL, "******** PARSING DOMAIN: %d %s\n", items.count, text);

    int result = -1;
    if (nesting >= MAX_NESTING) {
        MESS_print(MESS_WARN, "DOM_decode: Invalid plot domain\n");
        domain->proj = -1;
        return -1;
    }
    ++nesting;
    for (size_t order = 0; order < forms.size() && items.count > 0; ++order) {
        if (order == 0 && stricmp(items.items[0], "size") != 0) continue;
        const Form& form = forms[order];
        int nslots = 0;
        while (nslots < 8 && form.slots[nslots] != 0) ++nslots;
        if (set_params_list(items.count, items.items, domain, form.slots, nslots) != 0) continue;
        fill_defaults(static_cast<int>(order), domain);
        MESS_print(LOG_LEVEL, form.log, items.count);
        result = order == 14 ? 2 : 1;
        break;
    }
    --nesting;
    // A failed text leaves the domain as the last form tried left it.
    if (result == -1) MESS_print(MESS_WARN, "DOM_decode: Invalid plot domain\n");

    FLAG_set(5, result);
    FILE_set_key('r', text);
    DOM_set_base_prior((static_cast<float>(domain->ny) - 1.0f) * domain->dy);
    return result;
}

}  // namespace

int DOM_search_file(const char* file, const char* key, char* out) {
    return search_file(file, key, out, Lookup::named);
}

namespace {

int search_file(const char* file, const char* key, char* out, Lookup lookup) {
    if (!file || !out) return 0;
    std::string tried;
    FILE* fp = open_on_path(file, &tried, lookup);
    if (!fp) {
        if (lookup != Lookup::installed_only)
            MESS_print(MESS_DEBUG_D, "Unable to open region file: %s\n", tried.c_str());
        return 0;
    }
    int found = 0;
    std::string line;
    char abbrev[LINE_MAX_CHARS + 1];
    char text[LINE_MAX_CHARS + 1];
    TextBudget budget(tried.c_str());
    while (budget.read_line(fp, line, static_cast<size_t>(LINE_MAX_CHARS))) {
        if (!line.empty() && line[0] == '#') continue;
        int n = std::sscanf(line.c_str(), "%500s %*s %*d %500s", abbrev, text);
        if (n < 1) break;
        if (n == 1) {
            std::snprintf(out, LINE_MAX_CHARS + 1, "%s", abbrev);
            found = 1;
            break;
        }
        if (!key || stricmp(abbrev, key) == 0) {
            std::snprintf(out, LINE_MAX_CHARS + 1, "%s", text);
            found = 1;
            break;
        }
    }
    close_table(fp);
    return found;
}

}  // namespace

int DOM_read_menu(const char* file) {
    if (!file) return 0;
    for (DomMenuEntry& e : reg_menu) e = DomMenuEntry{};
    num_regs = 1;
    std::string tried;
    FILE* fp = open_on_path(file, &tried, Lookup::named);
    if (!fp) {
        MESS_print(MESS_DEBUG_D, "Unable to open region file: %s\n", tried.c_str());
        return 0;
    }
    std::string line;
    char abbrev[LINE_MAX_CHARS + 1];
    char label[21];
    int menu = 0;
    TextBudget budget(tried.c_str());
    while (num_regs < MENU_SIZE &&
           budget.read_line(fp, line, static_cast<size_t>(LINE_MAX_CHARS))) {
        if (!line.empty() && line[0] == '#') continue;
        if (std::sscanf(line.c_str(), "%500s %20s %d %*s", abbrev, label, &menu) != 3) continue;
        if (menu == 0) continue;
        DomMenuEntry& e = reg_menu[num_regs];
        fill_string(label, '_', ' ');
        std::snprintf(e.label, sizeof(e.label), "%s", label);
        std::snprintf(e.abbrev, sizeof(e.abbrev), "%.5s", abbrev);
        e.index = num_regs;
        e.menu = menu;
        ++num_regs;
    }
    close_table(fp);
    return 1;
}

const DomMenuEntry* DOM_get_menu() {
    return reg_menu.data();
}

int DOM_get_num_regs() {
    return num_regs;
}

int DOM_get_def_region(const char* name, Domain* domain) {
    if (!name || !domain) return 0;
    for (const DefRegion& r : def_regions) {
        if (stricmp(name, r.name) == 0) {
            domain->proj = 1;
            domain->nx = 25;
            domain->ny = 17;
            domain->clat = r.clat;
            domain->clon = r.clon;
            domain->plon = r.clon;
            domain->dx = domain->dy = r.d;
            FLAG_set(5, 2);
            return 1;
        }
    }
    if (stricmp(name, "var") == 0) {
        domain->proj = 1;
        domain->nx = 25;
        domain->ny = 17;
        domain->clat = ZMT_promptf("Enter the central latitude: ");
        domain->clon = ZMT_promptf("Enter the central longitude: ");
        domain->plon = domain->clon;
        domain->dx = domain->dy = 1.2f;
        FLAG_set(5, 2);
        return 1;
    }
    return 0;
}

double DOM_aspect(const Domain* domain) {
    if (!domain || domain->nx < 2 || domain->ny < 2) return 1.0;
    return static_cast<double>(domain->nx - 1) / static_cast<double>(domain->ny - 1);
}

int DOM_comp(const Domain* a, const Domain* b) {
    if (!a || !b) return 0;
    if (a->proj != b->proj || a->clat != b->clat || a->clon != b->clon || a->dx != b->dx ||
        a->dy != b->dy || a->nx != b->nx || a->ny != b->ny || a->ext != b->ext)
        return 0;
    for (int k = 0; k < 5; ++k)
        if (a->param[k] != b->param[k]) return 0;
    auto same = [](float av, float bv, float ac, float bc) {
        if (av == bv) return true;
        if (unset(av) && bv == ac) return true;
        if (unset(bv) && av == bc) return true;
        return false;
    };
    if (!same(a->plat, b->plat, a->clat, b->clat)) return 0;
    if (!same(a->plon, b->plon, a->clon, b->clon)) return 0;
    return 1;
}

int DOM_print(uint32_t level, const Domain* domain) {
    if (!domain) return 0;
    std::string text = print_word(domain->proj);
    if (domain->ext) text += ":e";
    const float values[5] = {domain->plat, domain->plon, domain->param[0], domain->param[1],
                             domain->param[2]};
    char buf[160];
    for (float v : values) {
        if (unset(v)) {
            text += ":";
        } else {
            std::snprintf(buf, sizeof(buf), ":%3.3f", v);
            text += buf;
        }
    }
    std::snprintf(buf, sizeof(buf), ",%3.3f,%3.3f,%d,%d,%4.4f,%4.4f\n", domain->clat, domain->clon,
                  domain->nx, domain->ny, domain->dx, domain->dy);
    text += buf;
    MESS_print(level, "%s", text.c_str());
    return 0;
}

int DOM_set_base_prior(float size) {
    if (size > 50.0f)
        priority = 1;
    else if (size > 25.0f)
        priority = 2;
    else if (size > 12.5f)
        priority = 3;
    else if (size > 6.25f)
        priority = 4;
    else if (size > 3.0f)
        priority = 5;
    else
        priority = 6;
    const char* stat = RES_get("stat_prior");
    if (stat) {
        if ((stat[0] == '+' || stat[0] == '-') &&
            std::isdigit(static_cast<unsigned char>(stat[1]))) {
            int d = stat[1] - '0';
            priority += stat[0] == '+' ? d : -d;
        } else if (std::isdigit(static_cast<unsigned char>(stat[0]))) {
            priority = stat[0] - '0';
        }
    }
    return priority;
}

int DOM_get_prior() {
    return priority;
}

int DOM_set_loc_prior(int value) {
    loc_prior = value;
    return 0;
}

int DOM_get_loc_prior() {
    return loc_prior;
}
