// panelctl shot, and the command line as a whole. Presses are a scenario.

#include "picture/cells.h"
#include "picture/image.h"
#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace {

using testing::_;

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
        expectOutcome(gateway, "shot", 0, cellsOf(drawn, picture::CellKind::HalfBlocks), _);
        expectOutcome(gateway, "shot --cells braille", 0, braille, _);
        expectOutcome(gateway, "shot --scale 3 " + file, 0, "", _);
        EXPECT_EQ(picture::readPng(file), picture::panelImage(drawn, 3));
        expectOutcome(gateway, "shot - --scale 3", 0, contentsOf(file), _);
        EXPECT_EQ(pictureOf(gateway), drawn);
        EXPECT_TRUE(gateway.canaryIntact());
    }
}

TEST(Shot, FitsTheTerminal) {
    const struct {
        sim::Panel panel;
        const char* size;
        picture::CellKind kind;
    } cases[] = {
        {sim::panel64, "rows 24 columns 80", picture::CellKind::Braille},
        {sim::panel64, "rows 33 columns 200", picture::CellKind::Braille},
        {sim::panel64, "rows 34 columns 128", picture::CellKind::HalfBlocks},
        {sim::panel64, "rows 34 columns 127", picture::CellKind::Quadrants},
        {sim::panel32, "rows 24 columns 80", picture::CellKind::Quadrants},
    };
    for (const auto& c : cases) {
        sim::Gateway gateway(c.panel);
        gateway.fillPicture(0x35);
        const std::string file = gateway.folder() + "/script";
        std::ofstream(file) << "stty " << c.size << "\n"
                            << commandOf(gateway, "shot") << " 2>" << file << ".err\n";
        std::system(("script -qec 'sh " + file + "' /dev/null > " + file + ".out").c_str());
        EXPECT_EQ(replaced(contentsOf(file + ".out"), "\r", ""),
                  cellsOf(pictureOf(gateway), c.kind))
            << c.size;
    }
}

TEST(Shot, TellsThatThePanelIsDark) {
    sim::Gateway gateway(sim::panel32);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    ASSERT_EQ(panel.settle(), sim::PanelProcess::Wait::Settled);
    EXPECT_EQ(panelctl(gateway, "shot").errors, "");
    gateway.setClockMode(sim::ClockMode::Virtual);
    panel.advance(std::chrono::seconds{62});
    EXPECT_THAT(panelctl(gateway, "shot").errors, HasSubstr("the backlight is off"));
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
    const std::string largestType = std::to_string(std::numeric_limits<long>::max()) + "\n";
    const struct {
        const char* arguments;
        int status;
        Matcher<std::string> output;
        Matcher<std::string> errors;
    } cases[] = {
        {"", 2, "", HasSubstr("takes 'shot', 'press', 'say'")},
        {"dance", 2, "", HasSubstr("'dance' is not understood; panelctl takes 'shot', ")},
        {"say --type 0 x", 2, "", "panelctl: --type: Value 0 not in range 1 to " + largestType},
        {"say -x", 2, "", HasSubstr("-- before a TEXT that begins with -")},
        {"shot --watch file.png", 2, "", HasSubstr("FILE excludes --watch")},
        {"shot --scale 2", 2, "", HasSubstr("--scale requires FILE")},
        {"modem --kind 3", 2, "", HasSubstr("range 1 to 2")},
        {"press --hold 10", 2, "", HasSubstr("add --reboot")},
        {"press --hold 9 --reboot", 2, "", HasSubstr("add --hold 10")},
        {"say --help", 0, HasSubstr("TEXT"), ""},
        {"shot /nowhere/shot.png", 1, "",
         "panelctl: cannot write /nowhere/shot.png: No such file or directory\n"},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        expectOutcome(gateway, c.arguments, c.status, c.output, c.errors);
    }
    gateway.setFramebufferPresent(false);
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
    for (const std::string command : {"", "shot", "press", "say", "queue", "config", "modem"}) {
        const auto options =
            allMatches(panelctl(gateway, command + " --help").output, "\n +(?:-h,)?(--[a-z-]+)");
        ASSERT_FALSE(options.empty());
        EXPECT_EQ(completions(command, gateway.folder() + "/words"), options) << command;
        all.insert(options.begin(), options.end());
    }
    const std::string manual = contentsOf(PANELD_SOURCES "/packaging/man/panelctl.1.in");
    const std::string plain = replaced(replaced(manual, R"( \\-)", " --"), R"(\\-)", "-");
    EXPECT_EQ(allMatches(plain, "(--[a-z]{2,}(?:-[a-z]+)*)"), all);
}

} // namespace
