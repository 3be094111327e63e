// The two dialogues of the status query over chunks that wait in the port: what is asked, how
// often, and how much of an answer is collected.

#include "modem/modem_status.h"
#include "tests/modem/modem_status_text.h"
#include "tests/modem/scripted_port.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>

namespace {

ModemStatus query(std::uint8_t kind, int fd) {
    ModemStatus status{};
    queryModemStatus(kind, fd, status);
    return status;
}

// Chunks up to the maker's answer for the stepwise dialogue.
const std::vector<std::string> asFarAsTheMaker = {"OK", "+CREG: 0,1", "+CSQ: 20,99"};

TEST(StepwiseDialogue, MakerIsFoundInAnAnswerInPieces) {
    ScriptedPort port(asFarAsTheMaker);
    for (const char* piece : {"\r\nSIM", "COM_Ltd\r\n", "\r\nOK\r\n"}) {
        port.add(piece);
    }
    port.add({}); // the end of the answer, without waiting for silence
    port.add("+CNSMOD: 0,8");
    EXPECT_EQ(query(modelStepwise, port.fd()), (ModemStatus{1, 1, 20, 3, 8}));
    EXPECT_EQ(port.written(), "at+cpin?\r\nat+creg?\r\nat+csq\r\nAT+CGMI\r\nat+cnsmod?\r\n");
}

TEST(StepwiseDialogue, MakerIsLookedForInTwentyChunks) {
    for (const int before : {14, 15}) {
        ScriptedPort port(asFarAsTheMaker);
        for (int piece = 0; piece < before; ++piece) {
            port.add(".");
        }
        for (const char* letter : {"S", "I", "M", "C", "O", "M"}) {
            port.add(letter);
        }
        port.add("+CNSMOD: 0,8");
        EXPECT_EQ(query(modelStepwise, port.fd()).networkType, before == 14 ? 8 : 0);
    }
}

TEST(StepwiseDialogue, MakerIsLookedForIn512Bytes) {
    for (const std::size_t before : {506U, 507U}) {
        ScriptedPort port(asFarAsTheMaker);
        port.add(std::string(300, '.'));
        // One chunk is longer than the room that is left for it; what is beyond is lost.
        port.add(std::string(before - 300, '.') + "SIMCOM and more");
        port.add("+CNSMOD: 0,8"); // not taken for a part of the maker's answer
        EXPECT_EQ(query(modelStepwise, port.fd()).networkType, before == 506 ? 8 : 0);
    }
}

TEST(StepwiseDialogue, AFailedReadDoesNotEndTheMakersAnswer) {
    // Nobody listens where this port writes to, so the first read behind every command fails;
    // one answer has come before.
    sockaddr_in addresses[2] = {};
    int ends[2];
    socklen_t size = sizeof(sockaddr_in);
    for (int i = 0; i < 2; ++i) {
        auto* address = reinterpret_cast<sockaddr*>(&addresses[i]);
        addresses[i].sin_family = AF_INET;
        addresses[i].sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ends[i] = socket(AF_INET, SOCK_DGRAM, 0);
        ASSERT_EQ(bind(ends[i], address, size), 0);
        ASSERT_EQ(getsockname(ends[i], address, &size), 0);
    }
    const int port = ends[0];
    const int peer = ends[1];
    ASSERT_EQ(connect(port, reinterpret_cast<sockaddr*>(&addresses[1]), size), 0);
    ASSERT_EQ(connect(peer, reinterpret_cast<sockaddr*>(&addresses[0]), size), 0);
    ASSERT_EQ(send(peer, "SIMCOM", 6, 0), 6);
    close(peer);

    // No other transaction survives a failed read. The mode query is made, though: -1, not 0.
    EXPECT_EQ(query(modelStepwise, port), (ModemStatus{0, 0, -1, 0, -1}));
    close(port);
}

TEST(CombinedDialogue, AsksEverythingInOneWrite) {
    ScriptedPort port({"+CPIN: READY\r\nOK\r\n+CREG: 0,5\r\nOK\r\n", "+CSQ: 31,99\r\nOK\r\n", ""});
    EXPECT_EQ(query(modelCombined, port.fd()), (ModemStatus{1, 1, 31, 4, 2}));
    EXPECT_EQ(port.written(), "at+cpin?\r\nat+creg?\r\nat+csq\r\n");
}

TEST(CombinedDialogue, CollectsExactly511Bytes) {
    const auto answer = [](std::size_t size, std::string_view tail) {
        return std::string(size - tail.size(), '.').append(tail);
    };
    const struct {
        std::vector<std::string> chunks;
        std::int32_t csq;
        int left;
    } cases[] = {
        {{answer(510, "+CSQ: 1"), "23456", "7"}, 12, 1}, // 510 bytes: there may be more
        {{answer(511, "+CSQ: 1"), "2"}, 1, 1},           // 511 bytes: full
        {{answer(500, "+CSQ: 1"), "2", "3", ""}, 123, 0},
        {{answer(300, ""), answer(300, "") + "+CSQ: 1", "2"}, 0, 1},
        {{answer(300, ""), answer(211, "+CSQ: 1") + "2", "3"}, 1, 1},
        {{"+CSQ: 1", "2", "", "3"}, 12, 1}, // the end of the port
    };
    for (const auto& one : cases) {
        ScriptedPort port(one.chunks);
        EXPECT_EQ(query(modelCombined, port.fd()).csq, one.csq);
        EXPECT_EQ(port.chunksLeft(), one.left);
    }
}

TEST(CombinedDialogue, ReadsAtMostTenChunks) {
    ScriptedPort port({"+CSQ: "});
    for (const char* digit : {"0", "0", "0", "0", "0", "0", "1", "2", "3", "4", "5"}) {
        port.add(digit);
    }
    EXPECT_EQ(query(modelCombined, port.fd()).csq, 123);
    EXPECT_EQ(port.chunksLeft(), 2);
}

TEST(UnknownKind, SendsNothing) {
    ScriptedPort port({"+CSQ: 20,99"});
    for (const auto kind : std::to_array<std::uint8_t>({0, 3, 255})) {
        EXPECT_EQ(query(kind, port.fd()), ModemStatus{});
    }
    EXPECT_EQ(port.written(), "");
    EXPECT_EQ(port.chunksLeft(), 1);
}

} // namespace
