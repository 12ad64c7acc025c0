// A look-up in the table of instances, stopped behind each of its machine instructions. If this fails, a
// worker that is on its way to an instance in the moment of its removal renders an instance that is gone.

#include "host/InstanceTable.h"
#include "tests/plugin/FakePluginInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <ucontext.h>
#include <x86intrin.h>

// ThreadSanitizer makes calls into its runtime of what is stepped through, which can't be entered again in
// between.
#if !defined(__SANITIZE_THREAD__)

namespace {

constexpr unsigned trapFlag = 0x100; // of the processor: a trap behind each instruction

/// Calls a function after a number of instructions of the code that `run` is given.
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

} // namespace

TEST(InstanceTableStepsTest, ALookUpThatHasReachedARemovedInstanceComesBackWithoutIt) {
    constexpr int32_t id = 65; // behind 1 in its chain
    CallLog log;
    const Ref<PluginInstance> neighbour(new FakePluginInstance(nullptr, 1, log));
    const Ref<PluginInstance> removed(new FakePluginInstance(nullptr, id, log));
    const Ref<PluginInstance> successor(new FakePluginInstance(nullptr, id, log));
    int missed = 0;
    int before = 0;
    int behind = 0;
    for (int instructions = 0;; ++instructions) {
        ASSERT_LT(instructions, 100000) << "the look-up does not end";
        InstanceTable table;
        table.insert(1, neighbour);
        table.insert(id, removed);
        Stepping stepping([&] {
            table.remove(id);
            table.insert(id, successor);
        });
        const PluginInstance* found = nullptr;
        if (!stepping.run(instructions, [&] { found = table.find(id); }))
            break;
        before += found == successor.get();
        missed += found == nullptr;
        behind += found == removed.get();
        ASSERT_TRUE(missed == 0 || found != successor.get())
            << "a look-up left the removed node for its successor";
    }
    EXPECT_GT(before, 0);
    EXPECT_GT(missed, 0) << "a removed instance was found";
    EXPECT_GT(behind, 0);
}

#endif
