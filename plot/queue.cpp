#include "plot/queue.h"

int MQ_open(int) { return -1; }
int MQ_connect(int) { return -1; }
int MQ_put(int, int, const char*, ...) { return -1; }
int MQ_get(int, int, char* text) { if (text) text[0] = 0; return -1; }
int MQ_clear(int, int) { return -1; }
int MQ_enable_alarm() { return -1; }
int MQ_disable_alarm() { return -1; }
void MQ_intrp(int) {}
