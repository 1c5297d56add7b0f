// The resource database: the option table, the five sources of values, conversion of
// values to data, and the help screen.
#include "env/resources.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "env/dates.h"
#include "env/defaults.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "plot/queue.h"

namespace {

// One entry of the library's option catalogue. A `key` of nullptr means the option is
// positional, at `position`.
struct OptDef {
    int id;
    const char* name;
    const char* env;
    const char* key;
    int position;
    int type;
    const char* label;
    const char* text;
    const char* more;  // a second help line, or nullptr
    bool domain;       // prints the domain help block
};

constexpr OptDef kOptions[] = {
    {57, "help", "zmthelp", "h", 0, RES_HELP, "-h", "Print this help", nullptr, false},
    {3, "batch", "zmtbatch", "ba", 0, RES_BATCH, "-ba", "Run program in batch mode", nullptr,
     false},
    {73, "message", "zmtmess", "me", 0, RES_MESSAGE, "-me level", "Message level to be displayed:",
     "none,print,error,warn,mess,out1,*out2,out3,out4,debug", false},
    {48, "file_path", "zmtfile", "fp", 0, RES_PATH, "-fp path", "File path", nullptr, false},
    {41, "data_path", "zmtdata", "dp", 0, RES_PATH, "-dp path", "Raw data path", nullptr, false},
    {39, "con_path", "zmtcon", "cp", 0, RES_PATH, "-cp path", "Converted data path", nullptr,
     false},
    {55, "grid_path", "zmtgrid", "gp", 0, RES_PATH, "-gp path", "Gridded data path", nullptr,
     false},
    {94, "raw_path", "zmtraw", "rp", 0, RES_PATH, "-rp path", "Raw files path", nullptr, false},
    {63, "image_path", "zmtimage", "ip", 0, RES_STRING, "-ip path", "Image file path", nullptr,
     false},
    {106, "watch_path", "zmtwatch", "wp", 0, RES_PATH, "-wp path", "Watch file data path", nullptr,
     false},
    {112, "text_path", "zmttext", "tp", 0, RES_PATH, "-tp path", "Text file path", nullptr, false},
    {113, "model_path", "zmtmpath", "mp", 0, RES_PATH, "-mp path", "Model file path", nullptr,
     false},
    {114, "sat_path", "zmtsat", "sp", 0, RES_PATH, "-sp path", "Satellite file path", nullptr,
     false},
    {6, "city_file", "zmtcity", "cf", 0, RES_STRING, "-cf file", "City database file name", nullptr,
     false},
    {72, "map_file", "zmtmap", "mf", 0, RES_STRING, "-mf file[,file]", "Map database files",
     nullptr, false},
    {111, "input", "zmtin", "inp", 0, RES_STRING, "-in type", "Type of input", nullptr, false},
    {82, "output", "zmtout", "ou", 0, RES_STRING, "-ou type", "Type of output", nullptr, false},
    {76, "name_conv", "zmtnameconv", "nc", 0, RES_NAMECONV, "-nc type",
     "Naming convention file name", nullptr, false},
    {64, "in_file", "zmtinfile", "if", 0, RES_STRING, "-if type", "Input data file type", nullptr,
     false},
    {80, "out_file", "zmtoutfile", "of", 0, RES_STRING, "-of type", "Output file type", nullptr,
     false},
    {47, "file_param", "zmtfileparam", "pf", 0, RES_FILEPARAM, "-pf param",
     "File parameters: use,calc,over,app", nullptr, false},
    {40, "current", "zmtcurrent", "cu", 0, RES_CURRENT, "-cu [hour]", "Use current data file",
     nullptr, false},
    {58, "hour", "zmthour", "ho", 0, RES_HOUR, "-ho hour", "Actual hour of the file", nullptr,
     false},
    {78, "num_hour", "zmtnumhour", "nh", 0, RES_STRING, "-nh hour[,step]",
     "Number of hours to view", nullptr, false},
    {84, "plot_domain", "zmtdomain", "pd", 0, RES_DOMAIN,
     "-pd region or [proj],clat,clon[,nx,ny][,dx,dy]", "Output plot domain", nullptr, true},
    {110, "grid_domain", "zmtgrddomain", "gd", 0, RES_DOMAIN,
     "-gd region or [proj],clat,clon[,nx,ny][,dx,dy]", "Grid domain", nullptr, true},
    {96, "region", "zmtregion", "re", 0, RES_REGION,
     "-re region or [proj],clat,clon[,nx,ny][,dx,dy]",
     "Region to be used for plotting and gridding", "us,ne,at,se,mw,sp,nw,sw,var", true},
    {98, "stat_prior", "zmtprior", "pr", 0, RES_INTEGER, "-pr prior",
     "Priority of stations used in the plot", nullptr, false},
    {89, "plot_type", "zmtplot", "pl", 0, RES_PLOTTYPE, "-pl type",
     "Plot type: cf,lcf,ln,dln,ndln,value,none", nullptr, false},
    {88, "plot_scale", "zmtscale", "sc", 0, RES_FLOAT, "-sc scale",
     "Text and wind vector scale factor", nullptr, false},
    {85, "plot_format", "zmtformat", "fm", 0, RES_STRING, "-fm format", "Numeric format", nullptr,
     false},
    {86, "plot_param", "zmtpltparam", "pp", 0, RES_STRING, "-pp param", "Plot parameters", nullptr,
     false},
    {44, "draw", "zmtdraw", "dr", 0, RES_DRAW, "-dr param[,...]",
     "Draw components: text,data,sum,map,none", nullptr, false},
    {69, "label", "zmtlabel", "la", 0, RES_STRING, "-la label", "Plot labels", nullptr, false},
    {37, "con_interval", "zmtconint", "in", 0, RES_FLOAT, "-in intrvl", "Contour interval", nullptr,
     false},
    {35, "con_base", "zmtconbase", "cb", 0, RES_FLOAT, "-cb base",
     "Color fill contour/vector base value", nullptr, false},
    {51, "font_list", "zmtfontlist", "fl", 0, RES_STRING, "-fl list", "List of fonts to use",
     nullptr, false},
    {27, "color_table", "zmtclrtbl", "ct", 0, RES_STRING, "-ct file", "Color table file name",
     nullptr, false},
    {28, "color_text", "zmtclrtext", "cot", 0, RES_STRING, "-cot clr", "Text color", nullptr,
     false},
    {13, "color_data", "zmtclrdata", "cod", 0, RES_STRING, "-cod clr", "Data plotting color",
     nullptr, false},
    {23, "color_map", "zmtclrmap", "com", 0, RES_STRING, "-com clr", "line map color", nullptr,
     false},
    {17, "color_grid", "zmtclrgrid", "cogr", 0, RES_STRING, "-cogr clr", "grid color", nullptr,
     false},
    {22, "color_line", "zmtclrln", "coln", 0, RES_STRING, "-coln clr", "Lat-lon line color",
     nullptr, false},
    {15, "color_fill", "zmtclrfill", "cof", 0, RES_STRING, "-cof clr[,...]", "Fill contour colors",
     nullptr, false},
    {46, "device", "zmtdevice", "de", 0, RES_DEVICE, "-de dev[,name]", "Output device: d,p,q,w,m",
     nullptr, false},
    {102, "title", "zmttitle", "ti", 0, RES_STRING, "-ti title", "Window title", nullptr, false},
    {59, "icon", "zmticon", "ic", 0, RES_BOOLEAN, "-ic", "Open window iconified", nullptr, false},
    {2, "background", "zmtback", "bg", 0, RES_STRING, "-bg clr", "Background color", nullptr,
     false},
    {53, "geometry", "zmtgeometry", "ge", 0, RES_STRING, "-ge wxh+x+y", "Window geometry", nullptr,
     false},
    {50, "filename", "zmtfilename", nullptr, 10, RES_LIST, "file [file...]", "Input file names",
     nullptr, false},
    {5, "bull_file", "zmtbullfile", "bf", 0, RES_STRING, "-bf file", "Bulletin file name", nullptr,
     false},
    {8, "color_clabel", "zmtclrclab", "cocl", 0, RES_STRING, "-cocl clr", "Fill label color",
     nullptr, false},
    {9, "color_cloud", "zmtclrcld", "cocd", 0, RES_STRING, "-cocd clr", "Cloud cover symbol colors",
     nullptr, false},
    {10, "color_cmap", "zmtclrcmap", "cocm", 0, RES_STRING, "-cocm clr", "Fill map color", nullptr,
     false},
    {11, "color_cont", "zmtclrcont", "coco", 0, RES_STRING, "-coco clr", "Line contour color",
     nullptr, false},
    {16, "color_front", "zmtclrfront", "cofr", 0, RES_STRING, "-cofr hclr,lclr,cclr,wclr,oclr,tclr",
     "Front colors", nullptr, false},
    {18, "color_hodo", "zmtclrhodo", "coh", 0, RES_STRING, "-coh dclr,sclr,hclr",
     "Hodograph colors", nullptr, false},
    {19, "color_hodtxt", "zmtclrhdtxt", "coht", 0, RES_STRING, "-coht dclr,sclr,hclr",
     "Hodograph text colors", nullptr, false},
    {20, "color_label", "zmtclrlab", "cola", 0, RES_STRING, "-cola clr", "Line label color",
     nullptr, false},
    {24, "color_pop", "zmtclrpop", "copp", 0, RES_STRING, "-copp clr",
     "Probablilty of precipitation color", nullptr, false},
    {26, "color_sound", "zmtclrsnd", "cosd", 0, RES_STRING, "-cosd tclr,tdclr", "Sounding colors",
     nullptr, false},
    {29, "color_therm", "zmtclrtherm", "coth", 0, RES_STRING, "-coth pclr,tclr,daclr,maclr,mrclr",
     "Thermodynamic diagram colors", nullptr, false},
    {30, "color_thrmtxt", "zmtclrthtxt", "cott", 0, RES_STRING, "-cott pclr,tclr,daclr,maclr,mrclr",
     "Thermodynamic diagram text colors", nullptr, false},
    {31, "color_wind", "zmtclrwind", "cowd", 0, RES_STRING, "-cowd clr", "Wind barb colors",
     nullptr, false},
    {32, "color_wx", "zmtclrwx", "cowx", 0, RES_STRING, "-cowx clr", "Weather symbol colors",
     nullptr, false},
    {33, "command", "zmtcommand", nullptr, 10, RES_LIST, "command", "Commands to be run", nullptr,
     false},
    {34, "command", "zmtcommand", "cd", 0, RES_STRING, "-cd cmd[;cmd]", "Commands to be run",
     nullptr, false},
    {45, "decode_hour", "zmtdecode", "dh", 0, RES_STRING, "-dh hour", "Actual hour to decode",
     nullptr, false},
    {49, "filename", "zmtfilename", nullptr, 1, RES_STRCOPY, "file", "Input file name", nullptr,
     false},
    {52, "forecast", "zmtforecast", "fc", 0, RES_STRING, "-fc type", "Specific forecast product",
     nullptr, false},
    {54, "grid_num", "zmtgridnum", "gn", 0, RES_STRING, "-gn number",
     "Specific grid index in file to use", nullptr, false},
    {56, "grid_type", "zmtgridtype", "gt", 0, RES_INTEGER, "-gn number",
     "Specific grid type (number) to use", nullptr, false},
    {60, "identifier", "zmtident", "id", 0, RES_STRING, "-id ident", "Specific station identifier",
     nullptr, false},
    {65, "in_file", "zmtinfile", "if", 0, RES_STRING, "-if type[,...]", "Input data file type",
     nullptr, false},
    {67, "ingestor", "zmtingestor", "di", 0, RES_INGESTOR, "-di name",
     "Ingestor type: zmt,whole,split,ldm,none", nullptr, false},
    {68, "input", "zmtin", "in", 0, RES_STRING, "-in type", "Type of input", nullptr, false},
    {71, "level", "zmtlevel", "le", 0, RES_STRING, "-le level",
     "Vertical level to be plotted or contoured", nullptr, false},
    {74, "model", "zmtmodel", "mo", 0, RES_STRING, "-mo model", "Specific model to use", nullptr,
     false},
    {79, "object_param", "zmtobject", "oa", 0, RES_STRING, "-oa smooth[,radinf,pass,conv,min]",
     "Objective analysis parameters", nullptr, false},
    {83, "parameter", "zmtparam", "pa", 0, RES_STRING, "-pa param[,...]", "Program parameters",
     nullptr, false},
    {92, "product", "zmtproduct", "ph", 0, RES_STRING, "-ph header", "Specific product header",
     nullptr, false},
    {99, "state", "zmtstate", "st", 0, RES_STRING, "-st state", "Specific state to parse", nullptr,
     false},
    {100, "table", "zmttable", "ta", 0, RES_BOOLEAN, "-ta", "Prints a table", nullptr, false},
    {101, "time", "zmttime", "ft", 0, RES_STRING, "-ft time",
     "Forecast time to be plotted or contoured", nullptr, false},
    {104, "value", "zmtvalue", nullptr, 10, RES_LIST, "val1 val2 ...", "Input values:", nullptr,
     false},
    {105, "variable", "zmtvar", "va", 0, RES_STRING, "-va var",
     "Variable to be plotted or contoured", nullptr, false},
    {107, "window_num", "zmtwindownum", "wn", 0, RES_INTEGER, "-de dev[,name]",
     "ZMTLoop window number", nullptr, false},
    {108, "color_watch", "zmtclrwatch", "cowa", 0, RES_STRING, "-cowa sclr,tclr",
     "Watch box colors", nullptr, false},
    {109, "log_file", "zmtlog", "lf", 0, RES_STRING, "-lf file", "Log file name", nullptr, false},
};

constexpr int kTableRows = 75;  // room of the option table, terminator included
constexpr int kNameMax = 49;    // longest switch name looked up
constexpr const char* kDefaultList = ".:/home/zmt/etc:/usr/local/zmt/etc";
constexpr const char* kBlank13 = "             ";

struct Node {
    Resource res{};
    std::unique_ptr<char[]> name;
    std::unique_ptr<char[]> value;
    bool typed = true;  // the value came from the user (see RES_typed)
};

Resource root_res{ZMT_MISSING, nullptr, nullptr, 0, nullptr};
Resource* last = &root_res;
std::vector<std::unique_ptr<Node>> nodes;

int clargc = 0;
char** clargv = nullptr;

// The split defaults list stays alive: tags given as "+tag" point into it.
int default_count = 0;
char** default_items = nullptr;

// Whether the source being read is the user's own: false while defaults files found
// through the built-in list, or a loop window's answers, are taken in.
bool typed_source = true;
// Whether the value RES_conv_data is converting was typed (RES_decode, RES_getval):
// a domain or log file name in it may then open a pipe.
bool converting_typed = false;

// The loop window connection while the command line is decoded.
bool queue_open = false;
int queue_id = -1;
int queue_channel = -1;

std::unique_ptr<char[]> copy_text(const char* text) {
    if (!text) return nullptr;
    size_t len = std::strlen(text);
    std::unique_ptr<char[]> copy(new (std::nothrow) char[len + 1]);
    if (copy) std::memcpy(copy.get(), text, len + 1);
    return copy;
}

Node* find_node(const char* name) {
    if (!name) return nullptr;
    for (auto& n : nodes)
        if (n->res.name && std::strcmp(n->res.name, name) == 0) return n.get();
    return nullptr;
}

void set_value(Node* node, std::unique_ptr<char[]> value) {
    node->value = std::move(value);
    node->res.value = node->value.get();
}

const OptDef* find_option(int id) {
    for (const OptDef& o : kOptions)
        if (o.id == id) return &o;
    return nullptr;
}

// A key of 10 or below is a position; anything larger is a switch name.
bool key_is_position(const char* key) {
    return reinterpret_cast<uintptr_t>(key) <= 10;
}
int key_position(const char* key) {
    return static_cast<int>(reinterpret_cast<uintptr_t>(key));
}

bool live(const ResObj& row) {
    return row.name && row.name[0];
}

bool dash_letter(const char* s) {
    return s[0] == '-' && std::isalpha(static_cast<unsigned char>(s[1]));
}

bool is_switch(const char* s) {
    return dash_letter(s) ||
           (s[0] == '-' && s[1] == '-' && std::isalpha(static_cast<unsigned char>(s[2])));
}

// Splits a switch (without its dashes) into a name of at most 49 characters and the text
// behind an '=', if there is one.
const char* split_switch(const char* text, char* name) {
    const char* eq = std::strchr(text, '=');
    size_t len = eq ? static_cast<size_t>(eq - text) : std::strlen(text);
    if (len > static_cast<size_t>(kNameMax)) len = kNameMax;
    std::memcpy(name, text, len);
    name[len] = 0;
    return eq ? eq + 1 : nullptr;
}

int count_rows(const ResObj* table) {
    int n = 0;
    if (table)
        while (table[n].name) ++n;
    return n;
}

void queue_drain() {
    char text[256];
    while (MQ_get(queue_id, queue_channel, text) == 0) {
    }
}

// The lowest int has no positive counterpart; it goes to the highest.
int negated(int value) {
    return value == INT_MIN ? INT_MAX : -value;
}

int hour_to_date(const char* t, Date* out) {
    int v[5] = {ZMT_MISSING, ZMT_MISSING, ZMT_MISSING, ZMT_MISSING,
                ZMT_MISSING};  // year, month, day, hour, minute
    int& month = v[1];
    int& day = v[2];
    int& hour = v[3];
    int& minute = v[4];
    size_t len = std::strlen(t);
    bool colon = std::strchr(t, ':') != nullptr;
    bool digit_first = std::isdigit(static_cast<unsigned char>(t[0])) != 0;
    if (t[0] == '#') {
        static constexpr int start[5] = {1, 5, 7, 9, 11};
        static constexpr int width[5] = {4, 2, 2, 2, 2};
        for (int k = 0; k < 5; ++k) {
            size_t pos = static_cast<size_t>(start[k]);
            if (pos >= len || !std::isdigit(static_cast<unsigned char>(t[pos]))) continue;
            char field[8] = "";
            size_t n = 0;
            while (n < static_cast<size_t>(width[k]) && pos + n < len) {
                field[n] = t[pos + n];
                ++n;
            }
            field[n] = 0;
            v[k] = std::atoi(field);
        }
    } else if (len == 6 && !colon) {
        std::sscanf(t, "%2d%2d%2d", &month, &day, &hour);
    } else if (len == 4 && digit_first && !colon) {
        std::sscanf(t, "%2d%2d", &day, &hour);
    } else if (len == 3 && digit_first && !colon) {
        std::sscanf(t, "%1d%2d", &day, &hour);
    } else if (std::strchr(t, 'd')) {
        std::sscanf(t, "%dd%d:%d", &day, &hour, &minute);
    } else if (t[0] == ':') {
        std::sscanf(t, ":%d", &minute);
    } else if (t[0] == '-' && t[1] == ':') {
        if (std::sscanf(t + 2, "%d", &minute) == 1) minute = negated(minute);
    } else {
        std::sscanf(t, "%d:%d", &hour, &minute);
        if (t[0] == '-' && hour == 0) {
            // "-0:30" is thirty minutes back, not hour zero; a bare "-0" negates the
            // missing minute as well.
            hour = ZMT_MISSING;
            minute = negated(minute);
        }
    }
    DATE_init(out);
    out->year = v[0];
    out->month = month;
    out->day = day;
    out->hour = hour;
    out->minute = minute;
    return 1;
}

void set_draw(const char* text) {
    struct Item {
        const char* word;
        int index;
        int also;   // a second index, or -1
        int fixed;  // -1 follows the sign, else the value always stored
    };
    static constexpr Item items[] = {
        {"none", 12, -1, 0},    {"all", 12, -1, 1},     {"text", 0, 11, -1},
        {"text_ul", 1, -1, -1}, {"text_uc", 2, -1, -1}, {"text_ur", 3, -1, -1},
        {"text_ll", 4, -1, -1}, {"text_lc", 5, -1, -1}, {"text_lr", 6, -1, -1},
        {"data", 7, -1, -1},    {"map", 8, -1, -1},     {"grid", 9, -1, -1},
        {"sum", 10, -1, -1},    {"bord", 11, -1, -1}};
    int count = 0;
    char** pieces = nullptr;
    if (parse_string(text, ',', &count, &pieces) < 0) return;
    for (int i = 0; i < count; ++i) {
        const char* word = pieces[i];
        int on = 1;
        if (word[0] == '+') {
            ++word;
        } else if (word[0] == '-') {
            on = 0;
            ++word;
        } else if (i == 0) {
            FLAG_resetplot(0);
        }
        for (const Item& item : items) {
            if (stricmp(word, item.word) != 0) continue;
            int value = item.fixed >= 0 ? item.fixed : on;
            FLAG_setplot(item.index, value);
            if (item.also >= 0) FLAG_setplot(item.also, value);
            break;
        }
    }
    free_parsed_array(count, pieces);
}

void set_plot_type(const char* text) {
    struct Word {
        const char* word;
        int value;
    };
    static constexpr Word words[] = {
        {"raw", 0},     {"none", 99}, {"value", 17},  {"gvalue", 17}, {"cf", 15},    {"lcf", 16},
        {"ln", 12},     {"dln", 13},  {"ndln", 14},   {"vect", 21},   {"barb", 22},  {"strm", 23},
        {"stream", 23}, {"an", 54},   {"number", 54}, {"pm", 55},     {"stuve", 61}, {"skewt", 62},
        {"ema", 63},    {"teph", 64}, {"rteph", 65},  {"hodo", 69}};
    for (const Word& w : words) {
        if (stricmp(text, w.word) == 0) {
            FLAG_set(11, w.value);
            return;
        }
    }
}

void set_file_param(const char* text) {
    if (stricmp(text, "use") == 0 || stricmp(text, "reuse") == 0)
        FLAG_set(15, 3);
    else if (stricmp(text, "over") == 0 || stricmp(text, "calc") == 0 ||
             stricmp(text, "recalc") == 0)
        FLAG_set(15, 1);
    else if (stricmp(text, "app") == 0)
        FLAG_set(15, 2);
}

int set_device(const char* text, void* destination) {
    int count = 0;
    char** pieces = nullptr;
    parse_string(text, ',', &count, &pieces);
    if (count == 0) {
        FLAG_set(2, 1);
    } else {
        FLAG_set(2, RES_set_device(pieces[0]));
        // The connection string points into the value itself, like a plain string.
        if (count > 1) *static_cast<const char**>(destination) = std::strchr(text, ',') + 1;
    }
    free_parsed_array(count, pieces);
    return 1;
}

int set_path(const char* text, void* destination) {
    char*& out = *static_cast<char**>(destination);
    size_t len = stricmp(text, "none") == 0 ? 0 : std::strlen(text);
    char* buffer = static_cast<char*>(std::malloc(len + 2));
    if (!buffer) return 0;
    std::memcpy(buffer, text, len);
    buffer[len] = 0;
    if (len > 0) FILE_add_path_delim(buffer);
    out = buffer;
    return 1;
}

// The loop window as a source of resources: query every row, take its answers, and tell
// it what this program holds that it doesn't know.
void queue_source(const char* number, const ResObj* table, int rows) {
    int queue = MQ_open(std::atoi(number));
    if (queue < 0) {
        if (errno == ENOENT)
            MESS_print(MESS_WARN, "ZMTloop window: %s not running or no message queue exists\n",
                       number);
        return;
    }
    int channel = MQ_connect(queue);
    if (channel == -1) {
        MESS_print(MESS_WARN, "ZMTloop window: %s unable to connect\n", number);
        return;
    }
    queue_open = true;
    queue_id = queue;
    queue_channel = channel;
    const bool was_typed = typed_source;
    typed_source = false;
    for (int i = 0; i < rows; ++i)
        if (live(table[i])) MQ_put(queue, channel, "query res %s", table[i].name);
    int pending = 0;
    char text[256];
    for (int i = 0; i < rows; ++i) {
        if (!live(table[i])) continue;
        bool answered = false;
        int status;
        alarm(100);
        while ((status = MQ_get(queue, channel, text)) == 0) {
            alarm(0);
            size_t len = std::strlen(text);
            if (len > 0 && text[0] != '!' && text[0] != '\n') {
                text[len - 1] = 0;
                RES_new(i, table[i].name, text, table[i].type);
                answered = true;
            }
        }
        const char* here = RES_get(table[i].name);
        if (!answered && here && here[0]) {
            MQ_put(queue, channel, "set res %s %s", table[i].name, here);
            ++pending;
        }
        if (status == -3) MESS_print(MESS_WARN, "ZMTloop not running!\n");
    }
    std::signal(SIGALRM, SIG_IGN);
    typed_source = was_typed;
    for (int k = 0; k < pending; ++k) queue_drain();
}

void defaults_source(const ResObj* table, int rows) {
    free_parsed_array(default_count, default_items);
    default_count = 0;
    default_items = nullptr;
    const char* list = RES_get("default");
    // Files found through the built-in list were not named by the user: data only.
    const bool user_list = list != nullptr;
    if (!list) list = kDefaultList;
    DEF_clr_tag();
    parse_string(list, ':', &default_count, &default_items);
    static char empty[] = "";
    static char* empty_list[] = {empty};
    int count = default_count;
    char** items = default_items;
    if (count == 0) {
        count = 1;
        items = empty_list;
    }
    for (int e = 0; e < count; ++e) {
        const char* element = items[e];
        if (element[0] == '+') {
            DEF_tag(element + 1);
            continue;
        }
        if (element[0] == '#') {
            queue_source(element + 1, table, rows);
            continue;
        }
        typed_source = user_list;
        if (DEF_open(element) != 0) {
            typed_source = true;
            continue;
        }
        char key[DEF_KEY_SIZE];
        char value[DEF_VALUE_SIZE];
        while (DEF_get(key, value) == 1) {
            bool matched = false;
            for (int i = 0; i < rows; ++i) {
                if (!live(table[i]) || !DEF_cmp(table[i].name, key)) continue;
                MESS_print(MESS_DEBUG_D, "RESRC: %s=%s\n", key, value);
                RES_new(i, table[i].name, value, table[i].type);
                matched = true;
            }
            if (!matched && DEF_valid(key)) {
                char bare[DEF_KEY_SIZE];
                DEF_parse_name(key, bare);
                RES_new(ZMT_MISSING, bare, value, RES_STRING);
            }
        }
        DEF_close();
        typed_source = true;
    }
}

void command_line_source(int argc, char** argv, const ResObj* table, int rows) {
    std::vector<char> consumed(static_cast<size_t>(argc > 0 ? argc : 0), 0);
    int positional = 0;
    for (int i = 1; i < argc; ++i) {
        if (consumed[i]) continue;
        const char* arg = argv[i];
        if (!arg || std::strcmp(arg, "--") == 0) continue;
        if (!is_switch(arg)) {
            ++positional;
            int row = -1;
            for (int r = 0; r < rows && row < 0; ++r)
                if (live(table[r]) && key_is_position(table[r].key) &&
                    key_position(table[r].key) == positional)
                    row = r;
            for (int r = 0; r < rows && row < 0; ++r)
                if (live(table[r]) && key_is_position(table[r].key) &&
                    key_position(table[r].key) == 10)
                    row = r;
            if (row < 0) continue;
            if (key_position(table[row].key) == 10 && positional > 1)
                RES_append(row, table[row].name, arg, table[row].type);
            else
                RES_new(row, table[row].name, arg, table[row].type);
            continue;
        }
        char name[kNameMax + 1];
        const char* value = split_switch(arg + (arg[1] == '-' ? 2 : 1), name);
        bool from_next = false;
        if (!value && i + 1 < argc && argv[i + 1] && !dash_letter(argv[i + 1])) {
            value = argv[i + 1];
            consumed[i + 1] = 1;
            from_next = true;
        }
        int row = -1;
        for (int r = 0; r < rows && row < 0; ++r)
            if (live(table[r]) && !key_is_position(table[r].key) &&
                stricmp(name, table[r].key) == 0)
                row = r;
        for (int r = 0; r < rows && row < 0; ++r)
            if (live(table[r]) && !key_is_position(table[r].key) &&
                stricmp(name, table[r].name) == 0)
                row = r;
        if (row < 0) {
            int len = static_cast<int>(std::strlen(name));
            // -name, -default and -df were taken by the early scan.
            if (strnicmp(name, "name", len) == 0 || strnicmp(name, "default", 7) == 0 ||
                strnicmp(name, "df", 2) == 0)
                continue;
            for (int r = 0; r < rows && row < 0; ++r)
                if (live(table[r]) && !key_is_position(table[r].key) &&
                    strnicmp(table[r].name, name, len) == 0)
                    row = r;
        }
        const char* sent_name = name;
        if (row < 0) {
            RES_new(ZMT_MISSING, name, value, RES_STRING);
        } else {
            int type = table[row].type;
            if (from_next && (type == RES_BOOLEAN || type == RES_BATCH || type == RES_HELP)) {
                // A flag never eats the next word: give it back.
                consumed[i + 1] = 0;
                value = nullptr;
            }
            RES_new(row, table[row].name, value, type);
            sent_name = table[row].name;
        }
        if (queue_open) {
            MQ_put(queue_id, queue_channel, "set res %s %s", sent_name, value ? value : "");
            queue_drain();
        }
    }
}

void early_scan(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (!arg || !dash_letter(arg)) continue;
        char name[kNameMax + 1];
        const char* value = split_switch(arg + 1, name);
        if (!value && i + 1 < argc && argv[i + 1] && !dash_letter(argv[i + 1])) value = argv[++i];
        size_t len = std::strlen(name);
        if (std::strncmp(name, "name", len < 5 ? len : 5) == 0) {
            if (value) {
                RES_new(ZMT_MISSING, "name", value, RES_STRING);
                DEF_name(value);
            }
        } else if (std::strncmp(name, "default", 7) == 0 || std::strncmp(name, "df", 2) == 0) {
            if (value) RES_new(ZMT_MISSING, "default", value, RES_STRING);
        }
    }
}

