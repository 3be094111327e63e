// The refresh-on-change rule: what each of the four files does to its field, its messages and its
// stamp when it is missing, cannot be read, is broken, or is mended.

#include "device/device_info.h"
#include "tests/support/gateway_test.h"

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace std::string_literals;

DeviceInfo& info() {
    return *DeviceInfo::instance();
}

// One configuration file and how it is asked. All hold the value "1" or "2" in these tests.
struct File {
    const char* path;
    sim::Path place;
    const char* root; // empty for the version file, which is no XML
    int (DeviceInfo::*read)();
    std::string (*value)();
    std::string before; // the value
    std::string after;
    const char* unset = ""; // the value before any reading

    bool isXml() const { return *root != '\0'; }
    // As long as an XML file may be.
    std::string holding(const char* text) const {
        const std::string whole = before + text + after;
        return isXml() ? whole + std::string((256U << 10) - whole.size(), ' ') : whole;
    }
};

const File files[] = {
    {"/zelkora/Config/sys.xml", sim::Path::SysXml, "sysConfig", &DeviceInfo::readSysConfig,
     [] { return std::string(info().gateway()); }, "<sysConfig><lan1 gateway='", "'/></sysConfig>"},
    {"/zelkora/Config/system/sn.xml", sim::Path::SnXml, "snConfig", &DeviceInfo::readSnConfig,
     [] { return std::string(info().seriesNumber()); }, "<snConfig><sn sn='", "'/></snConfig>"},
    {"/zelkora/Config/version/main-version.conf", sim::Path::VersionFile, "",
     &DeviceInfo::readVersion, [] { return std::string(info().version()); }, "", ""},
    {"/zelkora/Config/Channel-template.xml", sim::Path::ChannelTemplate, "ChannelConfig",
     &DeviceInfo::readChannelTemplate, [] { return std::to_string(info().firstChannel()); },
     "<ChannelConfig><Channel No='", "'><CommMode Mode='0'/></Channel></ChannelConfig>", "16"},
};

// One thing that can be wrong with a file.
struct Trouble {
    const char* name;
    void (*make)(sim::Gateway& gateway, const File& file);
    std::string (*message)(const File& file);
    bool ofXmlOnly = false;
};

constexpr std::time_t troubleTime = 1'600'000'000;

// The version file fails without a word.
std::string notParsed(const File& file) {
    return file.isXml() ? file.path + " Document not parsed successfully.\n"s : "";
}

