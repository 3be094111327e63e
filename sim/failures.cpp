// The preloaded object panel_failures.so: see sim/failures.h. Allocates nothing itself.

#include "sim/failures.h"
#include "sim/next_call.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

// libc's own names for its allocator: looking the next one up would allocate.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);

namespace {

using Main = int (*)(int, char**, char**);

constinit std::atomic<sim::LibraryFailures*> failures{nullptr};
constinit Main daemonMain = nullptr;

constinit sim::NextCall<ssize_t(int, void*, std::size_t)> nextRead{"read"};
constinit sim::NextCall<int(Main, int, char**, void (*)(), void (*)(), void (*)(), void*)>
    nextStart{"__libc_start_main"};

// Children of the daemon inherit the preloaded object but do not count.
void bind() {
    const char* sandbox = std::getenv("PANELD_GATEWAY");
    if (sandbox == nullptr) {
        return;
    }
    std::array<char, 512> file{};
    std::snprintf(file.data(), file.size(), "%s/%s", sandbox, sim::failuresFileName);
    const auto descriptor =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, file.data(), O_RDWR | O_CLOEXEC, 0));
    if (descriptor < 0) {
        return;
    }
    void* memory = mmap(nullptr, sizeof(sim::LibraryFailures), PROT_READ | PROT_WRITE, MAP_SHARED,
                        descriptor, 0);
    syscall(SYS_close, descriptor);
    if (memory == MAP_FAILED) {
        return;
    }
    auto* plan = static_cast<sim::LibraryFailures*>(memory);
    std::int32_t nobody = 0;
    if (plan->owner.compare_exchange_strong(nobody, getpid())) {
        failures = plan;
    }
}

// Counts a call and returns the errno with which it has to fail, or 0.
int plannedError(sim::LibraryCall call, std::size_t size = 0) {
    sim::LibraryFailures* plan = failures;
    if (plan == nullptr || plan->owner != getpid()) {
        return 0;
    }
    const std::uint64_t seen = ++plan->seen[static_cast<std::size_t>(call)];
    if (plan->armed == 0 || plan->call != call ||
        (seen != plan->nth && (plan->persistent == 0 || seen < plan->nth))) {
        return 0;
    }
    ++plan->hits;
    if (size != 0 && (size == plan->watchedSizes[0] || size == plan->watchedSizes[1])) {
        plan->watchedHit = 1;
    }
    return plan->error;
}

// What the dynamic linker and the libraries' constructors ask for is over by now.
int bindAndRunMain(int count, char** arguments, char** environment) {
    bind();
    return daemonMain(count, arguments, environment);
}

void* failedAllocation(int error) {
    errno = error;
    return nullptr;
}

} // namespace

INTERPOSED int __libc_start_main(Main main, int count, char** arguments, void (*init)(),
                                 void (*fini)(), void (*linkerFini)(), void* stackEnd) {
    daemonMain = main;
    return nextStart(bindAndRunMain, count, arguments, init, fini, linkerFini, stackEnd);
}

INTERPOSED void* malloc(std::size_t size) noexcept {
    const int error = plannedError(sim::LibraryCall::Malloc, size);
    return error != 0 ? failedAllocation(error) : __libc_malloc(size);
}

INTERPOSED void* calloc(std::size_t count, std::size_t size) noexcept {
    const int error = plannedError(sim::LibraryCall::Malloc, count * size);
    return error != 0 ? failedAllocation(error) : __libc_calloc(count, size);
}

INTERPOSED void* realloc(void* memory, std::size_t size) noexcept {
    const int error = plannedError(sim::LibraryCall::Malloc, size);
    return error != 0 ? failedAllocation(error) : __libc_realloc(memory, size);
}

INTERPOSED ssize_t read(int descriptor, void* bytes, std::size_t size) {
    const int error = plannedError(sim::LibraryCall::Read);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return nextRead(descriptor, bytes, size);
}
