// The device-information object as a whole: construction, panel height, network, card, modem.

#include "device/device_info.h"
#include "modem/serial_port.h"
#include "tests/modem/modem_status_text.h"
#include "tests/support/gateway_test.h"

#include <cstring>
#include <ctime>
#include <sys/socket.h>

namespace {

class DeviceInfoTest : public GatewayTest {};

TEST_F(DeviceInfoTest, AnyOtherHeightThan64LinesIsTheSmallPanel) {
    gateway.setPanel({128, 40, 1});
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), 1);
    gateway.setPanel(sim::panelOf(64));
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), 1); // decided once
}

TEST_F(DeviceInfoTest, UnknownHeightCountsAsTheLargePanel) {
    gateway.setPanel(sim::panelOf(32));
    gateway.failCall(sim::Call::Ioctl, EINVAL, 1, false, sim::Path::Framebuffer);
    EXPECT_EQ(outputOf([] { DeviceInfo::instance(); }),
              "Error: Don't Read Out Var Screen Information.\n");
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), 0);
}

// --- Network ------------------------------------------------------------------

TEST_F(DeviceInfoTest, AddressOfAnInterfaceIsItsFirstInTheList) {
    constexpr std::uint16_t other = AF_PACKET;
    constexpr std::uint8_t top = 255;
    const auto read = [&](const std::vector<sim::InterfaceEntry>& list) {
        gateway.setInterfaceEntries(list);
        InterfaceAddress pair;
        std::memset(&pair, 'x', sizeof pair);
        const int result = readInterfaceAddress("eth0", pair);
        EXPECT_EQ(pair.address[15] + pair.netmask[15], 0); // cleared to the end
        return std::to_string(result) + " " + pair.address + " " + pair.netmask;
    };
    // Name, present, address and netmask present, family, address, netmask, flags.
    EXPECT_EQ(read({{"lo", 1, 1, 1, AF_INET, {9, 9, 9, 9}, {9, 9, 9, 9}, 0},
                    {"eth0", 1, 1, 1, other, {9, 9, 9, 9}, {9, 9, 9, 9}, 0},
                    {"eth0", 1, 0, 1, AF_INET, {9, 9, 9, 9}, {9, 9, 9, 9}, 0},
                    {"eth0:1", 1, 1, 1, AF_INET, {9, 9, 9, 9}, {9, 9, 9, 9}, 0},
                    {"eth", 1, 1, 1, AF_INET, {9, 9, 9, 9}, {9, 9, 9, 9}, 0},
                    {"eth0", 1, 1, 1, AF_INET, {top, top, top, top}, {top, top, 254, 100}, 0},
                    {"eth0", 1, 1, 1, AF_INET, {9, 9, 9, 9}, {9, 9, 9, 9}, 0}}),
              "0 255.255.255.255 255.255.254.100");
    EXPECT_EQ(read({{"eth0", 1, 1, 0, AF_INET, {2, 2, 2, 2}, {}, 0}}), "0 2.2.2.2 N/A");
    EXPECT_EQ(read({}), "-1 N/A N/A");
    gateway.failCall(sim::Call::GetIfAddrs, ENOMEM);
    EXPECT_EQ(read({{"eth0", 1, 1, 1, AF_INET, {2, 2, 2, 2}, {}, 0}}), "-1 N/A N/A");
    EXPECT_EQ(gateway.calls(sim::Call::FreeIfAddrs), gateway.calls(sim::Call::GetIfAddrs));
}

