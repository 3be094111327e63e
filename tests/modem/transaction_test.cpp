// What the AT transactions make of the chunks that they read.

#include "modem/at_transaction.h"
#include "tests/modem/scripted_port.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

const std::string filler509(509, '.');
const std::string filler510(510, '.');
const std::string end;

struct Transaction {
    const char* behaviour;
    int (*ask)(int fd);
    std::vector<std::string> chunks;
    int result;
    int left = 0; // chunks that are not read any more
};

const Transaction transactions[] = {
    {"a ready SIM", checkSimReady, {"\r\n+CPIN: READY\r\n\r\nOK\r\n"}, 1},
    {"a SIM that wants its PIN is there", checkSimReady, {"\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n"}, 1},
    {"the marker may come late", checkSimReady, {"at+cpin?\r\r\n", "\r\nRING\r\n", "OK\r\n"}, 1},
    {"ERROR ends", checkSimReady, {"\r\n+CME ERROR: 10\r\n", "OK"}, 0, 1},
    {"a marker beside ERROR wins", checkSimReady, {"ERROR\r\nOK\r\n"}, 1},
    {"the end of the port ends", checkSimReady, {end, "OK"}, 0, 1},
    {"a chunk of 511 bytes is read whole", checkSimReady, {filler509 + "OK", end}, 1, 1},
    {"a chunk of 512 bytes is not", checkSimReady, {filler510 + "OK", end}, 0},
    {"at home", checkRegistered, {"\r\n+CREG: 0,1\r\n\r\nOK\r\n"}, 1},
    {"roaming", checkRegistered, {"\r\n+CREG: 0,5\r\n\r\nOK\r\n"}, 1},
    {"another report mode", checkRegistered, {"\r\n+CREG: 1,1\r\n\r\nOK\r\n", end}, 0},
    {"signal", querySignalQuality, {"\r\n+CSQ: 23,99\r\n\r\nOK\r\n"}, 23},
    {"behind its echo", querySignalQuality, {"at+csq\r\r\n", "\r\n+CSQ: 7,99\r\n"}, 7},
    {"the first colon is another line's", querySignalQuality, {"+CREG: 1\r\n\r\n+CSQ: 23,99"}, 1},
    {"a field of seven characters fits", querySignalQuality, {"+CSQ: 000023,99"}, 23},
    {"a longer one is cut", querySignalQuality, {"+CSQ: 0000234,99"}, 23},
    {"a field without end is cut", querySignalQuality, {"+CSQ: 1234567890123"}, 123456},
    {"no field", querySignalQuality, {"+CSQ:"}, 0},
    {"a colon at the very start", querySignalQuality, {":+CSQ: 23,99"}, 0},
    {"a prefix beside ERROR wins", querySignalQuality, {"+CSQ: 5,99\r\nERROR\r\n"}, 5},
    {"ERROR instead of a value", querySignalQuality, {"\r\nERROR\r\n", "+CSQ: 5,99"}, -1, 1},
    {"OK alone is no value", querySignalQuality, {"\r\nOK\r\n", "+CS", "Q: 5,99", end}, -1},
    {"mode", queryNetworkMode, {"\r\n+CNSMOD: 0,8\r\n\r\nOK\r\n"}, 8},
    {"mode ends at white space", queryNetworkMode, {"+CNSMOD: 0,13 ,4"}, 13},
    {"mode behind another line's comma", queryNetworkMode, {"+CREG: 0,1\r\n+CNSMOD: 0,8"}, 1},
    {"an over-long mode is cut", queryNetworkMode, {"+CNSMOD: 0,00000087"}, 8},
    {"a mode without its second number", queryNetworkMode, {"+CNSMOD: 8\r\n"}, 0},
    {"system mode LTE", querySysInfoMode, {"\r\n^SYSINFO: 2,3,0,17,1\r\n\r\nOK\r\n"}, 8},
    {"system mode GSM", querySysInfoMode, {"AT^SYSINFO\r\r\n^SYSINFO: 2,3,0,3,1\r\n"}, 1},
    {"system mode WCDMA", querySysInfoMode, {"^SYSINFO:2,3,0,4,1"}, 4},
    {"system mode TD-SCDMA", querySysInfoMode, {"^SYSINFO:2,3,0,5,1"}, 9},
    {"no service", querySysInfoMode, {"^SYSINFO: 0,0,0,0,255"}, -1},
    {"its commas counted from the chunk's start",
     querySysInfoMode,
     {"+CREG: 0,1\r\n^SYSINFO: 2,3,17,0,1"},
     8},
    {"an over-long system mode is cut", querySysInfoMode, {"^SYSINFO: 2,3,0,00000034,1"}, 1},
};

TEST(Transaction, ResultOfEachSequenceOfChunks) {
    for (const Transaction& one : transactions) {
        SCOPED_TRACE(one.behaviour);
        ScriptedPort port(one.chunks);
        EXPECT_EQ(one.ask(port.fd()), one.result);
        EXPECT_EQ(port.chunksLeft(), one.left);
    }
}

TEST(Transaction, EitherMarkerMayBeMissing) {
    ScriptedPort port({"no marker: ERROR", "second"});
    EXPECT_EQ(sendAtCommand(port.fd(), "at\r\n", nullptr, nullptr, 1), 0);
    EXPECT_EQ(sendAtCommand(port.fd(), "at\r\n", nullptr, "second", 1), 1);
}

} // namespace
