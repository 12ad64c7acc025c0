// The run loop of plug-ins. If these fail, editors that live by it freeze, their handlers are called after
// they have gone, or one that is always ready takes the main thread from all others.

#include "plugin/RunLoop.h"
#include "support/RunningHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

using namespace test_support;
using testing::ElementsAre;

namespace {

class Calls : public RunLoop::Handler {
public:
    explicit Calls(std::function<void()> body) : body(std::move(body)) {}

    void call() override { body(); }

private:
    const std::function<void()> body;
};

/// Both ends of a pipe.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe(ends), 0); }
    ~Pipe() {
        close(ends[0]);
        closeWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int reader() const { return ends[0]; }
    void write() const { EXPECT_EQ(::write(ends[1], "x", 1), 1); }
    void read() const {
        char byte = 0;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1);
    }
    void closeWriter() { close(ends[1]); }

private:
    static void close(int& end) {
        if (end >= 0)
            ::close(end);
        end = -1;
    }

    int ends[2] = {-1, -1};
};

/// A host whose queue grows only as the loop posts into it.
class RunLoopTest : public testing::Test {
protected:
    RunLoop& loop() { return test.host->getRunLoop(); }
    void addDescriptor(const void* key, int descriptor, std::function<void()> body) {
        loop().addDescriptor(this, key, descriptor, new Calls(std::move(body)));
    }
    void addTimer(const void* key, uint64_t interval, std::function<void()> body) {
        loop().addTimer(this, key, interval, new Calls(std::move(body)));
    }
    /// Makes calls until something is true.
    template <class Condition>
    testing::AssertionResult callsUntil(const Condition& condition) {
        const auto end = std::chrono::steady_clock::now() + usualBound;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end)
                return testing::AssertionFailure();
            loop().callFor(1000);
        }
        return testing::AssertionSuccess();
    }

    TestHost test;
    int first = 0;
    int second = 0;
};

} // namespace

TEST_F(RunLoopTest, ADescriptorIsCalledForWhileItIsReadableAndNoLonger) {
    const Pipe pipe;
    const Pipe other;
    addDescriptor(&first, pipe.reader(), [&] {
        ++first;
        if (first % 2 == 0)
            pipe.read();
    });
    addDescriptor(&second, other.reader(), [&] {
        ++second;
        other.read();
    });
    pipe.write();
    EXPECT_TRUE(callsUntil([&] { return first == 2; }));
    // What would be ready beside it has been looked at with it.
    other.write();
    EXPECT_TRUE(callsUntil([&] { return second == 1; }));
    EXPECT_EQ(first, 2);
    pipe.write();
    EXPECT_TRUE(callsUntil([&] { return first == 4; }));
}

TEST_F(RunLoopTest, ATimerIsCalledAgainAndAgainAndOneOfZeroLeavesRoomForOthers) {
    addTimer(&first, 0, [this] { ++first; });
    addTimer(&second, 2, [this] { ++second; });
    EXPECT_TRUE(callsUntil([&] { return first >= 20 && second >= 5; }));
}

TEST_F(RunLoopTest, AThousandTimersAreAllCalled) {
    std::vector<int> counts(1000);
    for (int& count : counts)
        addTimer(&count, 3, [&count] { ++count; });
    EXPECT_TRUE(
        callsUntil([&] { return std::ranges::all_of(counts, [](int count) { return count >= 3; }); }));
}

TEST_F(RunLoopTest, AHandlerMayRemoveItselfAndOthersThatAreReadyToo) {
    const Pipe pipe;
    pipe.write();
    int third = 0;
    const auto removeBoth = [&](int& count) {
        ++count;
        EXPECT_TRUE(loop().removeDescriptors(this, &first));
        EXPECT_TRUE(loop().removeDescriptors(this, &second));
    };
    addDescriptor(&first, pipe.reader(), [&] { removeBoth(first); });
    addDescriptor(&second, pipe.reader(), [&] { removeBoth(second); });
    addDescriptor(&third, pipe.reader(), [&] { ++third; });
    EXPECT_TRUE(callsUntil([&] { return third >= 3; }));
    EXPECT_EQ(first + second, 1);
    EXPECT_FALSE(loop().removeDescriptors(this, &first));
}

