// Hosts that are started with options: by a thread that never ends, watched, with workers, environment and
// streams of the client's choice. If these fail, a wrong path or a host without a display makes an
// application hang, or a host ends with a thread of it.

#include "ClientTest.h"
#include "client/LaunchThread.h"
#include "client/RemotePluginAudioContextProxy.h"
#include "client/StartWatch.h"
#include "core/EventDescriptor.h"
#include "core/FileDescriptor.h"
#include "core/Log.h"
#include "core/StartProgram.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"
#include "support/TestDirectory.h"

#include <atomic>
#include <fstream>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace test_support;
using Reason = StartException::Reason;

namespace {

constexpr double never = 600; // seconds: a start that ends only by this hangs

class HostStartTest : public ClientTest {
protected:
    // The thread that starts hosts stays for ever: it doesn't count as left behind.
    static void SetUpTestSuite() {
        runOnLaunchThread([] {});
    }

    static HostOptions watched(const char* program, double timeLimit = never) {
        HostOptions options(program);
        options.isWatched = true;
        options.startTimeLimit = timeLimit;
        return options;
    }

    struct Failed {
        Reason reason;
        std::string text;
    };

    static std::optional<Failed> startFails(const HostOptions& options) {
        try {
            const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(options));
        } catch (const StartException& exception) {
            return Failed{exception.reason, exception.getMessage().toStdString()};
        }
        return {};
    }

    static void expectFailure(const HostOptions& options, Reason reason, const std::string& text) {
        const Footprint before = Footprint::now();
        const std::optional<Failed> failed = startFails(options);
        ASSERT_TRUE(failed);
        EXPECT_EQ(failed->reason, reason);
        EXPECT_EQ(failed->text, text);
        EXPECT_EQ(Footprint::now(), before);
    }
};

} // namespace

// ThreadSanitizer replaces `vfork` by `fork`: the child's error stays in its own memory.
#ifndef __SANITIZE_THREAD__

TEST_F(HostStartTest, AProgramThatIsNotThereIsSaidAtOnce) {
    expectFailure(watched("/no/such/program"), Reason::ended,
                  "/no/such/program can't be executed: No such file or directory");
}

#endif

TEST_F(HostStartTest, AProgramThatEndsIsNotWaitedFor) {
    expectFailure(watched("/bin/true"), Reason::ended,
                  "/bin/true ended with status 0 before it had opened the pipes of a plug-in host");
}

TEST_F(HostStartTest, AHostThatEndsBetweenItsPipesIsNotWaitedFor) {
    for (const char* opened : {"", "open:main", "open:main open:async-replies"}) {
        const StandIn standIn(std::string(opened) + " exit:3");
        expectFailure(watched(STAND_IN_HOST_EXECUTABLE), Reason::ended,
                      STAND_IN_HOST_EXECUTABLE
                      " ended with status 3 before it had opened the pipes of a plug-in host");
    }
}

TEST_F(HostStartTest, AHostThatOpensNothingIsEndedAfterItsTime) {
    const StandIn standIn("wait");
    expectFailure(watched(STAND_IN_HOST_EXECUTABLE, 0.25), Reason::timedOut,
                  STAND_IN_HOST_EXECUTABLE " hasn't opened the pipes of a plug-in host within 250 ms");
}

TEST_F(HostStartTest, AHostThatStopsBetweenItsPipesIsEndedAfterItsTime) {
    const StandIn standIn("open:main open:async-replies wait");
    expectFailure(watched(STAND_IN_HOST_EXECUTABLE, 1), Reason::timedOut,
                  STAND_IN_HOST_EXECUTABLE " hasn't opened the pipes of a plug-in host within 1 s");
}

TEST_F(HostStartTest, AnotherThreadCanCancelAStart) {
    const StandIn standIn("wait");
    base::core::EventDescriptor cancellation;
    HostOptions options = watched(STAND_IN_HOST_EXECUTABLE);
    options.cancellation = &cancellation;
    std::atomic<pid_t> starterId = 0;
    std::optional<Failed> failed;
    std::thread starter([&] {
        starterId = currentThreadId();
        failed = startFails(options);
    });
    EXPECT_TRUE(eventually([&] { return starterId != 0 && isAsleep(starterId); }));
    cancellation.signal();
    starter.join();
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->reason, Reason::cancelled);
    EXPECT_EQ(failed->text, "Starting the plug-in host was cancelled");
}

TEST_F(HostStartTest, AHostOutlivesTheThreadThatStartedIt) {
    Ref<RemotePluginHostProxy> proxy;
    std::thread([&] { proxy = new RemotePluginHostProxy(watched(PLUGIN_HOST_EXECUTABLE)); }).join();
    // A host that got a signal with the end of the thread would have died, or be about to.
    proxy->ping();
    EXPECT_EQ(createInstance(*proxy, examplePlugin("echo"))->inputChannelCount, 2);
    EXPECT_FALSE(proxy->getChild().hasEnded());
    end(proxy);
}

