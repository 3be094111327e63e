// The four configuration files: what the readers take out of them, and the refresh-on-change rule:
// what a file does to its values, its messages and its stamp when it is missing, cannot be read, is
// broken, or is mended.

#include "device/config_file.h"
#include "device/device_info.h"
#include "tests/support/gateway_test.h"

#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace std::string_literals;

DeviceInfo& info() {
    return *DeviceInfo::instance();
}

// Every channel with its settings, as " 3: 9600 7 E 2;".
std::string allChannels() {
    std::string channels;
    for (std::uint32_t number = 0; number < 600; ++number) {
        const ChannelConfig untouched{};
        const ChannelConfig* found = &untouched;
        if (info().findChannel(number, &found) != 0) {
            EXPECT_EQ(found, &untouched);
            continue;
        }
        EXPECT_EQ(found->No, number);
        char text[64];
        std::snprintf(text, sizeof text, " %u: %d %d %c %d;", number, int{found->Baud},
                      found->DataSize, found->Parity != '\0' ? found->Parity : '-', found->Stop);
        channels += text;
    }
    return channels;
}

// One file, how it is asked for the value that the tests of the rule change, and what else it gave.
struct File {
    const char* path;
    sim::Path place;
    std::string root; // empty for the version file, which is no XML
    int (DeviceInfo::*read)();
    std::string (*value)();
    std::string (*others)();
    std::string element;    // in the document; the value takes the place of the #
    const char* unset = ""; // the value before any reading

    bool isXml() const { return !root.empty(); }
    std::string document(const std::string& inner) const {
        return isXml() ? "<" + root + ">" + inner + "</" + root + ">" : inner;
    }
    // A document with this value, as long as an XML file may be.
    std::string holding(const char* text) const {
        const std::string whole =
            document(std::string(element).replace(element.find('#'), 1, text));
        return isXml() ? whole + std::string((256U << 10) - whole.size(), ' ') : whole;
    }
};

enum FileIndex { sys, sn, version, channels };
const File files[] = {
    {sysConfigPath, sim::Path::SysXml, "sysConfig", &DeviceInfo::readSysConfig,
     [] { return std::string(info().gateway()); },
     [] { return " " + std::to_string(info().cascade()); }, "<lan1 gateway='#'/>"},
    {snConfigPath, sim::Path::SnXml, "snConfig", &DeviceInfo::readSnConfig,
     [] { return std::string(info().seriesNumber()); },
     [] { return " "s + info().model() + " " + std::to_string(info().modelKind()); },
     "<sn sn='#'/>"},
    {versionPath, sim::Path::VersionFile, "", &DeviceInfo::readVersion,
     [] { return std::string(info().version()); }, [] { return ""s; }, "#"},
    {channelTemplatePath, sim::Path::ChannelTemplate, "ChannelConfig",
     &DeviceInfo::readChannelTemplate, [] { return std::to_string(info().firstChannel()); },
     allChannels, "<Channel No='#'><CommMode Mode='0'/></Channel>", "16"},
};

constexpr std::time_t troubleTime = 1'600'000'000;

class ConfigFilesTest : public GatewayTest {
  protected:
    // The value as it stands after one request, and what the request printed.
    static std::string ask(const File& file) {
        std::string value;
        const std::string printed = outputOf([&] { value = file.value(); });
        return value + printed;
    }

    // The result of a reading, and what it printed.
    static std::string read(const File& file) {
        int result = 1;
        const std::string printed = outputOf([&] { result = (info().*file.read)(); });
        return std::to_string(result) + printed;
    }

    // Makes the file good, whatever was wrong with it.
    void write(const File& file, const char* value, std::time_t modified) {
        gateway.clearFaults();
        std::filesystem::remove(gateway.place(file.path));
        gateway.writeFile(file.path, file.holding(value), modified);
    }

    struct Trouble {
        const char* name;
        std::function<void()> make; // in the place of the file
        std::string message;
    };
    std::vector<Trouble> troublesOf(const File& file);
};

