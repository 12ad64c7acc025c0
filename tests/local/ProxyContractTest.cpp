// What a client may rely on, whether its host is a child process or lives in its own. If these fail, a fault
// that shows in the one and not in the other says nothing about whose it is.

#include "app/TestProxyProvider.h"
#include "client/RemotePluginHostProxy.h"
#include "local/RecordedSession.h"
#include "plugin/PluginException.h"
#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/TestDirectory.h"
#include "support/WindowReader.h"
#include "support/WireBytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Provider {
    const char* name;
    Ref<TestProxyProvider> (*make)();
};

void PrintTo(const Provider& provider, std::ostream* stream) {
    *stream << provider.name;
}

constexpr Provider inAChild = {
    "AHostInAChild",
    [] { return Ref<TestProxyProvider>(new SandboxedTestProxyProvider(PLUGIN_HOST_EXECUTABLE)); }};
constexpr Provider inThisProcess = {"AHostInThisProcess",
                                    [] { return Ref<TestProxyProvider>(new LocalTestProxyProvider); }};

std::string example(const std::string& file) {
    return EXAMPLE_PLUGIN_DIRECTORY "/" + file;
}

std::string testPlugin(const std::string& file) {
    return TEST_PLUGIN_DIRECTORY "/" + file;
}

/// The decimal number of a plug-in's four letters.
std::string numberOf(int32_t letters) {
    return std::to_string(letters);
}

class ProxyContractTest : public testing::TestWithParam<Provider> {
protected:
    /// A child comes to its own end, at which sanitizers report, instead of being killed with its proxy.
    void TearDown() override {
        auto* remote = dynamic_cast<RemotePluginHostProxy*>(proxy.get());
        if (remote == nullptr || remote->isClosed())
            return;
        remote->shutdown();
        EXPECT_TRUE(eventually([&] {
            siginfo_t end{};
            const auto child = static_cast<id_t>(remote->getChildPid());
            return waitid(P_PID, child, &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid != 0;
        })) << "the host runs on";
    }

    /// Mapped windows of the test's title: other tests share the server.
    size_t countWindows() {
        size_t count = 0;
        for (const uint32_t window : reader.children(reader.root)) {
            if (reader.property(window, "WM_NAME").bytes == title && reader.isMapped(window))
                ++count;
        }
        return count;
    }

    const std::string title = "Editor of test " + std::to_string(getpid());
    WindowReader reader;
    const Ref<TestProxyProvider> provider = GetParam().make();
    Ref<PluginHostProxy> proxy = provider->createProxy();
};

INSTANTIATE_TEST_SUITE_P(With, ProxyContractTest, testing::Values(inAChild, inThisProcess),
                         [](const auto& test) { return test.param.name; });

TEST_P(ProxyContractTest, APingIsAnswered) {
    proxy->ping();
    proxy->ping();
}

TEST_P(ProxyContractTest, ItTellsWhatAPluginIsWhenThatIsUp) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    EXPECT_EQ(session.reply->instanceId, 1);
    EXPECT_EQ(session.reply->inputChannelCount, 2);
    EXPECT_EQ(session.reply->outputChannelCount, 2);
    EXPECT_EQ(session.reply->latency, 0);
    EXPECT_TRUE(session.reply->hasEditor);
    ASSERT_EQ(session.reply->state->parameters.size(), 3U);
    EXPECT_EQ(session.reply->state->parameters[0]->name.toStdString(), "Delay");
    EXPECT_EQ(session.reply->state->parameters[0]->display.toStdString(), "250");
}

TEST_P(ProxyContractTest, ItSaysWhyAPluginDoesNotComeUpAndGoesOn) {
    RecordedSession session(proxy);
    try {
        session.load("/no/such/plug-in.so");
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        EXPECT_THAT(exception.getMessage().toStdString(),
                    testing::StartsWith("Failed to load VST plug-in /no/such/plug-in.so: "));
    }
    proxy->removePluginInstance(session.instanceId);
    session.load(example("echo.so"));
    EXPECT_EQ(session.reply->instanceId, 2);
}

