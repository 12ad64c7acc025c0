// What an application shows of a plug-in. If these fail, its list has wrong names, its channels go to the
// wrong sides, or each look at a plug-in starts a process.

#include "library/PluginTest.h"

using namespace test_support;
using plugin_host::description;
using plugin_host::plugin;
using plugin_host::session;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class PluginDescriptionTest : public PluginTest {
protected:
    description describe(const std::string& path, const std::string& identifier = "") {
        session own(options());
        return plugin(own, {.path = path, .identifier = identifier}).describe();
    }

    static std::vector<std::string> names(const description& given) {
        std::vector<std::string> names;
        for (const plugin_host::parameter& parameter : given.parameters)
            names.push_back(parameter.name);
        return names;
    }
};

} // namespace

TEST_F(PluginDescriptionTest, AnEffectOfVst2IsDescribedInFull) {
    const description echo = describe(examplePlugin("echo.so"));
    EXPECT_EQ(echo.name, "Echo");
    EXPECT_EQ(echo.vendor, "Example Works");
    EXPECT_EQ(echo.version, "1");
    EXPECT_EQ(echo.category, "Delay / Reverb");
    EXPECT_EQ(echo.identifier, "45636830");
    EXPECT_EQ(echo.path, examplePlugin("echo.so"));
    EXPECT_EQ(echo.format, plugin_host::format::vst2);
    EXPECT_TRUE(echo.is_identified);
    EXPECT_TRUE(echo.has_editor);
    EXPECT_FALSE(echo.has_note_input);
    EXPECT_FALSE(echo.has_note_output);
    EXPECT_FALSE(echo.supports_mpe);
    EXPECT_FALSE(echo.maps_midi_controllers);
    EXPECT_EQ(echo.input_channels, 2U);
    EXPECT_EQ(echo.output_channels, 2U);
    EXPECT_EQ(echo.latency, 0);
    ASSERT_THAT(echo.input_buses, SizeIs(1));
    EXPECT_THAT(echo.input_buses[0].channels, ElementsAre(0, 1));
    ASSERT_THAT(echo.output_buses, SizeIs(1));
    EXPECT_THAT(echo.output_buses[0].channels, ElementsAre(0, 1));
    EXPECT_THAT(echo.programs, IsEmpty());
    EXPECT_THAT(echo.note_names, IsEmpty());
    EXPECT_THAT(names(echo), ElementsAre("Delay", "Feedback", "Mix"));
    const plugin_host::parameter& delay = echo.parameters[0];
    EXPECT_EQ(delay.text, "250");
    EXPECT_EQ(delay.unit, "ms");
    EXPECT_EQ(delay.group, "");
    EXPECT_EQ(delay.value, 0.25F);
    EXPECT_EQ(delay.id, 0);
    EXPECT_TRUE(delay.is_automatable);
    EXPECT_FALSE(delay.is_switch);
    EXPECT_FALSE(delay.is_integer);
    EXPECT_EQ(echo.parameters[2].id, 2);
}

TEST_F(PluginDescriptionTest, AnEffectOfVst3IsDescribedInFull) {
    const description echo = describe(examplePlugin("echo.vst3"));
    EXPECT_EQ(echo.name, "Echo");
    EXPECT_EQ(echo.vendor, "Example Works");
    EXPECT_EQ(echo.category, "Delay");
    EXPECT_EQ(echo.identifier, "4578616D706C6520576F726B45636830");
    EXPECT_EQ(echo.format, plugin_host::format::vst3);
    EXPECT_TRUE(echo.is_identified);
    EXPECT_TRUE(echo.has_editor);
    EXPECT_FALSE(echo.has_note_input);
    EXPECT_EQ(echo.input_channels, 2U);
    EXPECT_EQ(echo.output_channels, 2U);
    EXPECT_THAT(echo.input_buses, SizeIs(1));
    EXPECT_THAT(names(echo), ElementsAre("Delay", "Feedback", "Mix"));
    EXPECT_EQ(echo.parameters[0].text, "250");
    EXPECT_EQ(echo.parameters[0].value, 0.25F);
}

