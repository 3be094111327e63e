// The checks of the four configuration files. The values are those that the daemon's own readers
// hold; the walks over the documents only find out where these come from and what was lost.

#include "base/decimal.h"
#include "device/config_file.h"
#include "device/device_info.h"
#include "device/xml_config.h"
#include "tools/captured_output.h"
#include "tools/config_report.h"
#include "tools/panel_text.h"
#include "tools/visible_text.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <libxml/xmlerror.h>
#include <limits>
#include <map>
#include <optional>
#include <strings.h>
#include <sys/stat.h>

namespace {

using namespace ctl;

constexpr long highestByte = 255;
constexpr std::size_t gatewayLength = 15;
constexpr std::size_t serialLength = 31;
constexpr std::size_t versionLength = 30;
constexpr std::size_t lineLimit = 4096; // of the version file; what lies behind is not looked at
constexpr std::size_t complaintLimit = 10;
constexpr std::size_t complaintLength = 200;
constexpr int lastReachedChannel = 16;

// --- Documents -----------------------------------------------------------------------------

struct ParserComplaint {
    long line;
    std::string text;
};

// Hears libxml2's complaints instead of standard error while it lives.
class ParserComplaints {
  public:
    ParserComplaints() { xmlSetStructuredErrorFunc(this, hear); }
    ~ParserComplaints() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
    ParserComplaints(const ParserComplaints&) = delete;
    ParserComplaints& operator=(const ParserComplaints&) = delete;

    const std::vector<ParserComplaint>& all() const { return complaints_; }

  private:
    static void hear(void* self, xmlErrorPtr error) {
        std::string text = error->message == nullptr ? "" : error->message;
        text.erase(std::min(text.find_last_not_of(" \n") + 1, complaintLength));
        auto& complaints = static_cast<ParserComplaints*>(self)->complaints_;
        if (complaints.size() < complaintLimit) {
            complaints.push_back({error->line, text});
        }
    }

    std::vector<ParserComplaint> complaints_;
};

long lineOf(const xmlNode* node) {
    return xmlGetLineNo(node);
}

std::string nameOf(const xmlNode* node) {
    return reinterpret_cast<const char*>(node->name);
}

std::optional<std::string> attributeOf(const xmlNode* element, const char* wanted) {
    std::optional<std::string> value;
    forEachAttribute(element, [&](const char* name, const char* text) {
        if (std::strcmp(name, wanted) == 0) {
            value = text;
        }
    });
    return value;
}

bool differsInCaseOnly(const char* name, const char* wanted) {
    return strcasecmp(name, wanted) == 0 && std::strcmp(name, wanted) != 0;
}

// Adds children of `parent` that would be called `wanted` if case did not count.
void findMiswrittenElements(ConfigReport& report, const xmlNode* parent, const char* wanted) {
    for (const xmlNode* child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && differsInCaseOnly(nameOf(child).c_str(), wanted)) {
            report.add(Finding::ignored, lineOf(child), R"(element "%s": it must be written "%s")",
                       nameOf(child).c_str(), wanted);
        }
    }
}

// The value of an attribute; its absence, or another way of writing its name, is added.
std::optional<std::string> expectAttribute(ConfigReport& report, const xmlNode* element,
                                           const char* wanted, const char* consequence) {
    forEachAttribute(element, [&](const char* name, const char*) {
        if (differsInCaseOnly(name, wanted)) {
            report.add(Finding::ignored, lineOf(element),
                       R"(attribute "%s": it must be written "%s")", name, wanted);
        }
    });
    auto value = attributeOf(element, wanted);
    if (!value) {
        report.add(Finding::missing, lineOf(element), "<%s> has no attribute \"%s\": %s",
                   nameOf(element).c_str(), wanted, consequence);
    }
    return value;
}

// --- Files as a whole ----------------------------------------------------------------------

void addMessages(ConfigReport& report, const std::string& printed) {
    for (std::size_t at = 0; at < printed.size();) {
        const std::size_t end = std::min(printed.find('\n', at), printed.size());
        report.add(Finding::note, 0, "the daemon prints \"%s\" at each attempt",
                   printed.substr(at, end - at).c_str());
        at = end + 1;
    }
}

// The first line of a file, of a long one its beginning.
std::string firstLine(const char* path) {
    std::string line(lineLimit, '\0');
    std::ifstream file(path);
    file.read(line.data(), static_cast<std::streamsize>(line.size()));
    line.resize(static_cast<std::size_t>(file.gcount()));
    return line.substr(0, line.find('\n'));
}

