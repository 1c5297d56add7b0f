// Data file naming and selection. Files of the suite are named by date through a
// template found by tag in the name convention file; a run finds its file by
// expanding the template for a time, by parsing a name the user typed against it,
// or by walking back one template step at a time to the newest file on disk.
#include "env/files.h"
#include "env/missing.h"

#include <fcntl.h>
#include <glob.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"

#ifndef SAT_DATA_DIR
#define SAT_DATA_DIR "."
#endif

namespace {

constexpr size_t NAME_MAX_LEN = FILE_NAME_SIZE - 1;
constexpr size_t KEY_SIZE = 30;
constexpr size_t EXT_INFO_SIZE = 40;
constexpr size_t LINE_MAX_LEN = 160;
constexpr int MAX_WIDTH = 1000;
// Most steps of a search for the newest file (la#n).
constexpr int MAX_WALK_STEPS = 20000;
// Most files of one run (-nh): each costs a name and a failed or real read.
constexpr int MAX_RUN_FILES = 10000;
// An expansion never needs more than this; the rest is cut before it is stored.
constexpr size_t BUILD_LIMIT = 4096;

Date missing_date() {
    Date d;
    DATE_init(&d);
    return d;
}

// The naming convention in force and what the last name gave. FILE_reset clears it
// all; FILE_restore_name_conv brings back the part FILE_save_name_conv kept.
struct Naming {
    // Template of data file names; loaded by FILE_set_name_user.
    std::string conv;
    // The template was typed by the user (FILE_set_name_user), not read from a file:
    // the names it gives may open a pipe.
    bool conv_typed = false;
    // Template of header file names (FILE_hdr_set_date); FILE_set_name_user.
    std::string hconv;
    // Text of %e; FILE_set_name_user from the tag, parse_name from a typed name.
    std::string ext;
    // Texts of the key items, by key character; FILE_set_key.
    std::array<std::array<char, KEY_SIZE>, 256> keys{};
    bool key_init = false;  // keys cleared once; FILE_set_name_user
    // Smallest size of an acceptable file: from the convention line
    // (FILE_set_name_user) and as the run asks (FILE_set_min_size).
    int min_size = 0;
    int rmin_size = 0;
    // Seconds between files the template's date items allow; expand and parse_name.
    int late_off = ZMT_MISSING;
    // The last name made or given; FILE_set_date, FILE_set_file, FILE_get_file.
    std::string filename;
    int filename_type = 0;  // 1: filename was given as it stands, 0: made from a date
    // Date of filename, field by field as the template shows it; expand, parse_name.
    Date file_date = missing_date();
    // Fields pinned by FILE_set_time (negative: a step or cycle); read by expand.
    Date set = missing_date();
    std::string ext_info;  // text after a mark in a name; FILE_extract_extra_info
    int header = 0;        // 1 while FILE_hdr_set_date names a header file
    int file_type = 0;     // 1: names may carry extra info after a mark; FILE_set_type
};
Naming nm;

// The convention as FILE_save_name_conv kept it, for FILE_restore_name_conv.
struct SavedNaming {
    std::string conv;
    bool conv_typed = false;
    std::string hconv;
    int late_off = ZMT_MISSING;
    std::string filename;
    int filename_type = 0;
};
SavedNaming saved;

// The fields FILE_save_name_conv keeps, copied either way.
template <typename From, typename To>
void copy_convention(const From& from, To& to) {
    to.conv = from.conv;
    to.conv_typed = from.conv_typed;
    to.hconv = from.hconv;
    to.late_off = from.late_off;
    to.filename = from.filename;
    to.filename_type = from.filename_type;
}

// The run of files: FILE_first sets it up, FILE_get_next steps through it.
struct Selection {
    int numfile = 0;                   // names of the filename resource; FILE_first, free_files
    char** files = nullptr;            // those names, owned here; FILE_first, free_files
    int file_ind = 0;                  // next of them; FILE_get_next
    Date first_date = missing_date();  // date the run counts from; FILE_first
    int num_hour = 0;                  // seconds the run spans (FILE_num_hour); FILE_first
    int def_hours = 0;                 // default span; FILE_set_def_hours
    int skip = 0;                      // seconds skipped between files (FILE_get_skip); FILE_first
    int offset = 0;                    // seconds from one file to the next; FILE_first
    int secs = 0;                      // first step of the run; FILE_first
    int nsecs = 0;                     // step of the next file; FILE_first, FILE_get_next
    int run_files = 0;                 // files handed out since FILE_first
};
Selection sel;

std::string bounded(const std::string& text) {
    return text.size() > NAME_MAX_LEN ? text.substr(0, NAME_MAX_LEN) : text;
}

void copy_out(const std::string& text, char* out) {
    if (!out) return;
    size_t n = std::min(text.size(), NAME_MAX_LEN);
    std::memmove(out, text.data(), n);
    out[n] = '\0';
}

std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* fmt, ...) {
    char buffer[64];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buffer, sizeof buffer, fmt, args);
    va_end(args);
    return buffer;
}

