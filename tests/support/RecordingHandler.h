#pragma once

#include "plugin/PluginHostNotification.h"
#include "plugin/PluginHostProxyHandler.h"

#include <vector>

namespace test_support {

/// Keeps what would go to the client.
class RecordingHandler : public PluginHostProxyHandler {
public:
    RecordingHandler() : PluginHostProxyHandler(nullptr) {}

    void sendReply(PluginHostRequest&, PluginHostReply&) override {}
    void sendEmptyReply(PluginHostRequest&) override {}
    void sendError(PluginHostRequest&, const String&) override {}
    void sendNotification(PluginHostNotification& notification) override {
        notifications.emplace_back(&notification);
    }
    void shutdown() override {}
    void setUpAudio(PluginInstance&) override {}

    std::vector<Ref<PluginHostNotification>> notifications;
};

} // namespace test_support
