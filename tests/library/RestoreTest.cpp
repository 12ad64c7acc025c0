// Plug-ins whose host dies and that come back. If these fail, a crash of one plug-in costs the others what
// their user has set, a plug-in that crashes again and again takes its host with it each time, or an
// application is left with handles that stand for nothing.

#include "library/RestoreTest.h"
#include "support/RealDeaths.h"
#include "support/WindowReader.h"

#include <atomic>
#include <future>
#include <unistd.h>

using namespace test_support;
using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;

TEST_F(RestoreTest, PlugInsOfAHostThatWasKilledComeBackBehindTheirHandles) {
    begin(1, restoring());
    addRestored(examplePlugin("echo.so"));
    addRestored(examplePlugin("echo.vst3"));
    const pid_t former = processOf(plugins[0]);
    EXPECT_TRUE(play());
    killHostOf(plugins[0]);
    ASSERT_TRUE(isRestored(0));
    ASSERT_TRUE(isRestored(1));
    EXPECT_TRUE(play());
    EXPECT_THAT(statuses(), ElementsAre(ok, ok));
    EXPECT_NE(processOf(plugins[0]), former);
    EXPECT_EQ(processOf(plugins[0]), processOf(plugins[1]));
}

TEST_F(RestoreTest, TheyHaveTheStateThatWasKeptAndTheChangesSince) {
    begin(1, restoring());
    for (const char* each : {"echo.so", "echo.vst3"})
        addRestored(examplePlugin(each));
    for (plugin_host::plugin& plugin : plugins)
        setValue(plugin, 0.25F);
    session->keep_states();
    setValue(plugins[1], 0.75F);
    for (size_t life = 1; life <= 2; ++life) {
        killHostOf(plugins[0]);
        ASSERT_TRUE(isRestored(0, life));
        ASSERT_TRUE(isRestored(1, life));
        EXPECT_NEAR(valueOf(plugins[0]), 0.25F, 1e-6);
        EXPECT_NEAR(valueOf(plugins[1]), 0.75F, 1e-6);
    }
}

TEST_F(RestoreTest, AStateThatWasLoadedIsTheOneThatIsKept) {
    begin(1, restoring());
    plugin_host::plugin& echo = addRestored(examplePlugin("echo.so"));
    setValue(echo, 0.5F);
    const std::vector<std::byte> state = echo.save_state();
    setValue(echo, 0.125F);
    echo.load_state(state);
    killHostOf(echo);
    ASSERT_TRUE(isRestored(0));
    EXPECT_EQ(valueOf(echo), 0.5F);
}

TEST_F(RestoreTest, AStateIsKeptSoonAfterAPreset) {
    const std::string preset = directory / "preset.fxb";
    plugin_host::session_options soon = restoring();
    soon.state_interval = std::chrono::hours(1);
    begin(1, soon);
    plugin_host::plugin& echo = addRestored(examplePlugin("echo.so"));
    setValue(echo, 0.5F);
    echo.save_preset(preset);
    // The host may die before the state has been asked for.
    EXPECT_TRUE(eventually([&] {
        setValue(echo, 0.125F);
        echo.load_preset(preset);
        echo.refresh();
        const size_t lives = log.count("restored 0");
        killHostOf(echo);
        return isRestored(0, lives + 1) && valueOf(echo) == 0.5F;
    }));
    plugins.clear();
    cycle.reset();
    session.reset();
}

TEST_F(RestoreTest, OneThatWasNotStartedIsNotStarted) {
    begin(1, restoring());
    addRestored(examplePlugin("echo.so")).stop();
    killHostOf(plugins[0]);
    ASSERT_TRUE(isRestored(0));
    EXPECT_EQ(plugin_host_plugin_process(plugins[0].get(), frames, 0, nullptr), PLUGIN_HOST_INVALID_STATE);
    plugins[0].start();
    EXPECT_TRUE(play());
}

TEST_F(RestoreTest, UntilThenItIsSilentAndOtherHostsPlayOn) {
    plugin_host::session_options given = restoring();
    const std::string program = script("once", "exec 9>\"$0.lock\"; mkdir \"$0.used\" 2>&9 || "
                                               "while [ ! -e \"$0.gate\" ]; do :; done\n"
                                               "exec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"");
    begin(1, given);
    const plugin_host::host fragile(*session, {.program = program});
    addRestored(examplePlugin("tone.so"), &fragile);
    add(testPlugin("shows-its-block.so"));
    EXPECT_TRUE(play());
    kill(processOf(plugins[0]), SIGKILL);
    ASSERT_TRUE(isDead(0));
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(play());
        EXPECT_THAT(statuses(), ElementsAre(dead, ok));
        ASSERT_EQ(blocks[0].channel_count, 2U);
        EXPECT_THAT(std::vector<float>(blocks[0].channels[0], blocks[0].channels[0] + frames), Each(0.0F));
    }
    touch(directory / "once.gate");
    ASSERT_TRUE(isRestored(0));
    EXPECT_TRUE(play());
}

