// panelctl shot and press, and the command line as a whole.

#include "picture/cells.h"
#include "picture/image.h"
#include "sim/panel_process.h"
#include "tests/support/golden.h"
#include "tests/tools/tool_process.h"

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

picture::Bitmap pictureOf(const sim::Gateway& gateway) {
    const sim::Panel panel = gateway.panel();
    return picture::Bitmap::fromVideoMemory(gateway.picture(), static_cast<int>(panel.width),
                                            static_cast<int>(panel.height));
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

        EXPECT_EQ(panelctl(gateway, {"shot"}).output,
                  cellsOf(drawn, picture::CellKind::HalfBlocks));
        EXPECT_EQ(panelctl(gateway, {"shot", "--cells", "braille"}).output,
                  cellsOf(drawn, picture::CellKind::Braille));
        const std::string file = gateway.folder() + "/shot.png";
        EXPECT_EQ(panelctl(gateway, {"shot", file, "--scale", "3"}).status, 0);
        EXPECT_EQ(picture::readPng(file), picture::panelImage(drawn, 3));
        EXPECT_EQ(panelctl(gateway, {"shot", "-", "--scale", "3"}).output, contentsOf(file));
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
                            << commandOf(gateway, {"shot"}) << " 2>" << file << ".err\n";
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
    EXPECT_EQ(panelctl(gateway, {"shot"}).errors, "");
    gateway.setClockMode(sim::ClockMode::Virtual);
    panel.advance(std::chrono::seconds{62});
    EXPECT_THAT(panelctl(gateway, {"shot"}).errors, HasSubstr("the backlight is off"));
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
    const std::string watch = "(" + commandOf(gateway, {"shot", "--watch"}) + " > " + file +
                              " & echo $! > " + file + ".pid; wait $!; echo $? >> " + file + ") &";
    ASSERT_EQ(std::system(watch.c_str()), 0);
    waitForLines(17);
    gateway.fillPicture(0xff);
    const std::string second = cellsOf(pictureOf(gateway), picture::CellKind::HalfBlocks) + "\n";
    waitForLines(34);
    kill(std::stoi(contentsOf(file + ".pid")), SIGTERM);
    EXPECT_EQ(waitForLines(35), first + second + "0\n");
}

TEST(Shot, SaysWhatIsWrongOnStandardError) {
    sim::Gateway gateway;
    EXPECT_EQ(panelctl(gateway, {"shot", "/nowhere/shot.png"}).errors,
              "panelctl: cannot write /nowhere/shot.png: No such file or directory\n");
    gateway.setFramebufferPresent(false);
    const Outcome panel = panelctl(gateway, {"shot"});
    EXPECT_EQ(panel.status, 1);
    EXPECT_EQ(panel.output, "");
    EXPECT_EQ(panel.errors, "panelctl: Error:can not open LCD FrameBuffer Device /dev/fb0\n");
}

class RunningPanel : public testing::Test {
  protected:
    RunningPanel() {
        gateway.setClockMode(sim::ClockMode::Real);
        EXPECT_EQ(panel.settle(), sim::PanelProcess::Wait::Settled);
    }
    sim::Gateway gateway;
    sim::PanelProcess panel{gateway, PANELD_PROGRAM, PANELD_INTERPOSER};
};

TEST_F(RunningPanel, IsPressedAndShowsWhatComes) {
    for (const char* page : {"64/ethernet1-address", "64/ethernet1-netmask"}) {
        const Outcome outcome = panelctl(gateway, {"press", "--hold", "1"});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_TRUE(golden::matches(pictureOf(gateway), page));
        EXPECT_EQ(outcome.output, cellsOf(pictureOf(gateway), picture::CellKind::HalfBlocks));
    }
    EXPECT_EQ(panelctl(gateway, {"press", "--quiet"}).output, "");
    panel.settle();
    EXPECT_TRUE(golden::matches(pictureOf(gateway), "64/ethernet2-address"));
    gateway.setButtonPresent(false);
    EXPECT_THAT(panelctl(gateway, {"press"}).errors, HasSubstr("no button on /dev/input/event0"));
}

TEST_F(RunningPanel, IsHeldUntilItReboots) {
    EXPECT_EQ(panelctl(gateway, {"press", "--hold", "10", "--reboot"}).status, 0);
    EXPECT_TRUE(golden::matches(pictureOf(gateway), "64/reboot"));
    EXPECT_EQ(gateway.popenCount(), 1U);
}

TEST(CommandLine, WrongUsageGivesStatus2WithWhatWouldBeRightAndHelpStatus0) {
    const struct {
        std::vector<std::string> arguments;
        const char* right;
    } cases[] = {
        {{}, "takes 'shot', 'press', 'say'"},
        {{"dance"}, "'dance' is not understood; panelctl takes 'shot', 'press', 'say'"},
        {{"say", "--type", "0", "x"}, "0 not in range 1 to "},
        {{"say", "-x"}, "-- before a TEXT that begins with -"},
        {{"shot", "--watch", "file.png"}, "FILE excludes --watch"},
        {{"shot", "--scale", "2"}, "--scale requires FILE"},
        {{"modem", "--kind", "3"}, "range 1 to 2"},
        {{"press", "--hold", "10"}, "add --reboot"},
        {{"press", "--hold", "9", "--reboot"}, "add --hold 10"},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        const Outcome outcome = panelctl(gateway, c.arguments);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(c.arguments);
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(outcome.errors, HasSubstr(c.right));
        EXPECT_LT(outcome.errors.size(), 160U);
    }
    const Outcome help = panelctl(gateway, {"say", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("TEXT"));
}

// The words that bash offers behind "panelctl COMMAND --".
std::set<std::string> completions(const std::string& command) {
    setenv("COMMAND", command.c_str(), 1);
    FILE* pipe = popen("bash -c 'source " PANELD_SOURCES "/packaging/panelctl.bash-completion; "
                       "COMP_WORDS=(panelctl $COMMAND --); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                       "_panelctl; echo \"${COMPREPLY[@]}\"'",
                       "r");
    std::string text(4096, '\0');
    text.resize(fread(text.data(), 1, text.size(), pipe));
    pclose(pipe);
    return allMatches(text, "(--[a-z-]+)");
}

TEST(CommandLine, EveryOptionIsInTheCompletionAndInTheManual) {
    sim::Gateway gateway;
    std::set<std::string> all;
    for (const std::string command : {"", "shot", "press", "say", "queue", "config", "modem"}) {
        const auto help = command.empty() ? panelctl(gateway, {"--help"})
                                          : panelctl(gateway, {command, "--help"});
        const auto options = allMatches(help.output, "\n +(?:-h,)?(--[a-z-]+)");
        ASSERT_FALSE(options.empty());
        EXPECT_EQ(completions(command), options) << command;
        all.insert(options.begin(), options.end());
    }
    const std::string manual = contentsOf(PANELD_SOURCES "/packaging/man/panelctl.1.in");
    const std::string plain = replaced(replaced(manual, R"( \\-)", " --"), R"(\\-)", "-");
    EXPECT_EQ(allMatches(plain, "(--[a-z]{2,}(?:-[a-z]+)*)"), all);
}

} // namespace
