// If these fail, a plug-in that calls its host while its instance goes takes the host down, or reaches memory
// that is another's by then.

#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "vst2/Vst2Fixture.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace test_support;

namespace {

class Vst2Ending : public Vst2Test {
protected:
    /// All that an effect may report.
    void reportEverything() {
        ask(audioMasterAutomate, 0, 0, nullptr, 0.5F);
        ask(audioMasterBeginEdit, 0);
        ask(audioMasterEndEdit, 0);
        ask(audioMasterUpdateDisplay);
        ask(audioMasterIOChanged);
    }

    bool isLinked() const { return effect.effect.resvd1 != 0; }
};

/// Holds up whoever resizes it.
class StuckWindow : public TinyWindow {
public:
    using TinyWindow::TinyWindow;

    void resize(uint32_t, uint32_t) override {
        isStuck = true;
        EXPECT_TRUE(eventually([] { return !isStuck; }, longBound));
    }

    static inline std::atomic<bool> isStuck;
};

} // namespace

TEST_F(Vst2Ending, WhatAnEffectReportsWhileItsInstanceClosesItIsNoNotification) {
    initialize();
    announce();
    int32_t closes = 0;
    effect.answer(effClose, [&](const DispatcherCall&, void*) -> VstIntPtr {
        ++closes;
        reportEverything();
        std::thread([&] { reportEverything(); }).join();
        return 0;
    });
    instance = nullptr;
    EXPECT_EQ(closes, 1) << "an instance that gets a new owner while it ends ends twice";
    EXPECT_TRUE(handler->notifications.empty());
}

TEST_F(Vst2Ending, AnEffectThatStaysOpenIsUnlinked) {
    startProcessing();
    EXPECT_EQ(ask(audioMasterGetCurrentProcessLevel), 1);
    instance = nullptr;
    EXPECT_FALSE(isLinked());
    EXPECT_EQ(ask(audioMasterVersion), 2400);
    EXPECT_EQ(ask(audioMasterGetCurrentProcessLevel), 0);
    reportEverything();
}

TEST_F(Vst2Ending, AnEffectThatIsClosedWithoutTerminateIsUnlinkedBefore) {
    initialize();
    bool linked = true;
    effect.answer(effClose, [&](const DispatcherCall&, void*) -> VstIntPtr {
        linked = isLinked();
        return 0;
    });
    instance = nullptr;
    EXPECT_FALSE(linked);
}

TEST_F(Vst2Ending, ATerminatedEffectIsAnsweredZeroAlsoWhenItsInstanceIsGone) {
    initialize();
    announce();
    instance->terminate();
    EXPECT_EQ(ask(audioMasterVersion), 0);
    EXPECT_NE(Vst2PluginInstance::instanceOf(effect.effect.resvd1), instance.get());
    instance = nullptr;
    EXPECT_EQ(ask(audioMasterVersion), 0);
    EXPECT_EQ(ask(audioMasterUpdateDisplay), 0);
}

TEST_F(Vst2Ending, ATerminatedEffectIsNotTouched) {
    initialize();
    instance->terminate();
    const VstIntPtr link = effect.effect.resvd1;
    instance = nullptr;
    EXPECT_EQ(effect.effect.resvd1, link);
}

// An effect of a module that doesn't free it, with a thread that goes on as if nothing had happened.
TEST_F(Vst2Ending, AThreadOfAnEffectMayCallThroughoutTheLivesOfItsInstances) {
    constexpr int32_t lives = 300;
    AEffect& plain = effect.effect;
    plain.dispatcher = [](AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) -> VstIntPtr { return 0; };
    instance = nullptr;
    std::atomic<bool> stop{false};
    std::atomic<int32_t> rounds{0};
    std::thread caller([&] {
        while (!stop) {
            reportEverything();
            ask(audioMasterGetCurrentProcessLevel);
            ask(audioMasterNeedIdle);
            ++rounds;
            // Not always inside: other instances wait for their own callers beside this one.
            std::this_thread::yield();
        }
    });
    for (int32_t life = 0; life < lives; ++life) {
        Ref<Vst2PluginInstance> made(new Vst2PluginInstance(host.get(), instanceId, false, nullptr, 0));
        made->attach(&plain);
        made->initialize();
        made->handler = handler.get();
        const int32_t before = rounds;
        EXPECT_TRUE(eventually([&] { return rounds != before; }));
        if (life % 2 == 0)
            made->terminate();
        made = nullptr;
        // What was posted holds instances.
        if (life % 10 == 0)
            host = new PluginHost(sampleRate, blockSize);
        std::atomic_ref(plain.resvd1) = 0; // by the module, for the next
    }
    stop = true;
    caller.join();
    EXPECT_GE(rounds, lives);
}

TEST_F(Vst2Ending, AnInstanceThatACallNeverLeavesIsLeakedWithALineInTheLog) {
    initialize();
    instance->window = new StuckWindow(windowSizes);
    std::thread caller([&] { ask(audioMasterSizeWindow, 300, 200); });
    EXPECT_TRUE(eventually([] { return StuckWindow::isStuck.load(); }));
    Vst2PluginInstance* leaked = instance.get();
    {
        const CapturedOutput errors(STDERR_FILENO);
        instance = nullptr;
        EXPECT_EQ(errors.text(), "A call of VST plug-in instance 7 doesn't return: the instance is leaked\n");
    }
    EXPECT_EQ(effect.countCalls(effClose), 0U);
    StuckWindow::isStuck = false;
    caller.join();
    // What nothing of the host's can do any more.
    instance = leaked;
    instance = nullptr;
    EXPECT_EQ(effect.countCalls(effClose), 1U);
}