int clamp_int(long long value) {
    return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

int wrap32(long long value) {
    return static_cast<int>(static_cast<uint32_t>(value));
}

// Reads an integer as %d does (blanks, a sign, digits) but saturates instead of
// overflowing. Advances p only on success.
bool scan_int(const char*& p, int& value) {
    const char* s = p;
    while (*s && std::isspace(static_cast<unsigned char>(*s))) s++;
    bool negative = false;
    if (*s == '+' || *s == '-') negative = *s++ == '-';
    if (!std::isdigit(static_cast<unsigned char>(*s))) return false;
    long long v = 0;
    while (std::isdigit(static_cast<unsigned char>(*s))) {
        if (v < 10000000000LL) v = v * 10 + (*s - '0');
        s++;
    }
    value = clamp_int(negative ? -v : v);
    p = s;
    return true;
}

// A number from a fixed field of the text: as %Nd on those characters.
bool field_int(const std::string& text, int& value) {
    const char* p = text.c_str();
    return scan_int(p, value);
}

bool is_digit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// "YYYYMMDDHHMM" by fixed columns, each field only if a digit starts it. Fields
// not read stay as they are. Returns the characters the time takes up.
int read_time_columns(const char* text, int* year, int* month, int* day, int* hour, int* minute) {
    size_t len = std::strlen(text);
    struct Field {
        size_t col, width;
        int* dest;
    };
    const Field fields[] = {
        {0, 4, year}, {4, 2, month}, {6, 2, day}, {8, 2, hour}, {10, 2, minute}};
    for (const Field& f : fields) {
        if (f.col >= len || !is_digit(text[f.col])) continue;
        int v = 0;
        for (size_t k = 0; k < f.width && f.col + k < len && is_digit(text[f.col + k]); k++)
            v = v * 10 + (text[f.col + k] - '0');
        *f.dest = v;
    }
    int used = 0;
    while (used < 12 && is_digit(text[used])) used++;
    return used;
}

int time_from_text(const char* text, int* used) {
    Date d{};
    int n = read_time_columns(text, &d.year, &d.month, &d.day, &d.hour, &d.minute);
    if (used) *used = n;
    return DATE_num_sec(&d);
}

std::string expand_user(const std::string& name) {
    if (name.empty() || name[0] != '~') return name;
    size_t slash = name.find('/');
    std::string user = name.substr(1, slash == std::string::npos ? std::string::npos : slash - 1);
    struct passwd* pw = user.empty() ? getpwuid(getuid()) : getpwnam(user.c_str());
    if (!pw || !pw->pw_dir) return name;
    return std::string(pw->pw_dir) + (slash == std::string::npos ? "" : name.substr(slash));
}

// `name` in `directory`; a full name or standard input stays as it stands.
std::string joined_path(const char* directory, const char* name) {
    if (!name) name = "";
    if (FILE_is_stdio(name) || FILE_fullpath(name)) return name;
    std::string result = directory ? directory : "";
    if (!result.empty() && result.back() != '/') result += '/';
    return result + name;
}

// A plain file that can be read: where a table lookup stops.
bool readable_file(const std::string& path) {
    const std::string full = expand_user(path);
    struct stat st;
    return stat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(full.c_str(), R_OK) == 0;
}

const char* path_resource(char item) {
    switch (item) {
        case 'C':
            return "con_path";
        case 'D':
            return "data_path";
        case 'F':
            return "file_path";
        case 'R':
            return "raw_path";
        case 'G':
            return "grid_path";
        case 'I':
            return "image_path";
        case 'W':
            return "watch_path";
        case 'T':
            return "text_path";
        case 'M':
            return "model_path";
        case 'S':
            return "sat_path";
        default:
            return nullptr;
    }
}

std::string key_text(unsigned char key) {
    return nm.keys[key].data();
}

// The width of a %Nx item; i is on the first character after the percent sign.
struct Item {
    int width = 1;
    bool width_given = false;
    char kind = '\0';
};

bool read_item(const std::string& tmpl, size_t& i, Item& item) {
    long long w = 0;
    while (i < tmpl.size() && is_digit(tmpl[i])) {
        w = std::min<long long>(w * 10 + (tmpl[i] - '0'), MAX_WIDTH);
        item.width_given = true;
        i++;
    }
    if (item.width_given) item.width = std::max<int>(1, static_cast<int>(w));
    if (i >= tmpl.size()) return false;
    item.kind = tmpl[i++];
    return true;
}

// Name of a %{name} item; i is on the character after the brace.
std::string brace_name(const std::string& tmpl, size_t& i) {
    size_t end = tmpl.find('}', i);
    std::string name = tmpl.substr(i, end == std::string::npos ? std::string::npos : end - i);
    i = end == std::string::npos ? tmpl.size() : end + 1;
    return name;
}

// A field of width `step` seconds: the step between files is the least of them.
void keep_step(int& late, long long step) {
    int s = clamp_int(step);
    if (late == ZMT_MISSING || s < late) late = s;
}

bool pinned_step(int value) {
    return value < 0 && value != ZMT_MISSING;
}

// One date field of a name: a pinned value wins; a date without the field gives
// `none` and leaves the kept field unknown; otherwise `pick` gives, from the date's
// value, the value shown and the one kept in the file's date.
template <class Show, class Pick>
void date_field(std::string& out, int& kept, int pin, int value, const char* none, Show show,
                Pick pick) {
    if (pin != ZMT_MISSING) {
        out += show(pin);
        kept = pin;
    } else if (value < 0) {
        out += none;
        kept = ZMT_MISSING;
    } else {
        const auto [shown, stored] = pick(value);
        out += show(shown);
        kept = stored;
    }
}

std::string two_digits(int v) {
    return format("%2.2d", v);
}

// %d: a pinned day, or the day rounded down to the width (or to the step of a
// negative pin, which also sets the late offset).
void expand_day(std::string& out, const Date& d, int w) {
    bool step_form = pinned_step(nm.set.day);
    if (nm.set.day >= 0) {
        out += two_digits(nm.set.day);
        nm.file_date.day = nm.set.day;
    } else if (d.day < 0) {
        out += "00";
        nm.file_date.day = ZMT_MISSING;
    } else {
        int n = step_form ? clamp_int(std::min(-static_cast<long long>(nm.set.day), 100000LL)) : w;
        int day = d.day / n * n;
        out += two_digits(day);
        nm.file_date.day = day;
    }
    if (step_form)
        nm.late_off = clamp_int(-static_cast<long long>(nm.set.day) * 86400);
    else
        keep_step(nm.late_off, w * 86400LL);
}

// %j: the day of the year, which also fixes month and day.
void expand_julian(std::string& out, const Date& d, int w) {
    if (d.year < 0 || d.month < 0 || d.day < 0) {
        out += "000";
        nm.file_date.month = ZMT_MISSING;
        nm.file_date.day = ZMT_MISSING;
        nm.file_date.julian = ZMT_MISSING;
    } else {
        int julian = 0;
        DATE_monday_julian(d.year, d.month, d.day, &julian);
        out += format("%3.3d", julian);
        nm.file_date.month = d.month;
        nm.file_date.day = d.day;
        nm.file_date.julian = julian;
    }
    keep_step(nm.late_off, w * 86400LL);
}

// %h and %n: the hour or minute, pinned, on a pinned cycle, or rounded to the width.
void expand_clock(std::string& out, const Date& d, int w, bool hour) {
    const int pin = hour ? nm.set.hour : nm.set.minute;
    const int value = hour ? d.hour : d.minute;
    int& field = hour ? nm.file_date.hour : nm.file_date.minute;
    const long long unit = hour ? 3600 : 60;
    if (pin >= 0) {
        int v = pin / w * w;
        out += two_digits(v);
        field = v;
        keep_step(nm.late_off, w * unit);
    } else if (pinned_step(pin)) {
        // -(100 B + N): a cycle of N starting at B.
        long long code = -static_cast<long long>(pin);
        int base = clamp_int(code / 100);
        int n = static_cast<int>(code % 100);
        if (n == 0) n = hour ? 24 : 60;
        if (value < 0) {
            out += "00";
            field = ZMT_MISSING;
        } else {
            int v = clamp_int(static_cast<long long>(value) / n * n + base);
            out += two_digits(v);
            field = v;
        }
        if (hour)
            nm.late_off = n * 3600;
        else  // the minute step is taken from the hour pin as it stands
            nm.late_off = clamp_int((-static_cast<long long>(nm.set.hour) % 100) * 60);
    } else if (value < 0) {
        out += "00";
        field = ZMT_MISSING;
        keep_step(nm.late_off, w * unit);
    } else {
        int v = value / w * w;
        out += two_digits(v);
        field = v;
        keep_step(nm.late_off, w * unit);
    }
}

// A path item (%d-like letters naming a path resource) or a key set with
// FILE_set_key; `extracted` stands in for a path when the name is being parsed.
void expand_named(std::string& out, const Item& item, const std::string* extracted) {
    if (const char* res = path_resource(item.kind)) {
        if (extracted) {
            out += *extracted;
        } else {
            const char* value = RES_get(res);
            out += value ? value : ".";
        }
        return;
    }
    std::string text = key_text(static_cast<unsigned char>(item.kind));
    if (text.empty())
        out += "0";
    else
        out += item.width_given ? text.substr(0, static_cast<size_t>(item.width)) : text;
}

// Expansion of a template for a date (see FILE_set_date).
std::string expand(const std::string& tmpl, const Date& d, const std::string* extracted) {
    std::string out;
    size_t i = 0;
    while (i < tmpl.size() && out.size() < BUILD_LIMIT) {
        char c = tmpl[i];
        if (c == '{' || c == '}') {
            i++;
            continue;
        }
        if (c != '%') {
            out += c == ' ' ? '_' : c;
            i++;
            continue;
        }
        i++;
        Item item;
        if (!read_item(tmpl, i, item)) break;
        const int w = item.width;
        switch (item.kind) {
            case '%':
                out += '%';
                break;
            case 'Y':
                date_field(
                    out, nm.file_date.year, nm.set.year, d.year, "0000",
                    [](int v) { return format("%4.4d", v); },
                    [w](int year) {
                        return std::pair{year / w * w, year / w * w};
                    });
                break;
            case 'y':
                date_field(
                    out, nm.file_date.year, nm.set.year, d.year, "00",
                    [](int v) { return two_digits(v % 100); },
                    [w](int year) {
                        int yy = year % 100 / w * w;
                        return std::pair{yy, year - year % 100 + yy};
                    });
                break;
            case 'm':
                date_field(out, nm.file_date.month, nm.set.month, d.month, "00", two_digits,
                           [w](int month) {
                               return std::pair{month / w * w, month / w * w};
                           });
                break;
            case 'b':
                date_field(out, nm.file_date.month, nm.set.month, d.month, "xxx", DATE_month_lower,
                           [](int month) {
                               return std::pair{month, month};
                           });
                break;
            case 'd':
                expand_day(out, d, w);
                break;
            case 'j':
                expand_julian(out, d, w);
                break;
            case 'h':
            case 'n':
                expand_clock(out, d, w, item.kind == 'h');
                break;
            case 'e':
                out += nm.ext;
                break;
            case '{': {
                std::string name = brace_name(tmpl, i);
                if (extracted) {
                    out += *extracted;
                } else if (const char* value = RES_get(name.c_str())) {
                    out += value;
                }
                break;
            }
            default:
                expand_named(out, item, extracted);
                break;
        }
    }
    return out;
}

// The separator positions a path item takes from a full name: the index of the
// n-th separator counted from the end, or npos when there are not enough.
size_t nth_separator_from_end(const std::string& name, size_t from, size_t n) {
    if (n == 0) return name.size();
    size_t count = 0;
    for (size_t k = name.size(); k > from; k--) {
        char c = name[k - 1];
        if (c == '/' || c == '\\' || (c == ':' && k - 1 == 1)) {
            if (++count == n) return k - 1;
        }
    }
    return std::string::npos;
}

// Where the parse of a name stands: nothing matched yet (a literal must match the
// input or the rest is taken as it stands), after a path item or optional text
// (literals are written out while the input is skipped), after a date field
// (literals must match where there is input), or with the input used up.
enum class ParseState { Start = 0, AfterPath = 1, AfterDate = 2, InputUsed = 3 };

// A parse of a user's name against the template, and the module's state it fills.
struct NameParse {
    const std::string& tmpl;
    const std::string& in;
    Date& date;        // file_date: the fields read from the name
    int& late;         // late_off: the step between files the name implies
    std::string& ext;  // ext: taken from the name when none was set
    bool has_slash;
    bool full;
    std::string out{};
    size_t t = 0;  // position in the template
    size_t i = 0;  // position in the input
    ParseState state = ParseState::Start;
    bool in_brace = false;
    bool stop = false;
};

// The input from here on is copied as it stands and the parse ends.
void take_rest(NameParse& p) {
    if (p.i < p.in.size()) p.out += p.in.substr(p.i);
    p.i = p.in.size();
    p.stop = true;
}

// Copies n characters of the input, to be read as a field.
std::string take(NameParse& p, size_t n) {
    std::string field = p.in.substr(std::min(p.i, p.in.size()), n);
    p.out += field;
    p.i += field.size();
    return field;
}

// The step a field implies: a negative pin's own step, else the field's width.
void time_step(NameParse& p, int pin, long long pinned_value, long long unit, int w) {
    if (pinned_step(pin))
        p.late = clamp_int(pinned_value);
    else
        keep_step(p.late, w * unit);
}

bool is_date_item(char kind) {
    switch (kind) {
        case 'Y':
        case 'y':
        case 'b':
        case 'm':
        case 'd':
        case 'h':
        case 'n':
        case 'j':
            return true;
        default:
            return false;
    }
}

// Characters a date item takes from the name.
size_t date_item_size(char kind) {
    switch (kind) {
        case 'Y':
            return 4;
        case 'b':
        case 'j':
            return 3;
        default:
            return 2;
    }
}

// Y, y, b, m, d, h, n and j: a field of the date; a field that does not read ends
// the parse with the rest of the input.
void parse_date_item(NameParse& p, char kind, int w) {
    const std::string f = take(p, date_item_size(kind));
    int v = 0;
    if (kind == 'b') {
        v = DATE_decode_month(f.c_str());
        if (v == 0) return take_rest(p);
    } else if (!field_int(f, v)) {
        return take_rest(p);
    }
    Date& date = p.date;
    switch (kind) {
        case 'Y':
            date.year = v;
            break;
        case 'y':
            date.year = v < 50 ? v + 2000 : v + 1900;
            break;
        case 'b':
        case 'm':
            date.month = v;
            break;
        case 'd':
            date.day = v;
            time_step(p, nm.set.day, -static_cast<long long>(nm.set.day) * 86400, 86400, w);
            break;
        case 'h':
            date.hour = v;
            time_step(p, nm.set.hour, -static_cast<long long>(nm.set.hour) * 3600, 3600, w);
            break;
        case 'n':
            // The day pin stands in for the minute step, as it always has.
            date.minute = v;
            time_step(p, nm.set.minute, -static_cast<long long>(nm.set.day) * 60, 60, w);
            break;
        case 'j':
            date.julian = v;
            DATE_julian_monday(date.year, v, &date.month, &date.day);
            time_step(p, nm.set.day, -static_cast<long long>(nm.set.day) * 86400, 86400, w);
            break;
        default:
            break;
    }
    p.state = ParseState::AfterDate;
}

// %e: the input up to the template's next literal is the extension, unless one is
// set already.
void parse_extension(NameParse& p) {
    size_t end = p.t;
    while (end < p.tmpl.size() && !std::strchr("%{}*", p.tmpl[end])) end++;
    std::string literal = p.tmpl.substr(p.t, end - p.t);
    size_t from = std::min(p.i, p.in.size());
    size_t pos = literal.empty() ? p.in.size() : p.in.find(literal, from);
    if (p.ext.empty()) {
        if (pos == std::string::npos) return take_rest(p);
        assert(pos >= from && pos <= p.in.size());
        p.ext = p.in.substr(from, pos - from);
        p.out += p.ext;
        p.i = pos;
    } else {
        p.out += p.ext;
        if (pos != std::string::npos) p.i = pos;
    }
}

// A path item: a short name gets the resource's path; a full name keeps its own
// directories, as many as the template has separators still to come.
void parse_path_item(NameParse& p, const char* res, bool braced) {
    if (!p.full) {
        const char* value = RES_get(res);
        p.out += value ? value : (braced ? "" : ".");
        if (p.t < p.tmpl.size() && p.tmpl[p.t] == '/') {
            p.out += '/';
            p.t++;
        }
    } else {
        size_t n = 0;
        for (size_t k = p.t; k < p.tmpl.size(); k++)
            if (p.tmpl[k] == '/' || p.tmpl[k] == '\\' || p.tmpl[k] == ':') n++;
        size_t from = std::min(p.i, p.in.size());
        size_t pos = nth_separator_from_end(p.in, from, n);
        if (pos == std::string::npos) pos = from;
        assert(pos >= from && pos <= p.in.size());
        p.out += p.in.substr(from, pos - from);
        p.i = pos;
    }
    p.state = ParseState::AfterPath;
}

// A key set with FILE_set_key stands for its text, skipped in the input.
void parse_key_item(NameParse& p, const Item& item) {
    std::string text = key_text(static_cast<unsigned char>(item.kind));
    if (text.empty()) return take_rest(p);
    if (item.width_given) text = text.substr(0, static_cast<size_t>(item.width));
    p.out += text;
    p.i = std::min(p.in.size(), p.i + text.size());
}

// A %-item; p.t is on the character after the percent sign. False at the
// template's end.
bool parse_item(NameParse& p) {
    Item item;
    if (!read_item(p.tmpl, p.t, item)) return false;
    if (is_date_item(item.kind)) {
        parse_date_item(p, item.kind, item.width);
    } else if (item.kind == '%') {
        p.out += '%';
    } else if (item.kind == 'e') {
        parse_extension(p);
    } else if (item.kind == '{') {
        const std::string brace = brace_name(p.tmpl, p.t);
        parse_path_item(p, brace.c_str(), true);
    } else if (const char* res = path_resource(item.kind)) {
        parse_path_item(p, res, false);
    } else {
        parse_key_item(p, item);
    }
    return true;
}

// A literal character of the template against the input, by the parse's state.
void parse_literal(NameParse& p, char c) {
    const bool at_end = p.i >= p.in.size();
    const bool equal = !at_end && p.in[p.i] == c;
    if (p.state != ParseState::Start && equal) {
        p.out += c;
        p.t++;
        p.i++;
        if (p.i >= p.in.size()) p.state = ParseState::InputUsed;
    } else if (p.state == ParseState::Start && !equal) {
        take_rest(p);
    } else if (p.state == ParseState::Start || p.state == ParseState::AfterPath) {
        p.out += c;
        p.t++;
        if (!at_end && !p.has_slash) p.i++;
    } else if (at_end) {
        p.out += c;
        p.t++;
    } else {
        take_rest(p);
    }
}

// Parsing of a user's name against the template (see FILE_set_file): the name as
// the template writes it, with the date read into `date`, the step between files
// into `late` and, when none is set, the extension into `ext`.
std::string parse_name(const std::string& tmpl, const std::string& in, Date& date, int& late,
                       std::string& extension) {
    NameParse p{.tmpl = tmpl,
                .in = in,
                .date = date,
                .late = late,
                .ext = extension,
                .has_slash = in.find('/') != std::string::npos,
                .full = FILE_fullpath(in.c_str()) != 0};
    p.late = ZMT_MISSING;
    while (p.t < tmpl.size() && !p.stop) {
        // Every step moves through the input at most to its end: the input index
        // never passes it, whatever the template asks for.
        assert(p.i <= in.size());
        MESS_print(MESS_DEBUG_D, "FILES:%s:%s:%s:%s:%s:%d\n", tmpl.c_str() + p.t,
                   in.c_str() + std::min(p.i, in.size()), p.out.c_str(), p.ext.c_str(), in.c_str(),
                   static_cast<int>(p.state));
        char c = tmpl[p.t];
        if (c == '*') {
            take_rest(p);
            break;
        }
        if (c == '%') {
            p.t++;
            if (!parse_item(p)) break;
            continue;
        }
        if (c == '{' || c == '}') {
            p.in_brace = c == '{';
            if (c == '}') p.state = ParseState::AfterPath;
            p.t++;
            continue;
        }
        if (c == ' ') c = '_';
        if (p.in_brace) {
            // Optional text is written out whether the input has it or not.
            p.out += c;
            p.t++;
            continue;
        }
        parse_literal(p, c);
        if (p.out.size() > BUILD_LIMIT) break;
    }
    assert(p.i <= in.size() && p.t <= tmpl.size());
    MESS_print(MESS_DEBUG_D, "FILES:%s:%s:%d\n", in.c_str(), p.out.c_str(),
               static_cast<int>(p.state));
    DATE_print(MESS_DEBUG, &date);
    return p.out;
}

// Where the convention file is: file_path first, the installed tables last.
FILE* open_name_conv(std::string& path) {
    const char* value = RES_get("name_conv");
    const std::string name = value && value[0] ? value : "name_conv";
    const std::string own = joined_path(RES_get("file_path"), name.c_str());
    FILE_find_table(RES_get("file_path"), name.c_str(), &path);
    FILE* file = FILE_open(path.c_str(), "r");
    if (file && path != own) {
        // Said once: the installed copy then serves every convention of the run.
        static bool warned = false;
        if (!warned)
            MESS_print(MESS_WARN, "FILE_set_name: No file name convention file: %s\n", own.c_str());
        warned = true;
    }
    return file;
}

// One line, of which at most LINE_MAX_LEN characters are kept, without a DOS line end.
bool read_line(FILE* file, std::string& line, TextBudget& budget) {
    if (!budget.read_line(file, line, LINE_MAX_LEN)) return false;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
}

std::vector<std::string> split_blanks(const std::string& line, size_t max) {
    std::vector<std::string> words;
    size_t i = 0;
    while (words.size() < max) {
        while (i < line.size() && std::isspace(static_cast<unsigned char>(line[i]))) i++;
        if (i >= line.size()) break;
        size_t start = i;
        while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i]))) i++;
        words.push_back(line.substr(start, i - start));
    }
    return words;
}

