// How plug-ins come to be, or why they don't. If these fail, an application hangs with a plug-in that hangs,
// shows no reason for one that can't be loaded, or keeps a half-made instance in its host.

#include "library/PluginTest.h"
#include "support/RealDeaths.h"

#include <atomic>
#include <chrono>
#include <elf.h>
#include <future>

using namespace test_support;
using namespace std::chrono_literals;
using plugin_host::plugin;
using plugin_host::session;
using testing::HasSubstr;

namespace {

/// A session, a plug-in that waits in its entry while there is no gate, and the end of an asynchronous
/// creation.
class PluginCreationTest : public PluginTest {
protected:
    plugin_host::plugin_options waiting(std::chrono::milliseconds timeout = {}) {
        return {.path = testPlugin("waits-for-its-gate.so"), .timeout = timeout, .events = reporting()};
    }

    plugin_host::plugin_events reporting() {
        plugin_host::plugin_events events;
        events.created = [this](plugin_host_status status, std::string_view text) {
            ends.add(std::to_string(status) + (text.empty() ? "" : " ") + std::string(text));
        };
        return events;
    }
    std::string awaitEnd() {
        EXPECT_TRUE(eventually([&] { return !ends.all().empty(); })) << "no callback";
        return ends.all().empty() ? "" : ends.all().front();
    }

    void openGate() const { touch(gate); }

    /// The outcome of a creation by path.
    plugin_host_status create(const std::string& path, const char* identifier = "") {
        return statusOf([&] { plugin(own, {.path = path, .identifier = identifier}); });
    }

    const std::string record = directory / "record";
    const std::string gate = directory / "gate";
    const ScopedEnvironment recordVariable{"PLUGIN_TEST_RECORD", record.c_str()};
    const ScopedEnvironment gateVariable{"PLUGIN_TEST_GATE", gate.c_str()};
    Lines ends;
    session own{options()};
};

std::string code(plugin_host_status status) {
    return std::to_string(status);
}

} // namespace

TEST_F(PluginCreationTest, AHangingPlugInTimesOutAndIsDestroyedAsItComes) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(statusOf([&] { plugin(own, waiting(1s)); }), PLUGIN_HOST_TIMED_OUT);
    EXPECT_THAT(plugin_host_error(), HasSubstr("waits-for-its-gate.so\" took too long"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    openGate();
    EXPECT_TRUE(waitForLine(record, "made"));
    EXPECT_TRUE(waitForLine(record, "closed"));
}

TEST_F(PluginCreationTest, AnAsynchronousCreationHasItsTimeToo) {
    const plugin hanging(own, waiting(1s), plugin::async);
    EXPECT_THAT(awaitEnd(), HasSubstr(code(PLUGIN_HOST_TIMED_OUT) + " "));
    openGate();
    EXPECT_TRUE(waitForLine(record, "closed"));
    EXPECT_EQ(ends.all().size(), 1U);
}

TEST_F(PluginCreationTest, TheTimeOfACreationIncludesTheStartOfItsHost) {
    session stuck(options(script("stuck-host", "exec sleep 30")));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(statusOf([&] { plugin(stuck, {.path = examplePlugin("echo.so"), .timeout = 500ms}); }),
              PLUGIN_HOST_TIMED_OUT);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    const plugin later(stuck, {.path = examplePlugin("echo.so"), .timeout = 500ms, .events = reporting()},
                       plugin::async);
    EXPECT_THAT(awaitEnd(), HasSubstr(code(PLUGIN_HOST_TIMED_OUT)));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 9s);
}

TEST_F(PluginCreationTest, AnAsynchronousCreationEndsWithItsCallback) {
    openGate();
    plugin made(own, waiting(), plugin::async);
    EXPECT_EQ(awaitEnd(), code(PLUGIN_HOST_OK));
    made.start();
    EXPECT_EQ(made.begin().channels.size(), 2U);
    EXPECT_FALSE(made.cancel());
    EXPECT_EQ(plugin_host_plugin_cancel(made.get()), PLUGIN_HOST_INVALID_STATE);
}

