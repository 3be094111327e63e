#pragma once

// How the interposer reaches the function that it stands before, in libc or in a sanitizer's
// runtime. Looked up at the first use, because calls arrive before any constructor has run.

#include <atomic>
#include <dlfcn.h>

namespace sim {

class NextSymbol {
  public:
    explicit constexpr NextSymbol(const char* symbol) : symbolName_(symbol) {}

    void* find() {
        void* found = address_.load(std::memory_order_acquire);
        if (found == nullptr) {
            found = dlsym(RTLD_NEXT, symbolName_);
            address_.store(found, std::memory_order_release);
        }
        return found;
    }

  private:
    const char* symbolName_;
    std::atomic<void*> address_{nullptr};
};

// `constinit NextCall<int(const char*, int)> nextAccess{"access"};` is called like the function.
template <typename Signature>
class NextCall : NextSymbol {
  public:
    using NextSymbol::NextSymbol;

    template <typename... Arguments>
    auto operator()(Arguments... arguments) {
        return reinterpret_cast<Signature*>(find())(arguments...);
    }
};

} // namespace sim