TEST_F(DeviceInfoTest, PortsFollowTheCascadeSettingAsItWasLastRead) {
    const auto ports = [] {
        const InterfaceAddress* pairs[3] = {};
        EXPECT_EQ(DeviceInfo::instance()->getPort1Addr(&pairs[0]), 0);
        EXPECT_EQ(DeviceInfo::instance()->getPort2Addr(&pairs[1]), 0);
        EXPECT_EQ(DeviceInfo::instance()->getPppAddr(&pairs[2]), 0);
        return std::string(pairs[0]->address) + " " + pairs[1]->address + " " + pairs[2]->address;
    };
    DeviceInfo::instance();
    gateway.writeSysXml("192.168.1.1", "2");
    EXPECT_EQ(ports(), "10.10.0.2 192.168.1.10 10.64.3.7");
    DeviceInfo::instance()->gateway();
    EXPECT_EQ(ports(), "192.168.1.10 192.168.1.10 10.64.3.7");
}

// --- TF card ------------------------------------------------------------------

TEST_F(DeviceInfoTest, CardFiguresAreReadAnewAndZeroWithoutACard) {
    const auto read = [] {
        const TfCardFigures* figures = nullptr;
        int result = 1;
        const std::string printed =
            outputOf([&] { result = DeviceInfo::instance()->readTfCard(&figures); });
        return std::to_string(result) + " " + std::to_string(figures->tfFreeMb) + " " +
               std::to_string(figures->tfTotalMb) + " " + printed;
    };
    constexpr std::uint64_t terabytes4 = std::uint64_t{1} << 30; // in blocks of 4096
    const std::pair<sim::TfFigures, const char*> cases[] = {
        // Blocks available to everyone count as free, not those kept for the superuser.
        {{4096, 1946375, 999'999, 512'000}, "0 2000 7600 "},
        // The blocks are divided first, in 32 bits.
        {{512, 3072, 0, 1023}, "0 0 2 "},
        {{511, 1024, 0, 2048}, "0 1 0 "},
        {{4096, terabytes4 - 1024, 0, terabytes4}, "0 0 4194300 "},
        {{0xffffffff, 1024, 0, 0}, "0 0 4194304 "}, // rounded up behind the 32 bits
    };
    for (const auto& [figures, shown] : cases) {
        gateway.setTfFigures(figures);
        EXPECT_EQ(read(), shown);
    }
    gateway.failCall(sim::Call::Statfs, EIO, 1);
    EXPECT_EQ(read(), "-1 0 0 can not get tf card info\n");
    EXPECT_EQ(read(), "0 0 4194304 ");
}

// --- Modem --------------------------------------------------------------------

TEST_F(DeviceInfoTest, ModemIsAskedInTheWayOfTheModelLastRead) {
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    const auto ask = [] {
        const ModemStatus* status = nullptr;
        outputOf([&] { DeviceInfo::instance()->getModemStatus(&status); });
        return textOf(*status);
    };
    EXPECT_EQ(ask(), "0 0 0 0 0");
    gateway.writeSnXml("S", "GW");
    EXPECT_EQ(ask(), "0 0 0 0 0"); // the model has not been read yet
    DeviceInfo::instance()->seriesNumber();
    EXPECT_EQ(ask(), "1 1 20 3 2");
    EXPECT_EQ(gateway.calls(sim::Call::Close, sim::Path::ModemPort), 3U);
    gateway.setModemPresent(false);
    EXPECT_EQ(ask(), "0 0 0 0 0");
}

TEST_F(DeviceInfoTest, ALineThatTakesNoOutputIsGivenUpAfterTenSeconds) {
    DeviceInfo::instance();
    const int line = openModemPort(modemPortPath);
    ASSERT_EQ(tcflow(line, TCOOFF), 0);
    const std::time_t start = std::time(nullptr); // the machine's, not the gateway's
    const ModemStatus* status = nullptr;
    DeviceInfo::instance()->getModemStatus(&status);
    EXPECT_NEAR(static_cast<double>(std::time(nullptr) - start), 10, 1);
    EXPECT_EQ(textOf(*status), "0 0 -1 0 0");
    EXPECT_EQ(gateway.calls(sim::Call::Write, sim::Path::ModemPort), 1U); // no other command
    EXPECT_EQ(gateway.calls(sim::Call::Close, sim::Path::ModemPort), 1U);
    closeModemPort(line);
}

} // namespace