void print_domain_block() {
    MESS_print(15, "               region=predefined region:\n");
    MESS_print(15, "                  us,ne,at,se,mw,sp,nw,sw,etc\n");
    MESS_print(15,
               "               proj=projection, clat=central latitude, clon=central longitude,\n");
    MESS_print(15, "               nx,ny=number of gridpoints and dx,dy=grid spacing\n");
}

}  // namespace

int RES_init(int argc, char** argv, const int* keyed_ids, const int* positional_ids) {
    FLAG_reset(ZMT_MISSING);
    ResObj table[kTableRows];
    int n = 0;
    for (const int* ids : {keyed_ids, positional_ids}) {
        for (int k = 0; ids && ids[k] != 0 && n < kTableRows - 1; ++k)
            RES_enter(&table[n++], ids[k]);
    }
    RES_fill_obj(&table[n], nullptr, nullptr, nullptr, 0, nullptr, nullptr);
    RES_decode(argc > 0 && argv ? argv[0] : "", "Zmt", argc, argv, table);
    if (const char* tz = std::getenv("zmttz")) DATE_set_TZ(tz);
    return 1;
}

int RES_decode(const char*, const char*, int argc, char** argv, ResObj* table) {
    if (!argv) argc = 0;
    RES_setCL(argc, argv);
    DEF_prog();
    int rows = count_rows(table);

    if (const char* def = std::getenv("zmtdefault"))
        RES_new(ZMT_MISSING, "default", def, RES_STRING);
    early_scan(argc, argv);
    defaults_source(table, rows);

    char buffer[DEF_ENV_SIZE];
    for (int i = 0; i < rows; ++i)
        if (live(table[i]) && DEF_env(table[i].name, table[i].env, buffer))
            RES_new(i, table[i].name, buffer, table[i].type);

    command_line_source(argc, argv, table, rows);

    if (queue_open) {
        MQ_put(queue_id, queue_channel, "quit");
        queue_drain();
        queue_open = false;
    }

    for (auto& node : nodes) {
        const Resource& r = node->res;
        if (r.index == ZMT_MISSING || r.index < 0 || r.index >= rows) continue;
        const ResObj& row = table[r.index];
        if (r.type == RES_LIST && row.count_ptr) {
            parse_string(r.value, '\n', row.count_ptr, static_cast<char***>(row.value_ptr));
        } else {
            converting_typed = node->typed;
            RES_conv_data(r.value, row.value_ptr, r.type);
            converting_typed = false;
        }
    }
    return 0;
}

