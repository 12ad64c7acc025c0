// The client's half of the audio: short commands on a worker's pipe, samples in a block that the host has
// made. If these fail, the two sides render different instances, read each other's samples at the wrong
// place, or wait for ever.

#include "AudioProxyTest.h"

#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/SleepingThread.h"

#include <atomic>
#include <csignal>
#include <cstddef>
#include <pthread.h>
#include <thread>

using namespace test_support;

namespace {

TEST_F(AudioProxyTest, TheContextHasTheBlockOfItsInstanceAndTheHostsLayout) {
    begin("");
    EXPECT_EQ(context->getRegions().memorySize, blockBytes);
    EXPECT_EQ(context->blockSize, 256);
    EXPECT_EQ(context->parameterCount, 10);
    EXPECT_EQ(offsetOf(context->getRegions().transport), 16);
    EXPECT_EQ(offsetOf(context->inputChannel(0)), 128);
    EXPECT_EQ(offsetOf(context->inputChannel(1)), 1152);
    EXPECT_EQ(offsetOf(context->outputChannel(0)), 2192);
    EXPECT_EQ(offsetOf(context->outputChannel(1)), 3216);
    EXPECT_EQ(offsetOf(context->getRegions().inputEventCount), 4256);
    EXPECT_EQ(offsetOf(context->getRegions().inputEvents), 4272);
    EXPECT_EQ(offsetOf(context->getRegions().outputEventCount), 11712);
    EXPECT_EQ(offsetOf(context->getRegions().outputEvents), 11728);
    EXPECT_EQ(offsetOf(context->getRegions().parameterChangeCount), 19168);
    EXPECT_EQ(offsetOf(context->getRegions().parameterChanges), 19184);
    EXPECT_EQ(offsetOf(context->getRegions().parameterFlags), 137984);
    // The same memory, seen from both sides.
    context->inputChannel(1)[3] = 0.5F;
    EXPECT_EQ(*reinterpret_cast<float*>(at(1152 + 3 * sizeof(float))), 0.5F);
}

TEST_F(AudioProxyTest, StartIsCommandZeroAndStopIsCommandOneAndNeitherIsAnswered) {
    begin("read:worker0:10");
    context->startProcessing();
    context->stopProcessing();
    shutDown(*proxy);
    EXPECT_EQ(standIn->received("worker0"), "0001000000"
                                            "0101000000");
}

TEST_F(AudioProxyTest, ProcessIsCommandTwoAndItsAnswerIsBigEndian) {
    begin("read:worker0:11 write:worker0:01020304 read:worker0:11 write:worker0:00000000");
    EXPECT_EQ(context->process(256, true, false), 0x01020304);
    EXPECT_EQ(context->process(1, false, true), 0);
    EXPECT_EQ(standIn->received("worker0"), "02"
                                            "01000000"
                                            "00010000"
                                            "01"
                                            "00"
                                            "02"
                                            "01000000"
                                            "01000000"
                                            "00"
                                            "01");
}

TEST_F(AudioProxyTest, TheOutputEventsOfTheLastBlockAreForgottenAndTheInputIsTheCallers) {
    begin("read:worker0:11 write:worker0:00000000");
    *context->getRegions().outputEventCount = 5;
    *context->getRegions().inputEventCount = 3;
    *context->getRegions().parameterChangeCount = 4;
    context->process(256, true, false);
    EXPECT_EQ(*context->getRegions().outputEventCount, 0);
    EXPECT_EQ(*context->getRegions().inputEventCount, 3);
    EXPECT_EQ(*context->getRegions().parameterChangeCount, 4);
}

TEST_F(AudioProxyTest, ADrainIsABlockOfNothingAndReturnsWithItsAnswer) {
    begin("read:worker0:11 write:worker0:00000000");
    *context->getRegions().inputEventCount = 3;
    *context->getRegions().parameterChangeCount = 4;
    context->drain();
    EXPECT_EQ(*context->getRegions().inputEventCount, 0);
    EXPECT_EQ(*context->getRegions().parameterChangeCount, 0);
    EXPECT_EQ(standIn->received("worker0"), "02"
                                            "01000000"
                                            "00000000"
                                            "00"
                                            "00");
}

TEST_F(AudioProxyTest, AHostThatDiesInABlockShowsAsTheEndOfTheStreamAndTheReplyThreadTellsOfIt) {
    begin("read:worker0:11 exit:0");
    EXPECT_THROW(context->process(256, true, false), EOSException);
    ASSERT_TRUE(hears(1));
    EXPECT_TRUE(manager->getDeaths().front().onReplyThread);
}

TEST_F(AudioProxyTest, AWorkerThatIsGoneIsNotTheDeathOfItsHost) {
    begin("read:worker0:11 close:worker0 read:main:1 write:main:01");
    EXPECT_THROW(context->process(256, true, false), EOSException);
    EXPECT_THROW(context->process(256, true, false), IOException);
    EXPECT_THROW(context->startProcessing(), IOException);
    proxy->ping();
    EXPECT_FALSE(proxy->isClosed());
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(AudioProxyTest, AContextTakesNoFurtherCommandAfterACallThatASignalInterrupted) {
    begin("read:worker0:11 read:main:1 write:worker0:00000001 drained:worker0 wait");
    const auto second = Ref<RemotePluginAudioContextProxy>(new RemotePluginAudioContextProxy(proxy, *reply));
    struct sigaction interrupting {};
    struct sigaction former {};
    interrupting.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(SIGUSR1, &interrupting, &former);
    std::atomic<pid_t> threadId = 0;
    std::string text;
    std::thread driver([&] {
        threadId = currentThreadId();
        text = lossText([&] { context->process(256, true, false); });
    });
    EXPECT_TRUE(eventually(
        [&] { return threadId != 0 && isAsleep(threadId) && standIn->received("worker0").size() == 22; }));
    pthread_kill(driver.native_handle(), SIGUSR1);
    driver.join();
    sigaction(SIGUSR1, &former, nullptr);
    EXPECT_EQ(text, "Error reading from named pipe: Interrupted system call");

    // The answer comes now, and isn't that of any later block, of whichever context.
    proxy->showAllGUIs();
    const char* refused = "Audio worker can't be used after a command that failed";
    EXPECT_EQ(lossText([&] { context->process(256, true, false); }), refused);
    EXPECT_EQ(lossText([&] { context->startProcessing(); }), refused);
    EXPECT_EQ(lossText([&] { context->stopProcessing(); }), refused);
    EXPECT_EQ(lossText([&] { context->drain(); }), refused);
    EXPECT_EQ(lossText([&] { second->process(256, true, false); }), refused);
    EXPECT_EQ(standIn->received("worker0").size(), 22u) << "more than the first command was sent";
    EXPECT_FALSE(proxy->isClosed());
}

TEST_F(AudioProxyTest, ABlockThatTheHostHasNotMadeIsAFailure) {
    begin("");
    reply->instanceId = 2;
    const std::string text = lossText(
        [&] { Ref<RemotePluginAudioContextProxy>(new RemotePluginAudioContextProxy(proxy, *reply)); });
    EXPECT_EQ(text.rfind("Could not open shared memory with name \"/", 0), 0u) << text;
}

TEST_F(AudioProxyTest, AContextKeepsItsProxyAlive) {
    begin("read:main:1");
    const pid_t host = proxy->getChildPid();
    reply = nullptr;
    proxy = nullptr;
    EXPECT_FALSE(isGone(host));
    context = nullptr;
    EXPECT_TRUE(isGone(host));
}

} // namespace
