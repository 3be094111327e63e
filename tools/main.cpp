// panelctl: looks at the panel, its queue, its configuration and its modem from a shell.

#include "tools/commands.h"
#include "tools/panel_text.h"
#include "tools/visible_text.h"

#include <CLI/CLI.hpp>

#include <cstdarg>
#include <cstdio>
#include <limits>

namespace {

using namespace ctl;

constexpr const char* footer = "Exit status: 0 all is well, 1 something is wrong or could not be "
                               "done, 2 wrong usage.\nSee panelctl(1) and paneld(8).";

CLI::App* addShot(CLI::App& app, ShotOptions& options) {
    CLI::App* command = app.add_subcommand("shot", "Show what is on the panel now");
    CLI::Option* file =
        command->add_option("FILE", options.file, "PNG file to write, - for standard output");
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

CLI::App* addPress(CLI::App& app, PressOptions& options) {
    constexpr int longestHold = 60; // seconds
    CLI::App* command = app.add_subcommand("press", "Press the panel's button, show what comes");
    command
        ->add_option("--hold", options.hold, "Seconds to hold it; from 10 on the gateway restarts")
        ->check(CLI::Range(0, longestHold))
        ->capture_default_str();
    command->add_flag("--reboot", options.reboot, "Needed beside --hold of 10 and more");
    command->add_flag("--quiet", options.quiet, "Do not show the panel afterwards");
    return command;
}

CLI::App* addSay(CLI::App& app, SayOptions& options) {
    CLI::App* command = app.add_subcommand("say", "Send a log line to the panel");
    command->add_option("TEXT", options.words, "Words of the line, UTF-8")->required();
    command->add_option("--type", options.type, "Type of the message")
        ->check(CLI::Range(1L, std::numeric_limits<long>::max()))
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

// What a command, or the tool itself, may be followed by.
std::string expected(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    for (const CLI::Option* option : app.get_options()) {
        names.push_back(option->get_name());
    }
    return quotedList(names);
}

// Says what was wrong with the command line and what would be right.
int refuse(const CLI::App& app, const CLI::ParseError& error) {
    const auto chosen = app.get_subcommands();
    const CLI::App& command = chosen.empty() ? app : *chosen.front();
    const auto unknown = app.remaining(true);
    if (!unknown.empty()) {
        const bool text = command.get_option_no_throw("TEXT") != nullptr;
        complain("'%s' is not understood; %s takes %s%s", unknown.front().c_str(),
                 command.get_name().c_str(), expected(command).c_str(),
                 text ? ", and -- before a TEXT that begins with -" : "");
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        complain("%s; %s takes %s", error.what(), command.get_name().c_str(),
                 expected(command).c_str());
    } else {
        complain("%s", error.what());
    }
    return statusUsage;
}

int run(int argc, char** argv) {
    ShotOptions shotOptions;
    PressOptions pressOptions;
    SayOptions sayOptions;
    QueueOptions queueOptions;
    ModemOptions modemOptions;

    CLI::App app{"Looks at the front panel of the gateway and at what paneld works on.",
                 "panelctl"};
    app.set_version_flag("--version", "panelctl " PANELD_VERSION);
    app.require_subcommand(1);
    app.footer(footer);
    const CLI::App* shotCommand = addShot(app, shotOptions);
    const CLI::App* pressCommand = addPress(app, pressOptions);
    const CLI::App* sayCommand = addSay(app, sayOptions);
    const CLI::App* queueCommand = addQueue(app, queueOptions);
    const CLI::App* configCommand =
        app.add_subcommand("config", "Report what paneld reads from its configuration files");
    const CLI::App* modemCommand = addModem(app, modemOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const bool asked = error.get_exit_code() == 0; // for help or the version
        return asked ? app.exit(error) : refuse(app, error);
    }
    if (shotCommand->parsed()) {
        return shot(shotOptions);
    }
    if (pressCommand->parsed()) {
        return press(pressOptions);
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

} // namespace

// NOLINTNEXTLINE(cert-dcl50-cpp): like printf, and checked like it
void ctl::tell(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::puts(visible(formattedList(format, arguments)).c_str());
    va_end(arguments);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): like printf, and checked like it
void ctl::complain(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::fprintf(stderr, "panelctl: %s\n", visible(formattedList(format, arguments)).c_str());
    va_end(arguments);
}

// NOLINTNEXTLINE(bugprone-exception-escape): what nobody foresees may end the tool
int main(int argc, char** argv) {
    const int status = run(argc, argv);
    // A full disk or a closed pipe must not pass as success.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        ctl::complain("cannot write standard output");
        return ctl::statusTrouble;
    }
    return status;
}