int RES_fill_obj(ResObj* row, const char* name, const char* env, const char* key, int type,
                 void* value_ptr, int* count_ptr) {
    if (!row) return 0;
    row->name = name;
    row->env = env;
    row->key = key;
    row->type = type;
    row->value_ptr = value_ptr;
    row->count_ptr = count_ptr;
    return 1;
}

int RES_enter(ResObj* row, int id) {
    if (!row) return 0;
    const OptDef* o = find_option(id);
    if (!o) {
        RES_fill_obj(row, "", "", nullptr, 0, nullptr, nullptr);
        MESS_print(15, "%d\n", id);
        return 1;
    }
    const char* key =
        o->key ? o->key : reinterpret_cast<const char*>(static_cast<uintptr_t>(o->position));
    RES_fill_obj(row, o->name, o->env, key, o->type, nullptr, nullptr);
    return 1;
}

int RES_help_print(const char* program, const int* keyed_ids, const int* positional_ids) {
    if (!program) program = "";
    MESS_print(15, "%s syntax (version:%s)\n", program, ZMT_version());
    MESS_print(15, "   %s [options...]\n", program);
    MESS_print(15, "Keyed options...\n");
    MESS_print(15, " %-10s  Resource/defaults file name\n", "-df file");
    MESS_print(15, " %-10s  Program name\n", "-na name");
    for (int k = 0; keyed_ids && keyed_ids[k] != 0; ++k) RES_help_item(keyed_ids[k]);
    MESS_print(15, "Positional options...\n");
    for (int k = 0; positional_ids && positional_ids[k] != 0; ++k) RES_help_item(positional_ids[k]);
    MESS_print(15, "Exit codes...\n");
    static constexpr struct {
        int code;
        const char* text;
    } kExits[] = {{ZMT_EXIT_OK, "normal end, and after help"},
                  {ZMT_EXIT_DETACH, "failure to detach in batch"},
                  {ZMT_EXIT_GRAPHICS, "failure to open graphics"},
                  {ZMT_EXIT_QUEUE, "loop window queue not responding"},
                  {ZMT_EXIT_NO_INPUT, "no file, or no file could be read"},
                  {ZMT_EXIT_OUTPUT, "an output could not be written"}};
    for (const auto& e : kExits) MESS_print(15, " %-10d  %s\n", e.code, e.text);
    return 1;
}

