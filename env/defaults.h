// Defaults files and the environment as sources of resources: the program-name
// qualifier, tags and conditionals, and the pattern match of resource keys.
#pragma once

// Buffers handed to DEF_get (key, value) and to DEF_env (value); longer texts are cut.
constexpr int DEF_KEY_SIZE = 50;
constexpr int DEF_VALUE_SIZE = 200;
constexpr int DEF_ENV_SIZE = 4096;

int DEF_prog();
int DEF_name(const char* title);
int DEF_clr_tag();
// Adds the text itself, not a copy: it must outlive the reading of the defaults list.
int DEF_tag(const char* text);
int DEF_open(const char* element);
int DEF_close();
int DEF_get(char* key, char* value);
int DEF_cmp(const char* resource, const char* pattern);
int DEF_valid(const char* pattern);
char* DEF_parse_name(const char* pattern, char* out);
int DEF_env(const char* resource, const char* env, char* out);
// Back to the start state (no title, no tags, no open file, no open IF); for tests.
void DEF_reset();