const Trouble troubles[] = {
    {"missing", [](auto& gateway, auto& file) { gateway.removeFile(file.path); },
     [](auto& file) { return "get "s + file.path + " status error\n"; }},
    {"vanishing between two looks",
     [](auto& gateway, auto& file) {
         gateway.touchFile(file.path);
         gateway.failCall(sim::Call::Open, ENOENT, 1, true, file.place);
         gateway.failCall(sim::Call::Access, ENOENT, 1, true, file.place);
     },
     [](auto& file) { return file.isXml() ? notParsed(file) : file.path + " is not exist\n"s; }},
    {"a folder",
     [](auto& gateway, auto& file) {
         gateway.removeFile(file.path);
         std::filesystem::create_directory(gateway.place(file.path));
     },
     notParsed},
    {"a FIFO",
     [](auto& gateway, auto& file) {
         gateway.removeFile(file.path);
         mkfifo(gateway.place(file.path).c_str(), 0600);
     },
     notParsed},
    {"cut", [](auto& gateway, auto& file) { gateway.writeFile(file.path, "<sysConfig><lan1"); },
     notParsed, true},
    {"of another root", [](auto& gateway, auto& file) { gateway.writeFile(file.path, "<other/>"); },
     [](auto& file) { return "document of the wrong type, root node != "s + file.root; }, true},
    {"too long",
     [](auto& gateway, auto& file) { gateway.writeFile(file.path, file.holding("2") + " "); },
     notParsed, true},
    {"worth a complaint for every character",
     [](auto& gateway, auto& file) {
         gateway.writeFile(file.path, "<a><!--" + std::string(99'999, '-'));
     },
     notParsed, true},
    {"with declarations of its own",
     [](auto& gateway, auto& file) {
         gateway.writeFile(file.path, "<!DOCTYPE a [<!ENTITY b ''>]>" + file.before + file.after);
     },
     notParsed, true},
    {"with thousands of attributes",
     [](auto& gateway, auto& file) {
         std::string text = "<"s + file.root;
         for (int i = 0; i < 9999; ++i) {
             text += " a" + std::to_string(i) + "=''";
         }
         gateway.writeFile(file.path, text + "/>");
     },
     notParsed, true},
    {"packed",
     [](auto& gateway, auto& file) {
         const std::string place = gateway.place(file.path);
         ASSERT_EQ(std::system(("gzip -f " + place + " && mv " + place + ".gz " + place).c_str()),
                   0);
         gateway.touchFile(file.path);
     },
     notParsed, true},
};

long openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class RefreshTest : public GatewayTest {
  protected:
    // The value as it stands after one request, and what the request printed.
    static std::string ask(const File& file) {
        std::string value;
        const std::string printed = outputOf([&] { value = file.value(); });
        return value + "|" + printed;
    }

    // The result of a reading, and what it printed.
    static std::string read(const File& file) {
        int result = 1;
        const std::string printed = outputOf([&] { result = (info().*file.read)(); });
        return std::to_string(result) + "|" + printed;
    }

    // Makes the file good, whatever was wrong with it.
    void write(const File& file, const char* value, std::time_t modified) {
        gateway.clearFaults();
        std::filesystem::remove(gateway.place(file.path));
        gateway.writeFile(file.path, file.holding(value), modified);
    }
};

TEST_F(RefreshTest, AFailureKeepsValueAndStampAndIsRepeated) {
    info();
    const long descriptors = openDescriptors();
    for (const File& file : files) {
        for (const Trouble& trouble : troubles) {
            if (trouble.ofXmlOnly && !file.isXml()) {
                continue;
            }
            SCOPED_TRACE(std::string(file.path) + " " + trouble.name);
            write(file, "1", troubleTime);
            ASSERT_EQ(ask(file), "1|");

            trouble.make(gateway, file);
            // The channel map is emptied before a file that is there is read.
            const bool isEmptied = file.unset == "16"s && trouble.name != "missing"s;
            const std::string kept = isEmptied ? file.unset : "1";
            const std::string message = trouble.message(file);
            testing::internal::CaptureStderr();
            EXPECT_EQ(ask(file), kept + "|" + message);
            EXPECT_LT(testing::internal::GetCapturedStderr().size(), 400U); // one complaint
            EXPECT_EQ(read(file), "-1|" + message);

            // The stamp still is that of the good reading: nothing is read at that time.
            write(file, "2", troubleTime);
            EXPECT_EQ(read(file), "0|");
            EXPECT_EQ(ask(file), kept + "|");

            write(file, "2", troubleTime + 1);
            EXPECT_EQ(ask(file), "2|");
            EXPECT_EQ(read(file), "0|");
        }
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(RefreshTest, WhatTakesTheFilesPlaceBehindTheLookAtItIsNotRead) {
    const File& file = files[2];
    const std::string place = gateway.place(file.path);
    const std::string fifo = place + ".fifo";
    const std::string device = place + ".device";
    mkfifo(fifo.c_str(), 0600);
    std::filesystem::create_symlink("/dev/zero", device);
    for (const std::string& other : {fifo, device}) {
        write(file, "1", troubleTime);
        ask(file);
        std::atomic<bool> over{false};
        std::thread swapper([&] {
            while (!over) {
                renameat2(AT_FDCWD, place.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
            }
        });
        for (int i = 0; i < 2000; ++i) {
            const timespec times[] = {{i, 0}, {i, 0}};
            utimensat(AT_FDCWD, place.c_str(), times, AT_SYMLINK_NOFOLLOW);
            EXPECT_EQ(file.value(), "1");
        }
        over = true;
        swapper.join();
    }
}

TEST_F(RefreshTest, AnUnchangedFileCostsOneStat) {
    for (const File& file : files) {
        SCOPED_TRACE(file.path);
        write(file, "1", troubleTime);
        ask(file);
        gateway.resetCounters();
        write(file, "2", troubleTime); // a rewrite within the same second is not noticed
        EXPECT_EQ(ask(file), "1|");
        EXPECT_EQ(gateway.calls(file.place), 1U);
        gateway.touchFile(file.path, troubleTime - 1); // older counts as changed, too
        EXPECT_EQ(ask(file), "2|");
    }
}

TEST_F(RefreshTest, BeforeTheFirstReadingFieldsAreEmpty) {
    for (const File& file : files) {
        gateway.removeFile(file.path);
    }
    outputOf([] { info(); });
    for (const File& file : files) {
        EXPECT_EQ(ask(file), file.unset + "|get "s + file.path + " status error\n");
    }
    EXPECT_EQ(info().cascade(), 0);
    EXPECT_EQ(info().modelKind(), modelUnknown);
}

TEST_F(RefreshTest, StampsAreTheLow32BitsOfTheTimeAnd0IsNeverRead) {
    constexpr std::time_t wrap = std::time_t{1} << 32;
    const File& file = files[0];
    for (const std::time_t time : {std::time_t{0}, wrap}) {
        write(file, "1", time);
        EXPECT_EQ(ask(file), "|");
    }
    for (const std::time_t time : {std::time_t{7}, wrap - 1, wrap * 3 + 1}) {
        write(file, "1", time);
        EXPECT_EQ(ask(file), "1|");
        write(file, "2", time - wrap * (time / wrap)); // the same stamp
        EXPECT_EQ(ask(file), "1|");
    }
}

} // namespace