int RES_help_item(int id) {
    const OptDef* o = find_option(id);
    if (!o) {
        MESS_print(15, "%d\n", id);
        return 0;
    }
    if (o->domain) {
        MESS_print(15, " %-10s\n", o->label);
        MESS_print(15, "%s%s\n", kBlank13, o->text);
        print_domain_block();
    } else {
        MESS_print(15, " %-10s  %s\n", o->label, o->text);
    }
    if (o->more) MESS_print(15, "%s%s\n", kBlank13, o->more);
    return 1;
}

const char* RES_get(const char* name) {
    Node* n = find_node(name);
    if (!n) return nullptr;
    return n->res.value ? n->res.value : "";
}

int RES_typed(const char* name) {
    Node* n = find_node(name);
    return n && n->typed ? 1 : 0;
}

int RES_getval(const char* name, void* destination, int type) {
    Node* n = find_node(name);
    if (!n || !destination) return 0;
    converting_typed = n->typed;
    int result = RES_conv_data(n->res.value, destination, type);
    converting_typed = false;
    return result;
}

int RES_getvals(const char* name, int* count, char*** array) {
    if (count) *count = 0;
    if (array) *array = nullptr;
    Node* n = find_node(name);
    if (!n || !count || !array) return 0;
    parse_string(n->res.value, n->res.type == RES_LIST ? '\n' : ',', count, array);
    return *count;
}

