#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

#include "sim/control.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto patience = 20s;
constexpr const char* controlL = "\x0c"; // draws the whole screen again

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The exit status of a command, and what it wrote.
std::pair<int, std::string> run(const std::string& arguments, const std::string& before = "") {
    const std::string file = testing::TempDir() + "panel-sim-" + std::to_string(getpid());
    const std::string command = before + " '" PANEL_SIM "' " + arguments + " > '" + file + "'";
    const int status = std::system(command.c_str());
    std::string output = contentOf(file);
    fs::remove(file);
    return {WEXITSTATUS(status), std::move(output)};
}

// The program on a terminal of its own, with the person's hands on the keyboard.
class Sitting {
  public:
    explicit Sitting(unsigned short columns, unsigned short rows) {
        winsize size{rows, columns, 0, 0};
        int slave = -1;
        EXPECT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
        terminal = slave;
        tcgetattr(terminal, &settingsBefore);
        child = fork();
        if (child == 0) {
            setenv("TERM", "xterm-256color", 1);
            close(master);
            login_tty(slave);
            execl(PANEL_SIM, "panel-sim", static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~Sitting() {
        if (!ended)
            kill(child, SIGTERM);
        if (end() < 0)
            kill(child, SIGKILL);
        close(terminal);
        close(master);
    }
    Sitting(const Sitting&) = delete;
    Sitting& operator=(const Sitting&) = delete;

    void type(const std::string& keys) {
        ASSERT_EQ(write(master, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    // The whole screen, drawn anew.
    std::string screen() {
        seen.clear();
        type(controlL);
        read(200ms);
        return seen;
    }

    // Whether the screen comes to show the text.
    bool shows(const std::string& text) {
        const auto deadline = Clock::now() + patience;
        while (Clock::now() < deadline && !ended)
            if (screen().find(text) != std::string::npos)
                return true;
        return false;
    }

    // The daemon's process, as the screen names it.
    pid_t daemon() {
        if (!shows("pid "))
            return -1;
        return std::atoi(seen.c_str() + seen.find("pid ") + 4);
    }

    // The status of the program, as waitpid gives it; -1 when it does not end.
    int end() {
        const auto deadline = Clock::now() + patience;
        while (!ended && Clock::now() < deadline) {
            read(20ms);
            ended = waitpid(child, &status, WNOHANG) == child;
        }
        read(20ms);
        return ended ? status : -1;
    }

    bool settingsRestored() const {
        termios now{};
        tcgetattr(terminal, &now);
        return now.c_iflag == settingsBefore.c_iflag && now.c_lflag == settingsBefore.c_lflag;
    }

    const std::string& output() const { return seen; }
    pid_t pid() const { return child; }

  private:
    // Collects what is written until nothing came for so long, a second at most.
    void read(std::chrono::milliseconds quiet) {
        const auto deadline = Clock::now() + 1s;
        pollfd waiting{master, POLLIN, 0};
        char buffer[4096];
        while (Clock::now() < deadline && poll(&waiting, 1, static_cast<int>(quiet.count())) > 0) {
            const ssize_t count = ::read(master, buffer, sizeof buffer);
            if (count <= 0)
                return;
            seen.append(buffer, static_cast<std::size_t>(count));
        }
    }

    int master = -1;
    int terminal = -1;
    pid_t child = -1;
    bool ended = false;
    int status = -1;
    termios settingsBefore{};
    std::string seen;
};

// Whether a process is gone, or comes to be. One that waits to be collected is gone.
bool goes(pid_t pid) {
    const auto deadline = Clock::now() + patience;
    while (Clock::now() < deadline) {
        const std::string status = contentOf("/proc/" + std::to_string(pid) + "/status");
        if (status.empty() || status.find("State:\tZ") != std::string::npos)
            return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

// The sandbox that a process works in.
fs::path sandboxOf(pid_t pid) {
    const std::string environment = contentOf("/proc/" + std::to_string(pid) + "/environ");
    const std::string variable = std::string(1, '\0') + sim::gatewayVariable + "=";
    const std::size_t found = environment.find(variable);
    return found == std::string::npos ? "" : environment.c_str() + found + variable.size();
}

TEST(PanelSim, PrintsEveryPageOfBothPanelsWithoutATerminal) {
    const auto [status, output] = run("< /dev/null", "LC_ALL=C");
    EXPECT_EQ(status, 0);
    std::istringstream lines(output);
    std::size_t rows = 0;
    for (std::string line; std::getline(lines, line);)
        rows += line.starts_with("█") ? 1U : 0U;
    EXPECT_EQ(rows, 18U * 32 + 13U * 16);
    EXPECT_NE(output.find("64-line panel: SIM status"), std::string::npos);
    EXPECT_EQ(output.find("32-line panel: SIM"), std::string::npos);
    EXPECT_EQ(run("--paneld /bin/true < /dev/null").first, 1);
}

TEST(PanelSim, OpensAShellThatSeesTheGatewayAndEndsWithIt) {
    const fs::path folder = testing::TempDir() + "panel-sim-shell-" + std::to_string(getpid());
    fs::create_directory(folder);
    const auto [status, output] =
        run("--shell", "echo 'cat /zelkora/Config/version/main-version.conf; panelctl queue; "
                       "reboot now; cat ${PATH%%:*}/recorded; kill -HUP $PPID; exec sleep 30' | "
                       "TMPDIR=" +
                           folder.string());
    EXPECT_EQ(status, 128 + SIGHUP);
    for (const char* said :
         {"V1.2.3\n", "queue 80: 0 messages", "reboot: recorded", "\nreboot now\n"})
        EXPECT_NE(output.find(said), std::string::npos) << said << output;
    EXPECT_TRUE(fs::remove(folder)) << "something was left in it";
}

TEST(PanelSimLive, GivesTheTerminalBackAndEndsTheDaemonOnEveryWayOut) {
    const struct {
        int signal; // 0: the key q
        int status;
    } ways[] = {{0, 0}, {SIGINT, 128 + SIGINT}, {SIGTERM, 128 + SIGTERM}, {SIGHUP, 128 + SIGHUP}};
    for (const auto& way : ways) {
        SCOPED_TRACE(strsignal(way.signal));
        Sitting sitting(80, 24);
        const pid_t daemon = sitting.daemon();
        ASSERT_GT(daemon, 0);
        const fs::path sandbox = sandboxOf(daemon);
        EXPECT_TRUE(fs::exists(sandbox));
        if (way.signal == 0)
            sitting.type("q");
        else
            kill(sitting.pid(), way.signal);
        const int status = sitting.end();
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, way.status);
        EXPECT_TRUE(sitting.settingsRestored());
        EXPECT_NE(sitting.output().find("\033[?1049l"), std::string::npos);
        EXPECT_TRUE(goes(daemon));
        EXPECT_FALSE(fs::exists(sandbox));
    }
}

TEST(PanelSimLive, KeysPressTheButtonChangeTheFactsAndStartTheDaemonAgain) {
    Sitting sitting(140, 50);
    ASSERT_TRUE(sitting.shows("paneld, 64 lines"));
    sitting.type("h");
    EXPECT_TRUE(sitting.shows("held "));
    sitting.type("h");
    EXPECT_TRUE(sitting.shows("(○) button"));
    sitting.type("1");
    EXPECT_TRUE(sitting.shows("eth1 unplugged"));
    sitting.type("l通信\r");
    EXPECT_TRUE(sitting.shows("sent to the log: 通信"));
    sitting.type("f4d");
    EXPECT_TRUE(sitting.shows("channels deleted"));
    sitting.type("?");
    EXPECT_TRUE(sitting.shows("Any key closes this help."));
    sitting.type("xs");
    EXPECT_TRUE(sitting.shows("paneld, 32 lines"));
    kill(sitting.daemon(), SIGTERM);
    EXPECT_TRUE(sitting.shows("was ended by signal TERM"));
    sitting.type("r");
    EXPECT_GT(sitting.daemon(), 0);
}

} // namespace
