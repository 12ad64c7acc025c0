#pragma once

#include <atomic>
#include <memory>

/// What the main thread replaces while the audio thread uses it. The main thread makes and frees all values.
template <class Value>
class Handover {
public:
    explicit Handover(std::unique_ptr<Value> first) : current(first.release()) {}
    ~Handover() {
        delete current;
        delete given.load();
        delete former.load();
    }
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;

    /// The audio thread's from its next `take` on. Main thread.
    void give(std::unique_ptr<Value> value) {
        const std::unique_ptr<Value> untaken(given.exchange(value.release()));
        const std::unique_ptr<Value> unused(former.exchange(nullptr));
    }

    /// Takes what was given last, if there is something new. Audio thread.
    bool take() noexcept {
        // The main thread has to free that one first.
        if (former.load(std::memory_order_acquire) != nullptr)
            return false;
        Value* const next = given.exchange(nullptr);
        if (next == nullptr)
            return false;
        former = current;
        current = next;
        return true;
    }
    /// Audio thread.
    [[nodiscard]] Value& get() const noexcept { return *current; }

private:
    Value* current;
    std::atomic<Value*> given = nullptr;
    std::atomic<Value*> former = nullptr;
};
