// Configuration files that turn into something else while the daemon runs.

#include "tests/pages/shown.h"
#include "tests/support/cycle_walk.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr const char* files[] = {"/zelkora/Config/sys.xml", "/zelkora/Config/system/sn.xml",
                                 "/zelkora/Config/version/main-version.conf",
                                 "/zelkora/Config/Channel-template.xml"};

struct Oddness {
    const char* name;
    std::function<void(sim::Gateway&, const char* file)> make;
};

// A well-formed document of several megabytes.
std::string longDocument() {
    std::string text = "<sysConfig>";
    while (text.size() < 3U << 20) {
        text += "<lan1 gateway=\"1.2.3.4\"/>";
    }
    return text + "</sysConfig>";
}

void replaceBy(sim::Gateway& gateway, const char* file,
               const std::function<void(const std::string&)>& make) {
    gateway.removeFile(file);
    make(gateway.place(file));
}

const Oddness oddnesses[] = {
    {"cut off in the middle",
     [](sim::Gateway& gateway, const char* file) {
         const std::string text = gateway.readFile(file).value_or("");
         gateway.writeFile(file, text.substr(0, text.size() / 2));
     }},
    {"a folder",
     [](sim::Gateway& gateway, const char* file) {
         replaceBy(gateway, file,
                   [](const std::string& place) { std::filesystem::create_directory(place); });
     }},
    {"a FIFO without a writer",
     [](sim::Gateway& gateway, const char* file) {
         replaceBy(gateway, file, [](const std::string& place) { mkfifo(place.c_str(), 0600); });
     }},
    {"gigabytes of nothing",
     [](sim::Gateway& gateway, const char* file) {
         gateway.writeFile(file, "");
         ASSERT_EQ(truncate(gateway.place(file).c_str(), 3'000'000'000), 0);
     }},
    {"a long document",
     [](sim::Gateway& gateway, const char* file) { gateway.writeFile(file, longDocument()); }},
};

void mend(sim::Gateway& gateway) {
    for (const char* file : files) {
        std::filesystem::remove_all(gateway.place(file));
    }
    walk::restoreFacts(gateway);
}

TEST(OddFiles, AreOutlivedAndThePagesAreRightOnceTheyAreMended) {
    sim::Gateway gateway;
    mend(gateway);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    const picture::Bitmap clock = walk::clockGolden(gateway.panel());
    ASSERT_TRUE(walk::findTheClock(gateway, panel, clock));
    walk::collectPages(gateway, panel, clock); // until the modem has answered
    ASSERT_TRUE(walk::findTheClock(gateway, panel, clock));
    const auto expected = walk::collectPages(gateway, panel, clock);
    for (const Oddness& oddness : oddnesses) {
        SCOPED_TRACE(oddness.name);
        for (const char* file : files) {
            oddness.make(gateway, file);
        }
        for (int i = 0; i < walk::pressesPerCycle; ++i) {
            ASSERT_EQ(panel.shortPress(), sim::PanelProcess::Wait::Settled);
            ASSERT_EQ(panel.advance(11s), sim::PanelProcess::Wait::Settled);
        }
        EXPECT_NE(panel.output().find("Document not parsed successfully"), std::string::npos);
        mend(gateway);
        for (int i = 0; i < walk::pressesPerCycle; ++i) {
            panel.shortPress();
        }
        ASSERT_TRUE(walk::findTheClock(gateway, panel, clock));
        EXPECT_TRUE(walk::collectPages(gateway, panel, clock) == expected);
        panel.clearOutput();
    }
    EXPECT_TRUE(gateway.canaryIntact());
}

} // namespace