namespace {

// "true", "on" and "yes" (or no text at all) give 1, "false", "off" and "no" give 0;
// any other text leaves the value as it was.
int conv_boolean(const char* text, void* destination) {
    if (!destination) return 0;
    int& out = *static_cast<int*>(destination);
    if (!text)
        out = 1;
    else if (stricmp(text, "true") == 0 || stricmp(text, "on") == 0 || stricmp(text, "yes") == 0)
        out = 1;
    else if (stricmp(text, "false") == 0 || stricmp(text, "off") == 0 || stricmp(text, "no") == 0)
        out = 0;
    return 1;
}

// Integers keep their value unless the text starts as one (a sign only for the plain
// integer, which also reads "0x" as hexadecimal); a float always reads.
int conv_number(const char* text, void* destination, int type) {
    unsigned char first = static_cast<unsigned char>(text[0]);
    switch (type) {
        case RES_INTEGER:
            if (std::isdigit(first) || first == '-' || first == '+') {
                int base = (text[1] == 'x' || text[1] == 'X') ? 16 : 10;
                *static_cast<int*>(destination) =
                    static_cast<int>(std::strtol(text, nullptr, base));
            }
            return 1;
        case RES_SHORT:
            if (std::isdigit(first))
                *static_cast<int16_t*>(destination) =
                    static_cast<int16_t>(std::strtol(text, nullptr, 10));
            return 1;
        case RES_LONG:
            if (std::isdigit(first))
                *static_cast<int32_t*>(destination) =
                    static_cast<int32_t>(std::strtol(text, nullptr, 10));
            return 1;
        case RES_FLOAT:
            *static_cast<float*>(destination) = static_cast<float>(std::strtod(text, nullptr));
            return 1;
        default:
            return 0;
    }
}

}  // namespace

