// Defaults files: pattern lines with IF/ELIF/ELSE/END on tags, the program-name
// qualifier shared by files and environment, and the environment lookup of a resource.
#include "env/defaults.h"

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <string>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"

namespace {

constexpr int kMaxTags = 10;
constexpr int kMaxLevels = 10;
constexpr int kLineSize = 249;

std::array<char, 30> prog_name{};
std::array<char, 30> prog_title{};
FILE* def_file = nullptr;
// What has been read of def_file, against the bounds of a text table.
long def_bytes = 0;
long def_lines = 0;
std::string def_path;

std::array<const char*, kMaxTags> tag{};
int num_tag = 0;
std::list<std::string> tag_copies;  // texts of DEF lines, which tags point into

std::array<char, kMaxLevels> match{};
int num_match = 0;
int deep_levels = 0;  // IF levels beyond the ten kept; they count as false
int matches = 1;

void copy_bounded(char* out, size_t size, const char* text) {
    std::snprintf(out, size, "%s", text);
}

bool tag_is_set(const char* text) {
    for (int i = 0; i < num_tag; ++i)
        if (stricmp(tag[i], text) == 0) return true;
    return false;
}

void update_matches() {
    matches = deep_levels == 0 ? 1 : 0;
    for (int i = 0; i < num_match; ++i)
        if (match[i] != 1) matches = 0;
}

std::string qualified(const char* resource) {
    std::string q;
    if (prog_title[0] == '+') {
        q = std::string(prog_name.data()) + "." + (prog_title.data() + 1) + "." + resource;
    } else if (prog_title[0]) {
        q = std::string(prog_title.data()) + "." + resource;
    } else {
        q = std::string(prog_name.data()) + "." + resource;
    }
    return q;
}

// `*` matches any run of characters; the chunk after it is taken at its first place,
// with no backtracking.
bool pattern_match(const char* p, const char* n) {
    if (!*p || !*n) return false;
    for (;;) {
        if (*p == '*') {
            ++p;
            std::string chunk(p, std::strcspn(p, "*"));
            const char* found = std::strstr(n, chunk.c_str());
            if (!found) return false;
            n = found;
        }
        if (*p != *n) return false;
        ++p;
        ++n;
        if (!*n) return !*p;
        if (!*p) return false;
    }
}

bool is_dir(const char* path) {
    struct stat st {};
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool exists(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

void close_file() {
    if (def_file && def_file != stdin) std::fclose(def_file);
    def_file = nullptr;
}

// The conditional lines. Returns true when the line was one of IF, ELIF, ELSE, END.
bool conditional(const char* word, const char* arg, int words) {
    if (std::strcmp(word, "IF") == 0) {
        if (words == 2) {
            if (num_match < kMaxLevels)
                match[num_match++] = tag_is_set(arg) ? 1 : 0;
            else
                ++deep_levels;
            update_matches();
        }
        return true;
    }
    if (std::strcmp(word, "ELIF") == 0) {
        if (words == 2) {
            if (num_match == 0)
                MESS_print(MESS_WARN, "DEF_get: elif without an if\n");
            else if (deep_levels == 0) {
                char& top = match[num_match - 1];
                if (top == 0)
                    top = tag_is_set(arg) ? 1 : 0;
                else
                    top = 99;
                update_matches();
            }
        }
        return true;
    }
    if (std::strcmp(word, "ELSE") == 0) {
        if (num_match == 0)
            MESS_print(MESS_WARN, "DEF_get: else without an if\n");
        else if (deep_levels == 0) {
            char& top = match[num_match - 1];
            top = top == 0 ? 1 : 99;
            update_matches();
        }
        return true;
    }
    if (std::strcmp(word, "END") == 0) {
        if (deep_levels > 0)
            --deep_levels;
        else if (num_match > 0)
            --num_match;
        else
            MESS_print(MESS_WARN, "DEF_get: end without an if\n");
        update_matches();
        return true;
    }
    return false;
}

}  // namespace

int DEF_prog() {
    const char* prog = RES_get_prog();
    if (!prog) prog = "";
    const char* slash = std::strrchr(prog, '/');
    copy_bounded(prog_name.data(), prog_name.size(), slash ? slash + 1 : prog);
    return 0;
}

int DEF_name(const char* title) {
    copy_bounded(prog_title.data(), prog_title.size(), title ? title : "");
    return 0;
}

int DEF_clr_tag() {
    num_tag = 0;
    return 0;
}

int DEF_tag(const char* text) {
    if (num_tag >= kMaxTags || !text) return -1;
    tag[num_tag++] = text;
    return 0;
}

int DEF_open(const char* element) {
    close_file();
    std::string path;
    if (!element || !element[0]) {
        path = ".zmtdef";
    } else if (is_dir(element)) {
        std::string dir = element;
        if (dir.back() != '/') dir += '/';
        path = dir + "Zmt.res";
        for (const char* name : {"zmt.cfg", ".zmtdef", "Zmt.res"}) {
            if (exists(dir + name)) {
                path = dir + name;
                break;
            }
        }
    } else {
        path = element;
    }
    // A pipe only from a list the user named; files found in the working directory
    // through the built-in list are data.
    def_file = FILE_open_user(path.c_str(), "r", RES_typed("default"));
    def_bytes = 0;
    def_lines = 0;
    def_path = path;
    return def_file ? 0 : -1;
}

int DEF_close() {
    close_file();
    return 0;
}

int DEF_get(char* key, char* value) {
    if (!def_file || !key) return -1;
    char line[kLineSize + 1];
    for (;;) {
        if (fgetstring(def_file, line, kLineSize) < 0) return -1;
        def_bytes += static_cast<long>(std::strlen(line)) + 1;
        if (++def_lines > FILE_TEXT_MAX_LINES || def_bytes > FILE_TEXT_MAX_BYTES) {
            MESS_print(MESS_WARN, "Table too large, read up to line %ld: %s\n", def_lines - 1,
                       def_path.c_str());
            close_file();
            return -1;
        }
        if (line[0] == '#') continue;
        // Words are read whole (a line is never longer than these) and cut to the
        // caller's buffers only when handed out.
        char k[kLineSize + 1] = "";
        char v[kLineSize + 1] = "";
        char extra[kLineSize + 1] = "";
        int words = std::sscanf(line, "%249s %249s %249s", k, v, extra);
        if (words < 1) continue;
        if (std::strcmp(k, "DEF") == 0) {
            // Ten tags at most are kept; further DEF lines are ignored.
            if (words >= 2 && num_tag < kMaxTags) {
                tag_copies.emplace_back(v);
                tag[num_tag++] = tag_copies.back().c_str();
            }
        } else if (std::strcmp(k, "UNDEF") == 0) {
            if (words >= 2 && num_tag > 0) {
                int i = 0;
                while (i < num_tag && stricmp(tag[i], v) != 0) ++i;
                for (; i + 1 < num_tag; ++i) tag[i] = tag[i + 1];
                --num_tag;
            }
        } else if (conditional(k, v, words)) {
            continue;
        }
        if (words < 2 || !matches) continue;
        if (v[0] == '"') {
            v[0] = 0;
            if (std::sscanf(line, "%249s \"%249[^\"]", k, v) < 2) v[0] = 0;
        }
        low_string(k);
        size_t len = std::strlen(k);
        if (len > 0 && k[len - 1] == ':') k[len - 1] = 0;
        copy_bounded(key, DEF_KEY_SIZE, k);
        if (value) copy_bounded(value, DEF_VALUE_SIZE, v);
        return 1;
    }
}

int DEF_cmp(const char* resource, const char* pattern) {
    if (!resource || !pattern) return 0;
    return pattern_match(pattern, qualified(resource).c_str()) ? 1 : 0;
}

int DEF_valid(const char* pattern) {
    if (!pattern) return 0;
    char name[DEF_KEY_SIZE];
    std::string bare = DEF_parse_name(pattern, name) ? name : "";
    return DEF_cmp(bare.c_str(), pattern);
}

char* DEF_parse_name(const char* pattern, char* out) {
    if (!out) return out;
    out[0] = 0;
    if (!pattern || !pattern[0]) return out;
    const char* start = pattern + 1;
    for (const char* p = pattern; *p; ++p)
        if (*p == '.' || *p == '*') start = p + 1;
    copy_bounded(out, DEF_KEY_SIZE, start);
    return out;
}

int DEF_env(const char* resource, const char* env, char* out) {
    if (!resource || !out) return 0;
    std::string names[3];
    names[0] = "zmt" + qualified(resource);
    if (env && env[0]) names[1] = env;
    names[2] = std::string("zmt") + resource;
    for (const std::string& name : names) {
        if (name.empty()) continue;
        if (const char* value = std::getenv(name.c_str())) {
            copy_bounded(out, DEF_ENV_SIZE, value);
            return 1;
        }
    }
    return 0;
}

void DEF_reset() {
    close_file();
    prog_name.fill(0);
    prog_title.fill(0);
    num_tag = 0;
    tag_copies.clear();
    num_match = 0;
    deep_levels = 0;
    matches = 1;
}
