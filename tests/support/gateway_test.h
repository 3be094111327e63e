#pragma once

// The ground of tests that run code of the daemon on a simulated gateway inside the test program.
// Each test case has a process of its own, so `DeviceInfo` and other statics start fresh. Time is
// virtual: sleeping advances it at once.

#include "sim/gateway.h"
#include "tests/support/stdout_capture.h"

#include <gtest/gtest.h>

class GatewayTest : public testing::Test {
  protected:
    explicit GatewayTest(sim::Panel panel = sim::panel64) : gateway(panel) { gateway.attach(); }

    // Takes away every file, device, interface and the modem: a machine without any of it.
    void makeBare() {
        for (const char* path : {"/zelkora/Config/sys.xml", "/zelkora/Config/system/sn.xml",
                                 "/zelkora/Config/version/main-version.conf",
                                 "/zelkora/Config/Channel-template.xml"}) {
            gateway.removeFile(path);
        }
        gateway.setFramebufferPresent(false);
        gateway.setButtonPresent(false);
        gateway.setBacklightPresent(sim::Backlight::Ssd1306, false);
        gateway.setBacklightPresent(sim::Backlight::St7565, false);
        gateway.setInterfaceEntries({});
        gateway.setTfCard(false);
        gateway.setModemPresent(false);
    }

    // Lets `action` run and gives the virtual time that it took.
    template <class Action>
    std::chrono::nanoseconds timeOf(Action&& action) {
        const std::chrono::nanoseconds start = gateway.monotonic();
        std::forward<Action>(action)();
        return gateway.monotonic() - start;
    }

    sim::Gateway gateway;
};

// The same on the 32-line panel.
class SmallPanelGatewayTest : public GatewayTest {
  protected:
    SmallPanelGatewayTest() : GatewayTest(sim::panel32) {}
};