bool isPacked(const char* path) {
    const std::string line = firstLine(path);
    return line.starts_with("\x1f\x8b") || line.starts_with("\xfd"
                                                            "7zXZ");
}

// Says why the daemon could not read the file.
void explainFailure(ConfigReport& report, const ParserComplaints& complaints) {
    struct stat status {};
    if (stat(report.path.c_str(), &status) != 0) {
        report.add(Finding::missing, 0, "%s", systemReason(errno).c_str());
    } else if (!S_ISREG(status.st_mode)) {
        report.add(Finding::wrong, 0, "not a regular file");
    } else if (isPacked(report.path.c_str())) {
        report.add(Finding::wrong, 0, "packed, and the daemon unpacks nothing");
    } else if (complaints.all().empty()) {
        report.add(Finding::wrong, 1, "not the document that the daemon looks for");
    }
    for (const ParserComplaint& complaint : complaints.all()) {
        report.add(Finding::wrong, complaint.line, "%s", complaint.text.c_str());
    }
}

// Runs the daemon's reader of one file, which reads it again until it has once read it well.
// False, with the reasons in the report, when the file did not get read.
bool readByDaemon(ConfigReport& report, int (DeviceInfo::*reader)()) {
    const ParserComplaints complaints;
    int result = -1;
    const std::string printed =
        captureOutput([&] { result = (DeviceInfo::instance()->*reader)(); });
    if (result != 0) {
        explainFailure(report, complaints);
        addMessages(report, printed);
        return false;
    }
    struct stat status {};
    if (stat(report.path.c_str(), &status) == 0 &&
        static_cast<std::int32_t>(status.st_mtime) == 0) {
        report.add(Finding::wrong, 0,
                   "its modification time is the beginning of 1970: such a file is never read");
        return false;
    }
    return true;
}

// Walks over a document that the daemon has read well.
void walk(const ConfigReport& report, const char* rootName,
          const std::function<void(const xmlNode* root)>& visit) {
    captureOutput([&] {
        const ParserComplaints complaints;
        const FileCheck file = checkFile(report.path.c_str(), 0);
        const XmlDocument document(report.path.c_str(), file, rootName);
        if (document.root() != nullptr) {
            visit(document.root());
        }
    });
}

// --- sys.xml -------------------------------------------------------------------------------

void checkGateway(ConfigReport& report, const xmlNode* port) {
    const auto text = expectAttribute(report, port, "gateway", "the gateway page shows no address");
    if (!text) {
        return;
    }
    checkShownText(report, lineOf(port), "gateway", *text, gatewayLength);
    in_addr address{};
    if (inet_pton(AF_INET, text->c_str(), &address) != 1) {
        report.add(Finding::wrong, lineOf(port), "gateway \"%s\" is not an IPv4 address",
                   text->c_str());
    }
}

void checkPort(ConfigReport& report, const xmlNode* root) {
    const xmlNode* port = findElement(root->children, "lan1");
    findMiswrittenElements(report, root, "lan1");
    if (port == nullptr) {
        report.add(Finding::missing, lineOf(root),
                   "<sysConfig> has no element \"lan1\": gateway and cascade are not set");
        return;
    }
    checkGateway(report, port);
    if (const auto text = expectAttribute(report, port, "cascade", "it counts as 0")) {
        checkNumber(report, lineOf(port), "cascade", *text, 0, highestByte,
                    DeviceInfo::instance()->cascade());
    }
    forEachElement(root, "lan1", [&](const xmlNode* other) {
        if (other != port) {
            report.add(Finding::ignored, lineOf(other),
                       "another <lan1>: only the one on line %ld counts", lineOf(port));
        }
    });
}

ConfigReport checkSysConfig() {
    ConfigReport report{sysConfigPath, {}, {}};
    DeviceInfo* device = DeviceInfo::instance();
    if (!readByDaemon(report, &DeviceInfo::readSysConfig)) {
        return report;
    }
    report.values = {{"gateway", device->gateway()},
                     {"cascade", formatted("%d: Ethernet port 1 is %s", device->cascade(),
                                           device->cascade() != 0 ? "eth0" : "eth1")}};
    walk(report, "sysConfig", [&](const xmlNode* root) { checkPort(report, root); });
    return report;
}

// --- sn.xml --------------------------------------------------------------------------------