TEST_F(ConfigFilesTest, ValuesBeforeTheFirstReadingAndOfWellFormedFiles) {
    gateway.removeFile("/zelkora/Config");
    std::string unset;
    for (const File& file : files) {
        unset += file.value() + file.others() + ";";
    }
    EXPECT_EQ(unset, " 0;  0;;16;");
    const std::string text31 = "abcdefghijklmnopqrstuvwxyz01234";
    const std::string text29 = text31.substr(0, 29);
    const std::string text30 = text29 + "1";
    const struct {
        FileIndex file;
        std::string inner;
        std::string values;
    } cases[] = {
        {sys, R"(<lan1 cascade="256" gateway="123.123.123.123"/>)", "123.123.123.123 0"},
        {sys, R"(<lan1 gateway="123.123.123.1234" cascade="abc"/>)", "123.123.123.123 0"},
        {sys, R"(<lan1 gateway="01234567890123456789" cascade="257"/>)", "012345678901234 1"},
        {sys, R"(<lan1 cascade="-1"/>)", "012345678901234 255"},     // absent: as it was
        {sys, R"(<lan1 gateway="" cascade="4294967296"/>)", " 255"}, // clamped, then cut
        {sys, R"(<lan1 gateway="&#49;.&amp;&lt;" cascade=" &#x37;x"/>)", "1.&< 7"},
        {sys, R"(<a><lan1 gateway="9.9"/></a><lan1/><lan1 gateway="9.9"/>)", "1.&< 7"},
        {sys, R"(<!-- c --><?lan1 gateway="9.9"?><lan1 gateway="A" cascade=""/>)", "A 0"},
        {sys, R"(<LAN1 gateway="9.9"/><lan1 Gateway="9.9" cascade="3"/>)", "A 3"},

        {sn, R"(<sn sn="S1"/><sn sn="S2"/><model model="GW-100"/>)", "S2 GW-100 1"},
        {sn, R"(<sn SN="S3" model="x"/><model sn="y" model="gw-100-l"/>)", "S2 gw-100-l 1"},
        {sn, R"(<model model="A-L"/><model model="BL-"/><model/>)", "S2 BL- 1"},
        {sn, "<sn sn='" + text31 + "5'/><model model='" + text31 + "-L'/>",
         text31 + " " + text31 + " 1"},
        {sn, "<model model='" + text29 + "-L'/>", text31 + " " + text29 + "-L 2"},
        {sn, "<sn sn=''/><other sn='x'/><?sn sn='y'?><model model=''/>", "  1"},

        // The first line, with its line feed when that fits.
        {version, "V1\r\nsecond\n", "V1\r\n"},
        {version, text29 + "\nsecond\n", text29 + "\n"},
        {version, text30 + "\nsecond\n", text30},
        {version, "short", "short"}, // nothing is left of the longer text
        {version, text30 + "2\nsecond\n", text30},
        {version, "\nV1\n", "\n"},
        {version, "", ""},

        {channels, "", "16"},
        // Settings and mode carry over within a channel, not to the next one. The last of equal
        // numbers counts, a number that wraps among them, unless it is in another mode.
        {channels,
         R"(<Channel No="3"><CommMode Mode="0" Baud="9600" DataSize="7" Parity="Even" Stop="2"/>
            </Channel><Channel No="1">
             <CommMode Stop="1" Parity="&#111;dd" DataSize="264" Baud="-99999999999" Mode="0"/>
            </Channel><Channel No="20"><CommMode Mode="0" Baud="9600" Stop="1"/>
             <CommMode Baud="4294967295"/>
            </Channel><Channel No="11"><CommMode Baud="9600"/></Channel><Channel No="12"/>
            <Channel No="22"><CommMode Mode="1" Baud="9"/><CommMode Mode="0" Stop="1"/></Channel>
            <Channel No="23"><CommMode Mode="0" Baud="9"/><CommMode Mode="1" Baud="8"/></Channel>
            <Channel No="5"><CommMode Mode="0" Baud="1" Stop="1"/></Channel>
            <Channel No="261"><CommMode Mode="256" Baud="2"/></Channel>
            <Channel No="5"><CommMode Mode="9" Baud="3"/></Channel>
            <Channel No="-1"><CommMode Mode="no" Parity="" Stop="-2"/></Channel>
            <?Channel No="9"?><Channel No="4"><?CommMode Mode="0"?><!-- Mode --></Channel>
            <X><Channel No="8"><CommMode Mode="0"/></Channel></X>
            <Channel No="6"><Other Mode="0"/><X><CommMode Mode="0"/></X></Channel>)",
         "1 1: -2147483648 8 o 1; 3: 9600 7 E 2; 5: 2 0 - 0; 20: 2147483647 0 - 1; "
         "22: 9 0 - 1; 23: 9 0 - 0; 255: 0 0 - 254;"},
        {channels, R"(<Channel><CommMode Mode="0" Baud="1"/></Channel>)", "0 0: 1 0 - 0;"},
    };
    for (const auto& [index, inner, values] : cases) {
        const File& file = files[index];
        gateway.writeFile(file.path, file.document(inner));
        const std::string value = ask(file);
        EXPECT_EQ(value + file.others(), values) << inner;
    }
    // The bytes are UTF-8, whatever the file declares; a plain document type changes nothing.
    gateway.writeFile(files[sys].path, "<?xml version='1.0' encoding='ISO-8859-1'?>"
                                       "<!DOCTYPE sysConfig SYSTEM 'sys.dtd'>" +
                                           files[sys].document("<lan1 gateway='10.1.\xC3\xA9'/>"));
    EXPECT_EQ(ask(files[sys]), "10.1.\xC3\xA9");
}

