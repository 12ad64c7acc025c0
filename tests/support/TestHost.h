#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginHostNotification.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequest.h"
#include "support/FakePluginInstance.h"
#include "support/WireBytes.h"

#include <functional>
#include <string>

namespace test_support {

/// A handler whose client is the log: an entry for each operation, with the payload's bytes.
class LoggingHandler : public PluginHostProxyHandler {
public:
    LoggingHandler(const Ref<PluginHost>& host, CallLog& log) : PluginHostProxyHandler(host), log(log) {}

    void sendReply(PluginHostRequest& request, PluginHostReply& reply) override {
        log.add("reply " + std::to_string(request.requestId) + ": " + written(reply));
    }
    void sendEmptyReply(PluginHostRequest& request) override {
        log.add("empty reply " + std::to_string(request.requestId));
    }
    void sendError(PluginHostRequest& request, const String& message) override {
        log.add("error " + std::to_string(request.requestId) + ": " + message.toStdString());
    }
    void sendNotification(PluginHostNotification& notification) override {
        log.add("notification: " + written(notification));
    }
    void shutdown() override { log.add("shutdown"); }
    void setUpAudio(PluginInstance& instance) override {
        log.add("setUpAudio");
        if (onSetUpAudio)
            onSetUpAudio(instance);
    }

    CallLog& log;
    /// May throw in the place of `setUpAudio`.
    std::function<void(PluginInstance&)> onSetUpAudio;
};

/// A host with a recording handler, whose main thread is the test's and whose loop doesn't run.
class TestHost {
public:
    TestHost() { host->handler = handler.get(); }
    ~TestHost() {
        // Host and handler hold each other.
        host->handler = nullptr;
        handler->host = nullptr;
    }
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    /// An instance in the host's table; one that isn't announced to the client has no handler.
    Ref<FakePluginInstance> addInstance(int32_t instanceId, bool announced = true) {
        Ref<FakePluginInstance> instance(new FakePluginInstance(host.get(), instanceId, log));
        if (announced)
            instance->handler = handler.get();
        host->instances.insert(instanceId, instance);
        return instance;
    }

    /// A loaded file that `getPlugin` finds.
    Ref<FakePlugin> addPlugin(const String& path) {
        Ref<FakePlugin> plugin(new FakePlugin(path, host.get(), log));
        host->plugins.push_back(plugin);
        return plugin;
    }

    /// Runs a request as one that came through the handler.
    void perform(PluginHostRequest& request, int32_t requestId = PluginHostRequest::noRequestId) {
        request.handler = handler;
        request.requestId = requestId;
        request.run();
    }

    CallLog log;
    Ref<PluginHost> host{new PluginHost(44100, 256)};
    Ref<LoggingHandler> handler{new LoggingHandler(host, log)};
};

} // namespace test_support
