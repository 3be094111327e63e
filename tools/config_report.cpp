#include "tools/config_report.h"

#include "tools/panel_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

constexpr int borderedWidth = 126; // pixels between the borders of the panel

constexpr const char* kindNames[] = {"cut", "ignored", "missing", "wrong", "note"};

} // namespace

bool ctl::ConfigReport::isFine() const {
    return std::all_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.kind == Finding::Note; });
}

std::string ctl::describe(const ConfigReport& report, const Finding& finding) {
    const std::string place = finding.line > 0 ? ":" + std::to_string(finding.line) : "";
    return report.path + place + ": " + kindNames[finding.kind] + ": " + finding.text;
}

void ctl::checkNumber(ConfigReport& report, long line, const char* name, std::string_view text,
                      long lowest, long highest, long reads) {
    const std::string copy(text);
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(copy.c_str(), &end, 10);
    std::string fault;
    if (end == copy.c_str()) {
        fault = "is not a number";
    } else if (*end != '\0') {
        fault = "goes on behind the number";
    } else if (errno == ERANGE || number < lowest || number > highest) {
        fault = "is not within " + std::to_string(lowest) + " to " + std::to_string(highest);
    } else {
        return;
    }
    report.add(Finding::Wrong, line,
               std::string(name) + " \"" + copy + "\" " + fault + ": it reads as " +
                   std::to_string(reads));
}

void ctl::checkShownText(ConfigReport& report, long line, const char* name, const std::string& text,
                         std::size_t kept) {
    if (text.size() > kept) {
        report.add(Finding::Cut, line,
                   std::string(name) + " has " + std::to_string(text.size()) +
                       " characters, the first " + std::to_string(kept) + " are kept");
    }
    const std::string stored = text.substr(0, kept);
    if (const auto missing = missingCharacters(stored); !missing.empty()) {
        report.add(Finding::Cut, line,
                   std::string(name) + " loses " + quotedList(missing) +
                       ": the panel's font lacks " + (missing.size() == 1 ? "it" : "them"));
    }
    if (const int width = textWidth(stored); width > borderedWidth) {
        report.add(Finding::Cut, line,
                   std::string(name) + " is " + std::to_string(width) +
                       " pixels wide and the panel has " + std::to_string(borderedWidth) +
                       " between its borders: both ends run over");
    }
}
