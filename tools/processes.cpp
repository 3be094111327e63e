#include "tools/processes.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using ctl::Process;

std::string nameOf(const fs::path& folder) {
    std::string name;
    std::getline(std::ifstream(folder / "comm"), name);
    return name;
}

bool holds(const fs::path& folder, const fs::path& file) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder / "fd", error)) {
        if (fs::read_symlink(entry.path(), error) == file) {
            return true;
        }
    }
    return false;
}

// Processes come and go meanwhile: whatever cannot be read is passed over.
std::vector<Process> processesThat(const std::function<bool(const fs::path&)>& match) {
    std::vector<Process> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
        const std::string number = entry.path().filename();
        pid_t id = 0;
        const auto [end, failure] =
            std::from_chars(number.data(), number.data() + number.size(), id);
        if (failure == std::errc{} && end == number.data() + number.size() && id != getpid() &&
            match(entry.path())) {
            found.push_back({id, nameOf(entry.path())});
        }
    }
    return found;
}

} // namespace

std::vector<Process> ctl::processesNamed(std::string_view name) {
    return processesThat([&](const fs::path& folder) { return nameOf(folder) == name; });
}

std::vector<Process> ctl::processesHolding(const std::string& path) {
    return processesThat([&](const fs::path& folder) { return holds(folder, path); });
}
