// What the transactions and dialogues make of the chunks that they read, and how much they collect.
// Needs no gateway.

#include "modem/at_transaction.h"
#include "modem/combined_reply.h"
#include "tests/modem/modem_status_text.h"
#include "tests/modem/scripted_port.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace {

const std::string end;

std::string padded(std::size_t size, std::string_view tail) {
    return std::string(size - tail.size(), '.').append(tail);
}

TEST(Transaction, ResultOfEachSequenceOfChunks) {
    const struct {
        const char* behaviour;
        int (*ask)(int fd);
        std::vector<std::string> chunks;
        int result;
        int left = 0; // chunks that are not read any more
    } cases[] = {
        {"the marker may come late", checkSimReady, {"at+cpin?\r\r\n", "\r\nRING\r\n", "OK"}, 1},
        {"ERROR ends", checkSimReady, {"\r\n+CME ERROR: 10\r\n", "OK"}, 0, 1},
        {"a marker beside ERROR wins", checkSimReady, {"ERROR\r\nOK\r\n"}, 1},
        {"the end of the port ends", checkSimReady, {end, "OK"}, 0, 1},
        {"a chunk of 511 bytes is read whole", checkSimReady, {padded(511, "OK"), end}, 1, 1},
        {"a chunk of 512 bytes is not", checkSimReady, {padded(512, "OK"), end}, 0},
        {"roaming", checkRegistered, {"\r\n+CREG: 0,5\r\n\r\nOK\r\n"}, 1},
        {"another report mode", checkRegistered, {"\r\n+CREG: 1,1\r\n\r\nOK\r\n", end}, 0},
        {"behind its echo", querySignalQuality, {"at+csq\r\r\n", "\r\n+CSQ: 7,99\r\n"}, 7},
        {"another line's colon", querySignalQuality, {"+CREG: 1\r\n\r\n+CSQ: 23,99"}, 1},
        {"a longer one is cut", querySignalQuality, {"+CSQ: 0000234,99"}, 23},
        {"a field without end is cut", querySignalQuality, {"+CSQ: 1234567890123"}, 123456},
        {"no field", querySignalQuality, {"+CSQ:"}, 0},
        {"a colon at the very start", querySignalQuality, {":+CSQ: 23,99"}, 0},
        {"a prefix beside ERROR wins", querySignalQuality, {"+CSQ: 5,99\r\nERROR\r\n"}, 5},
        {"OK alone is no value", querySignalQuality, {"OK\r\n", "+CS", "Q: 5,99", end}, -1},
        {"mode ends at white space", queryNetworkMode, {"+CNSMOD: 0,13 ,4"}, 13},
        {"another line's comma", queryNetworkMode, {"+CREG: 0,1\r\n+CNSMOD: 0,8"}, 1},
        {"an over-long mode is cut", queryNetworkMode, {"+CNSMOD: 0,00000087"}, 8},
        {"a mode without its second number", queryNetworkMode, {"+CNSMOD: 8\r\n"}, 0},
        {"LTE", querySysInfoMode, {"\r\n^SYSINFO: 2,3,0,17,1\r\n\r\nOK\r\n"}, 8},
        {"GSM", querySysInfoMode, {"AT^SYSINFO\r\r\n^SYSINFO: 2,3,0,3,1\r\n"}, 1},
        {"WCDMA", querySysInfoMode, {"^SYSINFO:2,3,0,4,1"}, 4},
        {"TD-SCDMA", querySysInfoMode, {"^SYSINFO:2,3,0,5,1"}, 9},
        {"no service", querySysInfoMode, {"^SYSINFO: 0,0,0,0,255"}, -1},
        {"commas of another line", querySysInfoMode, {"+CREG: 0,1\r\n^SYSINFO: 2,3,17,0,1"}, 8},
        {"an over-long system mode", querySysInfoMode, {"^SYSINFO: 2,3,0,00000034,1"}, 1},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.behaviour);
        ScriptedPort port(one.chunks);
        EXPECT_EQ(one.ask(port.fd()), one.result);
        EXPECT_EQ(port.chunksLeft(), one.left);
    }
}

