#pragma once

#include "plugin/CoreNames.h"
#include "plugin/PluginAudioContext.h"

#include <atomic>
#include <cstdint>

class CreatePluginInstanceReply;
class PluginHostAsyncReplyHandler;
class PluginHostNotificationListener;
class PluginHostReply;
class PluginHostRequest;

/// A client's handle on one plug-in host, in a process of its own or in this one. Each operation builds the
/// request of its name and sends it.
///
/// One thread at a time. All operations throw `IOException` once the host is gone. A reply goes to the
/// `replyHandler`; if that is null, it is read and dropped. A text with a character above U+FFFF can't be
/// sent: the operation throws `IOException` and sends nothing.
///
/// Exceptions of receivers (reply handlers, listeners, managers) are logged and have no other effect.
///
/// In a fork of the process that made the proxy, the copy reaches no host: all operations throw, and
/// releasing it ends nothing.
class PluginHostProxy : public Object {
public:
    /// The message of the `IOException` once the host is gone.
    static constexpr const char* lostMessage = "Communication lost with plugin host process";

    ~PluginHostProxy() override;

    /// Creates an instance; `identifier` selects the plug-in in its file, `presetPath` may be empty.
    /// `listener`, which may be null, gets the instance's notifications from the reply on. Returns the new
    /// instance's id, also if the reply is an error: `removePluginInstance` then drops it.
    virtual int32_t createPluginInstance(const String& path, const String& presetPath,
                                         const String& identifier, bool dpiAware,
                                         const Ref<PluginHostNotificationListener>& listener,
                                         const Ref<PluginHostAsyncReplyHandler>& replyHandler);
    /// Only after audio was stopped and a last `process` answered.
    virtual void destroyPluginInstance(int32_t instanceId);
    /// Drops what the proxy keeps for an instance: its unanswered requests and its listener. Sends nothing. A
    /// reply to a dropped request closes the connection.
    virtual void removePluginInstance(int32_t instanceId) = 0;
    /// `parentWindow` is the client's X window, 0 for none.
    virtual void openGUI(int32_t instanceId, int64_t parentWindow, bool openEditorFlag, const String& title);
    virtual void setWindowTitle(int32_t instanceId, const String& title);
    /// In pixels of the screen.
    virtual void setWindowPosition(int32_t instanceId, int32_t x, int32_t y, int32_t width, int32_t height);
    virtual void closeGUI(int32_t instanceId);
    virtual void updateIO(int32_t instanceId, const Ref<PluginHostAsyncReplyHandler>& replyHandler);
    virtual void showAllGUIs();
    virtual void hideAllGUIs();
    virtual void activateAppGUI();
    virtual void deactivateAppGUI();
    virtual void loadPreset(int32_t instanceId, const String& path,
                            const Ref<PluginHostAsyncReplyHandler>& replyHandler);
    virtual void savePreset(int32_t instanceId, const String& path,
                            const Ref<PluginHostAsyncReplyHandler>& replyHandler);
    virtual void setCurrentProgram(int32_t instanceId, int32_t program);
    /// Ends the host.
    virtual void shutdown();
    /// Returns once the host's main thread has answered.
    virtual void ping();
    /// Sends a request. Returns the reply of a synchronous one, else null. Throws `PluginException` with the
    /// host's message if a synchronous one failed there.
    virtual Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>& request,
                                             const Ref<PluginHostAsyncReplyHandler>& replyHandler) = 0;
    /// The audio block of the instance in `reply`, for the thread that drives its rendering. Throws
    /// `IOException`.
    virtual Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) = 0;
    /// Kills a host that no longer answers. False, without effect, for one in this process. Any thread.
    virtual bool abandon() = 0;
    /// Whether the host is gone or was asked to end: all other operations then throw. A proxy that closes
    /// calls `ReplyWaiter::hostLost`. Any thread.
    virtual bool isClosed() const = 0;

protected:
    /// Called with the id of a new instance before its request is sent.
    virtual void addPluginInstance(int32_t instanceId,
                                   const Ref<PluginHostNotificationListener>& listener) = 0;

private:
    std::atomic<int32_t> nextInstanceId = 1;
};
