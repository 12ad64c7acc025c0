// How the self-test renders. If these fail, a plug-in is tested on less than its minute, gets a transport
// that no application sends, writes outside of its buffers unseen, or isn't stopped when something breaks.

#include "app/TestAudioThread.h"
#include "plugin/Extensions.h"
#include "plugin/PluginException.h"
#include "support/CapturedOutput.h"
#include "support/LocalAudioContext.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <sys/prctl.h>
#include <unistd.h>

using namespace test_support;

namespace {

constexpr int32_t minute = 2646000; // frames at 44100 Hz

/// Keeps what it is called with, and does what the test wants meanwhile. A process of no frames isn't one of
/// the blocks.
class WatchedContext : public LocalAudioContext {
public:
    explicit WatchedContext(int32_t blockSize) : LocalAudioContext(blockSize, 1, 2, 3) {}

    void startProcessing() override {
        calls += "start ";
        onStart();
    }
    int32_t process(int32_t frames, bool keepActive, bool realtime) override {
        if (frames == 0) {
            calls += "drain ";
            return 0;
        }
        allAsWanted = allAsWanted && frames == blockSize && keepActive && !realtime;
        ++blocks;
        onBlock();
        return 0;
    }
    void stopProcessing() override {
        calls += "stop ";
        onStop();
    }

    std::function<void()> onStart = [] {};
    std::function<void()> onBlock = [] {};
    std::function<void()> onStop = [] {};
    std::string calls;
    int32_t blocks = 0;
    bool allAsWanted = true;
};

struct RenderResult {
    std::string kept;
    std::string output;
    std::string error;
};

RenderResult render(const Ref<WatchedContext>& context) {
    const CapturedOutput output(STDOUT_FILENO);
    const CapturedOutput error(STDERR_FILENO);
    const Ref<TestAudioThread> thread(new TestAudioThread(context.get()));
    thread->start();
    thread->join();
    return {thread->getError().toStdString(), output.text(), error.text()};
}

void expectFailure(const Ref<WatchedContext>& context, const std::string& reason) {
    const RenderResult result = render(context);
    EXPECT_EQ(result.kept, "Error rendering audio: " + reason);
    EXPECT_EQ(result.error, "Error rendering audio: " + reason + "\n");
    EXPECT_EQ(result.output, "Running test audio engine\n");
}

bool isAllZero(const float* samples, int32_t count) {
    return std::all_of(samples, samples + count, [](float sample) { return sample == 0; });
}

} // namespace

TEST(TestAudioThread, TellsThatItRunsAndKeepsNoErrorWhenAllIsWell) {
    const RenderResult result = render(new WatchedContext(4096));
    EXPECT_EQ(result.kept, "");
    EXPECT_EQ(result.output, "Running test audio engine\n");
    EXPECT_EQ(result.error, "");
}

TEST(TestAudioThread, RendersTheWholeBlocksOfAMinute) {
    constexpr struct {
        int32_t blockSize;
        int32_t blocks;
    } cases[] = {{256, 10335}, {1000, 2646}, {1001, 2643}, {4096, 645}, {minute, 1}, {minute + 1, 0}};
    for (const auto& [blockSize, blocks] : cases) {
        const Ref<WatchedContext> context(new WatchedContext(blockSize));
        render(context);
        EXPECT_EQ(context->blocks, blocks) << "of " << blockSize << " frames";
    }
}

TEST(TestAudioThread, AsksForWholeBlocksThatKeepActiveAndArentInRealTime) {
    const Ref<WatchedContext> context(new WatchedContext(250));
    render(context);
    EXPECT_GT(context->blocks, 0);
    EXPECT_TRUE(context->allAsWanted);
}

TEST(TestAudioThread, StartsBeforeTheFirstBlockAndStopsAfterTheLast) {
    const Ref<WatchedContext> context(new WatchedContext(minute / 2));
    context->onBlock = [&] { context->calls += "block "; };
    render(context);
    EXPECT_EQ(context->calls, "start block block stop drain ");
}