int RES_conv_data(const char* text, void* destination, int type) {
    if (type == RES_BATCH) {
        FLAG_set(19, 1);
        if (MESS_check_set() == 0) MESS_set(0, 255);
        return 1;
    }
    if (type == RES_HELP) {
        FLAG_set(20, 1);
        return 1;
    }
    if (type == RES_BOOLEAN) return conv_boolean(text, destination);
    if (!text) return 0;
    bool needs_destination = !(type == RES_MESSAGE || type == RES_DRAW || type == RES_HOUR ||
                               type == RES_FILEPARAM || type == RES_PLOTTYPE);
    if (needs_destination && !destination) return 0;
    switch (type) {
        case RES_INTEGER:
        case RES_SHORT:
        case RES_LONG:
        case RES_FLOAT:
            return conv_number(text, destination, type);
        case RES_STRING:
        case RES_LIST:
            *static_cast<const char**>(destination) = text;
            return 1;
        case RES_STRCOPY:
            std::strcpy(static_cast<char*>(destination), text);
            return 1;
        case RES_PATH:
            return set_path(text, destination);
        case RES_MESSAGE:
            MESS_set_str_user(text, converting_typed ? 1 : 0);
            return 1;
        case RES_DRAW:
            set_draw(text);
            return 1;
        case RES_CURRENT:
        case RES_NAMECONV:
        case RES_INGESTOR:
            return 1;
        case RES_HOUR: {
            Date date;
            hour_to_date(text, &date);
            FILE_set_time(&date);
            return 1;
        }
        case RES_REGION:
        case RES_DOMAIN:
            DOM_decode_user(text, static_cast<Domain*>(destination), converting_typed ? 1 : 0);
            return 1;
        case RES_FILEPARAM:
            set_file_param(text);
            return 1;
        case RES_DEVICE:
            return set_device(text, destination);
        case RES_PLOTTYPE:
            set_plot_type(text);
            return 1;
        case RES_UINTEGER:
            *static_cast<int*>(destination) = static_cast<int>(std::strtol(text, nullptr, 10));
            return 1;
        default:
            return 0;
    }
}

