// Message levels, log file and paging; the process flag tables; process services.
#include "env/messages.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "env/dates.h"
#include "env/files.h"
#include "env/missing.h"
#include "env/resources.h"

namespace {

constexpr uint32_t kInitialLevel = 0x000FFFFF;

uint32_t mess_level = kInitialLevel;
uint32_t mess_set = 0;
int mess_out = 1;
int page = 1;
int max_lines = 22;
int lines = 0;
FILE* pfile = nullptr;
FILE* ofile = nullptr;
std::array<char, 80> filename{};

constexpr int kNumFlags = 30;
constexpr int kNumPlot = 13;
std::array<int, kNumFlags> flags = [] {
    std::array<int, kNumFlags> a{};
    a.fill(ZMT_MISSING);
    return a;
}();
std::array<int, kNumPlot> plot_it = [] {
    std::array<int, kNumPlot> a{};
    a.fill(1);
    return a;
}();

struct timeval start_time {};
float elapse = 0.0f;

bool is_std_stream(FILE* f) {
    return f == stdin || f == stdout || f == stderr;
}

void close_stream(FILE*& f) {
    if (f && !is_std_stream(f)) std::fclose(f);
    f = nullptr;
}

// The mask with every bit below its highest set bit filled in.
uint32_t fill_below(uint32_t mask) {
    if (mask == 0) return 0;
    uint32_t top = 0x80000000u;
    while (!(mask & top)) top >>= 1;
    return top | (top - 1);
}

// Mask of one level word such as "warn", "out1b" or "debugd"; 0 when it names nothing.
uint32_t level_word_mask(const char* word) {
    struct Word {
        const char* text;
        int len;
        uint32_t mask;
    };
    static constexpr std::array<Word, 9> words{{{"print", 5, MESS_PRINT},
                                                {"error", 5, MESS_ERROR},
                                                {"warn", 4, MESS_WARN},
                                                {"mess", 4, MESS_MESS},
                                                {"out1", 4, MESS_OUT1},
                                                {"out2", 4, MESS_OUT2},
                                                {"out3", 4, MESS_OUT3},
                                                {"out4", 4, MESS_OUT4},
                                                {"debug", 5, MESS_DEBUG}}};
    uint32_t mask = 0;
    for (const Word& w : words) {
        if (strnicmp(word, w.text, w.len) == 0) {
            mask = w.mask;
            break;
        }
    }
    // The sub-level letter counts from the lowest bit of the class, so the half classes
    // error and warn have only `a` and `b`.
    size_t len = std::strlen(word);
    int sub = -1;
    if (len > 0) {
        switch (std::tolower(static_cast<unsigned char>(word[len - 1]))) {
            case 'a':
                sub = 0;
                break;
            case 'b':
                sub = 1;
                break;
            case 'c':
                sub = 2;
                break;
            case 'd':
                sub = 3;
                break;
            default:
                break;
        }
    }
    if (sub >= 0 && mask != 0) mask &= 1u << (std::countr_zero(mask) + sub);
    return mask;
}

// The file name behind a "fi" item: the item from `skip` on, or empty when the item is shorter.
const char* item_name(const char* item, size_t skip) {
    return std::strlen(item) >= skip ? item + skip : "";
}

// Whether the message setting being decoded was typed by the user: only then may a
// log name open a pipe.
bool log_typed = false;

void open_log(const char* name, const char* mode, int out) {
    close_stream(pfile);
    pfile = FILE_open_user(name, mode, log_typed ? 1 : 0);
    mess_out = out;
}

// The log reopened for every message ("dfi"): a plain file or a device, never a FIFO
// (an open that would wait for a reader) nor a command.
FILE* reopen_log(const char* name) {
    struct stat st;
    if (stat(name, &st) == 0 && !S_ISREG(st.st_mode) && !S_ISCHR(st.st_mode)) return nullptr;
    return std::fopen(name, "a");
}

// Reads one line of at most `size` characters from standard input; false at end of input.
constexpr size_t MAX_INPUT_LINE = 65536;

bool read_input_line(char* line, size_t size) {
    size_t n = 0;
    int c;
    bool any = false;
    size_t consumed = 0;
    while ((c = std::getchar()) != EOF) {
        any = true;
        if (c == '\n') break;
        if (n < size) line[n++] = static_cast<char>(c);
        // An endless line (a device as input) still ends as one answer.
        if (++consumed >= MAX_INPUT_LINE) break;
    }
    line[n] = 0;
    return any;
}

int scan_line(FILE* file, char* buffer, int size) {
    if (!file || !buffer) return -1;
    if (size < 1) size = 1;
    char format[32];
    std::snprintf(format, sizeof format, "%%%d[^\n]", size);
    int result = std::fscanf(file, format, buffer);
    if (result == 0) {
        std::snprintf(format, sizeof format, "%%*c%%%d[^\n]", size);
        result = std::fscanf(file, format, buffer);
    }
    if (result < 1) buffer[0] = 0;
    return result;
}

}  // namespace