// Checks <NAME NAME="..."/>, of which the last one counts. Returns the text of that one.
std::optional<std::string> checkLastElement(ConfigReport& report, const xmlNode* root,
                                            const char* name, const char* consequence, long& line) {
    std::optional<std::string> last;
    findMiswrittenElements(report, root, name);
    forEachElement(root, name, [&](const xmlNode* element) {
        const auto text = expectAttribute(report, element, name, consequence);
        if (!text) {
            return;
        }
        if (last) {
            report.add(Finding::ignored, line, "this <%s>: the one on line %ld counts", name,
                       lineOf(element));
        }
        last = text;
        line = lineOf(element);
    });
    if (findElement(root->children, name) == nullptr) {
        report.add(Finding::missing, lineOf(root), "<snConfig> has no element \"%s\": %s", name,
                   consequence);
    }
    return last;
}

ConfigReport checkSnConfig() {
    static constexpr const char* dialogues[] = {"none", "all commands at once",
                                                "one command at a time"};
    ConfigReport report{snConfigPath, {}, {}};
    DeviceInfo* device = DeviceInfo::instance();
    if (!readByDaemon(report, &DeviceInfo::readSnConfig)) {
        return report;
    }
    report.values = {{"series number", device->seriesNumber()},
                     {"model", device->model()},
                     {"modem dialogue",
                      formatted("%d: %s", device->modelKind(), dialogues[device->modelKind()])}};
    walk(report, "snConfig", [&](const xmlNode* root) {
        long line = 0;
        if (const auto text =
                checkLastElement(report, root, "sn", "no series number is shown", line)) {
            checkShownText(report, line, "sn", *text, serialLength);
        }
        const auto model =
            checkLastElement(report, root, "model", "the modem is asked nothing", line);
        if (model && model->size() > serialLength) {
            report.add(Finding::cut, line, "model has %zu characters, the first %zu are kept",
                       model->size(), serialLength);
        }
    });
    return report;
}

// --- main-version.conf ---------------------------------------------------------------------

