// The loop window queue client against a private queue; the test plays the window.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "plot/queue.h"

namespace {

struct Wire {
    long type;
    char text[120];
};

class QueueTest : public ::testing::Test {
   protected:
    void SetUp() override {
        id_ = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
        ASSERT_GE(id_, 0) << std::strerror(errno);
    }
    void TearDown() override { msgctl(id_, IPC_RMID, nullptr); }
    // A reply of the window on the given channel.
    void server_send(long channel, const std::string& text) {
        Wire w{};
        w.type = channel;
        std::memcpy(w.text, text.data(), text.size());
        ASSERT_EQ(msgsnd(id_, &w, text.size(), 0), 0);
    }
    int id_ = -1;
};

TEST_F(QueueTest, RepliesGiveStatusAndText) {
    char text[120];
    for (const char* reply : {"0us\n", "1", "-"}) server_send(5, reply);
    server_send(6, "0other");
    EXPECT_EQ(MQ_get(id_, 5, text), 0);
    EXPECT_STREQ(text, "us\n");
    EXPECT_EQ(MQ_get(id_, 5, text), 1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(MQ_get(id_, 5, text), -3);  // the window is not running
    MQ_clear(id_, 6);
    server_send(6, "2late");
    EXPECT_EQ(MQ_get(id_, 6, text), 2);
    EXPECT_STREQ(text, "late");
}

TEST_F(QueueTest, ConnectHandsOutAChannel) {
    server_send(2, "2stale");  // dropped before asking
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        Wire w{};
        if (msgrcv(id_, &w, sizeof w.text, 1, 0) < 0) _exit(1);
        if ("/" + std::to_string(getuid()) != w.text) _exit(2);
        Wire reply{2, "27"};
        _exit(msgsnd(id_, &reply, 3, 0) == 0 ? 0 : 3);
    }
    EXPECT_EQ(MQ_connect(id_), 7);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(Queue, NoWindowMeansNoSuchEntry) {
    // Key 0 must never make a private queue of its own.
    for (key_t key : {key_t{0}, 0x5a7e0000 + static_cast<key_t>(getpid() % 65536)}) {
        errno = 0;
        EXPECT_EQ(MQ_open(key), -1) << key;
        EXPECT_EQ(errno, ENOENT) << key;
    }
}

}  // namespace