// ---------------------------------------------------------------- messages

int MESS_set(int op, uint32_t mask) {
    if (op < 5)
        ++mess_set;
    else if (op > 15 && mess_set != 0)
        return 0;
    switch (op) {
        case 0:
        case 10:
        case 20:
            mess_level = fill_below(mask);
            break;
        case 1:
        case 11:
        case 21:
            mess_level |= mask;
            break;
        case -1:
        case 9:
        case 19:
            mess_level &= ~mask;
            break;
        default:
            break;
    }
    return 0;
}

uint32_t MESS_get() {
    return mess_level;
}

int MESS_check_set() {
    return static_cast<int>(mess_set);
}

int MESS_check(uint32_t level) {
    return (mess_level & level) != 0 ? 1 : 0;
}

int MESS_set_out(int value) {
    mess_out = value;
    return 0;
}

int MESS_set_page(int value) {
    page = value;
    return 0;
}

int MESS_get_max_lines() {
    return max_lines;
}

int MESS_hold(uint32_t level, const char* text) {
    if (!MESS_check(level) || mess_out == 0 || FLAG_batch() || page == 0) return 0;
    FILE* out = ((level & MESS_ERROR) && (level & MESS_WARN)) ? stderr : stdout;
    if (text) std::fputs(text, out);
    std::fflush(out);
    std::getchar();
    lines = 0;
    return 0;
}

int MESS_file(const char* name, const char* mode) {
    close_stream(ofile);
    if (!name || !mode) return -1;
    ofile = FILE_open(name, mode);
    return ofile ? 0 : -1;
}

int MESS_file_close() {
    close_stream(ofile);
    return 0;
}

int MESS_print(uint32_t level, const char* format, ...) {
    if (!MESS_check(level) || !format) return 0;
    va_list args;
    va_start(args, format);

    if (ofile) {
        va_list copy;
        va_copy(copy, args);
        std::vfprintf(ofile, format, copy);
        va_end(copy);
        std::fflush(ofile);
    }
    if (mess_out == 2) pfile = reopen_log(filename.data());
    if (pfile) {
        if (mess_out == -1) {
            char stamp[64] = "";
            DATE_get_current_str(stamp);
            std::fprintf(pfile, "%s -- ", stamp);
        }
        va_list copy;
        va_copy(copy, args);
        std::vfprintf(pfile, format, copy);
        va_end(copy);
        std::fflush(pfile);
    }
    if (mess_out == 2) close_stream(pfile);
    if (mess_out == 0) {
        va_end(args);
        return 0;
    }
    std::vfprintf((level & (MESS_ERROR | MESS_WARN)) ? stderr : stdout, format, args);
    va_end(args);

    if (page == 2) {
        // Only the newlines of the format count, not those the arguments bring in.
        for (const char* p = format; *p; ++p)
            if (*p == '\n') ++lines;
        if (lines > max_lines) MESS_hold(level, "Press return to continue\n");
    }
    return 1;
}

int MESS_print_prog(const char* title) {
    return MESS_print(MESS_MESS, "      %s (Ver %s)\n\n", title ? title : "", ZMT_version());
}

int MESS_set_str(const char* text) {
    return MESS_set_str_user(text, 0);
}

