// Wrong handles and wrong arguments: each is a status, for each function of the interface. If these fail, a
// mistake of an application is a crash in the library.

#include "HostTest.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;

namespace {

enum class Kind { none, session, host, plugin, scan, cycle };

/// A function with a handle, all of whose other arguments are right.
struct Function {
    Kind kind;
    plugin_host_status (*call)(void* handle);
};

template <class Handle>
Handle* as(void* handle) {
    return static_cast<Handle*>(handle);
}

constexpr auto session = [](void* handle) { return as<plugin_host_session>(handle); };
constexpr auto host = [](void* handle) { return as<plugin_host_host>(handle); };
constexpr auto plugin = [](void* handle) { return as<plugin_host_plugin>(handle); };
constexpr auto scan = [](void* handle) { return as<plugin_host_scan>(handle); };
constexpr auto cycle = [](void* handle) { return as<plugin_host_cycle>(handle); };

template <class Structure>
Structure sized() {
    Structure structure{};
    structure.size = sizeof structure;
    return structure;
}

plugin_host_status createPlugin(void* handle, decltype(plugin_host_plugin_create)* create) {
    auto options = sized<plugin_host_plugin_options>();
    const std::string path = examplePlugin("echo");
    options.path = path.c_str();
    plugin_host_plugin* made = nullptr;
    const plugin_host_status status = create(session(handle), &options, &made);
    EXPECT_EQ(made, nullptr);
    return status;
}

plugin_host_status startScan(void* handle) {
    const auto options = sized<plugin_host_scan_options>();
    plugin_host_scan* made = nullptr;
    return plugin_host_scan_start(session(handle), &options, &made);
}

plugin_host_status saveState(void* handle) {
    void* bytes = nullptr;
    size_t size = 0;
    return plugin_host_plugin_save_state(plugin(handle), &bytes, &size);
}

// Lambdas of a macro would hide from a search what they call.
const std::map<std::string, Function>& functions() {
    static const std::map<std::string, Function> all{
        {"plugin_host_description_free", {Kind::none, nullptr}},
        {"plugin_host_error", {Kind::none, nullptr}},
        {"plugin_host_free", {Kind::none, nullptr}},
        {"plugin_host_inspect", {Kind::none, nullptr}},
        {"plugin_host_session_create", {Kind::none, nullptr}},
        {"plugin_host_status_text", {Kind::none, nullptr}},
        {"plugin_host_version", {Kind::none, nullptr}},
        {"plugin_host_session_destroy",
         {Kind::session, [](void* handle) { return plugin_host_session_destroy(session(handle)); }}},
        {"plugin_host_session_descriptor",
         {Kind::session,
          [](void* handle) {
              int descriptor = -1;
              return plugin_host_session_descriptor(session(handle), &descriptor);
          }}},
        {"plugin_host_session_dispatch",
         {Kind::session, [](void* handle) { return plugin_host_session_dispatch(session(handle)); }}},
        {"plugin_host_session_keep_states",
         {Kind::session, [](void* handle) { return plugin_host_session_keep_states(session(handle)); }}},
        {"plugin_host_session_set_format",
         {Kind::session, [](void* handle) { return plugin_host_session_set_format(session(handle), 0, 0); }}},
        {"plugin_host_host_start",
         {Kind::session,
          [](void* handle) {
              plugin_host_host* made = nullptr;
              return plugin_host_host_start(session(handle), nullptr, &made);
          }}},
        {"plugin_host_plugin_create",
         {Kind::session, [](void* handle) { return createPlugin(handle, plugin_host_plugin_create); }}},
        {"plugin_host_plugin_create_async",
         {Kind::session, [](void* handle) { return createPlugin(handle, plugin_host_plugin_create_async); }}},
        {"plugin_host_scan_start", {Kind::session, startScan}},
        {"plugin_host_host_destroy",
         {Kind::host, [](void* handle) { return plugin_host_host_destroy(host(handle)); }}},
        {"plugin_host_host_get_info",
         {Kind::host,
          [](void* handle) {
              auto info = sized<plugin_host_host_info>();
              return plugin_host_host_get_info(host(handle), &info);
          }}},
        {"plugin_host_host_hide_editors",
         {Kind::host, [](void* handle) { return plugin_host_host_hide_editors(host(handle)); }}},
        {"plugin_host_host_kill",
         {Kind::host, [](void* handle) { return plugin_host_host_kill(host(handle)); }}},
        {"plugin_host_host_ping",
         {Kind::host, [](void* handle) { return plugin_host_host_ping(host(handle), 0); }}},
        {"plugin_host_host_show_editors",
         {Kind::host, [](void* handle) { return plugin_host_host_show_editors(host(handle)); }}},
        {"plugin_host_cycle_begin",
         {Kind::cycle, [](void* handle) { return plugin_host_cycle_begin(cycle(handle), nullptr, 0); }}},
        {"plugin_host_cycle_create",
         {Kind::session,
          [](void* handle) {
              plugin_host_cycle* made = nullptr;
              return plugin_host_cycle_create(session(handle), 1, &made);
          }}},
        {"plugin_host_cycle_destroy",
         {Kind::cycle, [](void* handle) { return plugin_host_cycle_destroy(cycle(handle)); }}},
        {"plugin_host_cycle_finish",
         {Kind::cycle, [](void* handle) { return plugin_host_cycle_finish(cycle(handle), 0); }}},
        {"plugin_host_scan_cancel",
         {Kind::scan, [](void* handle) { return plugin_host_scan_cancel(scan(handle)); }}},
        {"plugin_host_scan_destroy",
         {Kind::scan, [](void* handle) { return plugin_host_scan_destroy(scan(handle)); }}},
        {"plugin_host_scan_wait",
         {Kind::scan, [](void* handle) { return plugin_host_scan_wait(scan(handle), 0); }}},
    };
    return all;
}

const std::map<std::string, Function>& pluginFunctions() {
    static const std::map<std::string, Function> all{
        {"plugin_host_plugin_add_change",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_add_change(plugin(handle), 0, 0, 0); }}},
        {"plugin_host_plugin_add_event",
         {Kind::plugin,
          [](void* handle) {
              const auto event = sized<plugin_host_event>();
              return plugin_host_plugin_add_event(plugin(handle), &event);
          }}},
        {"plugin_host_plugin_add_midi",
         {Kind::plugin,
          [](void* handle) { return plugin_host_plugin_add_midi(plugin(handle), 0, 0x90, 60, 100); }}},
        {"plugin_host_plugin_begin",
         {Kind::plugin,
          [](void* handle) {
              auto input = sized<plugin_host_input>();
              return plugin_host_plugin_begin(plugin(handle), &input);
          }}},
        {"plugin_host_plugin_cancel",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_cancel(plugin(handle)); }}},
        {"plugin_host_plugin_close_editor",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_close_editor(plugin(handle)); }}},
        {"plugin_host_plugin_describe",
         {Kind::plugin,
          [](void* handle) {
              const plugin_host_description* description = nullptr;
              return plugin_host_plugin_describe(plugin(handle), &description);
          }}},
        {"plugin_host_plugin_destroy",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_destroy(plugin(handle)); }}},
        {"plugin_host_plugin_get_data",
         {Kind::plugin,
          [](void* handle) {
              void* data = nullptr;
              return plugin_host_plugin_get_data(plugin(handle), &data);
          }}},
        {"plugin_host_plugin_get_event",
         {Kind::plugin,
          [](void* handle) {
              auto event = sized<plugin_host_event>();
              return plugin_host_plugin_get_event(plugin(handle), 0, &event);
          }}},
        {"plugin_host_plugin_get_host",
         {Kind::plugin,
          [](void* handle) {
              plugin_host_host* found = nullptr;
              return plugin_host_plugin_get_host(plugin(handle), &found);
          }}},
        {"plugin_host_plugin_load_preset",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_load_preset(plugin(handle), "/p"); }}},
        {"plugin_host_plugin_load_state",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_load_state(plugin(handle), "x", 1); }}},
        {"plugin_host_plugin_open_editor",
         {Kind::plugin,
          [](void* handle) { return plugin_host_plugin_open_editor(plugin(handle), 0, nullptr); }}},
        {"plugin_host_plugin_process",
         {Kind::plugin,
          [](void* handle) { return plugin_host_plugin_process(plugin(handle), 1, 0, nullptr); }}},
        {"plugin_host_plugin_refresh",
         {Kind::plugin,
          [](void* handle) {
              const plugin_host_description* description = nullptr;
              return plugin_host_plugin_refresh(plugin(handle), &description);
          }}},
        {"plugin_host_plugin_restore",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_restore(plugin(handle)); }}},
        {"plugin_host_plugin_save_preset",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_save_preset(plugin(handle), "/p"); }}},
        {"plugin_host_plugin_save_state", {Kind::plugin, saveState}},
        {"plugin_host_plugin_set_data",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_set_data(plugin(handle), nullptr); }}},
        {"plugin_host_plugin_set_editor_position",
         {Kind::plugin,
          [](void* handle) { return plugin_host_plugin_set_editor_position(plugin(handle), 0, 0, 0, 0); }}},
        {"plugin_host_plugin_set_editor_title",
         {Kind::plugin,
          [](void* handle) { return plugin_host_plugin_set_editor_title(plugin(handle), "title"); }}},
        {"plugin_host_plugin_set_program",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_set_program(plugin(handle), 0); }}},
        {"plugin_host_plugin_set_transport",
         {Kind::plugin,
          [](void* handle) {
              const auto transport = sized<plugin_host_transport>();
              return plugin_host_plugin_set_transport(plugin(handle), &transport);
          }}},
        {"plugin_host_plugin_start",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_start(plugin(handle)); }}},
        {"plugin_host_plugin_stop",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_stop(plugin(handle)); }}},
        {"plugin_host_plugin_watch_text",
         {Kind::plugin, [](void* handle) { return plugin_host_plugin_watch_text(plugin(handle), 0, 1); }}},
    };
    return all;
}

