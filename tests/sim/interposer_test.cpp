// The places and calls of the gateway as a program meets them through the linked interposer.

#include "sim/gateway.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <linux/input.h>
#include <net/if.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

// NOLINTNEXTLINE(readability-identifier-naming): glibc's own name, which fortified headers call
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

struct stat status;
struct stat64 status64;
struct statx statusX;

// Each way to reach a file by its path; true when it was found.
const struct {
    const char* name;
    bool (*find)(const char* path);
} reaches[] = {
    {"open", [](const char* path) { return closed(open(path, O_RDONLY)); }},
    {"open64", [](const char* path) { return closed(open64(path, O_RDONLY)); }},
    {"__open64_2", [](const char* path) { return closed(__open64_2(path, O_RDONLY)); }},
    {"openat", [](const char* path) { return closed(openat(AT_FDCWD, path, O_RDONLY)); }},
    {"fopen64", [](const char* path) { return closed(fopen64(path, "r")); }},
    {"access", [](const char* path) { return access(path, F_OK) == 0; }},
    {"eaccess", [](const char* path) { return eaccess(path, F_OK) == 0; }},
    {"faccessat", [](const char* path) { return faccessat(AT_FDCWD, path, F_OK, 0) == 0; }},
    {"lstat", [](const char* path) { return lstat(path, &status) == 0; }},
    {"statx", [](const char* path) { return statx(AT_FDCWD, path, 0, 0, &statusX) == 0; }},
    {"stat64", [](const char* path) { return stat64(path, &status64) == 0; }},
    {"fstatat", [](const char* path) { return fstatat(AT_FDCWD, path, &status, 0) == 0; }},
};

struct InterposerTest : testing::Test {
    InterposerTest() { gateway.attach(); }

    sim::Gateway gateway;
};

TEST_F(InterposerTest, EveryVariantOfACallReachesTheSandbox) {
    for (const auto& reach : reaches) {
        gateway.resetCounters();
        EXPECT_TRUE(reach.find(sysXml)) << reach.name;
        const std::uint64_t calls = gateway.calls(Call::Open, Path::SysXml) +
                                    gateway.calls(Call::Stat, Path::SysXml) +
                                    gateway.calls(Call::Access, Path::SysXml);
        EXPECT_EQ(calls, 1U) << reach.name;
        gateway.removeFile(sysXml);
        EXPECT_FALSE(reach.find(sysXml)) << reach.name;
        gateway.writeSysXml("10.0.0.1");
    }
    EXPECT_NE(access("/zelkorated", F_OK), 0);
    EXPECT_EQ(access("/proc/self/status", R_OK), 0);
}

TEST(UnattachedInterposerTest, NothingReachesTheRealMachine) {
    {
        sim::Gateway gateway;
        gateway.attach();
        ASSERT_EQ(access(sysXml, F_OK), 0);
    }
    for (const auto& reach : reaches) {
        errno = 0;
        EXPECT_FALSE(reach.find(sysXml)) << reach.name;
        EXPECT_EQ(errno, ENOENT) << reach.name;
    }
    for (const char* device : {"/dev/fb0", buttonPath, "/dev/mux3"}) {
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
        for (const auto& reach : reaches) {
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
    EXPECT_EQ(opendir("/sys/class"), nullptr);
    struct statfs figures {};
    EXPECT_EQ(statfs("/media/sda1", &figures), -1);
    EXPECT_TRUE(closed(open("/dev/null", O_WRONLY)));
}

TEST_F(InterposerTest, TheButtonsDevicePassesOnWhatTheKernelDoes) {
    const int descriptor = open(buttonPath, O_RDWR | O_NONBLOCK);
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
        gateway.reportKey(buttonCode, value);
    }
    EXPECT_EQ(waiting(), "1.0.2.1.2.0.3.0.");
    // A press and its release are four events. The 64th drives out all before it.
    for (const int presses : {15, 16, 17}) {
        for (int i = 0; i < presses; ++i) {
            gateway.press();
            gateway.release();
        }
        const std::string events = waiting();
        EXPECT_EQ(events.size() > 6 ? "all" : events, presses == 15   ? "all"
                                                      : presses == 16 ? "!."
                                                                      : "!.1.0.");
    }
    close(descriptor);
}

TEST_F(InterposerTest, TheMountOfAPulledCardStays) {
    gateway.setTfCard(false);
    struct statfs figures {};
    EXPECT_EQ(statfs("/media/mmcblk0p1", &figures), 0);
    EXPECT_NE(access("/dev/mmcblk0p1", F_OK), 0);
}

} // namespace
