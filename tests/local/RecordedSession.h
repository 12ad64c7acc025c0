#pragma once

#include "app/TestReplyHandler.h"
#include "client/PluginHostProxy.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/PluginHostNotification.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostReplies.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

/// Writes down each notification as its bytes.
class RecordingListener : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification& notification) override;
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) override;
    void onUpdateAllParameters(const UpdateAllParametersNotification& notification) override;
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) override;
    void onPluginWindowMoved(const PluginWindowMovedNotification& notification) override;
    void onPluginWindowClosed(const PluginWindowClosedNotification& notification) override;

    std::vector<std::string> all() const;
    /// Waits until there are so many, and returns them all.
    std::vector<std::string> waitFor(size_t count) const;

private:
    void add(const PluginHostNotification& notification);

    mutable std::mutex mutex;
    std::vector<std::string> entries;
};

/// One instance of a plug-in in a session of a client; all that the host answers is written down.
class RecordedSession {
public:
    explicit RecordedSession(const Ref<PluginHostProxy>& proxy);
    ~RecordedSession();
    RecordedSession(const RecordedSession&) = delete;
    RecordedSession& operator=(const RecordedSession&) = delete;

    /// Creates the instance; it doesn't play yet. Throws `PluginException`.
    void load(const std::string& path, const char* identifier = "");
    void play();
    /// The order that makes destroying safe.
    void letGo();

    /// Renders a block with what stands in it, which is then forgotten. Writes down the result, the samples
    /// and the events.
    int32_t render(bool keepActive = true);
    void change(uint16_t parameter, float value);
    void note(uint8_t status, uint8_t key, uint8_t velocity, uint16_t offset);
    /// The same noise on all inputs each time that it is asked for the same block.
    void fillInputs(uint32_t block);

    Ref<DefineIoReply> updateIo();
    /// The words of a failure, or the empty text.
    std::string savePreset(const std::string& path);
    std::string loadPreset(const std::string& path);

    int32_t instanceId = 0;
    const Ref<PluginHostProxy> proxy;
    const Ref<RecordingListener> listener{new RecordingListener};
    Ref<CreatePluginInstanceReply> reply;
    Ref<PluginAudioContext> context;
    /// The payloads of replies, and the words of failures.
    std::vector<std::string> answers;
    /// What each block came to.
    std::vector<std::string> blocks;

private:
    Ref<PluginHostReply> answer(TestReplyHandler& handler);
    std::string outcome(TestReplyHandler& handler);
};