std::map<std::string, Function> allFunctions() {
    std::map<std::string, Function> all = functions();
    all.insert(pluginFunctions().begin(), pluginFunctions().end());
    return all;
}

/// What the library exports.
std::vector<std::string> exportedNames() {
    std::ifstream file(PLUGIN_HOST_CLIENT_MAP);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string all = text.str();
    const std::regex name("plugin_host_[a-z0-9_]+(?=;)");
    std::vector<std::string> names;
    for (std::sregex_iterator found(all.begin(), all.end(), name); found != std::sregex_iterator(); ++found)
        names.push_back(found->str());
    return names;
}

class HandleTest : public HostTest {
protected:
    /// One living handle of each kind.
    std::map<Kind, void*> makeHandles(const OwnSession& owner) {
        std::map<Kind, void*> handles;
        plugin_host_host* ownHost = owner.startHost();
        handles[Kind::session] = static_cast<plugin_host_session*>(owner);
        handles[Kind::host] = ownHost;
        handles[Kind::plugin] = owner.createPlugin(examplePlugin("echo"), ownHost);
        const auto options = sized<plugin_host_scan_options>();
        plugin_host_scan* made = nullptr;
        EXPECT_EQ(plugin_host_scan_start(owner, &options, &made), PLUGIN_HOST_OK) << plugin_host_error();
        handles[Kind::scan] = made;
        plugin_host_cycle* ownCycle = nullptr;
        EXPECT_EQ(plugin_host_cycle_create(owner, 1, &ownCycle), PLUGIN_HOST_OK) << plugin_host_error();
        handles[Kind::cycle] = ownCycle;
        return handles;
    }

