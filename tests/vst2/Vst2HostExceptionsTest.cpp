// What the host throws while an effect calls back. If these fail, an exception unwinds frames of a plug-in
// that may be written in another language, with its locks held, or a lost client is never noticed.

#include "vst2/Vst2Fixture.h"

#include <stdexcept>
#include <sys/resource.h>
#include <thread>

using namespace test_support;

namespace {

/// A handler whose client has gone.
class LostClient : public RecordingHandler {
public:
    void sendNotification(PluginHostNotification&) override { throw IOException("Broken pipe"); }
};

class BrokenWindow : public TinyWindow {
public:
    using TinyWindow::TinyWindow;

    void resize(uint32_t, uint32_t) override { throw std::runtime_error("No window"); }
};

class Vst2HostExceptions : public Vst2Test {
protected:
    Vst2HostExceptions() {
        effect.effect.numParams = 1;
        effect.effect.numOutputs = 2;
        initialize();
        instance->handler = lost.get();
    }

    /// Calls back, and notes whether the effect's own code goes on behind that.
    VstIntPtr report(VstInt32 opcode) {
        VstIntPtr answer = -1;
        struct Unwound {
            bool* flag;
            ~Unwound() {
                if (flag != nullptr)
                    *flag = true;
            }
        } unwound{&wasUnwound};
        answer = ask(opcode, 300, 200, nullptr, 0.5F);
        unwound.flag = nullptr;
        ++returns;
        return answer;
    }

    void breakWindow() { instance->window = new BrokenWindow(windowSizes); }

    void reportOnAThread() {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        std::thread([&] { report(audioMasterSizeWindow); }).join();
    }

    const Ref<LostClient> lost{new LostClient};
    bool wasUnwound = false;
    int32_t returns = 0;
};

} // namespace

TEST_F(Vst2HostExceptions, AFailureInsideOfACallbackIsThrownWhenTheEffectHasReturned) {
    effect.answer(effIdle, [&](const DispatcherCall&, void*) {
        EXPECT_EQ(report(audioMasterAutomate), 0);
        return VstIntPtr{0};
    });
    ask(audioMasterNeedIdle);
    EXPECT_THROW(instance->idle(), IOException);
    EXPECT_EQ(returns, 1);
    EXPECT_FALSE(wasUnwound);
    effect.answer(effIdle, 0);
    EXPECT_NO_THROW(instance->idle()) << "thrown once";
}

TEST_F(Vst2HostExceptions, ACallInsideOfACallbackPassesItsFailureOnCallByCall) {
    breakWindow();
    effect.answer(effGetParamName, [&](const DispatcherCall&, void*) {
        report(audioMasterSizeWindow);
        return VstIntPtr{0};
    });
    effect.answer(effIdle, [&](const DispatcherCall&, void*) {
        report(audioMasterUpdateDisplay); // takes a snapshot, for which the effect is asked
        return VstIntPtr{0};
    });
    ask(audioMasterNeedIdle);
    EXPECT_THROW(instance->idle(), std::runtime_error);
    EXPECT_EQ(returns, 2);
    EXPECT_FALSE(wasUnwound);
}

TEST_F(Vst2HostExceptions, AFailureInsideOfABlockLeavesProcessBehindTheEffect) {
    makeAudio();
    instance->startProcessing();
    breakWindow();
    effect.onProcess = [&](float**, float**, VstInt32) { report(audioMasterSizeWindow); };
    std::thread worker([&] { EXPECT_THROW(instance->process(blockSize, true, true), std::runtime_error); });
    worker.join();
    EXPECT_EQ(returns, 1);
    EXPECT_FALSE(wasUnwound);
    effect.onProcess = nullptr;
    EXPECT_EQ(instance->process(blockSize, true, true), processActive);
}

TEST_F(Vst2HostExceptions, AnEffectsOwnExceptionPassesAndTheHostsIsDropped) {
    effect.answer(effIdle, [&](const DispatcherCall&, void*) -> VstIntPtr {
        report(audioMasterAutomate);
        throw 42; // NOLINT(hicpp-exception-baseclass): as plug-ins do
    });
    ask(audioMasterNeedIdle);
    EXPECT_THROW(instance->idle(), int);
    EXPECT_EQ(returns, 1);
    effect.answer(effIdle, 0);
    EXPECT_NO_THROW(instance->idle());
}

TEST_F(Vst2HostExceptions, AFailureThatTheHostCaughtInsideOfACallbackIsNotThrownAgain) {
    breakWindow();
    effect.answer(effGetParamName, [&](const DispatcherCall&, void*) {
        report(audioMasterSizeWindow);
        return VstIntPtr{0};
    });
    effect.answer(effIdle, [&](const DispatcherCall&, void*) {
        char name[256] = {};
        EXPECT_THROW(instance->getParameterName(0, name, sizeof name), std::runtime_error);
        return VstIntPtr{0};
    });
    ask(audioMasterNeedIdle);
    EXPECT_NO_THROW(instance->idle());
    EXPECT_EQ(returns, 1);
}

using Vst2HostExceptionsDeathTest = Vst2HostExceptions;

TEST_F(Vst2HostExceptionsDeathTest, AFailureOnAThreadOfTheEffectsEndsTheProcess) {
    breakWindow();
    EXPECT_DEATH(reportOnAThread(), "No window");
}
