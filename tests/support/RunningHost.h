#pragma once

#include "support/Eventually.h"
#include "support/FunctionAction.h"
#include "support/TestHost.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>
#include <utility>

namespace test_support {

/// A host whose main loop runs on a thread of its own, which is its main thread. It ends the loop and joins.
class RunningHost {
public:
    /// `prepare` is called on the main thread before the loop.
    explicit RunningHost(std::function<void(TestHost&)> prepare = {}) {
        std::promise<void> ready;
        thread = std::thread([this, &ready, prepare] {
            TestHost made;
            if (prepare)
                prepare(made);
            testHost = &made;
            ready.set_value();
            made.host->run();
            isDisconnected = made.host->windows.display.connection == nullptr;
            loopEnded = true;
            if (!eventually([this] { return mayGo.load(); }, longBound))
                std::fputs("nobody took leave of the host within 20 s\n", stderr);
        });
        ready.get_future().wait();
    }
    ~RunningHost() {
        stop();
        mayGo = true;
        thread.join();
    }
    RunningHost(const RunningHost&) = delete;
    RunningHost& operator=(const RunningHost&) = delete;

    PluginHost& host() { return *testHost->host; }
    LoggingHandler& handler() { return *testHost->handler; }
    CallLog& log() { return testHost->log; }
    TestHost& test() { return *testHost; }

    void post(std::function<void()> body) { host().post(new FunctionAction(std::move(body))); }

    /// Runs something on the main thread and waits for it; false if that doesn't run within 10 s.
    bool call(const std::function<void()>& body) {
        const auto done = std::make_shared<std::promise<void>>();
        post([done, body] {
            body();
            done->set_value();
        });
        return done->get_future().wait_for(usualBound) == std::future_status::ready;
    }

    /// Ends the loop, after which the host is only looked at.
    void stop() {
        PluginHost& stopping = host();
        if (!loopEnded)
            post([&stopping] { stopping.stopRequested = true; });
        if (!eventually([this] { return loopEnded.load(); })) {
            std::fputs("the main loop did not end within 10 s\n", stderr);
            std::abort();
        }
    }

    /// Whether the X connection was given up at the end of the loop.
    bool wasDisconnected() const { return isDisconnected; }

private:
    TestHost* testHost = nullptr;
    std::atomic<bool> isDisconnected = false;
    std::atomic<bool> loopEnded = false;
    std::atomic<bool> mayGo = false;
    std::thread thread;
};

} // namespace test_support
