// Raw point files: open, head, point by point reading through the pattern scanner.
#include "overlays/raw.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "env/scan.h"
#include "env/tables.h"

namespace {

constexpr int TYPE_HEAD = 1;
constexpr int TYPE_NO_HEAD = 99;
constexpr int MODE_READ = 0;
constexpr int MODE_WRITE = 1;
constexpr int MODE_APPEND = 2;
// Position layouts of a data line.
constexpr int POS_NONE = 1;
constexpr int POS_ONE = 2;
constexpr int POS_TWO = 3;

struct RawField {
    char name[RAW_NAME_SIZE];
    char info[RAW_INFO_SIZE];
    char format[RAW_FIELD_FORMAT_SIZE];
};

struct RawFile {
    FILE* stream = nullptr;
    bool standard = false;  // standard input or output: never rewound or closed
    int type = 0;           // 1 with head, 2, 99 no head
    int mode = MODE_READ;
    int line = 0;        // data line last read, 0 before the first
    int inline_pos = 0;  // 0 at a line start, otherwise the column of the next value
    int field = 0;       // field of the next value
    int num_fields = 0;
    int pos_type = POS_NONE;
    std::vector<RawField> fields;
    std::vector<int> columns;  // column of each value of the current line
    long line_start = -1;      // stream position of the current line, -1 unknown
    char buffer[RAW_LINE_MAX + 1] = "";
    ScanCtx ctx{};
    // Identifier and position of the current line, for the values that follow.
    char id[RAW_TEXT_SIZE] = "";
    int num_id = ZMT_MISSING;
    float lat = ZMT_FMISSING;
    float lon = ZMT_FMISSING;
};

std::array<std::unique_ptr<RawFile>, RAW_MAX_FILES> files;

RawFile* get(int handle) {
    if (handle < 0 || handle >= RAW_MAX_FILES) return nullptr;
    return files[handle].get();
}

// Copies what fits, always terminated.
void copy_text(char* out, size_t size, const char* text) {
    if (size == 0) return;
    size_t n = text ? strnlen(text, size - 1) : 0;
    std::memcpy(out, text ? text : "", n);
    out[n] = '\0';
}

// One line of at most RAW_LINE_MAX characters, the rest of a longer one dropped,
// a trailing carriage return removed. False at the end of the file.
bool read_line(FILE* stream, char* out) {
    int c, n = 0;
    bool any = false;
    while ((c = std::fgetc(stream)) != EOF) {
        any = true;
        if (c == '\n') break;
        if (n < RAW_LINE_MAX) out[n++] = static_cast<char>(c);
    }
    out[n] = '\0';
    if (n > 0 && out[n - 1] == '\r') out[n - 1] = '\0';
    return any;
}

bool skip_line(FILE* stream) {
    int c;
    bool any = false;
    while ((c = std::fgetc(stream)) != EOF) {
        any = true;
        if (c == '\n') break;
    }
    return any;
}

bool is_white(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// "name", "name:info" or "name:info:format"; underscores of the info read as blanks.
void add_field(RawFile* f, const std::string& token) {
    if (static_cast<int>(f->fields.size()) >= RAW_MAX_FIELDS) return;
    RawField field{};
    size_t first = token.find(':');
    copy_text(field.name, sizeof field.name, token.substr(0, first).c_str());
    if (first != std::string::npos) {
        size_t second = token.find(':', first + 1);
        std::string info = token.substr(
            first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
        for (char& c : info)
            if (c == '_') c = ' ';
        copy_text(field.info, sizeof field.info, info.c_str());
        if (second != std::string::npos)
            copy_text(field.format, sizeof field.format, token.substr(second + 1).c_str());
    }
    f->fields.push_back(field);
}

// Tokens up to and through "$", over as many lines as it takes and whatever their
// length; the rest of the "$" line is passed over.
void read_field_list(RawFile* f, bool keep) {
    std::string token;
    int c = 0;
    while (c != EOF) {
        token.clear();
        while ((c = std::fgetc(f->stream)) != EOF && is_white(static_cast<char>(c))) {
        }
        while (c != EOF && !is_white(static_cast<char>(c))) {
            if (token.size() < RAW_LINE_MAX) token += static_cast<char>(c);
            c = std::fgetc(f->stream);
        }
        if (token == "$") {
            if (c != '\n') skip_line(f->stream);
            return;
        }
        if (keep && !token.empty()) add_field(f, token);
    }
}

int position_type(const RawFile* f) {
    if (f->num_fields < 2) return POS_NONE;
    const char* second = f->fields[1].name;
    if (f->num_fields > 3 && (!std::strcmp(second, "lat") || !std::strcmp(second, "x")))
        return POS_TWO;
    if (f->num_fields > 2 && (!std::strcmp(second, "p") || !std::strcmp(second, "pres")))
        return POS_ONE;
    return POS_NONE;
}

// Back to the first data line: past the head of a file that has one.
void to_first_line(RawFile* f) {
    f->line = 0;
    f->inline_pos = 0;
    f->line_start = -1;
    if (f->standard) return;
    std::rewind(f->stream);
    if (f->type == TYPE_NO_HEAD) return;
    char info[RAW_LINE_MAX + 1] = "";
    skip_line(f->stream);
    skip_line(f->stream);
    read_line(f->stream, info);
    if (info[0] == '!') read_field_list(f, false);
}

// Moves to the data line before `wanted` (or stays for a read on); false if the file
// ends first.
bool seek_line(RawFile* f, int wanted) {
    if (wanted < 0 || f->standard) return true;
    if (wanted == f->line && f->line_start >= 0) {
        std::fseek(f->stream, f->line_start, SEEK_SET);
        f->line--;
        return true;
    }
    if (wanted == 0 || wanted < f->line) to_first_line(f);
    while (f->line + 1 < wanted) {
        if (!skip_line(f->stream)) return false;
        f->line++;
    }
    return true;
}

// Moves the context by what the last call read, unless it read nothing at all.
void advance(ScanCtx* ctx, int result) {
    if (result >= 0) scanp_inc(ctx);
}

// The identifier and position at the start of a new line.
void read_line_start(RawFile* f, RawData* data) {
    ScanCtx* c = &f->ctx;
    scanp_set(c, f->buffer);
    advance(c, scanp(c, " "));
    char id[RAW_TEXT_SIZE] = "";
    advance(c, scanp(c, "%<79s ", id));
    copy_text(f->id, sizeof f->id, id);
    f->num_id = ZMT_MISSING;
    int number = 99999;
    if (std::strlen(id) > 4) {
        id_to_wmo(id, &number);
        if (number != 99999) f->num_id = number;
    }
    f->lat = f->lon = ZMT_FMISSING;
    if (f->num_fields == 0 || f->pos_type == POS_TWO) {
        int at = 0;
        int result = scanp(c, "%!-!f %n%!-!f ", &f->lat, &at, &f->lon);
        if (result >= 3) {
            advance(c, result);
        } else {
            if (f->pos_type == POS_TWO) advance(c, scanp(c, "%*s %*s "));
            f->lat = f->lon = ZMT_FMISSING;
        }
    } else if (f->pos_type == POS_ONE) {
        int result = scanp(c, "%f ", &f->lat);
        if (result >= 1) {
            advance(c, result);
        } else {
            advance(c, scanp(c, "%*s "));
            f->lat = ZMT_FMISSING;
        }
    }
    f->field = f->num_fields == 0 ? POS_TWO : f->pos_type;
    f->columns.clear();
    RAW_data_init(data);
}

void fill_line_start(const RawFile* f, RawData* data) {
    copy_text(data->id, sizeof data->id, f->id);
    data->num_id = f->num_id;
    data->lat = f->lat;
    data->lon = f->lon;
}

// Every value in turn: 1 while more wait on the line, 0 after the last.
int read_next_value(int handle, RawFile* f, RawData* data) {
    ScanCtx* c = &f->ctx;
    char token[RAW_TEXT_SIZE] = "";
    int column = c->offset;
    int result = scanp(c, "%<79s ", token);
    if (result < 1) {
        f->inline_pos = 0;
        return 0;
    }
    scanp_inc(c);
    f->columns.push_back(column);
    RAW_dec_line(handle, f->field++, data, token);
    if (c->offset < c->length) {
        f->inline_pos = c->offset;
        return 1;
    }
    f->inline_pos = 0;
    return 0;
}

// The value number `index` (from 0) of the line; nothing if the line is shorter.
void read_value_at(int handle, RawFile* f, RawData* data, int index) {
    ScanCtx* c = &f->ctx;
    char token[RAW_TEXT_SIZE];
    for (int k = 0; k <= index; k++) {
        int result = scanp(c, "%<79s ", token);
        if (result < 1) return;
        scanp_inc(c);
        if (k == index) RAW_dec_line(handle, f->field + k, data, token);
    }
}

// A value written as name=value anywhere on the line.
void read_value_named(int handle, RawFile* f, RawData* data, const char* name) {
    ScanCtx* c = &f->ctx;
    char token[RAW_TEXT_SIZE];
    std::string key = name;
    key += '=';
    for (int k = 0;; k++) {
        int result = scanp(c, "%<79s ", token);
        if (result < 1) return;
        scanp_inc(c);
        if (std::strncmp(token, key.c_str(), key.size()) == 0) {
            RAW_dec_line(handle, f->field + k, data, token);
            return;
        }
    }
}

int field_by_name(const RawFile* f, const char* name) {
    for (int i = 0; i < static_cast<int>(f->fields.size()); i++) {
        const char* field = f->fields[i].name;
        if (!std::strcmp(field, name) || (field[0] == '-' && !std::strcmp(field + 1, name)))
            return i;
    }
    return -1;
}

int count_open() {
    int n = 0;
    for (const auto& f : files) n += f != nullptr;
    return n;
}

}  // namespace

int RAW_data_init(RawData* data) {
    if (!data) return -1;
    data->id[0] = '\0';
    data->num_id = ZMT_MISSING;
    data->lat = data->lon = data->value = data->value2 = ZMT_FMISSING;
    data->text[0] = '\0';
    data->format[0] = '\0';
    ATTRIB_init(&data->attrib);
    return 0;
}

int RAW_chktype(const char* name) {
    if (!name) return -1;
    FILE* file = std::fopen(name, "r");
    if (!file) return -1;
    int first = std::fgetc(file);
    std::fclose(file);
    return first == 'W' ? TYPE_HEAD : TYPE_NO_HEAD;
}

int RAW_open(const char* name, int mode, int* type) {
    if (count_open() >= RAW_MAX_FILES) return -1;
    if (mode < MODE_READ || mode > MODE_APPEND) return -1;
    auto f = std::make_unique<RawFile>();
    f->mode = mode;
    int wanted = type ? *type : 0;
    if (!name || !*name || !std::strcmp(name, "-") || !std::strcmp(name, "std") ||
        !std::strcmp(name, "stdn")) {
        f->standard = true;
        f->stream = mode == MODE_READ ? stdin : stdout;
        f->type = name && !std::strcmp(name, "stdn") ? TYPE_NO_HEAD : TYPE_HEAD;
    } else {
        if (mode == MODE_APPEND) {
            wanted = RAW_chktype(name);
            if (wanted < 1 || wanted > 3) return -1;
        } else if (wanted == 0) {
            if (mode != MODE_READ) return -1;
            wanted = RAW_chktype(name);
            if (wanted < 0) return -1;
        }
        const char* how[] = {"r", "w", "a"};
        f->stream = std::fopen(name, how[mode]);
        if (!f->stream) return -1;
        f->type = wanted;
    }
    if (type) *type = f->type;
    for (int h = 0; h < RAW_MAX_FILES; h++) {
        if (!files[h]) {
            files[h] = std::move(f);
            return h;
        }
    }
    return -1;
}

int RAW_file_open(const char* request, RawVar* var, char* format, int mode) {
    if (var) *var = RawVar{};
    if (format) format[0] = '\0';
    std::string text = request ? request : "";
    size_t cut = text.size() > 2 ? text.find_first_of("-:", 2) : std::string::npos;
    std::string name = text.substr(0, cut);
    if (cut != std::string::npos) {
        std::string rest = text.substr(cut + 1);
        std::string tail;
        if (text[cut] == '-') {
            size_t colon = rest.find(':');
            if (colon != std::string::npos) tail = rest.substr(colon + 1), rest.resize(colon);
            char* end = nullptr;
            long n = std::strtol(rest.c_str(), &end, 10);
            if (var && !rest.empty() && *end == '\0')
                var->number = n == RAW_VAR_NONE ? RAW_VAR_NONE : static_cast<int>(n) + RAW_VAR_BASE;
            else if (var)
                copy_text(var->name, sizeof var->name, rest.c_str());
        } else {
            tail = rest;
        }
        if (format) copy_text(format, RAW_FORMAT_SIZE, tail.c_str());
    }
    std::string path(name.size() + FILE_NAME_SIZE * 4, '\0');
    const char* dir = RES_get("raw_path");
    if (dir && std::strlen(dir) >= FILE_NAME_SIZE * 3) dir = nullptr;
    FILE_add_path(dir, name.c_str(), path.data());
    int type = 0;
    int handle = RAW_open(path.c_str(), mode, &type);
    if (handle < 0) MESS_print(MESS_WARN, "RAW_file_open: Unable to open file:%s\n", path.c_str());
    return handle;
}

int RAW_getinfo(int handle, RawInfo* info) {
    RawFile* f = get(handle);
    if (!f) return -1;
    if (f->mode != MODE_READ) return 0;
    if (f->type != TYPE_HEAD && f->type != 2) return -1;
    if (!f->standard) std::rewind(f->stream);
    char label[RAW_LINE_MAX + 1] = "", text[RAW_LINE_MAX + 1] = "";
    skip_line(f->stream);
    read_line(f->stream, label);
    read_line(f->stream, text);
    f->fields.clear();
    bool has_list = text[0] == '!';
    if (has_list) read_field_list(f, true);
    f->num_fields = static_cast<int>(f->fields.size());
    f->pos_type = position_type(f);
    f->line = 0;
    f->inline_pos = 0;
    f->line_start = -1;
    if (info) {
        copy_text(info->label, sizeof info->label, label);
        DATE_decode_label(label, &info->date);
        copy_text(info->info, sizeof info->info, has_list ? text + 1 : text);
    }
    return 0;
}

int RAW_rewind(int handle) {
    RawFile* f = get(handle);
    if (!f) return -1;
    if (f->type != TYPE_HEAD && f->type != 2) return -1;
    to_first_line(f);
    return 0;
}

int RAW_close(int handle) {
    RawFile* f = get(handle);
    if (!f) return 0;
    if (f->type != TYPE_HEAD && f->type != 2) return -1;
    if (f->mode == MODE_WRITE) std::fputc('\n', f->stream);
    if (!f->standard) std::fclose(f->stream);
    files[handle].reset();
    return 0;
}

void RAW_reset() {
    for (auto& f : files) {
        if (f && !f->standard) std::fclose(f->stream);
        f.reset();
    }
}

int RAW_read(int handle, RawData* data, const RawVar* var, int* line) {
    RawFile* f = get(handle);
    if (!f) return 0;
    if (f->type != TYPE_HEAD && f->type != 2 && f->type != TYPE_NO_HEAD) return -1;
    if (f->mode != MODE_READ || !data) return -1;
    const RawVar all;
    if (!var) var = &all;
    int wanted = line ? *line : -1;
    bool carry_on = f->inline_pos != 0 && (wanted < 0 || wanted == f->line);
    if (!carry_on) {
        if (!seek_line(f, wanted)) return -1;
        long start = f->standard ? -1 : std::ftell(f->stream);
        if (!read_line(f->stream, f->buffer) || f->buffer[0] == '\0') return -1;
        f->line_start = start;
        f->line++;
        read_line_start(f, data);
        f->inline_pos = 0;
    } else {
        RAW_data_init(data);
    }
    if (line) *line = f->line;
    fill_line_start(f, data);

    if (!var->name[0] && var->number == RAW_VAR_ALL) return read_next_value(handle, f, data);
    if (!var->name[0]) {
        if (var->number < RAW_VAR_LIMIT && var->number >= RAW_VAR_BASE)
            read_value_at(handle, f, data, var->number - RAW_VAR_BASE);
        return 0;
    }
    if (!std::strcmp(var->name, "id")) {
        RAW_dec_line(handle, 0, data, f->id);
        return 0;
    }
    int field = field_by_name(f, var->name);
    if (field >= f->field)
        read_value_at(handle, f, data, field - f->field);
    else if (field < 0)
        read_value_named(handle, f, data, var->name);
    return 0;
}

int RAW_dec_line(int handle, int field, RawData* data, const char* text) {
    if (!data || !text) return -1;
    const RawFile* f = get(handle);
    std::string format;
    if (f && field >= 0 && field < static_cast<int>(f->fields.size()))
        format = f->fields[field].format;
    std::string token = text;
    size_t colon = token.find(':');
    if (colon != std::string::npos) {
        format += ':';
        format.append(token, colon + 1);
        token.resize(colon);
    }
    copy_text(data->format, sizeof data->format, format.c_str());
    size_t equals = token.find('=');
    if (equals != std::string::npos) token.erase(0, equals + 1);
    data->value = data->value2 = ZMT_FMISSING;
    data->text[0] = '\0';
    if (token == "-") return 0;
    copy_text(data->text, sizeof data->text, token.c_str());
    char first = token.empty() ? '\0' : token[0];
    if (!(first >= '0' && first <= '9') && first != '-' && first != '.') return 0;
    ScanCtx ctx;
    scanp_set(&ctx, data->text);
    return scanp(&ctx, "%f,%f", &data->value, &data->value2);
}

int RAW_get_field_ind(int handle, const RawVar* var) {
    if (!var) return -1;
    if (!var->name[0]) {
        if (var->number == RAW_VAR_NONE) return -1;
        if (var->number < RAW_VAR_LIMIT) return var->number - 7;
    }
    const RawFile* f = get(handle);
    if (!f) return -1;
    return field_by_name(f, var->name);
}

const char* RAW_get_field_info(int handle, const RawVar* var) {
    const RawFile* f = get(handle);
    int field = RAW_get_field_ind(handle, var);
    if (!f || field < 0 || field >= static_cast<int>(f->fields.size())) return nullptr;
    return f->fields[field].info;
}

int RAW_get_num_fields(int handle) {
    const RawFile* f = get(handle);
    return f ? f->num_fields : 0;
}

const char* RAW_get_field_name(int handle, int field) {
    const RawFile* f = get(handle);
    if (!f || field < 0 || field >= static_cast<int>(f->fields.size())) return nullptr;
    return f->fields[field].name;
}
