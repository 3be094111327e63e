// The daemon's life: undisturbed, with failures, and long.

#include "tests/life/life.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>

namespace {

// Throws for words that are none of the program's.
bool live(const std::vector<std::string>& words) {
    std::map<std::string, double> options = {
        {"--panel", 64}, {"--days", 30}, {"--events", 1e6}, {"--seed", 1}, {"--full", 0}};
    for (std::size_t i = 2; i < words.size(); ++i) {
        double& value = options.at(words[i]);
        value = words[i] == "--full" ? 1 : std::stod(words.at(++i));
    }
    if (words.at(1) == "soak") {
        return soak(options["--days"], static_cast<std::uint64_t>(options["--events"]),
                    static_cast<std::uint32_t>(options["--seed"]));
    }
    const std::map<std::string, Extent> extents = {
        {"walk", Extent::None}, {"sweep", options["--full"] != 0 ? Extent::Full : Extent::Chosen}};
    return sweep(sim::panelOf(static_cast<int>(options["--panel"])), extents.at(words[1]));
}

} // namespace

int main(int count, char** words) {
    unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe): there is one thread yet
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        return live({words, words + count}) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::logic_error&) {
        std::fputs("usage: life walk|sweep|soak [--panel LINES] [--full, of a sweep] "
                   "[--days N --events N --seed N, of a soak]\n",
                   stderr);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "life: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
