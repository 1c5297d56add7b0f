// Defaults files and the environment as sources of resources: the program-name
// qualifier, tags and conditionals, and the pattern match of resource keys.
#pragma once

int DEF_prog();
int DEF_name(const char* title);
int DEF_clr_tag();
int DEF_tag(const char* text);
int DEF_open(const char* element);
int DEF_close();
int DEF_get(char* key, char* value);
int DEF_cmp(const char* resource, const char* pattern);
int DEF_valid(const char* pattern);
char* DEF_parse_name(const char* pattern, char* out);
int DEF_env(const char* resource, const char* env, char* out);
// Back to the start state (no title, no tags, no open file); for tests.
void DEF_reset();
