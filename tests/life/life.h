#pragma once

// The unmodified daemon on a simulated gateway of its own, from its start to its end, whatever
// happens meanwhile. It runs in the machine's zone: with TZ set, tzset would do nothing after its
// first call.

#include "picture/bitmap.h"
#include "sim/panel_process.h"

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

class Life {
  public:
    explicit Life(sim::Panel panel, const std::optional<Failure>& failure = std::nullopt);

    // The process has ended or hangs: nothing more can be learned of it.
    bool over() { return hangs_ || !process.running(); }
    // It neither slept nor ended.
    bool hangs() { return hangs_ && process.running(); }

    // Nothing happens when it is over.
    void pass(std::chrono::nanoseconds duration);
    void press(std::chrono::milliseconds held = std::chrono::milliseconds{100});
    // Presses for the whole cycle, each page long enough for its timer redraw.
    void walk();

    picture::Bitmap shown() const;
    // Short presses until the clock page stands there at the ordinary moment; false when it does
    // not come.
    bool findTheClock();
    // Gives the gateway back its ordinary facts and log lines, walks once around, for some facts
    // are read with one page only, and tells of every page that is not as its golden shows it.
    std::string differences();

    std::size_t descriptors() const;

    sim::Gateway gateway;
    const std::optional<sim::FaultId> fault;
    sim::PanelProcess process;

  private:
    void pressAtOrdinaryMoment();

    bool hangs_ = false;
    const std::vector<Page> cycle_; // from the clock on
    std::time_t ordinaryMoment_;
};
