// What an instance gives back. If this fails, a host grows with each instance that a client has had.

#include "support/HeapInUse.h"
#include "vst2/Vst2Fixture.h"

using namespace test_support;

// Sanitizers have an allocator, and a search for leaks, of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

class Vst2Memory : public Vst2Test {};

TEST_F(Vst2Memory, AnInstanceThatGoesTakesItsBuffersForEventsWithIt) {
    constexpr int instances = 100;
    const auto comeAndGo = [&] {
        RecordingEffect other;
        Ref<Vst2PluginInstance> made(new Vst2PluginInstance(host.get(), instanceId, false, nullptr, 0));
        made->attach(&other.effect);
        made->initialize();
        made->terminate();
        made = nullptr;
    };
    comeAndGo();
    const auto before = static_cast<ptrdiff_t>(heapInUse());
    for (int i = 0; i < instances; ++i)
        comeAndGo();
    EXPECT_LT(static_cast<ptrdiff_t>(heapInUse()) - before, instances * 100);
}

#endif
