// Division and reading of the combined answer, and the tables of levels, makers and numbers.

#include "modem/at_transaction.h"
#include "modem/decimal.h"
#include "modem/modem_status.h"
#include "tests/modem/modem_status_text.h"

#include <gtest/gtest.h>

#include <random>
#include <regex.h>

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
        {"OK/+CREG:0,1/", {1, 0, 0, 1, 0}}, // divided, but not in the expected form
        {"OK/+CREG: 0 , 1/OK/", {1, 0, 0, 1, 0}},
        {"OK/+CREG: ,1/+CREG: 0,/+CREG: 0,5", {1, 1, 0, 1, 0}},
        {"OK/+CREG: 2,1/+CREG: 0,1/+CSQ: ,99", {1, 1, 0, 1, 0}},
        {"OK/+CSQ: 00000000000000031,99/", {1, 0, 0, 1, 0}}, // cut to fifteen characters
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

// Where the first match of a POSIX expression begins (or ends), or the end of the text.
std::size_t firstMatch(const std::string& text, const char* pattern, bool itsEnd = false) {
    regex_t expression;
    regcomp(&expression, pattern, REG_EXTENDED);
    regmatch_t match{};
    const bool found = regexec(&expression, text.c_str(), 1, &match, 0) == 0;
    regfree(&expression);
    return found ? static_cast<std::size_t>(itsEnd ? match.rm_eo : match.rm_so) : text.size();
}

// The rule of division once more, by expressions.
CombinedReply divideByPattern(const std::string& text) {
    const std::string_view view = text;
    const std::size_t registration = firstMatch(text, "\\+CREG:[ \t]*[0-9]+[ \t]*,[ \t]*[0-9]");
    const std::size_t error = firstMatch(text, "ERROR[^\r\n]*", true);
    std::size_t signal = view.rfind("+CSQ:");
    if (signal == view.npos || (registration < text.size() && signal < registration)) {
        signal = text.size();
    }
    const auto part = [&](std::size_t from, std::size_t to) {
        return from < to ? view.substr(from, std::min<std::size_t>(to - from, 511))
                         : view.substr(0, 0);
    };
    return {part(0, std::min({registration, signal, error})), part(registration, signal),
            part(signal, text.size())};
}

TEST(CombinedReply, RandomTextsAreDividedByTheRule) {
    std::mt19937 random(20240304); // NOLINT(cert-msc51-cpp): the same texts every time
    const std::string tokens[] = {
        "+CREG:", "+CREG: 0,1", "+CSQ:", " 0", ",",    "5", "ERROR",       "OK",
        "\r\n",   "\n",         " ",     "\t", "\xff", ":", "+CSQ: 20,99", std::string(200, 'x')};
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (auto count = random() % 14; count > 0; --count) {
            text += tokens[random() % std::size(tokens)];
        }
        const CombinedReply actual = divideCombinedReply(text);
        const CombinedReply expected = divideByPattern(text);
        ASSERT_EQ(actual.sim, expected.sim) << text;
        ASSERT_EQ(actual.registration, expected.registration) << text;
        ASSERT_EQ(actual.signal, expected.signal) << text;

        // The address sanitizer watches these.
        ModemStatus status{};
        parseCombinedReply(text.c_str(), &status);
        scanFirstNumber(text.c_str());
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

TEST(Maker, IsNamedByTheAnswer) {
    EXPECT_EQ(modemMakerOf("\r\nSIMCOM INCORPORATED\r\n\r\nOK\r\n"), ModemMaker::Simcom);
    EXPECT_EQ(modemMakerOf("ERROR AirM2M SIMCOM"), ModemMaker::AirM2M);
    EXPECT_EQ(modemMakerOf("SIMCOM ERROR"), ModemMaker::Simcom);
    EXPECT_EQ(modemMakerOf("\r\nERROR\r\n"), ModemMaker::Refused);
    EXPECT_EQ(modemMakerOf("airm2m simcom OK"), ModemMaker::None);
    EXPECT_EQ(modemMakerOf(""), ModemMaker::None);
}

TEST(Decimal, IsReadLikeOn32Bits) {
    EXPECT_EQ(parseDecimal(" \t-12abc"), -12);
    EXPECT_EQ(parseDecimal("abc"), 0);
    EXPECT_EQ(parseDecimal("2147483648"), INT32_MAX);
    EXPECT_EQ(parseDecimal("-99999999999999999999"), INT32_MIN);
}

} // namespace
