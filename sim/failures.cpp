// The preloaded object panel_failures.so: stands before calls that the gateway's stand-in leaves
// alone, for they need no gateway: memory and reads. They count in the control
// block, and fail by its plan, from the beginning of main on. Allocates nothing itself.

#include "sim/control.h"
#include "sim/next_call.h"

#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

// libc's own names for its allocator: looking the next one up would allocate.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(readability-identifier-naming)

namespace {

using sim::Call, sim::callNext;
using Main = int (*)(int, char**, char**);

constinit std::atomic<bool> mainRuns{false};
constinit Main daemonMain = nullptr;

// What the dynamic linker and the libraries' constructors ask for is over by now.
int runMain(int count, char** arguments, char** environment) {
    mainRuns = true;
    return daemonMain(count, arguments, environment);
}

// Whether the call has to fail; sets errno then.
bool refused(Call call, std::size_t size = 0) {
    return mainRuns && panel_gateway_fails != nullptr && panel_gateway_fails(call, size);
}

} // namespace

// NOLINTBEGIN(readability-identifier-naming, readability-inconsistent-declaration-parameter-name):
// names of libc

INTERPOSED int __libc_start_main(Main main, int count, char** arguments, void (*init)(),
                                 void (*fini)(), void (*linkerFini)(), void* stackEnd) {
    daemonMain = main;
    return callNext<"__libc_start_main">(&runMain, count, arguments, init, fini, linkerFini,
                                         stackEnd);
}

INTERPOSED void* malloc(std::size_t size) noexcept {
    return refused(Call::Malloc, size) ? nullptr : __libc_malloc(size);
}

INTERPOSED void* calloc(std::size_t count, std::size_t size) noexcept {
    return refused(Call::Malloc, count * size) ? nullptr : __libc_calloc(count, size);
}

INTERPOSED void* realloc(void* memory, std::size_t size) noexcept {
    return refused(Call::Malloc, size) ? nullptr : __libc_realloc(memory, size);
}

INTERPOSED ssize_t read(int descriptor, void* bytes, std::size_t size) {
    return refused(Call::Read) ? -1 : callNext<"read", ssize_t>(descriptor, bytes, size);
}

// NOLINTEND(readability-identifier-naming, readability-inconsistent-declaration-parameter-name)