TEST_P(ProxyContractTest, AnIdentifierChoosesThePluginOfAFile) {
    RecordedSession session(proxy);
    session.load(example("trio.so"), numberOf(0x54725570).c_str());
    session.play();
    session.fillInputs(0);
    EXPECT_EQ(session.render(), 1);
    for (int32_t frame = 0; frame < session.context->blockSize; ++frame)
        ASSERT_EQ(session.context->outputChannel(1)[frame], -session.context->inputChannel(1)[frame]);
}

TEST_P(ProxyContractTest, AnEffectRendersWithItsParametersOfTheBlock) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    session.play();
    session.change(0, 0.001F);
    session.change(2, 1.0F);
    session.context->inputChannel(0)[3] = 0.5F;
    EXPECT_EQ(session.render(), 1);
    EXPECT_EQ(session.context->outputChannel(0)[3], 0.0F);
    EXPECT_EQ(session.context->outputChannel(0)[3 + 44], 0.5F);
    EXPECT_TRUE(session.context->areGuardsIntact());
}

TEST_P(ProxyContractTest, AnInstrumentPlaysANoteAtItsPlaceInTheBlock) {
    RecordedSession session(proxy);
    session.load(example("tone.so"));
    session.play();
    session.change(1, 0.01F);
    session.render();
    session.note(0x90, 69, 127, 100);
    session.render();
    const float* output = session.context->outputChannel(0);
    EXPECT_TRUE(std::all_of(output, output + 100, [](float sample) { return sample == 0; }));
    EXPECT_TRUE(std::any_of(output + 100, output + 256, [](float sample) { return sample > 0.1F; }));
}

TEST_P(ProxyContractTest, ATailEndsWhenNothingKeepsThePluginActive) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    session.play();
    session.change(0, 0.01F);
    EXPECT_EQ(session.render(true), 1);
    EXPECT_EQ(session.render(false), 2);
    int blocks = 1;
    while (blocks < 100 && session.render(false) == 2)
        ++blocks;
    EXPECT_LT(blocks, 100) << "the tail never ends";
}

TEST_P(ProxyContractTest, MoreFramesThanABlockHoldsAreRenderedAsABlock) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    session.play();
    EXPECT_EQ(session.context->process(100000, true, false), 1);
    EXPECT_TRUE(session.context->areGuardsIntact());
}

TEST_P(ProxyContractTest, SeveralInstancesLiveSideBySide) {
    RecordedSession echo(proxy);
    RecordedSession tone(proxy);
    echo.load(example("echo.so"));
    tone.load(example("tone.vst3"));
    EXPECT_EQ(tone.instanceId, 2);
    echo.play();
    tone.play();
    echo.change(2, 0.0F);
    echo.context->inputChannel(0)[5] = 0.5F;
    EXPECT_EQ(tone.render(), 1);
    EXPECT_EQ(echo.render(), 1);
    EXPECT_EQ(echo.context->outputChannel(0)[5], 0.5F);
    EXPECT_EQ(tone.context->outputChannel(0)[5], 0.0F);
    tone.letGo();
    EXPECT_EQ(echo.render(), 1);
}

TEST_P(ProxyContractTest, AnInstanceSaysWhatItIsNow) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    session.play();
    session.change(2, 1.0F);
    session.render();
    const Ref<DefineIoReply> now = session.updateIo();
    EXPECT_EQ(now->instanceId, 1);
    EXPECT_EQ(now->state->parameters[2]->display.toStdString(), "100");
}

TEST_P(ProxyContractTest, TheTextOfAWatchedParameterIsTold) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    session.play();
    session.context->setParameterFlag(1, parameterWatched);
    session.change(0, 0.5F);
    session.change(1, 0.25F);
    session.render();
    EXPECT_THAT(session.listener->waitFor(1),
                ElementsAre(golden("01 01 00 00 00 01 00 00 00 00 00 00 08 'Feedback' 00 00 00 02 '25'")));
}

