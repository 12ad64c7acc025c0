// The run loop that a plug-in gets. If these fail, editors that need one stay closed, or handlers are called
// after their plug-in has terminated.

#include "Vst3Fixture.h"
#include "plugin/Extensions.h"
#include "plugin/RunLoop.h"
#include "support/Eventually.h"
#include "vst3/Vst3Host.h"

#include <atomic>

using Steinberg::Linux::IEventHandler;
using Steinberg::Linux::IRunLoop;
using Steinberg::Linux::ITimerHandler;

namespace {

/// On the test's stack.
class Handler final : public IEventHandler, public ITimerHandler {
public:
    virtual ~Handler() = default;

    tresult PLUGIN_API queryInterface(const TUID, void** result) override {
        *result = nullptr;
        return kNoInterface;
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return ++references; }
    Steinberg::uint32 PLUGIN_API release() override { return --references; }
    void PLUGIN_API onFDIsSet(int) override {}
    void PLUGIN_API onTimer() override { ++timers; }

    std::atomic<uint32_t> references = 1;
    int timers = 0;
};

class Vst3RunLoopTest : public Vst3Test {
protected:
    static IPtr<IRunLoop> loopOf(FUnknown* object) { return interfaceOf<IRunLoop>(object); }

    Handler called;
};

} // namespace

TEST_F(Vst3RunLoopTest, TheFrameAndTheContextHaveOneWithTheExtensionAlone) {
    Vst3Host& host = *new Vst3Host(nullptr);
    EXPECT_FALSE(loopOf(host.getFrame()));
    EXPECT_FALSE(loopOf(host.getContext()));
    const ScopedExtensions extensions{ExtensionSet{Extension::runLoop}};
    const IPtr<IRunLoop> loop = loopOf(host.getFrame());
    ASSERT_TRUE(loop);
    EXPECT_EQ(loop, loopOf(host.getContext()));
    EXPECT_EQ(loop, loopOf(loop));
    EXPECT_EQ(interfaceOf<FUnknown>(loop), loop.get());
    EXPECT_FALSE(interfaceOf<Steinberg::IPlugFrame>(loop));
    // An instance that is gone.
    EXPECT_EQ(loop->registerTimer(&called, 1), kResultFalse);
    EXPECT_EQ(loop->unregisterTimer(&called), kResultFalse);
    EXPECT_EQ(called.references, 1U);
}

TEST_F(Vst3RunLoopTest, HandlersAreHeldAndCalledUntilTheyAreUnregistered) {
    const ScopedExtensions extensions{ExtensionSet{Extension::runLoop}};
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    const IPtr<IRunLoop> loop = loopOf(instance->getHost().getFrame());
    EXPECT_EQ(loop->registerTimer(nullptr, 1), kInvalidArgument);
    EXPECT_EQ(loop->registerEventHandler(nullptr, 0), kInvalidArgument);
    EXPECT_EQ(loop->registerEventHandler(&called, -1), kInvalidArgument);
    EXPECT_EQ(loop->unregisterTimer(&called), kInvalidArgument);
    EXPECT_EQ(loop->unregisterEventHandler(&called), kInvalidArgument);
    EXPECT_EQ(loop->registerTimer(&called, 1), kResultOk);
    EXPECT_EQ(loop->registerEventHandler(&called, 0), kResultOk);
    EXPECT_EQ(called.references, 3U);
    EXPECT_TRUE(test_support::eventually([&] {
        host->getRunLoop().callFor(1000);
        return called.timers >= 3;
    }));
    EXPECT_EQ(loop->unregisterTimer(&called), kResultOk);
    EXPECT_EQ(called.references, 2U);
    EXPECT_EQ(loop->unregisterEventHandler(&called), kResultOk);
    EXPECT_EQ(called.references, 1U);
    instance->terminate();
}

TEST_F(Vst3RunLoopTest, WhatIsLeftGoesWithTheTerminationAndNothingComesLater) {
    const ScopedExtensions extensions{ExtensionSet{Extension::runLoop}};
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    const IPtr<IRunLoop> loop = loopOf(instance->getHost().getFrame());
    EXPECT_EQ(loop->registerTimer(&called, 1), kResultOk);
    EXPECT_EQ(loop->registerEventHandler(&called, 0), kResultOk);
    instance->terminate();
    EXPECT_EQ(called.references, 1U);
    EXPECT_EQ(loop->registerTimer(&called, 1), kResultFalse);
    EXPECT_EQ(called.references, 1U);
}
