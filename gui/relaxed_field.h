#pragma once
// A field that one thread may read while the lock holder writes it.
// Two fields of the drawing context (font and text alignment) are read before the library lock is
// taken, although every write happens under it. Such a field carries no order, only a whole value,
// and stays copyable, so that contexts are saved and restored by plain assignment.

#include <atomic>

template <typename T>
class RelaxedField {
  public:
    constexpr RelaxedField(T value = T{}) : value_(value) {}
    RelaxedField(const RelaxedField& other) : value_(other.load()) {}
    ~RelaxedField() = default;

    RelaxedField& operator=(const RelaxedField& other) {
        value_.store(other.load(), std::memory_order_relaxed);
        return *this;
    }
    RelaxedField& operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return *this;
    }

    operator T() const { return load(); }
    T operator->() const { return load(); }

  private:
    T load() const { return value_.load(std::memory_order_relaxed); }

    static_assert(std::atomic<T>::is_always_lock_free);

    std::atomic<T> value_;
};