TEST_F(PluginDescriptionTest, InstrumentsTakeNotes) {
    for (const char* file : {"tone.so", "tone.vst3"}) {
        const description tone = describe(examplePlugin(file));
        EXPECT_EQ(tone.name, "Tone");
        EXPECT_TRUE(tone.has_note_input) << file;
        EXPECT_FALSE(tone.has_note_output) << file;
        EXPECT_EQ(tone.input_channels, 0U);
        EXPECT_THAT(tone.input_buses, IsEmpty());
        EXPECT_EQ(tone.output_channels, 2U);
        EXPECT_EQ(tone.maps_midi_controllers, std::string(file) == "tone.vst3");
    }
}

TEST_F(PluginDescriptionTest, APlugInOfAShellIsDescribedByItsIdentifier) {
    const description louder = describe(examplePlugin("trio.so"), "54724c6f");
    EXPECT_EQ(louder.name, "Louder");
    EXPECT_EQ(louder.identifier, "54724c6f");
    EXPECT_EQ(louder.latency, 64);
    EXPECT_THAT(names(louder), ElementsAre("Gain"));
    const description swap = describe(examplePlugin("trio.so"), "54725377");
    EXPECT_EQ(swap.name, "Swap Sides");
    EXPECT_FALSE(swap.has_editor);
    EXPECT_THAT(swap.parameters, IsEmpty());
    EXPECT_EQ(describe(examplePlugin("trio.vst3")).name, "Louder");
    const description third = describe(examplePlugin("trio.vst3"), "4578616D706C6520576F726B54725377");
    EXPECT_EQ(third.name, "Swap Sides");
    EXPECT_EQ(third.identifier, "4578616D706C6520576F726B54725377");
}

TEST_F(PluginDescriptionTest, ADescriptionOutlivesItsPlugInAndSession) {
    const plugin_host_description* given = nullptr;
    {
        session own(options());
        const plugin echo(own, {.path = examplePlugin("echo.so")});
        ASSERT_EQ(plugin_host_plugin_describe(echo.get(), &given), PLUGIN_HOST_OK);
    }
    EXPECT_EQ(given->size, sizeof *given);
    EXPECT_STREQ(given->name, "Echo");
    EXPECT_EQ(given->parameters[2]->size, sizeof(plugin_host_parameter));
    EXPECT_STREQ(given->parameters[2]->name, "Mix");
    EXPECT_EQ(given->input_buses[0]->channels[1], 1);
    plugin_host_description_free(given);
    plugin_host_description_free(nullptr);
}

TEST_F(PluginDescriptionTest, ADescriptionIsOfItsMomentAndARefreshIsOfNow) {
    session own(options());
    plugin echo(own, {.path = examplePlugin("echo.so")});
    echo.start();
    echo.begin();
    echo.add_change(0, 0.5F);
    echo.process(256);
    EXPECT_EQ(echo.describe().parameters[0].value, 0.25F);
    const description now = echo.refresh();
    EXPECT_EQ(now.parameters[0].value, 0.5F);
    EXPECT_EQ(now.parameters[0].text, "500");
    EXPECT_EQ(now.name, "Echo");
    EXPECT_EQ(now.input_channels, 2U);
    EXPECT_EQ(echo.describe().parameters[0].value, 0.5F);
}

TEST_F(PluginDescriptionTest, ARefreshReadsTheLatency) {
    session own(options());
    plugin reporting(own, {.path = testPlugin("reports-when-asked.so")});
    EXPECT_EQ(reporting.describe().latency, 64);
    EXPECT_EQ(reporting.refresh().latency, 64);
    EXPECT_EQ(reporting.refresh().output_channels, 2U);
}

TEST_F(PluginDescriptionTest, APlugInWithoutAnEditorOpensNone) {
    session own(options());
    plugin swap(own, {.path = examplePlugin("trio.so"), .identifier = "54725377"});
    EXPECT_EQ(statusOf([&] { swap.open_editor(); }), PLUGIN_HOST_NOT_FOUND);
    EXPECT_THAT(plugin_host_error(), HasSubstr("no editor"));
}

