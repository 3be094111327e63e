// panelctl shot, and the command line as a whole.

#include "picture/cells.h"
#include "picture/image.h"
#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace {

picture::Bitmap pictureOf(const sim::Gateway& gateway) {
    const auto [width, height, bits] = gateway.panel();
    return picture::Bitmap::fromVideoMemory(gateway.picture(), static_cast<int>(width),
                                            static_cast<int>(height));
}

std::string cellsOf(const picture::Bitmap& bitmap, picture::CellKind kind) {
    std::string text;
    for (const std::string& row : picture::renderCells(bitmap, kind)) {
        text += row + "\n";
    }
    return text;
}

TEST(Shot, ShowsWhatTheDaemonHasDrawnAndLeavesItAlone) {
    for (const sim::Panel& size : {sim::panel64, sim::panel32}) {
        sim::Gateway gateway(size);
        {
            sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
            ASSERT_EQ(panel.settle(), sim::PanelProcess::Wait::Settled);
        }
        const picture::Bitmap drawn = pictureOf(gateway);
        ASSERT_GT(drawn.litCount(), 300U);

        const std::string file = gateway.folder() + "/shot.png";
        const auto braille = cellsOf(drawn, picture::CellKind::Braille);
        expectOutcome(gateway, "shot", 0, cellsOf(drawn, picture::CellKind::HalfBlocks), "");
        expectOutcome(gateway, "shot --cells braille", 0, braille, "");
        expectOutcome(gateway, "shot --scale 3 " + file, 0, "", "");
        EXPECT_EQ(picture::readPng(file), picture::panelImage(drawn, 3));
        EXPECT_EQ(pictureOf(gateway), drawn);
        EXPECT_TRUE(gateway.canaryIntact());
    }
}

TEST(Shot, WatchesUntilItIsEndedAndShowsEachChangeOnce) {
    sim::Gateway gateway(sim::panel32);
    const std::string file = gateway.folder() + "/watch";
    const auto waitForLines = [&](std::ptrdiff_t count) {
        std::string text;
        while (std::count(text.begin(), text.end(), '\n') < count) {
            usleep(5000);
            text = contentsOf(file);
        }
        return text;
    };
    gateway.fillPicture(0x0f);
    const std::string first = cellsOf(pictureOf(gateway), picture::CellKind::HalfBlocks) + "\n";
    const std::string watch = "(" + commandOf(gateway, "shot --watch") + " > " + file +
                              " & echo $! > " + file + ".pid; wait $!; echo $? >> " + file + ") &";
    ASSERT_EQ(std::system(watch.c_str()), 0);
    waitForLines(17);
    gateway.fillPicture(0xff);
    const std::string second = cellsOf(pictureOf(gateway), picture::CellKind::HalfBlocks) + "\n";
    waitForLines(34);
    kill(std::stoi(contentsOf(file + ".pid")), SIGTERM);
    EXPECT_EQ(waitForLines(35), first + second + "0\n");
}

TEST(CommandLine, TellsUsageAndFailureApart) {
    const struct {
        const char* arguments;
        int status;
        Matcher<std::string> output;
        Matcher<std::string> errors;
    } cases[] = {
        {"", 2, "", Not("")},
        {"dance", 2, "", Not("")},
        {"say --type 0 x", 2, "", Not("")},
        {"shot --watch file.png", 2, "", Not("")},
        {"shot --scale 2", 2, "", Not("")},
        {"modem --kind 3", 2, "", Not("")},
        {"say --help", 0, HasSubstr("TEXT"), ""},
        {"shot /nowhere/shot.png", 1, "", HasSubstr("cannot write /nowhere/shot.png")},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        expectOutcome(gateway, c.arguments, c.status, c.output, c.errors);
    }
    gateway.removeFile("/dev/fb0");
    expectOutcome(gateway, "shot", 1, "",
                  "panelctl: Error:can not open LCD FrameBuffer Device /dev/fb0\n");
}

// The words that bash offers behind "panelctl COMMAND --".
std::set<std::string> completions(const std::string& command, const std::string& file) {
    const std::string script = "bash -c 'source " PANELD_SOURCES
                               "/packaging/panelctl.bash-completion; COMP_WORDS=(panelctl " +
                               command +
                               " --); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                               "_panelctl; echo \"${COMPREPLY[@]}\"' > " +
                               file;
    EXPECT_EQ(std::system(script.c_str()), 0);
    return allMatches(contentsOf(file), "(--[a-z-]+)");
}

TEST(CommandLine, EveryOptionIsInTheCompletionAndInTheManual) {
    sim::Gateway gateway;
    std::set<std::string> all;
    for (const std::string command : {"", "shot", "say", "queue", "config", "modem"}) {
        const auto options =
            allMatches(panelctl(gateway, command + " --help").output, "\n +(?:-h,)?(--[a-z-]+)");
        ASSERT_FALSE(options.empty());
        EXPECT_EQ(completions(command, gateway.folder() + "/words"), options) << command;
        all.insert(options.begin(), options.end());
    }
    const std::string manual = contentsOf(PANELD_SOURCES "/packaging/man/panelctl.1");
    const std::string plain = replaced(replaced(manual, R"( \\-)", " --"), R"(\\-)", "-");
    EXPECT_EQ(allMatches(plain, "(--[a-z]{2,}(?:-[a-z]+)*)"), all);
}

} // namespace
