#include "sim/terminal.h"

#include <curses.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <string>

#include "sim/terminal_facts.h"
#include "sim/terminal_text.h"
#include "sim/terminal_view.h"

// Last, because it defines macros called "columns", "lines" and the like.
#include <term.h>

namespace sim {
namespace {

constexpr int frameMilliseconds = 50;
constexpr int escapeDelayMilliseconds = 25;
constexpr wint_t escapeKey = 27;
constexpr wint_t redrawKey = L'L' - L'@'; // control and L: another program wrote on the screen
constexpr wint_t clearKey = L'U' - L'@';  // control and U
constexpr wint_t backspaceKeys[] = {8, 127};
constexpr std::size_t typedLimit = 200;

// --- The end by a signal ---

volatile std::sig_atomic_t endSignal = 0;
termios terminalBefore{};

void askForEnd(int number) {
    endSignal = number;
}

// Only calls that are allowed in a handler: the terminal is put back as it was by hand, then the
// signal takes its course.
void restoreAndDie(int number) {
    constexpr char leave[] = "\033[?1049l\033[?25h\033[0m\r\n";
    if (write(STDOUT_FILENO, leave, sizeof leave - 1) < 0)
        _exit(128 + number);
    tcsetattr(STDIN_FILENO, TCSANOW, &terminalBefore);
    raise(number);
}

void setHandlers() {
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = askForEnd; // without SA_RESTART: the wait for a key ends at once
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaction(number, &action, nullptr);
    action.sa_handler = restoreAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int number : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL})
        sigaction(number, &action, nullptr);
}

// Curses from construction to destruction.
class Curses {
  public:
    Curses() {
        tcgetattr(STDIN_FILENO, &terminalBefore);
        screen = newterm(nullptr, stdout, stdin);
        if (screen == nullptr)
            return;
        set_term(screen);
        cbreak();
        noecho();
        nonl();
        keypad(stdscr, TRUE);
        set_escdelay(escapeDelayMilliseconds);
        timeout(frameMilliseconds);
    }
    ~Curses() {
        if (screen == nullptr)
            return;
        endwin();
        delscreen(screen);
    }
    Curses(const Curses&) = delete;
    Curses& operator=(const Curses&) = delete;

    bool usable() const { return screen != nullptr; }

  private:
    SCREEN* screen = nullptr;
};

// Whether curses can draw here at all; some terminal types are mere printers.
bool terminalCanDraw() {
    int error = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &error) != OK)
        return false;
    const char* capability = tigetstr("cup");
    const bool able = capability != nullptr && capability != reinterpret_cast<char*>(-1);
    del_curterm(cur_term);
    return able;
}

// --- Keys ---

class Front {
  public:
    explicit Front(const FrontOptions& options)
        : desk(options.programs, options.panel), facts(desk.gateway()) {
        state.cells = options.cells;
    }

    void run() {
        while (!quit && endSignal == 0) {
            desk.poll();
            view.draw(desk, facts, state);
            wint_t key = 0;
            const int kind = get_wch(&key);
            if (kind != ERR)
                take(kind == KEY_CODE_YES, key);
        }
    }

  private:
    // What the next key means.
    enum class Mode { Command, Address, LogLine, FileChoice, FileAction };

    void take(bool functionKey, wint_t key) {
        if (functionKey && key == KEY_RESIZE)
            return; // the next frame has the new size
        if (!functionKey && key == redrawKey) {
            clearok(stdscr, TRUE);
            return;
        }
        if (state.help) {
            state.help = false;
            return;
        }
        switch (mode) {
        case Mode::Command:
            command(functionKey, key);
            break;
        case Mode::Address:
        case Mode::LogLine:
            type(functionKey, key);
            break;
        case Mode::FileChoice:
            chooseFile(key);
            break;
        case Mode::FileAction:
            chooseAction(key);
            break;
        }
    }

