// Client side of the loop window's message queue.
#pragma once

int MQ_open(int number);
int MQ_connect(int queue);
int MQ_put(int queue, int channel, const char* format, ...) __attribute__((format(printf, 3, 4)));
// `text` must hold 120 bytes.
int MQ_get(int queue, int channel, char* text);
int MQ_clear(int queue, int channel);
int MQ_enable_alarm();
int MQ_disable_alarm();
// The alarm handler: the window did not answer in time.
void MQ_intrp(int signal);
