// A stand-in loop window for the tests: owns a window and pixmap published in
// DIR/zmtloop.win, answers client messages 2 (new frame) and 9 (stop), serves
// resources on queue KEY, and prints a line for each thing it did.
//   loop_peer DIR KEY WIDTHxHEIGHT [name=value ...]
#include <X11/Xlib.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

constexpr int TEXT_SIZE = 120;
constexpr long SERVER_CHANNEL = 1;
constexpr long HANDOUT_CHANNEL = 2;

struct Wire {
    long type;
    char text[TEXT_SIZE];
};

volatile sig_atomic_t stop_requested = 0;

void on_term(int) {
    stop_requested = 1;
}

struct Peer {
    Display* display = nullptr;
    Window window = 0;
    Pixmap pixmap = 0;
    GC gc = nullptr;
    int width = 0, height = 0;
    int frames = 0;
    int queue = -1;
    int next_channel = 3;
    std::map<std::string, std::string> resources;
    std::string title = "peer";
};

void say(const char* format, const std::string& text = "") {
    std::printf(format, text.c_str());
    std::fflush(stdout);
}

void reply(Peer& p, long channel, const std::string& text) {
    Wire w{};
    w.type = channel;
    std::snprintf(w.text, sizeof w.text, "%s", text.c_str());
    msgsnd(p.queue, &w, text.size() + 1, 0);
}

// One request: "/" asks for a channel; else the channel digit, then the line.
void serve(Peer& p, const Wire& w, size_t length) {
    const std::string line(w.text, strnlen(w.text, length));
    if (line.empty()) return;
    const long channel = line[0] - '0';
    const std::string body = line.substr(1);
    if (line[0] == '/') {
        reply(p, HANDOUT_CHANNEL, "2" + std::to_string(p.next_channel++));
        say("connect\n");
        return;
    }
    char name[TEXT_SIZE] = "", value[TEXT_SIZE] = "";
    if (std::sscanf(body.c_str(), "query res %119s", name) == 1) {
        const auto it = p.resources.find(name);
        if (it != p.resources.end()) reply(p, channel, "0" + it->second + "\n");
        reply(p, channel, "1");
    } else if (std::sscanf(body.c_str(), "set res %119s %119[^\n]", name, value) >= 1) {
        p.resources[name] = value;
        reply(p, channel, "1");
        say("set %s\n", std::string(name) + "=" + value);
    } else if (body == "quit") {
        reply(p, channel, "1");
        say("quit\n");
    }
}

void serve_queue(Peer& p) {
    Wire w{};
    ssize_t n = 0;
    while ((n = msgrcv(p.queue, &w, sizeof w.text, SERVER_CHANNEL, IPC_NOWAIT | MSG_NOERROR)) >= 0)
        serve(p, w, static_cast<size_t>(n));
}

// A new frame is counted (a real loop window would keep the picture); the "+" in
// the title holds the client back meanwhile.
void new_frame(Peer& p) {
    XStoreName(p.display, p.window, (p.title + " +").c_str());
    XSync(p.display, False);
    XStoreName(p.display, p.window, p.title.c_str());
    XSync(p.display, False);
    say("new %s\n", std::to_string(++p.frames));
}

bool publish(const std::string& dir, const Peer& p) {
    const std::string name = dir + "/zmtloop.win", temp = name + ".tmp";
    FILE* f = std::fopen(temp.c_str(), "w");
    if (!f) return false;
    std::fprintf(f, "+%lu:%lu:%dx%d\n", p.window, p.pixmap, p.width, p.height);
    std::fclose(f);
    return std::rename(temp.c_str(), name.c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    Peer p;
    if (argc < 4 || std::sscanf(argv[3], "%dx%d", &p.width, &p.height) != 2) return 2;
    for (int i = 4; i < argc; ++i) {
        const char* eq = std::strchr(argv[i], '=');
        if (eq) p.resources[std::string(argv[i], static_cast<size_t>(eq - argv[i]))] = eq + 1;
    }
    p.display = XOpenDisplay(nullptr);
    if (!p.display) return 4;
    const int screen = DefaultScreen(p.display);
    p.window = XCreateSimpleWindow(p.display, RootWindow(p.display, screen), 0, 0,
                                   static_cast<unsigned>(p.width), static_cast<unsigned>(p.height),
                                   0, 0, BlackPixel(p.display, screen));
    p.pixmap = XCreatePixmap(p.display, p.window, static_cast<unsigned>(p.width),
                             static_cast<unsigned>(p.height),
                             static_cast<unsigned>(DefaultDepth(p.display, screen)));
    p.gc = XCreateGC(p.display, p.window, 0, nullptr);
    XSetForeground(p.display, p.gc, BlackPixel(p.display, screen));
    XFillRectangle(p.display, p.pixmap, p.gc, 0, 0, static_cast<unsigned>(p.width),
                   static_cast<unsigned>(p.height));
    XStoreName(p.display, p.window, p.title.c_str());
    XSelectInput(p.display, p.window, StructureNotifyMask);
    XMapWindow(p.display, p.window);
    XSync(p.display, False);

    p.queue = msgget(static_cast<key_t>(std::atoi(argv[2])), IPC_CREAT | 0600);
    if (p.queue < 0 || !publish(argv[1], p)) return 5;
    signal(SIGTERM, on_term);
    say("ready %s\n", std::to_string(p.pixmap));

    while (!stop_requested) {
        while (XPending(p.display)) {
            XEvent ev;
            XNextEvent(p.display, &ev);
            if (ev.type != ClientMessage) continue;
            if (ev.xclient.data.b[0] == 2) new_frame(p);
            if (ev.xclient.data.b[0] == 9) {
                say("stop\n");
                stop_requested = 1;
            }
        }
        serve_queue(p);
        usleep(20000);
    }
    msgctl(p.queue, IPC_RMID, nullptr);
    std::remove((std::string(argv[1]) + "/zmtloop.win").c_str());
    XFreeGC(p.display, p.gc);
    XCloseDisplay(p.display);
    return 0;
}
