// Every pixel is a write of its own, which the finished picture does not show: a child draws into
// memory that it shares with the test and is run instruction by instruction; none may change more
// than one pixel.

#include "tests/gui/panel.h"

#include <bit>
#include <csignal>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// On a dark panel of 128 x 4 pixels, then on a lit one.
void drawOfEveryKind() {
    for (int ground = 0; ground < 2; ++ground) {
        LCD_DrawLine(3, 0, 43, 3);
        LCD_DrawLine(46, 0, 46, 3);
        GUI_DispStringAt("Text", 51, 0);
        GUI_InvertRect(3, 1, 124, 2);
        GUI_FillRect(0, 0, 127, 3);
    }
    GUI_ClearRect(3, 1, 124, 2);
}

// Runs in the child: stops before it draws, and goes on as its parent lets it.
void drawWatched() {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0) {
        _exit(1);
    }
    drawOfEveryKind();
    _exit(0);
}

TEST(SingleWrites, NoInstructionChangesTwoPixels) {
    Panel panel(128, 4);
    std::vector<std::uint8_t> before(panel.bytes().size());
    pbMapMem = static_cast<std::uint8_t*>(
        mmap(nullptr, before.size(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const std::span memory(pbMapMem, before.size());
    const pid_t child = fork();
    if (child == 0) {
        drawWatched();
    }
    int pixels = 0;
    int status = 0;
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        int changed = 0;
        for (std::size_t i = 0; i < memory.size(); ++i) {
            changed += std::popcount(static_cast<std::uint8_t>(before[i] ^ memory[i]));
        }
        EXPECT_LE(changed, 1) << toText(picture::Bitmap::fromVideoMemory(memory, 128, 4));
        pixels += changed;
        std::ranges::copy(memory, before.begin());
        if (ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr) != 0) {
            kill(child, SIGKILL);
        }
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        GTEST_SKIP() << "this machine runs no instruction of a child alone";
    }
    EXPECT_GT(pixels, 1000);
}

} // namespace
