// How the daemon starts, and how it fails to.

#include "sim/panel_process.h"
#include "tests/pages/shown.h"
#include "tests/support/golden.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

using namespace std::chrono_literals;
using Wait = sim::PanelProcess::Wait;

TEST(Start, WithoutAQueueOrAThreadEndsBeforeAnythingIsTouched) {
    const struct {
        sim::Call call;
        int status;
        const char* output;
    } cases[] = {{sim::Call::MsgGet, 255, "msgget failed!!!"}, {sim::Call::PthreadCreate, 0, ""}};
    for (const auto& [call, expected, output] : cases) {
        sim::Gateway gateway;
        gateway.failCall(call, EAGAIN);
        sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
        const std::optional<int> status = panel.waitExit();
        ASSERT_TRUE(status && WIFEXITED(*status));
        EXPECT_EQ(WEXITSTATUS(*status), expected);
        EXPECT_EQ(panel.output(), output);
        EXPECT_EQ(panel.errors(), "");
        EXPECT_EQ(gateway.calls(sim::Path::Framebuffer), 0U);
        EXPECT_EQ(gateway.brightness(), "50"); // as the kernel left it
    }
}

sim::ProcessOptions launched(const char* condition) {
    sim::ProcessOptions options;
    options.environment = {{"PANELD_LAUNCH", condition}, {"PANELD_PROGRAM", PANELD_PROGRAM}};
    return options;
}

// The path of what a process has open; empty when the descriptor is closed.
std::string fileOf(pid_t process, int descriptor) {
    std::error_code closed;
    return std::filesystem::read_symlink(
        "/proc/" + std::to_string(process) + "/fd/" + std::to_string(descriptor), closed);
}

TEST(Start, ClosedStandardDescriptorsAreNotTakenByTheFramebuffer) {
    sim::Gateway gateway;
    gateway.removeFile("/zelkora/Config/sys.xml"); // something to say
    sim::PanelProcess panel(gateway, PANELD_LAUNCHER, PANELD_INTERPOSER, launched("closed"));
    ASSERT_EQ(panel.settle(), Wait::Settled);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/clock"));
    for (int fd = 0; fd <= 2; ++fd) {
        EXPECT_EQ(fileOf(panel.pid(), fd), "/dev/null");
    }
    EXPECT_TRUE(gateway.canaryIntact());
}

// What a descriptor of a process was opened with, descriptor flags included.
unsigned openFlags(pid_t process, int descriptor) {
    std::ifstream info("/proc/" + std::to_string(process) + "/fdinfo/" +
                       std::to_string(descriptor));
    unsigned flags = 0;
    std::string word;
    info >> word >> word >> word >> std::oct >> flags; // behind "pos: N flags:"
    return flags;
}

std::string whatWaitsIn(int pipe) {
    std::string text(1 << 16, '\0');
    text.resize(
        static_cast<std::size_t>(std::max<ssize_t>(0, read(pipe, text.data(), text.size()))));
    return text;
}

TEST(Start, AReaderThatStopsReadingMissesWholeMessagesAndHoldsNothingUp) {
    sim::Gateway gateway;
    gateway.setTfCard(false); // something to say
    sim::PanelProcess panel(gateway, PANELD_LAUNCHER, PANELD_INTERPOSER, launched("stalled"));
    ASSERT_EQ(panel.settle(), Wait::Settled);
    const std::string message = "can not find tf card\n";
    const std::string path = "/proc/" + std::to_string(panel.pid()) + "/fd/1";
    const int pipe = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const auto size = static_cast<std::size_t>(fcntl(pipe, F_GETPIPE_SZ));
    const std::string filling(size - message.size() + 1, '.'); // a byte of the message has no room
    ASSERT_EQ(write(pipe, filling.data(), filling.size()), static_cast<ssize_t>(filling.size()));
    for (int presses = 0; presses < 12; ++presses) {
        ASSERT_EQ(panel.shortPress(), Wait::Settled);
    }
    EXPECT_TRUE(golden::matches(shown(gateway), "64/tf-card-none"));
    EXPECT_EQ(whatWaitsIn(pipe), filling);
    panel.advance(21s); // two redraws
    EXPECT_EQ(whatWaitsIn(pipe), message + message);
    int sharedEnds = 0;
    for (int descriptor = 3; descriptor < 32; ++descriptor) {
        if (fileOf(panel.pid(), descriptor) == fileOf(panel.pid(), STDOUT_FILENO)) {
            EXPECT_EQ(openFlags(panel.pid(), descriptor) & O_NONBLOCK, 0U);
            ++sharedEnds;
        }
    }
    EXPECT_EQ(sharedEnds, 2);
    EXPECT_NE(openFlags(panel.pid(), STDERR_FILENO) & O_NONBLOCK, 0U) << "a pipe as well";
    close(pipe);
}

TEST(Start, TheRebootCommandInheritsNeitherFramebufferNorButton) {
    sim::Gateway gateway;
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    ASSERT_EQ(panel.settle(), Wait::Settled);
    int ownFiles = 0;
    for (int descriptor = 0; descriptor < 32; ++descriptor) {
        if (fileOf(panel.pid(), descriptor).starts_with(gateway.folder())) {
            EXPECT_NE(openFlags(panel.pid(), descriptor) & O_CLOEXEC, 0U) << descriptor;
            ++ownFiles;
        }
    }
    EXPECT_EQ(ownFiles, 2); // framebuffer and button
}

TEST(Start, AReaderThatHangsUpDoesNotTakeThePanelDown) {
    sim::Gateway gateway;
    gateway.removeFile("/zelkora/Config/sys.xml");
    sim::PanelProcess panel(gateway, PANELD_LAUNCHER, PANELD_INTERPOSER, launched("deaf"));
    ASSERT_EQ(panel.settle(), Wait::Settled);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/clock"));
    ASSERT_EQ(panel.shortPress(), Wait::Settled);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/ethernet1-address"));
}

} // namespace
