#include "sim/terminal_view.h"

#include <curses.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>
#include <vector>

#include "sim/terminal_layout.h"
#include "sim/terminal_text.h"

namespace sim {
namespace {

enum Pair : short { LitPair = 1, DarkPair, FramePair, BadPair, LabelPair };

// Of the 256-colour palette.
constexpr short paleBlue = 195;
constexpr short dimBlue = 60;
constexpr short glassBlack = 16;
constexpr short frameGrey = 245;
constexpr short labelBlue = 110;
constexpr short alarmRed = 203;

constexpr int labelWidth = 12;
constexpr std::chrono::seconds longPress{10};

struct KeyHint {
    const char* keys;
    const char* meaning;
};

// Short enough for a row of 13 columns each, few enough for 18 rows.
constexpr std::array<KeyHint, 18> keyHints = {{
    {"spc", "press"},
    {"h", "hold"},
    {"s", "64/32"},
    {"1 2 3", "ports"},
    {"a x X", "address"},
    {"i p", "SIM"},
    {"g", "register"},
    {"+ -", "signal"},
    {"n", "network"},
    {"m", "maker"},
    {"o", "modem"},
    {"k", "kind"},
    {"t T", "card"},
    {"f", "files"},
    {"l", "log"},
    {"c C", "clock"},
    {"?", "help"},
    {"q", "quit"},
}};

// Keys that are not in the table of facts.
constexpr std::array<KeyHint, 8> frontHelp = {{
    {"spc", "short press (or Enter)"},
    {"h", "hold for ten seconds, or let go"},
    {"s", "64-line or 32-line panel"},
    {"r", "start paneld again"},
    {"a", "change an address"},
    {"f", "rewrite, break, delete a file"},
    {"l", "send a line to the log"},
    {"q", "quit"},
}};

unsigned long pair(Pair number) {
    return has_colors() ? static_cast<unsigned long>(COLOR_PAIR(number)) : 0;
}

void initColours() {
    if (!has_colors())
        return;
    start_color();
    use_default_colors();
    if (COLORS >= 256) {
        init_pair(LitPair, paleBlue, glassBlack);
        init_pair(DarkPair, dimBlue, glassBlack);
        init_pair(FramePair, frameGrey, -1);
        init_pair(BadPair, alarmRed, -1);
        init_pair(LabelPair, labelBlue, -1);
        return;
    }
    init_pair(LitPair, COLOR_CYAN, COLOR_BLACK);
    init_pair(DarkPair, COLOR_BLUE, COLOR_BLACK);
    init_pair(FramePair, COLOR_WHITE, -1);
    init_pair(BadPair, COLOR_RED, -1);
    init_pair(LabelPair, COLOR_CYAN, -1);
}

std::string repeated(const char* text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

int width(const std::string& text) {
    return columnsOf(widen(text));
}

std::string oneDecimal(std::chrono::milliseconds time) {
    const auto tenths = time.count() / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string buttonText(const Desk& desk) {
    if (const auto held = desk.held()) {
        const bool isLong = *held >= longPress;
        return " (●) held " + oneDecimal(*held) + " s " + (isLong ? "- long " : "of 10 ");
    }
    return desk.pressed() ? " (●) button " : " (○) button ";
}

std::string backlightText(const Desk& desk) {
    return desk.dark() ? " backlight 0, dark " : " backlight " + desk.brightness() + " ";
}

std::string daemonText(const Desk& desk) {
    if (!desk.running())
        return *desk.end();
    std::string text = "pid " + std::to_string(desk.pid());
    if (const auto reboots = desk.gateway().popenCount())
        text += ", " + std::to_string(reboots) + (reboots == 1 ? " reboot" : " reboots");
    if (const auto waiting = desk.gateway().logLinesWaiting())
        text += ", " + std::to_string(waiting) + " queued";
    return text;
}

} // namespace

View::View() {
    initColours();
    lit = pair(LitPair) | (COLORS >= 256 ? A_NORMAL : A_BOLD);
    dark = pair(DarkPair) | (COLORS >= 256 ? A_NORMAL : A_DIM);
    frame = pair(FramePair);
    label = pair(LabelPair);
    plain = A_NORMAL;
    bad = pair(BadPair) | A_BOLD;
    quiet = A_DIM;
    strong = A_BOLD;
}

// Writes the text into so many columns, cut with an ellipsis or filled with blanks.
void View::put(int left, int top, int columns, const std::string& text, unsigned long look) {
    if (columns <= 0 || top < 0 || top >= LINES)
        return;
    std::wstring wide = widen(text);
    if (columnsOf(wide) > columns)
        wide = fitColumns(wide, columns - 1) + L"…";
    attrset(static_cast<int>(look));
    mvaddwstr(top, left, fitColumns(wide, columns).c_str());
}

void View::draw(const Desk& desk, const DeskFacts& facts, const FrontState& state) {
    erase();
    curs_set(0);
    const int panelHeight = static_cast<int>(desk.gateway().panel().height);
    const int factCount = static_cast<int>(facts.rows().size()) + 1; // and the daemon itself
    auto layout = chooseLayout(COLS, LINES, panelHeight, factCount, state.cells);
    if (!layout)
        layout = chooseLayout(COLS, LINES, panelHeight, factCount);
    if (!layout) {
        drawTooSmall(COLS, LINES);
    } else {
        drawPanel(desk, *layout);
        drawFacts(desk, facts, *layout);
        drawKeys(*layout);
        if (!desk.running())
            drawEnd(desk, layout->panel);
        if (state.help)
            drawHelp(desk);
        drawRemarks(desk, state, layout->remarks); // last: it may place the cursor
    }
    refresh();
}

void View::drawPanel(const Desk& desk, const Layout& layout) {
    drawFrame(desk, layout.panel);
    const auto rows = picture::renderCells(desk.picture(), layout.cells);
    int y = layout.panel.top + 1;
    for (const std::string& row : rows)
        put(layout.panel.left + 1, y++, layout.panel.columns - 2, row, desk.dark() ? dark : lit);
}

void View::drawFrame(const Desk& desk, const Area& area) {
    const int inner = area.columns - 2;
    const int bottom = area.top + area.rows - 1;
    put(area.left, area.top, area.columns, "┌" + repeated("─", inner) + "┐", frame);
    for (int y = area.top + 1; y < bottom; ++y) {
        put(area.left, y, 1, "│", frame);
        put(area.left + area.columns - 1, y, 1, "│", frame);
    }
    put(area.left, bottom, area.columns, "└" + repeated("─", inner) + "┘", frame);

    const std::string title =
        " paneld, " + std::to_string(desk.gateway().panel().height) + " lines ";
    put(area.left + 2, area.top, width(title), title, strong);
    const std::string button = buttonText(desk);
    put(area.left + 2, bottom, width(button), button, desk.pressed() ? strong : plain);
    const std::string backlight = backlightText(desk);
    put(area.left + area.columns - 2 - width(backlight), bottom, width(backlight), backlight,
        desk.dark() ? quiet : plain);
}

void View::drawFacts(const Desk& desk, const DeskFacts& facts, const Layout& layout) {
    std::vector<FactRow> rows = facts.rows();
    rows.push_back({"Daemon", daemonText(desk), desk.running()});
    const Area& area = layout.facts;
    const int columnWidth = area.columns / layout.factColumns;
    for (int i = 0; i < static_cast<int>(rows.size()); ++i) {
        const FactRow& row = rows[static_cast<std::size_t>(i)];
        const int left = area.left + i / area.rows * columnWidth;
        const int top = area.top + i % area.rows;
        put(left, top, labelWidth, row.label, label);
        put(left + labelWidth, top, columnWidth - labelWidth - 1, row.value,
            row.good ? plain : bad);
    }
}

void View::drawRemarks(const Desk& desk, const FrontState& state, const Area& area) {
    const bool asking = !state.question.empty();
    const int room = area.rows - (asking ? 1 : 0);
    const auto& remarks = desk.remarks();
    const int shown = std::min(room, static_cast<int>(remarks.size()));
    for (int i = 0; i < shown; ++i) {
        const Remark& remark = remarks[remarks.size() - static_cast<std::size_t>(shown - i)];
        const bool daemon = remark.speaker != Speaker::Desk;
        std::string text = remark.time + (daemon ? " paneld: " : " ") + remark.text;
        if (remark.count > 1)
            text += " (" + std::to_string(remark.count) + " times)";
        const bool error = remark.speaker == Speaker::DaemonErrors;
        put(area.left, area.top + i, area.columns, text, error ? bad : daemon ? plain : quiet);
    }
    if (!asking)
        return;
    const int bottom = area.top + area.rows - 1;
    const int used = width(state.question);
    put(area.left, bottom, area.columns, state.question, strong);
    if (!state.typed)
        return;
    const std::wstring tail = tailColumns(*state.typed, area.columns - used - 2);
    put(area.left + used + 1, bottom, area.columns - used - 1, narrow(tail), plain);
    move(bottom, area.left + used + 1 + columnsOf(tail));
    curs_set(1);
}

void View::drawKeys(const Layout& layout) {
    const Area& area = layout.keys;
    int x = area.left;
    int y = area.top;
    for (const KeyHint& hint : keyHints) {
        const int keyWidth = width(hint.keys);
        const int whole = keyWidth + 1 + width(hint.meaning);
        if (x > area.left && x + whole > area.left + area.columns) {
            x = area.left;
            ++y;
        }
        if (y >= area.top + area.rows)
            return;
        put(x, y, keyWidth, hint.keys, strong);
        put(x + keyWidth + 1, y, whole - keyWidth - 1, hint.meaning, plain);
        x = layout.keysUpright ? area.left + area.columns : x + whole + 2;
    }
}

void View::drawHelp(const Desk& desk) {
    std::vector<std::pair<std::string, std::string>> entries;
    for (const KeyHint& hint : frontHelp)
        entries.emplace_back(hint.keys, hint.meaning);
    for (const FactKey& key : factKeys())
        entries.emplace_back(std::string(1, key.key), key.help);
    constexpr int keyWidth = 4;
    constexpr int entryWidth = 38;
    constexpr int boxWidth = 2 * entryWidth + 4;
    const int half = (static_cast<int>(entries.size()) + 1) / 2;
    const int boxHeight = half + 7;
    const int left = std::max((COLS - boxWidth) / 2, 0);
    const int top = std::max((LINES - boxHeight) / 2, 0);

    put(left, top, boxWidth, "┌" + repeated("─", boxWidth - 2) + "┐", frame);
    for (int y = top + 1; y < top + boxHeight - 1; ++y)
        put(left, y, boxWidth, "│" + std::string(boxWidth - 2, ' ') + "│", frame);
    put(left, top + boxHeight - 1, boxWidth, "└" + repeated("─", boxWidth - 2) + "┘", frame);
    for (int i = 0; i < static_cast<int>(entries.size()); ++i) {
        const auto& [keys, meaning] = entries[static_cast<std::size_t>(i)];
        const int x = left + 2 + i / half * entryWidth;
        put(x, top + 1 + i % half, keyWidth, keys, strong);
        put(x + keyWidth, top + 1 + i % half, entryWidth - keyWidth - 1, meaning, plain);
    }
    const int below = top + half + 2;
    put(left + 2, below, boxWidth - 4, "Nothing here reaches this machine; the gateway lives in",
        quiet);
    put(left + 2, below + 1, boxWidth - 4, desk.gateway().folder(), plain);
    put(left + 2, below + 2, boxWidth - 4, "panel-sim --shell opens a shell on a gateway.", quiet);
    put(left + 2, below + 3, boxWidth - 4, "Any key closes this help.", quiet);
}

void View::drawEnd(const Desk& desk, const Area& area) {
    const std::string text = "  paneld " + *desk.end() + " - r starts it again  ";
    const int columns = std::min(width(text), area.columns);
    put(area.left + (area.columns - columns) / 2, area.top + area.rows / 2, columns, text,
        bad | A_REVERSE);
}

void View::drawTooSmall(int columns, int rows) {
    put(0, 0, columns,
        "The terminal has " + std::to_string(columns) + " x " + std::to_string(rows) +
            " characters;",
        plain);
    put(0, 1, columns,
        "the panel needs " + std::to_string(smallestColumns) + " x " +
            std::to_string(smallestRows) + ". q quits.",
        plain);
}

} // namespace sim
