#pragma once

// Text on its way to and from the panel, which speaks GB2312: ASCII in one byte, Chinese
// characters in two. What can be shown is decided by the daemon's own body font.
// Prints nothing.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

// The GB2312 bytes of a UTF-8 text, or nothing and the reason.
std::optional<std::string> toPanelText(std::string_view utf8, std::string& reason);

// The text as UTF-8 on one line; bytes that are no character appear as \xHH.
std::string fromPanelText(std::string_view bytes);

// The characters that the body font lacks, each once, as fromPanelText writes them. The panel
// leaves them out without a gap. Line ends count as shown.
std::vector<std::string> missingCharacters(const std::string& bytes);

// Width of the text's first line in the body font, pixels.
int textWidth(const std::string& bytes);

// How many whole characters of the first line fit into `width` pixels.
int charactersWithin(const std::string& bytes, int width);

// "'(', ')' and '?'".
std::string quotedList(const std::vector<std::string>& items);

} // namespace ctl
