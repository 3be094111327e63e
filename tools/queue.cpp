#include "tools/commands.h"

#include "app/log_receiver.h"
#include "app/log_store.h"
#include "tools/log_queue.h"
#include "tools/panel_text.h"
#include "tools/processes.h"
#include "tools/visible_text.h"

#include <cerrno>

namespace {

using namespace ctl;

const char* plural(std::size_t count) {
    return count == 1 ? "" : "s";
}

void printFacts(const QueueFacts& facts) {
    tell("queue %d: %zu message%s, %zu of %zu bytes", logQueueKey, facts.waiting,
         plural(facts.waiting), facts.bytes, facts.capacity);
}

void printMessage(std::size_t place, const QueueMessage& message) {
    tell("  %zu  type %ld  %zu bytes  \"%s\"", place, message.type, message.bytes.size(),
         fromPanelText(textOf(message)).c_str());
}

// Lists the messages; the status says whether one of them is too long.
int list(const std::vector<QueueMessage>& messages) {
    int status = statusFine;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        printMessage(i + 1, messages[i]);
        if (!isTooLong(messages[i])) {
            continue;
        }
        const std::size_t behind = messages.size() - 1 - i;
        tell("     too long, the panel takes %zu bytes: it %s the %zu message%s behind it",
             logLineLength, i == 0 ? "blocks" : "will block", behind, plural(behind));
        status = statusTrouble;
    }
    return status;
}

// What can be said without seeing the messages.
int listUnseen(const LogQueue& queue, const QueueFacts& facts, int error) {
    tell("  the messages themselves cannot be seen here (%s)", systemReason(error).c_str());
    if (facts.waiting == 0) {
        return statusFine;
    }
    if (facts.bytes > facts.waiting * logLineLength) {
        tell("  at least one is too long, the panel takes %zu bytes", logLineLength);
        return statusTrouble;
    }
    if (facts.bytes <= logLineLength) {
        tell("  none is too long for the panel");
        return statusFine;
    }
    if (processesNamed(daemonName).empty()) {
        tell("  whether one blocks the others shows only while %s runs", daemonName);
        return statusFine;
    }
    if (queue.seemsStuck()) {
        tell("  %s takes none of them: the oldest is too long", daemonName);
        return statusTrouble;
    }
    tell("  %s is taking them", daemonName);
    return statusFine;
}

// Whether the oldest message is stuck; nothing when that cannot be told.
std::optional<bool> oldestIsStuck(const LogQueue& queue) {
    int error = 0;
    if (const auto messages = queue.copies(error)) {
        return !messages->empty() && isTooLong(messages->front());
    }
    const auto facts = queue.facts();
    if (facts && facts->waiting == 0) {
        return false;
    }
    if (facts && facts->waiting == 1) {
        return facts->bytes > logLineLength;
    }
    if (processesNamed(daemonName).empty()) {
        return std::nullopt;
    }
    return queue.seemsStuck();
}

int dropStuck(LogQueue& queue) {
    const auto stuck = oldestIsStuck(queue);
    if (!stuck) {
        complain("this kernel does not show the messages: start %s, then what it leaves waiting "
                 "is known to be stuck",
                 daemonName);
        return statusTrouble;
    }
    if (!*stuck) {
        tell("nothing is stuck: the panel can take what is at the head");
        return statusFine;
    }
    const auto message = queue.takeOldest();
    if (!message) {
        complain("cannot take the message: %s", systemReason(errno).c_str());
        return statusTrouble;
    }
    if (!isTooLong(*message)) {
        // Somebody else removed the stuck one in between.
        queue.put(*message);
        complain("another process took the stuck message; a line behind it went to the end");
        return statusTrouble;
    }
    tell("dropped the message of type %ld, %zu bytes: \"%s\"", message->type, message->bytes.size(),
         fromPanelText(textOf(*message)).c_str());
    return statusFine;
}

} // namespace

int ctl::queue(const QueueOptions& options) {
    auto queue = LogQueue::open();
    if (!queue) {
        complain(errno == ENOENT ? "there is no queue with key %d: neither %s nor a sender has "
                                   "made it yet"
                                 : "cannot open the queue with key %d of %s",
                 logQueueKey, daemonName);
        return statusTrouble;
    }
    if (options.dropStuck) {
        return dropStuck(*queue);
    }
    const auto facts = queue->facts();
    if (!facts) {
        complain("cannot ask the queue: %s", systemReason(errno).c_str());
        return statusTrouble;
    }
    printFacts(*facts);
    int error = 0;
    const auto messages = queue->copies(error);
    return messages ? list(*messages) : listUnseen(*queue, *facts, error);
}