int read_sign(const char*& p) {
    if (*p == '+') {
        p++;
        return 1;
    }
    if (*p == '-') p++;
    return -1;
}

// "%dd%n%d%n:%d%n" when days are written, "%d%n:%d%n" otherwise; returns the
// length consumed, that of the last %n reached.
int scan_offset(const char* text, int& days, int& hours, int& minutes) {
    const char* p = text;
    if (std::strchr(text, 'd')) {
        if (!scan_int(p, days) || *p != 'd') return 0;
        p++;
    }
    int used = static_cast<int>(p - text);
    if (!scan_int(p, hours)) return used;
    used = static_cast<int>(p - text);
    if (*p != ':') return used;
    p++;
    if (!scan_int(p, minutes)) return used;
    return static_cast<int>(p - text);
}

int apply_offset(const char*& p, int seconds, int sign, const char* tag) {
    int days = 0, hours = 0, minutes = 0;
    int used = scan_offset(p, days, hours, minutes);
    MESS_print(MESS_DEBUG, "%s:%d %d %d %d\n", tag, seconds, days, hours, minutes);
    long long shift = hours * 3600LL + days * 86400LL + minutes * 60LL;
    seconds = wrap32(seconds + sign * shift);
    p += used;
    return seconds;
}

// Moves the time back to the last moment that fits the pinned fields.
int apply_pins(int seconds) {
    Date d;
    DATE_get_gmdate(&seconds, &d);
    if (nm.set.month >= 0) {
        if (nm.set.month > d.month) d.year--;
        d.month = nm.set.month;
        seconds = DATE_num_sec(&d);
        DATE_get_gmdate(&seconds, &d);
    }
    if (nm.set.day >= 0) {
        if (nm.set.day > d.day) {
            if (--d.month < 1) {
                d.month = 12;
                d.year--;
            }
        }
        d.day = nm.set.day;
        seconds = DATE_num_sec(&d);
        DATE_get_gmdate(&seconds, &d);
    }
    if (nm.set.hour >= 0) {
        if (d.hour < nm.set.hour) seconds = wrap32(seconds - 86400LL);
        DATE_get_gmdate(&seconds, &d);
        d.hour = nm.set.hour;
        seconds = DATE_num_sec(&d);
        DATE_get_gmdate(&seconds, &d);
    }
    if (nm.set.minute >= 0) {
        if (d.minute < nm.set.minute) seconds = wrap32(seconds - 3600LL);
        DATE_get_gmdate(&seconds, &d);
        d.minute = nm.set.minute;
        seconds = DATE_num_sec(&d);
    }
    return seconds;
}