TEST_F(RestoreTest, SixteenComeBackTenTimes) {
    begin(2, restoring());
    const plugin_host::host other(*session);
    add(testPlugin("shows-its-block.so"), 0, &other);
    for (int i = 1; i <= 16; ++i)
        addRestored(examplePlugin(i % 2 == 0 ? "echo.so" : "tone.vst3"));
    for (size_t life = 1; life <= 10; ++life) {
        killHostOf(plugins[1]);
        ASSERT_TRUE(eventually([&] {
            play();
            EXPECT_EQ(blocks[0].status, ok);
            return log.count("restored 16") == life;
        }));
        for (size_t index = 1; index <= 16; ++index)
            ASSERT_TRUE(isRestored(index, life)) << index;
        ASSERT_TRUE(play());
    }
}

TEST_F(RestoreTest, TheOneToBlameStaysAwayUntilItIsWanted) {
    const RealDeaths realDeaths;
    begin(1, restoring());
    // The sixth of its shell dies of a program.
    addRestored(testPlugin("dies-by-request.so"), nullptr, "6");
    addRestored(examplePlugin("echo.so"));
    plugins[0].set_program(0);
    ASSERT_TRUE(isRestored(1)) << testing::PrintToString(log.all());
    EXPECT_EQ(plugin_host_plugin_process(plugins[0].get(), frames, 0, nullptr), dead);
    EXPECT_EQ(log.count("restored 0"), 0U);
    EXPECT_EQ(plugin_host_plugin_restore(plugins[1].get()), PLUGIN_HOST_INVALID_STATE) << "its host is there";
    plugins[0].restore();
    ASSERT_TRUE(isRestored(0)) << testing::PrintToString(log.all());
    EXPECT_EQ(plugin_host_plugin_begin(plugins[0].get(), nullptr), ok);
}

TEST_F(RestoreTest, TheOneToBlameMayBeWantedWhileItsDeathIsReported) {
    const RealDeaths realDeaths;
    for (int i = 0; i < 5; ++i) {
        begin(1, restoring());
        onDeath = [this] { plugins[0].restore(); };
        addRestored(testPlugin("dies-by-request.so"), nullptr, "6");
        plugins[0].set_program(0);
        EXPECT_TRUE(isRestored(0, static_cast<size_t>(i) + 1)) << testing::PrintToString(log.all());
        plugins.clear();
    }
}