int MESS_set_str_user(const char* text, int user_typed) {
    log_typed = user_typed != 0;
    ++mess_set;
    int count = 0;
    char** items = nullptr;
    if (parse_string(text, ',', &count, &items) < 0) return 0;
    for (int i = 0; i < count; ++i) {
        const char* item = items[i];
        if (strnicmp(item, "@fi", 3) == 0) {
            open_log(item_name(item, 4), "a", -1);
        } else if (strnicmp(item, "+fi", 3) == 0) {
            open_log(item_name(item, 4), "a", 1);
        } else if (strnicmp(item, "-fi", 3) == 0) {
            open_log(item_name(item, 4), "w", 1);
        } else if (strnicmp(item, "dfi", 3) == 0) {
            std::snprintf(filename.data(), filename.size(), "%s", item_name(item, 4));
            mess_out = 2;
        } else if (strnicmp(item, "fi", 2) == 0) {
            open_log(item_name(item, 3), "a", 0);
        } else if (stricmp(item, "nopage") == 0) {
            page = 0;
        } else if (stricmp(item, "page") == 0) {
            page = 2;
        } else if (strnicmp(item, "line", 4) == 0) {
            max_lines = std::atoi(item_name(item, 5));
            if (max_lines < 1) max_lines = 22;
        } else {
            char sign = item[0];
            const char* word = (sign == '+' || sign == '-') ? item + 1 : item;
            uint32_t mask = level_word_mask(word);
            if (sign == '+')
                mess_level |= mask;
            else if (sign == '-')
                mess_level &= ~mask;
            else
                mess_level = fill_below(mask);
        }
    }
    free_parsed_array(count, items);
    return 0;
}

void MESS_reset() {
    mess_level = kInitialLevel;
    mess_set = 0;
    mess_out = 1;
    page = 1;
    max_lines = 22;
    lines = 0;
    close_stream(pfile);
    close_stream(ofile);
    filename.fill(0);
}

// ---------------------------------------------------------------- flags

int FLAG_get(int id) {
    return (id >= 0 && id < kNumFlags) ? flags[id] : 0;
}
int FLAG_getl(int id) {
    return FLAG_get(id);
}

int FLAG_set(int id, int value) {
    if (id < 0 || id >= kNumFlags) return -1;
    flags[id] = value;
    return 0;
}
int FLAG_setl(int id, int value) {
    return FLAG_set(id, value);
}

int FLAG_reset(int value) {
    flags.fill(value);
    return 0;
}
int FLAG_resetl(int value) {
    return FLAG_reset(value);
}

int FLAG_batch() {
    return flags[19] > 0 ? 1 : 0;
}
int FLAG_help() {
    return flags[20] > 0 ? 1 : 0;
}

int FLAG_set_batch(int value) {
    flags[19] = value;
    return 0;
}

int FLAG_setplot(int index, int value) {
    if (index < 0 || index >= kNumPlot) return -1;
    plot_it[index] = value;
    if (index == 12)
        for (int i = 0; i < 12; ++i) plot_it[i] = value;
    if (index == 0)
        for (int i = 1; i <= 6; ++i) plot_it[i] = value;
    int text = 0;
    for (int i = 1; i <= 6; ++i) text += plot_it[i];
    plot_it[0] = text;
    int any = 0;
    for (int i = 0; i <= 11; ++i) any += plot_it[i];
    plot_it[12] = any;
    return 0;
}

int FLAG_getplot(int index) {
    return (index >= 0 && index < kNumPlot) ? plot_it[index] : 0;
}

int FLAG_resetplot(int value) {
    plot_it.fill(value);
    return 0;
}

// ---------------------------------------------------------------- process services

const char* ZMT_version() {
    return "5.59-LINUX-X11";
}

void ZMT_exit(int code) {
    std::fflush(nullptr);
    if (code == ZMT_EXIT_OK && FILE_output_failed()) code = ZMT_EXIT_OUTPUT;
    std::exit(code);
}

int ZMT_init_time() {
    gettimeofday(&start_time, nullptr);
    elapse = 0.0f;
    return 0;
}

float ZMT_elapse_time() {
    struct timeval now {};
    gettimeofday(&now, nullptr);
    if (now.tv_usec == 0) return elapse;
    long sec = now.tv_sec - start_time.tv_sec;
    long usec = now.tv_usec - start_time.tv_usec;
    if (usec < 0) {
        --sec;
        usec += 1000000;
    }
    return static_cast<float>(sec) + static_cast<float>(usec) / 1000000.0f;
}

