// panelctl shot, and the command line as a whole.

#include "picture/cells.h"
#include "picture/image.h"
#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>

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

TEST(Shot, WatchesUntilInterruptedAndShowsEachChangeOnce) {
    sim::Gateway gateway(sim::panel32);
    gateway.fillPicture(0x0f);
    const std::string first = cellsOf(pictureOf(gateway), picture::CellKind::HalfBlocks) + "\n";
    ToolProcess watch(gateway, {"shot", "--watch"});
    ASSERT_TRUE(watch.waitForLines(17));
    gateway.fillPicture(0xff);
    const std::string second = cellsOf(pictureOf(gateway), picture::CellKind::HalfBlocks) + "\n";
    ASSERT_TRUE(watch.waitForLines(34));
    watch.signal(SIGINT);
    const Outcome outcome = watch.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, first + second);
}

TEST(Shot, SaysWhatIsWrongOnStandardError) {
    sim::Gateway gateway;
    const Outcome file = panelctl(gateway, {"shot", "/nowhere/shot.png"});
    EXPECT_EQ(file.status, 1);
    EXPECT_THAT(file.errors, HasSubstr("cannot write /nowhere/shot.png"));

    gateway.setFramebufferPresent(false);
    const Outcome panel = panelctl(gateway, {"shot"});
    EXPECT_EQ(panel.status, 1);
    EXPECT_EQ(panel.output, "");
    EXPECT_EQ(panel.errors, "panelctl: Error:can not open LCD FrameBuffer Device /dev/fb0\n");

    sim::Gateway coloured(sim::Panel{128, 64, 16});
    EXPECT_THAT(panelctl(coloured, {"shot"}).errors, HasSubstr("16 bits per pixel"));
}

TEST(CommandLine, WrongUsageGivesStatus2AndHelpStatus0) {
    const std::vector<std::string> wrong[] = {
        {},
        {"dance"},
        {"say"},
        {"say", "--type", "0", "x"},
        {"queue", "extra"},
        {"shot", "--watch", "file.png"},
        {"shot", "--scale", "2"},
        {"shot", "--scale", "33", "file.png"},
        {"shot", "--cells", "dots"},
        {"modem", "--kind", "3"},
        {"config", "--loud"},
    };
    sim::Gateway gateway;
    for (const auto& arguments : wrong) {
        const Outcome outcome = panelctl(gateway, arguments);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors, "");
    }
    EXPECT_EQ(panelctl(gateway, {"--version"}).output, "panelctl " PANELD_VERSION "\n");
    EXPECT_THAT(panelctl(gateway, {"say", "--help"}).output, HasSubstr("TEXT"));
    EXPECT_EQ(gateway.logLinesWaiting(), 0U);
}

// --- Manual and completion keep step with the tool ---

std::set<std::string> matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

std::string read(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The words that bash offers behind "panelctl COMMAND --".
std::set<std::string> completions(const std::string& command) {
    const std::string script = "source " PANELD_SOURCES "/packaging/panelctl.bash-completion; "
                               "COMP_WORDS=(panelctl " +
                               command +
                               " --); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _panelctl; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    FILE* pipe = popen(
        ("bash -c '" + std::regex_replace(script, std::regex("'"), "'\\''") + "'").c_str(), "r");
    std::string text;
    for (int c = 0; pipe != nullptr && (c = fgetc(pipe)) != EOF;) {
        text += static_cast<char>(c);
    }
    if (pipe != nullptr) {
        pclose(pipe);
    }
    return matches(text, "(--[a-z-]+)");
}

TEST(CommandLine, EveryOptionIsInTheCompletionAndInTheManual) {
    sim::Gateway gateway;
    std::set<std::string> all;
    for (const std::string command : {"", "shot", "say", "queue", "config", "modem"}) {
        const auto help = command.empty() ? panelctl(gateway, {"--help"})
                                          : panelctl(gateway, {command, "--help"});
        const auto options = matches(help.output, "\n +(?:-h,)?(--[a-z-]+)");
        ASSERT_FALSE(options.empty());
        EXPECT_EQ(completions(command), options) << command;
        all.insert(options.begin(), options.end());
    }
    std::set<std::string> documented;
    for (const std::string& option : matches(read(PANELD_SOURCES "/packaging/man/panelctl.1"),
                                             R"((\\-[a-z]{2,}(?:\\-[a-z]+)*))")) {
        documented.insert("-" + std::regex_replace(option, std::regex(R"(\\-)"), "-"));
    }
    EXPECT_EQ(documented, all);
}

} // namespace
