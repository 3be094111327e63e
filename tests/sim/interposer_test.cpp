// The places and calls of the gateway as a program meets them through the linked interposer.

#include "sim/gateway.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <libxml/parser.h>
#include <linux/fb.h>
#include <linux/input.h>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

extern "C" int __open_2(const char* path, int flags);
extern "C" int __open64_2(const char* path, int flags);

namespace {

using sim::Call;
using sim::Path;

const char* const sysXml = "/zelkora/Config/sys.xml";

bool closed(int descriptor) {
    return descriptor >= 0 && close(descriptor) == 0;
}

bool closed(FILE* file) {
    return file != nullptr && fclose(file) == 0;
}

// Each way to reach a file by its path; true when it was found.
struct Reach {
    const char* name;
    Call call;
    std::function<bool(const char*)> find;
};

const std::array<Reach, 11> reaches = {{
    {"open", Call::Open, [](const char* path) { return closed(open(path, O_RDONLY)); }},
    {"open64", Call::Open, [](const char* path) { return closed(open64(path, O_RDONLY)); }},
    {"__open_2", Call::Open, [](const char* path) { return closed(__open_2(path, O_RDONLY)); }},
    {"__open64_2", Call::Open, [](const char* path) { return closed(__open64_2(path, O_RDONLY)); }},
    {"fopen", Call::Fopen, [](const char* path) { return closed(fopen(path, "r")); }},
    {"fopen64", Call::Fopen, [](const char* path) { return closed(fopen64(path, "r")); }},
    {"access", Call::Access, [](const char* path) { return access(path, F_OK) == 0; }},
    {"stat", Call::Stat,
     [](const char* path) {
         struct stat status {};
         return stat(path, &status) == 0;
     }},
    {"stat64", Call::Stat,
     [](const char* path) {
         struct stat64 status {};
         return stat64(path, &status) == 0;
     }},
    {"fstatat", Call::Stat,
     [](const char* path) {
         struct stat status {};
         return fstatat(AT_FDCWD, path, &status, 0) == 0;
     }},
    {"fstatat64", Call::Stat,
     [](const char* path) {
         struct stat64 status {};
         return fstatat64(AT_FDCWD, path, &status, 0) == 0;
     }},
}};

class InterposerTest : public testing::Test {
  protected:
    InterposerTest() { gateway.attach(); }

