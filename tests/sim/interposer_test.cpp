// The places and calls of the gateway as a program meets them through the linked interposer.

#include "sim/gateway.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <linux/input.h>
#include <net/if.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

extern "C" int __open_2(const char* path, int flags);
extern "C" int __open64_2(const char* path, int flags);
extern "C" int __openat_2(int folder, const char* path, int flags);

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

struct stat status;
struct stat64 status64;
struct statx statusX;

// Each way to reach a file by its path; true when it was found.
struct Reach {
    const char* name;
    Call call;
    bool (*find)(const char* path);
};

const Reach reaches[] = {
    {"open", Call::Open, [](const char* path) { return closed(open(path, O_RDONLY)); }},
    {"open64", Call::Open, [](const char* path) { return closed(open64(path, O_RDONLY)); }},
    {"__open_2", Call::Open, [](const char* path) { return closed(__open_2(path, O_RDONLY)); }},
    {"__open64_2", Call::Open, [](const char* path) { return closed(__open64_2(path, O_RDONLY)); }},
    {"openat", Call::Open,
     [](const char* path) { return closed(openat(AT_FDCWD, path, O_RDONLY)); }},
    {"openat64", Call::Open,
     [](const char* path) { return closed(openat64(AT_FDCWD, path, O_RDONLY)); }},
    {"__openat_2", Call::Open,
     [](const char* path) { return closed(__openat_2(AT_FDCWD, path, O_RDONLY)); }},
    {"fopen", Call::Fopen, [](const char* path) { return closed(fopen(path, "r")); }},
    {"fopen64", Call::Fopen, [](const char* path) { return closed(fopen64(path, "r")); }},
    {"access", Call::Access, [](const char* path) { return access(path, F_OK) == 0; }},
    {"eaccess", Call::Access, [](const char* path) { return eaccess(path, F_OK) == 0; }},
    {"faccessat", Call::Access,
     [](const char* path) { return faccessat(AT_FDCWD, path, F_OK, 0) == 0; }},
    {"freopen", Call::Fopen,
     [](const char* path) { return closed(freopen(path, "r", fopen("/dev/null", "r"))); }},
    {"lstat", Call::Stat, [](const char* path) { return lstat(path, &status) == 0; }},
    {"lstat64", Call::Stat, [](const char* path) { return lstat64(path, &status64) == 0; }},
    {"statx", Call::Stat,
     [](const char* path) { return statx(AT_FDCWD, path, 0, 0, &statusX) == 0; }},
    {"stat", Call::Stat, [](const char* path) { return stat(path, &status) == 0; }},
    {"stat64", Call::Stat, [](const char* path) { return stat64(path, &status64) == 0; }},
    {"fstatat", Call::Stat,
     [](const char* path) { return fstatat(AT_FDCWD, path, &status, 0) == 0; }},
    {"fstatat64", Call::Stat,
     [](const char* path) { return fstatat64(AT_FDCWD, path, &status64, 0) == 0; }},
};

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
    EXPECT_NE(access("/zelkorated", F_OK), 0);
    EXPECT_EQ(access("/proc/self/status", R_OK), 0);
}

