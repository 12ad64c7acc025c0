// Plug-ins that don't answer in time. If these fail, one that hangs takes the music with it, a late one plays
// what belongs to another block, or a plug-in that was slow for a moment stays silent.

#include "library/CycleTest.h"

#include <csignal>

using namespace test_support;
using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;

namespace {

/// A deadline for those that play, which others than these miss.
constexpr auto generous = 2000ms;

/// Plug-ins that stay in a block until the test opens the gate.
class LateTest : public CycleTest {
protected:
    plugin_host::plugin& addWaiting(int worker = 0, const plugin_host::host* host = nullptr) {
        return add(testPlugin("waits-for-its-gate.so"), worker, host);
    }
    plugin_host::plugin& addShowing(int worker = 0, const plugin_host::host* host = nullptr) {
        return add(testPlugin("shows-its-block.so"), worker, host);
    }
    plugin_host::session_options patient() {
        plugin_host::session_options result = options();
        result.hang_timeout = std::chrono::milliseconds(-1);
        return result;
    }
    void openGate() const { touch(gate); }
    /// Plays until no block is late.
    bool recovers() {
        return eventually([&] { return play(generous); });
    }
    testing::AssertionResult hasDied(const std::string& line) const {
        if (log.waitFor("died: " + line))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << testing::PrintToString(log.all());
    }

    const std::string gate = directory / "gate";
    const ScopedEnvironment gateVariable{"PLUGIN_TEST_BLOCK_GATE", gate.c_str()};
};

} // namespace

TEST_F(LateTest, ALatePlugInIsSilentAndOtherWorkersPlayOn) {
    begin(2, patient());
    addWaiting();
    addShowing(1);
    for (int i = 1; i <= 3; ++i) {
        blocks.clear();
        plugin_host_plugin_begin(plugins[0].get(), nullptr);
        plugins[1].begin().channels[0][9] = static_cast<float>(i);
        for (plugin_host::plugin& plugin : plugins)
            blocks.push_back(plugin.block(frames));
        cycle->begin(blocks);
        EXPECT_FALSE(cycle->finish(std::chrono::steady_clock::now() + generous / 4));
        EXPECT_THAT(statuses(), ElementsAre(late, ok));
        EXPECT_EQ(blocks[1].channels[1][9], static_cast<float>(i));
        ASSERT_EQ(blocks[0].channel_count, 2U);
        EXPECT_THAT(std::vector<float>(blocks[0].channels[0], blocks[0].channels[0] + frames), Each(0.0F));
        EXPECT_EQ(blocks[0].event_count, 0U);
    }
    openGate();
    EXPECT_TRUE(recovers());
}

TEST_F(LateTest, WhatStandsBehindALateOneIsLateAndWhatStandsBeforeItIsNot) {
    begin(1, patient());
    addShowing();
    addWaiting();
    addShowing();
    EXPECT_FALSE(play(generous / 4));
    EXPECT_THAT(statuses(), ElementsAre(ok, late, late));
    openGate();
    EXPECT_TRUE(recovers());
}