    sim::Gateway gateway;
};

TEST_F(InterposerTest, EveryVariantOfACallReachesTheSandbox) {
    for (const Reach& reach : reaches) {
        gateway.resetCounters();
        EXPECT_TRUE(reach.find(sysXml)) << reach.name;
        EXPECT_EQ(gateway.calls(reach.call, Path::SysXml), 1U) << reach.name;
        gateway.removeFile(sysXml);
        EXPECT_FALSE(reach.find(sysXml)) << reach.name;
        gateway.writeSysXml("10.0.0.1");
    }
}

TEST_F(InterposerTest, EveryPlaceIsFoundAndCountedUnderItsOwnName) {
    gateway.writeFile("/zelkora/other.conf", "");
    gateway.setBacklightPresent(sim::Backlight::St7565, true);
    const std::map<Path, const char*> found = {
        {Path::Framebuffer, "/dev/fb0"},
        {Path::Button, "/dev/input/event0"},
        {Path::ModemPort, "/dev/mux3"},
        {Path::TfDevice, "/dev/mmcblk0p1"},
        {Path::TfMount, "/media/mmcblk0p1"},
        {Path::BacklightSsd1306, "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness"},
        {Path::BacklightSt7565, "/sys/devices/platform/ST7565fb/backlight/st7565bl0/brightness"},
        {Path::SysXml, sysXml},
        {Path::SnXml, "/zelkora/Config/system/sn.xml"},
        {Path::VersionFile, "/zelkora/Config/version/main-version.conf"},
        {Path::ChannelTemplate, "/zelkora/Config/Channel-template.xml"},
        {Path::OtherConfig, "/zelkora/other.conf"},
    };
    ASSERT_EQ(found.size(), sim::pathCount - 1);
    for (const auto& [path, realPath] : found) {
        EXPECT_EQ(access(realPath, F_OK), 0) << realPath;
        EXPECT_EQ(gateway.calls(path), 1U) << realPath;
    }
}

TEST_F(InterposerTest, PlacesOutsideTheGatewayAreLeftAlone) {
    EXPECT_EQ(access("/proc/self/status", R_OK), 0);
    EXPECT_NE(access("/zelkorated", F_OK), 0);
    EXPECT_NE(access("/dev/fb0x", F_OK), 0);
    struct statfs figures {};
    EXPECT_EQ(statfs("/", &figures), 0);
    for (std::size_t path = 1; path < sim::pathCount; ++path) {
        EXPECT_EQ(gateway.calls(static_cast<Path>(path)), 0U) << name(static_cast<Path>(path));
    }
}

TEST(UnattachedInterposerTest, NothingReachesTheRealMachine) {
    for (const Reach& reach : reaches) {
        errno = 0;
        EXPECT_FALSE(reach.find(sysXml)) << reach.name;
        EXPECT_EQ(errno, ENOENT) << reach.name;
    }
    for (const char* device : {"/dev/fb0", "/dev/input/event0", "/dev/mux3"}) {
        EXPECT_EQ(open(device, O_RDWR), -1) << device;
    }
    struct statfs figures {};
    EXPECT_EQ(statfs("/media/mmcblk0p1", &figures), -1);
    ifaddrs* list = nullptr;
    EXPECT_EQ(getifaddrs(&list), -1);
    EXPECT_EQ(msgget(80, IPC_CREAT | 0666), -1);
    const std::string file = testing::TempDir() + "paneld-popen-" + std::to_string(getpid());
    EXPECT_EQ(popen(("touch " + file).c_str(), "r"), nullptr);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(UnattachedInterposerTest, APlaceIsRefusedAgainWhenItsGatewayHasEnded) {
    {
        sim::Gateway gateway;
        gateway.attach();
        ASSERT_EQ(access(sysXml, F_OK), 0);
    }
    EXPECT_EQ(access(sysXml, F_OK), -1);
}

TEST_F(InterposerTest, Libxml2ReadsTheSandbox) {
    gateway.writeSysXml("a<b&\"c");
    xmlDoc* document = xmlReadFile(sysXml, "UTF-8", 0);
    ASSERT_NE(document, nullptr);
    xmlNode* lan = xmlFirstElementChild(xmlDocGetRootElement(document));
    xmlChar* value = xmlGetProp(lan, reinterpret_cast<const xmlChar*>("gateway"));
    EXPECT_STREQ(reinterpret_cast<const char*>(value), "a<b&\"c");
    xmlFree(value);
    xmlFreeDoc(document);
    xmlCleanupParser();
    EXPECT_GE(gateway.calls(Path::SysXml), 1U);
}

TEST_F(InterposerTest, ABrightnessFileTakesAndAnswersWhatTheKernelsDoes) {
    const char* file = "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness";
    const struct {
        std::string written;
        int error; // 0: taken
        const char* answer;
    } cases[] = {
        {"127", 0, "127\n"},
        {"0", 0, "0\n"},
        {"255\n", 0, "255\n"},
        {"0x10", 0, "16\n"},
        {"010", 0, "8\n"},
        {"+5", 0, "5\n"},
        {"", 0, "5\n"},
        {"256", EINVAL, "5\n"},
        {"-1", EINVAL, "5\n"},
        {"abc", EINVAL, "5\n"},
        {" 7", EINVAL, "5\n"},
        {"7 ", EINVAL, "5\n"},
        {"\n", EINVAL, "5\n"},
        {"1.5", EINVAL, "5\n"},
        {std::string("7\0", 2), EINVAL, "5\n"},
        {"7\n\n", EINVAL, "5\n"},
        {std::string(30, '9'), ERANGE, "5\n"},
    };
    const int descriptor = open(file, O_WRONLY | O_TRUNC);
    ASSERT_GE(descriptor, 0);
    EXPECT_EQ(gateway.readFile(file), "50\n") << "sysfs is not emptied";
    for (const auto& [written, error, answer] : cases) {
        errno = 0;
        const ssize_t result = write(descriptor, written.data(), written.size());
        EXPECT_EQ(result, error == 0 ? static_cast<ssize_t>(written.size()) : -1) << written;
        EXPECT_EQ(errno, error) << written;
        EXPECT_EQ(gateway.readFile(file), answer) << written;
    }
    close(descriptor);
    EXPECT_EQ(gateway.brightness(), "5");
    EXPECT_EQ(gateway.brightness(sim::Backlight::St7565), std::nullopt);
    EXPECT_EQ(gateway.lastOpenFlags(Path::BacklightSsd1306), O_WRONLY | O_TRUNC);
}

TEST_F(InterposerTest, TheFramebufferAnswersWithThePanelThatIsFitted) {
    for (const sim::Panel panel : {sim::panel64, sim::panel32, sim::Panel{96, 48, 2}}) {
        gateway.setPanel(panel);
        const int descriptor = open("/dev/fb0", O_RDWR);
        fb_var_screeninfo information{};
        ASSERT_EQ(ioctl(descriptor, FBIOGET_VSCREENINFO, &information), 0);
        EXPECT_EQ(information.xres, panel.width);
        EXPECT_EQ(information.yres, panel.height);
        EXPECT_EQ(information.bits_per_pixel, panel.bitsPerPixel);
        close(descriptor);
    }
    fb_var_screeninfo information{};
    const int other = open("/dev/null", O_RDWR);
    EXPECT_EQ(ioctl(other, FBIOGET_VSCREENINFO, &information), -1);
    close(other);
}

TEST_F(InterposerTest, WhatIsDrawnInTheMappingIsThePicture) {
    const int descriptor = open("/dev/fb0", O_RDWR);
    void* memory = mmap(nullptr, 1024, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* bytes = static_cast<std::uint8_t*>(memory);
    bytes[0] = 1;
    bytes[1023] = 0x80;
    EXPECT_EQ(gateway.picture().size(), 1024U);
    EXPECT_EQ(gateway.picture().front(), 1);
    EXPECT_EQ(gateway.picture().back(), 0x80);
    EXPECT_TRUE(gateway.canaryIntact());
    // One byte past the panel, still in the mapped page.
    bytes[1024] = static_cast<std::uint8_t>(~bytes[1024]);
    EXPECT_FALSE(gateway.canaryIntact());
    munmap(memory, 1024);
    close(descriptor);
}

TEST_F(InterposerTest, ACommandIsRecordedAndNeverRun) {
    const std::string file = gateway.folder() + "/touched";
    FILE* stream = popen(("touch " + file).c_str(), "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(pclose(stream), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(gateway.popenCount(), 1U);
    EXPECT_EQ(gateway.lastPopen(), "touch " + file);
}

// One line per entry: name, family, first byte of the address, of the netmask; "-" for null.
std::string listed() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return "failed";
    }
    const auto firstByte = [](const sockaddr* address) {
        if (address == nullptr) {
            return std::string("-");
        }
        in_addr internet{};
        std::memcpy(&internet, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr,
                    sizeof internet);
        return std::to_string(ntohl(internet.s_addr) >> 24);
    };
    std::string text;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        text += std::string(entry->ifa_name) + " " +
                (entry->ifa_addr == nullptr ? "-" : std::to_string(entry->ifa_addr->sa_family)) +
                " " + firstByte(entry->ifa_addr) + " " + firstByte(entry->ifa_netmask) + "\n";
    }
    freeifaddrs(list);
    return text;
}

TEST_F(InterposerTest, InterfacesAreListedAsTheFactsStand) {
    const sim::InterfaceEntry entries[] = {
        {"eth0", 1, 0, 0, AF_INET, {}, {}, 0},
        {"eth0", 1, 1, 0, AF_INET6, {}, {}, 0},
        {"eth0", 1, 1, 0, AF_INET, {10, 0, 0, 1}, {}, 0},
    };
    gateway.setInterfaceEntries(entries);
    gateway.setInterface("eth1", "192.168.3.4", "255.255.0.0");
    EXPECT_EQ(listed(), "eth0 - - -\neth0 10 0 -\neth0 2 10 -\neth1 2 192 255\n");
    EXPECT_TRUE(gateway.hasAddress("eth1"));
    gateway.setInterface("eth1", "172.16.0.1");
    gateway.removeInterface("eth0");
    EXPECT_EQ(listed(), "eth1 2 172 255\n");
    gateway.failCall(Call::GetIfAddrs, ENOMEM);
    EXPECT_EQ(listed(), "failed");
    EXPECT_EQ(listed(), "eth1 2 172 255\n");
}

// What the list says of one interface: families, each with '+' while the interface is running.
std::string families(const char* interfaceName) {
    ifaddrs* list = nullptr;
    EXPECT_EQ(getifaddrs(&list), 0);
    std::string text;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (std::strcmp(entry->ifa_name, interfaceName) == 0) {
            text += entry->ifa_addr->sa_family == AF_PACKET ? "link" : " address";
            text += (entry->ifa_flags & IFF_RUNNING) != 0 ? "+" : "";
        }
    }
    freeifaddrs(list);
    return text;
}

