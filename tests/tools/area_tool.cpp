// Makes other physical forms of a real AREA file: the same file in the
// opposite byte order, and the sync-framed, nibble-compressed broadcast stream.
// Included by the AREA test and benchmark; built alone with -DAREA_TOOL_MAIN it
// is a command-line tool:
//   area_tool swap IN OUT
//   area_tool frame IN OUT [depth6] [crop=N]
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace area_tool {

inline std::string load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline uint32_t get32(const std::string& s, size_t at, bool big) {
    auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(s[at + i])); };
    return big ? b(0) << 24 | b(1) << 16 | b(2) << 8 | b(3)
               : b(3) << 24 | b(2) << 16 | b(1) << 8 | b(0);
}

inline void put32(std::string& s, size_t at, uint32_t v, bool big) {
    for (int i = 0; i < 4; i++) {
        int shift = big ? 24 - 8 * i : 8 * i;
        s[at + i] = static_cast<char>((v >> shift) & 0xFF);
    }
}

// Whether the file's words are big-endian, from the area version word.
inline bool big_endian(const std::string& file) {
    return get32(file, 4, true) == 4;
}

inline bool is_text_word(int w) {
    return (w >= 24 && w <= 31) || w == 51 || w == 52;
}

// Directory words in the order `big`; text words keep their bytes.
inline std::string directory(const std::string& file, bool big) {
    bool from = big_endian(file);
    std::string dir = file.substr(0, 256);
    for (int w = 0; w < 64; w++)
        if (!is_text_word(w)) put32(dir, 4 * w, get32(file, 4 * w, from), big);
    return dir;
}

// Navigation block in the order `big`: the type name as text, the integers
// behind it in the new order, the tail of the short blocks as it was.
inline std::string nav_block(const std::string& file, bool big) {
    bool from = big_endian(file);
    size_t offset = get32(file, 132, from);
    std::string nav = file.substr(256, offset > 256 ? offset - 256 : 0);
    int words = nav.compare(0, 4, "GVAR") == 0 ? 639 : 119;
    for (int w = 1; w <= words && 4 * w + 4 <= static_cast<int>(nav.size()); w++)
        put32(nav, 4 * w, get32(file, 256 + 4 * w, from), big);
    return nav;
}

// The same file in the opposite byte order. Pixels stay: two-byte elements are
// high byte first in both orders.
inline std::string swap_copy(const std::string& file) {
    bool big = !big_endian(file);
    std::string out = file;
    out.replace(0, 256, directory(file, big));
    std::string nav = nav_block(file, big);
    out.replace(256, nav.size(), nav);
    return out;
}

// The 8-bit pixels of a plain file without prefix: the byte, or the high byte
// of two.
inline std::vector<unsigned char> pixels8(const std::string& file) {
    bool big = big_endian(file);
    uint32_t lines = get32(file, 32, big), elements = get32(file, 36, big),
             width = get32(file, 40, big);
    size_t offset = get32(file, 132, big);
    std::vector<unsigned char> out(static_cast<size_t>(lines) * elements);
    for (size_t k = 0; k < out.size(); k++)
        out[k] = static_cast<unsigned char>(file[offset + k * width]);
    return out;
}

struct FrameOptions {
    std::set<int> omit;           // lines left out of the stream
    std::map<int, int> renumber;  // line -> number written for it
    std::set<int> depth6;         // lines sent at depth 6 (values >> 2)
    std::set<int> two_marks;      // lines whose number has its own high byte behind a second mark
    int prefix = 0;               // line prefix bytes (directory word 14)
    int junk = 0;                 // non-mark bytes in front of every line's mark
    int crop = 0;                 // keep only this many elements of a line, 0 for all
};

const char kSync[] = "\x00\xFF\x00\xFF\x00\xFF\x00\xFF";