TEST(TestAudioThread, TheTransportBeginsAtTheStartOfASongInFourFour) {
    const Ref<WatchedContext> context(new WatchedContext(4096));
    std::memset(static_cast<void*>(context->getRegions().transport), 0x55, sizeof(TransportBlock));
    TransportBlock atStart{};
    TransportBlock atFirstBlock{};
    context->onStart = [&] { atStart = context->getTransport(); };
    context->onBlock = [&] {
        if (context->blocks == 1)
            atFirstBlock = context->getTransport();
    };
    render(context);
    for (const TransportBlock& transport : {atStart, atFirstBlock}) {
        TransportBlock wanted{};
        wanted.sampleRate = 44100.0;
        wanted.tempo = 120.0;
        wanted.timeSignatureNumerator = 4;
        wanted.timeSignatureDenominator = 4;
        EXPECT_EQ(std::memcmp(&transport, &wanted, sizeof wanted), 0);
    }
}

TEST(TestAudioThread, TheTransportMovesOnByABlockAfterEach) {
    const Ref<WatchedContext> context(new WatchedContext(441));
    bool isInStep = true;
    context->onBlock = [&] {
        const int32_t before = context->blocks - 1;
        const TransportBlock& transport = context->getTransport();
        isInStep = isInStep && transport.samplePosition == static_cast<uint64_t>(before) * 441 &&
                   std::abs(transport.reservedTime - before * 0.01) < 1e-9 && transport.position == 0 &&
                   transport.tempo == 120.0;
    };
    render(context);
    EXPECT_TRUE(isInStep);
    EXPECT_EQ(context->getTransport().samplePosition, static_cast<uint64_t>(minute));
    EXPECT_NEAR(context->getTransport().reservedTime, 60.0, 1e-9);
}

TEST(TestAudioThread, BuffersAndCountsAreZeroBeforeTheStart) {
    const Ref<WatchedContext> context(new WatchedContext(250));
    const int32_t padded = context->paddedBlockSize;
    ASSERT_EQ(padded, 252);
    std::fill_n(context->getRegions().inputAudio, padded, 1.0F);
    std::fill_n(context->getRegions().outputAudio, 2 * padded, 1.0F);
    *context->getRegions().inputEventCount = 1;
    *context->getRegions().outputEventCount = 2;
    *context->getRegions().parameterChangeCount = 3;
    context->setParameterFlag(1, parameterWatched);
    context->onStart = [&] {
        EXPECT_TRUE(isAllZero(context->getRegions().inputAudio, padded));
        EXPECT_TRUE(isAllZero(context->getRegions().outputAudio, 2 * padded));
        EXPECT_EQ(*context->getRegions().inputEventCount, 0);
        EXPECT_EQ(*context->getRegions().outputEventCount, 0);
        EXPECT_EQ(*context->getRegions().parameterChangeCount, 0);
        EXPECT_TRUE(context->areGuardsIntact());
        EXPECT_TRUE(context->hasParameterFlag(1, parameterWatched)) << "no buffer";
    };
    EXPECT_EQ(render(context).kept, "");
}

TEST(TestAudioThread, AChangeOfAnyByteOfAnyGuardEndsTheRendering) {
    constexpr int32_t spoiledBlock = 3;
    for (size_t guard = 0; guard < PluginAudioContext::guardCount; ++guard) {
        for (size_t byte = 0; byte < PluginAudioContext::guardSize; ++byte) {
            SCOPED_TRACE(testing::Message() << "byte " << byte << " of guard " << guard);
            const Ref<WatchedContext> context(new WatchedContext(256));
            context->onBlock = [&] {
                if (context->blocks == spoiledBlock)
                    context->getRegions().guards[guard][byte] = 0xBA;
            };
            expectFailure(context, "Plugin wrote outside of the supplied buffers.");
            EXPECT_EQ(context->blocks, spoiledBlock);
            EXPECT_EQ(context->calls, "start stop drain ");
        }
    }
}