// Everything that can be wrong with a file. The version file fails without a word.
std::vector<ConfigFilesTest::Trouble> ConfigFilesTest::troublesOf(const File& file) {
    const std::string path = file.path;
    const std::string place = gateway.place(path);
    const std::string notParsed = file.isXml() ? path + " Document not parsed successfully.\n" : "";
    const auto vanish = [this, &file] {
        gateway.writeFile(file.path, "");
        gateway.failCall(sim::Call::Open, ENOENT, 1, true, file.place);
        gateway.failCall(sim::Call::Access, ENOENT, 1, true, file.place);
    };
    std::vector<Trouble> troubles = {
        {"missing", [] {}, "get " + path + " status error\n"},
        {"vanishing", vanish, file.isXml() ? notParsed : path + " is not exist\n"},
        {"a folder", [place] { mkdir(place.c_str(), 0700); }, notParsed},
        {"a FIFO", [place] { mkfifo(place.c_str(), 0600); }, notParsed},
    };
    if (!file.isXml()) {
        return troubles;
    }
    std::string attributes;
    for (int i = 0; i < 9999; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
    }
    const std::pair<const char*, std::string> contents[] = {
        {"cut", "<sysConfig><lan1"},
        {"too long", file.holding("2") + " "},
        {"worth a complaint for every character", "<a><!--" + std::string(99'999, '-')},
        {"with declarations of its own", "<!DOCTYPE a [<!ENTITY b ''>]>" + file.document("")},
        {"with thousands of attributes", "<" + file.root + attributes + "/>"},
        {"packed", "\x1f\x8b\b\0\0\0\0\0\2\3\xb3I\xd4\xb7\3\0\xd4\x1c\xd1\1\4\0\0\0"s}, // <a/>
        {"of another root", "<other/>"},
    };
    for (const auto& [name, text] : contents) {
        troubles.push_back(
            {name, [this, path, text = text] { gateway.writeFile(path, text); }, notParsed});
    }
    troubles.back().message = "document of the wrong type, root node != " + file.root;
    return troubles;
}

TEST_F(ConfigFilesTest, AFailureKeepsValueAndStampAndIsRepeated) {
    const auto openDescriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    info();
    const auto descriptors = openDescriptors();
    for (const File& file : files) {
        for (const auto& [name, make, message] : troublesOf(file)) {
            SCOPED_TRACE(file.path + " "s + name);
            write(file, "1", troubleTime);
            ASSERT_EQ(ask(file), "1");

            gateway.removeFile(file.path);
            make();
            // The channel map is emptied before a file that is there is read.
            const bool isEmptied = &file == &files[channels] && name != "missing"s;
            const std::string kept = isEmptied ? file.unset : "1";
            testing::internal::CaptureStderr();
            EXPECT_EQ(ask(file), kept + message);
            EXPECT_LT(testing::internal::GetCapturedStderr().size(), 400U); // one complaint
            EXPECT_EQ(read(file), "-1" + message);

            // The stamp still is that of the good reading: at that time one look is all.
            write(file, "2", troubleTime);
            gateway.resetCounters();
            EXPECT_EQ(ask(file), kept);
            EXPECT_EQ(gateway.calls(file.place), 1U);
            EXPECT_EQ(read(file), "0");

            write(file, "2", troubleTime - 1); // older is another time, too
            EXPECT_EQ(ask(file), "2");
        }
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(ConfigFilesTest, WhatTakesTheFilesPlaceBehindTheLookAtItIsNotRead) {
    const std::string place = gateway.place(versionPath);
    const std::string others[] = {place + ".fifo", place + ".device"};
    mkfifo(others[0].c_str(), 0600);
    std::filesystem::create_symlink("/dev/zero", others[1]);
    EXPECT_EQ(openConfigFile(others[0].c_str()) + openConfigFile(others[1].c_str()), -2);
    write(files[version], "1", troubleTime);
    ask(files[version]);
    std::atomic<bool> over{false};
    std::thread swapper([&] {
        for (int i = 0; !over; ++i) {
            renameat2(AT_FDCWD, place.c_str(), AT_FDCWD, others[i % 2].c_str(), RENAME_EXCHANGE);
        }
    });
    for (int i = 0; i < 4000; ++i) {
        const timespec times[] = {{i, 0}, {i, 0}};
        utimensat(AT_FDCWD, place.c_str(), times, AT_SYMLINK_NOFOLLOW);
        EXPECT_EQ(files[version].value(), "1");
    }
    over = true;
    swapper.join();
}

TEST_F(ConfigFilesTest, StampsAreTheLow32BitsOfTheTimeAnd0IsNeverRead) {
    constexpr std::time_t wrap = std::time_t{1} << 32;
    const std::pair<std::time_t, const char*> readings[] = {
        {0, ""}, {wrap, ""}, {7, "2"}, {wrap + 7, "2"}, {wrap * 3 - 1, "4"}, {wrap - 1, "4"}};
    int number = 0;
    for (const auto& [time, value] : readings) {
        write(files[sys], std::to_string(number++).c_str(), time);
        EXPECT_EQ(ask(files[sys]), value);
    }
}

} // namespace
