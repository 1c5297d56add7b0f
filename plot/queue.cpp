// Client side of the loop window's System V message queue. This program never reads
// the queue parameters, so the transport is always the message queue, with key offset 0
// and a 20-second guard around every operation.
#include "plot/queue.h"

#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "env/messages.h"

namespace {

constexpr int kTextSize = 120;  // text bytes of one message on the queue
constexpr uint32_t kTrace = 0x80000000;

int key_offset = 0;
int timeout = 20;
void (*to_func)(int) = nullptr;
void (*top_func)(int) = nullptr;

struct Message {
    long type;
    char text[kTextSize + 8];
};

}  // namespace

int MQ_open(int number) {
    std::signal(SIGALRM, MQ_intrp);
    key_t key = static_cast<key_t>(number + key_offset);
    // Key 0 is IPC_PRIVATE, which would make a new queue instead of finding the window's.
    if (key == IPC_PRIVATE) {
        errno = ENOENT;
        return -1;
    }
    int id = msgget(key, 0);
    if (id == -1) return errno == ENOENT ? -1 : 0;
    return id;
}

int MQ_connect(int queue) {
    MQ_clear(queue, 2);
    MQ_put(queue, -1, "%d", static_cast<int>(getuid()));
    MQ_enable_alarm();
    char text[kTextSize + 8];
    int channel = -1;
    if (MQ_get(queue, 2, text) == 2) {
        channel = std::atoi(text);
        MQ_clear(queue, channel);
    }
    MQ_disable_alarm();
    return channel;
}

int MQ_put(int queue, int channel, const char* format, ...) {
    Message m{};
    m.type = 1;
    m.text[0] = channel == -1 ? '/' : static_cast<char>('0' + channel);
    if (format) {
        va_list args;
        va_start(args, format);
        std::vsnprintf(m.text + 1, kTextSize - 1, format, args);
        va_end(args);
    }
    MQ_enable_alarm();
    int result = msgsnd(queue, &m, kTextSize, 0);
    MQ_disable_alarm();
    return result;
}

int MQ_get(int queue, int channel, char* text) {
    Message m{};
    ssize_t got;
    int tries = 0;
    MQ_enable_alarm();
    for (;;) {
        got = msgrcv(queue, &m, kTextSize, channel, IPC_NOWAIT | MSG_NOERROR);
        int error = got < 0 ? errno : 0;
        ++tries;
        MESS_print(kTrace, "GET-MSG:%d %d %d %d\n", queue, channel, static_cast<int>(got), tries);
        if (got >= 0 || error != ENOMSG) break;
        if (tries > 200)
            ZMT_sleep(1.0f);
        else if (tries >= 3)
            ZMT_sleep(0.1f);
    }
    MQ_disable_alarm();
    if (got < 1) {
        if (text) text[0] = 0;
        return -1;
    }
    m.text[got < kTextSize ? got : kTextSize] = 0;
    if (text) std::strcpy(text, m.text + 1);
    MESS_print(kTrace, "GET:%s\n", m.text + 1);
    return m.text[0] - '0';
}

int MQ_clear(int queue, int channel) {
    Message spare{};
    while (msgrcv(queue, &spare, kTextSize, channel, IPC_NOWAIT | MSG_NOERROR) >= 0) {
    }
    return 0;
}

int MQ_enable_alarm() {
    top_func = std::signal(SIGALRM, to_func ? to_func : MQ_intrp);
    alarm(static_cast<unsigned>(timeout));
    return 0;
}

int MQ_disable_alarm() {
    alarm(0);
    return 0;
}

void MQ_intrp(int) {
    MESS_print(0xc0, "Queue not responding!!\n");
    ZMT_exit(7);
}