    static void expectInvalid(const std::string& name, const Function& function, void* handle) {
        EXPECT_EQ(function.call(handle), PLUGIN_HOST_INVALID_HANDLE)
            << name << " of " << handle << ": " << plugin_host_error();
    }
};

TEST_F(HandleTest, EachFunctionOfTheLibraryIsInTheseTests) {
    const std::map<std::string, Function> known = allFunctions();
    std::vector<std::string> names;
    for (const auto& [name, function] : known)
        names.push_back(name);
    EXPECT_THAT(exportedNames(), testing::UnorderedElementsAreArray(names));
}

TEST_F(HandleTest, ANullOrAGarbageOneIsInvalid) {
    const OwnSession owner(record);
    const auto handles = makeHandles(owner);
    int place = 0;
    std::vector<void*> garbage{nullptr, &place, reinterpret_cast<void*>(UINTPTR_MAX)};
    for (uintptr_t number = 1; number < 256; ++number)
        garbage.push_back(reinterpret_cast<void*>(number));
    for (const auto& [kind, handle] : handles) {
        const auto number = reinterpret_cast<uintptr_t>(handle);
        // Another slot, another generation.
        garbage.push_back(reinterpret_cast<void*>(number + 8 * 4096));
        garbage.push_back(reinterpret_cast<void*>(number + (1U << 16)));
        garbage.push_back(reinterpret_cast<void*>(number ^ (uintptr_t{1} << (sizeof number * 8 - 1))));
    }
    for (const auto& [name, function] : allFunctions()) {
        for (void* each : garbage) {
            if (function.call != nullptr)
                expectInvalid(name, function, each);
        }
    }
}

