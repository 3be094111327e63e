// panelctl: looks at the panel, its queue, its configuration and its modem from a shell.

#include "tools/commands.h"
#include "tools/visible_text.h"

#include <CLI/CLI.hpp>

#include <cstdarg>
#include <cstdio>
#include <iostream>

namespace {

using namespace ctl;

constexpr const char* footer = "Exit status: 0 all is well, 1 something is wrong or could not be "
                               "done, 2 wrong usage.\nSee panelctl(1) and paneld(8).";

CLI::App* addShot(CLI::App& app, ShotOptions& options) {
    CLI::App* command = app.add_subcommand("shot", "Show what is on the panel now");
    CLI::Option* file = command->add_option("FILE", options.file, "PNG file to write");
    command->add_option("--scale", options.scale, "PNG pixels to a dot of the panel")
        ->check(CLI::Range(1, 32))
        ->needs(file)
        ->capture_default_str();
    command
        ->add_option_function<std::string>(
            "--cells",
            [&options](const std::string& name) { options.cells = picture::cellKindByName(name); },
            "Characters to draw with in the terminal")
        ->check(CLI::IsMember({"half", "quadrants", "braille"}))
        ->excludes(file);
    command->add_flag("--watch", options.watch, "Keep showing it until interrupted")
        ->excludes(file);
    return command;
}

CLI::App* addSay(CLI::App& app, SayOptions& options) {
    CLI::App* command = app.add_subcommand("say", "Send a log line to the panel");
    command->add_option("TEXT", options.words, "Words of the line, UTF-8")->required();
    command->add_option("--type", options.type, "Type of the message")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    return command;
}

CLI::App* addQueue(CLI::App& app, QueueOptions& options) {
    CLI::App* command = app.add_subcommand("queue", "List the log lines that wait for the panel");
    command->add_flag("--drop-stuck", options.dropStuck,
                      "Remove the message at the head if it is too long for the panel");
    return command;
}

CLI::App* addModem(CLI::App& app, ModemOptions& options) {
    CLI::App* command = app.add_subcommand("modem", "Ask the modem as the SIM status page does");
    command
        ->add_option("--kind", options.kind,
                     "Dialogue: 1 all commands at once, 2 one at a time; default: as sn.xml says")
        ->check(CLI::Range(1, 2));
    return command;
}

int run(int argc, char** argv) {
    ShotOptions shotOptions;
    SayOptions sayOptions;
    QueueOptions queueOptions;
    ModemOptions modemOptions;

    CLI::App app{"Looks at the front panel of the gateway and at what paneld works on.",
                 "panelctl"};
    app.set_version_flag("--version", "panelctl " PANELD_VERSION);
    app.require_subcommand(1);
    app.footer(footer);
    const CLI::App* shotCommand = addShot(app, shotOptions);
    const CLI::App* sayCommand = addSay(app, sayOptions);
    const CLI::App* queueCommand = addQueue(app, queueOptions);
    const CLI::App* configCommand =
        app.add_subcommand("config", "Report what paneld reads from its configuration files");
    const CLI::App* modemCommand = addModem(app, modemOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, std::cout, std::cerr) == 0 ? statusFine : statusUsage;
    }
    if (shotCommand->parsed()) {
        return shot(shotOptions);
    }
    if (sayCommand->parsed()) {
        return say(sayOptions);
    }
    if (queueCommand->parsed()) {
        return queue(queueOptions);
    }
    if (configCommand->parsed()) {
        return config();
    }
    return modemCommand->parsed() ? modem(modemOptions) : statusUsage;
}

std::string visibleLine(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return visible(text);
}

} // namespace

void ctl::tell(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::puts(visibleLine(format, arguments).c_str());
    va_end(arguments);
}

void ctl::complain(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "panelctl: %s\n", visibleLine(format, arguments).c_str());
    va_end(arguments);
}

int main(int argc, char** argv) {
    const int status = run(argc, argv);
    // A full disk or a closed pipe must not pass as success.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        ctl::complain("cannot write standard output");
        return ctl::statusTrouble;
    }
    return status;
}