TEST(UnattachedInterposerTest, NothingReachesTheRealMachine) {
    std::string folder;
    {
        sim::Gateway gateway;
        gateway.attach();
        ASSERT_EQ(access(sysXml, F_OK), 0);
        folder = gateway.folder();
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
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
    EXPECT_EQ(popen("true", "r"), nullptr);
}

TEST_F(InterposerTest, APathThatTheTableLacksIsRefusedAloudHoweverItIsWritten) {
    chdir("/usr");
    for (const char* path : {"/dev", "/dev/fb1", "//sys/./kernel", "/tmp/../media", "../dev/mem",
                             "/zelkora/Config/other.xml", "/dev/null/../fb1"}) {
        for (const Reach& reach : reaches) {
            testing::internal::CaptureStderr();
            errno = 0;
            EXPECT_FALSE(reach.find(path)) << reach.name << path;
            EXPECT_EQ(errno, EACCES) << reach.name << path;
            EXPECT_EQ(
                testing::internal::GetCapturedStderr(),
                std::string("simulated gateway: refused, for sim/places.h does not have it: ") +
                    path + "\n");
        }
    }
    EXPECT_EQ(creat("/dev/new", 0600), -1);
    EXPECT_EQ(opendir("/sys/class"), nullptr);
    struct statvfs figures {};
    EXPECT_EQ(statvfs("/media/sda1", &figures), -1);
    EXPECT_TRUE(closed(open("/dev/null", O_WRONLY)));
}

TEST_F(InterposerTest, ACommandIsRecordedAndNeverRun) {
    const std::string file = gateway.folder() + "/touched";
    FILE* stream = popen(("touch " + file).c_str(), "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(pclose(stream), 0);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(gateway.lastPopen(), "touch " + file);
}

TEST_F(InterposerTest, ABrightnessFileTakesAndAnswersWhatTheKernelsDoes) {
    const char* file = "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness";
    const struct {
        std::string written;
        int error; // 0: taken
        const char* answer;
    } cases[] = {
        {"127", 0, "127\n"},   {"255\n", 0, "255\n"},    {"0x10", 0, "16\n"},
        {"+5", 0, "5\n"},      {"", 0, "5\n"},           {"256", EINVAL, "5\n"},
        {"-1", EINVAL, "5\n"}, {"7 ", EINVAL, "5\n"},    {std::string("7\0", 2), EINVAL, "5\n"},
        {" 7", EINVAL, "5\n"}, {"7\n\n", EINVAL, "5\n"}, {std::string(30, '9'), ERANGE, "5\n"},
    };
    const int descriptor = open(file, O_WRONLY | O_TRUNC);
    EXPECT_EQ(gateway.readFile(file), "50\n") << "sysfs is not emptied";
    for (const auto& [written, error, answer] : cases) {
        errno = 0;
        const ssize_t result = write(descriptor, written.data(), written.size());
        EXPECT_EQ(result, error == 0 ? static_cast<ssize_t>(written.size()) : -1) << written;
        EXPECT_EQ(errno, error) << written;
        EXPECT_EQ(gateway.readFile(file), answer) << written;
    }
    close(descriptor);
}

TEST_F(InterposerTest, WhatIsDrawnInTheMappingIsThePicture) {
    const int descriptor = open("/dev/fb0", O_RDWR);
    void* memory = mmap(nullptr, 1024, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* bytes = static_cast<std::uint8_t*>(memory);
    bytes[1023] = 0x80;
    EXPECT_EQ(gateway.picture().back(), 0x80);
    EXPECT_TRUE(gateway.canaryIntact());
    // One byte past the panel, still in the mapped page.
    bytes[1024] = static_cast<std::uint8_t>(~bytes[1024]);
    EXPECT_FALSE(gateway.canaryIntact());
    munmap(memory, 1024);
    close(descriptor);
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
    gateway.setInterface("eth1", "10.0.0.9");
    EXPECT_EQ(families("eth1"), "link address");
    gateway.removeAddress("eth1");
    EXPECT_EQ(families("eth1"), "link");
    gateway.removeInterface("eth0");
    EXPECT_EQ(families("eth0"), "");
    std::array<ifaddrs*, 5> lists{}; // lists that are never freed run out
    for (ifaddrs*& list : lists) {
        EXPECT_EQ(getifaddrs(&list), &list == &lists.back() ? -1 : 0);
    }
}

TEST_F(InterposerTest, EachGatewayHasAQueueOfItsOwn) {
    int ended = -1;
    {
        const sim::Gateway other;
        EXPECT_NE(other.queueKey(), gateway.queueKey());
        ended = msgget(other.queueKey(), 0);
        EXPECT_GE(ended, 0);
    }
    msqid_ds facts{};
    EXPECT_EQ(msgctl(ended, IPC_STAT, &facts), -1);
}

TEST_F(InterposerTest, TheButtonsDevicePassesOnWhatTheKernelDoes) {
    const int descriptor = open("/dev/input/event0", O_RDWR | O_NONBLOCK);
    // The values of the key that wait, '.' for a synchronisation, '!' for events that were lost.
    const auto waiting = [descriptor] {
        std::string text;
        input_event event{};
        while (read(descriptor, &event, sizeof event) == static_cast<ssize_t>(sizeof event)) {
            text += event.type == EV_KEY        ? std::to_string(event.value)
                    : event.code == SYN_DROPPED ? "!"
                                                : ".";
        }
        return text;
    };
    // Only what changes the key, and every repetition.
    for (const int value : {0, 1, 1, 0, 0, 2, 1, 2, 0, 3, -1, 0}) {
        gateway.reportKey(256, value);
    }
    EXPECT_EQ(waiting(), "1.0.2.1.2.0.3.0.");
    // 15 presses are 60 events. The 64th drives out all before it.
    for (const int presses : {15, 16, 17}) {
        for (int i = 0; i < presses; ++i) {
            gateway.press();
            gateway.release();
        }
        const std::string events = waiting();
        EXPECT_EQ(events.size(), presses == 15 ? 60U : presses == 16 ? 2U : 6U);
        EXPECT_EQ(events.substr(0, 2), presses == 15 ? "1." : "!.");
    }
    close(descriptor);
}

TEST_F(InterposerTest, PlannedFaultsHitTheCallsTheyName) {
    const auto opens = [](const char* path) { return closed(open(path, O_RDONLY)) ? 'o' : 'x'; };
    const auto fourOpens = [&] {
        return std::string{opens("/dev/fb0"), opens(sysXml), opens("/dev/fb0"), opens(sysXml)};
    };
    gateway.failCall(Call::Open, EACCES, 2);
    EXPECT_EQ(fourOpens(), "oxoo");
    EXPECT_EQ(fourOpens(), "oooo");
    const sim::FaultId fault = gateway.failCall(Call::Open, EMFILE, 2, true, Path::SysXml);
    EXPECT_EQ(fourOpens(), "ooox");
    EXPECT_EQ(fourOpens(), "oxox");
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(gateway.faultHits(fault), 3U);
    gateway.clearFaults();
    EXPECT_EQ(fourOpens(), "oooo");
}

TEST(GatewayTest, ADeadHolderOfTheFactsIsOverruled) {
    sim::Gateway gateway;
    gateway.control().factsLock.lock();
    gateway.setInterface("eth0", "10.9.8.7");
    EXPECT_TRUE(gateway.hasAddress("eth0"));
}

} // namespace
