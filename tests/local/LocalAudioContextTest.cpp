// The audio block of a host in its client's process, as the client's audio thread uses it. If these fail, a
// block begins with what was in memory, with the events of the one before, or renders denormals at a crawl.

#include "local/LocalPluginAudioContext.h"
#include "support/FakePluginInstance.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <xmmintrin.h>

using namespace test_support;

namespace {

constexpr unsigned flushesDenormals = 0x8040; // results and operands

class LocalAudioContextTest : public testing::Test {
protected:
    LocalAudioContextTest() {
        instance->inputs = 2;
        instance->outputs = 2;
        instance->onCall = [this](const std::string&) { inside.push_back(_mm_getcsr() & flushesDenormals); };
    }

    Ref<LocalPluginAudioContext> makeContext() {
        const Ref<LocalPluginAudioContext> context(new LocalPluginAudioContext(*instance, 64));
        context->layOut();
        return context;
    }

    CallLog log;
    Ref<FakePluginInstance> instance{new FakePluginInstance(nullptr, 1, log)};
    /// What each call of the instance found.
    std::vector<unsigned> inside;
};

} // namespace

TEST_F(LocalAudioContextTest, DenormalsCountAsZeroInsideOfTheInstanceAndNotOutside) {
    const Ref<LocalPluginAudioContext> context = makeContext();
    const unsigned outside = _mm_getcsr();
    ASSERT_EQ(outside & flushesDenormals, 0U);
    context->startProcessing();
    context->process(64, false, false);
    context->stopProcessing();
    EXPECT_EQ(inside, (std::vector<unsigned>(3, flushesDenormals)));
    EXPECT_EQ(_mm_getcsr(), outside);
}

TEST_F(LocalAudioContextTest, EachBlockForgetsTheOutputEventsOfTheLast) {
    const Ref<LocalPluginAudioContext> context = makeContext();
    *context->getRegions().outputEventCount = 5;
    context->process(64, false, false);
    EXPECT_EQ(*context->getRegions().outputEventCount, 0);
}

TEST_F(LocalAudioContextTest, ANewBlockIsZero) {
    // From here on the allocator fills what it gives. Sanitizers do so anyway.
    mallopt(M_PERTURB, 0x55);
    const Ref<LocalPluginAudioContext> context = makeContext();
    mallopt(M_PERTURB, 0);
    const auto* bytes = static_cast<const uint8_t*>(context->getRegions().memory);
    EXPECT_TRUE(
        std::all_of(bytes, bytes + context->getRegions().memorySize, [](uint8_t byte) { return byte == 0; }));
}