// Nibble codes of one line of values, as differences from the running value.
inline std::string pack_line(const unsigned char* v, int n) {
    std::vector<int> nib;
    int run = 0;
    for (int i = 0; i < n;) {
        int d = ((v[i] - run) + 256) % 256;
        if (d > 127) d -= 256;
        if (d == 0) {
            int r = 1;
            while (r < 3 && i + r < n && v[i + r] == run) r++;
            nib.push_back(12 + r);
            i += r;
            continue;
        }
        static const int up[] = {0, 12, 10, 8, 6, 4, 2};
        static const int down[] = {0, 11, 9, 7, 5, 3, 1};
        if (d >= -6 && d <= 6) {
            nib.push_back(d > 0 ? up[d] : down[-d]);
        } else {
            nib.push_back(0);
            nib.push_back(v[i] >> 4);
            nib.push_back(v[i] & 15);
        }
        run = v[i];
        i++;
    }
    if (nib.size() % 2) nib.push_back(13);
    std::string out;
    for (size_t i = 0; i < nib.size(); i += 2)
        out.push_back(static_cast<char>(nib[i] << 4 | nib[i + 1]));
    return out;
}

// The framed broadcast form of a plain file. Lines are numbered from 0.
inline std::string framed_copy(const std::string& file, const FrameOptions& opt = {}) {
    bool big = big_endian(file);
    int lines = static_cast<int>(get32(file, 32, big));
    int elements = static_cast<int>(get32(file, 36, big));
    int keep = opt.crop > 0 && opt.crop < elements ? opt.crop : elements;
    std::vector<unsigned char> pix = pixels8(file);

    std::string dir = directory(file, true);
    put32(dir, 36, static_cast<uint32_t>(keep), true);
    put32(dir, 56, static_cast<uint32_t>(opt.prefix), true);
    std::string out(kSync, 8);
    out += dir;
    out.append(kSync, 8);
    out += nav_block(file, true);

    std::vector<unsigned char> line(keep);
    for (int y = 0; y < lines; y++) {
        if (opt.omit.count(y)) continue;
        int depth = opt.depth6.count(y) ? 6 : 8;
        for (int x = 0; x < keep; x++) {
            unsigned char p = pix[static_cast<size_t>(y) * elements + x];
            line[x] = depth == 6 ? p >> 2 : p;
        }
        auto it = opt.renumber.find(y);
        uint32_t num = static_cast<uint32_t>(it == opt.renumber.end() ? y : it->second);
        out.append(opt.junk, '\x5A');
        out.append(kSync, 8);
        if (opt.two_marks.count(y)) {
            out.push_back('\x01');
            out.append(kSync, 8);
            out.push_back(static_cast<char>(num >> 24));
        } else {
            out.push_back('\0');
        }
        for (int i = 2; i >= 0; i--) out.push_back(static_cast<char>((num >> (8 * i)) & 0xFF));
        out.append(opt.prefix, '\x77');
        std::string packed = pack_line(line.data(), keep);
        out.push_back('\0');
        out.push_back(static_cast<char>(depth));
        out.push_back(static_cast<char>(packed.size() >> 8));
        out.push_back(static_cast<char>(packed.size() & 0xFF));
        out += packed;
    }
    return out;
}

}  // namespace area_tool

#ifdef AREA_TOOL_MAIN
int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: area_tool swap|frame IN OUT [depth6] [crop=N]\n");
        return 2;
    }
    std::string in = area_tool::load(argv[2]);
    if (in.size() < 256) {
        std::fprintf(stderr, "area_tool: %s is not an AREA file\n", argv[2]);
        return 1;
    }
    std::string out;
    if (std::string(argv[1]) == "swap") {
        out = area_tool::swap_copy(in);
    } else {
        area_tool::FrameOptions opt;
        for (int i = 4; i < argc; i++) {
            std::string a = argv[i];
            if (a == "depth6")
                for (int y = 0; y < 100000; y += 2) opt.depth6.insert(y);
            else if (a.rfind("crop=", 0) == 0)
                opt.crop = std::stoi(a.substr(5));
        }
        out = area_tool::framed_copy(in, opt);
    }
    std::ofstream(argv[3], std::ios::binary) << out;
    return 0;
}
#endif
