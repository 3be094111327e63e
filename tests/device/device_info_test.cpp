// The device-information object as a whole: construction, panel height, network, card, modem.

#include "device/device_info.h"
#include "modem/serial_port.h"
#include "tests/modem/modem_status_text.h"
#include "tests/support/gateway_test.h"

#include <arpa/inet.h>
#include <cstring>
#include <ctime>

namespace {

class DeviceInfoTest : public GatewayTest {};

TEST_F(DeviceInfoTest, AnyOtherHeightThan64LinesIsTheSmallPanel) {
    gateway.setPanel({128, 48, 1});
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), 1);
    gateway.setPanel(sim::panel64);
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), 1); // decided once
}

TEST_F(DeviceInfoTest, UnknownHeightCountsAsTheLargePanel) {
    gateway.setPanel(sim::panel32);
    gateway.failCall(sim::Call::Ioctl, EINVAL, 1, false, sim::Path::Framebuffer);
    EXPECT_EQ(outputOf([] { DeviceInfo::instance(); }),
              "Error: Don't Read Out Var Screen Information.\n");
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), 0);
}

// --- Network ------------------------------------------------------------------

sim::InterfaceEntry entry(const char* name, const char* address, const char* netmask = "9.9.9.9",
                          std::uint16_t family = AF_INET) {
    sim::InterfaceEntry result{};
    std::snprintf(result.name, sizeof result.name, "%s", name);
    result.present = 1;
    result.family = family;
    result.hasAddress = address != nullptr ? 1 : 0;
    result.hasNetmask = netmask != nullptr ? 1 : 0;
    inet_pton(AF_INET, address != nullptr ? address : "0.0.0.0", result.address);
    inet_pton(AF_INET, netmask != nullptr ? netmask : "0.0.0.0", result.netmask);
    return result;
}

TEST_F(DeviceInfoTest, AddressOfAnInterfaceIsItsFirstInTheList) {
    const char* longest = "255.255.255.255";
    const sim::InterfaceEntry plain = entry("eth0", "1.1.1.1", "255.0.0.0");
    const sim::InterfaceEntry link = entry("eth0", "9.9.9.9", "9.9.9.9", AF_PACKET);
    const struct {
        std::vector<sim::InterfaceEntry> list;
        std::string address;
        std::string netmask;
    } cases[] = {
        {{}, "N/A", "N/A"},
        {{entry("lo", "9.9.9.9"), entry("eth0", longest, longest), plain}, longest, longest},
        {{link, entry("eth0", nullptr), plain}, "1.1.1.1", "255.0.0.0"},
        {{entry("eth0:1", "9.9.9.9"), entry("eth", "9.9.9.9")}, "N/A", "N/A"},
        {{entry("eth0", "2.2.2.2", nullptr), plain}, "2.2.2.2", "N/A"},
    };
    for (const auto& one : cases) {
        gateway.setInterfaceEntries(one.list);
        InterfaceAddress pair;
        std::memset(&pair, 'x', sizeof pair);
        EXPECT_EQ(readInterfaceAddress("eth0", pair), one.address == "N/A" ? -1 : 0);
        EXPECT_EQ(pair.address, one.address);
        EXPECT_EQ(pair.netmask, one.netmask);
        EXPECT_EQ(pair.address[15] + pair.netmask[15], 0); // cleared to the end
    }
    EXPECT_EQ(gateway.calls(sim::Call::FreeIfAddrs), gateway.calls(sim::Call::GetIfAddrs));
}

TEST_F(DeviceInfoTest, PortsAskTheirInterfacesAnew) {
    const auto ports = [] {
        const InterfaceAddress* pairs[3] = {};
        EXPECT_EQ(DeviceInfo::instance()->getPort1Addr(&pairs[0]), 0);
        EXPECT_EQ(DeviceInfo::instance()->getPort2Addr(&pairs[1]), 0);
        EXPECT_EQ(DeviceInfo::instance()->getPppAddr(&pairs[2]), 0);
        return std::string(pairs[0]->address) + " " + pairs[1]->address + " " + pairs[2]->address;
    };
    EXPECT_EQ(ports(), "10.10.0.2 192.168.1.10 10.64.3.7");
    gateway.setInterface("eth0", "172.16.0.1");
    gateway.removeInterface("ppp0");
    EXPECT_EQ(ports(), "10.10.0.2 172.16.0.1 N/A");
    gateway.failCall(sim::Call::GetIfAddrs, ENOMEM, 2);
    EXPECT_EQ(ports(), "10.10.0.2 N/A N/A");

    // The cascade setting counts as it was last read; the addresses themselves do not read it.
    gateway.writeSysXml("192.168.1.1", "2");
    EXPECT_EQ(ports(), "10.10.0.2 172.16.0.1 N/A");
    DeviceInfo::instance()->gateway();
    EXPECT_EQ(ports(), "172.16.0.1 172.16.0.1 N/A");
}

