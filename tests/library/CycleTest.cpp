// Blocks of many plug-ins together. If these fail, a plug-in plays another's block, a wrong block spoils the
// others of its cycle, or a cycle keeps workers to itself.

#include "library/CycleTest.h"

#include <csignal>
#include <future>
#include <thread>

using namespace test_support;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// What an effect gives for noise, a block at a time.
std::vector<float> playAlone(plugin_host::plugin& plugin, int count) {
    Noise noise;
    std::vector<float> heard;
    for (int i = 0; i < count; ++i) {
        const plugin_host::input input = plugin.begin();
        std::generate_n(input.channels[0], 256, [&] { return noise.next(); });
        const float* sound = plugin.process(256).channels[0];
        heard.insert(heard.end(), sound, sound + 256);
    }
    return heard;
}

plugin_host_block blockOf(plugin_host_plugin* plugin, uint32_t frames = 256) {
    plugin_host_block block{};
    block.size = sizeof block;
    block.plugin = plugin;
    block.frames = frames;
    return block;
}

} // namespace

TEST_F(CycleTest, GivesTheSamplesOfSingleBlocks) {
    begin(2);
    for (const char* each : {"echo.so", "echo.vst3", "echo.so"})
        add(examplePlugin(each), static_cast<int>(plugins.size() % 2));
    std::vector<std::vector<float>> heard(plugins.size());
    std::vector<Noise> noise(plugins.size());
    for (int i = 0; i < 20; ++i) {
        blocks.clear();
        for (size_t index = 0; index < plugins.size(); ++index) {
            std::generate_n(plugins[index].begin().channels[0], 256, [&] { return noise[index].next(); });
            blocks.push_back(plugins[index].block(256));
        }
        cycle->begin(blocks);
        ASSERT_TRUE(cycle->finish());
        for (size_t index = 0; index < plugins.size(); ++index)
            heard[index].insert(heard[index].end(), blocks[index].channels[0],
                                blocks[index].channels[0] + 256);
    }
    plugin_host::plugin vst2(*session, {.path = examplePlugin("echo.so")});
    plugin_host::plugin vst3(*session, {.path = examplePlugin("echo.vst3")});
    vst2.start();
    vst3.start();
    const std::vector<float> expected = playAlone(vst2, 20);
    EXPECT_EQ(heard[0], expected);
    EXPECT_EQ(heard[1], playAlone(vst3, 20));
    EXPECT_EQ(heard[2], expected);
}

TEST_F(CycleTest, HasPlugInsOfSeveralHosts) {
    begin();
    const plugin_host::host other(*session);
    add(testPlugin("shows-its-block.so"));
    add(testPlugin("shows-its-block.so"), 0, &other);
    for (int i = 1; i < 50; ++i) {
        blocks.clear();
        for (size_t index = 0; index < plugins.size(); ++index) {
            const plugin_host::input input = plugins[index].begin();
            input.channels[0][3] = static_cast<float>(i + 100 * static_cast<int>(index));
            plugins[index].add_midi(7, 0x90, static_cast<uint8_t>(i), 100);
            blocks.push_back(plugins[index].block(256));
        }
        cycle->begin(blocks);
        EXPECT_TRUE(cycle->finish());
        for (size_t index = 0; index < plugins.size(); ++index) {
            EXPECT_EQ(blocks[index].channel_count, 2U);
            EXPECT_EQ(blocks[index].channels[1][3], static_cast<float>(i + 100 * static_cast<int>(index)));
            ASSERT_EQ(blocks[index].event_count, 1U);
            EXPECT_EQ(plugins[index].event(0).data[1], i);
        }
    }
}

