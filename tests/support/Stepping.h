#pragma once

#include <csignal>
#include <functional>
#include <ucontext.h>
#include <utility>
#include <x86intrin.h>

namespace test_support {

/// Calls a function after a number of instructions of the code that `run` is given, on the same thread. Not
/// beside ThreadSanitizer, which makes calls into its runtime of what is stepped through: these can't be
/// entered again in between.
class Stepping {
public:
    explicit Stepping(std::function<void()> interruption) : interruption(std::move(interruption)) {
        struct sigaction action {};
        action.sa_sigaction = onTrap;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGTRAP, &action, &former);
        current = this;
    }
    ~Stepping() {
        current = nullptr;
        sigaction(SIGTRAP, &former, nullptr);
    }
    Stepping(const Stepping&) = delete;
    Stepping& operator=(const Stepping&) = delete;

    /// False if `code` came to its end before.
    template <class Code>
    bool run(int instructions, Code code) {
        left = instructions;
        interrupted = false;
        __writeeflags(__readeflags() | trapFlag);
        code();
        __writeeflags(__readeflags() & ~trapFlag);
        return interrupted;
    }

private:
    static constexpr unsigned trapFlag = 0x100; // of the processor: a trap behind each instruction

    static void onTrap(int, siginfo_t*, void* context) {
        if (current->left-- > 0)
            return;
        static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~static_cast<greg_t>(trapFlag);
        current->interrupted = true;
        current->interruption();
    }

    static inline Stepping* current = nullptr;

    std::function<void()> interruption;
    struct sigaction former {};
    int left = 0;
    bool interrupted = false;
};

} // namespace test_support
