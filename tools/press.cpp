#include "tools/commands.h"

#include "app/key_input.h"
#include "device/file_descriptor.h"
#include "tools/panel_view.h"
#include "tools/processes.h"
#include "tools/visible_text.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <linux/input.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using namespace ctl;

constexpr int secondsToReboot = 10;
// The daemon may read the press later than the release, by a pass of its loop: what is held for ten
// seconds must be ten seconds to it, and nine not.
constexpr long additionalTime = 100'000'000; // nanoseconds

// What a press changes is drawn within a few passes of the daemon's loop, unless it waits for its
// modem. Milliseconds.
constexpr int lookPeriod = 50;
constexpr int stillTime = 300;
constexpr int longestWait = 5000;

// True unless the device tells that it has other buttons only. What is no input device, such as
// the button of a simulated gateway, tells nothing.
bool hasButton(int fd) {
    unsigned char keys[KEY_CNT / 8] = {};
    return ioctl(fd, EVIOCGBIT(EV_KEY, sizeof keys), keys) == -1 ||
           (keys[buttonCode / 8] >> buttonCode % 8 & 1) != 0;
}

// An event written to the device reaches all who read it.
bool sendKey(int fd, int value) {
    input_event report[2] = {};
    report[0].type = EV_KEY;
    report[0].code = buttonCode;
    report[0].value = value;
    report[1].type = EV_SYN;
    report[1].code = SYN_REPORT;
    return write(fd, report, sizeof report) == static_cast<ssize_t>(sizeof report);
}

// False when a signal asked for the end.
bool pass(const std::timespec& time) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ends, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    return sigtimedwait(&ends, nullptr, &time) == -1;
}

// Waits until the panel is another one than before and stands still. A page may stay as it is:
// then for as long as the daemon can take.
void waitForChange(const picture::Bitmap& before, int brightness) {
    picture::Bitmap shown = before;
    bool changed = false;
    int still = 0;
    for (int waited = 0; waited < longestWait && !(changed && still >= stillTime);
         waited += lookPeriod, still += lookPeriod) {
        usleep(lookPeriod * 1000);
        const picture::Bitmap now = panelPicture();
        changed = changed || now != before || panelBrightness() != brightness;
        if (now != shown) {
            shown = now;
            still = 0;
        }
    }
}

} // namespace

int ctl::press(const PressOptions& options) {
    if ((options.hold >= secondsToReboot) != options.reboot) {
        complain(options.reboot ? "--reboot is for a press of %d seconds and more: add --hold %d"
                                : "a press of %d seconds and more restarts the gateway: add "
                                  "--reboot, or hold it for %d at most",
                 secondsToReboot, options.reboot ? secondsToReboot : secondsToReboot - 1);
        return statusUsage;
    }
    if (processesNamed(daemonName).empty()) {
        complain("no %s is running: nobody would notice the press", daemonName);
        return statusTrouble;
    }
    const FileDescriptor button(open(buttonPath, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!button.isOpen() || !hasButton(button.get())) {
        complain("no button on %s: %s", buttonPath,
                 (button.isOpen() ? "the device has no key of code " + std::to_string(buttonCode)
                                  : systemReason(errno))
                     .c_str());
        return statusTrouble;
    }
    if (!options.quiet && !openPanel()) {
        return statusTrouble;
    }
    // Whoever is interrupted lets go first: the button would stay pressed for all who read it.
    const bool pressed = sendKey(button.get(), 1);
    const bool held = pass({options.hold, additionalTime});
    const auto before = options.quiet ? picture::Bitmap() : panelPicture();
    const int brightness = panelBrightness();
    if (!sendKey(button.get(), 0) || !pressed) {
        complain("cannot write %s: %s", buttonPath, systemReason(errno).c_str());
        return statusTrouble;
    }
    if (!held) {
        complain("interrupted: the button was let go early");
        return statusTrouble;
    }
    if (!options.quiet) {
        waitForChange(before, brightness);
        showPanel({});
    }
    return statusFine;
}