TEST_F(CycleTest, EachBlockHasItsStatusAndSpoilsNoOther) {
    begin();
    add(examplePlugin("echo.so"));
    add(examplePlugin("tone.so"));
    plugin_host::plugin stopped(*session, {.path = examplePlugin("echo.so")});
    plugin_host::plugin gone(*session, {.path = examplePlugin("echo.so")});
    plugin_host_plugin* const formerHandle = gone.get();
    gone = plugin_host::plugin(*session, {.path = examplePlugin("echo.so")});
    std::vector<plugin_host_block> mixed{
        blockOf(plugins[0].get()),    blockOf(formerHandle),     blockOf(nullptr),
        blockOf(stopped.get()),       blockOf(plugins[0].get()), blockOf(plugins[1].get(), 257),
        blockOf(plugins[1].get(), 0), blockOf(plugins[1].get())};
    cycle->begin(mixed);
    EXPECT_FALSE(cycle->finish());
    blocks = mixed;
    EXPECT_THAT(statuses(), ElementsAre(ok, PLUGIN_HOST_INVALID_HANDLE, PLUGIN_HOST_INVALID_HANDLE,
                                        PLUGIN_HOST_INVALID_STATE, PLUGIN_HOST_INVALID_STATE,
                                        PLUGIN_HOST_INVALID_ARGUMENT, PLUGIN_HOST_INVALID_ARGUMENT, ok));
    EXPECT_EQ(mixed[1].channels, nullptr);
    EXPECT_TRUE(play());
}

TEST_F(CycleTest, IsBegunAndFinishedInTurns) {
    begin();
    add(examplePlugin("echo.so"));
    plugin_host_block block = plugins[0].block(frames);
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), 0), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), &block, 1), ok);
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), &block, 1), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), 0), ok);
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), 0), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), nullptr, 0), ok) << "a cycle of none";
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), 0), ok);
}

TEST_F(CycleTest, RefusesWrongArguments) {
    begin();
    add(examplePlugin("echo.so"));
    std::vector<plugin_host_block> many(33, plugins[0].block(frames));
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), many.data(), 33), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), many.data(), SIZE_MAX), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), nullptr, 1), PLUGIN_HOST_INVALID_ARGUMENT);
    many[1].size = 0;
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), many.data(), 2), PLUGIN_HOST_INVALID_ARGUMENT);
    many[0].size = sizeof(size_t);
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), many.data(), 1), PLUGIN_HOST_INVALID_ARGUMENT);
    plugin_host_cycle* made = nullptr;
    EXPECT_EQ(plugin_host_cycle_create(session->get(), 0, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_cycle_create(session->get(), 8193, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_cycle_create(session->get(), 1, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(made, nullptr);
}

// An application that was compiled with an older header has smaller blocks.
TEST_F(CycleTest, TakesBlocksOfAnotherSize) {
    struct NewerBlock {
        plugin_host_block block;
        void* more;
    };
    begin();
    add(examplePlugin("echo.so"));
    add(examplePlugin("tone.so"));
    NewerBlock newer[2] = {{blockOf(plugins[0].get()), nullptr}, {blockOf(plugins[1].get()), nullptr}};
    for (NewerBlock& each : newer)
        each.block.size = sizeof each;
    EXPECT_EQ(plugin_host_cycle_begin(cycle->get(), &newer[0].block, 2), ok);
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), 0), ok);
    EXPECT_EQ(newer[1].block.status, ok);
    EXPECT_NE(newer[1].block.channels, nullptr);
}

TEST_F(CycleTest, KeepsItsWorkersUntilItsEnd) {
    begin(2);
    add(examplePlugin("echo.so"));
    plugin_host::plugin neighbour(*session, {.path = examplePlugin("echo.so")});
    plugin_host::plugin elsewhere(*session, {.path = examplePlugin("echo.so"), .worker = 1});
    neighbour.start();
    elsewhere.start();
    plugin_host::cycle other(*session, 2);
    std::vector<plugin_host_block> others{neighbour.block(frames), elsewhere.block(frames)};
    beginCycle();
    EXPECT_EQ(plugin_host_plugin_process(neighbour.get(), frames, 0, nullptr), PLUGIN_HOST_BUSY);
    EXPECT_EQ(plugin_host_plugin_stop(neighbour.get()), PLUGIN_HOST_BUSY);
    other.begin(others);
    other.finish();
    EXPECT_EQ(others[0].status, PLUGIN_HOST_BUSY);
    EXPECT_EQ(others[1].status, ok);
    EXPECT_TRUE(cycle->finish());
    EXPECT_EQ(plugin_host_plugin_process(neighbour.get(), frames, 0, nullptr), ok);
}