TEST_F(LateTest, ItsBlockIsLeftAloneUntilItsAnswerHasCome) {
    begin(1, patient());
    plugin_host::plugin& waiting = addWaiting();
    float* const own = waiting.begin().channels[0];
    own[0] = 0.5F;
    EXPECT_FALSE(play(1ms));
    const plugin_host::input dropped = waiting.begin();
    EXPECT_TRUE(dropped.is_late);
    ASSERT_EQ(dropped.channels.size(), 2U);
    EXPECT_NE(dropped.channels[0], own);
    std::fill_n(dropped.channels[0], frames, 1.0F);
    std::fill_n(dropped.channels[1], frames, 1.0F);
    EXPECT_FALSE(waiting.add_midi(0, 0x90, 60, 100));
    EXPECT_FALSE(waiting.add_change(0, 0.5F));
    plugin_host_event event{};
    event.size = sizeof event;
    event.data_size = 3;
    EXPECT_EQ(plugin_host_plugin_add_event(waiting.get(), &event), late);
    plugin_host_transport transport{};
    transport.size = sizeof transport;
    EXPECT_FALSE(waiting.set_transport(transport));
    EXPECT_EQ(plugin_host_plugin_get_event(waiting.get(), 0, &event), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(own[0], 0.5F);

    plugin_host_output output{};
    output.size = sizeof output;
    EXPECT_EQ(plugin_host_plugin_process(waiting.get(), frames, 0, &output), late);
    ASSERT_EQ(output.channel_count, 2U);
    EXPECT_THAT(std::vector<float>(output.channels[1], output.channels[1] + frames), Each(0.0F));
    openGate();
    EXPECT_TRUE(eventually([&] { return !waiting.begin().is_late; }));
    EXPECT_EQ(waiting.begin().channels[0], own);
    EXPECT_TRUE(waiting.add_midi(0, 0x90, 60, 100));
}

TEST_F(LateTest, ALateAnswerIsNotThatOfALaterBlock) {
    begin(1, patient());
    addWaiting();
    plugin_host::plugin& showing = addShowing();
    showing.begin().channels[0][2] = 1;
    blocks = {plugins[0].block(frames), plugins[1].block(frames)};
    cycle->begin(blocks);
    EXPECT_FALSE(cycle->finish(std::chrono::steady_clock::now()));
    openGate();
    ASSERT_TRUE(eventually([&] { return !showing.begin().is_late && !plugins[0].begin().is_late; }));
    for (int i = 2; i < 20; ++i) {
        showing.begin().channels[0][2] = static_cast<float>(i);
        blocks = {plugins[0].block(frames), plugins[1].block(frames)};
        cycle->begin(blocks);
        ASSERT_TRUE(cycle->finish());
        EXPECT_EQ(blocks[1].channels[1][2], static_cast<float>(i));
    }
}

TEST_F(LateTest, OneThatHangsIsEndedWithItsHostAndIsNamed) {
    plugin_host::session_options impatient = options();
    impatient.hang_timeout = 300ms;
    begin(2, impatient);
    const plugin_host::host other(*session);
    addShowing(1, &other);
    addShowing(1);
    addWaiting();
    while (play(generous / 8) || statuses()[2] == late)
        EXPECT_EQ(blocks[0].status, ok);
    EXPECT_EQ(blocks[2].status, PLUGIN_HOST_DEAD);
    EXPECT_TRUE(hasDied(testPlugin("waits-for-its-gate.so") + " hung"));
    EXPECT_EQ(log.count("died: " + testPlugin("waits-for-its-gate.so") + " hung"), 1U);
    EXPECT_FALSE(play(generous));
    EXPECT_THAT(statuses(), ElementsAre(ok, PLUGIN_HOST_DEAD, PLUGIN_HOST_DEAD));
}

TEST_F(LateTest, AHangIsAMatterOfTheWorkersTimeAndNotOfTheApplications) {
    plugin_host::session_options impatient = options();
    impatient.hang_timeout = 300ms;
    begin(1, impatient);
    addWaiting();
    EXPECT_FALSE(play(1ms));
    openGate();
    // The answer comes, and isn't taken for longer than a hang may last.
    const auto hasDiedSoon = [&] {
        return log.count("died: " + testPlugin("waits-for-its-gate.so") + " hung") > 0;
    };
    EXPECT_FALSE(eventually(hasDiedSoon, 900ms));
    EXPECT_TRUE(recovers());
}

TEST_F(LateTest, AHostThatIsStoppedGoesOn) {
    begin(1, patient());
    const plugin_host::host other(*session);
    addShowing();
    addShowing(0, &other);
    EXPECT_TRUE(play(generous));
    const pid_t stopped = processOf(plugins[0]);
    kill(stopped, SIGSTOP);
    ASSERT_TRUE(eventually([&] {
        play(generous / 8);
        EXPECT_EQ(blocks[1].status, ok);
        return blocks[0].status == late;
    }));
    kill(stopped, SIGCONT);
    EXPECT_TRUE(recovers());
}

TEST_F(LateTest, WithAWorkerOfItsOwnALatePlugInDelaysNoOther) {
    plugin_host::session_options own = patient();
    own.own_workers = true;
    begin(2, own);
    addShowing();
    addWaiting();
    addShowing();
    EXPECT_EQ(processOf(plugins[0]), processOf(plugins[1]));
    EXPECT_NE(processOf(plugins[0]), processOf(plugins[2])) << "its host has a worker for each";
    EXPECT_FALSE(play(generous / 4));
    EXPECT_THAT(statuses(), ElementsAre(ok, late, ok));
    openGate();
    EXPECT_TRUE(recovers());
}

TEST_F(LateTest, AWorkerIsFreeOnceItsPlugInIsDestroyed) {
    plugin_host::session_options own = patient();
    own.own_workers = true;
    begin(1, own);
    const pid_t first = processOf(addShowing());
    plugins.clear();
    EXPECT_EQ(processOf(addShowing()), first);
    EXPECT_NE(processOf(addShowing()), first);
}

TEST_F(LateTest, ALatePlugInIsDestroyedOnceItHasAnswered) {
    begin(1, patient());
    plugin_host::plugin& waiting = addWaiting();
    addShowing();
    EXPECT_FALSE(play(1ms));
    openGate();
    EXPECT_EQ(plugin_host_plugin_destroy(waiting.get()), ok);
    blocks = {plugins[1].block(frames)};
    ASSERT_TRUE(eventually([&] { return !plugins[1].begin().is_late; }));
    cycle->begin(blocks);
    EXPECT_TRUE(cycle->finish());
}

TEST_F(LateTest, AnEarlyDeadlineIsNoFailure) {
    begin(1, patient());
    addShowing();
    beginCycle();
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), INT64_MIN), blocks[0].status);
    ASSERT_TRUE(recovers());
    beginCycle();
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), INT64_MAX), ok);
}
