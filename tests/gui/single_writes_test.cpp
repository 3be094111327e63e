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

constexpr std::size_t memorySize = 64;

struct Changes {
    int pixels = 0;         // in all
    int mostAtOnce = 0;     // by one instruction
    bool isWatched = false; // false: this machine runs no instruction alone
};

// Runs a stopped child to its end.
void watch(pid_t child, const std::uint8_t* memory, Changes& changes) {
    std::vector<std::uint8_t> before(memory, memory + memorySize);
    int status = 0;
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        int changed = 0;
        for (std::size_t i = 0; i < memorySize; ++i) {
            changed += std::popcount(static_cast<std::uint8_t>(before[i] ^ memory[i]));
        }
        before.assign(memory, memory + memorySize);
        changes.pixels += changed;
        changes.mostAtOnce = std::max(changes.mostAtOnce, changed);
        if (ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr) != 0) {
            kill(child, SIGKILL);
        }
    }
    changes.isWatched = WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Draws on a dark and on a lit panel of 128 x 4 pixels.
Changes changesOf(void (*draw)()) {
    Changes changes;
    Panel panel(128, 4);
    void* const shared =
        mmap(nullptr, memorySize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    pbMapMem = static_cast<std::uint8_t*>(shared);
    for (const std::uint8_t background : {std::uint8_t{0}, std::uint8_t{0xFF}}) {
        std::fill_n(pbMapMem, memorySize, background);
        const pid_t child = fork();
        if (child == 0) {
            if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0) {
                _exit(1);
            }
            draw();
            _exit(0);
        }
        watch(child, pbMapMem, changes);
    }
    munmap(shared, memorySize);
    return changes;
}

TEST(SingleWrites, NoInstructionChangesTwoPixels) {
    const struct {
        const char* name;
        void (*draw)();
        int pixels; // on the dark and on the lit panel together
    } cases[] = {
        {"fill", [] { GUI_FillRect(3, 1, 124, 2); }, 244},
        {"clear", [] { GUI_ClearRect(3, 1, 124, 2); }, 244},
        {"invert", [] { GUI_InvertRect(3, 1, 124, 2); }, 488},
        {"line", [] { LCD_DrawLine(3, 0, 43, 3); }, 41},
        {"text", [] { GUI_DispStringAt("Text", 3, 0); }, 4 * 6 * 4},
    };
    for (const auto& [name, draw, pixels] : cases) {
        const Changes changes = changesOf(draw);
        if (!changes.isWatched) {
            GTEST_SKIP() << "this machine runs no instruction of a child alone";
        }
        EXPECT_EQ(changes.mostAtOnce, 1) << name;
        EXPECT_EQ(changes.pixels, pixels) << name;
    }
}

} // namespace
