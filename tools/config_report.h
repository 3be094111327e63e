#pragma once

// What a look at the configuration files found: the values that the daemon holds, and what of a
// file was cut, ignored, missing or wrong, each with its line. Prints nothing by itself.

#include <string>
#include <string_view>
#include <vector>

namespace ctl {

struct Finding {
    enum Kind {
        cut,     // a value is not shown whole
        ignored, // something of the daemon's is there and does not count
        missing, // something that the daemon looks for is not there
        wrong,   // a value reads as something else than it says, or cannot be read
        note,    // worth knowing, and as it may be
    };
    Kind kind;
    long line; // of the file, from 1; 0: the file as a whole
    std::string text;
};

struct ConfigValue {
    std::string name;
    std::string text;
};

// One configuration file. Findings are added by the checks, values by what the daemon read.
struct ConfigReport {
    std::string path;
    std::vector<ConfigValue> values;
    std::vector<Finding> findings;

    [[gnu::format(printf, 4, 5)]] void add(Finding::Kind kind, long line, const char* format, ...);
    // False when anything but notes was found.
    bool isFine() const;
};

// Adds what is wrong with `text` as a decimal number from `lowest` to `highest`. `reads` is the
// number that the daemon made of it.
void checkNumber(ConfigReport& report, long line, const char* name, std::string_view text,
                 long lowest, long highest, long reads);

// Adds what the panel does not show of a text in its body font: characters behind the first
// `kept`, characters that the font lacks, and what does not fit between the borders.
void checkShownText(ConfigReport& report, long line, const char* name, const std::string& text,
                    std::size_t kept);

// "PATH:LINE: missing: TEXT", without the line when there is none.
std::string describe(const ConfigReport& report, const Finding& finding);

// Reads each file by the daemon's own readers and checks it.
std::vector<ConfigReport> checkConfiguration();

} // namespace ctl
