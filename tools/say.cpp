#include "tools/commands.h"

#include "app/log_receiver.h"
#include "app/log_store.h"
#include "device/device_info.h"
#include "tools/captured_output.h"
#include "tools/log_queue.h"
#include "tools/panel_text.h"
#include "tools/processes.h"
#include "tools/visible_text.h"

#include <cerrno>
#include <cstdio>

namespace {

using namespace ctl;

constexpr int lineStart = 15;   // x of a log line on its page
constexpr int panelWidth = 128; // pixels

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? word : " " + word;
    }
    return text;
}

void warnOfWhatIsNotShown(const std::string& bytes) {
    if (const auto missing = missingCharacters(bytes); !missing.empty()) {
        complain("warning: the panel's font lacks %s; it leaves such characters out",
                 quotedList(missing).c_str());
    }
    if (const int width = panelWidth - lineStart; textWidth(bytes) > width) {
        complain("warning: only the first %d characters fit on the panel",
                 charactersWithin(bytes, width));
    }
}

void warnOfWhatKeepsReadersAway(const LogQueue& queue) {
    int error = 0;
    if (const auto messages = queue.copies(error);
        messages && !messages->empty() && isTooLong(messages->front())) {
        complain("warning: a message too long for the panel blocks the queue; "
                 "see panelctl queue");
    }
    if (processesNamed(daemonName).empty()) {
        complain("warning: no %s is running; the line waits for it", daemonName);
    }
    bool small = false;
    captureOutput([&] { small = DeviceInfo::instance()->isSmallPanel() != 0; });
    if (small) {
        complain("warning: the 32-line panel has no page for log lines; nobody will read it");
    }
}

} // namespace

int ctl::say(const SayOptions& options) {
    std::string reason;
    const auto bytes = toPanelText(joined(options.words), reason);
    if (!bytes) {
        complain("%s", reason.c_str());
        return statusTrouble;
    }
    if (bytes->size() > logLineLength) {
        complain("the line has %zu bytes and the panel takes %zu: a longer message would stay in "
                 "the queue and keep back all that follow",
                 bytes->size(), logLineLength);
        return statusTrouble;
    }
    warnOfWhatIsNotShown(*bytes);

    // As the daemon does: who comes first creates the queue.
    auto queue = openLogQueue() == 0 ? LogQueue::open() : std::nullopt;
    if (!queue) {
        complain("cannot open the queue with key %d: %s", logQueueKey, systemReason(errno).c_str());
        return statusTrouble;
    }
    QueueMessage message{options.type, *bytes};
    if (message.bytes.size() < logLineLength) {
        message.bytes += '\0';
    }
    if (!queue->put(message)) {
        complain("cannot send the line: %s",
                 errno == EAGAIN ? "the queue is full" : systemReason(errno).c_str());
        return statusTrouble;
    }
    warnOfWhatKeepsReadersAway(*queue);
    return statusFine;
}