TEST_F(PluginCreationTest, WhileItIsMadeAPlugInTakesNothingButItsData) {
    plugin making(own, waiting(), plugin::async);
    ASSERT_TRUE(waitForLine(record, "waits"));
    EXPECT_EQ(statusOf([&] { return making.describe(); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { making.refresh(); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { making.open_editor(); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { making.set_program(0); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { making.watch_text(0); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { return making.save_state(); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(statusOf([&] { return making.host_info(); }), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_start(making.get()), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_begin(making.get(), nullptr), PLUGIN_HOST_INVALID_STATE);
    void* data = nullptr;
    EXPECT_EQ(plugin_host_plugin_get_data(making.get(), &data), PLUGIN_HOST_OK);
    EXPECT_NE(data, nullptr);
    EXPECT_EQ(plugin_host_plugin_set_data(making.get(), data), PLUGIN_HOST_OK);
    openGate();
    EXPECT_EQ(awaitEnd(), code(PLUGIN_HOST_OK));
}

TEST_F(PluginCreationTest, ACancelledCreationIsUndoneAsItComes) {
    plugin making(own, waiting(), plugin::async);
    ASSERT_TRUE(waitForLine(record, "waits"));
    EXPECT_TRUE(making.cancel());
    EXPECT_THAT(awaitEnd(), HasSubstr(code(PLUGIN_HOST_CANCELLED) + " "));
    EXPECT_FALSE(making.cancel());
    EXPECT_EQ(statusOf([&] { return making.describe(); }), PLUGIN_HOST_CANCELLED);
    openGate();
    EXPECT_TRUE(waitForLine(record, "closed"));
    EXPECT_EQ(ends.all().size(), 1U);
}

TEST_F(PluginCreationTest, ACreationIsCancelledBeforeItsHostIsUp) {
    session stuck(options(script("stuck-host", "exec sleep 30")));
    plugin making(stuck, {.path = examplePlugin("echo.so"), .events = reporting()}, plugin::async);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(making.cancel());
    EXPECT_THAT(awaitEnd(), HasSubstr(code(PLUGIN_HOST_CANCELLED)));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(PluginCreationTest, APlugInMayBeDestroyedWhileItIsMade) {
    {
        const plugin making(own, waiting(), plugin::async);
        ASSERT_TRUE(waitForLine(record, "waits"));
    }
    openGate();
    EXPECT_TRUE(waitForLine(record, "made"));
    EXPECT_TRUE(waitForLine(record, "closed"));
    EXPECT_TRUE(ends.all().empty()) << "a callback for a destroyed plug-in";
}

TEST_F(PluginCreationTest, ASessionMayBeDestroyedWhileAPlugInIsMade) {
    std::optional<session> brief(options());
    plugin_host::plugin_events events = reporting();
    plugin_host_plugin* handle = plugin(*brief, waiting(), plugin::async).get();
    EXPECT_EQ(plugin_host_plugin_cancel(handle), PLUGIN_HOST_INVALID_HANDLE);
    plugin making(*brief, waiting(), plugin::async);
    brief.reset();
    EXPECT_EQ(plugin_host_plugin_cancel(making.get()), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_TRUE(ends.all().empty());
}

TEST_F(PluginCreationTest, TheDataIsReleasedOnceAlsoWithoutAPlugIn) {
    // The events are the data of the C++ header: each way of ending has to release them.
    const auto witness = std::make_shared<int>();
    const auto eventsWith = [&] {
        plugin_host::plugin_events events;
        events.parameters_changed = [witness] {};
        return events;
    };
    EXPECT_ANY_THROW(plugin(own, {.path = directory / "nothing.so", .events = eventsWith()}));
    EXPECT_EQ(witness.use_count(), 1);
    { const plugin missing(own, {.path = directory / "nothing.so", .events = eventsWith()}, plugin::async); }
    EXPECT_TRUE(eventually([&] { return witness.use_count() == 1; }));
    { const plugin made(own, {.path = examplePlugin("echo.so"), .events = eventsWith()}); }
    EXPECT_TRUE(eventually([&] { return witness.use_count() == 1; }));
}

TEST_F(PluginCreationTest, FilesThatAreNoPlugInsAreNotFound) {
    EXPECT_EQ(create(directory / "nothing.so"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_THAT(plugin_host_error(), HasSubstr("nothing.so"));
    std::ofstream(directory / "text.so") << "text, and not a library";
    EXPECT_EQ(create(directory / "text.so"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_STRNE(plugin_host_error(), "");
    std::filesystem::create_directory(directory / "empty.vst3");
    EXPECT_EQ(create(directory / "empty.vst3"), PLUGIN_HOST_NOT_FOUND);
}

TEST_F(PluginCreationTest, ALibraryOfAnotherProcessorIsNotFound) {
    Elf64_Ehdr header{};
    std::copy_n(ELFMAG, SELFMAG, header.e_ident);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_DYN;
    header.e_machine = EM_AARCH64;
    header.e_version = EV_CURRENT;
    header.e_ehsize = sizeof header;
    std::ofstream(directory / "arm.so").write(reinterpret_cast<const char*>(&header), sizeof header);
    EXPECT_EQ(create(directory / "arm.so"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_THAT(plugin_host_error(), HasSubstr("arm.so"));
}

TEST_F(PluginCreationTest, ALibraryThatIsNoPlugInIsRefusedWithTheHostsWords) {
    EXPECT_EQ(create(testPlugin("without-entry-point.so")), PLUGIN_HOST_REFUSED);
    EXPECT_STREQ(plugin_host_error(), "Plugin main function not found");
}

TEST_F(PluginCreationTest, AnIdentifierThatIsNotInTheFileIsNotFound) {
    EXPECT_EQ(create(examplePlugin("trio.vst3"), "00000000000000000000000000000000"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_THAT(plugin_host_error(), HasSubstr("trio.vst3\" has no plug-in \"0000"));
    EXPECT_EQ(create(examplePlugin("trio.so"), "12345678"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(create(examplePlugin("trio.so"), "Louder"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(create(examplePlugin("trio.so"), "154724c6f"), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(create(examplePlugin("trio.so"), "54724C6F"), PLUGIN_HOST_OK);
}

TEST_F(PluginCreationTest, WithoutAnIdentifierItIsTheFilesFirst) {
    // Without and with a report of earlier.
    for (int round = 0; round < 2; ++round) {
        for (const char* file : {"trio.so", "trio.vst3"}) {
            plugin first(own, {.path = examplePlugin(file)});
            const plugin_host::description given = first.describe();
            EXPECT_EQ(given.name, "Louder");
            EXPECT_EQ(given.latency, 64);
            EXPECT_EQ(given.parameters.size(), 1U);
            first.start();
            EXPECT_EQ(first.process(256).channels.size(), 2U);
        }
    }
}

TEST_F(PluginCreationTest, APlugInWhosePresetIsRefusedIsDestroyed) {
    openGate();
    std::ofstream(directory / "wrong.fxp") << "no preset";
    plugin_host::plugin_options given = waiting();
    given.preset_path = directory / "wrong.fxp";
    EXPECT_EQ(statusOf([&] { plugin(own, given); }), PLUGIN_HOST_REFUSED);
    EXPECT_TRUE(waitForLine(record, "closed"));
}

TEST_F(PluginCreationTest, TheEndOfAFailureComesByCallbackToo) {
    const plugin missing(own, {.path = directory / "nothing.so", .events = reporting()}, plugin::async);
    EXPECT_THAT(awaitEnd(), HasSubstr(code(PLUGIN_HOST_NOT_FOUND) + " "));
    EXPECT_THAT(awaitEnd(), HasSubstr("nothing.so"));
    EXPECT_EQ(statusOf([&] { return missing.describe(); }), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(plugin_host_plugin_start(missing.get()), PLUGIN_HOST_INVALID_STATE);
}

TEST_F(PluginCreationTest, WorkersOutOfRangeAreRefused) {
    for (const int worker : {1, 63, 64, -1})
        EXPECT_EQ(statusOf([&] { plugin(own, {.path = examplePlugin("echo.so"), .worker = worker}); }),
                  PLUGIN_HOST_INVALID_ARGUMENT)
            << worker;
}

TEST_F(PluginCreationTest, WrongArgumentsAreRefused) {
    plugin_host_plugin* made = nullptr;
    plugin_host_plugin_options given{};
    given.size = sizeof given;
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    given.path = "\xff.so";
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    const std::string path = examplePlugin("echo.so");
    given.path = path.c_str();
    EXPECT_EQ(plugin_host_plugin_create(own.get(), nullptr, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_create(nullptr, &given, &made), PLUGIN_HOST_INVALID_HANDLE);
    given.timeout = -1;
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    given.timeout = 0;
    given.state = "x";
    given.state_size = 1;
    given.preset_path = path.c_str();
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    given.state = nullptr;
    given.preset_path = nullptr;
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(made, nullptr);
    given.state_size = 0;
    given.host = reinterpret_cast<plugin_host_host*>(own.get());
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_INVALID_HANDLE);
    given.host = nullptr;
    EXPECT_EQ(plugin_host_plugin_create(own.get(), &given, &made), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_destroy(made), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_destroy(made), PLUGIN_HOST_INVALID_HANDLE);
}

TEST_F(PluginCreationTest, ARelativePathIsTakenFromTheCurrentDirectory) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(EXAMPLE_PLUGIN_DIRECTORY);
    const plugin_host_status status = create("echo.so");
    std::filesystem::current_path(before);
    EXPECT_EQ(status, PLUGIN_HOST_OK);
}

TEST_F(PluginCreationTest, APlugInThatCrashesInItsConstructorIsDead) {
    const test_support::RealDeaths realDeaths{};
    EXPECT_EQ(create(testPlugin("crashes-at-create.so")), PLUGIN_HOST_DEAD);
    EXPECT_THAT(plugin_host_error(), HasSubstr("crashes-at-create.so"));
    // The next one has a host of its own.
    EXPECT_EQ(create(examplePlugin("echo.so")), PLUGIN_HOST_OK);
}