bool file_accepted(const std::string& name) {
    int size = FILE_size(name.c_str());
    return (nm.rmin_size > 0 && size > nm.rmin_size) || size > nm.min_size;
}

// Names the user typed (file names on the command line, answers at the prompt), as
// FILE_set_file hands them on; only these may open a pipe as an input.
std::vector<std::string> typed_names;

void note_typed(const char* name) {
    if (!name) return;
    std::string text = name[0] == '@' ? name + 1 : name;
    if (!text.empty() && text[0] == '|') typed_names.push_back(bounded(text));
}

void free_files() {
    free_parsed_array(sel.numfile, sel.files);
    sel.files = nullptr;
    sel.numfile = 0;
}

void refuse_command(const char* function, const char* name) {
    MESS_print(MESS_WARN, "%s: Refused to run a command that was not typed: %s\n", function, name);
}

// Inputs are regular files: a directory, FIFO or device would hang or feed an endless
// stream, so it is refused before it is opened.
FILE* open_input(const std::string& path, const char* mode) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        MESS_print(MESS_WARN, "FILE_open: Not a regular file: %s\n", path.c_str());
        errno = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
        return nullptr;
    }
    FILE* file = std::fopen(path.c_str(), mode);
    // The name may have been swapped between the check and the open.
    if (file && (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode))) {
        std::fclose(file);
        errno = EINVAL;
        return nullptr;
    }
    return file;
}

// An output may be a regular file or a character device (/dev/null); a FIFO only with
// a reader already waiting, since its open would otherwise block.
FILE* open_output(const std::string& path, const char* mode) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) {
            errno = EISDIR;
            return nullptr;
        }
        if (S_ISFIFO(st.st_mode)) {
            int fd = open(path.c_str(), O_WRONLY | O_NONBLOCK);
            if (fd < 0) return nullptr;
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
            FILE* file = fdopen(fd, "w");
            if (!file) close(fd);
            return file;
        }
        if (!S_ISREG(st.st_mode) && !S_ISCHR(st.st_mode)) {
            errno = EINVAL;
            return nullptr;
        }
    }
    return std::fopen(path.c_str(), mode);
}

// Lists the files a pattern matches with "ls -x", as a shell would, but without one:
// the pattern is expanded here and the names go to ls as arguments, so nothing in the
// pattern (a path, a key) can run a command. A pattern that matches nothing goes as it
// stands, and ls says so.
int list_matches(const std::string& pattern) {
    glob_t found{};
    int status = glob(pattern.c_str(), GLOB_NOCHECK | GLOB_TILDE, nullptr, &found);
    std::vector<char*> args;
    static char ls[] = "ls";
    static char across[] = "-x";
    static char end_of_options[] = "--";
    args.push_back(ls);
    args.push_back(across);
    args.push_back(end_of_options);
    if (status == 0)
        for (size_t k = 0; k < found.gl_pathc; k++) args.push_back(found.gl_pathv[k]);
    args.push_back(nullptr);
    std::fflush(nullptr);
    pid_t pid = -1;
    int result = posix_spawnp(&pid, "ls", nullptr, nullptr, args.data(), environ);
    globfree(&found);
    if (result != 0) return -1;
    int wait_status = 0;
    while (waitpid(pid, &wait_status, 0) < 0)
        if (errno != EINTR) return -1;
    return wait_status;
}

}  // namespace

// ---------------------------------------------------------------------------
// Name conventions and templates.

int FILE_set_name(const char* tag) {
    return FILE_set_name_user(tag, 0);
}

namespace {

// The convention's name in a tag, each key assignment riding on it set as it goes:
// "sat_ir:s=east" selects "sat_ir" with key s.
std::string tag_name_setting_keys(const char* tag) {
    std::string name = tag;
    const size_t length = name.size();
    for (size_t k = 0; k < length; k++) {
        if (tag[k] != ':') continue;
        char key = tag[k + 1];
        if (!key || tag[k + 2] != '=' || !tag[k + 3] || tag[k + 3] == ':') continue;
        const char* text = tag + k + 3;
        std::string value(text, std::strcspn(text, ":"));
        FILE_set_key(static_cast<unsigned char>(key), value.c_str());
        MESS_print(MESS_DEBUG_D, "KEY: %c = %s\n", key, value.c_str());
        name[k] = '\0';
    }
    name.resize(std::strlen(name.c_str()));
    return name;
}

}  // namespace

int FILE_set_name_user(const char* tag, int user_typed) {
    nm.conv_typed = false;
    if (!nm.key_init) {
        for (auto& key : nm.keys) key.fill('\0');
        nm.key_init = true;
    }
    nm.filename.clear();
    if (!tag) tag = "";
    if (stricmp(tag, "none") == 0) {
        nm.conv.clear();
        return 0;
    }
    if (tag[0] == '@') {
        nm.conv = bounded(tag + 1);
        nm.conv_typed = user_typed != 0;
        return 1;
    }
    const std::string name = tag_name_setting_keys(tag);

    std::string path;
    FILE* file = open_name_conv(path);
    if (!file) {
        MESS_print(MESS_WARN, "FILE_set_name: No file name convention file: %s\n", path.c_str());
        nm.conv = bounded(name);
        nm.conv_typed = user_typed != 0;
        return 0;
    }
    MESS_print(MESS_DEBUG_A, "Opening name convention file: %s\n", path.c_str());
    nm.ext.clear();
    std::string line;
    TextBudget budget(path.c_str());
    while (read_line(file, line, budget)) {
        if (line.empty() || line[0] == '#') continue;
        nm.conv.clear();
        nm.hconv.clear();
        nm.min_size = 0;
        std::vector<std::string> words = split_blanks(line, 4);
        if (words.empty()) continue;
        if (words.size() > 1) nm.conv = bounded(words[1]);
        if (words.size() > 2 && words[2] != "-") nm.hconv = bounded(words[2]);
        if (words.size() > 3) {
            int v = 0;
            const char* p = words[3].c_str();
            if (scan_int(p, v)) nm.min_size = v;
        }
        const std::string& line_tag = words[0];
        if (stricmp(name.c_str(), line_tag.c_str()) == 0) {
            MESS_print(MESS_DEBUG_A, "File name match for: %s\n", name.c_str());
            std::fclose(file);
            return 1;
        }
        if (line_tag.size() <= name.size() &&
            strnicmp(line_tag.c_str(), name.c_str(), static_cast<int>(line_tag.size())) == 0) {
            size_t underscore = name.rfind('_');
            if (underscore != std::string::npos) nm.ext = bounded(name.substr(underscore + 1));
            MESS_print(MESS_DEBUG_A, "File name partial match for: %s-%s ext: %s\n", name.c_str(),
                       line_tag.c_str(), nm.ext.c_str());
            std::fclose(file);
            return 1;
        }
    }
    std::fclose(file);
    // hconv and min_size stay as the last line left them.
    nm.conv = bounded(name);
    nm.conv_typed = user_typed != 0;
    MESS_print(MESS_DEBUG_A, "No file name conversion for: %s\n", name.c_str());
    return 0;
}