TEST(Dialogue, CollectsSoManyChunksOfAnAnswerAndSoManyBytes) {
    // The maker's answer: 20 chunks, 512 bytes.
    const auto maker = [](std::size_t count, std::size_t bytes) {
        std::vector<std::string> chunks = {"OK", "+CREG: 0,1", "+CSQ: 20,99"};
        chunks.insert(chunks.end(), count, padded(bytes, ""));
        chunks.insert(chunks.end(), {"SIMCOM and more", "+CNSMOD: 0,8"});
        return chunks;
    };
    const std::string s300 = padded(300, "");
    const struct {
        std::vector<std::string> chunks;
        const char* status;
        int left; // chunks
    } cases[] = {
        {maker(19, 1), "1 1 20 3 8", 0},
        {maker(20, 1), "1 1 20 3 0", 2},
        {maker(1, 506), "1 1 20 3 8", 0}, // the maker's name fills the rest
        {maker(1, 507), "1 1 20 3 0", 1},
        // The combined answer: 10 chunks, 511 bytes.
        {{padded(510, "+CSQ: 1"), "23456", "7"}, "0 0 12 2 2", 1},
        {{padded(511, "+CSQ: 1"), "2"}, "0 0 1 1 2", 1},
        {{s300, s300 + "+CSQ: 1", "2"}, "0 0 0 1 2", 1},
        {{s300, padded(211, "+CSQ: 1") + "2", "3"}, "0 0 1 1 2", 1},
        {{"+CSQ: 1", "2", end, "3"}, "0 0 12 2 2", 1},
        {{"+CSQ: ", "0", "0", "0", "0", "0", "0", "0", "1", "2", "3"}, "0 0 12 2 2", 1},
    };
    for (const auto& one : cases) {
        ScriptedPort port(one.chunks);
        const auto kind = one.chunks.front() == "OK" ? modelStepwise : modelCombined;
        EXPECT_EQ(query(kind, port.fd()), one.status);
        EXPECT_EQ(port.chunksLeft(), one.left);
    }
}

// Nobody listens where this port writes to, so the first read behind every command fails; one
// answer has come before.
TEST(Dialogue, AFailedReadDoesNotEndTheMakersAnswer) {
    const int port = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    auto* const peer = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(port, peer, size), 0);
    ASSERT_EQ(getsockname(port, peer, &size), 0);
    ASSERT_EQ(sendto(port, "SIMCOM", 6, 0, peer, size), 6); // to itself
    address.sin_port = htons(1);
    ASSERT_EQ(connect(port, peer, size), 0);
    // No other transaction survives a failed read. The mode query is made, though: -1, not 0.
    EXPECT_EQ(query(modelStepwise, port), "0 0 -1 0 -1");
    close(port);
}

std::string parsed(const std::string& text) {
    ModemStatus status{};
    parseCombinedReply(text.c_str(), &status);
    return textOf(status);
}

TEST(CombinedReply, IsReadByWhatItsAnswersName) {
    const struct {
        std::string text; // a '/' stands for a line end
        const char* status;
    } cases[] = {
        {"at+cpin?/at+creg?/at+csq/+CPIN: READY/OK/+CREG: 1/+CREG: 0,5/OK/+CSQ: 9,99/OK/",
         "1 1 9 1 0"},
        {"+CPIN: READY/OK/ERROR/+CSQ: 25,99/OK/", "1 0 25 4 0"},
        {"", "0 0 0 1 0"},
        // The OK of a later answer is not the SIM's.
        {"+CME ERROR: 10/OK/+CREG: 0,1/OK/+CSQ: 20,99/OK/", "0 1 20 3 0"},
        {"/+CREG: 0,1/OK/+CSQ: 20,99/OK/", "0 1 20 3 0"},
        // The last signal counts, without and behind a registration.
        {"+CSQ: 1,99/+CSQ: 2,99/+CREG: 0,1/+CSQ: 3,99/+CSQ: 12,99/", "0 1 12 2 0"},
        {"OK/+CSQ: 1,99/+CSQ: 12,99/", "1 0 12 2 0"},
        {"OK/+CSQ: 9,99/+CREG: 0,1/", "1 1 0 1 0"},
        // Divided, but not in the expected form.
        {"/+CREG: \t0 ,\t1/OK/+CREG: 0,2/+CSQ: 5,99", "0 0 5 1 0"},
        {"/+CREG:0,1/OK/", "0 0 0 1 0"},
        // An answer begins with two numbers; what does not is part of the SIM's.
        {"/+CREG: ,1/+CREG: 0,/+CREG: 1/OK/+CREG: 0,5", "1 1 0 1 0"},
        {"OK/+CREG: 0,2/+CSQ: 20,99/+CREG: 0,1/", "1 0 20 3 0"},
        {"OK/+CREG: 2,1/+CREG: 0,1/+CSQ: ,99", "1 1 0 1 0"},
        {"OK/+CSQ: 000000000000123,99/", "1 0 12 2 0"}, // cut to fifteen characters
    };
    for (auto one : cases) {
        for (std::size_t at; (at = one.text.find('/')) != std::string::npos;) {
            one.text.replace(at, 1, "\r\n");
        }
        EXPECT_EQ(parsed(one.text), one.status) << one.text;
    }
    std::string bars; // where they change: csq from -2 to 34
    for (int csq = -2; csq < 35; ++csq) {
        bars += parsed("+CSQ: " + std::to_string(csq) + ",99").rbegin()[2];
    }
    EXPECT_EQ(bars, "0011111111112222222233333334444444400");
    ModemStatus status{1, 1, 7, 3, 2};
    parseCombinedReply(nullptr, &status);
    parseCombinedReply("+CSQ: 1,1", nullptr);
    EXPECT_EQ(textOf(status), "1 1 7 3 2");
}

} // namespace
