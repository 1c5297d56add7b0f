// The station database: a text file of stations with names, positions and plotting
// priorities ("sao.cty"), filtered by priority, domain and search keys into one
// hashed table, so that points are placed by identifier and positions find their
// nearest station.
#pragma once

#include <cstdint>
#include <cstdio>

struct Domain;

constexpr int CTY_NAME_SIZE = 21;
constexpr int CTY_ID_SIZE = 10;
// Table modes: the whole record, or the short form with map positions (mode 3 also
// keyed by position for the ring search).
constexpr int CTY_STORE_FULL = 1;
constexpr int CTY_STORE_XY = 2;
constexpr int CTY_STORE_LOC = 3;

// One line of the file.
struct CityRec {
    char name[CTY_NAME_SIZE];
    char state[3];
    char country[3];
    char id[CTY_ID_SIZE];
    int32_t prior;
    int32_t mark1;  // "*" before the priority digit
    int32_t mark2;  // "*" behind it
    float lat;
    float lon;
    float elev;  // -9999 when not known
    int32_t wmo;
    int32_t data_flag;
    void* data;  // extra data of the caller, in the table only
};

// The short form: the key the station was entered under and its map position.
struct CityXY {
    char key[CTY_ID_SIZE];
    int32_t wmo;
    float x;
    float y;
    float elev;
    int32_t prior;
    void* data;
};

using CtyEnterFunc = int (*)(void* data, const CityRec* rec);

// The file.
FILE* CTY_open(const char* name, const char* mode, int* size);
int CTY_read(FILE* file, CityRec* rec);
int CTY_rewind(FILE* file);
int CTY_close(FILE* file);
// The database file by the resource city_file, then `default_name`, then "sao.cty",
// on the file path. Null for "none" or a file not found; *size gets its length.
FILE* CTY_open_file(const char* default_name, int* size);

// The table.
int CTY_store(const char* name, int mode, const Domain* domain, int priority);
int CTY_search(const char* id, CityRec* rec);  // mode 1 tables
int CTY_search(const char* id, CityXY* rec);   // every mode
int CTY_search_loc(float lat, float lon, CityXY* rec);
void* CTY_get_data(const char* id);
int CTY_set_id_type(int type);
int CTY_set_data(int size, CtyEnterFunc function);
// Stations in the table, 0 without one.
int CTY_count();
// Drops the table; for tests that build several in one process.
void CTY_free();

// Straight through the file.
int CTY_get(const char* name, const char* id, CityRec* rec);
int CTY_get_loc(const char* name, const char* id, float* lat, float* lon);

int CTY_get_prior();
int CTY_ids_cmp(int count, char** list, const char* id);
int CTY_data_cmp(int count, char** list, const CityRec* rec);
