#pragma once

// Division of the combined answer to at+cpin?, at+creg? and at+csq, sent in one write.
//
// The modem's answers come without any separator of their own, so they are told apart by
// what they name. Pure rules on text; prints nothing.

#include <string_view>

// The combined answer of the kind-1 dialogue, divided by what its parts name.
struct CombinedReply {
    std::string_view sim;          // answer to at+cpin?
    std::string_view registration; // answer to at+creg?, from its "+CREG:" on
    std::string_view signal;       // answer to at+csq, from its "+CSQ:" on
};

// Divides `text`; each part is cut to 511 characters and empty when it is not there.
// An unsolicited "+CREG: 1" (one number) does not begin the registration part.
CombinedReply divideCombinedReply(std::string_view text);
