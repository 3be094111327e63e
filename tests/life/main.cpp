// The daemon's life: undisturbed, with failures, and long.

#include "tests/life/life.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
    CLI::App app("A life of the daemon on a simulated gateway");
    app.require_subcommand(1);
    app.fallthrough();
    app.option_defaults()->always_capture_default();
    std::uint32_t lines = 64;
    bool full = false;
    double days = 30;
    std::uint64_t events = 1'000'000;
    std::uint32_t seed = 1;
    const CLI::App* const walkMode = app.add_subcommand("walk", "one undisturbed day");
    CLI::App* const sweepMode = app.add_subcommand("sweep", "the day with each call failing once");
    CLI::App* const soakMode = app.add_subcommand("soak", "random presses and facts for days");
    app.add_option("--panel", lines, "its lines")->check(CLI::IsMember({64, 32}));
    sweepMode->add_flag("--full", full, "every occurrence of a call");
    soakMode->add_option("--days", days);
    soakMode->add_option("--events", events, "of the button");
    soakMode->add_option("--seed", seed);
    CLI11_PARSE(app, count, arguments);

    unsetenv("TZ");
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const Extent extent = *walkMode ? Extent::None : full ? Extent::Full : Extent::Chosen;
    const bool sound = *soakMode ? soak(days, events, seed)
                                 : sweep(lines == 32 ? sim::panel32 : sim::panel64, extent);
    return sound ? EXIT_SUCCESS : EXIT_FAILURE;
}
