#include "tools/config_report.h"

#include "tools/panel_text.h"
#include "tools/visible_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace {

constexpr int borderedWidth = 126; // pixels between the borders of the panel

constexpr const char* kindNames[] = {"cut", "ignored", "missing", "wrong", "note"};

} // namespace

// NOLINTNEXTLINE(cert-dcl50-cpp): like printf, and checked like it
void ctl::ConfigReport::add(Finding::Kind kind, long line, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    findings.push_back({kind, line, formattedList(format, arguments)});
    va_end(arguments);
}

bool ctl::ConfigReport::isFine() const {
    return std::all_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.kind == Finding::note; });
}

std::string ctl::describe(const ConfigReport& report, const Finding& finding) {
    const std::string place = finding.line > 0 ? ":" + std::to_string(finding.line) : "";
    return report.path + place + ": " + kindNames[finding.kind] + ": " + finding.text;
}

void ctl::checkNumber(ConfigReport& report, long line, const char* name, std::string_view text,
                      long lowest, long highest, long reads) {
    const std::string copy(text);
    const char* fault = "";
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(copy.c_str(), &end, 10);
    if (end == copy.c_str()) {
        fault = "is not a number";
    } else if (*end != '\0') {
        fault = "goes on behind the number";
    } else if (errno == ERANGE || number < lowest || number > highest) {
        report.add(Finding::wrong, line, "%s \"%s\" is not within %ld to %ld: it reads as %ld",
                   name, copy.c_str(), lowest, highest, reads);
        return;
    } else {
        return;
    }
    report.add(Finding::wrong, line, "%s \"%s\" %s: it reads as %ld", name, copy.c_str(), fault,
               reads);
}

void ctl::checkShownText(ConfigReport& report, long line, const char* name, const std::string& text,
                         std::size_t kept) {
    if (text.size() > kept) {
        report.add(Finding::cut, line, "%s has %zu characters, the first %zu are kept", name,
                   text.size(), kept);
    }
    const std::string stored = text.substr(0, kept);
    if (const auto missing = missingCharacters(stored); !missing.empty()) {
        report.add(Finding::cut, line, "%s loses %s: the panel's font lacks %s", name,
                   quotedList(missing).c_str(), missing.size() == 1 ? "it" : "them");
    }
    if (const int width = textWidth(stored); width > borderedWidth) {
        report.add(Finding::cut, line,
                   "%s is %d pixels wide and the panel has %d between its borders: both ends run "
                   "over",
                   name, width, borderedWidth);
    }
}
