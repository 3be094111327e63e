#include "modem/combined_reply.h"

#include "modem/at_transaction.h"

#include <algorithm>

namespace {

constexpr std::string_view registrationPrefix = "+CREG:";
constexpr std::string_view signalPrefix = "+CSQ:";

std::size_t skip(std::string_view text, std::size_t position, const char* characters) {
    return std::min(text.find_first_not_of(characters, position), text.size());
}

// True when `text` begins with number, comma, number; blanks are allowed.
bool beginsWithTwoNumbers(std::string_view text) {
    constexpr const char* blanks = " \t";
    constexpr const char* digits = "0123456789";
    const std::size_t first = skip(text, 0, blanks);
    const std::size_t behindFirst = skip(text, first, digits);
    const std::size_t comma = skip(text, behindFirst, blanks);
    if (behindFirst == first || comma == text.size() || text[comma] != ',') {
        return false;
    }
    const std::size_t second = skip(text, comma + 1, blanks);
    return skip(text, second, digits) != second;
}

// The first "+CREG:" that answers at+creg?; an unsolicited one carries one number only.
std::size_t findRegistration(std::string_view text) {
    std::size_t position = text.find(registrationPrefix);
    while (position != std::string_view::npos &&
           !beginsWithTwoNumbers(text.substr(position + registrationPrefix.size()))) {
        position = text.find(registrationPrefix, position + 1);
    }
    return position;
}

// The last "+CSQ:" behind the registration answer, or the last anywhere without one.
std::size_t findSignal(std::string_view text, std::size_t registration) {
    const std::size_t position = text.rfind(signalPrefix);
    if (registration != std::string_view::npos && position < registration) {
        return std::string_view::npos;
    }
    return position;
}

// The end of the first line that contains "ERROR".
std::size_t endOfErrorLine(std::string_view text) {
    const std::size_t error = text.find("ERROR");
    return error == std::string_view::npos ? error : text.find_first_of("\r\n", error);
}

} // namespace

CombinedReply divideCombinedReply(std::string_view text) {
    static constexpr std::size_t longest = replyBufferSize - 1;
    const std::size_t registration = findRegistration(text);
    const std::size_t signal = findSignal(text, registration);
    const auto part = [text](std::size_t from, std::size_t to) {
        return from == std::string_view::npos ? std::string_view()
                                              : text.substr(from, std::min(to - from, longest));
    };
    // npos is the largest position, so an absent boundary never is the earliest.
    return {part(0, std::min({registration, signal, endOfErrorLine(text)})),
            part(registration, signal), part(signal, std::string_view::npos)};
}