TEST_F(InterposerTest, AnInterfaceKeepsItsAddressWithoutACable) {
    EXPECT_EQ(families("eth1"), "link+ address+");
    gateway.setCable("eth1", false);
    EXPECT_EQ(families("eth1"), "link address");
    EXPECT_FALSE(gateway.hasCable("eth1"));
    gateway.setInterface("eth1", "10.0.0.9");
    EXPECT_EQ(families("eth1"), "link address");
    gateway.removeAddress("eth1");
    EXPECT_EQ(families("eth1"), "link");
    gateway.setCable("eth1", true);
    EXPECT_EQ(families("eth1"), "link+");
    EXPECT_EQ(families("eth0"), "link+ address+");
    gateway.removeInterface("eth0");
    EXPECT_EQ(families("eth0"), "");
}

TEST_F(InterposerTest, ListsThatAreNeverFreedRunOut) {
    std::array<ifaddrs*, 4> lists{};
    for (ifaddrs*& list : lists) {
        ASSERT_EQ(getifaddrs(&list), 0);
    }
    EXPECT_EQ(listed(), "failed");
    for (ifaddrs* list : lists) {
        freeifaddrs(list);
    }
    EXPECT_NE(listed(), "failed");
}

TEST_F(InterposerTest, TheTfCardHasTheFiguresOfTheFacts) {
    gateway.setTfFigures({512, 3072, 2048, 1024});
    struct statfs figures {};
    ASSERT_EQ(statfs("/media/mmcblk0p1", &figures), 0);
    EXPECT_EQ(figures.f_bsize, 512);
    EXPECT_EQ(figures.f_blocks, 3072U);
    EXPECT_EQ(figures.f_bavail, 1024U);
    gateway.setTfMegabytes(5, 7600);
    struct statfs64 figures64 {};
    ASSERT_EQ(statfs64("/media/mmcblk0p1", &figures64), 0);
    EXPECT_EQ(figures64.f_blocks * static_cast<std::uint64_t>(figures64.f_bsize), 7600ULL << 20);
}

