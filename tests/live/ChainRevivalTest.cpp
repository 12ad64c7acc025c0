// Plug-ins of a chain whose hosts die, and a chain whose session gets another format. If these fail, a crash
// costs a musician the sound that was set, the plug-ins beside it lose blocks, or the callback waits for the
// allocator or a lock as a plug-in comes back.

#include "live/ChainTest.h"
#include "plugins/library/BlockShown.h"
#include "support/CountedCalls.h"

#include <csignal>

using test_support::CountedCalls;
using test_support::countedCalls;
using namespace std::chrono_literals;
using testing::Each;

namespace {

class ChainRevivalTest : public ChainTest {
protected:
    ChainRevivalTest() : ChainTest(true) {
        restored = [this](const ChainPlugin&, plugin_host::status code, std::string_view) {
            returns += code == PLUGIN_HOST_OK ? 1 : 0;
        };
    }

    // What the revival is at may have files.
    void TearDown() override {
        chain.reset();
        session.reset();
        ChainTest::TearDown();
    }

    void makeTwo(bool pipeline) {
        make({{examplePlugin("trio.so"), "54725570", ""}, {testPlugin("shows-its-block.so"), "", ""}},
             pipeline);
    }

    void setGain(size_t index, float gain) {
        plugin_host::plugin& given = plugin(index).getPlugin();
        given.begin();
        EXPECT_TRUE(given.add_change(0, gain));
        given.process(blockSize);
    }

    /// What comes back once it is the same for a while.
    float settledLevel() {
        for (int i = 0; i < 10; ++i)
            render(level(0.5F, blockSize));
        EXPECT_THAT(left, Each(left[0]));
        return left[0];
    }

    /// As the program does by the callback for a death.
    bool kill(size_t index) {
        const pid_t host = hostOf(index);
        ::kill(host, SIGKILL);
        EXPECT_TRUE(test_support::eventually([&] {
            return plugin_host_plugin_begin(plugin(index).getPlugin().get(), nullptr) == PLUGIN_HOST_DEAD ||
                   hostOf(index) != host;
        }));
        return plugin(index).comeBack(ChainPlugin::Clock::now());
    }

    /// Renders until one more has come back, with `check` after each block.
    template <class Check>
    void renderUntilReturn(const Check& check) {
        const size_t before = returns;
        EXPECT_TRUE(test_support::eventually([&] {
            check();
            session->dispatch();
            return returns > before;
        }));
        check();
    }

    size_t returns = 0;
};

} // namespace

TEST_F(ChainRevivalTest, APluginComesBackWithItsValuesAndTheOthersLoseNoBlock) {
    for (const bool pipeline : {false, true}) {
        make({{examplePlugin("trio.so"), "54725570", ""}, {examplePlugin("trio.so"), "54724c6f", ""}},
             pipeline);
        setGain(1, 0.75F);
        const float louder = settledLevel();
        EXPECT_LT(louder, -0.5F);
        for (int life = 0; life < 2; ++life) {
            EXPECT_TRUE(kill(1));
            bool wasBypassed = false;
            // What the first one gives reaches the output beside the second as well as through it.
            renderUntilReturn([&] {
                render(level(0.5F, blockSize));
                wasBypassed = wasBypassed || left[0] == -0.5F;
                ASSERT_THAT(left, Each(testing::Le(0)));
            });
            EXPECT_TRUE(wasBypassed);
            EXPECT_EQ(settledLevel(), louder);
            EXPECT_FALSE(plugin(1).isAway());
        }
        EXPECT_EQ(chain->getLateBlocks(), 0U);
    }
}

TEST_F(ChainRevivalTest, OneThatDiesTooOftenIsGone) {
    makeTwo(false);
    for (size_t life = 0; life < RevivalLimit::most; ++life) {
        EXPECT_TRUE(kill(0));
        renderUntilReturn([&] { render(level(0.5F, blockSize)); });
        EXPECT_THAT(right, Each(-0.5F));
    }
    EXPECT_FALSE(kill(0));
    for (int i = 0; i < 3; ++i) {
        render(level(0.5F, blockSize), {note(0)});
        EXPECT_THAT(right, Each(0.5F));
    }
    EXPECT_NE(plugin(0).getStatus(), PLUGIN_HOST_OK);
    EXPECT_TRUE(plugin(0).isAway());
    EXPECT_THROW(plugin(0).savePreset(), std::runtime_error);
    EXPECT_EQ(chain->getLostMidi(), 0U);
}

// The counts are of the plain program: a sanitizer has its own allocator and its own calls.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ChainRevivalTest, NeitherADeathNorAReturnNorAnotherFormatAllocatesOrLocksInTheCallback) {
    for (const bool pipeline : {false, true}) {
        makeTwo(pipeline);
        const std::vector<MidiMessage> midi{note(1)};
        const std::vector<float> input = level(0.5F, blockSize);
        std::vector<float> output = input;
        const float* const inputs[] = {input.data(), input.data()};
        float* const outputs[] = {output.data(), output.data()};
        period.inputs = inputs;
        period.outputs = outputs;
        period.midi = midi;
        period.frames = blockSize;
        CountedCalls counted;
        const auto renderCounted = [&](bool isCounted) {
            period.begin = ChainPlugin::Clock::now();
            countedCalls = {};
            chain->render(period);
            const CountedCalls now = countedCalls;
            counted.allocations += isCounted ? now.allocations : 0;
            counted.locks += isCounted ? now.locks : 0;
        };
        for (int i = 0; i < 10; ++i)
            renderCounted(false);
        EXPECT_TRUE(kill(0));
        renderUntilReturn([&] { renderCounted(true); });
        session->set_format(96000, 128);
        renderCounted(true);
        chain->setFormat(96000, 128);
        for (int i = 0; i < 10; ++i)
            renderCounted(true);
        EXPECT_EQ(counted.allocations, 0);
        EXPECT_EQ(counted.locks, 0);
        EXPECT_EQ(plugin(0).getStatus(), PLUGIN_HOST_OK);
        session->set_format(sampleRate, blockSize);
    }
}
#endif

TEST_F(ChainRevivalTest, AnotherFormatIsThatOfEachBlockAndOfTheLatency) {
    for (const bool pipeline : {false, true}) {
        makeTwo(pipeline);
        render(level(0.5F, 4 * blockSize));
        EXPECT_EQ(left[blockSize + shownFrameCount], blockSize) << "in portions";
        for (const auto& [rate, size] : {std::pair(96000, 256U), std::pair(44100, 512U)}) {
            session->set_format(rate, static_cast<int>(size));
            chain->setFormat(rate, size);
            for (int i = 0; i < 2; ++i)
                render(level(0.5F, size));
            EXPECT_EQ(left[shownFrameCount], static_cast<float>(size));
            EXPECT_EQ(left[shownSampleRate], static_cast<float>(rate));
            EXPECT_THAT(right, Each(-0.5F));
            EXPECT_EQ(chain->getAudioLatency(), pipeline ? size : 0U);
        }
        session->set_format(sampleRate, blockSize);
    }
}

TEST(RevivalLimit, AllowsThreeInAnyMinute) {
    const RevivalLimit::Clock::time_point start{};
    RevivalLimit limit;
    for (const auto& [time, isAllowed] : {std::pair(0s, true),
                                          {10s, true},
                                          {59s, true},
                                          {59s, false},
                                          {60s, true},
                                          {69s, false},
                                          {70s, true},
                                          {118s, false},
                                          {119s, true}})
        EXPECT_EQ(limit.allows(start + time), isAllowed) << time.count();
}