TEST_P(ProxyContractTest, WhatAPluginReportsReachesTheListenerInItsOrder) {
    RecordedSession session(proxy);
    session.load(testPlugin("reports-when-asked.so"));
    constexpr int32_t beginEdit = 3;
    constexpr int32_t automateHere = 1;
    constexpr int32_t endEdit = 4;
    for (const int32_t report : {beginEdit, automateHere, endEdit})
        proxy->setCurrentProgram(1, report);
    const std::vector<std::string> told = session.listener->waitFor(3);
    ASSERT_EQ(told.size(), 3U);
    EXPECT_EQ(told[0], golden("03 01 00 00 00 03 00 00 00 01"));
    EXPECT_EQ(told[1].substr(0, 27), golden("00 01 00 00 00 03 00 00 00"));
    EXPECT_EQ(told[2], golden("03 01 00 00 00 03 00 00 00 00"));
}

TEST_P(ProxyContractTest, AReceiverIsNotCalledOnTheThreadThatSends) {
    class ThreadRecorder : public TestReplyHandler {
    public:
        void onReply(PluginHostReply* reply) override {
            thread = pthread_self();
            TestReplyHandler::onReply(reply);
        }
        pthread_t thread = pthread_self();
    };
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    const Ref<ThreadRecorder> recorder(new ThreadRecorder);
    const pthread_t unset = recorder->thread;
    proxy->updateIO(1, recorder);
    recorder->wait();
    EXPECT_FALSE(pthread_equal(recorder->thread, unset));
}

TEST_P(ProxyContractTest, APresetKeepsWhatWasSet) {
    const TestDirectory directory;
    RecordedSession session(proxy);
    session.load(example("echo.vst3"));
    session.play();
    session.change(1, 0.25F);
    session.render();
    EXPECT_EQ(session.savePreset(directory / "made/for/it/echo.vstpreset"), "");
    session.change(1, 0.75F);
    session.render();
    EXPECT_EQ(session.updateIo()->state->parameters[1]->display.toStdString(), "75");
    EXPECT_EQ(session.loadPreset(directory / "made/for/it/echo.vstpreset"), "");
    EXPECT_EQ(session.updateIo()->state->parameters[1]->display.toStdString(), "25");
}

TEST_P(ProxyContractTest, APresetThatIsNotThereIsRefusedWithTheSystemsWords) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    EXPECT_THAT(session.loadPreset("/no/such/preset.fxb"), testing::HasSubstr("No such file or directory"));
    proxy->ping();
}

TEST_P(ProxyContractTest, ARequestForAnInstanceThatIsNotThereIsPassedOver) {
    const CapturedOutput errors(STDERR_FILENO);
    proxy = nullptr;
    proxy = provider->createProxy();
    proxy->closeGUI(77);
    proxy->ping();
    EXPECT_THAT(errors.text(), testing::HasSubstr("No plugin instance found with id 77\n"));
}

TEST_P(ProxyContractTest, RepliesNeedNoReceiver) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    proxy->updateIO(1, nullptr);
    proxy->loadPreset(1, "/no/such/preset.fxb", nullptr);
    proxy->ping();
}

TEST_P(ProxyContractTest, AnEditorOpensUnderItsTitleAndItsClosingIsToldOnce) {
    RecordedSession session(proxy);
    session.load(example("echo.so"));
    proxy->openGUI(1, 0, true, title.c_str());
    proxy->ping();
    EXPECT_TRUE(eventually([&] { return countWindows() == 1; }));
    proxy->closeGUI(1);
    proxy->ping();
    EXPECT_THAT(session.listener->waitFor(1), ElementsAre(golden("04 01 00 00 00")));
    EXPECT_TRUE(eventually([&] { return countWindows() == 0; }));
}

TEST_P(ProxyContractTest, AListenerHearsNothingOfARemovedInstance) {
    RecordedSession session(proxy);
    session.load(testPlugin("reports-when-asked.so"));
    proxy->removePluginInstance(1);
    constexpr int32_t beginEdit = 3;
    proxy->setCurrentProgram(1, beginEdit);
    // The instance that comes next tells when the first one's report has gone by.
    RecordedSession second(proxy);
    second.load(testPlugin("reports-when-asked.so"));
    proxy->setCurrentProgram(2, beginEdit);
    EXPECT_EQ(second.listener->waitFor(1).size(), 1U);
    EXPECT_THAT(session.listener->all(), IsEmpty());
}

