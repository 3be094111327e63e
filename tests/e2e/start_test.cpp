// How the daemon starts, and how it fails to.

#include "sim/panel_process.h"
#include "tests/pages/shown.h"
#include "tests/support/golden.h"

#include <cerrno>
#include <climits>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

using Wait = sim::PanelProcess::Wait;

TEST(Start, WithoutAQueueEndsWithStatus255) {
    sim::Gateway gateway;
    gateway.failCall(sim::Call::MsgGet, ENOSPC);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    const std::optional<int> status = panel.waitExit();
    ASSERT_TRUE(status && WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 255);
    EXPECT_EQ(panel.output(), "msgget failed!!!");
    EXPECT_EQ(panel.errors(), "");
    EXPECT_EQ(gateway.calls(sim::Path::Framebuffer), 0U);
}

TEST(Start, WithoutAThreadEndsQuietlyWithStatus0) {
    sim::Gateway gateway;
    gateway.failCall(sim::Call::PthreadCreate, EAGAIN);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    const std::optional<int> status = panel.waitExit();
    ASSERT_TRUE(status && WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 0);
    EXPECT_EQ(panel.output(), "");
    EXPECT_EQ(panel.errors(), "");
    EXPECT_EQ(gateway.calls(sim::Path::Framebuffer), 0U);
    EXPECT_EQ(gateway.brightness(), "50"); // as the kernel left it
}

sim::ProcessOptions launched(const char* condition) {
    sim::ProcessOptions options;
    options.environment = {{"PANELD_LAUNCH", condition}, {"PANELD_PROGRAM", PANELD_PROGRAM}};
    return options;
}

TEST(Start, ClosedStandardDescriptorsAreNotTakenByTheFramebuffer) {
    sim::Gateway gateway;
    gateway.removeFile("/zelkora/Config/sys.xml"); // something to say
    sim::PanelProcess panel(gateway, PANELD_LAUNCHER, PANELD_INTERPOSER, launched("closed"));
    ASSERT_EQ(panel.settle(), Wait::Settled);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/clock"));
    for (int fd = 0; fd <= 2; ++fd) {
        const std::string link =
            "/proc/" + std::to_string(panel.pid()) + "/fd/" + std::to_string(fd);
        char target[PATH_MAX] = {};
        EXPECT_GT(readlink(link.c_str(), target, sizeof target - 1), 0);
        EXPECT_STREQ(target, "/dev/null");
    }
    EXPECT_TRUE(gateway.canaryIntact());
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
