// If these fail, a worker does more for a block than it has to: it can miss its deadline in a system call, in
// an allocation or behind a lock.

#include "process/ProcessTest.h"

#include <atomic>
#include <fstream>
#include <map>
#include <string>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>

namespace {

constexpr int32_t blocks = 100;

struct CallCounts {
    long reads = 0;
    long writes = 0;
};

/// Waits until the thread sleeps in its read: a call counts when it returns.
CallCounts countCalls(pid_t process, pid_t thread) {
    const std::string directory = "/proc/" + std::to_string(process) + "/task/" + std::to_string(thread);
    waitUntil("a worker that sleeps", [&] {
        std::ifstream stat(directory + "/stat");
        std::string number;
        std::string name;
        char state = 0;
        return stat >> number >> name >> state && state == 'S';
    });
    std::ifstream file(directory + "/io");
    CallCounts counts;
    std::string name;
    long value = 0;
    while (file >> name >> value) {
        if (name == "syscr:")
            counts.reads = value;
        else if (name == "syscw:")
            counts.writes = value;
    }
    return counts;
}

/// A client with a started instance that has rendered once.
class WarmHost {
public:
    explicit WarmHost(HostOptions options = {}, const std::string& path = echoPath)
        : client(std::move(options)) {
        createInstance(client, 1, path);
        client.sendToWorker(0, bytes("00 01 00 00 00"));
        client.process(0, 1, 256);
        worker = client.findThread("RemoteAudioThre");
    }

    void render(int32_t count, RawBlock* block = nullptr) {
        for (int32_t i = 0; i < count; ++i) {
            if (block != nullptr) {
                block->clearLists();
                for (int change = 0; change < 50; ++change)
                    block->addChange(0, 0.25F);
                for (uint16_t event = 0; event < 100; ++event)
                    block->addMidi(event, 0x90, 60, 100);
            }
            client.process(0, 1, 256);
        }
    }

    RawClient client;
    pid_t worker = 0;
};

TEST(ABlock, CostsTheWorkerOneReadAndOneWrite) {
    WarmHost host;
    ASSERT_NE(host.worker, 0);
    const pid_t process = host.client.getHostProcess();
    const CallCounts before = countCalls(process, host.worker);
    ASSERT_GT(before.writes, 0) << "the system doesn't count calls";
    host.render(blocks);
    const CallCounts after = countCalls(process, host.worker);
    EXPECT_EQ(after.writes - before.writes, blocks);
    EXPECT_EQ(after.reads - before.reads, blocks);
}

/// Follows one thread and counts its system calls by their numbers. Constructed, used and destroyed on one
/// thread.
class SystemCallCounter {
public:
    explicit SystemCallCounter(pid_t thread) : thread(thread) {
        attached = ptrace(PTRACE_SEIZE, thread, nullptr, PTRACE_O_TRACESYSGOOD) == 0;
        if (attached) {
            ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr);
            waitForStop();
        }
    }

    ~SystemCallCounter() {
        if (!attached)
            return;
        // It may be stopped already or stand in a call.
        ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr);
        waitForStop();
        ptrace(PTRACE_DETACH, thread, nullptr, nullptr);
    }

    bool isAttached() const { return attached; }

    /// Until `done`, which the caller sets while the thread is still making calls.
    void count(const std::atomic<bool>& done) {
        while (!done) {
            ptrace(PTRACE_SYSCALL, thread, nullptr, nullptr);
            if (!waitForStop())
                return;
            __ptrace_syscall_info info{};
            ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info);
            if (info.op == PTRACE_SYSCALL_INFO_ENTRY)
                ++counts[static_cast<long>(info.entry.nr)];
        }
        ptrace(PTRACE_CONT, thread, nullptr, nullptr);
    }

    std::map<long, int> counts;

private:
    bool waitForStop() const {
        int status = 0;
        return waitpid(thread, &status, __WALL) == thread && WIFSTOPPED(status);
    }

    pid_t thread;
    bool attached = false;
};

TEST(ABlock, CostsTheWorkerNoOtherSystemCall) {
    WarmHost host;
    ASSERT_NE(host.worker, 0);
    std::atomic<bool> ready = false;
    std::atomic<bool> done = false;
    bool attached = false;
    std::map<long, int> counts;
    std::thread tracer([&] {
        SystemCallCounter counter(host.worker);
        attached = counter.isAttached();
        ready = true;
        if (attached)
            counter.count(done);
        counts = counter.counts;
    });
    while (!ready)
        pauseShortly();
    std::string failure;
    try {
        host.render(blocks);
    } catch (const std::exception& exception) {
        failure = exception.what();
    }
    done = true;
    // The tracer notices at the next call.
    try {
        host.render(1);
    } catch (const std::exception& exception) {
        failure = exception.what();
    }
    tracer.join();
    ASSERT_TRUE(attached) << "this machine lets nobody follow a process";
    EXPECT_EQ(failure, "");
    for (const auto& [number, count] : counts) {
        EXPECT_TRUE(number == SYS_read || number == SYS_write || number == SYS_restart_syscall)
            << count << " calls of number " << number;
    }
    EXPECT_GE(counts[SYS_write], blocks);
    EXPECT_LE(counts[SYS_write], blocks + 1);
    // One may be the read that it was found in.
    EXPECT_GE(counts[SYS_read], blocks);
    EXPECT_LE(counts[SYS_read], blocks + 2);
}

class CountedCalls : public testing::Test {
protected:
    static HostOptions counted() { return {.environment = {"LD_PRELOAD=" COUNTING_PRELOAD}}; }
    static constexpr const char* pluginPath = TEST_PLUGIN_DIRECTORY "/counts-calls.so";
};

TEST_F(CountedCalls, AWorkerNeitherAllocatesNorLocksForABlock) {
    WarmHost host(counted(), pluginPath);
    RawBlock block(host.client.getHostId(), 1, 2, 2, 1);
    host.render(1, &block);
    for (int32_t i = 0; i < blocks; ++i) {
        host.render(1, &block);
        const std::vector<float> counts = block.output(0, 2);
        ASSERT_EQ(counts[0], 0.0F) << "allocations in block " << i;
        ASSERT_EQ(counts[1], 0.0F) << "locks in block " << i;
    }
}

TEST_F(CountedCalls, AWorkerNeitherAllocatesNorLocksForAStartAndAStop) {
    WarmHost host(counted(), pluginPath);
    RawBlock block(host.client.getHostId(), 1, 2, 2, 1);
    for (int32_t i = 0; i < blocks; ++i) {
        host.client.sendToWorker(0, bytes("01 01 00 00 00 03 00 01 00 00 00"));
        host.render(1);
        const std::vector<float> counts = block.output(0, 2);
        ASSERT_EQ(counts[0], 0.0F) << "allocations in block " << i;
        ASSERT_EQ(counts[1], 0.0F) << "locks in block " << i;
    }
}

TEST_F(CountedCalls, APluginThatReportsFromItsBlockPaysForItItself) {
    WarmHost host(counted(), pluginPath);
    RawBlock block(host.client.getHostId(), 1, 2, 2, 1);
    block.addChange(0, 1.0F);
    host.client.process(0, 1, 256);
    // This also shows that the counts above can be other than 0.
    EXPECT_GT(block.output(0, 3)[2], 0.0F);
    block.clearLists();
    host.client.process(0, 1, 256);
    EXPECT_EQ(block.output(0, 3)[0], 0.0F);
}

} // namespace