TEST_F(HandleTest, OneOfAnotherKindIsInvalid) {
    const OwnSession owner(record);
    for (const auto& [kind, handle] : makeHandles(owner)) {
        for (const auto& [name, function] : allFunctions()) {
            if (function.call != nullptr && function.kind != kind)
                expectInvalid(name, function, handle);
        }
    }
}

TEST_F(HandleTest, ADestroyedOneIsInvalid) {
    OwnSession owner(record);
    const auto handles = makeHandles(owner);
    EXPECT_EQ(plugin_host_cycle_destroy(cycle(handles.at(Kind::cycle))), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_scan_destroy(scan(handles.at(Kind::scan))), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_destroy(plugin(handles.at(Kind::plugin))), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_destroy(host(handles.at(Kind::host))), PLUGIN_HOST_OK);
    EXPECT_EQ(owner.destroy(), PLUGIN_HOST_OK);
    // Others may have their places.
    const OwnSession next(record);
    const auto others = makeHandles(next);
    for (const auto& [name, function] : allFunctions()) {
        if (function.call != nullptr)
            expectInvalid(name, function, handles.at(function.kind));
    }
}

TEST_F(HandleTest, AHandleOfAnotherKindIsNoHostOfAPlugin) {
    const OwnSession owner(record);
    const OwnSession other(record);
    auto options = sized<plugin_host_plugin_options>();
    const std::string path = examplePlugin("echo");
    options.path = path.c_str();
    plugin_host_plugin* made = nullptr;
    options.host = reinterpret_cast<plugin_host_host*>(static_cast<plugin_host_session*>(owner));
    EXPECT_EQ(plugin_host_plugin_create(owner, &options, &made), PLUGIN_HOST_INVALID_HANDLE);
    options.host = other.startHost();
    EXPECT_EQ(plugin_host_plugin_create(owner, &options, &made), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(made, nullptr);
}

TEST_F(HandleTest, ACopyOfTheProcessHasNone) {
    const OwnSession owner(record);
    const auto handles = makeHandles(owner);
    // Held by the library at the moment of the fork, or not: both must be the same to the copy.
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(20);
        int wrong = 0;
        for (const auto& [name, function] : allFunctions()) {
            if (function.call == nullptr)
                continue;
            const plugin_host_status status = function.call(handles.at(function.kind));
            if (status != PLUGIN_HOST_INVALID_HANDLE && status != PLUGIN_HOST_DEAD)
                ++wrong;
        }
        _exit(wrong);
    }
    int status = -1;
    EXPECT_EQ(waitpid(copy, &status, 0), copy);
    EXPECT_EQ(status, 0) << "calls of the copy were answered otherwise";
    EXPECT_EQ(plugin_host_host_ping(host(handles.at(Kind::host)), 0), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.getDeaths().empty());
}

TEST_F(HandleTest, AnErrorIsTheThreadsLastOne) {
    EXPECT_EQ(plugin_host_host_ping(nullptr, 0), PLUGIN_HOST_INVALID_HANDLE);
    const std::string text = plugin_host_error();
    EXPECT_NE(text, "");
    EXPECT_EQ(plugin_host_plugin_process(nullptr, 1, 0, nullptr), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_error(), text) << "a call of audio has left a text";
    plugin_host_session* made = nullptr;
    EXPECT_EQ(plugin_host_session_create(nullptr, &made), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_error(), text) << "a call that succeeded has left a text";
    EXPECT_EQ(plugin_host_session_destroy(made), PLUGIN_HOST_OK);
}

} // namespace