ConfigReport checkVersion() {
    ConfigReport report{versionPath, {}, {}};
    if (!readByDaemon(report, &DeviceInfo::readVersion)) {
        return report;
    }
    std::string shown = DeviceInfo::instance()->version();
    shown.erase(shown.find_last_not_of("\r\n") + 1);
    report.values = {{"version", shown}};

    std::string line = firstLine(versionPath);
    if (line.size() == lineLimit) {
        report.add(Finding::cut, 1, "only %zu characters are looked at", lineLimit);
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    if (line.empty()) {
        report.add(Finding::missing, 1, "the first line is empty: no version is shown");
        return report;
    }
    if (const std::size_t zero = line.find('\0'); zero != std::string::npos) {
        report.add(Finding::cut, 1, "a zero byte ends the version after %zu characters", zero);
        line.resize(zero);
    }
    checkShownText(report, 1, "the version", line, versionLength);
    return report;
}

// --- Channel-template.xml ------------------------------------------------------------------

void checkSettings(ConfigReport& report, const xmlNode* mode, const ChannelConfig& config) {
    constexpr long highestBaud = std::numeric_limits<std::int32_t>::max();
    const struct {
        const char* name;
        long lowest;
        long highest;
        long reads;
    } numbers[] = {
        {"Baud", 1, highestBaud, config.Baud},
        {"DataSize", 5, 8, config.DataSize},
        {"Stop", 1, 2, config.Stop},
    };
    for (const auto& number : numbers) {
        if (const auto text = attributeOf(mode, number.name)) {
            checkNumber(report, lineOf(mode), number.name, *text, number.lowest, number.highest,
                        number.reads);
        }
    }
    const auto parity = attributeOf(mode, "Parity");
    if (parity && parity->empty()) {
        report.add(Finding::cut, lineOf(mode), "empty Parity: the settings line ends there");
    } else if (parity && !missingCharacters(parity->substr(0, 1)).empty()) {
        report.add(Finding::cut, lineOf(mode), "the panel's font lacks the letter of Parity");
    }
}

// Adds the settings that no CommMode of the channel gives.
void checkAbsentSettings(ConfigReport& report, const xmlNode* channel) {
    for (const char* name : {"Baud", "DataSize", "Parity", "Stop"}) {
        bool given = false;
        forEachElement(channel, "CommMode", [&](const xmlNode* mode) {
            given = given || attributeOf(mode, name).has_value();
        });
        if (!given) {
            report.add(Finding::missing, lineOf(channel),
                       "the channel has no \"%s\": it reads as 0", name);
        }
    }
}

// Whether the daemon takes the channel in, by the rule that a mode holds until the next one.
enum class Taken { Yes, OtherMode, NoMode };

Taken checkModes(ConfigReport& report, const xmlNode* channel) {
    std::optional<long> current;
    bool stored = false;
    int count = 0;
    forEachElement(channel, "CommMode", [&](const xmlNode* mode) {
        if (const auto text = attributeOf(mode, "Mode")) {
            current = static_cast<std::uint8_t>(parseDecimal(text->c_str()));
            checkNumber(report, lineOf(mode), "Mode", *text, 0, highestByte, *current);
        }
        stored = stored || current == 0;
        if (++count == 2) {
            report.add(Finding::note, lineOf(mode),
                       "another <CommMode>: it goes on from the settings of the one before");
        }
    });
    return stored ? Taken::Yes : current ? Taken::OtherMode : Taken::NoMode;
}

int checkNumberOf(ConfigReport& report, const xmlNode* channel) {
    const auto text = expectAttribute(report, channel, "No", "it becomes channel 0");
    if (!text) {
        return 0;
    }
    const auto number = static_cast<std::uint8_t>(parseDecimal(text->c_str()));
    checkNumber(report, lineOf(channel), "No", *text, 0, highestByte, number);
    return number;
}

void checkChannel(ConfigReport& report, const xmlNode* channel, std::map<int, long>& lines) {
    const int number = checkNumberOf(report, channel);
    const long line = lineOf(channel);
    findMiswrittenElements(report, channel, "CommMode");
    if (findElement(channel->children, "CommMode") == nullptr) {
        report.add(Finding::missing, line, "channel %d has no <CommMode>: it is not shown", number);
        return;
    }
    switch (checkModes(report, channel)) {
    case Taken::OtherMode:
        report.add(Finding::note, line, "channel %d is in another mode than 0: it is not shown",
                   number);
        return;
    case Taken::NoMode:
        report.add(Finding::missing, line, "channel %d has no \"Mode\": it is not shown", number);
        return;
    case Taken::Yes:
        break;
    }
    if (const auto earlier = lines.find(number); earlier != lines.end()) {
        report.add(Finding::ignored, earlier->second, "this channel %d: the one on line %ld counts",
                   number, line);
    }
    lines[number] = line;
    checkAbsentSettings(report, channel);
    const ChannelConfig* config = nullptr;
    if (DeviceInfo::instance()->findChannel(static_cast<std::uint32_t>(number), &config) == 0) {
        forEachElement(channel, "CommMode",
                       [&](const xmlNode* mode) { checkSettings(report, mode, *config); });
    }
}

// Adds the channels that a walk through the pages does not reach.
void checkReach(ConfigReport& report, const std::map<int, long>& lines) {
    const int first = DeviceInfo::instance()->firstChannel();
    for (const auto& [number, line] : lines) {
        if (first == noChannel) {
            report.add(Finding::wrong, line,
                       "channel %d: a smallest channel of %d counts as none, so no "
                       "channel is shown",
                       number, noChannel);
        } else if (number != first && number > lastReachedChannel) {
            report.add(Finding::wrong, line,
                       "channel %d is not shown: the button steps to channels up to %d", number,
                       lastReachedChannel);
        }
    }
}

ConfigReport checkChannels() {
    ConfigReport report{channelTemplatePath, {}, {}};
    DeviceInfo* device = DeviceInfo::instance();
    if (!readByDaemon(report, &DeviceInfo::readChannelTemplate)) {
        return report;
    }
    for (const auto& [number, config] : device->channels()) {
        const char parity[] = {config.Parity, '\0'};
        report.values.push_back(
            {formatted("channel %d", number),
             formatted("%d %d %s %d", config.Baud, config.DataSize, parity, config.Stop)});
    }
    walk(report, "ChannelConfig", [&](const xmlNode* root) {
        std::map<int, long> lines;
        findMiswrittenElements(report, root, "Channel");
        forEachElement(root, "Channel",
                       [&](const xmlNode* channel) { checkChannel(report, channel, lines); });
        checkReach(report, lines);
        if (lines.empty()) {
            report.add(Finding::note, 0, "no channel is shown");
        }
    });
    return report;
}

} // namespace

std::vector<ctl::ConfigReport> ctl::checkConfiguration() {
    {
        // The first use reads everything; each file's own check then reports on it.
        const ParserComplaints complaints;
        captureOutput([] { DeviceInfo::instance(); });
    }
    return {checkSysConfig(), checkSnConfig(), checkVersion(), checkChannels()};
}
