// panelctl shot, and the command line as a whole.

#include "picture/cells.h"
#include "picture/image.h"
#include "sim/panel_process.h"
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
    EXPECT_THAT(panelctl(gateway, {"shot", "/nowhere/shot.png"}).errors,
                HasSubstr("cannot write /nowhere/shot.png"));
    gateway.setFramebufferPresent(false);
    const Outcome panel = panelctl(gateway, {"shot"});
    EXPECT_EQ(panel.status, 1);
    EXPECT_EQ(panel.output, "");
    EXPECT_EQ(panel.errors, "panelctl: Error:can not open LCD FrameBuffer Device /dev/fb0\n");
}

TEST(CommandLine, WrongUsageGivesStatus2AndHelpStatus0) {
    const std::vector<std::string> wrong[] = {
        {},
        {"dance"},
        {"say", "--type", "0", "x"},
        {"shot", "--watch", "file.png"},
        {"shot", "--scale", "2"},
        {"modem", "--kind", "3"},
    };
    sim::Gateway gateway;
    for (const auto& arguments : wrong) {
        const Outcome outcome = panelctl(gateway, arguments);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors, "");
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
    for (const std::string command : {"", "shot", "say", "queue", "config", "modem"}) {
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
