// panelctl say and panelctl queue: bytes in the queue, and nothing lost by looking.

#include "tests/tools/session.h"

#include <cerrno>
#include <sys/msg.h>

namespace {

class PanelctlQueue : public Panelctl {
  protected:
    int queue() const { return msgget(gateway.queueKey(), 0); }

    // Takes everything out of the queue: type and bytes.
    void drain() {
        struct {
            long type;
            unsigned char text[8192];
        } message;
        ssize_t size = 0;
        while ((size = msgrcv(queue(), &message, sizeof message.text, 0, IPC_NOWAIT)) >= 0) {
            text += "--- type " + std::to_string(message.type) + ": ";
            for (ssize_t i = 0; i < size; ++i) {
                char code[8];
                const bool plain = message.text[i] >= ' ' && message.text[i] < 0x7f;
                std::snprintf(code, sizeof code, plain ? "%c" : "\\x%02x", message.text[i]);
                text += code;
            }
            text += "\n";
        }
    }
};

TEST_F(PanelctlQueue, SaySendsTheBytesThatThePanelTakesAndTellsWhatItLosesOrRefuses) {
    const std::string a68(68, 'a');
    for (const std::string& arguments :
         {"link up again"s, "'18 letters: as are'"s, "--type 7 -- '-1 dBm'"s, "报警 7"s,
          a68.substr(1), a68, "'(eth0), ok?'"s, "'a\t温'"s, a68 + "a", "'5 €'"s, "a\u202e"s,
          "'cut \xe6\xb8'"s}) {
        type("panelctl say " + arguments);
        drain();
    }
    while (gateway.sendLogBytes(std::string(69, 'x'))) {
    }
    type("panelctl say " + a68);
    gateway.setPanel(sim::panel32);
    gateway.takeLogLine();
    type("panelctl say x");
    expectText("say");
}

TEST_F(PanelctlQueue, ListsWhatWaitsAndDropsTheStuckMessageAlone) {
    gateway.sendLogBytes(std::string(69, 'a'), 5);
    gateway.sendLogBytes("\xB1\xA8\xBE\xAF\x1b\n\0"s);
    gateway.sendLogBytes(std::string(68, 'z'), 9);
    gateway.sendLogBytes(std::string(70, 'd'), 4);
    gateway.sendLogBytes("a\x01\xb1", 2);
    type("panelctl say b");
    // Its owner may have made it smaller than what waits in it.
    msqid_ds settings{};
    msgctl(queue(), IPC_STAT, &settings);
    settings.msg_qbytes = 60;
    msgctl(queue(), IPC_SET, &settings);
    type("panelctl queue");
    type("panelctl queue --drop-stuck");
    type("panelctl queue --drop-stuck"); // the next one can be taken: nothing more is dropped
    drain();
    msgctl(queue(), IPC_RMID, nullptr);
    type("panelctl queue --drop-stuck");
    EXPECT_EQ(queue(), -1) << "looking has made one";
    expectText("queue");
}

// A kernel that does not copy messages: what their sizes say must do, and what the daemon takes.
TEST_F(PanelctlQueue, WithoutCopiesItJudgesByTheSizesAndByTheDaemon) {
    for (const std::vector<std::size_t>& sizes :
         {std::vector<std::size_t>{}, {68}, {30, 38}, {69}, {68, 70}}) {
        gateway.clearFaults();
        text += "---\n";
        for (const std::size_t size : sizes) {
            gateway.sendLogBytes(std::string(size, 'x'));
        }
        gateway.failCall(sim::Call::MsgRcv, ENOSYS);
        type("panelctl queue");
        // Whether one of several blocks the queue depends on a daemon that runs.
        if (sizes.size() < 2) {
            gateway.failCall(sim::Call::MsgRcv, ENOSYS);
            type("panelctl queue --drop-stuck");
        }
        drain();
    }
    gateway.failCall(sim::Call::MsgRcv, ENOSYS, 1, true); // the daemon takes none either
    startDaemon();
    gateway.sendLogBytes(std::string(75, 'x'));
    gateway.sendLogBytes("y");
    type("panelctl queue");
    expectText("queue-unseen");
}

} // namespace
