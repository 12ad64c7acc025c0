// Editors on a screen, seen by another client of the X server. If these fail, editors open behind the
// application or in the corner, and the application shows one as open that its user has closed.

#include "library/PluginTest.h"
#include "support/WindowReader.h"

#include <optional>
#include <unistd.h>

using namespace test_support;
using plugin_host::plugin;
using plugin_host::session;
using testing::Contains;
using testing::Not;

namespace {

/// Both formats: a plug-in whose editor does what it should, with its callbacks as lines.
class PluginEditorTest : public PluginTest, public testing::WithParamInterface<const char*> {
protected:
    plugin_host::plugin_options writing(const std::string& path) {
        plugin_host::plugin_options given{.path = path, .host = &host};
        given.events.editor_moved = [this](int x, int y, int width, int height) {
            lines.add("moved " + std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(width) +
                      " " + std::to_string(height));
        };
        given.events.editor_closed = [this] { lines.add("closed"); };
        return given;
    }

    /// The editor's window by its title, 0 without one. Other tests may use the screen as well.
    uint32_t find(const std::string& title) {
        for (const uint32_t window : reader.children(reader.root)) {
            if (reader.property(window, "WM_NAME").bytes == title)
                return window;
        }
        return 0;
    }
    uint32_t awaitWindow(const std::string& title) {
        EXPECT_TRUE(eventually([&] { return reader.isViewable(find(title)); })) << "no window " << title;
        return find(title);
    }
    uint32_t open() {
        edited.open_editor(0, title);
        return awaitWindow(title);
    }

    /// Until the host is through with the events that came before.
    void settle() { host.ping(); }

    const std::string title = "Editor of " + std::to_string(getpid());
    Lines lines;
    session own{options()};
    plugin_host::host host{own};
    plugin edited{own, writing(testPlugin(GetParam()))};
    WindowReader reader;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Formats, PluginEditorTest, testing::Values("plain-editor.so", "plain-view.vst3"),
                         [](const auto& each) {
                             return std::string(each.param).ends_with("vst3") ? "Vst3" : "Vst2";
                         });

TEST_P(PluginEditorTest, AnEditorOpensAboveItsParentWithItsTitle) {
    const uint32_t parent = reader.makeWindow();
    edited.open_editor(parent, title);
    const uint32_t window = awaitWindow(title);
    EXPECT_THAT(reader.words(window, "WM_TRANSIENT_FOR"), testing::ElementsAre(parent));
    EXPECT_EQ(reader.rectangle(window).width, 200);
    edited.set_editor_title(title + " renamed");
    EXPECT_EQ(awaitWindow(title + " renamed"), window);
    edited.close_editor();
    EXPECT_TRUE(lines.waitFor("closed"));
    EXPECT_FALSE(reader.windowExists(window));
}

TEST_P(PluginEditorTest, WithoutATitleItIsThePlugInsName) {
    const std::string name = edited.describe().name;
    ASSERT_NE(name, "");
    edited.open_editor();
    // Not by the name alone: that may be another test's.
    awaitWindow(name);
    edited.close_editor();
    EXPECT_TRUE(lines.waitFor("closed"));
}

TEST_P(PluginEditorTest, AnEditorOpensWhereItIsPut) {
    edited.set_editor_position(70, 80, 200, 120);
    const uint32_t window = open();
    EXPECT_EQ(reader.rectangle(window), (WindowRectangle{70, 80, 200, 120}));
    edited.close_editor();
    ASSERT_TRUE(lines.waitFor("closed"));
    edited.set_editor_position(90, 100, 200, 120);
    EXPECT_EQ(reader.rectangle(open()), (WindowRectangle{90, 100, 200, 120}));
}

TEST_P(PluginEditorTest, AnEditorIsPutElsewhereInItsLastSize) {
    const uint32_t window = open();
    settle();
    reader.moveWindow(window, 30, 40);
    ASSERT_TRUE(lines.waitFor("moved 30 40 200 120")) << testing::PrintToString(lines.all());
    edited.close_editor();
    ASSERT_TRUE(lines.waitFor("closed"));
    edited.set_editor_position(90, 100);
    EXPECT_EQ(reader.rectangle(open()), (WindowRectangle{90, 100, 200, 120}));
}

TEST_P(PluginEditorTest, ASizeThatIsNoneOrUnknownIsRefused) {
    for (const auto& [width, height] : {std::pair(-1, 5), std::pair(5, 0), std::pair(0, 5)})
        EXPECT_EQ(plugin_host_plugin_set_editor_position(edited.get(), 1, 2, width, height),
                  PLUGIN_HOST_INVALID_ARGUMENT);
    const bool isVst3 = edited.describe().format == plugin_host::format::vst3;
    EXPECT_EQ(plugin_host_plugin_set_editor_position(edited.get(), 1, 2, 0, 0),
              isVst3 ? PLUGIN_HOST_INVALID_STATE : PLUGIN_HOST_OK);
}

TEST_P(PluginEditorTest, AMoveByTheUserIsReported) {
    const uint32_t window = open();
    settle();
    reader.moveWindow(window, 30, 40);
    EXPECT_TRUE(lines.waitFor("moved 30 40 200 120")) << testing::PrintToString(lines.all());
}

TEST_P(PluginEditorTest, ACloseByTheUserIsReportedOnce) {
    const uint32_t window = open();
    reader.sendMessage(window, window, reader.atom("WM_PROTOCOLS"), reader.atom("WM_DELETE_WINDOW"));
    ASSERT_TRUE(lines.waitFor("closed"));
    EXPECT_FALSE(reader.windowExists(window));
    open();
    settle();
    EXPECT_EQ(lines.count("closed"), 1U);
}

TEST_P(PluginEditorTest, AllEditorsOfAHostAreHiddenAndShownAgain) {
    plugin second(own, writing(examplePlugin("echo.so")));
    const uint32_t first = open();
    second.open_editor(0, title + " second");
    const uint32_t other = awaitWindow(title + " second");
    host.hide_editors();
    EXPECT_TRUE(eventually([&] { return !reader.isMapped(first) && !reader.isMapped(other); }));
    host.show_editors();
    EXPECT_TRUE(eventually([&] { return reader.isViewable(first) && reader.isViewable(other); }));
    settle();
    EXPECT_THAT(lines.all(), Not(Contains("closed")));
}

TEST_P(PluginEditorTest, ADestroyedPlugInTakesItsEditorAlong) {
    uint32_t window = 0;
    {
        plugin brief(own, writing(examplePlugin("echo.so")));
        brief.open_editor(0, title + " brief");
        window = awaitWindow(title + " brief");
    }
    EXPECT_TRUE(eventually([&] { return !reader.windowExists(window); }));
}

TEST_P(PluginEditorTest, WrongTitlesAreRefused) {
    EXPECT_EQ(plugin_host_plugin_set_editor_title(edited.get(), nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_set_editor_title(edited.get(), "\xff"), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_open_editor(edited.get(), 0, "\xff"), PLUGIN_HOST_INVALID_ARGUMENT);
}