int RES_new(int index, const char* name, const char* value, int type) {
    if (!name) return -1;
    Node* node = find_node(name);
    if (!node) {
        try {
            auto fresh = std::make_unique<Node>();
            fresh->name = copy_text(name);
            fresh->res.name = fresh->name.get();
            nodes.push_back(std::move(fresh));
        } catch (const std::bad_alloc&) {
            return -1;
        }
        node = nodes.back().get();
        last->next = &node->res;
        last = &node->res;
    }
    set_value(node, copy_text(value));
    node->res.type = type;
    node->res.index = index;
    node->typed = typed_source;
    return 0;
}

int RES_put(const char* name, const char* value) {
    return RES_new(ZMT_MISSING, name, value, RES_STRING);
}

int RES_append(int index, const char* name, const char* value, int type) {
    Node* node = find_node(name);
    if (!node) return RES_new(index, name, value, type);
    if (!value) return 0;
    node->typed = node->typed && typed_source;
    if (!node->res.value) {
        set_value(node, copy_text(value));
        return 0;
    }
    size_t old_len = std::strlen(node->res.value);
    size_t add_len = std::strlen(value);
    std::unique_ptr<char[]> joined(new (std::nothrow) char[old_len + add_len + 2]);
    if (!joined) return -1;
    std::memcpy(joined.get(), node->res.value, old_len);
    joined[old_len] = '\n';
    std::memcpy(joined.get() + old_len + 1, value, add_len + 1);
    set_value(node, std::move(joined));
    return 0;
}

