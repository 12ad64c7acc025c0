// The server's transport as a plug-in gets it. If these fail, an arpeggio or a delay is out of time with the
// song.

#include "live/LiveTest.h"
#include "plugins/library/BlockShown.h"

using namespace test_support;
using testing::AllOf;
using testing::Each;

namespace {

constexpr size_t period = 1024;
// Of VST 2.
constexpr int changedFlag = 1;
constexpr int playingFlag = 2;

/// A plug-in that shows what each block has for its transport.
class TransportTest : public LiveTest {
protected:
    void startShowing() {
        startServer(period);
        startLive({TEST_PLUGIN_DIRECTORY "/shows-its-block.so"});
    }

    /// A value of each of some periods.
    using Values = std::vector<float>;
    std::vector<Values> showPeriods() {
        peer->record(4 * period, {});
        require(eventually([&] { return peer->hasRecorded(); }), "no recording");
        std::vector<Values> shown;
        for (size_t begin = 0; begin < peer->getRecording().size(); begin += period) {
            const auto first = peer->getRecording().begin() + static_cast<ptrdiff_t>(begin);
            shown.emplace_back(first, first + shownCount);
        }
        return shown;
    }

    /// The last of some periods, once `isExpected` for all of them.
    template <class Condition>
    Values showWhen(const Condition& isExpected) {
        std::vector<Values> shown;
        const bool isShown = eventually([&] {
            shown = showPeriods();
            return std::ranges::all_of(shown, isExpected);
        });
        EXPECT_TRUE(isShown) << testing::PrintToString(shown);
        return shown.back();
    }

    static bool isPlaying(const Values& shown) {
        // 0 for a block that was late.
        return (static_cast<int>(shown[shownFlags]) & playingFlag) != 0;
    }
    static bool stands(const Values& shown) { return shown[shownTempo] != 0 && !isPlaying(shown); }
};

} // namespace

TEST_F(TransportTest, BeatsOfATimebaseMasterComeAsQuarters) {
    startShowing();
    // Bars of three eighths at 90 eighths a minute; the middle of the second beat of the fifth bar.
    ASSERT_TRUE(peer->setTimebase({.bar = 5,
                                   .beat = 2,
                                   .tick = 480,
                                   .ticksPerBeat = 960,
                                   .beatsPerBar = 3,
                                   .beatType = 8,
                                   .beatsPerMinute = 90}));
    jack_transport_start(peer->get());
    const Values shown = showWhen(isPlaying);
    EXPECT_EQ(shown[shownTempo], 45);
    EXPECT_EQ(shown[shownBarStart], 4 * 1.5F);
    EXPECT_EQ(shown[shownPosition], 4 * 1.5F + 0.75F);
    EXPECT_EQ(shown[shownNumerator], 3);
    EXPECT_EQ(shown[shownDenominator], 8);
    EXPECT_EQ(endLive(), 0);
}

TEST_F(TransportTest, WithoutAMasterBeatsAreCountedFromTheFirstFrame) {
    startShowing();
    jack_transport_locate(peer->get(), 5 * 24000 + 12000);
    const Values shown =
        showWhen([](const Values& each) { return stands(each) && each[shownFrame] == 5 * 24000 + 12000; });
    EXPECT_EQ(shown[shownTempo], 120);
    EXPECT_EQ(shown[shownPosition], 5.5F);
    EXPECT_EQ(shown[shownBarStart], 4);
    EXPECT_EQ(shown[shownNumerator], 4);
    EXPECT_EQ(shown[shownDenominator], 4);
    EXPECT_EQ(endLive(), 0);
}

TEST_F(TransportTest, FramesAdvanceWhileItRollsAndAJumpIsMarkedOnce) {
    startShowing();
    showWhen(stands);
    jack_transport_start(peer->get());
    std::vector<Values> shown;
    ASSERT_TRUE(eventually([&] {
        shown = showPeriods();
        return std::ranges::all_of(shown, isPlaying);
    }));
    for (size_t index = 1; index < shown.size(); ++index) {
        EXPECT_EQ(shown[index][shownFrame], shown[index - 1][shownFrame] + period);
        EXPECT_EQ(static_cast<int>(shown[index][shownFlags]) & changedFlag, 0);
    }
    jack_transport_stop(peer->get());
    showWhen(stands);
    EXPECT_EQ(endLive(), 0);
}
