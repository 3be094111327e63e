// How much of an answer the two dialogues of the status query collect.

#include "modem/modem_status.h"
#include "tests/modem/modem_status_text.h"
#include "tests/modem/scripted_port.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace {

ModemStatus query(std::uint8_t kind, int fd) {
    ModemStatus status{};
    queryModemStatus(kind, fd, status);
    return status;
}

TEST(StepwiseDialogue, MakerIsLookedForInTwentyChunksOf512Bytes) {
    const std::string dots(500, '.');
    const struct {
        std::vector<std::string> chunks;
        std::int32_t networkType;
    } cases[] = {
        {std::vector<std::string>(19, "."), 8},
        {std::vector<std::string>(20, "."), 0},
        {{dots, "......"}, 8}, // 506 bytes: the maker's name fills the rest
        {{dots, "......."}, 0},
    };
    for (const auto& one : cases) {
        ScriptedPort port({"OK", "+CREG: 0,1", "+CSQ: 20,99"});
        for (const std::string& chunk : one.chunks) {
            port.add(chunk);
        }
        port.add("SIMCOM and more");
        port.add("+CNSMOD: 0,8"); // not taken for a part of the maker's answer
        EXPECT_EQ(query(modelStepwise, port.fd()).networkType, one.networkType);
    }
}

TEST(StepwiseDialogue, AFailedReadDoesNotEndTheMakersAnswer) {
    // Nobody listens where this port writes to, so the first read behind every command fails;
    // one answer has come before.
    const int port = socket(AF_INET, SOCK_DGRAM, 0);
    const int peer = socket(AF_INET, SOCK_DGRAM, 0);
    for (const auto& [from, to] : {std::pair(peer, port), std::pair(port, peer)}) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(to, reinterpret_cast<sockaddr*>(&address), size); // fails for the bound one
        ASSERT_EQ(getsockname(to, reinterpret_cast<sockaddr*>(&address), &size), 0);
        ASSERT_EQ(connect(from, reinterpret_cast<sockaddr*>(&address), size), 0);
    }
    ASSERT_EQ(send(peer, "SIMCOM", 6, 0), 6);
    close(peer);

    // No other transaction survives a failed read. The mode query is made, though: -1, not 0.
    EXPECT_EQ(query(modelStepwise, port), (ModemStatus{0, 0, -1, 0, -1}));
    close(port);
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

} // namespace
