// libFuzzer target for colour tables, attribute strings and enhancements. Input:
// one control byte, then three fields ended by NUL bytes, then the rest:
//   control  bit 0: colour fill from the enhancement file instead of the list
//            bit 1: the table named by resource color_table (fill range counted)
//            bit 2: the table file read twice, as a list of two
//            bits 3-4: calibration family 51, 53, 55 or none
//            bits 5-7: the fill pattern punched through the image
//   field 1   the color_fill list (unset when empty)
//   field 2   attribute strings, one a line
//   field 3   the colour table file "t.clr"
//   rest     the enhancement file "e.enh"
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/sat_color.h"
#include "app/sat_params.h"
#include "env/colors.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "formats/image.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string dir;

void write(const std::string& name, const std::string& bytes) {
    fuzz_write_file((dir + "/" + name).c_str(), bytes.data(), bytes.size());
}

bool setup() {
    dir = fuzz_make_scratch_dir("colors_fuzz");
    fuzz_quiet_stdio(false);
    // Entries 0 to 15 keep their names from one table to the next; a fixed table
    // first makes every run start from the same names.
    std::string base;
    for (int i = 0; i < 16; ++i) base += "base" + std::to_string(i) + " 0.5 0.5 0.5\n";
    write("base.clr", base);
    return true;
}

void check_table() {
    const int n = CLR_get_num();
    if (n < 0 || n > 256 || CLR_get_num_fill() < 0 || CLR_get_num_fill() > 256) std::abort();
    for (int i = -1; i <= n; ++i) {
        if (std::memchr(CLR_get_name(i), '\0', 20) == nullptr) std::abort();
        float r, g, b;
        CLR_get_rgb(i, &r, &g, &b);
    }
}

void attributes(const std::string& lines) {
    size_t pos = 0;
    while (pos <= lines.size()) {
        size_t end = lines.find('\n', pos);
        if (end == std::string::npos) end = lines.size();
        const std::string line = lines.substr(pos, end - pos);
        pos = end + 1;
        Attrib a;
        ATTRIB_init(&a);
        ATTRIB_parse(line.c_str(), &a);
        ATTRIB_print(&a);
        RES_put("color_map", line.c_str());
        ATTRIB_get("color_map", "green:st=dsh:w2", &a);
        (void)CLR_get_ind(line.c_str());
        (void)ATTR_parse_fill_pat(line.c_str());
        (void)ATTR_parse_marker(line.c_str());
    }
}

void enhancement() {
    SAT_color_setup();
    const int max = SAT_color_get_max();
    if (max < -1 || max > 255) std::abort();
    if (std::strlen(SAT_color_get_enhance()) >= 10) std::abort();
    // An enhancement file that does not open leaves the tables of the frame before,
    // with no break-off set; otherwise every count falls in one of the bins.
    const bool rebuilt = SAT_color_get_cut(0) != ZMT_MISSING;
    for (int v = 0; v < 256; ++v) {
        const int bin = SAT_color_get_bin(v);
        if (bin < 0 || bin > 255 || (rebuilt && bin > (max < 0 ? 0 : max))) std::abort();
        (void)SAT_ind_ir(v);
    }
    for (float t = -120.0f; t <= 60.0f; t += 7.5f) (void)SAT_ir_ind(t);
    (void)SAT_ir_ind(ZMT_FMISSING);
    (void)SAT_ir_ind(NAN);

    Image image{};
    image.width = 17;
    image.height = 9;
    image.depth = 8;
    image.bytes_per_line = 17;
    const size_t bytes = static_cast<size_t>(image.height) * image.bytes_per_line;
    image.data = static_cast<unsigned char*>(std::malloc(bytes));
    if (!image.data) return;
    for (size_t i = 0; i < bytes; ++i) image.data[i] = static_cast<unsigned char>(i * 37);
    SAT_color_image(&image);
    if (image.num_colors != CLR_get_num()) std::abort();
    std::free(image.data);
    std::free(image.colors);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    if (size < 1) return 0;
    const unsigned control = bytes[0];
    const std::string input(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    size_t pos = 0;
    std::string fill_list, attrib_lines, table;
    if (!fuzz_next_part(input, pos, fill_list) || !fuzz_next_part(input, pos, attrib_lines) ||
        !fuzz_next_part(input, pos, table))
        return 0;
    // A single value names an enhancement file; a path could name a device that
    // never ends a word.
    if (fill_list.find('/') != std::string::npos) return 0;
    write("t.clr", table);
    write("e.enh", input.substr(pos));

    RES_reset();
    fuzz_messages_to_null();
    SAT_params_reset();
    SAT_color_reset();
    static const int families[4] = {51, 53, 55, 0};
    SAT_params().imager_source = families[(control >> 3) & 3];
    SAT_params().fill = static_cast<int>(control >> 5);
    RES_put("file_path", dir.c_str());

    CLR_clear_table();
    CLR_read_table("base.clr");
    CLR_clear_table();
    if (control & 2) {
        RES_put("color_table", "t.clr");
        CLR_read_table(nullptr);
    } else {
        CLR_read_table((control & 4) ? "t.clr,t.clr" : "t.clr");
    }
    check_table();

    attributes(attrib_lines);
    check_table();

    if (control & 1)
        RES_put("color_fill", "e.enh");
    else if (!fill_list.empty())
        RES_put("color_fill", fill_list.c_str());
    enhancement();
    check_table();
    return 0;
}
