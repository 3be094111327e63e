// The simulated gateway as a program: one gateway with the unmodified daemon on it, which answers
// the requests of docs/gateway.md.

#include "picture/bitmap.h"
#include "sim/facts.h"
#include "sim/panel_process.h"
#include "sim/places.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>
#include <utility>

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
    int panel = 64;
    bool live = false;
    std::string paneld;
};

Arguments argumentsOf(std::span<char*> texts) {
    Arguments arguments;
    for (std::size_t i = 1; i < texts.size(); ++i) {
        const std::string word = texts[i];
        const bool followed = i + 1 < texts.size();
        if (word == "--live") {
            arguments.live = true;
        } else if (word == "--panel" && followed) {
            arguments.panel = std::stoi(texts[++i]);
        } else if (word == "--paneld" && followed) {
            arguments.paneld = texts[++i];
        } else {
            throw std::invalid_argument("expected --panel LINES, --live or --paneld FILE, not " +
                                        word);
        }
    }
    return arguments;
}

// --- Bytes ---

// Bytes travel as text of which each character, U+0000 to U+00FF, is one.
std::string textOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80) {
            text += static_cast<char>(0xc0 | byte >> 6);
        }
        text += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3f));
    }
    return text;
}

std::string bytesOf(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead > 0xc3) {
            throw std::invalid_argument("a character beyond U+00FF is no byte");
        }
        bytes += static_cast<char>(lead < 0x80 ? lead : lead << 6 | (text[++i] & 0x3f));
    }
    return bytes;
}

const std::string& checkedPath(const std::string& path) {
    if (path.empty() || path[0] != '/' || path.find("/..") != std::string::npos) {
        throw std::invalid_argument("not a path from the root: " + path);
    }
    return path;
}

// --- The gateway ---

// Set once the gateway has been asked to end by a signal.
volatile std::sig_atomic_t ending = 0;

class Server {
  public:
    explicit Server(const Arguments& arguments);

    Gateway& gateway() { return gateway_; }
    PanelProcess& process() { return *process_; }

    // Ends the daemon if it runs. An input device keeps nothing for a reader that comes later.
    void start() {
        stop();
        gateway_.dropEvents();
        process_ = std::make_unique<PanelProcess>(gateway_, paneld_, interposer_);
        pass(0);
    }

    void setPanel(int lines) {
        const Panel panel = panelOf(lines);
        stop();
        gateway_.setPanel(panel);
        start();
    }

    void pass(double seconds);
    json said();
    json asked();

    json environment() const {
        return {{gatewayVariable, gateway_.folder()}, {"LD_PRELOAD", interposer_}};
    }

  private:
    void stop() {
        if (process_) {
            collect();
            process_.reset();
        }
    }

    void collect() {
        output_ += process_->output();
        errors_ += process_->errors();
        process_->clearOutput();
        sentToModem_ += gateway_.sentToModem();
        gateway_.clearTranscript();
    }

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
    const std::string zoneFile(pathOf(Path::Zone));
    std::ifstream zone(zoneFile, std::ios::binary);
    gateway.setClockMode(ClockMode::Real);
    gateway.control().clock.offsets[CLOCK_REALTIME] = 0;
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
    if (live_) {
        process_->settle();
    }
}

json Server::said() {
    collect();
    return {textOf(std::exchange(output_, {})), textOf(std::exchange(errors_, {}))};
}

// Whole commands; the begun one waits for its end.
json Server::asked() {
    collect();
    json commands = json::array();
    for (std::size_t end = 0; (end = sentToModem_.find('\n')) != std::string::npos;) {
        std::string line = sentToModem_.substr(0, end);
        sentToModem_.erase(0, end + 1);
        std::erase(line, '\r');
        if (!line.empty()) {
            commands.push_back(textOf(line));
        }
    }
    return commands;
}

// --- Verbs ---

json pictureOf(const Gateway& gateway) {
    const Panel panel = gateway.panel();
    std::istringstream rows(picture::toText(picture::Bitmap::fromVideoMemory(
        gateway.picture(), static_cast<int>(panel.width), static_cast<int>(panel.height))));
    json answer = json::array();
    for (std::string row; std::getline(rows, row);) {
        answer.push_back(row);
    }
    return answer;
}

json brightnessOf(const Gateway& gateway) {
    const std::optional<std::string> level = gateway.brightness();
    return level ? json(std::stoi(*level)) : json();
}

json callsOf(const Gateway& gateway) {
    json answer = json::object();
    for (std::size_t call = 0; call < callCount; ++call) {
        const auto callId = static_cast<Call>(call);
        json& counts = answer[name(callId)] = json::object();
        for (std::size_t path = 0; path < pathCount; ++path) {
            const auto pathId = static_cast<Path>(path);
            if (const std::uint64_t count = gateway.calls(callId, pathId); count > 0) {
                counts[name(pathId)] = count;
            }
        }
    }
    return answer;
}

void setClock(Gateway& gateway, double moment) {
    const double whole = std::floor(moment);
    gateway.setWallClock(static_cast<std::time_t>(whole),
                         std::chrono::nanoseconds(std::llround((moment - whole) * nanoseconds)));
}

void reportKey(Gateway& gateway, int code, int value) {
    if (code < 0 || code >= KEY_CNT) {
        throw std::invalid_argument("no key " + std::to_string(code));
    }
    gateway.reportKey(static_cast<std::uint16_t>(code), value);
}