TEST_F(RestoreTest, OneThatCannotComeBackSaysWhy) {
    const std::string program = script("counting", "exec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"");
    begin(1, restoring());
    const plugin_host::host fragile(*session, {.program = program});
    addRestored(examplePlugin("echo.so"), &fragile);
    std::filesystem::remove(program);
    killHostOf(plugins[0]);
    ASSERT_TRUE(eventually([&] {
        const std::vector<std::string> lines = log.all();
        return std::ranges::any_of(lines,
                                   [](const std::string& line) { return line.starts_with("restored 0: "); });
    }));
    EXPECT_EQ(plugin_host_plugin_process(plugins[0].get(), frames, 0, nullptr), dead);
    script("counting", "exec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"");
    plugins[0].restore();
    EXPECT_TRUE(isRestored(0));
}

TEST_F(RestoreTest, AnEditorOpensAgainWhereItWas) {
    begin(1, restoring());
    plugin_host::plugin& echo = addRestored(examplePlugin("echo.so"));
    const std::string title = "Restored " + std::to_string(getpid());
    WindowReader reader;
    const auto find = [&]() -> uint32_t {
        for (const uint32_t window : reader.children(reader.root)) {
            if (reader.property(window, "WM_NAME").bytes == title && reader.isViewable(window))
                return window;
        }
        return 0;
    };
    echo.set_editor_position(30, 40);
    echo.open_editor(0, title);
    ASSERT_TRUE(eventually([&] { return find() != 0; }));
    const WindowRectangle place = reader.rectangle(find());
    killHostOf(echo);
    ASSERT_TRUE(isRestored(0));
    ASSERT_TRUE(eventually([&] { return find() != 0; }));
    EXPECT_EQ(reader.rectangle(find()), place);
    // Which the new host alone can do.
    echo.close_editor();
    EXPECT_TRUE(eventually([&] { return find() == 0; }));
}

TEST_F(RestoreTest, EachSharingHasItsPlugInsBack) {
    for (const bool areSeparate : {true, false}) {
        plugin_host::session_options given = restoring();
        given.separate_hosts = areSeparate;
        given.own_workers = !areSeparate;
        begin(1, given);
        addRestored(examplePlugin("echo.so"));
        addRestored(examplePlugin("echo.so"));
        for (size_t life = 1; life <= 3; ++life) {
            const size_t before = log.count("restored 0");
            const pid_t other = processOf(plugins[1]);
            killHostOf(plugins[0]);
            ASSERT_TRUE(isRestored(0, before + 1));
            EXPECT_EQ(processOf(plugins[1]), other) << "its host was another";
            EXPECT_NE(processOf(plugins[0]), other);
            EXPECT_TRUE(play());
        }
        plugins.clear();
    }
}

TEST_F(RestoreTest, AnotherFormatIsThatOfAllPlugIns) {
    begin(1, restoring());
    addRestored(examplePlugin("echo.so"));
    const plugin_host::host chosen(*session);
    addRestored(testPlugin("shows-its-block.so"), &chosen);
    setValue(plugins[0], 0.375F);
    session->set_format(96'000, 64);
    for (const plugin_host::plugin& plugin : plugins) {
        EXPECT_EQ(plugin.host_info().sample_rate, 96'000);
        EXPECT_EQ(plugin.host_info().block_size, 64);
    }
    EXPECT_NEAR(valueOf(plugins[0]), 0.375F, 1e-6);
    EXPECT_EQ(plugin_host_plugin_begin(plugins[1].get(), nullptr), ok);
    EXPECT_EQ(plugin_host_plugin_process(plugins[1].get(), 65, 0, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugins[1].process(64).channels[0][shownSampleRate], 96'000.0F);
    // Also of those that come later, and what isn't given stays.
    session->set_format(0, 128);
    add(examplePlugin("tone.so"));
    EXPECT_EQ(plugins[2].host_info().sample_rate, 96'000);
    EXPECT_EQ(plugins[2].host_info().block_size, 128);
    EXPECT_EQ(log.count("died: "), 0U);
    EXPECT_EQ(statusOf([&] { session->set_format(-1, 0); }), PLUGIN_HOST_INVALID_ARGUMENT);
}

TEST_F(RestoreTest, WithoutTheOptionNothingComesBack) {
    begin();
    add(examplePlugin("echo.so"));
    EXPECT_EQ(statusOf([&] { session->keep_states(); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { session->set_format(48'000, 0); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { plugins[0].restore(); }), PLUGIN_HOST_INVALID_STATE);
    killHostOf(plugins[0]);
    ASSERT_TRUE(isDead(0));
}

TEST_F(RestoreTest, APlugInMayBeDestroyedWhileItComesBack) {
    begin(1, restoring());
    for (int i = 0; i < 20; ++i) {
        addRestored(examplePlugin("echo.so"));
        killHostOf(plugins[0]);
        EXPECT_EQ(plugin_host_plugin_destroy(plugins[0].get()), ok);
        EXPECT_EQ(plugin_host_plugin_begin(plugins[0].get(), nullptr), PLUGIN_HOST_INVALID_HANDLE);
        plugins.clear();
    }
    session.reset();
}

TEST_F(RestoreTest, ASessionMayEndWhilePlugInsComeBack) {
    for (int i = 0; i < 5; ++i) {
        begin(1, restoring());
        for (int count = 0; count < 4; ++count)
            addRestored(examplePlugin("echo.so"));
        killHostOf(plugins[0]);
        if (i % 2 == 1)
            isDead(0);
        plugins.clear();
        cycle.reset();
        session.reset();
    }
}

TEST_F(RestoreTest, WhatABlockGaveStaysUntilTheNextBegins) {
    begin(1, restoring());
    addRestored(examplePlugin("echo.so"));
    const plugin_host::input input = plugins[0].begin();
    for (float* channel : input.channels)
        std::fill_n(channel, frames, 0.5F);
    blocks = {plugins[0].block(frames)};
    cycle->begin(blocks);
    ASSERT_TRUE(cycle->finish());
    const std::vector<float> before(blocks[0].channels[0], blocks[0].channels[0] + frames);
    EXPECT_THAT(before, testing::Contains(testing::Ne(0.0F)));
    killHostOf(plugins[0]);
    ASSERT_TRUE(isRestored(0));
    for (int life = 0; life < 2; ++life) {
        session->set_format(0, 64);
        EXPECT_EQ(std::vector<float>(blocks[0].channels[0], blocks[0].channels[0] + frames), before);
        for (float* channel : input.channels)
            std::fill_n(channel, frames, 0.25F);
    }
    session->set_format(0, frames);
    EXPECT_TRUE(play());
}

TEST_F(RestoreTest, AudioGoesOnWhilePlugInsComeBack) {
    begin(1, restoring());
    for (int i = 0; i < 4; ++i)
        addRestored(examplePlugin("echo.so"));
    std::atomic<bool> isOver = false;
    std::atomic<int> good = 0;
    auto playing = std::async(std::launch::async, [&] {
        while (!isOver)
            good += play() ? 1 : 0;
    });
    for (size_t life = 1; life <= 5; ++life) {
        killHostOf(plugins[0]);
        for (size_t index = 0; index < 4; ++index)
            EXPECT_TRUE(isRestored(index, life));
        const int before = good;
        EXPECT_TRUE(eventually([&] { return good > before; }));
    }
    isOver = true;
    playing.get();
    EXPECT_TRUE(play());
}
