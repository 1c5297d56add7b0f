// Small common tools: a hash table with several keys per item, byte-order
// handling for binary files, and WMO station number <-> identifier conversion.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

// One node of a key chain. A node without a key is free.
struct TableNode {
    std::unique_ptr<char[]> key;  // owned copy of the key text
    void* data = nullptr;         // the item, shared by the nodes of all keys
    std::unique_ptr<TableNode> next;
    TableNode* order = nullptr;             // next entry in order of entry (first key's nodes only)
    std::unique_ptr<unsigned char[]> item;  // owner of the item, on the first key's node

    TableNode() = default;
    TableNode(const TableNode&) = delete;
    TableNode& operator=(const TableNode&) = delete;
    ~TableNode();  // unlinks its chain without recursion
};

struct Table {
    int32_t size = 0;       // buckets per key
    int32_t item_size = 0;  // bytes of one stored item
    TableNode* cursor = nullptr;
    TableNode* first = nullptr;
    TableNode* last = nullptr;
    int32_t count = 0;
    int32_t num_keys = 0;
    std::vector<std::unique_ptr<TableNode[]>> buckets;  // one array of `size` nodes per key
};

int TAB_init(Table* table);
int TAB_create(Table* table, int size, int item_size, int num_keys);
int TAB_key(const Table* table, const char* key);
// One key text (const char*) follows for each of the table's keys.
int TAB_enter(Table* table, const void* item, ...);
void* TAB_search(const Table* table, int key_number, const char* key);

// Byte order. mode -1 native, 1 big-endian, 2 little-endian, other: always swap.
int swap_setup(int mode);
int swap_short(void* p);
int swap_long(void* p);
int swap_double(void* p);
int swap_shorts(void* p, int n);
int swap_longs(void* p, int n);
int fswap(float* a, float* b);
int fswap(int32_t* a, int32_t* b);
size_t fread_short_swap(void* p, FILE* file);
size_t fread_long_swap(void* p, FILE* file);
size_t fread_double_swap(void* p, FILE* file);

// Station identifiers. `out` needs WMO_ID_SIZE bytes: a number in no station range is
// written whole ("%5.5d"), which takes up to eleven characters.
constexpr int WMO_ID_SIZE = 12;
char* wmo_to_id(char* out, int number);
int id_to_wmo(const char* id, int* number);
