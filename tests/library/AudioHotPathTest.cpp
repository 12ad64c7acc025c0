// What a block costs the application's audio thread. If these fail, a block waits for the allocator, for a
// lock or for more of the system than it must, and audio that was in time is late.

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include "library/CycleTest.h"
#include "support/CountedCalls.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fstream>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>

using test_support::CountedCalls;
using test_support::countedCalls;

namespace {

constexpr int turns = 100;

/// One block with all that a block can have.
plugin_host_status renderOnce(plugin_host_plugin* plugin) {
    plugin_host_input input{};
    input.size = sizeof input;
    plugin_host_output output{};
    output.size = sizeof output;
    plugin_host_event event{};
    event.size = sizeof event;
    event.kind = PLUGIN_HOST_SYSTEM_EXCLUSIVE;
    event.data[0] = 0xF0;
    event.data_size = 2;
    plugin_host_transport transport{};
    transport.size = sizeof transport;
    plugin_host_status worst = plugin_host_plugin_begin(plugin, &input);
    const auto note = [&](plugin_host_status status) { worst = std::max(worst, status); };
    input.channels[0][0] = 1;
    note(plugin_host_plugin_set_transport(plugin, &transport));
    note(plugin_host_plugin_add_midi(plugin, 0, 0x90, 60, 100));
    note(plugin_host_plugin_add_event(plugin, &event));
    note(plugin_host_plugin_add_change(plugin, 1, 0.5F, 0));
    note(plugin_host_plugin_process(plugin, 256, 0, &output));
    note(output.event_count == 1 ? PLUGIN_HOST_OK : PLUGIN_HOST_SYSTEM_ERROR);
    note(plugin_host_plugin_get_event(plugin, 0, &event));
    // Failures cost as little.
    if (plugin_host_plugin_process(plugin, 0, 0, nullptr) != PLUGIN_HOST_INVALID_ARGUMENT ||
        plugin_host_plugin_start(nullptr) != PLUGIN_HOST_INVALID_HANDLE)
        note(PLUGIN_HOST_SYSTEM_ERROR);
    return worst;
}

std::atomic<int> trapped = 0;
std::atomic<int> lastTrapped = 0;

/// Counts a call of the system that its thread may not make, which then fails.
void countTrapped(int, siginfo_t* info, void*) {
    ++trapped;
    lastTrapped = info->si_syscall;
}

/// From now on this thread reads, writes and ends; all other calls of the system are counted and fail.
bool allowReadsAndWritesAlone() {
    constexpr auto load = static_cast<uint16_t>(BPF_LD | BPF_W | BPF_ABS);
    constexpr auto isEqual = static_cast<uint16_t>(BPF_JMP | BPF_JEQ | BPF_K);
    constexpr auto answer = static_cast<uint16_t>(BPF_RET | BPF_K);
    constexpr uint32_t allowed[] = {SYS_read,           SYS_write,   SYS_exit,  SYS_rt_sigreturn,
                                    SYS_rt_sigprocmask, SYS_madvise, SYS_munmap};
    std::vector<sock_filter> program{{load, 0, 0, offsetof(seccomp_data, nr)}};
    for (const uint32_t number : allowed) {
        program.push_back({isEqual, 0, 1, number});
        program.push_back({answer, 0, 0, SECCOMP_RET_ALLOW});
    }
    program.push_back({answer, 0, 0, SECCOMP_RET_TRAP});
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

/// Does something on a thread that may read and write, and expects it to make no other call of the system.
template <class Action>
void expectReadsAndWritesAlone(const Action& action) {
    struct sigaction counting {};
    counting.sa_sigaction = countTrapped;
    counting.sa_flags = SA_SIGINFO;
    struct sigaction former {};
    ASSERT_EQ(sigaction(SIGSYS, &counting, &former), 0);
    bool isConfined = false;
    int countedOfTheAction = -1;
    int countedOfAKnownCall = -1;
    std::thread([&] {
        isConfined = allowReadsAndWritesAlone();
        trapped = 0;
        action();
        countedOfTheAction = trapped;
        syscall(SYS_getppid);
        countedOfAKnownCall = trapped - countedOfTheAction;
    }).join();
    sigaction(SIGSYS, &former, nullptr);
    ASSERT_TRUE(isConfined) << "the system doesn't confine threads";
    EXPECT_EQ(countedOfTheAction, 0) << "the last was call " << lastTrapped;
    EXPECT_EQ(countedOfAKnownCall, 1) << "the count doesn't work";
}

/// How many calls of this thread have written so far.
int64_t countWrites() {
    std::ifstream file("/proc/thread-self/io");
    for (std::string word; file >> word;) {
        if (word == "syscw:") {
            int64_t count = 0;
            file >> count;
            return count;
        }
    }
    return -1;
}

class AudioHotPathTest : public ShowingTest {
protected:
    AudioHotPathTest() {
        for (int i = 0; i < 10; ++i)
            EXPECT_EQ(renderOnce(plugin.get()), PLUGIN_HOST_OK);
    }

    void renderBlocks() {
        for (int i = 0; i < turns; ++i)
            rendered += renderOnce(plugin.get()) == PLUGIN_HOST_OK ? 1 : 0;
    }

    int rendered = 0;
};

constexpr int64_t noDeadline = 0;
constexpr int64_t farDeadline = INT64_MAX;

/// Eight plug-ins on two workers.
class CycleHotPathTest : public CycleTest {
protected:
    CycleHotPathTest() {
        begin(2);
        for (int i = 0; i < 8; ++i)
            all[static_cast<size_t>(i)] = add(testPlugin("shows-its-block.so"), i % 2).block(frames);
        renderCycles(noDeadline);
        rendered = 0;
    }

    void renderCycle(int64_t deadline) {
        bool isRight = true;
        plugin_host_input input{};
        input.size = sizeof input;
        for (const plugin_host_block& block : all) {
            const plugin_host_status status = plugin_host_plugin_begin(block.plugin, &input);
            isRight &= status == PLUGIN_HOST_OK;
            input.channels[0][0] = 1;
            isRight &= plugin_host_plugin_add_midi(block.plugin, 0, 0x90, 60, 100) == PLUGIN_HOST_OK;
        }
        isRight &= plugin_host_cycle_begin(cycle->get(), all.data(), all.size()) == PLUGIN_HOST_OK;
        const plugin_host_status status = plugin_host_cycle_finish(cycle->get(), deadline);
        for (const plugin_host_block& block : all)
            lateBlocks += block.status == PLUGIN_HOST_LATE ? 1 : 0;
        rendered += isRight && status == PLUGIN_HOST_OK ? 1 : 0;
    }
    void renderCycles(int64_t deadline) {
        for (int i = 0; i < turns; ++i)
            renderCycle(deadline);
    }

    std::array<plugin_host_block, 8> all;
    int rendered = 0;
    int lateBlocks = 0;
};

} // namespace

TEST_F(AudioHotPathTest, ABlockAllocatesNothingAndTakesNoLock) {
    countedCalls = {};
    renderBlocks();
    const CountedCalls counted = countedCalls;
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
    EXPECT_EQ(rendered, turns);
}

TEST_F(AudioHotPathTest, StartsAndStopsAllocateNothingEither) {
    countedCalls = {};
    EXPECT_EQ(plugin_host_plugin_stop(plugin.get()), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_start(plugin.get()), PLUGIN_HOST_OK);
    const CountedCalls counted = countedCalls;
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
}

TEST_F(AudioHotPathTest, TheCountsReachTheSharedLibrary) {
    countedCalls = {};
    EXPECT_EQ(plugin_host_plugin_set_program(plugin.get(), 17), PLUGIN_HOST_NOT_FOUND);
    const CountedCalls counted = countedCalls;
    EXPECT_GT(counted.allocations, 0);
    EXPECT_GT(counted.locks, 0);
}

TEST_F(AudioHotPathTest, ABlockMakesNoCallOfTheSystemButReadsAndWrites) {
    expectReadsAndWritesAlone([&] { renderBlocks(); });
    EXPECT_EQ(rendered, turns);
}

TEST_F(CycleHotPathTest, ACycleAllocatesNothingAndTakesNoLock) {
    countedCalls = {};
    renderCycles(noDeadline);
    renderCycles(farDeadline);
    const CountedCalls counted = countedCalls;
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
    EXPECT_EQ(rendered, 2 * turns);
}

TEST_F(CycleHotPathTest, ACycleWithoutADeadlineMakesNoCallOfTheSystemButReadsAndWrites) {
    expectReadsAndWritesAlone([&] { renderCycles(noDeadline); });
    EXPECT_EQ(rendered, turns);
}

TEST_F(CycleHotPathTest, ACycleWritesOnceForEachWorker) {
    const int64_t before = countWrites();
    renderCycles(noDeadline);
    EXPECT_EQ(countWrites() - before, 2 * turns);
    EXPECT_EQ(rendered, turns);
}

TEST_F(CycleHotPathTest, ALateBlockAllocatesNothingAndTakesNoLock) {
    const pid_t host = processOf(plugins.front());
    kill(host, SIGSTOP);
    countedCalls = {};
    for (int i = 0; i < turns; ++i)
        renderCycle(1);
    const CountedCalls counted = countedCalls;
    kill(host, SIGCONT);
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
    EXPECT_GT(lateBlocks, 0);
}

#endif
