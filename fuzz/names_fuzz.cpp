// libFuzzer target for name conventions, file name parsing, dates and the text
// helpers. Input: five fields ended by NUL bytes, then the rest:
//   field 1  the tag given to FILE_set_name (with key assignments such as ":s=east")
//   field 2  the hour pins (-ho), also read as a time zone
//   field 3  num_hour (-nh), unset when empty
//   field 4  a date label, whose date the template is expanded for
//   field 5  names, one a line: file names, current-file expressions, and texts for
//           parse_string, clean_line and set_num
//   rest    the name convention file "name_conv" on the file path
#include <stdlib.h>
#include <unistd.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "env/dates.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("names_fuzz");
    fuzz_quiet_stdio(true);
    // A fixed "now" makes every current-file expression give the same name.
    setenv("zmtcurtime", "200301151200", 1);
    return true;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(pos, end - pos));
        pos = end + 1;
    }
    return lines;
}

// "la#n" searches n steps back, one file test each: a count of millions is a
// request for a long wait, not a parser input.
bool long_search(const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != 'l' && text[i] != 'L') continue;
        size_t k = i + 1;
        if (k < text.size() && (text[k] == 'a' || text[k] == 'A')) ++k;
        if (k >= text.size() || text[k] != '#') continue;
        long long n = 0;
        for (++k; k < text.size() && std::isdigit(static_cast<unsigned char>(text[k])); ++k)
            if (n < 1000000) n = n * 10 + (text[k] - '0');
        if (n > 1000) return true;
    }
    return false;
}

bool is_exit(const std::string& name) {
    // FILE_set_file cuts a "#date" tail before it compares.
    size_t mark = name.size() > 1 ? name.find('#', 1) : std::string::npos;
    return stricmp(name.substr(0, mark).c_str(), "exit") == 0;
}

void check_name(const char* out) {
    if (std::memchr(out, '\0', FILE_NAME_SIZE) == nullptr) std::abort();
}

void text_helpers(const std::string& line) {
    for (char delimiter : {',', ':', '/', line.empty() ? ' ' : line[0]}) {
        int count = 0;
        char** items = nullptr;
        int result = parse_string(line.c_str(), delimiter, &count, &items);
        if (line.empty()) {
            if (result != -1 || count != 0 || items) std::abort();
            continue;
        }
        if (result != 0 || count < 1) std::abort();
        // The pieces joined again give the text less its trailing delimiters.
        std::string joined = items[0];
        for (int k = 1; k < count; ++k) joined += std::string(1, delimiter) + items[k];
        std::string expected = line;
        while (!expected.empty() && expected.back() == delimiter) expected.pop_back();
        if (joined != expected) std::abort();
        free_parsed_array(count, items);
    }
    std::vector<char> copy(line.begin(), line.end());
    copy.push_back('\0');
    clean_line(copy.data());
    for (const char* p = copy.data(); *p; ++p)
        if (static_cast<unsigned char>(*p) < 32 || static_cast<unsigned char>(*p) >= 128)
            std::abort();
    char number[128];
    for (float value : {0.0f, 1.5e-7f, -12.345f, 98765.4f, 3.4e38f, -3.4e38f, INFINITY, NAN})
        set_num(number, line.c_str(), value);
    (void)DATE_decode_month(line.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    const std::string input(reinterpret_cast<const char*>(bytes), size);
    size_t pos = 0;
    std::string tag, hour, num_hour, label, names;
    if (!fuzz_next_part(input, pos, tag) || !fuzz_next_part(input, pos, hour) ||
        !fuzz_next_part(input, pos, num_hour) || !fuzz_next_part(input, pos, label) ||
        !fuzz_next_part(input, pos, names))
        return 0;
    const std::vector<std::string> name_lines = lines_of(names);
    for (const std::string& n : name_lines)
        if (long_search(n) || is_exit(n)) return 0;
    fuzz_write_file((dir + "/name_conv").c_str(), bytes + pos, size - pos);

    RES_reset();
    fuzz_messages_to_null();
    FILE_reset();
    DATE_reset();
    RES_put("file_path", dir.c_str());
    RES_put("sat_path", "sat");
    if (!num_hour.empty()) RES_put("num_hour", num_hour.c_str());

    FILE_set_name(tag.c_str());
    if (!hour.empty()) {
        RES_conv_data(hour.c_str(), nullptr, RES_HOUR);
        DATE_set_TZ(hour.c_str());
    }

    Date date;
    DATE_decode_label(label.c_str(), &date);
    if (date.month < 0 || date.month > 12) std::abort();
    char text[64];
    DATE_make_label(&date, text);
    DATE_make_label_valid_time(date.hour, &date, text);
    DATE_fhour_label(text, date.day, date.minute & 1);
    char seq[13];
    Date copy = date;
    DATE_make_seq(&copy, seq);
    copy = date;
    const int seconds = DATE_num_sec(&copy);
    Date broken;
    DATE_get_gmdate(&seconds, &broken);

    char out[FILE_NAME_SIZE];
    FILE_set_date(&date, out);
    check_name(out);
    FILE_set_date(nullptr, out);
    check_name(out);
    FILE_set_date_off(&date, seconds % 100000, out);
    check_name(out);

    for (const std::string& n : name_lines) {
        FILE_set_file(n.c_str(), out);
        check_name(out);
        FILE_set_current(n.c_str(), out);
        check_name(out);
        text_helpers(n);
    }

    std::string files;
    for (const std::string& n : name_lines) files += (files.empty() ? "" : "\n") + n;
    if (!files.empty()) RES_new(ZMT_MISSING, "filename", files.c_str(), RES_LIST);
    FILE_first(&date);
    for (int k = 0; k < 64 && FILE_get_next(out); ++k) check_name(out);
    (void)FILE_get_num_file();
    RES_reset();
    FILE_reset();
    return 0;
}