    void command(bool functionKey, wint_t key) {
        if (functionKey) {
            if (key == KEY_ENTER)
                desk.pressShortly();
            else if (key == KEY_UP)
                desk.remark(facts.strongerSignal());
            else if (key == KEY_DOWN)
                desk.remark(facts.weakerSignal());
            return;
        }
        for (const FactKey& fact : factKeys())
            if (static_cast<wint_t>(fact.key) == key)
                desk.remark((facts.*fact.change)());
        commandOfFront(key);
    }

    void commandOfFront(wint_t key) {
        switch (key) {
        case L' ':
        case L'\r':
        case L'\n':
            return desk.pressShortly();
        case L'h':
            return desk.toggleHold();
        case L's':
            return desk.switchPanel();
        case L'r':
            return desk.restart();
        case L'a':
            return ask(Mode::Address, "Interface, address, netmask:", facts.proposedAddress());
        case L'l':
            return ask(Mode::LogLine, "Log line:", "");
        case L'f':
            return choose(Mode::FileChoice, "1 sys.xml  2 sn.xml  3 version  4 channels  Esc back");
        case L'?':
            state.help = true;
            return;
        case L'q':
            quit = true;
            return;
        default:
            return;
        }
    }

    void ask(Mode what, std::string question, const std::string& proposal) {
        mode = what;
        state.question = std::move(question);
        state.typed = widen(proposal);
    }

    void choose(Mode what, std::string question) {
        mode = what;
        state.question = std::move(question);
        state.typed.reset();
    }

    void backToCommands() {
        mode = Mode::Command;
        state.question.clear();
        state.typed.reset();
    }

    void type(bool functionKey, wint_t key) {
        std::wstring& text = *state.typed;
        const bool backspace =
            functionKey ? key == KEY_BACKSPACE : key == backspaceKeys[0] || key == backspaceKeys[1];
        if (backspace) {
            if (!text.empty())
                text.pop_back();
        } else if (!functionKey && key == escapeKey) {
            backToCommands();
        } else if (functionKey ? key == KEY_ENTER : key == L'\r' || key == L'\n') {
            finish(narrow(text));
        } else if (!functionKey && key == clearKey) {
            text.clear();
        } else if (!functionKey && key >= L' ' && text.size() < typedLimit) {
            text += static_cast<wchar_t>(key);
        }
    }

    void finish(const std::string& text) {
        const Mode what = mode;
        backToCommands();
        desk.remark(what == Mode::Address ? facts.setAddress(text) : facts.sendLogLine(text));
    }

    void chooseFile(wint_t key) {
        if (key < L'1' || key >= L'1' + configFileCount)
            return backToCommands();
        file = static_cast<ConfigFile>(key - L'1');
        choose(Mode::FileAction, std::string(configFileName(file)) +
                                     ": r rewrite  b break  d delete  o original  Esc back");
    }

    void chooseAction(wint_t key) {
        struct Action {
            wint_t key;
            ConfigState state;
        };
        constexpr std::array<Action, 4> actions = {{{L'r', ConfigState::Rewritten},
                                                    {L'b', ConfigState::Broken},
                                                    {L'd', ConfigState::Deleted},
                                                    {L'o', ConfigState::Original}}};
        backToCommands();
        for (const Action& action : actions)
            if (action.key == key)
                desk.remark(facts.setConfig(file, action.state));
    }

    Desk desk;
    DeskFacts facts;
    View view;
    FrontState state;
    Mode mode = Mode::Command;
    ConfigFile file = ConfigFile::Sys;
    bool quit = false;
};

} // namespace

std::optional<int> runFront(const FrontOptions& options) {
    if (!terminalCanDraw())
        return std::nullopt;
    setHandlers();
    Curses curses;
    if (!curses.usable())
        return std::nullopt;
    Front front(options);
    front.run();
    return endSignal == 0 ? 0 : 128 + static_cast<int>(endSignal);
}

} // namespace sim
