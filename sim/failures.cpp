// The preloaded object panel_failures.so: stands before calls that the gateway's stand-in leaves
// alone, for they need no gateway: memory, reads and thread attributes. They count in the control
// block, and fail by its plan, from the beginning of main on. Allocates nothing itself.

#include "sim/control.h"
#include "sim/next_call.h"

#include <cerrno>
#include <pthread.h>
#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

// libc's own names for its allocator: looking the next one up would allocate.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);

namespace {

using sim::Call;
using Main = int (*)(int, char**, char**);

constinit std::atomic<bool> mainRuns{false};
constinit Main daemonMain = nullptr;

constinit sim::NextCall<ssize_t(int, void*, std::size_t)> nextRead{"read"};
constinit sim::NextCall<int(pthread_attr_t*)> nextAttrInit{"pthread_attr_init"};
constinit sim::NextCall<int(pthread_attr_t*, int)> nextSetDetachState{
    "pthread_attr_setdetachstate"};
constinit sim::NextCall<int(pthread_attr_t*, std::size_t)> nextSetStackSize{
    "pthread_attr_setstacksize"};
constinit sim::NextCall<int(Main, int, char**, void (*)(), void (*)(), void (*)(), void*)>
    nextStart{"__libc_start_main"};

// The errno with which the call has to fail, or 0.
int plannedError(Call call, std::size_t size = 0) {
    return mainRuns && panel_gateway_count != nullptr ? panel_gateway_count(call, size) : 0;
}

// What the dynamic linker and the libraries' constructors ask for is over by now.
int runMain(int count, char** arguments, char** environment) {
    mainRuns = true;
    return daemonMain(count, arguments, environment);
}

bool refused(std::size_t size) {
    const int error = plannedError(Call::Malloc, size);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

} // namespace

INTERPOSED int __libc_start_main(Main main, int count, char** arguments, void (*init)(),
                                 void (*fini)(), void (*linkerFini)(), void* stackEnd) {
    daemonMain = main;
    return nextStart(runMain, count, arguments, init, fini, linkerFini, stackEnd);
}

INTERPOSED void* malloc(std::size_t size) noexcept {
    return refused(size) ? nullptr : __libc_malloc(size);
}

INTERPOSED void* calloc(std::size_t count, std::size_t size) noexcept {
    return refused(count * size) ? nullptr : __libc_calloc(count, size);
}

INTERPOSED void* realloc(void* memory, std::size_t size) noexcept {
    return refused(size) ? nullptr : __libc_realloc(memory, size);
}

INTERPOSED ssize_t read(int descriptor, void* bytes, std::size_t size) {
    if (const int error = plannedError(Call::Read)) {
        errno = error;
        return -1;
    }
    return nextRead(descriptor, bytes, size);
}

// The attribute calls return their error.
INTERPOSED int pthread_attr_init(pthread_attr_t* attributes) noexcept {
    const int error = plannedError(Call::AttrInit);
    return error != 0 ? error : nextAttrInit(attributes);
}

INTERPOSED int pthread_attr_setdetachstate(pthread_attr_t* attributes, int state) noexcept {
    const int error = plannedError(Call::AttrSetDetachState);
    return error != 0 ? error : nextSetDetachState(attributes, state);
}

INTERPOSED int pthread_attr_setstacksize(pthread_attr_t* attributes, std::size_t size) noexcept {
    const int error = plannedError(Call::AttrSetStackSize);
    return error != 0 ? error : nextSetStackSize(attributes, size);
}
