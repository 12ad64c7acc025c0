// What a plug-in reports by itself. If these fail, an application doesn't record what its user does in an
// editor, or records it for another parameter, and shows values and texts that are no longer true.

#include "library/PluginTest.h"

using namespace test_support;
using plugin_host::plugin;
using plugin_host::session;
using testing::ElementsAre;

namespace {

/// Writes down each callback of a plug-in as a line.
class PluginEventsTest : public PluginTest {
protected:
    plugin_host::plugin_events writing() {
        plugin_host::plugin_events events;
        events.parameter_changed = [this](uint32_t index, float value) {
            lines.add("parameter " + std::to_string(index) + " is " + std::to_string(value));
        };
        events.parameter_text_changed = [this](uint32_t index, std::string_view name, std::string_view text) {
            lines.add("text " + std::to_string(index) + " is " + std::string(name) + " " + std::string(text));
        };
        events.parameters_changed = [this] { lines.add("all"); };
        events.edit_began = [this](uint32_t index) { lines.add("begin " + std::to_string(index)); };
        events.edit_ended = [this](uint32_t index) { lines.add("end " + std::to_string(index)); };
        return events;
    }
    plugin make(session& owner, const std::string& path) {
        return {owner, {.path = path, .events = writing()}};
    }

    Lines lines;
};

} // namespace

TEST_F(PluginEventsTest, WhatAnEditorReportsArrivesInItsOrder) {
    session own(options());
    plugin reporting = make(own, testPlugin("reports-from-its-block.vst3"));
    reporting.start();
    reporting.process(256);
    ASSERT_TRUE(lines.waitFor("all"));
    EXPECT_THAT(lines.all(), ElementsAre("begin 1", "parameter 1 is 0.750000", "end 1", "all"));
    reporting.process(256);
    EXPECT_TRUE(lines.waitFor("end 1", 2));
}

TEST_F(PluginEventsTest, AWatchedTextIsReportedAsItChanges) {
    session own(options());
    plugin echo = make(own, examplePlugin("echo.so"));
    echo.watch_text(1);
    echo.start();
    echo.begin();
    echo.add_change(0, 0.5F);
    echo.add_change(1, 0.75F);
    echo.process(256);
    ASSERT_TRUE(lines.waitFor("text 1 is Feedback 75"));
    echo.watch_text(1, false);
    echo.watch_text(0);
    echo.begin();
    echo.add_change(0, 0.125F);
    echo.add_change(1, 0.25F);
    echo.process(256);
    ASSERT_TRUE(lines.waitFor("text 0 is Delay 125"));
    EXPECT_THAT(lines.all(), ElementsAre("text 1 is Feedback 75", "text 0 is Delay 125"));
}

TEST_F(PluginEventsTest, OnlyParametersThatAreThereCanBeWatched) {
    session own(options());
    plugin echo = make(own, examplePlugin("echo.so"));
    EXPECT_EQ(statusOf([&] { echo.watch_text(3); }), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(statusOf([&] { echo.watch_text(UINT32_MAX); }), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(statusOf([&] { echo.watch_text(2, false); }), PLUGIN_HOST_OK);
}

TEST_F(PluginEventsTest, OnlyProgramsThatAreThereCanBeSet) {
    session own(options());
    plugin showing = make(own, testPlugin("shows-its-block.so"));
    EXPECT_THAT(showing.describe().programs, ElementsAre("Program 0", "Program 1", "Program 2"));
    EXPECT_EQ(statusOf([&] { showing.set_program(2); }), PLUGIN_HOST_OK);
    EXPECT_EQ(statusOf([&] { showing.set_program(3); }), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(statusOf([&] { showing.set_program(UINT32_MAX); }), PLUGIN_HOST_NOT_FOUND);
}

TEST_F(PluginEventsTest, AReportOfAllBringsItsDescriptionAlong) {
    session own(options());
    plugin reporting = make(own, testPlugin("reports-from-its-block.vst3"));
    reporting.start();
    reporting.begin();
    reporting.add_change(0, 0.5F);
    reporting.process(256);
    ASSERT_TRUE(lines.waitFor("all"));
    EXPECT_EQ(reporting.describe().parameters.at(0).value, 0.5F);
}

TEST_F(PluginEventsTest, CallbacksComeInsideOfDispatchAlone) {
    plugin_host::session_options dispatching = options();
    dispatching.dispatch = true;
    session own(dispatching);
    plugin reporting = make(own, testPlugin("reports-from-its-block.vst3"));
    reporting.start();
    reporting.process(256);
    ASSERT_TRUE(eventually([&] {
        own.dispatch();
        return lines.count("all") == 1;
    }));
    EXPECT_EQ(lines.all().size(), 4U);
}

TEST_F(PluginEventsTest, ADestroyedPlugInReportsNothing) {
    plugin_host::session_options dispatching = options();
    dispatching.dispatch = true;
    session own(dispatching);
    plugin kept = make(own, testPlugin("shows-its-block.so"));
    {
        plugin reporting = make(own, testPlugin("reports-from-its-block.vst3"));
        reporting.start();
        reporting.process(256);
        reporting.refresh(); // behind the reports
        reporting.stop();
    }
    kept.refresh();
    own.dispatch();
    EXPECT_THAT(lines.all(), testing::IsEmpty());
}