void removeFile(Gateway& gateway, const std::string& path) {
    if (!gateway.exists(checkedPath(path))) {
        throw std::invalid_argument("no file " + path);
    }
    gateway.removeFile(path);
}

void sendSignal(PanelProcess& process, int number) {
    process.signal(number);
    process.waitExit(200ms); // the kernel's own time to end it
}

void failNext(Gateway& gateway, const std::string& callName, int error) {
    gateway.clearFaults();
    for (std::size_t call = 0; call < callCount; ++call) {
        if (callName == name(static_cast<Call>(call))) {
            gateway.failCall(static_cast<Call>(call), error);
            return;
        }
    }
    throw std::invalid_argument("no call " + callName);
}

json endNormally(PanelProcess& process) {
    const std::optional<int> status = process.exitNormally();
    if (!status) {
        throw std::runtime_error("the daemon does not end");
    }
    return *status;
}

json endOf(PanelProcess& process) {
    if (process.running()) {
        return {};
    }
    const int status = *process.status();
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

double seconds(std::chrono::nanoseconds time) {
    return static_cast<double>(time.count()) / nanoseconds;
}

struct Verb {
    const char* name;
    std::size_t argumentCount;
    std::function<json(Server& server, const json& arguments)> answer;
};

// `act` may answer nothing.
template <typename Act>
Verb verb(const char* name, std::size_t argumentCount, Act act) {
    return {name, argumentCount, [act](Server& server, const json& arguments) -> json {
                if constexpr (std::is_void_v<decltype(act(server, arguments))>) {
                    act(server, arguments);
                    return {};
                } else {
                    return act(server, arguments);
                }
            }};
}

const Verb verbs[] = {
    verb("picture", 0, [](Server& to, const json&) { return pictureOf(to.gateway()); }),
    verb("brightness", 0, [](Server& to, const json&) { return brightnessOf(to.gateway()); }),
    verb("said", 0, [](Server& to, const json&) { return to.said(); }),
    verb("asked", 0, [](Server& to, const json&) { return to.asked(); }),
    verb("now", 0,
         [](Server& to, const json&) {
             return json{seconds(to.gateway().wallClock()), seconds(to.gateway().monotonic())};
         }),
    verb("daemon", 0,
         [](Server& to, const json&) { return to.process().running() ? to.process().pid() : 0; }),
    verb("ended", 0, [](Server& to, const json&) { return endOf(to.process()); }),
    verb("waiting", 0, [](Server& to, const json&) { return to.gateway().logLinesWaiting(); }),
    verb("reboots", 0, [](Server& to, const json&) { return to.gateway().popenCount(); }),
    verb("facts", 0, [](Server& to, const json&) { return factsOf(to.gateway()); }),
    verb("key", 2, [](Server& to, const json& with) { reportKey(to.gateway(), with[0], with[1]); }),
    verb("pass", 1, [](Server& to, const json& with) { to.pass(with[0]); }),
    verb("clock", 1, [](Server& to, const json& with) { setClock(to.gateway(), with[0]); }),
    verb("write", 2,
         [](Server& to, const json& with) {
             to.gateway().writeFile(checkedPath(with[0]), bytesOf(with[1]));
         }),
    verb("remove", 1, [](Server& to, const json& with) { removeFile(to.gateway(), with[0]); }),
    verb("address", 2,
         [](Server& to, const json& with) { setAddress(to.gateway(), with[0], with[1]); }),
    verb("cable", 2,
         [](Server& to, const json& with) { setCable(to.gateway(), with[0], with[1]); }),
    verb("card", 1, [](Server& to, const json& with) { setCard(to.gateway(), with[0]); }),
    verb("mount", 1, [](Server& to, const json& with) { setMount(to.gateway(), with[0]); }),
    verb("modem", 1, [](Server& to, const json& with) { return setModem(to.gateway(), with[0]); }),
    verb("post", 2,
         [](Server& to, const json& with) {
             return to.gateway().sendLogBytes(bytesOf(with[0]), with[1]);
         }),
    verb("signal", 1, [](Server& to, const json& with) { sendSignal(to.process(), with[0]); }),
    verb("restart", 0, [](Server& to, const json&) { to.start(); }),
    verb("panel", 1, [](Server& to, const json& with) { to.setPanel(with[0]); }),
    verb("calls", 0, [](Server& to, const json&) { return callsOf(to.gateway()); }),
    verb("fail", 2, [](Server& to, const json& with) { failNext(to.gateway(), with[0], with[1]); }),
    verb("queue", 1,
         [](Server& to, const json& with) {
             to.gateway().limitQueue(with[0].is_null() ? std::nullopt
                                                       : std::optional<std::size_t>(with[0]));
         }),
    verb("fill", 1, [](Server& to, const json& with) { to.gateway().fillPicture(with[0]); }),
    verb("exit", 0, [](Server& to, const json&) { return endNormally(to.process()); }),
    verb("environment", 0, [](Server& to, const json&) { return to.environment(); }),
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
    try {
        const auto arguments =
            sim::argumentsOf({argumentTexts, static_cast<std::size_t>(argumentCount)});
        for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) {
            struct sigaction action {};
            action.sa_handler = sim::endRequests;
            sigaction(number, &action, nullptr);
        }
        sim::Server server(arguments);
        sim::serve(server);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "simulated gateway: %s\n", error.what());
        return 1;
    }
    return 0;
}