TEST_F(InterposerTest, APulledTfCardLeavesItsMountBehind) {
    const auto state = [] {
        struct statfs figures {};
        return std::pair(access("/dev/mmcblk0p1", F_OK) == 0,
                         statfs("/media/mmcblk0p1", &figures) == 0 && figures.f_blocks > 0);
    };
    EXPECT_EQ(state(), std::pair(true, true));
    gateway.setTfCard(false);
    EXPECT_EQ(state(), std::pair(false, true));
    gateway.setTfMounted(false);
    EXPECT_EQ(state(), std::pair(false, false));
    gateway.setTfCard(true);
    EXPECT_EQ(state(), std::pair(true, true));
    gateway.setTfMounted(false);
    EXPECT_EQ(state(), std::pair(true, false));
}

TEST_F(InterposerTest, EachGatewayHasAQueueOfItsOwn) {
    int ended = -1;
    {
        const sim::Gateway other;
        EXPECT_NE(other.queueKey(), gateway.queueKey());
        ended = msgget(other.queueKey(), 0);
        EXPECT_GE(ended, 0);
    }
    msqid_ds status{};
    EXPECT_EQ(msgctl(ended, IPC_STAT, &status), -1);

    struct {
        long type;
        char text[68];
    } message{};
    const int queue = msgget(80, IPC_CREAT | 0666);
    ASSERT_TRUE(gateway.sendLogLine("hello", 7));
    EXPECT_EQ(gateway.logLinesWaiting(), 1U);
    EXPECT_EQ(msgrcv(queue, &message, sizeof message.text, 0, IPC_NOWAIT), 6);
    EXPECT_EQ(message.type, 7);
    EXPECT_STREQ(message.text, "hello");
    ASSERT_TRUE(gateway.sendLogLine(std::string(69, 'x')));
    EXPECT_EQ(msgrcv(queue, &message, sizeof message.text, 0, IPC_NOWAIT), -1);
    EXPECT_TRUE(gateway.takeLogLine());
    EXPECT_FALSE(gateway.takeLogLine());
}

// Reads what waits in the button's device, as type, code and value.
std::vector<std::array<int, 3>> waitingEvents(int descriptor) {
    std::vector<std::array<int, 3>> events;
    input_event event{};
    while (read(descriptor, &event, sizeof event) == static_cast<ssize_t>(sizeof event)) {
        events.push_back({event.type, event.code, event.value});
    }
    return events;
}