TEST_F(PluginDescriptionTest, WithoutAReportTextsAreEmptyAndAllElseIsThere) {
    // A program that hosts, and reports nothing.
    session own(options(
        script("no-reports", "[ \"$1\" = host ] || exit 1\nexec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\"")));
    plugin louder(own, {.path = examplePlugin("trio.so"), .identifier = "54724c6f"});
    const description given = louder.describe();
    EXPECT_FALSE(given.is_identified);
    EXPECT_EQ(given.name, "");
    EXPECT_EQ(given.vendor, "");
    EXPECT_EQ(given.version, "");
    EXPECT_EQ(given.category, "");
    EXPECT_EQ(given.identifier, "54724c6f");
    EXPECT_EQ(given.path, examplePlugin("trio.so"));
    EXPECT_EQ(given.latency, 64);
    EXPECT_TRUE(given.has_editor);
    EXPECT_THAT(names(given), ElementsAre("Gain"));
}

TEST_F(PluginDescriptionTest, AReportThatHangsTakesItsTime) {
    plugin_host::session_options impatient = options(script(
        "hanging-reports", "[ \"$1\" = host ] || exec sleep 30\nexec \"" PLUGIN_HOST_EXECUTABLE "\" \"$@\""));
    impatient.report_timeout = std::chrono::milliseconds(300);
    session own(impatient);
    const plugin echo(own, {.path = examplePlugin("echo.so")});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(echo.describe().is_identified);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(PluginDescriptionTest, AFileIsReportedOnceForAllSessions) {
    const plugin_host::session_options counting = options(countingProgram());
    for (int run = 0; run < 2; ++run) {
        session own(counting);
        const plugin first(own, {.path = examplePlugin("echo.so")});
        const plugin second(own, {.path = examplePlugin("echo.so")});
        EXPECT_EQ(first.describe().name, "Echo");
        EXPECT_EQ(first.describe().name, "Echo");
        EXPECT_EQ(second.describe().name, "Echo");
    }
    EXPECT_EQ(countReports(), 1U);
    EXPECT_THAT(namesIn("cache"), ElementsAre("plugin-host"));
}

TEST_F(PluginDescriptionTest, TheFolderOfTheCacheIsChosen) {
    plugin_host::session_options chosen = options(countingProgram());
    const std::string folder = directory / "own-cache";
    chosen.cache_directory = folder.c_str();
    for (int run = 0; run < 2; ++run) {
        session own(chosen);
        EXPECT_EQ(plugin(own, {.path = examplePlugin("echo.so")}).describe().name, "Echo");
    }
    EXPECT_EQ(countReports(), 1U);
    EXPECT_FALSE(std::filesystem::is_empty(folder));
    EXPECT_THAT(namesIn("cache"), IsEmpty());
}

TEST_F(PluginDescriptionTest, WithoutACacheEachSessionReportsOnce) {
    plugin_host::session_options none = options(countingProgram());
    none.cache_directory = "";
    for (int run = 0; run < 2; ++run) {
        session own(none);
        const plugin echo(own, {.path = examplePlugin("echo.so")});
        EXPECT_EQ(echo.describe().name, "Echo");
        EXPECT_EQ(echo.describe().name, "Echo");
    }
    EXPECT_EQ(countReports(), 2U);
    EXPECT_THAT(namesIn("cache"), IsEmpty());
}

TEST_F(PluginDescriptionTest, AFileIsInspectedWithoutLoadingIt) {
    const plugin_host::file echo = plugin_host::inspect(examplePlugin("echo.so"));
    constexpr bool is32 = sizeof(void*) == 4;
    EXPECT_EQ(echo.format, plugin_host::format::vst2);
    EXPECT_EQ(echo.loads_in_32, is32);
    EXPECT_EQ(echo.loads_in_64, !is32);
    EXPECT_EQ(plugin_host::inspect(examplePlugin("echo.vst3")).format, plugin_host::format::vst3);
    EXPECT_EQ(statusOf([&] { plugin_host::inspect(directory / "missing.so"); }), PLUGIN_HOST_NOT_FOUND);
    EXPECT_THAT(plugin_host_error(), HasSubstr("missing.so"));
}