int FILE_set_key(int key, const char* text) {
    auto& entry = nm.keys[static_cast<unsigned char>(key)];
    entry.fill('\0');
    if (!text) return 0;
    for (size_t k = 0; k < KEY_SIZE - 1 && text[k]; k++) entry[k] = text[k] == ' ' ? '_' : text[k];
    return 0;
}

int FILE_set_key(const char* key, const char* text) {
    if (!key || !key[0]) return -1;
    return FILE_set_key(static_cast<unsigned char>(key[0]), text);
}

int FILE_get_key(int key, char* buffer) {
    if (!buffer) return -1;
    std::memcpy(buffer, nm.keys[static_cast<unsigned char>(key)].data(), KEY_SIZE);
    return 0;
}

int FILE_set_date(const Date* date, char* out) {
    if (nm.conv.empty()) {
        copy_out(nm.filename.empty() ? "filename" : nm.filename, out);
        nm.filename_type = 1;
        return 1;
    }
    if (FILE_is_stdio(nm.conv.c_str())) {
        copy_out("-", out);
        nm.filename_type = 0;
        return 1;
    }
    // A full path the user gave keeps its directory for every file of the run.
    std::string extracted;
    bool use_extracted = false;
    if (nm.filename_type == 1 && FILE_fullpath(nm.filename.c_str())) {
        size_t n = std::count_if(nm.conv.begin(), nm.conv.end(),
                                 [](char c) { return c == '/' || c == ':'; });
        if (n > 0) {
            size_t count = 0, k = nm.filename.size();
            while (k > 0) {
                k--;
                if (nm.filename[k] == '/' || (k == 1 && nm.filename[k] == ':')) {
                    if (++count == n) break;
                }
            }
            extracted = nm.filename.substr(0, count == n ? k : 0);
            use_extracted = true;
            MESS_print(MESS_DEBUG_C, "Extracted path: %s\n", extracted.c_str());
        }
    }
    const std::string tmpl = nm.header ? nm.hconv : nm.conv;
    nm.late_off = ZMT_MISSING;
    Date d = date ? *date : nm.file_date;
    if (date) {
        nm.file_date.year = ZMT_MISSING;
        nm.file_date.month = ZMT_MISSING;
        nm.file_date.day = ZMT_MISSING;
        nm.file_date.hour = ZMT_MISSING;
        nm.file_date.minute = ZMT_MISSING;
    }
    if (d.year == ZMT_MISSING && !nm.filename.empty()) {
        copy_out(nm.filename, out);
        nm.filename_type = 1;
        return 1;
    }
    nm.filename = bounded(expand(tmpl, d, use_extracted ? &extracted : nullptr));
    if (nm.conv_typed) note_typed(nm.filename.c_str());
    copy_out(nm.filename, out);
    return 0;
}

int FILE_hdr_set_date(const Date* date, char* out) {
    nm.header = 1;
    int result = FILE_set_date(date, out);
    nm.header = 0;
    return result;
}

int FILE_save_name_conv() {
    copy_convention(nm, saved);
    return 0;
}

int FILE_restore_name_conv() {
    copy_convention(saved, nm);
    return 0;
}

int FILE_get_late_off() {
    return nm.late_off;
}

int FILE_set_min_size(int bytes) {
    nm.rmin_size = bytes;
    return 0;
}

// The size a file must exceed: the override when one is set, else the convention's.
int FILE_get_min_size() {
    return nm.rmin_size > 0 ? nm.rmin_size : nm.min_size;
}

int FILE_get_date(Date* date) {
    if (!date) return -1;
    *date = nm.file_date;
    return 0;
}

int FILE_set_type(int type) {
    nm.file_type = type;
    return 0;
}

int FILE_type(const char* name) {
    if (!name) return -1;
    std::string path = expand_user(name);
    FILE* file = open_input(path, "rb");
    if (!file && path.size() > 1) {
        size_t dash = path.find('-', 1);
        if (dash != std::string::npos) file = open_input(path.substr(0, dash), "rb");
    }
    if (!file) return -1;
    char magic[11] = {};
    size_t got = std::fread(magic, 1, 10, file);
    std::fclose(file);
    magic[got] = '\0';
    struct Magic {
        const char* text;
        size_t length;
        int type;
    };
    static constexpr Magic table[] = {{"ZMTSFC", 6, 11}, {"ZMTUPA", 6, 12}, {"ZMTRAW", 6, 5},
                                      {"ZMTGRID", 7, 6}, {"ZMTMETA", 7, 8}, {"ZMTIMG", 6, 9}};
    for (const Magic& m : table)
        if (std::strncmp(magic, m.text, m.length) == 0) return m.type;
    return -1;
}

// ---------------------------------------------------------------------------
// Paths and files.

int FILE_fullpath(const char* name) {
    return name && (name[0] == '/' || name[0] == '.' || name[0] == '~');
}

int FILE_is_stdio(const char* name) {
    if (!name || !name[0]) return 1;
    return std::strcmp(name, "-") == 0 || stricmp(name, "std") == 0 || stricmp(name, "stdn") == 0;
}

char* FILE_add_path_delim(char* path) {
    if (!path || !path[0]) return path;
    size_t n = std::strlen(path);
    if (path[n - 1] != '/') {
        path[n] = '/';
        path[n + 1] = '\0';
    }
    return path;
}

char* FILE_add_path(const char* directory, const char* name, char* out) {
    if (!out) return out;
    copy_out(joined_path(directory, name), out);
    return out;
}

std::string FILE_installed_table(const char* name) {
    if (!name || !name[0] || FILE_fullpath(name) || FILE_is_stdio(name) || name[0] == '|')
        return "";
    const std::string path = std::string(SAT_DATA_DIR) + "/" + name;
    return readable_file(path) ? path : "";
}

int FILE_find_table(const char* directory, const char* name, std::string* out) {
    if (!out) return 0;
    *out = joined_path(directory, name);
    if (readable_file(*out)) return 1;
    const std::string installed = FILE_installed_table(name);
    if (installed.empty()) return 0;
    *out = installed;
    return 1;
}

char* FILE_add_user_path(const char* name, char* out) {
    if (!out) return out;
    copy_out(expand_user(name ? name : ""), out);
    return out;
}

int FILE_exist(const char* name) {
    if (FILE_is_stdio(name) || FILE_typed_name(name)) return 1;
    struct stat st;
    return stat(expand_user(name).c_str(), &st) == 0;
}