TEST(TestAudioThread, StopsAfterAFailedBlock) {
    const Ref<WatchedContext> context(new WatchedContext(256));
    context->onBlock = [] { throw IOException("The pipe broke"); };
    expectFailure(context, "The pipe broke");
    EXPECT_EQ(context->blocks, 1);
    EXPECT_EQ(context->calls, "start stop drain ");
}

TEST(TestAudioThread, KeepsTheErrorOfAnyExceptionAndStops) {
    const Ref<WatchedContext> strange(new WatchedContext(256));
    strange->onBlock = [] { throw std::runtime_error("Strange"); };
    expectFailure(strange, "Strange");
    EXPECT_EQ(strange->calls, "start stop drain ");

    const Ref<WatchedContext> stranger(new WatchedContext(256));
    stranger->onBlock = [] { throw 7; };
    stranger->onStop = [] { throw 8; };
    expectFailure(stranger, "Unknown exception");
}

TEST(TestAudioThread, KeepsTheErrorOfAnExceptionInAnyEncodingWithTheExtensionForTexts) {
    const ScopedExtensions extensions(ExtensionSet{Extension::text});
    const Ref<WatchedContext> context(new WatchedContext(256));
    context->onBlock = [] { throw std::runtime_error("Fl\xFCgel"); };
    expectFailure(context, "Fl\xC3\xBCgel");
}

TEST(TestAudioThread, RendersNoBlocksOfNoFrames) {
    const Ref<WatchedContext> context(new WatchedContext(-1));
    EXPECT_EQ(render(context).kept, "");
    EXPECT_EQ(context->blocks, 0);
    EXPECT_EQ(context->calls, "start stop drain ");
}

TEST(TestAudioThread, StopsAfterAFailedStart) {
    const Ref<WatchedContext> context(new WatchedContext(256));
    context->onStart = [] { throw PluginException("Not today"); };
    expectFailure(context, "Not today");
    EXPECT_EQ(context->blocks, 0);
    EXPECT_EQ(context->calls, "start stop drain ");
}

TEST(TestAudioThread, KeepsTheErrorOfAFailedStop) {
    const Ref<WatchedContext> context(new WatchedContext(4096));
    context->onStop = [] { throw PluginException("Won't stop"); };
    expectFailure(context, "Won't stop");
}

TEST(TestAudioThread, KeepsWhatBrokeFirstIfTheStopFailsToo) {
    const Ref<WatchedContext> context(new WatchedContext(256));
    context->onBlock = [] { throw IOException("First"); };
    context->onStop = [] { throw PluginException("Second"); };
    expectFailure(context, "First");
}

TEST(TestAudioThread, EndsAfterTheBlockInWhichAStopIsRequested) {
    const CapturedOutput output(STDOUT_FILENO);
    const Ref<WatchedContext> context(new WatchedContext(256));
    Ref<TestAudioThread> thread(new TestAudioThread(context.get()));
    context->onBlock = [&] { thread->requestStop(); };
    thread->start();
    thread->join();
    EXPECT_EQ(context->blocks, 1);
    EXPECT_EQ(context->calls, "start stop drain ");
}

TEST(TestAudioThread, IsJoinedByWhoLetsGoOfIt) {
    const CapturedOutput output(STDOUT_FILENO);
    const Ref<WatchedContext> context(new WatchedContext(256));
    Ref<TestAudioThread> thread(new TestAudioThread(context.get()));
    thread->start();
    thread = nullptr;
    EXPECT_EQ(context->calls, "start stop drain ");
}

TEST(TestAudioThread, HasAName) {
    const Ref<WatchedContext> context(new WatchedContext(minute));
    char name[16] = {};
    context->onBlock = [&] { prctl(PR_GET_NAME, name); };
    render(context);
    EXPECT_STREQ(name, "Test audio thre"); // as much as the kernel keeps
}