TEST_F(HostStartTest, EachWorkerHasAPipeAndRenders) {
    HostOptions options = watched(PLUGIN_HOST_EXECUTABLE);
    options.sampleRate = 48000;
    options.blockSize = 64;
    options.workerCount = 3;
    Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(options));
    EXPECT_EQ(proxy->getSampleRate(), 48000);
    const Ref<CreatePluginInstanceReply> reply = createInstance(*proxy, examplePlugin("echo"));
    for (int32_t worker = 0; worker < 3; ++worker) {
        const Ref<RemotePluginAudioContextProxy> context(
            new RemotePluginAudioContextProxy(proxy.get(), *reply, worker));
        EXPECT_EQ(context->blockSize, 64);
        context->startProcessing();
        context->beginBlock();
        context->getInput(0)[0] = 1;
        context->process(64, true, false);
        EXPECT_NE(context->getOutput(0)[0], 0);
        context->getInput(0)[0] = 0;
        context->stopProcessing();
        context->drain();
    }
    EXPECT_THROW(proxy->getAudioThread(3), std::out_of_range);
    end(proxy);
}

TEST_F(HostStartTest, AHostGetsEnvironmentAndStreams) {
    const base::core::PipeEnds ends = base::core::openPipe();
    const base::core::FileDescriptor reader(base::core::aboveConsole(ends.reader));
    base::core::FileDescriptor writer(base::core::aboveConsole(ends.writer));
    const TestDirectory directory;
    const std::string script = directory / "says-something";
    std::ofstream(script) << "#!/bin/sh\necho \"$GREETING\" >&2\necho \"$1\"\n";
    chmod(script.c_str(), 0700);
    HostOptions options = watched(script.c_str());
    options.environment["GREETING"] = "hello";
    options.output = writer.get();
    options.error = writer.get();
    EXPECT_TRUE(startFails(options));
    writer.close();
    char text[256] = {};
    EXPECT_GT(read(reader.get(), text, sizeof text - 1), 0);
    EXPECT_STREQ(text, "hello\nhost\n");
}

TEST_F(HostStartTest, AHostWithAManagerReportsToItAlone) {
    const Ref<RecordingManager> own(new RecordingManager);
    HostOptions options = watched(PLUGIN_HOST_EXECUTABLE);
    options.manager = own.get();
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(options));
    proxy->abandon();
    EXPECT_TRUE(eventually([&] { return own->count() == 1; }));
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(HostStartTest, PingsAreAnsweredWithoutWaiting) {
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(watched(PLUGIN_HOST_EXECUTABLE)));
    const base::core::FileDescriptor answers(proxy->duplicateAnswerDescriptor());
    pollfd source{answers.get(), POLLIN, 0};
    EXPECT_EQ(poll(&source, 1, 0), 0);
    constexpr size_t pings = 300;
    for (size_t sent = 0; sent < pings; ++sent)
        proxy->sendPing();
    size_t answered = 0;
    while (answered < pings)
        answered += proxy->readPingAnswers();
    EXPECT_EQ(answered, pings);
    EXPECT_EQ(poll(&source, 1, 0), 0);
    proxy->abandon();
    EXPECT_EQ(proxy->readPingAnswers(), 0u) << "the end of the host";
}

TEST_F(HostStartTest, AnAnswerThatIsNoneIsRefused) {
    const StandIn standIn("connect read:main:1 write:main:0100");
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(watched(STAND_IN_HOST_EXECUTABLE)));
    proxy->sendPing();
    EXPECT_THROW(
        {
            while (proxy->readPingAnswers() > 0) {
            }
        },
        IOException);
}

TEST_F(HostStartTest, AnEndThatItsOwnerHasSeenIsReportedOnce) {
    // Its pipes stay open in this process: nothing but the owner can notice.
    const StandIn standIn("connect wait");
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(watched(STAND_IN_HOST_EXECUTABLE)));
    proxy->noteEndOfChild();
    proxy->noteEndOfChild();
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_TRUE(hears(1));
    EXPECT_THROW(proxy->sendPing(), IOException);
}

// In a process of its own, whose first start this is.
TEST(LaunchThread, KeepsNothingOfTheThreadThatMadeIt) {
    class SilentReceiver : public base::core::LogReceiver {
        void receive(base::core::LogLevel, std::string_view) noexcept override {}
    };
    const Ref<SilentReceiver> receiver(new SilentReceiver);
    {
        const base::core::ScopedLogReceiver scope(receiver.get());
        runOnLaunchThread([] {});
    }
    EXPECT_EQ(countReferences(receiver.get()), 1);
}

TEST_F(HostStartTest, TheThreadThatStartsHostsPassesOnWhatItIsThrown) {
    EXPECT_THROW(runOnLaunchThread([] { throw std::runtime_error("thrown"); }), std::runtime_error);
    std::thread::id first;
    std::thread::id second;
    runOnLaunchThread([&] { first = std::this_thread::get_id(); });
    std::thread([&] { runOnLaunchThread([&] { second = std::this_thread::get_id(); }); }).join();
    EXPECT_EQ(first, second);
    EXPECT_NE(first, std::this_thread::get_id());
}
