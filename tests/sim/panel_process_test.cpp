// The daemon as a process on a simulated gateway: its time, its output, its end.

#include "sim/panel_process.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::PanelProcess;
using sim::Path;
using Wait = PanelProcess::Wait;

class PanelProcessTest : public testing::Test {
  protected:
    PanelProcess start(const char* behaviour = "", sim::ProcessOptions options = {}) {
        options.environment = {{"PROBE", behaviour}};
        return PanelProcess(gateway, SIM_PROBE, PANEL_GATEWAY, std::move(options));
    }

    sim::Gateway gateway;
};

TEST_F(PanelProcessTest, TimeStandsStillUntilItIsMovedOn) {
    PanelProcess process = start();
    ASSERT_EQ(process.advance({}), Wait::Settled);
    const auto begin = gateway.monotonic();
    const sim::Sleeps& sleeps = gateway.control().sleeps;
    EXPECT_EQ(sleeps.main, 1U);
    EXPECT_EQ(process.advance(49ms), Wait::Settled);
    EXPECT_EQ(sleeps.main, 1U);
    EXPECT_EQ(process.advance(1ms), Wait::Settled);
    EXPECT_EQ(sleeps.main, 2U);
    EXPECT_EQ(process.advance(60s), Wait::Settled);
    EXPECT_EQ(sleeps.main, 1202U);
    EXPECT_EQ(sleeps.others, 121U);
    EXPECT_EQ(sleeps.othersLastUs, 500'000U);
    EXPECT_EQ(gateway.monotonic() - begin, 60'050ms);
    EXPECT_EQ(process.settle(3), Wait::Settled);
    EXPECT_EQ(sleeps.main, 1205U);
    EXPECT_EQ(process.exitNormally(), 0);
    EXPECT_EQ(process.output(), "hellogoodbye");
}

TEST_F(PanelProcessTest, AProcessThatDiesIsNoticed) {
    PanelProcess crashing = start("crash");
    EXPECT_EQ(crashing.advance(10s), Wait::Exited);
    ASSERT_TRUE(crashing.status());
    EXPECT_TRUE(WIFSIGNALED(*crashing.status()));
    EXPECT_EQ(crashing.settle(), Wait::Exited);

    PanelProcess missing(gateway, gateway.folder() + "/missing", PANEL_GATEWAY);
    EXPECT_EQ(missing.advance(1s), Wait::Exited);

    PanelProcess ending = start("end");
    EXPECT_EQ(ending.advance(10s), Wait::Exited);
    EXPECT_EQ(WEXITSTATUS(ending.waitExit().value_or(0)), 3);
    EXPECT_EQ(ending.output(), "hellogoodbye");
}

TEST_F(PanelProcessTest, AProcessThatHangsIsGivenUp) {
    sim::ProcessOptions options;
    options.patience = 200ms;
    PanelProcess process = start("hang", options);
    EXPECT_EQ(process.advance(10s), Wait::Stuck);
    EXPECT_TRUE(process.running());
    EXPECT_EQ(process.exitNormally(), std::nullopt);
}

} // namespace
