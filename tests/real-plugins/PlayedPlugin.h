#pragma once

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostReplies.h"
#include "real-plugins/CourseProgram.h"

#include <string>
#include <vector>

/// A plug-in in a host of its own, which plays it.
class PlayedPlugin {
public:
    static constexpr double replyPatience = 20; // seconds

    /// Up to where blocks can be played. The host is the one that `watchdog`, which may be null, kills, as
    /// long as this lives. Throws `Exception`.
    PlayedPlugin(const std::string& hostProgram, const std::string& plugin, Watchdog* watchdog = nullptr,
                 const Ref<PluginHostNotificationListener>& listener = nullptr);
    ~PlayedPlugin();
    PlayedPlugin(const PlayedPlugin&) = delete;
    PlayedPlugin& operator=(const PlayedPlugin&) = delete;

    /// Plays what stands in the block. Throws `std::runtime_error` if more than the block was written.
    void playBlock();
    /// Takes everything down. Throws `Exception` if the host had gone before.
    void end();

    /// What became of the host, behind a failure. Ends it if it still lives.
    std::string describeEnd();

    PluginAudioContext& block() { return *context; }
    RemotePluginHostProxy& host() { return *proxy; }
    /// As they were when the plug-in was created.
    const std::vector<Ref<ParameterInfo>>& parameters() const { return created->state->parameters; }
    int32_t getId() const { return created->instanceId; }
    bool hasEditor() const { return created->hasEditor; }

private:
    Watchdog* watchdog;
    Ref<RemotePluginHostProxy> proxy;
    Ref<CreatePluginInstanceReply> created;
    Ref<RemotePluginAudioContextProxy> context;
};