TEST_P(ProxyContractTest, AfterTheShutdownEveryCallIsRefused) {
    proxy->shutdown();
    EXPECT_EQ(lossText([&] { proxy->ping(); }), PluginHostProxy::lostMessage);
    EXPECT_EQ(lossText([&] { proxy->showAllGUIs(); }), PluginHostProxy::lostMessage);
    proxy->shutdown();
}

TEST_P(ProxyContractTest, AShutdownEndsAHostThatPlaysAndHasAnEditorOpen) {
    RecordedSession session(proxy);
    session.load(example("echo.vst3"));
    session.play();
    session.render();
    proxy->openGUI(1, 0, true, title.c_str());
    proxy->ping();
    EXPECT_TRUE(eventually([&] { return countWindows() == 1; }));
    session.context->stopProcessing();
    session.context->drain();
    session.context = nullptr;
    proxy->shutdown();
    EXPECT_TRUE(eventually([&] { return countWindows() == 0; })) << "a window has stayed";
}

/// What the host of a provider answers, tells and renders in a session with a plug-in.
struct Transcript {
    std::vector<std::string> answers;
    std::vector<std::string> notifications;
    std::vector<std::string> blocks;
};

Transcript playScript(const Provider& provider, const std::string& path, const std::string& identifier) {
    const TestDirectory directory;
    const Ref<TestProxyProvider> made = provider.make();
    RecordedSession session(made->createProxy());
    const std::string preset = directory / "preset.fxb";
    session.load(path, identifier.c_str());
    session.play();
    const auto parameters = static_cast<uint16_t>(session.reply->state->parameters.size());
    for (uint32_t block = 0; block < 12; ++block) {
        session.fillInputs(block);
        session.note(block % 2 == 0 ? 0x90 : 0x80, 60, 100, 17);
        for (uint16_t index = 0; index < parameters; ++index)
            session.change(index, 0.07F * static_cast<float>(block + 1));
        session.render(block < 10);
        if (block == 5)
            session.savePreset(preset);
    }
    session.loadPreset(preset);
    session.loadPreset("/no/such/preset.fxb");
    session.updateIo();
    session.proxy->openGUI(session.instanceId, 0, true, "Script");
    session.proxy->closeGUI(session.instanceId);
    session.proxy->ping();
    // What a plug-in reports as its program is set may be sent at once, or behind what is queued by then.
    for (int32_t program = 1; program <= 5; ++program) {
        session.proxy->setCurrentProgram(session.instanceId, program);
        session.proxy->ping();
        session.proxy->ping();
    }
    session.updateIo();
    session.letGo();
    session.proxy->shutdown();
    // A path differs from run to run.
    for (std::string& answer : session.answers) {
        if (const size_t place = answer.find(directory.path); place != std::string::npos)
            answer.replace(place, directory.path.size(), "DIRECTORY");
    }
    return {session.answers, session.listener->all(), session.blocks};
}

class SameScriptTest : public testing::TestWithParam<std::pair<std::string, int32_t>> {};

INSTANTIATE_TEST_SUITE_P(With, SameScriptTest,
                         testing::Values(std::pair("echo.so", 0), std::pair("tone.so", 0),
                                         std::pair("trio.so", 0x54725570), std::pair("echo.vst3", 0),
                                         std::pair("tone.vst3", 0), std::pair("reports-when-asked.so", 0)),
                         [](const auto& test) {
                             std::string name = test.param.first;
                             std::replace_if(
                                 name.begin(), name.end(), [](char c) { return c == '.' || c == '-'; }, '_');
                             return name;
                         });

TEST_P(SameScriptTest, GivesTheSameAnswersNotificationsAndSamplesInBothPlaces) {
    const auto& [file, number] = GetParam();
    const std::string path = file == "reports-when-asked.so" ? testPlugin(file) : example(file);
    const std::string identifier = number != 0 ? numberOf(number) : "";
    const Transcript child = playScript(inAChild, path, identifier);
    const Transcript here = playScript(inThisProcess, path, identifier);
    EXPECT_EQ(child.answers, here.answers);
    EXPECT_EQ(child.notifications, here.notifications);
    EXPECT_EQ(child.blocks, here.blocks);
    EXPECT_EQ(here.blocks.size(), 12U);
    EXPECT_GE(here.answers.size(), 5U);
}

} // namespace