TEST_F(RunLoopTest, RemovalIsByOwnerKeyAndKind) {
    const Pipe pipe;
    pipe.write();
    addDescriptor(&first, pipe.reader(), [this] { ++first; });
    addTimer(&first, 1, [this] { ++second; });
    EXPECT_FALSE(loop().removeTimers(this, &second));
    EXPECT_FALSE(loop().removeTimers(&test, &first));
    EXPECT_TRUE(callsUntil([&] { return first > 0 && second > 0; }));
    EXPECT_TRUE(loop().removeTimers(this, &first));
    const int before = second;
    const int called = first;
    EXPECT_TRUE(callsUntil([&] { return first > called + 3; }));
    EXPECT_EQ(second, before);
}

TEST_F(RunLoopTest, WhatAnOwnerHasLeftGoesTogetherAndIsLetGo) {
    const Ref<RunLoop::Handler> handler(new Calls([] {}));
    const Pipe pipe;
    loop().addDescriptor(this, &first, pipe.reader(), handler);
    loop().addTimer(this, &second, 1, handler);
    loop().addTimer(&test, &second, 1, new Calls([this] { ++second; }));
    EXPECT_EQ(base::core::countReferences(handler.get()), 3);
    loop().removeAll(this);
    EXPECT_EQ(base::core::countReferences(handler.get()), 1);
    EXPECT_TRUE(callsUntil([&] { return second > 0; }));
    loop().removeAll(&test);
}

TEST_F(RunLoopTest, AClosedDescriptorIsNotCalledForAndHoldsUpNoOther) {
    const Pipe pipe;
    // A number that nothing else gets meanwhile.
    const int number = fcntl(pipe.reader(), F_DUPFD_CLOEXEC, 500);
    ASSERT_EQ(close(number), 0);
    addDescriptor(&first, number, [this] { ++first; });
    addTimer(&second, 1, [this] { ++second; });
    EXPECT_TRUE(callsUntil([&] { return second >= 5; }));
    EXPECT_EQ(first, 0);
    EXPECT_TRUE(loop().removeDescriptors(this, &first));
}

TEST_F(RunLoopTest, AnEndThatIsGoneIsToldOnce) {
    Pipe pipe;
    pipe.write();
    addDescriptor(&first, pipe.reader(), [&] {
        if (++first == 1)
            pipe.read();
    });
    pipe.closeWriter();
    EXPECT_TRUE(callsUntil([&] { return first == 2; }));
    addTimer(&second, 1, [this] { ++second; });
    EXPECT_TRUE(callsUntil([&] { return second >= 5; }));
    EXPECT_EQ(first, 2);
}

TEST_F(RunLoopTest, CallsAreMadeForATimeWithoutOtherActions) {
    bool hasRun = false;
    test.host->post(new FunctionAction([&] { hasRun = true; }));
    addTimer(&first, 1, [this] { ++first; });
    EXPECT_TRUE(callsUntil([&] { return first >= 3; }));
    EXPECT_FALSE(hasRun);
    loop().callFor(0);
}

TEST_F(RunLoopTest, AHandlerThatIsBeingCalledMayAddAnother) {
    addTimer(&first, 1, [this] {
        if (++first == 1)
            addTimer(&second, 1, [this] { ++second; });
    });
    EXPECT_TRUE(callsUntil([&] { return second >= 2; }));
}

TEST(RunLoopOfAHostTest, CallsAreActionsOfTheMainThreadBetweenOthers) {
    const Pipe pipe;
    std::atomic<int> calls = 0;
    std::atomic<bool> isElsewhere = false;
    std::atomic<int> idles = 0;
    RunningHost running([&](TestHost& made) { made.addInstance(1)->onIdle = [&] { ++idles; }; });
    PluginHost& host = running.host();
    // Always readable.
    pipe.write();
    host.getRunLoop().addDescriptor(&calls, &calls, pipe.reader(), new Calls([&] {
        ++calls;
        if (!host.isMainThread())
            isElsewhere = true;
    }));
    EXPECT_TRUE(eventually([&] { return calls >= 100; }));
    const int before = idles;
    EXPECT_TRUE(running.call([] {}));
    EXPECT_TRUE(eventually([&] { return idles >= before + 2; }));
    EXPECT_FALSE(isElsewhere);
    EXPECT_TRUE(running.call([&] { host.getRunLoop().removeAll(&calls); }));
}
