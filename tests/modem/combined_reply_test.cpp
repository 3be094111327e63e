// Division and reading of the combined answer, and the table of levels.

#include "modem/at_transaction.h"
#include "modem/combined_reply.h"
#include "modem/modem_status.h"
#include "tests/modem/modem_status_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

// A '/' in `text` stands for a line end.
std::string lines(std::string_view text) {
    std::string result;
    for (const char c : text) {
        result += c == '/' ? std::string("\r\n") : std::string(1, c);
    }
    return result;
}

TEST(CombinedReply, IsReadByWhatItsAnswersName) {
    const struct {
        const char* text;
        ModemStatus status;
    } cases[] = {
        {"/+CPIN: READY//OK//+CREG: 0,1//OK//+CSQ: 20,99//OK/", {1, 1, 20, 3, 0}},
        {"at+cpin?/at+creg?/at+csq/+CPIN: READY/OK/+CREG: 1/+CREG: 0,5/OK/+CSQ: 9,99/OK/",
         {1, 1, 9, 1, 0}},
        {"+CME ERROR: 10/+CREG: 0,2/OK/+CSQ: 99,99/OK/", {0, 0, 99, 0, 0}},
        {"+CPIN: READY/OK/ERROR/+CSQ: 25,99/OK/", {1, 0, 25, 4, 0}},
        {"+CSQ: 14,99/+CPIN: READY/OK/+CREG: 0,1/OK/+CS", {1, 1, 0, 1, 0}},
        {"", {0, 0, 0, 1, 0}},
        // The OK of a later answer is not the SIM's.
        {"+CME ERROR: 10/OK/+CREG: 0,1/OK/+CSQ: 20,99/OK/", {0, 1, 20, 3, 0}},
        {"/+CREG: 0,1/OK/+CSQ: 20,99/OK/", {0, 1, 20, 3, 0}},
        {"/+CSQ: 20,99/OK/", {0, 0, 20, 3, 0}},
        // The last signal counts, without and behind a registration.
        {"+CSQ: 1,99/+CSQ: 2,99/+CREG: 0,1/+CSQ: 3,99/+CSQ: 12,99/", {0, 1, 12, 2, 0}},
        {"OK/+CSQ: 1,99/+CSQ: 12,99/", {1, 0, 12, 2, 0}},
        // Divided, but not in the expected form.
        {"/+CREG: \t0 ,\t1/OK/+CREG: 0,2/+CSQ: 5,99", {0, 0, 5, 1, 0}},
        {"/+CREG:0,1/OK/", {0, 0, 0, 1, 0}},
        // An answer begins with two numbers; what does not is part of the SIM's.
        {"/+CREG: ,1/+CREG: 0,/+CREG: 1/OK/+CREG: 0,5", {1, 1, 0, 1, 0}},
        {"OK/+CSQ: 20,99/+CREG: 1/", {1, 0, 20, 3, 0}},
        {"OK/+CREG: 0,2/+CSQ: 20,99/+CREG: 0,1/", {1, 0, 20, 3, 0}},
        {"OK/+CREG: 2,1/+CREG: 0,1/+CSQ: ,99", {1, 1, 0, 1, 0}},
        {"OK/+CSQ: 000000000000123,99/", {1, 0, 12, 2, 0}}, // cut to fifteen characters
    };
    for (const auto& one : cases) {
        ModemStatus status{};
        parseCombinedReply(lines(one.text).c_str(), &status);
        EXPECT_EQ(status, one.status) << one.text;
    }
}

TEST(CombinedReply, NothingIsDoneWithoutTextOrRecord) {
    ModemStatus status{1, 1, 7, 3, 2};
    parseCombinedReply(nullptr, &status);
    parseCombinedReply("+CSQ: 1,1", nullptr);
    EXPECT_EQ(status, (ModemStatus{1, 1, 7, 3, 2}));
}

TEST(CombinedReply, RandomTextsStayInTheirBounds) {
    std::mt19937 random(20240304); // NOLINT(cert-msc51-cpp): the same texts every time
    const std::string sample =
        "+CREG: 0,1\r\n+CREG: 2\r\n\r\n+CSQ: 20,99\r\nERROR\r\nOK\t:\xff" + std::string(200, '5');
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        for (auto pieces = random() % 14; pieces > 0; --pieces) {
            text += sample.substr(random() % 70, random() % (round % 8 == 0 ? 200 : 20));
        }
        const CombinedReply reply = divideCombinedReply(text);
        ASSERT_LE(std::max({reply.sim.size(), reply.registration.size(), reply.signal.size()}),
                  511U);
        ASSERT_TRUE(text.starts_with(reply.sim));
        ASSERT_NE(text.find(reply.registration), text.npos);
        ASSERT_TRUE(text.ends_with(reply.signal) || reply.signal.size() == 511);
        ModemStatus status{};
        parseCombinedReply(text.c_str(), &status);
        scanFirstNumber(text.c_str()); // watched by the address sanitizer
        scanNetworkMode(text.c_str());
        scanSystemMode(text.c_str());
    }
}

TEST(SignalLevel, FollowsItsTable) {
    const struct {
        std::int32_t first, last, level;
    } rows[] = {{-1000, -1, 0}, {0, 9, 1},   {10, 17, 2},   {18, 24, 3},
                {25, 32, 4},    {33, 98, 0}, {99, 1000, 0}, {INT32_MIN, INT32_MIN, 0}};
    for (const auto& row : rows) {
        for (std::int32_t csq = row.first; csq <= row.last; ++csq) {
            EXPECT_EQ(signalLevelOf(csq), row.level) << csq;
        }
    }
}

} // namespace