// --- TF card ------------------------------------------------------------------

TEST(Capacity, DividesTheBlocksFirstAndWrapsAt32Bits) {
    const struct {
        std::uint32_t blocks, blockSize, megabytes;
    } cases[] = {
        {1946375, 4096, 7600},
        {3072, 512, 2},
        {1024, 511, 0},
        {(1U << 30) - 1024, 4096, 4194300},
        {1U << 30, 4096, 0},         // 4 TiB
        {1024, 0xffffffff, 4194304}, // rounded up behind the 32 bits
    };
    for (const auto& one : cases) {
        EXPECT_EQ(capacityMb(one.blocks, one.blockSize), one.megabytes)
            << one.blocks << " of " << one.blockSize;
    }
}

TEST_F(DeviceInfoTest, CardFiguresAreReadAnewAndZeroWithoutACard) {
    const auto read = [] {
        const TfCardFigures* figures = nullptr;
        int result = 1;
        const std::string printed =
            outputOf([&] { result = DeviceInfo::instance()->readTfCard(&figures); });
        return std::to_string(result) + " " + std::to_string(figures->tfFreeMb) + " " +
               std::to_string(figures->tfTotalMb) + " " + printed;
    };
    // Blocks available to everyone count as free, not those kept for the superuser.
    gateway.setTfFigures({4096, 1946375, 999'999, 512'000});
    EXPECT_EQ(read(), "0 2000 7600 ");
    gateway.setTfMounted(false);
    EXPECT_EQ(read(), "-1 0 0 can not get tf card info\n");
    gateway.setTfCard(false);
    EXPECT_EQ(read(), "-1 0 0 can not find tf card\n");
    gateway.setTfCard(true);
    gateway.failCall(sim::Call::Statfs, EIO, 1);
    EXPECT_EQ(read(), "-1 0 0 can not get tf card info\n");
    EXPECT_EQ(read(), "0 2000 7600 ");
}

// --- Modem --------------------------------------------------------------------

TEST_F(DeviceInfoTest, ModemIsAskedInTheWayOfTheModelLastRead) {
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    const auto ask = [] {
        const ModemStatus* status = nullptr;
        outputOf([&] { DeviceInfo::instance()->getModemStatus(&status); });
        return *status;
    };
    EXPECT_EQ(ask(), ModemStatus{});
    EXPECT_EQ(gateway.sentToModem(), "");
    EXPECT_EQ(gateway.calls(sim::Call::Open, sim::Path::ModemPort), 1U);
    gateway.writeSnXml("S", "GW");
    EXPECT_EQ(ask(), ModemStatus{}); // the model has not been read yet
    DeviceInfo::instance()->seriesNumber();
    EXPECT_EQ(ask(), (ModemStatus{1, 1, 20, 3, 2}));
    EXPECT_EQ(gateway.calls(sim::Call::Close, sim::Path::ModemPort), 3U);
    gateway.setModemPresent(false);
    EXPECT_EQ(ask(), ModemStatus{});
}

TEST_F(DeviceInfoTest, ALineThatTakesNoOutputIsGivenUpAfterTenSeconds) {
    DeviceInfo::instance();
    const int line = openModemPort(modemPortPath);
    ASSERT_EQ(tcflow(line, TCOOFF), 0);
    const std::time_t start = std::time(nullptr); // the machine's, not the gateway's
    const ModemStatus* status = nullptr;
    DeviceInfo::instance()->getModemStatus(&status);
    EXPECT_NEAR(static_cast<double>(std::time(nullptr) - start), 10, 1);
    EXPECT_EQ(*status, (ModemStatus{0, 0, -1, 0, 0}));
    EXPECT_EQ(gateway.calls(sim::Call::Write, sim::Path::ModemPort), 1U); // no other command
    EXPECT_EQ(gateway.calls(sim::Call::Close, sim::Path::ModemPort), 1U);
    closeModemPort(line);
}

} // namespace