int FILE_is_dir(const char* name) {
    if (!name) return 0;
    struct stat st;
    return stat(expand_user(name).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int FILE_size(const char* name) {
    if (!name) return -1;
    struct stat st;
    if (stat(expand_user(name).c_str(), &st) != 0) return -1;
    return clamp_int(static_cast<long long>(st.st_size));
}

int FILE_delete(const char* name) {
    if (!name) return -1;
    return unlink(expand_user(name).c_str());
}

long long FILE_bytes_left(FILE* f) {
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    const long long at = ftello(f);
    if (at < 0 || at > st.st_size) return -1;
    return static_cast<long long>(st.st_size) - at;
}

FILE* FILE_open(const char* name, const char* mode) {
    return FILE_open_user(name, mode, 0);
}

FILE* FILE_open_res(const char* name, const char* mode, const char* resource) {
    return FILE_open_user(name, mode, resource ? RES_typed(resource) : 0);
}

FILE* FILE_open_user(const char* name, const char* mode, int user_typed) {
    if (!mode || !mode[0]) mode = "r";
    if (FILE_is_stdio(name)) return mode[0] == 'r' ? stdin : stdout;
    if (name[0] == '|') {
        if (!user_typed && !FILE_typed_name(name)) {
            refuse_command("FILE_open", name);
            return nullptr;
        }
        // popen knows only "r" and "w"; a binary flag means nothing to a pipe.
        const char pipe_mode[2] = {mode[0] == 'r' ? 'r' : 'w', '\0'};
        // A command that stops reading makes writes fail instead of ending the run.
        if (pipe_mode[0] == 'w') std::signal(SIGPIPE, SIG_IGN);
        std::fflush(nullptr);
        return popen(name + 1, pipe_mode);
    }
    std::string path = expand_user(name);
    if (mode[0] == 'r' && std::strchr(mode, '+') == nullptr) return open_input(path, mode);
    FILE_make_dir(path.c_str(), 1);
    return open_output(path, mode);
}

int FILE_make_dir(const char* path, int leave) {
    if (!path) return 0;
    std::string p = path;
    std::replace(p.begin(), p.end(), '\\', '/');
    size_t last = p.rfind('/');
    if (last != std::string::npos) {
        struct stat st;
        if (stat(p.substr(0, last).c_str(), &st) == 0) return 1;
    }
    std::vector<std::string> pieces;
    size_t start = 0;
    for (;;) {
        size_t slash = p.find('/', start);
        pieces.push_back(
            p.substr(start, slash == std::string::npos ? std::string::npos : slash - start));
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    long long count = static_cast<long long>(pieces.size()) - leave;
    std::string current;
    for (long long k = 0; k < count; k++) {
        current = k == 0 ? pieces[0] : current + "/" + pieces[static_cast<size_t>(k)];
        if (!current.empty()) mkdir(current.c_str(), 0755);
    }
    return 0;
}

int FILE_extract_extra_info(char* name) {
    if (!name || nm.file_type != 1) return 0;
    size_t n = std::strlen(name);
    for (size_t k = 2; k < n; k++) {
        if (std::strchr("#-+:", name[k])) {
            nm.ext_info.assign(name + k, std::min(n - k, EXT_INFO_SIZE - 1));
            name[k] = '\0';
            return 1;
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Selection of the file or the run of files.

int FILE_get_file(const char* prompt, char* out) {
    int count = 0;
    char** names = nullptr;
    RES_getvals("filename", &count, &names);
    if (count > 0 && names) {
        if (stricmp(names[0], "list") == 0) {
            free_parsed_array(count, names);
            FILE_list_file();
            ZMT_exit(0);
        }
        nm.filename_type = 1;
        if (RES_typed("filename"))
            for (int k = 0; k < count; k++) note_typed(names[k]);
        char buffer[FILE_NAME_SIZE];
        FILE_set_file(names[0], buffer);
        free_parsed_array(count, names);
        nm.filename = buffer;
        copy_out(nm.filename, out);
        return FILE_exist(nm.filename.c_str());
    }
    free_parsed_array(count, names);

    char buffer[FILE_NAME_SIZE] = "";
    const char* current = RES_get("current");
    if (current || FLAG_batch()) {
        FILE_set_current(current ? current : "la", buffer);
        nm.filename = buffer;
        copy_out(nm.filename, out);
        if (FILE_exist(nm.filename.c_str())) {
            MESS_print(MESS_MESS, "Current filename: %s\n", nm.filename.c_str());
            return 1;
        }
        MESS_print(MESS_WARN, "File not found: %s\n", nm.filename.c_str());
        ZMT_exit(10);
    }

    MESS_print(15, "List of available files:\n");
    FILE_list_file();
    MESS_print(15, "\n");
    for (int attempt = 0; attempt < 4; attempt++) {
        nm.filename_type = 1;
        char answer[80] = "";
        ZMT_prompts(prompt ? prompt : "", answer, 79);
        answer[sizeof answer - 1] = '\0';
        if (!answer[0] && std::feof(stdin)) {
            // No one is left to answer: the tries end here.
            MESS_print(MESS_WARN, "File not found: %s\n", answer);
            ZMT_exit(10);
        }
        if (stricmp(answer, "exit") == 0) ZMT_exit(0);
        if (stricmp(answer, "list") == 0) {
            FILE_list_file();
            continue;
        }
        note_typed(answer);
        if (answer[0] == '#' || strnicmp(answer, "la", 2) == 0) {
            FILE_set_current(answer, buffer);
            MESS_print(MESS_MESS, "Current filename: %s\n", buffer);
        } else if (strnicmp(answer, "cu", 2) == 0) {
            FILE_set_current(answer + 2, buffer);
            MESS_print(MESS_MESS, "Current filename: %s\n", buffer);
        } else {
            FILE_set_file(answer, buffer);
        }
        nm.filename = buffer;
        copy_out(nm.filename, out);
        if (FILE_exist(nm.filename.c_str())) return 1;
        MESS_print(MESS_WARN, "File not found: %s\n", nm.filename.c_str());
    }
    ZMT_exit(10);
}

int FILE_set_current(const char* expression, char* out) {
    const std::string text = expression ? expression : "la";
    nm.filename_type = 0;
    const char* p = text.c_str();

    int seconds;
    if (*p == '#') {
        int used = 0;
        seconds = time_from_text(p + 1, &used);
        p += 1 + used;
    } else if (const char* now = std::getenv("zmtcurtime")) {
        // A fixed "now" replays an archive.
        seconds = time_from_text(now[0] == '#' ? now + 1 : now, nullptr);
    } else {
        seconds = DATE_get_time(nullptr);
    }
    seconds = apply_pins(seconds);

    int sign = read_sign(p);
    if (is_digit(*p)) {
        seconds = apply_offset(p, seconds, sign, "CUR1");
        MESS_print(MESS_DEBUG, "CUR1:%s %d\n", p, seconds);
        sign = read_sign(p);
    }

    std::string name;
    if (*p == 'l') {
        p++;
        if (*p == 'a') p++;
        int count = 500;
        if (*p == '#') {
            p++;
            int n = 0;
            const char* q = p;
            if (!scan_int(q, n)) n = 0;
            size_t digits = n < 10 ? 1 : n < 100 ? 2 : n < 1000 ? 3 : 4;
            p += std::min(digits, std::strlen(p));
            // Every step costs a name and a stat: a walk is kept well under a second.
            count = std::min(n, MAX_WALK_STEPS);
        }
        char buffer[FILE_NAME_SIZE] = "";
        for (int k = 0; k < count; k++) {
            Date d;
            DATE_get_gmdate(&seconds, &d);
            MESS_print(MESS_DEBUG, "LATE:%d %d %d %d %d\n", d.year, d.month, d.day, d.hour,
                       d.minute);
            FILE_set_date(&d, buffer);
            MESS_print(MESS_DEBUG, "LATE: %s\n", buffer);
            if (file_accepted(buffer)) break;
            // Without a step every try would give the same name.
            if (nm.late_off <= 0 || k == count - 1) break;
            seconds = wrap32(seconds + static_cast<long long>(sign) * nm.late_off);
        }
        name = buffer;
        MESS_print(MESS_DEBUG, "LATEST: %s %s %d\n", p, name.c_str(), seconds);
        sign = read_sign(p);
    }

    if (is_digit(*p)) {
        seconds = apply_offset(p, seconds, sign, "CUR2");
        MESS_print(MESS_DEBUG, "CUR2:%d\n", seconds);
    }

    Date d;
    DATE_get_gmdate(&seconds, &d);
    MESS_print(MESS_DEBUG, "%d %d %d %d\n", d.year, d.julian, d.hour, d.minute);
    char buffer[FILE_NAME_SIZE] = "";
    FILE_set_date(&d, buffer);
    copy_out(buffer, out);
    return nm.late_off > 0 ? seconds / nm.late_off * nm.late_off : seconds;
}

int FILE_set_file(const char* name, char* out) {
    std::string work = name ? name : "";
    DATE_init(&nm.file_date);

    if (nm.file_type != 1) {
        size_t mark = work.size() > 1 ? work.find('#', 1) : std::string::npos;
        if (mark != std::string::npos) {
            std::string tail = work.substr(mark + 1);
            work.resize(mark);
            if (!tail.empty() && is_digit(tail[0])) {
                read_time_columns(tail.c_str(), &nm.set.year, &nm.set.month, &nm.set.day,
                                  &nm.set.hour, &nm.set.minute);
                nm.file_date = nm.set;
            }
        }
    }
    if (stricmp(work.c_str(), "exit") == 0) ZMT_exit(0);
    if (!work.empty() && work[0] == '@') {
        nm.filename_type = 1;
        copy_out(work.substr(1), out);
        return 0;
    }
    if (FILE_is_stdio(work.c_str()) || (!nm.conv.empty() && FILE_is_stdio(nm.conv.c_str()))) {
        copy_out("-", out);
        return 0;
    }
    if (nm.conv.empty()) {
        nm.filename = bounded(work);
        copy_out(nm.filename, out);
        nm.filename_type = 1;
        return 0;
    }
    if (work[0] == '#' || strnicmp(work.c_str(), "la", 2) == 0 ||
        strnicmp(work.c_str(), "cu", 2) == 0) {
        char buffer[FILE_NAME_SIZE] = "";
        const bool cu = strnicmp(work.c_str(), "cu", 2) == 0;
        FILE_set_current(cu ? work.c_str() + 2 : work.c_str(), buffer);
        MESS_print(MESS_MESS, "Current filename: %s\n", buffer);
        copy_out(buffer, out);
        return 0;
    }
    if (stricmp(work.c_str(), "none") == 0) {
        copy_out("none", out);
        return 0;
    }
    if (FILE_fullpath(nm.conv.c_str()) && FILE_fullpath(work.c_str())) {
        copy_out(work, out);
        return 0;
    }
    copy_out(parse_name(nm.conv, work, nm.file_date, nm.late_off, nm.ext), out);
    return 0;
}

int FILE_first(const Date* date) {
    free_files();
    RES_getvals("filename", &sel.numfile, &sel.files);
    if (sel.numfile > 0 && sel.files &&
        (strnicmp(sel.files[0], "la", 2) == 0 || strnicmp(sel.files[0], "cu", 2) == 0))
        free_files();
    sel.file_ind = 0;
    sel.run_files = 0;
    if (date)
        sel.first_date = *date;
    else
        DATE_init(&sel.first_date);
    sel.num_hour = FILE_num_hour();
    sel.skip = FILE_get_skip();
    sel.offset = FILE_get_offset();
    if (sel.skip > 0 && sel.skip / sel.offset >= 1)
        sel.offset = clamp_int(static_cast<long long>(sel.offset) * (sel.skip / sel.offset));
    if (sel.num_hour < 0)
        sel.secs = clamp_int((static_cast<long long>(sel.num_hour) + 1 - sel.offset) / sel.offset *
                             sel.offset);
    else
        sel.secs = 0;
    sel.nsecs = sel.secs;
    return 0;
}

int FILE_get_next(char* out) {
    if (sel.numfile > 1 || (sel.numfile == 1 && sel.num_hour == 0)) {
        if (sel.file_ind >= sel.numfile || !sel.files) return 0;
        FILE_set_file(sel.files[sel.file_ind], out);
        sel.file_ind++;
        return 1;
    }
    // A run by time is a walk: it ends after MAX_RUN_FILES names, whatever -nh asked.
    if (sel.run_files >= MAX_RUN_FILES) {
        if (sel.run_files++ == MAX_RUN_FILES)
            MESS_print(MESS_WARN, "FILE_get_next: Run cut at %d files\n", MAX_RUN_FILES);
        return 0;
    }
    sel.run_files++;
    if (sel.num_hour >= 0) {
        if (sel.num_hour < sel.nsecs) return 0;
        if (sel.num_hour == 0) {
            copy_out(nm.filename, out);
            sel.nsecs = clamp_int(static_cast<long long>(sel.nsecs) + sel.offset);
            return 1;
        }
    } else if (sel.nsecs > 0) {
        return 0;
    }
    MESS_print(MESS_DEBUG, " in: ");
    DATE_print(MESS_DEBUG, &sel.first_date);
    char buffer[FILE_NAME_SIZE] = "";
    int steps = FILE_set_date_off(&sel.first_date, sel.nsecs, buffer);
    MESS_print(MESS_DEBUG, "out: ");
    DATE_print(MESS_DEBUG, &nm.file_date);
    MESS_print(MESS_DEBUG_C, "NEXT: %d %d %d %d %d %s\n", sel.nsecs, sel.offset, sel.skip,
               sel.num_hour, steps, buffer);
    copy_out(buffer, out);
    // A run never loops forever: past the top of the range the counter stops.
    long long next = static_cast<long long>(sel.nsecs) + sel.offset;
    sel.nsecs = next > INT_MAX ? INT_MAX : static_cast<int>(next);
    if (next > INT_MAX && sel.num_hour == INT_MAX) sel.num_hour = INT_MAX - 1;
    return 1;
}

int FILE_set_time(const Date* date) {
    if (date)
        nm.set = *date;
    else
        DATE_init(&nm.set);
    return 0;
}

int FILE_set_date_off(const Date* date, int seconds, char* out) {
    Date d = date ? *date : nm.file_date;
    int total = wrap32(static_cast<long long>(DATE_num_sec(&d)) + seconds);
    Date shifted;
    DATE_get_gmdate(&total, &shifted);
    FILE_set_date(&shifted, out);
    return seconds / (nm.late_off > 0 ? nm.late_off : 100000);
}

int FILE_get_offset() {
    return nm.late_off > 0 ? nm.late_off : 100000;
}

int FILE_num_hour() {
    const char* text = RES_get("num_hour");
    if (!text) return sel.def_hours;
    int hours = 0, minutes = 0;
    const char* p = text;
    if (scan_int(p, hours)) {
        if (*p == ':') {
            p++;
            scan_int(p, minutes);
        }
    } else if (text[0] == ':') {
        p = text + 1;
        scan_int(p, minutes);
    }
    // In 64 bits: the lowest int as minutes has no opposite in an int.
    long long signed_minutes = minutes;
    if (hours < 0 || (hours == 0 && text[0] == '-')) signed_minutes = -signed_minutes;
    return clamp_int(signed_minutes * 60 + hours * 3600LL);
}

int FILE_get_skip() {
    const char* text = RES_get("num_hour");
    const char* comma = text ? std::strchr(text, ',') : nullptr;
    if (!comma) return nm.late_off;
    int hours = 0, minutes = 0;
    const char* p = comma + 1;
    if (scan_int(p, hours) && *p == ':') {
        p++;
        scan_int(p, minutes);
    }
    return clamp_int(minutes * 60LL + hours * 3600LL);
}

int FILE_get_num_file() {
    if (sel.numfile == 1) return sel.num_hour != 0 ? sel.num_hour : 0;
    if (sel.numfile < 1) return sel.num_hour;
    return sel.numfile - 1;
}

int FILE_set_def_hours(int hours) {
    sel.def_hours = clamp_int(hours * 3600LL);
    return 0;
}

int FILE_list_file() {
    std::string command;
    size_t i = 0;
    while (i < nm.conv.size() && command.size() < BUILD_LIMIT) {
        char c = nm.conv[i];
        if (c == '{' || c == '}') {
            i++;
            continue;
        }
        if (c != '%') {
            command += c;
            i++;
            continue;
        }
        i++;
        Item item;
        if (!read_item(nm.conv, i, item)) break;
        switch (item.kind) {
            case 'Y':
                command += "?[0-9]??";
                break;
            case 'y':
            case 'm':
            case 'd':
            case 'h':
            case 'n':
                command += "[0-9]?";
                break;
            case 'b':
                command += "?[a-z]?";
                break;
            case 'j':
                command += "?[0-9]?";
                break;
            case 'e':
                command += nm.ext.empty() ? "*" : nm.ext;
                break;
            case '%':
                command += '%';
                break;
            case '{': {
                std::string name = brace_name(nm.conv, i);
                if (const char* value = RES_get(name.c_str())) command += value;
                break;
            }
            default:
                if (const char* res = path_resource(item.kind)) {
                    const char* value = RES_get(res);
                    command += value ? value : ".";
                } else {
                    std::string text = key_text(static_cast<unsigned char>(item.kind));
                    if (!text.empty())
                        command += text;
                    else if (item.width_given)
                        command += std::string(static_cast<size_t>(item.width), '?');
                    else
                        command += '*';
                }
                break;
        }
    }
    MESS_print(MESS_DEBUG, "SEARCH: ls -x %s\n", command.c_str());
    return list_matches(command);
}

int FILE_typed_name(const char* name) {
    if (!name || name[0] != '|') return 0;
    return std::find(typed_names.begin(), typed_names.end(), name) != typed_names.end() ? 1 : 0;
}

int FILE_overwrite(const char* name, int mode) {
    // A pipe is never a file that exists, typed or not.
    struct stat st;
    if (FILE_is_stdio(name) || stat(expand_user(name).c_str(), &st) != 0) return 1;
    if (FLAG_get(15) > 0) return FLAG_get(15);
    if (FLAG_batch()) return 3;
    if (mode != 1 && mode != 2) return 0;
    std::string prompt =
        std::string(name) + (mode == 1 ? ": exists overwrite (Y,N,Use,Over): "
                                       : ": exists overwrite (Y,N,Use,Over,App): ");
    char answer[16] = "";
    ZMT_prompts(prompt.c_str(), answer, 9);
    char first = static_cast<char>(std::toupper(static_cast<unsigned char>(answer[0])));
    if (first == 'Y' || first == 'O') return 1;
    if (mode == 2 && first == 'A') return 2;
    return 3;
}

void FILE_reset() {
    nm.conv.clear();
    nm.conv_typed = false;
    saved.conv_typed = false;
    nm.hconv.clear();
    saved.conv.clear();
    saved.hconv.clear();
    saved.late_off = ZMT_MISSING;
    saved.filename.clear();
    saved.filename_type = 0;
    nm.ext.clear();
    for (auto& key : nm.keys) key.fill('\0');
    nm.key_init = false;
    nm.min_size = 0;
    nm.rmin_size = 0;
    nm.late_off = ZMT_MISSING;
    nm.filename.clear();
    nm.filename_type = 0;
    DATE_init(&nm.file_date);
    DATE_init(&nm.set);
    nm.ext_info.clear();
    nm.header = 0;
    nm.file_type = 0;
    free_files();
    typed_names.clear();
    sel.file_ind = 0;
    DATE_init(&sel.first_date);
    sel.num_hour = 0;
    sel.def_hours = 0;
    sel.skip = 0;
    sel.offset = 0;
    sel.secs = 0;
    sel.nsecs = 0;
    sel.run_files = 0;
}

// ---------------------------------------------------------------------------
// Output files: written under a temporary name and renamed into place when complete,
// so that a failed write never leaves a half-written file behind.

namespace {

enum class OutKind { temporary, pipe, standard, device };

struct Output {
    FILE* fp;
    OutKind kind;
    std::string name;       // as the caller gave it, for messages
    std::string path;       // the final path (temporary and device kinds)
    std::string temporary;  // the temporary path (temporary kind)
};

struct OutputState {
    std::vector<Output> open;         // outputs created and not yet committed or discarded
    bool failed = false;              // an output could not be written
    bool cleanup_registered = false;  // the exit handler that removes temporaries
    bool signals_set = false;         // SIGPIPE and SIGXFSZ turned into write errors
};
OutputState out_state;

// Temporaries still open when the process ends (an exit in the middle of a write) are
// removed, so nothing half-written stays behind.
void remove_open_temporaries() {
    for (const Output& o : out_state.open)
        if (o.kind == OutKind::temporary) unlink(o.temporary.c_str());
}

void prepare_output_process() {
    if (!out_state.cleanup_registered) {
        std::atexit(remove_open_temporaries);
        out_state.cleanup_registered = true;
    }
    if (!out_state.signals_set) {
        // A closed pipe or a file size limit becomes a write error that is reported,
        // instead of a silent death.
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGXFSZ, SIG_IGN);
        out_state.signals_set = true;
    }
}

void output_error(const char* function, const std::string& name, int error) {
    out_state.failed = true;
    if (error > 0)
        MESS_print(MESS_WARN, "%s: Unable to write file: %s (%s)\n", function, name.c_str(),
                   std::strerror(error));
    else
        MESS_print(MESS_WARN, "%s: Unable to write file: %s\n", function, name.c_str());
}

bool copy_file_into(const std::string& from, FILE* to) {
    FILE* in = open_input(from, "rb");
    if (!in) return errno == ENOENT;  // appending to a new file starts it
    char buffer[65536];
    size_t n;
    bool ok = true;
    while (ok && (n = std::fread(buffer, 1, sizeof buffer, in)) > 0)
        ok = std::fwrite(buffer, 1, n, to) == n;
    ok = ok && !std::ferror(in);
    std::fclose(in);
    return ok;
}

mode_t creation_mode(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0) return st.st_mode & 07777;
    mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

FILE* create_temporary(const std::string& path, const std::string& name, bool append,
                       std::string& temporary) {
    size_t slash = path.rfind('/');
    std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    std::string pattern = directory + "." + base + ".XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    int fd = mkstemp(buffer.data());
    if (fd < 0) {
        output_error("FILE_create", name, errno);
        return nullptr;
    }
    temporary = buffer.data();
    fchmod(fd, creation_mode(path));
    FILE* fp = fdopen(fd, "w+b");
    if (!fp) {
        int error = errno;
        close(fd);
        unlink(temporary.c_str());
        output_error("FILE_create", name, error);
        return nullptr;
    }
    if (append && !copy_file_into(path, fp)) {
        int error = errno;
        std::fclose(fp);
        unlink(temporary.c_str());
        output_error("FILE_create", name, error);
        return nullptr;
    }
    return fp;
}

std::vector<Output>::iterator find_output(FILE* fp) {
    return std::find_if(out_state.open.begin(), out_state.open.end(),
                        [fp](const Output& o) { return o.fp == fp; });
}

// Flushes and closes; 0 or the errno of the first failure.
int close_output(const Output& o) {
    // The error of a write that failed earlier is gone; -1 stands for it.
    errno = 0;
    int error = 0;
    if (std::fflush(o.fp) != 0) error = errno ? errno : -1;
    if (std::ferror(o.fp) && !error) error = -1;
    switch (o.kind) {
        case OutKind::standard:
            std::clearerr(o.fp);
            return error;
        case OutKind::pipe: {
            // Whatever went wrong, the command did not take all of the output.
            int status = pclose(o.fp);
            if (error || status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
                error = EPIPE;
            return error;
        }
        case OutKind::temporary:
        case OutKind::device:
            if (std::fclose(o.fp) != 0 && !error) error = errno ? errno : -1;
            return error;
    }
    return error;
}

}  // namespace

FILE* FILE_create(const char* name, const char* mode, int user_typed) {
    if (!name) name = "";
    if (!mode || !mode[0]) mode = "w";
    prepare_output_process();
    Output o{nullptr, OutKind::temporary, name, "", ""};
    if (FILE_is_stdio(name)) {
        o.fp = stdout;
        o.kind = OutKind::standard;
    } else if (name[0] == '|') {
        if (!user_typed && !FILE_typed_name(name)) {
            refuse_command("FILE_create", name);
            out_state.failed = true;
            return nullptr;
        }
        std::fflush(nullptr);
        o.fp = popen(name + 1, "w");
        o.kind = OutKind::pipe;
        if (!o.fp) {
            output_error("FILE_create", name, errno);
            return nullptr;
        }
    } else {
        const bool append = name[0] == '+' || mode[0] == 'a';
        o.path = expand_user(name[0] == '+' ? name + 1 : name);
        if (o.path.empty()) {
            output_error("FILE_create", o.name, ENOENT);
            return nullptr;
        }
        FILE_make_dir(o.path.c_str(), 1);
        struct stat st;
        if (stat(o.path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
            if (!S_ISCHR(st.st_mode)) {
                output_error("FILE_create", o.name, S_ISDIR(st.st_mode) ? EISDIR : EINVAL);
                return nullptr;
            }
            // A device (/dev/null) is written directly: there is nothing to rename.
            o.fp = std::fopen(o.path.c_str(), append ? "a" : "w");
            o.kind = OutKind::device;
            if (!o.fp) {
                output_error("FILE_create", o.name, errno);
                return nullptr;
            }
        } else {
            o.fp = create_temporary(o.path, o.name, append, o.temporary);
            if (!o.fp) return nullptr;
        }
    }
    try {
        out_state.open.push_back(o);
    } catch (const std::bad_alloc&) {
        close_output(o);
        if (o.kind == OutKind::temporary) unlink(o.temporary.c_str());
        output_error("FILE_create", o.name, ENOMEM);
        return nullptr;
    }
    return o.fp;
}

int FILE_commit(FILE* fp) {
    if (!fp) return -1;
    auto it = find_output(fp);
    if (it == out_state.open.end()) {
        // Not from FILE_create: at least the write errors are not lost.
        bool bad = std::ferror(fp) != 0;
        if (std::fclose(fp) != 0 || bad) {
            out_state.failed = true;
            return -1;
        }
        return 0;
    }
    Output o = *it;
    out_state.open.erase(it);
    int error = close_output(o);
    if (!error && o.kind == OutKind::temporary && rename(o.temporary.c_str(), o.path.c_str()) != 0)
        error = errno;
    if (!error) return 0;
    if (o.kind == OutKind::temporary) unlink(o.temporary.c_str());
    if (o.kind == OutKind::pipe)
        MESS_print(MESS_WARN, "FILE_commit: Broken pipe, output not complete: %s\n",
                   o.name.c_str());
    else
        output_error("FILE_commit", o.name, error);
    out_state.failed = true;
    return -1;
}

void FILE_discard(FILE* fp) {
    if (!fp) return;
    auto it = find_output(fp);
    if (it == out_state.open.end()) {
        if (fp != stdout && fp != stderr) std::fclose(fp);
        return;
    }
    Output o = *it;
    out_state.open.erase(it);
    close_output(o);
    if (o.kind == OutKind::temporary) unlink(o.temporary.c_str());
}

int FILE_output_failed() {
    return out_state.failed ? 1 : 0;
}

void FILE_set_output_failed() {
    out_state.failed = true;
}

bool TextBudget::over_bound() {
    if (!over) MESS_print(MESS_WARN, "Table too large, read up to line %ld: %s\n", lines, name);
    over = true;
    return false;
}

bool TextBudget::read_line(FILE* file, std::string& line, size_t keep) {
    line.clear();
    int c;
    bool any = false;
    while ((c = std::fgetc(file)) != EOF) {
        if (!take(c)) return false;
        any = true;
        if (c == '\n') break;
        if (line.size() < keep) line.push_back(static_cast<char>(c));
    }
    return any;
}
