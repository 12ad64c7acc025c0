#pragma once

#include "editors/HostPauses.h"
#include "plugin/PluginHostRequests.h"
#include "plugins/editors/EditorRecord.h"
#include "support/CapturedOutput.h"
#include "support/LocalAudioContext.h"
#include "support/RunningHost.h"
#include "support/WindowReader.h"
#include "vst2/Vst2PluginApi.h"
#include "vst3/Vst3PluginApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// Has a host load the test plug-ins.
inline void addFormats(PluginHost& host) {
    host.addFormat(Vst3PluginApi::instance);
    host.addFormat(Vst2PluginApi::instance);
}

/// A window in the corner.
constexpr test_support::WindowRectangle asLarge(int32_t width, int32_t height) {
    return {0, 0, width, height};
}

/// The record of a test plug-in's module, emptied. The file is loaded if it isn't yet.
inline EditorRecord& recordOf(const std::string& path) {
    void* module = dlopen(path.c_str(), RTLD_NOW);
    if (module == nullptr)
        throw std::runtime_error(dlerror());
    EditorRecord& record = *reinterpret_cast<EditorRecord* (*)()>(dlsym(module, "editorRecord"))();
    record.calls.clear();
    record.onOpen = nullptr;
    return record;
}

/// A host at work with one instance of a plug-in that has an editor, a client that has sent its requests, and
/// another client of the X server that looks at what they make of it.
class EditorTest : public testing::Test {
protected:
    static constexpr int32_t instanceId = 3;

    ~EditorTest() override {
        if (instance)
            request<DestroyPluginInstanceRequest>(instanceId);
        onMainThread([this] { instance = nullptr; });
    }

    /// Creates the instance; `file` is one of the test plug-ins.
    void load(const std::string& file, bool dpiAware = false) {
        const std::string path = TEST_PLUGIN_DIRECTORY "/" + file;
        record = &recordOf(path);
        create(path, dpiAware);
    }

    /// Creates the instance as a client has it done, and announces it.
    void create(const std::string& path, bool dpiAware = false) {
        onMainThread([&] {
            instance = host().createPluginInstance(instanceId, path.c_str(), "", dpiAware);
            instance->activate();
            instance->handler = &running.handler();
        });
    }

    /// Runs something on the main thread. At the return the server has carried out what the host has sent it,
    /// and not what the host has forgotten in a buffer.
    void onMainThread(const std::function<void()>& body) {
        ASSERT_TRUE(running.call(body)) << "the main thread stands still";
        xcb_connection_t* connection = host().windows.display.connection;
        ASSERT_TRUE(connection == nullptr || client.syncWith(connection)) << "the server stands still";
    }

    /// Has the host carry out a request of its client's.
    template <class Request, class... Arguments>
    void request(Arguments&&... arguments) {
        const Ref<PluginHostRequest> made(new Request(std::forward<Arguments>(arguments)...));
        onMainThread([&] { running.test().perform(*made); });
    }

    void open(const String& title = "Title", int64_t parentWindow = 0) {
        request<OpenGUIRequest>(instanceId, parentWindow, false, title);
    }
    void close() { request<CloseGUIRequest>(instanceId); }
    void place(int32_t x, int32_t y, int32_t width, int32_t height) {
        request<SetWindowPositionRequest>(instanceId, x, y, width, height);
    }

    /// The host's window of the editor, 0 while it is closed.
    uint32_t window() {
        uint32_t id = 0;
        onMainThread([&] {
            if (const PluginWindow* open = instance->window)
                id = open->getWindowId();
        });
        return id;
    }

    /// The first window in the host's.
    uint32_t pluginWindow() {
        const std::vector<uint32_t> found = client.children(window());
        return found.empty() ? 0 : found.front();
    }

    /// Waits until the host has acted on all events that came of what was done so far: events and actions
    /// keep their order.
    void settle() {
        const std::string closing = "closeEditor " + std::to_string(witnessId);
        const size_t before = running.log().count(closing);
        client.sendMessage(host().windows.display.controlWindow, witnessWindow, client.atom("WM_PROTOCOLS"),
                           client.atom("WM_DELETE_WINDOW"));
        ASSERT_TRUE(test_support::eventually([&] { return running.log().count(closing) > before; }))
            << "the host stands still";
        onMainThread([] {});
    }

    /// What the client has been told, as bytes.
    std::vector<std::string> notifications() {
        constexpr std::string_view prefix = "notification: ";
        std::vector<std::string> found;
        for (const std::string& entry : running.log().all()) {
            if (entry.starts_with(prefix))
                found.push_back(entry.substr(prefix.size()));
        }
        return found;
    }

    /// Those about windows alone.
    std::vector<std::string> windowNotifications() {
        std::vector<std::string> found = notifications();
        std::erase_if(found, [](const std::string& bytes) { return bytes < "04"; });
        return found;
    }

    size_t countCalls(const std::string& call) { return record->calls.count(call); }

    /// Has a plug-in with a late window make it, on a thread of its own as plug-ins do.
    void makeLateWindow() { std::thread(record->makeWindow).join(); }

    /// Opens an editor whose plug-in makes no window, or one only in the pause behind the last look for it.
    void openInVain(bool tooLate = false) {
        constexpr size_t looks = 20;
        HostPauses pauses([&](size_t count) {
            if (tooLate && count == looks)
                makeLateWindow();
        });
        const test_support::CapturedOutput errors(STDERR_FILENO);
        open();
        // A second in all.
        EXPECT_EQ(pauses.lengths, std::vector<useconds_t>(looks, 50000));
        EXPECT_EQ(errors.text(), "VST plugin did not create it's window inside the plugin window\n");
        EXPECT_EQ(window(), 0U);
        settle();
        EXPECT_THAT(windowNotifications(), testing::ElementsAre(closed));
    }

    /// Has the plug-in ask for another size; until the host has acted on it.
    void requestSize(int32_t width, int32_t height) {
        onMainThread([&] { record->requestSize(width, height); });
        settle();
    }

    /// As an instance is at work, without its worker.
    void startAudio() {
        onMainThread([&] {
            instance->setAudioContext(new test_support::LocalAudioContext(host().blockSize, 2, 2, 0, 16));
            instance->startProcessing();
        });
    }

    test_support::WindowRectangle windowSize() { return client.rectangle(window()); }
    test_support::WindowRectangle pluginWindowSize() { return client.rectangle(pluginWindow()); }

    PluginHost& host() { return running.host(); }

    /// What the client hears when the editor's window has gone.
    const std::string closed = test_support::golden("04 03 00 00 00");

    EditorRecord* record = nullptr;
    Ref<PluginInstance> instance;
    test_support::RunningHost running{[](test_support::TestHost& test) {
        addFormats(*test.host);
        // An instance that is closed to see how far the host has come.
        test.addInstance(witnessId)->window = new test_support::FakePluginWindow(witnessWindow, test.log);
    }};
    test_support::WindowReader client;

private:
    static constexpr int32_t witnessId = 900;
    static constexpr uint32_t witnessWindow = 0x7E57;
};
