#pragma once

// The ground of tests that run code of the daemon on a simulated gateway inside the test program.
// Each test case has a process of its own, so `DeviceInfo` and other statics start fresh. Time is
// virtual: sleeping advances it at once.

#include "sim/gateway.h"
#include "tests/support/stdout_capture.h"

#include <gtest/gtest.h>

class GatewayTest : public testing::Test {
  protected:
    explicit GatewayTest(sim::Panel panel = sim::panelOf(64)) : gateway(panel) { gateway.attach(); }

    // Lets `action` run and gives the virtual time that it took.
    template <class Action>
    std::chrono::nanoseconds timeOf(Action&& action) {
        const std::chrono::nanoseconds start = gateway.monotonic();
        std::forward<Action>(action)();
        return gateway.monotonic() - start;
    }

    sim::Gateway gateway;
};
