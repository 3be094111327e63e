#pragma once

// The unmodified daemon on a simulated gateway of its own, from its start to its end, whatever
// happens meanwhile. It runs in the machine's zone: with TZ set, tzset would do nothing after its
// first call.

#include "sim/panel_process.h"
#include "tests/pages/shown.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

// A failure to inject.
struct Failure {
    sim::Call call;
    sim::Path path; // None: any
    int error;
    std::uint32_t nth;
    bool persistent; // the nth and every later one, until the failures end
};

// A page of the cycle as tests/golden has it.
struct Page {
    std::string name;
    picture::Bitmap golden;
};

struct Life {
    explicit Life(sim::Panel panel, const std::optional<Failure>& planned = std::nullopt);

    // The process has ended or hangs: nothing more can be learned of it.
    bool over() { return stuck || !process.running(); }
    // The call that was to fail was made.
    bool reached() const { return !fault || gateway.faultHits(*fault) > 0; }

    // Nothing happens when it is over.
    void pass(std::chrono::nanoseconds duration);
    void press(std::chrono::milliseconds held = std::chrono::milliseconds{100});
    // Presses for the whole cycle, each page long enough for its timer redraw.
    void walk();

    // Short presses until the clock page is shown as its golden has it; false when it does not
    // come.
    bool findTheClock();
    // Gives the gateway back its ordinary facts and log lines, walks once around, for some facts
    // are read with one page only, and tells of every page that is not as its golden has it.
    std::string differences();

    std::size_t descriptors() const;

    const std::optional<Failure> failure;
    sim::Gateway gateway;
    const std::optional<sim::FaultId> fault;
    sim::PanelProcess process;
    bool stuck;                    // it neither slept nor ended
    const bool started;            // it lived to see its first page
    const std::vector<Page> cycle; // from the clock on
};

// How many failures a sweep injects: none, those of the first, a middle and the last occurrence of
// each call, or those of every occurrence (of a frequent call some hundreds).
enum class Extent : std::uint8_t { None, Chosen, Full };

// Lives the same day once undisturbed and once for every call that the daemon makes into the
// system, with that call failing. Prints how many failures were injected and what came of them.
// False when the daemon did not outlive one, was not right again afterwards or never made the call.
bool sweep(const sim::Panel& panel, Extent extent);

// Lives for so many days with so many button events, random presses and changing facts, and prints
// a line at each checkpoint. False when private memory grew after the warm-up, a descriptor leaked,
// a page is not as its golden has it, or the loop or the clock page allocates more than tzset's
// copy of its file's name.
bool soak(double days, std::uint64_t events, std::uint32_t seed);
