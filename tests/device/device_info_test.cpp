// The device-information object as a whole: construction, panel height, network, card, modem.

#include "device/device_info.h"
#include "tests/modem/modem_status_text.h"
#include "tests/support/gateway_test.h"

#include <arpa/inet.h>
#include <cstring>
#include <filesystem>

namespace {

class DeviceInfoTest : public GatewayTest {};

constexpr const char* bareMachine = "get /zelkora/Config/Channel-template.xml status error\n"
                                    "get /zelkora/Config/sys.xml status error\n"
                                    "get /zelkora/Config/system/sn.xml status error\n"
                                    "get /zelkora/Config/version/main-version.conf status error\n"
                                    "Error:can not open LCD FrameBuffer Device /dev/fb0\n";

TEST_F(DeviceInfoTest, ConstructionOnABareMachineReportsEachMissingThingOnce) {
    makeBare();
    DeviceInfo* first = nullptr;
    EXPECT_EQ(outputOf([&] { first = DeviceInfo::instance(); }), bareMachine);
    DeviceInfo* second = nullptr;
    EXPECT_EQ(outputOf([&] { second = DeviceInfo::instance(); }), "");
    EXPECT_EQ(second, first);
    EXPECT_EQ(second->isSmallPanel(), 0);
    EXPECT_EQ(gateway.calls(sim::Call::Open, sim::Path::Framebuffer), 1U);
}

class PanelHeight : public DeviceInfoTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(PanelHeight, Of64LinesAloneIsTheLargePanel) {
    gateway.setPanel({128, GetParam(), 1});
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), GetParam() == 64 ? 0 : 1);
    gateway.setPanel({128, GetParam() == 64 ? 32U : 64U, 1});
    EXPECT_EQ(DeviceInfo::instance()->isSmallPanel(), GetParam() == 64 ? 0 : 1); // decided once
}

INSTANTIATE_TEST_SUITE_P(Lines, PanelHeight, testing::Values(64, 32, 48, 128));

class SmallPanelDeviceInfoTest : public SmallPanelGatewayTest {};

TEST_F(SmallPanelDeviceInfoTest, UnknownHeightCountsAsTheLargePanel) {
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
    const struct {
        std::vector<sim::InterfaceEntry> list;
        std::string address;
        std::string netmask;
    } cases[] = {
        {{}, "N/A", "N/A"},
        {{entry("eth0", longest, longest)}, longest, longest},
        {{entry("lo", "9.9.9.9"), entry("eth0", "1.2.3.4", "255.0.0.0"), entry("eth0", "9.9.9.9")},
         "1.2.3.4",
         "255.0.0.0"},
        {{entry("eth0", "9.9.9.9", "9.9.9.9", AF_PACKET), entry("eth0", "0.0.0.0", "128.0.0.0")},
         "0.0.0.0",
         "128.0.0.0"},
        {{entry("eth0", "9.9.9.9", "9.9.9.9", AF_INET6)}, "N/A", "N/A"},
        {{entry("eth0:1", "9.9.9.9"), entry("eth", "9.9.9.9"), entry("ETH0", "9.9.9.9")},
         "N/A",
         "N/A"},
        {{entry("eth0", nullptr, nullptr)}, "N/A", "N/A"},
        {{entry("eth0", nullptr), entry("eth0", "1.1.1.1", "255.0.0.0")}, "1.1.1.1", "255.0.0.0"},
        {{entry("eth0", "1.1.1.1", nullptr), entry("eth0", "2.2.2.2")}, "1.1.1.1", "N/A"},
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
        {1000, 4096, 0},
        {3072, 512, 2},
        {1024, 511, 0},
        {2047, 1536, 2},
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
    using Figures = std::pair<std::uint32_t, std::uint32_t>;
    const auto read = [](int expected) {
        const TfCardFigures* figures = nullptr;
        int result = 1;
        const std::string printed =
            outputOf([&] { result = DeviceInfo::instance()->readTfCard(&figures); });
        EXPECT_EQ(result, expected);
        return std::pair(Figures(figures->tfFreeMb, figures->tfTotalMb), printed);
    };
    using Result = std::pair<Figures, std::string>;

    // Blocks available to everyone count as free, not those kept for the superuser.
    gateway.setTfFigures({4096, 1946375, 999'999, 512'000});
    EXPECT_EQ(read(0), (Result{{2000, 7600}, ""}));
    gateway.setTfFigures({4096, 1ULL << 30, 0, (1ULL << 30) - 1024});
    EXPECT_EQ(read(0), (Result{{4194300, 0}, ""}));
    gateway.setTfMounted(false);
    EXPECT_EQ(read(-1), (Result{{0, 0}, "can not get tf card info\n"}));
    gateway.setTfCard(false);
    EXPECT_EQ(read(-1), (Result{{0, 0}, "can not find tf card\n"}));
    gateway.setTfCard(true);
    gateway.failCall(sim::Call::Statfs, EIO, 1);
    EXPECT_EQ(read(-1), (Result{{0, 0}, "can not get tf card info\n"}));
    EXPECT_EQ(read(0), (Result{{4194300, 0}, ""}));
}

// --- Modem --------------------------------------------------------------------

TEST_F(DeviceInfoTest, ModemIsAskedInTheWayOfTheModelLastRead) {
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    ModemStatus status{};
    const auto ask = [&] {
        const ModemStatus* result = nullptr;
        DeviceInfo::instance()->getModemStatus(&result);
        status = *result;
    };
    outputOf(ask);
    EXPECT_EQ(status, ModemStatus{});
    EXPECT_EQ(gateway.sentToModem(), "");
    EXPECT_EQ(gateway.calls(sim::Call::Open, sim::Path::ModemPort), 1U);

    for (const char* model : {"GW-L", "GW"}) {
        gateway.writeSnXml("S", model);
        const ModemStatus before = status;
        ask();
        EXPECT_EQ(status, before); // the model has not been read yet
        DeviceInfo::instance()->seriesNumber();
        ask();
        EXPECT_EQ(status, (ModemStatus{1, 1, 20, 3, model[2] == '-' ? 8 : 2}));
    }
    gateway.setModemPresent(false);
    EXPECT_EQ(outputOf(ask), "");
    EXPECT_EQ(status, ModemStatus{});
}

// --- Descriptors --------------------------------------------------------------

TEST_F(DeviceInfoTest, QueriesLeaveNoDescriptorOpen) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto askEverything = [&] {
        DeviceInfo* info = DeviceInfo::instance();
        const InterfaceAddress* pair = nullptr;
        const TfCardFigures* figures = nullptr;
        const ModemStatus* status = nullptr;
        info->version(), info->gateway(), info->seriesNumber(), info->firstChannel();
        info->getPort1Addr(&pair), info->readTfCard(&figures), info->getModemStatus(&status);
    };
    const auto before = descriptors();
    outputOf(askEverything);
    for (const char* contents : {"", "<x/>", "<sysConfig>", "<sysConfig/>"}) {
        gateway.writeVersion(contents);
        for (const char* path : {"/zelkora/Config/sys.xml", "/zelkora/Config/system/sn.xml",
                                 "/zelkora/Config/Channel-template.xml"}) {
            gateway.writeFile(path, contents);
        }
        outputOf(askEverything);
    }
    EXPECT_EQ(descriptors(), before);
}

} // namespace
