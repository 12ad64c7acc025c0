// If these fail, a plug-in that reports from a thread of its own while it plays crashes its host, or what it
// reports is lost.

#include "support/StopHost.h"
#include "vst2/Vst2Fixture.h"

#include <atomic>
#include <thread>

using namespace test_support;

namespace {

/// The fixture's effect with calls that any thread may make at any time.
class Vst2Concurrency : public Vst2Test {
protected:
    static constexpr int32_t rounds = 500;

    Vst2Concurrency() {
        AEffect& plain = effect.effect;
        plain.numParams = 4;
        plain.numOutputs = 2;
        plain.flags |= effFlagsIsSynth;
        startProcessing();
        makeAudio();
        for (int32_t i = 0; i < 4; ++i)
            context->getRegions().parameterFlags[i] = 1;
        plain.dispatcher = [](AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
            idles += opcode == effIdle ? 1 : 0;
            return opcode == effGetTailSize ? 1 : 0;
        };
        plain.setParameter = [](AEffect*, VstInt32, float value) { parameter = value; };
        plain.getParameter = [](AEffect*, VstInt32) { return parameter.load(); };
        plain.processReplacing = [](AEffect* self, float**, float** outputs, VstInt32 frames) {
            std::fill_n(outputs[0], frames, 1.0F);
            vst2HostCallback(self, audioMasterGetTime, 0, 0, nullptr, 0);
            vst2HostCallback(self, audioMasterAutomate, 1, 0, nullptr, 0.5F);
            ++blocks;
        };
        parameter = 0;
        blocks = 0;
        idles = 0;
        announce();
        host->instances.insert(instanceId, Ref<PluginInstance>(instance.get()));
    }

    ~Vst2Concurrency() override {
        host->instances.remove(instanceId);
        effect.effect.dispatcher = [](AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
            return 0;
        };
    }

    template <class Notification>
    int32_t count() {
        int32_t found = 0;
        for (const Ref<PluginHostNotification>& notification : handler->notifications)
            found += dynamic_cast<Notification*>(notification.get()) != nullptr ? 1 : 0;
        return found;
    }

    static inline std::atomic<float> parameter;
    static inline std::atomic<int32_t> blocks;
    static inline std::atomic<int32_t> idles;
};

} // namespace

TEST_F(Vst2Concurrency, APluginReportsFromItsOwnThreadWhileItPlaysAndIsPolled) {
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int32_t i = 0; i < rounds; ++i) {
            *context->getRegions().parameterChangeCount = 0;
            *context->getRegions().inputEventCount = 0;
            context->addParameterChange(2, static_cast<float>(i));
            context->addNote(0, 0x90, 60, 100);
            instance->process(blockSize, false, i % 2 == 0);
        }
    });
    threads.emplace_back([&] {
        for (int32_t i = 0; i < rounds; ++i) {
            ask(audioMasterBeginEdit, 3);
            ask(audioMasterAutomate, 3, 0, nullptr, 0.25F);
            ask(audioMasterEndEdit, 3);
            ask(audioMasterNeedIdle);
            ask(audioMasterGetCurrentProcessLevel);
            ask(audioMasterSizeWindow, i, i);
            if (i % 50 == 0)
                ask(audioMasterUpdateDisplay);
        }
    });
    runBeside(*host, threads);
    instance->idle();
    EXPECT_EQ(blocks, rounds);
    EXPECT_GT(idles, 0);
    // All but what came while a snapshot muted the instance; the first of each came before there was one.
    EXPECT_GT(count<BeginOrEndEditParameterNotification>(), 0);
    EXPECT_LE(count<BeginOrEndEditParameterNotification>(), 2 * rounds);
    EXPECT_GT(count<UpdateAllParametersNotification>(), 0);
    EXPECT_LE(count<UpdateAllParametersNotification>(), rounds / 50);
    EXPECT_GT(count<UpdateParameterNotification>(), 0);
    EXPECT_LE(count<UpdateParameterNotification>(), 2 * rounds);
    EXPECT_TRUE(context->areGuardsIntact());
}
