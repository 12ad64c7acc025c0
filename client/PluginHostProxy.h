#pragma once

#include "plugin/CoreNames.h"
#include "plugin/PluginAudioContext.h"

#include <cstdint>

class CreatePluginInstanceReply;
class PluginHostAsyncReplyHandler;
class PluginHostNotificationListener;
class PluginHostReply;
class PluginHostRequest;

/// What a client holds to talk to one plug-in host, wherever that runs. Each operation builds the request of
/// its name and sends it.
///
/// One thread at a time calls it. All operations throw `IOException` once the host is gone. A reply comes to
/// the `replyHandler`, which may be null: its reply is then read and dropped. A text with a character above
/// U+FFFF can't be sent: the operation throws `IOException`, and the host hears nothing of it.
///
/// What a receiver throws, be it a reply handler, a listener or a manager, is logged and has no other effect.
///
/// In a process that is forked from the one that made the proxy, its copy reaches no host: all operations
/// throw, and letting go of it ends nothing.
class PluginHostProxy : public Object {
public:
    /// The words of the `IOException` once the host is gone.
    static constexpr const char* lostMessage = "Communication lost with plugin host process";

    ~PluginHostProxy() override;

    /// Brings up a plug-in; `identifier` names it in its file, `presetPath` may be empty. `listener`, which
    /// may be null, hears of its changes from the reply on. Returns the id that the new instance is known by
    /// from here on, also if the reply is an error: `removePluginInstance` then forgets it.
    virtual int32_t createPluginInstance(const String& path, const String& presetPath,
                                         const String& identifier, bool dpiAware,
                                         const Ref<PluginHostNotificationListener>& listener,
                                         const Ref<PluginHostAsyncReplyHandler>& replyHandler);
    /// Audio must have been stopped, and a last `process` answered, before.
    virtual void destroyPluginInstance(int32_t instanceId);
    /// Drops what the proxy keeps for an instance: the requests aimed at it that are still unanswered, and
    /// its listener. Sends nothing. A reply that comes all the same takes the connection down.
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
    /// host's words if a synchronous one failed there.
    virtual Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>& request,
                                             const Ref<PluginHostAsyncReplyHandler>& replyHandler) = 0;
    /// The audio block of an instance that `reply` has told of, for the thread that drives its rendering.
    /// Throws `IOException`.
    virtual Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) = 0;
    /// Ends a host that no longer answers, without asking it. False, and nothing done, for one that runs in
    /// this process. Any thread.
    virtual bool abandon() = 0;
    /// Whether the host is gone, or was asked to end: from then on all other operations throw. A proxy that
    /// comes to this calls `ReplyWaiter::hostLost`. Any thread.
    virtual bool isClosed() const = 0;

protected:
    /// Called with the id of a new instance before its request is sent.
    virtual void addPluginInstance(int32_t instanceId,
                                   const Ref<PluginHostNotificationListener>& listener) = 0;

private:
    int32_t nextInstanceId = 1;
};