int RES_list() {
    for (const Resource* r = root_res.next; r; r = r->next) {
        if (r->value)
            MESS_print(8, "%s: %s\n", r->name ? r->name : "", r->value);
        else
            MESS_print(8, "%s:\n", r->name ? r->name : "");
    }
    return 0;
}

int RES_setCL(int argc, char** argv) {
    clargc = argc;
    clargv = argv;
    return 1;
}

const char* RES_get_prog() {
    return (clargc > 0 && clargv) ? clargv[0] : nullptr;
}

char* RES_get_progname(char* buffer) {
    const char* prog = RES_get_prog();
    if (!prog) prog = "";
    const char* slash = std::strrchr(prog, '/');
    const char* base = slash ? slash + 1 : prog;
    if (!buffer) {
        buffer = static_cast<char*>(std::malloc(std::strlen(base) + 1));
        if (!buffer) return const_cast<char*>("ZMT");
    }
    std::strcpy(buffer, base);
    return buffer;
}

int RES_set_device(const char* text) {
    switch (text ? text[0] : 0) {
        case 'P':
        case 'p':
            return 4;
        case 'H':
        case 'Q':
        case 'h':
        case 'q':
            return 5;
        case 'M':
        case 'm':
            return 3;
        case 'W':
        case 'w':
            return 6;
        default:
            return 1;
    }
}

int RES_hour_date(const char* text, Date* date) {
    if (!text || !date) return 0;
    return hour_to_date(text, date);
}

void RES_reset() {
    root_res.next = nullptr;
    last = &root_res;
    nodes.clear();
    clargc = 0;
    clargv = nullptr;
    free_parsed_array(default_count, default_items);
    default_count = 0;
    default_items = nullptr;
    queue_open = false;
    typed_source = true;
}
