// The Unisys reader: blank-separated header tokens, then the pixels. Header
// and pixels share one run of offsets, so the header takes the place of the
// first pixels, which come out as zeros.
#include "formats/unisys.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/sat.h"
#include "env/dates.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/image.h"
#include "navigation/area_nav.h"
#include "navigation/gvar.h"

namespace {

constexpr int kMaxTokens = 30;
constexpr int kMinMatches = 3;  // header items needed when no "end" closes it
// A satellite navigation block behind the pixels; no such files are in use.
constexpr bool kGvarNavigation = false;

// Sectoring of the header: start and end sample and line, and their ratios.
struct Sector {
    int ssn = 0, sln = 0, esn = 0, eln = 0;
    float sr = 0, lr = -1;
};

const char* rest(const char* token, size_t from) {
    return std::strlen(token) >= from ? token + from : "";
}

bool prefix(const char* token, const char* word) {
    return std::strncmp(token, word, std::strlen(word)) == 0;
}

// Tests one token against every item of the header; the count of matches.
int match_token(const char* tok, Image* image, Sector* s, bool* end) {
    Domain& d = image->domain;
    int n = 0;
    if (prefix(tok, "id") && ++n) {
        std::strncpy(image->info, tok + 2, sizeof image->info - 1);
        image->info[sizeof image->info - 1] = '\0';
    }
    if (tok[0] == 'x' && ++n) image->width = image->bytes_per_line = d.nx = std::atoi(tok + 1);
    if (tok[0] == 'y' && ++n) image->height = d.ny = std::atoi(tok + 1);
    if (!std::strcmp(tok, "pl") && ++n) {
        d.proj = 4;
        d.dx = d.dy = 0.08f;
    }
    if (prefix(tok, "lat") && ++n) d.clat = static_cast<float>(std::atof(tok + 3));
    if (prefix(tok, "lon") && ++n) d.clon = static_cast<float>(std::atof(tok + 3));
    if (!std::strcmp(tok, "range") && ++n) d.dx = d.dy = 0.08f;
    if (prefix(tok, "ref1") && ++n) d.plat = static_cast<float>(std::atof(tok + 4));
    if (prefix(tok, "ref2") && ++n) d.plon = static_cast<float>(std::atof(tok + 4));
    if (prefix(tok, "ref3") && ++n) d.param[0] = static_cast<float>(std::atof(tok + 4));
    if (prefix(tok, "ref4") && ++n) d.param[1] = static_cast<float>(std::atof(tok + 4));
    if (prefix(tok, "ssn") && ++n) s->ssn = std::atoi(tok + 3);
    if (prefix(tok, "sln") && ++n) s->sln = std::atoi(tok + 3);
    if (prefix(tok, "esn") && ++n) s->esn = std::atoi(tok + 3);
    if (prefix(tok, "eln") && ++n) s->eln = std::atoi(tok + 3);
    if (prefix(tok, "sr") && ++n) s->sr = static_cast<float>(std::atof(tok + 2));
    if (prefix(tok, "lr") && ++n) s->lr = static_cast<float>(std::atof(tok + 2));
    if (tok[0] == 'f' && ++n) {
        const int seconds = std::atoi(rest(tok, 3));
        DATE_get_gmdate(&seconds, &image->date);
        DATE_make_label(&image->date, image->date_label);
    }
    if (!std::strcmp(tok, "end") && ++n) *end = true;
    return n;
}

long file_size(FILE* f) {
    const long at = std::ftell(f);
    std::fseek(f, 0, SEEK_END);
    const long size = std::ftell(f);
    std::fseek(f, at, SEEK_SET);
    return size;
}

int read_unisys(FILE* file, Image* image) {
    Domain& d = image->domain;
    image->source = SAT_UNISYS;
    image->depth = image->bits_per_pixel = 8;
    d.proj = 99;
    d.clat = d.clon = 0;
    d.dx = d.dy = 1.0f;
    Sector s;
    bool end = false;
    int matches = 0;
    char token[501];
    for (int i = 0; i < kMaxTokens && !end && std::fscanf(file, "%500s", token) == 1; i++)
        matches += match_token(token, image, &s, &end);
    if (!end && matches < kMinMatches) {
        MESS_print(MESS_WARN, "SAT_read_Unisys: Unable to determine image parameters\n");
        return -1;
    }
    if (const char* grid = RES_get("grid_domain"); grid && *grid) DOM_decode(grid, &d);

    std::fgetc(file);
    const long p = std::ftell(file);
    const int lines = image->height, elements = image->width;
    if (lines < 1 || elements < 1) {
        MESS_print(MESS_WARN, "SAT_read_Unisys: Invalid image parameters\n");
        return -1;
    }
    const long size = static_cast<long>(lines) * elements;
    if (size > file_size(file)) {
        MESS_print(MESS_WARN, "SAT_read_Unisys: Image data cut short\n");
        return -1;
    }
    image->data = static_cast<unsigned char*>(std::calloc(static_cast<size_t>(size), 1));
    if (!image->data) return -1;
    if (p < size) std::fread(image->data + p, 1, static_cast<size_t>(size - p), file);

    if (s.lr > 0) {
        const float lcor = static_cast<float>(s.sln - 1) * 2 * s.lr;
        const float ecor = static_cast<float>(s.ssn + 20) * s.sr;
        const float lres =
            (static_cast<float>(s.eln - 1) * 2 * s.lr - lcor) / static_cast<float>(lines);
        const float eres =
            (static_cast<float>(s.esn + 20) * s.sr - ecor) / static_cast<float>(elements);
        AREA_set_res(lcor, ecor, lres, eres);
    }
    if (kGvarNavigation && GVAR_read(file) == 1) d.proj = 9;
    return 0;
}

}  // namespace

int SAT_read_Unisys(const char* name, Image* image) {
    IMG_init(image);
    FILE* file = FILE_open(name, "r");
    if (!file) {
        MESS_print(MESS_WARN, "SAT_read_Unisys: Unable to open file:%s\n", name);
        return -1;
    }
    const int status = read_unisys(file, image);
    std::fclose(file);
    if (status != 0) {
        std::free(image->data);
        image->data = nullptr;
    }
    return status;
}
