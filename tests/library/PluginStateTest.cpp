// A plug-in's settings as bytes and as files. If these fail, a song is saved without the sound of its
// plug-ins, or opens with another, and files of theirs stay behind for others to read.

#include "library/PluginTest.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using namespace test_support;
using plugin_host::plugin;
using plugin_host::session;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class PluginStateTest : public PluginTest {
protected:
    static std::string asText(const std::vector<std::byte>& bytes) {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    static std::span<const std::byte> asBytes(const std::string& text) {
        return std::as_bytes(std::span(text));
    }

    /// Has a started plug-in take a value for its first parameter.
    static void setFirst(plugin& target, float value) {
        target.start();
        target.begin();
        target.add_change(0, value);
        target.process(1);
        target.stop();
    }
    static float first(plugin& target) { return target.refresh().parameters.at(0).value; }

    session own{options()};
};

class StateOfBothFormatsTest : public PluginStateTest, public testing::WithParamInterface<const char*> {
protected:
    plugin_host::plugin_options echo() { return {.path = examplePlugin(GetParam())}; }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Formats, StateOfBothFormatsTest, testing::Values("echo.so", "echo.vst3"),
                         [](const auto& each) {
                             return std::string(each.param).ends_with("vst3") ? "Vst3" : "Vst2";
                         });

TEST_P(StateOfBothFormatsTest, AStateComesBackAsItWas) {
    plugin saved(own, echo());
    setFirst(saved, 0.875F);
    const std::vector<std::byte> state = saved.save_state();
    EXPECT_FALSE(state.empty());
    setFirst(saved, 0.125F);
    EXPECT_EQ(first(saved), 0.125F);
    saved.load_state(state);
    EXPECT_EQ(first(saved), 0.875F);
    plugin other(own, echo());
    EXPECT_NE(first(other), 0.875F);
    other.load_state(state);
    EXPECT_EQ(first(other), 0.875F);
    EXPECT_EQ(other.save_state(), state);
}

TEST_P(StateOfBothFormatsTest, APlugInBeginsWithItsState) {
    plugin saved(own, echo());
    setFirst(saved, 0.875F);
    const std::vector<std::byte> state = saved.save_state();
    plugin_host::plugin_options options = echo();
    options.state = state;
    plugin other(own, options);
    EXPECT_EQ(other.describe().parameters.at(0).value, 0.875F);
    EXPECT_THAT(namesIn("runtime"), IsEmpty()) << "a state is kept as a file while its plug-in lives";
}

TEST_P(StateOfBothFormatsTest, APlugInBeginsWithItsPreset) {
    plugin saved(own, echo());
    setFirst(saved, 0.875F);
    const std::string extension = std::string(GetParam()).ends_with("vst3") ? ".vstpreset" : ".fxp";
    saved.save_preset(directory / ("preset" + extension));
    setFirst(saved, 0.125F);
    saved.load_preset(directory / ("preset" + extension));
    EXPECT_EQ(first(saved), 0.875F);
    plugin_host::plugin_options options = echo();
    options.preset_path = directory / ("preset" + extension);
    const plugin other(own, options);
    EXPECT_EQ(other.describe().parameters.at(0).value, 0.875F);
}

TEST_P(StateOfBothFormatsTest, WrongBytesAreRefusedWithTheHostsWords) {
    plugin target(own, echo());
    const float before = first(target);
    EXPECT_EQ(statusOf([&] { target.load_state(asBytes("no state at all")); }), PLUGIN_HOST_REFUSED);
    EXPECT_STRNE(plugin_host_error(), "");
    std::vector<std::byte> cut = target.save_state();
    cut.resize(cut.size() / 2);
    EXPECT_EQ(statusOf([&] { target.load_state(cut); }), PLUGIN_HOST_REFUSED);
    EXPECT_EQ(first(target), before);
    plugin_host::plugin_options options = echo();
    options.state = cut;
    EXPECT_EQ(statusOf([&] { plugin(own, options); }), PLUGIN_HOST_REFUSED);
}

TEST_P(StateOfBothFormatsTest, WrongPresetsAreRefusedWithTheHostsWords) {
    std::ofstream(directory / "wrong.fxp") << "no preset at all";
    plugin_host::plugin_options options = echo();
    options.preset_path = directory / "wrong.fxp";
    EXPECT_EQ(statusOf([&] { plugin(own, options); }), PLUGIN_HOST_REFUSED);
    EXPECT_STRNE(plugin_host_error(), "");
    options.preset_path = directory / "missing.fxp";
    // By the host, or by the library itself.
    const auto isRefusal = testing::AnyOf(PLUGIN_HOST_REFUSED, PLUGIN_HOST_SYSTEM_ERROR);
    EXPECT_THAT(statusOf([&] { plugin(own, options); }), isRefusal);
    EXPECT_THAT(plugin_host_error(), HasSubstr("missing.fxp"));
    plugin target(own, echo());
    EXPECT_THAT(statusOf([&] { target.load_preset(directory / "missing.fxp"); }), isRefusal);
    EXPECT_EQ(statusOf([&] { target.save_preset(directory / "no/such/folder.fxp"); }),
              PLUGIN_HOST_SYSTEM_ERROR);
    EXPECT_THAT(plugin_host_error(), HasSubstr("no/such/folder.fxp: No such file"));
    EXPECT_EQ(statusOf([&] { target.save_preset(""); }), PLUGIN_HOST_INVALID_ARGUMENT);
}

TEST_F(PluginStateTest, AStateOfAnotherPlugInIsRefused) {
    for (const std::string suffix : {".so", ".vst3"}) {
        plugin tone(own, {.path = examplePlugin("tone" + suffix)});
        plugin echo(own, {.path = examplePlugin("echo" + suffix)});
        EXPECT_EQ(statusOf([&] { echo.load_state(tone.save_state()); }), PLUGIN_HOST_REFUSED);
        EXPECT_STRNE(plugin_host_error(), "");
    }
}

TEST_F(PluginStateTest, AHugeStateComesBackAsItWas) {
    plugin huge(own, {.path = testPlugin("shows-its-block.so")});
    huge.set_program(1);
    const std::vector<std::byte> state = huge.save_state();
    EXPECT_GT(state.size(), 5'000'000U);
    plugin other(own, {.path = testPlugin("shows-its-block.so"), .state = state});
    EXPECT_TRUE(other.save_state() == state);
}

TEST_F(PluginStateTest, AnEmptyChunkIsAStateToo) {
    plugin empty(own, {.path = testPlugin("shows-its-block.so")});
    empty.set_program(2);
    std::vector<std::byte> state;
    const plugin_host_status status = statusOf([&] { state = empty.save_state(); });
    // A host may refuse it, with words; but what it gives can be loaded again.
    if (status == PLUGIN_HOST_OK) {
        empty.load_state(state);
        EXPECT_EQ(empty.save_state(), state);
    } else {
        EXPECT_EQ(status, PLUGIN_HOST_REFUSED);
        EXPECT_STRNE(plugin_host_error(), "");
    }
}

TEST_F(PluginStateTest, WrongArgumentsAreRefused) {
    const plugin target(own, {.path = examplePlugin("echo.so")});
    void* bytes = nullptr;
    size_t size = 0;
    EXPECT_EQ(plugin_host_plugin_save_state(target.get(), nullptr, &size), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_save_state(target.get(), &bytes, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_load_state(target.get(), nullptr, 1), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_load_state(target.get(), "", 0), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_load_state(target.get(), "", SIZE_MAX), PLUGIN_HOST_INVALID_ARGUMENT);
    plugin_host_free(nullptr);
}

TEST_F(PluginStateTest, TheFileOfAStateIsForItsUserAlone) {
    const std::string gate = directory / "gate";
    const std::string record = directory / "record";
    const ScopedEnvironment gateVariable("PLUGIN_TEST_GATE", gate.c_str());
    const ScopedEnvironment recordVariable("PLUGIN_TEST_RECORD", record.c_str());
    const mode_t mask = umask(0);
    {
        session waitingSession(options());
        const std::string state = "secret";
        const plugin making(waitingSession,
                            {.path = testPlugin("waits-for-its-gate.so"), .state = asBytes(state)},
                            plugin::async);
        umask(mask);
        ASSERT_TRUE(waitForLine(record, "waits"));
        const std::vector<std::string> names = namesIn("runtime");
        ASSERT_EQ(names.size(), 1U);
        struct stat folder {};
        ASSERT_EQ(stat((directory / ("runtime/" + names[0])).c_str(), &folder), 0);
        EXPECT_EQ(folder.st_mode & 0777, 0700U);
        for (const std::string& name : namesIn("runtime/" + names[0])) {
            struct stat file {};
            ASSERT_EQ(stat((directory / ("runtime/" + names[0] + "/" + name)).c_str(), &file), 0);
            EXPECT_EQ(file.st_mode & 0777, 0600U) << name;
            EXPECT_EQ(readFile(directory / ("runtime/" + names[0] + "/" + name)), state);
        }
        touch(gate);
    }
    EXPECT_THAT(namesIn("runtime"), IsEmpty());
}

TEST_F(PluginStateTest, WithoutARuntimeFolderTheFolderOfTemporaryFilesIsUsed) {
    const ScopedEnvironment none("XDG_RUNTIME_DIR", nullptr);
    plugin target(own, {.path = examplePlugin("echo.so")});
    EXPECT_FALSE(target.save_state().empty());
    const ScopedEnvironment missing("XDG_RUNTIME_DIR", (directory / "missing").c_str());
    EXPECT_FALSE(target.save_state().empty());
}
