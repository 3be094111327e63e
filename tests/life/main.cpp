// The daemon's life: undisturbed, with failures, and long.

#include "sim/gateway.h"
#include "tests/life/soak.h"
#include "tests/life/sweep.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
    CLI::App app("A life of the daemon on a simulated gateway");
    app.require_subcommand(1);
    std::uint32_t lines = 0;
    bool full = false;
    SoakPlan plan;
    CLI::App* const walkMode = app.add_subcommand("walk", "one undisturbed day");
    CLI::App* const sweepMode = app.add_subcommand("sweep", "the day with each call failing once");
    for (CLI::App* mode : {walkMode, sweepMode}) {
        mode->add_option("panel", lines, "its lines")->required()->check(CLI::IsMember({64, 32}));
    }
    sweepMode->add_flag("--full", full, "every occurrence of a call");
    CLI::App* const soakMode = app.add_subcommand("soak", "random presses and facts for days");
    soakMode->option_defaults()->always_capture_default();
    soakMode->add_option("--days", plan.days);
    soakMode->add_option("--events", plan.events, "of the button");
    soakMode->add_option("--seed", plan.seed);
    CLI11_PARSE(app, count, arguments);

    unsetenv("TZ");
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const sim::Panel panel = lines == 32 ? sim::panel32 : sim::panel64;
    const bool sound = *soakMode    ? soak(plan)
                       : *sweepMode ? sweep(panel, full)
                                    : walkThroughTheDay(panel);
    return sound ? EXIT_SUCCESS : EXIT_FAILURE;
}