TEST_F(InterposerTest, TheButtonsDevicePassesOnWhatTheKernelDoes) {
    using Events = std::vector<std::array<int, 3>>;
    constexpr std::array<int, 3> synchronised = {EV_SYN, SYN_REPORT, 0};
    const int descriptor = open("/dev/input/event0", O_RDWR | O_NONBLOCK);
    ASSERT_GE(descriptor, 0);
    // Only what changes the key, and every repetition.
    Events passed;
    for (const int value : {1, 0, 2, 1, 2, 0, 3, 0}) {
        passed.push_back({EV_KEY, 256, value});
        passed.push_back(synchronised);
    }
    for (const int value : {0, 1, 1, 0, 0, 2, 1, 2, 0, 3, -1, 0}) {
        gateway.reportKey(256, value);
    }
    EXPECT_EQ(waitingEvents(descriptor), passed);
    // 15 presses are 60 events. The 64th drives out all before it.
    for (const std::size_t presses : {15U, 16U, 20U}) {
        for (std::size_t i = 0; i < presses; ++i) {
            gateway.press();
            gateway.release();
        }
        const Events events = waitingEvents(descriptor);
        ASSERT_EQ(events.size(), presses < 16 ? 4 * presses : 4 * (presses - 16) + 2) << presses;
        if (presses >= 16) {
            EXPECT_EQ(events[0], (std::array<int, 3>{EV_SYN, SYN_DROPPED, 0}));
            EXPECT_EQ(events[1], synchronised);
        }
    }
    close(descriptor);
}

TEST_F(InterposerTest, ButtonEventsWaitInTheDeviceUntilTheyAreRead) {
    const int descriptor = open("/dev/input/event0", O_RDWR | O_NONBLOCK);
    input_event event{};
    EXPECT_EQ(read(descriptor, &event, sizeof event), -1);
    EXPECT_EQ(errno, EAGAIN);
    gateway.press();
    EXPECT_EQ(read(descriptor, &event, sizeof event), static_cast<ssize_t>(sizeof event));
    EXPECT_EQ(event.type, EV_KEY);
    EXPECT_EQ(event.code, 256);
    EXPECT_EQ(event.value, 1);
    EXPECT_EQ(read(descriptor, &event, sizeof event), static_cast<ssize_t>(sizeof event));
    EXPECT_EQ(event.type, EV_SYN);
    gateway.release();
    gateway.dropEvents();
    EXPECT_EQ(read(descriptor, &event, sizeof event), -1);
    close(descriptor);
}

TEST_F(InterposerTest, PlannedFaultsHitTheCallsTheyName) {
    const auto opens = [](const char* path) { return closed(open(path, O_RDONLY)) ? 'o' : 'x'; };
    const auto fourOpens = [&] {
        return std::string{opens("/dev/fb0"), opens(sysXml), opens("/dev/fb0"), opens(sysXml)};
    };
    EXPECT_EQ(fourOpens(), "oooo");
    sim::FaultId fault = gateway.failCall(Call::Open, EACCES, 2);
    EXPECT_EQ(fourOpens(), "oxoo");
    EXPECT_EQ(fourOpens(), "oooo");
    EXPECT_EQ(gateway.faultHits(fault), 1U);
    fault = gateway.failCall(Call::Open, EMFILE, 2, true, Path::SysXml);
    EXPECT_EQ(fourOpens(), "ooox");
    EXPECT_EQ(fourOpens(), "oxox");
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(gateway.faultHits(fault), 3U);
    gateway.clearFaults();
    EXPECT_EQ(fourOpens(), "oooo");
}

TEST_F(InterposerTest, AFailingCloseStillLetsTheDescriptorGo) {
    const int descriptor = open("/dev/fb0", O_RDWR);
    gateway.failCall(Call::Close, EIO);
    EXPECT_EQ(close(descriptor), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(InterposerTest, EveryWriteOfAFileIsANewerFile) {
    const auto modified = [](const char* path) {
        struct stat status {};
        stat(path, &status);
        return status.st_mtime;
    };
    const time_t first = modified(sysXml);
    gateway.writeSysXml("10.0.0.1");
    const time_t second = modified(sysXml);
    gateway.touchFile(sysXml);
    EXPECT_LT(first, second);
    EXPECT_LT(second, modified(sysXml));
    gateway.writeFile(sysXml, "", 0);
    EXPECT_EQ(modified(sysXml), 0);
}

TEST(GatewayTest, ADeadHolderOfTheFactsIsOverruled) {
    sim::Gateway gateway;
    gateway.control().factsLock.lock();
    gateway.setInterface("eth0", "10.9.8.7");
    EXPECT_TRUE(gateway.hasAddress("eth0"));
}

TEST(GatewayTest, LeavesNothingBehind) {
    std::string folder;
    {
        const sim::Gateway gateway;
        folder = gateway.folder();
        EXPECT_TRUE(std::filesystem::exists(folder));
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
}

} // namespace