int ZMT_sleep(float seconds) {
    if (!(seconds > 0.0f)) return -1;
    elapse += seconds;
    long long usec = static_cast<long long>(seconds * 1000000.0 + 0.5);
    struct timespec ts {};
    ts.tv_sec = static_cast<time_t>(usec / 1000000);
    ts.tv_nsec = static_cast<long>((usec % 1000000) * 1000);
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
    return 0;
}

int ZMT_set_command(const char* line) {
    if (!line) return 0;
    if (strnicmp(line, "set", 3) == 0) {
        char name[256] = "";
        int pos = -1;
        int got = std::sscanf(line, "%*s %255[^= ]%*[= ]%n", name, &pos);
        if (got >= 1 && name[0]) {
            RES_put(name, pos >= 0 ? line + pos : "");
        } else {
            MESS_print(MESS_MESS_D, "Set resources\n");
            RES_list();
            MESS_print(MESS_MESS_D, "\n");
        }
        return 1;
    }
    if (strnicmp(line, "exit", 4) == 0) ZMT_exit(0);
    return 0;
}

float ZMT_promptf(const char* prompt) {
    char line[81];
    float value = 0.0f;
    for (;;) {
        MESS_print(15, "%s", prompt ? prompt : "");
        std::fflush(stdout);
        if (!read_input_line(line, 80)) return 0.0f;
        wstrim_string(line);
        value = 0.0f;
        std::sscanf(line, "%f", &value);
        if (!ZMT_set_command(line)) return value;
    }
}

char* ZMT_prompts(const char* prompt, char* buffer, int size) {
    if (size < 1) size = 1;
    if (!buffer) {
        buffer = static_cast<char*>(std::malloc(static_cast<size_t>(size) + 1));
        if (!buffer) return nullptr;
    }
    buffer[0] = 0;
    char format[32];
    std::snprintf(format, sizeof format, "%%%ds", size - 1 < 1 ? 1 : size - 1);
    char line[81];
    for (;;) {
        MESS_print(15, "%s", prompt ? prompt : "");
        std::fflush(stdout);
        if (!read_input_line(line, 80)) {
            buffer[0] = 0;
            break;
        }
        wstrim_string(line);
        buffer[0] = 0;
        int got = std::sscanf(line, format, buffer);
        if (got == EOF) {
            buffer[0] = 0;
            break;
        }
        if (ZMT_set_command(line)) continue;
        if (got >= 1) break;
    }
    return buffer;
}

int ZMT_back_proc() {
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid != 0) ZMT_exit(0);
    std::signal(SIGINT, SIG_DFL);
    close(0);
    close(1);
    close(2);
    int fd = open("/dev/null", O_RDWR);
    if (fd < 0) return 0;
    if (dup(fd) < 0 || dup(fd) < 0) return 0;
    setpgid(0, 0);
    return 1;
}

// ---------------------------------------------------------------- text

int parse_string(const char* text, char delimiter, int* count, char*** array) {
    if (count) *count = 0;
    if (array) *array = nullptr;
    if (!text || !text[0] || !count || !array) return -1;
    size_t len = std::strlen(text);
    char* buffer = static_cast<char*>(std::malloc(len + 1));
    if (!buffer) return -1;
    std::memcpy(buffer, text, len + 1);
    while (len > 0 && buffer[len - 1] == delimiter) buffer[--len] = 0;
    int pieces = 1;
    for (size_t i = 0; i < len; ++i)
        if (buffer[i] == delimiter) ++pieces;
    char** list = static_cast<char**>(std::malloc(sizeof(char*) * static_cast<size_t>(pieces)));
    if (!list) {
        std::free(buffer);
        return -1;
    }
    int n = 0;
    list[n++] = buffer;
    for (size_t i = 0; i < len; ++i) {
        if (buffer[i] == delimiter) {
            buffer[i] = 0;
            list[n++] = buffer + i + 1;
        }
    }
    *count = pieces;
    *array = list;
    return 0;
}

void free_parsed_array(int count, char** array) {
    if (count == 0 || !array) return;
    std::free(array[0]);
    std::free(array);
}

