// The simulated gateway as a program: one gateway with the unmodified daemon on it, which answers
// the requests of docs/gateway.md.

#include "picture/bitmap.h"
#include "sim/facts.h"
#include "sim/panel_process.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace sim {

namespace {

using nlohmann::json;
using namespace std::chrono_literals;

constexpr double nanoseconds = 1e9; // in a second
constexpr double longestPass = 1e9; // seconds
// Time passes in steps: the modem's conversation is collected, and a wish to end is heard.
constexpr std::chrono::seconds virtualStep{60};
constexpr std::chrono::seconds liveStep{1};

struct Arguments {
    std::uint32_t panel = 64;
    bool live = false;
    std::string paneld;
};

// --- Bytes ---

// Bytes travel as text of which each character, U+0000 to U+00FF, is one.
std::string textOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xc0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3f));
        }
    }
    return text;
}

std::string bytesOf(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto byte = static_cast<unsigned char>(text[i]);
        if (byte > 0xc3) {
            throw std::invalid_argument("a character beyond U+00FF is no byte");
        }
        if (byte >= 0x80) {
            ++i;
            byte = static_cast<unsigned char>(byte << 6 | (text[i] & 0x3f));
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::string pathOf(const json& argument) {
    const auto path = argument.get<std::string>();
    if (path.empty() || path[0] != '/' || path.find("/..") != std::string::npos) {
        throw std::invalid_argument("not a path from the root: " + path);
    }
    return path;
}

Panel panelOf(const json& lines) {
    if (lines != 64 && lines != 32) {
        throw std::invalid_argument("no panel of " + lines.dump() + " lines");
    }
    return lines == 64 ? panel64 : panel32;
}

// --- The gateway ---

class Server {
  public:
    explicit Server(const Arguments& arguments);

    void start();
    void pass(double seconds);
    json said();
    json asked();
    json picture() const;
    json brightness() const;
    json calls() const;
    void setClock(double moment);
    void remove(const std::string& path);
    void signal(int number);
    json exit();
    void setPanel(Panel panel);
    json environment() const;

    Gateway& gateway() { return gateway_; }
    PanelProcess& process() { return *process_; }

  private:
    void collect();

    Gateway gateway_;
    bool live_;
    std::string paneld_;
    std::string interposer_;
    std::unique_ptr<PanelProcess> process_;
    std::string output_; // what was written and has not been asked for
    std::string errors_;
    std::string sentToModem_;
};

// The machine's own hour on the panel.
void takeMachineTime(Gateway& gateway) {
    std::ifstream zone(zoneFile, std::ios::binary);
    gateway.setClockMode(ClockMode::Real);
    gateway.control().clock.wallOffset = 0;
    if (zone) {
        gateway.writeFile(zoneFile, std::string(std::istreambuf_iterator<char>(zone), {}));
    }
}

Server::Server(const Arguments& arguments)
    : gateway_(panelOf(arguments.panel)), live_(arguments.live) {
    // The build folder is laid out the same wherever it is.
    const auto build = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    paneld_ =
        arguments.paneld.empty() ? build / "paneld" : std::filesystem::absolute(arguments.paneld);
    interposer_ = build / "panel_gateway.so";
    if (live_) {
        takeMachineTime(gateway_);
    }
    start();
}

// Ends the daemon if it runs. An input device keeps nothing for a reader that comes later.
void Server::start() {
    if (process_) {
        collect();
        process_.reset();
    }
    gateway_.dropEvents();
    process_ = std::make_unique<PanelProcess>(gateway_, paneld_, interposer_);
    pass(0);
}

void Server::collect() {
    output_ += process_->output();
    errors_ += process_->errors();
    process_->clearOutput();
    sentToModem_ += gateway_.sentToModem();
    gateway_.clearTranscript();
}

// Set once the gateway has been asked to end by a signal.
volatile std::sig_atomic_t ending = 0;

void Server::pass(double seconds) {
    if (!(seconds >= 0 && seconds <= longestPass)) {
        throw std::invalid_argument("time goes forward, at most " + std::to_string(longestPass) +
                                    " seconds");
    }
    const std::chrono::nanoseconds step = live_ ? liveStep : virtualStep;
    std::chrono::nanoseconds rest{std::llround(seconds * nanoseconds)};
    do {
        const auto start = gateway_.monotonic();
        if (process_->advance(std::min(step, rest)) == PanelProcess::Wait::Stuck) {
            throw std::runtime_error("the daemon does not come to rest");
        }
        collect();
        rest -= gateway_.monotonic() - start;
    } while (rest > 0ns && ending == 0);
}

json Server::said() {
    collect();
    json answer = {textOf(output_), textOf(errors_)};
    output_.clear();
    errors_.clear();
    return answer;
}

// Whole commands; the begun one waits for its end.
json Server::asked() {
    collect();
    json commands = json::array();
    for (std::size_t end = 0; (end = sentToModem_.find('\n')) != std::string::npos;) {
        std::string line = sentToModem_.substr(0, end);
        sentToModem_.erase(0, end + 1);
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        if (!line.empty()) {
            commands.push_back(textOf(line));
        }
    }
    return commands;
}

json Server::picture() const {
    const Panel panel = gateway_.panel();
    std::istringstream rows(picture::toText(picture::Bitmap::fromVideoMemory(
        gateway_.picture(), static_cast<int>(panel.width), static_cast<int>(panel.height))));
    json answer = json::array();
    for (std::string row; std::getline(rows, row);) {
        answer.push_back(row);
    }
    return answer;
}

json Server::brightness() const {
    const std::optional<std::string> level = gateway_.brightness();
    return level ? json(std::stoi(*level)) : json();
}

json Server::calls() const {
    json answer = json::object();
    for (std::size_t call = 0; call < callCount; ++call) {
        for (std::size_t path = 0; path < pathCount; ++path) {
            const auto callId = static_cast<Call>(call);
            const auto pathId = static_cast<Path>(path);
            if (const std::uint64_t count = gateway_.calls(callId, pathId); count > 0) {
                answer[name(callId)][name(pathId)] = count;
            }
        }
    }
    return answer;
}

void Server::setClock(double moment) {
    const double whole = std::floor(moment);
    gateway_.setWallClock(static_cast<std::time_t>(whole),
                          std::chrono::nanoseconds(std::llround((moment - whole) * nanoseconds)));
}

void Server::remove(const std::string& path) {
    if (!gateway_.exists(path)) {
        throw std::invalid_argument("no file " + path);
    }
    gateway_.removeFile(path);
}

void Server::signal(int number) {
    process_->signal(number);
    process_->waitExit(200ms); // the kernel's own time to end it
}

json Server::exit() {
    const std::optional<int> status = process_->exitNormally();
    if (!status) {
        throw std::runtime_error("the daemon does not end");
    }
    return *status;
}

void Server::setPanel(Panel panel) {
    collect();
    process_.reset();
    gateway_.setPanel(panel);
    start();
}

json Server::environment() const {
    return {{gatewayVariable, gateway_.folder()}, {"LD_PRELOAD", interposer_}};
}

// --- Verbs ---

struct Verb {
    const char* name;
    std::size_t argumentCount;
    json (*answer)(Server& server, const json& arguments);
};

double seconds(std::chrono::nanoseconds time) {
    return static_cast<double>(time.count()) / nanoseconds;
}

const Verb verbs[] = {
    {"picture", 0, [](Server& server, const json&) { return server.picture(); }},
    {"brightness", 0, [](Server& server, const json&) { return server.brightness(); }},
    {"said", 0, [](Server& server, const json&) { return server.said(); }},
    {"asked", 0, [](Server& server, const json&) { return server.asked(); }},
    {"now", 0,
     [](Server& server, const json&) -> json {
         return {seconds(server.gateway().wallClock()), seconds(server.gateway().monotonic())};
     }},
    {"daemon", 0,
     [](Server& server, const json&) -> json {
         return server.process().running() ? server.process().pid() : 0;
     }},
    {"reboots", 0,
     [](Server& server, const json&) -> json { return server.gateway().popenCount(); }},
    {"facts", 0, [](Server& server, const json&) { return factsOf(server.gateway()); }},
    {"key", 2,
     [](Server& server, const json& arguments) -> json {
         const auto code = arguments[0].get<std::uint16_t>();
         if (arguments[0] != code || code >= KEY_CNT) {
             throw std::invalid_argument("no key " + arguments[0].dump());
         }
         server.gateway().reportKey(code, arguments[1].get<std::int32_t>());
         return {};
     }},
    {"pass", 1,
     [](Server& server, const json& arguments) -> json {
         server.pass(arguments[0].get<double>());
         return {};
     }},
    {"clock", 1,
     [](Server& server, const json& arguments) -> json {
         server.setClock(arguments[0].get<double>());
         return {};
     }},
    {"write", 2,
     [](Server& server, const json& arguments) -> json {
         server.gateway().writeFile(pathOf(arguments[0]), bytesOf(arguments[1]));
         return {};
     }},
    {"remove", 1,
     [](Server& server, const json& arguments) -> json {
         server.remove(pathOf(arguments[0]));
         return {};
     }},
    {"address", 2,
     [](Server& server, const json& arguments) -> json {
         setAddress(server.gateway(), arguments[0], arguments[1]);
         return {};
     }},
    {"cable", 2,
     [](Server& server, const json& arguments) -> json {
         setCable(server.gateway(), arguments[0], arguments[1]);
         return {};
     }},
    {"card", 1,
     [](Server& server, const json& arguments) -> json {
         setCard(server.gateway(), arguments[0]);
         return {};
     }},
    {"mount", 1,
     [](Server& server, const json& arguments) -> json {
         setMount(server.gateway(), arguments[0]);
         return {};
     }},
    {"modem", 1,
     [](Server& server, const json& arguments) -> json {
         setModem(server.gateway(), arguments[0]);
         return factsOf(server.gateway())["modem"];
     }},
    {"post", 2,
     [](Server& server, const json& arguments) -> json {
         return server.gateway().sendLogBytes(bytesOf(arguments[0]), arguments[1].get<long>());
     }},
    {"signal", 1,
     [](Server& server, const json& arguments) -> json {
         server.signal(arguments[0].get<int>());
         return {};
     }},
    {"restart", 0,
     [](Server& server, const json&) -> json {
         server.start();
         return {};
     }},
    {"panel", 1,
     [](Server& server, const json& arguments) -> json {
         server.setPanel(panelOf(arguments[0]));
         return {};
     }},
    {"calls", 0, [](Server& server, const json&) { return server.calls(); }},
    {"fill", 1,
     [](Server& server, const json& arguments) -> json {
         server.gateway().fillPicture(arguments[0].get<std::uint8_t>());
         return {};
     }},
    {"exit", 0, [](Server& server, const json&) { return server.exit(); }},
    {"environment", 0, [](Server& server, const json&) { return server.environment(); }},
};

json answer(Server& server, const std::string& line) {
    json request = json::parse(line);
    const auto verbName = request.at(0).get<std::string>();
    const auto* verb = std::find_if(std::begin(verbs), std::end(verbs),
                                    [&](const Verb& row) { return verbName == row.name; });
    if (verb == std::end(verbs)) {
        throw std::invalid_argument("no verb " + verbName);
    }
    request.erase(0);
    if (request.size() != verb->argumentCount) {
        throw std::invalid_argument(verbName + " takes " + std::to_string(verb->argumentCount) +
                                    " arguments");
    }
    return verb->answer(server, request);
}

void serve(Server& server) {
    for (std::string line; ending == 0 && std::getline(std::cin, line);) {
        json reply;
        try {
            reply["answer"] = answer(server, line);
        } catch (const std::exception& error) {
            reply = {{"error", error.what()}};
        }
        std::cout << reply.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
    }
}

// The next reading of a request finds the end of them, so that all is taken down in order.
void endRequests(int /*number*/) {
    ending = 1;
    close(STDIN_FILENO);
}

} // namespace

} // namespace sim

int main(int argumentCount, char** argumentTexts) {
    CLI::App app("A simulated gateway with paneld on it; answers the requests of docs/gateway.md.");
    sim::Arguments arguments;
    app.add_option("--panel", arguments.panel, "lines of the panel: 64 or 32");
    app.add_flag("--live", arguments.live, "real time; else time stands still between requests");
    app.add_option("--paneld", arguments.paneld, "the daemon; else that of the same build");
    CLI11_PARSE(app, argumentCount, argumentTexts);
    for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) {
        struct sigaction action {};
        action.sa_handler = sim::endRequests;
        sigaction(number, &action, nullptr);
    }
    try {
        sim::Server server(arguments);
        sim::serve(server);
    } catch (const std::exception& error) {
        std::cerr << "simulated gateway: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