TEST_F(CycleTest, ABlockThatIsUnderwayTakesNothing) {
    begin();
    plugin_host::plugin& plugin = add(examplePlugin("echo.so"));
    beginCycle();
    EXPECT_EQ(plugin_host_plugin_begin(plugin.get(), nullptr), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_add_midi(plugin.get(), 0, 0x90, 60, 100), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_add_change(plugin.get(), 0, 1, 0), PLUGIN_HOST_INVALID_STATE);
    EXPECT_TRUE(cycle->finish());
    EXPECT_EQ(plugin_host_plugin_add_midi(plugin.get(), 0, 0x90, 60, 100), ok);
}

TEST_F(CycleTest, OneThatIsDestroyedLetsItsWorkersGo) {
    begin();
    plugin_host::plugin& plugin = add(examplePlugin("echo.so"));
    beginCycle();
    EXPECT_EQ(plugin_host_cycle_destroy(cycle->get()), ok);
    EXPECT_EQ(plugin_host_cycle_finish(cycle->get(), 0), PLUGIN_HOST_INVALID_HANDLE);
    // The worker may have its block still.
    EXPECT_TRUE(eventually([&] { return plugin_host_plugin_begin(plugin.get(), nullptr) == ok; }));
    EXPECT_EQ(plugin_host_plugin_process(plugin.get(), frames, 0, nullptr), ok);
}

TEST_F(CycleTest, APlugInMayBeDestroyedBetweenCycles) {
    begin();
    add(examplePlugin("echo.so"));
    add(examplePlugin("tone.so"));
    EXPECT_TRUE(play());
    EXPECT_EQ(plugin_host_plugin_destroy(plugins[0].get()), ok);
    EXPECT_FALSE(play());
    EXPECT_THAT(statuses(), ElementsAre(PLUGIN_HOST_INVALID_HANDLE, ok));
}

TEST_F(CycleTest, AHostThatIsKilledCostsItsOwnBlocks) {
    begin();
    const plugin_host::host other(*session);
    add(examplePlugin("echo.so"));
    add(examplePlugin("tone.so"), 0, &other);
    EXPECT_TRUE(play());
    kill(processOf(plugins[0]), SIGKILL);
    EXPECT_TRUE(eventually([&] {
        play();
        EXPECT_EQ(blocks[1].status, ok);
        return blocks[0].status == PLUGIN_HOST_DEAD;
    }));
    ASSERT_TRUE(eventually([&] {
        EXPECT_FALSE(play());
        EXPECT_THAT(statuses(), ElementsAre(PLUGIN_HOST_DEAD, ok));
        const std::vector<std::string> lines = log.all();
        return std::ranges::any_of(lines, [](const std::string& line) { return line.starts_with("died: "); });
    }));
}

TEST_F(CycleTest, TwoThreadsPlayTheirOwnWorkers) {
    begin(2);
    const auto playMany = [&](int worker) {
        plugin_host::cycle own(*session, 4);
        std::vector<plugin_host::plugin> all;
        for (int i = 0; i < 4; ++i) {
            all.emplace_back(*session, plugin_host::plugin_options{.path = testPlugin("shows-its-block.so"),
                                                                   .worker = worker});
            all.back().start();
        }
        int right = 0;
        for (int i = 0; i < 200; ++i) {
            std::vector<plugin_host_block> mine;
            for (size_t index = 0; index < all.size(); ++index) {
                all[index].begin().channels[0][1] =
                    static_cast<float>(worker * 10 + static_cast<int>(index) + i);
                mine.push_back(all[index].block(frames));
            }
            own.begin(mine);
            own.finish();
            for (size_t index = 0; index < all.size(); ++index)
                right += mine[index].channels[1][1] ==
                                 static_cast<float>(worker * 10 + static_cast<int>(index) + i)
                             ? 1
                             : 0;
        }
        return right;
    };
    auto first = std::async(std::launch::async, playMany, 0);
    EXPECT_EQ(playMany(1), 800);
    EXPECT_EQ(first.get(), 800);
}
