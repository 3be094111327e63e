#pragma once

// How the interposer reaches the function that it stands before, in libc or in a sanitizer's
// runtime. Looked up at the first use, because calls arrive before any constructor has run.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <dlfcn.h>

namespace sim {

template <std::size_t size>
struct Symbol {
    constexpr Symbol(const char (&text)[size]) { std::copy_n(text, size, name); } // NOLINT
    char name[size];
};

// `callNext<"access">(path, mode)`; the arguments have exactly the types of the function's own.
template <Symbol symbol, typename Result = int, typename... Arguments>
Result callNext(Arguments... arguments) {
    static constinit std::atomic<void*> address{nullptr};
    void* found = address.load(std::memory_order_acquire);
    if (found == nullptr) {
        found = dlsym(RTLD_NEXT, symbol.name);
        address.store(found, std::memory_order_release);
    }
    return reinterpret_cast<Result (*)(Arguments...)>(found)(arguments...);
}

} // namespace sim