int stricmp(const char* a, const char* b) {
    if (!a || !b) return 1;
    for (;; ++a, ++b) {
        int ca = std::tolower(static_cast<unsigned char>(*a));
        int cb = std::tolower(static_cast<unsigned char>(*b));
        if (ca != cb) return ca - cb;
        if (ca == 0) return 0;
    }
}

int strnicmp(const char* a, const char* b, int n) {
    if (!a || !b) return 1;
    if (n < 1) n = 1;
    for (int i = 0; i < n; ++i) {
        int ca = std::tolower(static_cast<unsigned char>(a[i]));
        int cb = std::tolower(static_cast<unsigned char>(b[i]));
        if (ca != cb) return ca - cb;
        if (ca == 0) return 0;
    }
    return 0;
}

int low_string(char* text) {
    if (!text || !text[0]) return 0;
    for (char* p = text; *p; ++p)
        if (*p >= 'A' && *p <= 'Z') *p = static_cast<char>(*p - 'A' + 'a');
    return 1;
}

int trim_cr_string(char* text) {
    if (!text) return 0;
    size_t len = std::strlen(text);
    while (len > 0 && text[len - 1] == '\r') text[--len] = 0;
    return 1;
}

int trim_string(char* text) {
    if (!text) return 0;
    size_t len = std::strlen(text);
    while (len > 0 && text[len - 1] == ' ') text[--len] = 0;
    return 1;
}

int wstrim_string(char* text) {
    if (!text) return 0;
    char* out = text;
    for (const char* p = text; *p; ++p)
        if (*p != '\n' && *p != '\r') *out++ = *p;
    *out = 0;
    return 1;
}

int fill_string(char* text, char from, char to) {
    if (!text) return 0;
    for (char* p = text; *p; ++p)
        if (*p == from) *p = to;
    return 1;
}

int clean_line(char* text) {
    if (!text || !text[0]) return 0;
    size_t len = std::strlen(text);
    while (len > 0 && static_cast<unsigned char>(text[len - 1]) < 32) text[--len] = 0;
    for (size_t i = 0; i < len; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 32 || c >= 128) text[i] = ' ';
    }
    return 1;
}

char* set_num(char* out, const char* format, float value) {
    if (!out) return out;
    int width = 0, digits = 0, least = 0;
    if (format) std::sscanf(format, "%d.%d.%d", &width, &digits, &least);
    int exponent;
    if (std::fabs(static_cast<double>(value)) < 0.00001) {
        value = 0.0f;
        exponent = 2;
    } else if (!std::isfinite(value)) {
        // No digits to count; printf writes "inf" or "nan" at any precision.
        exponent = 0;
    } else {
        exponent = static_cast<int>(std::floor(std::log10(std::fabs(static_cast<double>(value)))));
    }
    // In 64 bits: a format such as "0.2147483647.0" must not overflow the sums.
    long long wide = width < 1 ? static_cast<long long>(digits) + 1 : width;
    if (wide > 9) wide = 9;
    long long decimals = static_cast<long long>(digits) - 1 - exponent;
    if (decimals < least) decimals = least;
    // A negative or absurd precision would make the printf format invalid or overlong.
    if (decimals < 0) decimals = 0;
    if (decimals > 40) decimals = 40;
    if (wide < decimals) wide = decimals;
    char fmt[32];
    std::snprintf(fmt, sizeof fmt, "%%%d.%df", static_cast<int>(wide), static_cast<int>(decimals));
    std::sprintf(out, fmt, static_cast<double>(value));
    return out;
}

// ---------------------------------------------------------------- line readers

int fgetstring(FILE* file, char* buffer, int size) {
    return scan_line(file, buffer, size);
}

int fgetnline(FILE* file, char* buffer, int size) {
    int result = scan_line(file, buffer, size);
    if (result < 0) return -1;
    return static_cast<int>(std::strlen(buffer));
}

int fgetline(FILE* file, char* buffer) {
    return fgetnline(file, buffer, 160);
}

int fskipline(FILE* file) {
    if (!file) return -1;
    int c;
    while ((c = std::fgetc(file)) != EOF && c != '\n') {
    }
    return c == EOF ? -1 : 0;
}
