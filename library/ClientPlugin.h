#pragma once

#include "client/RemotePluginAudioContextProxy.h"
#include "core/EventDescriptor.h"
#include "core/Guarded.h"
#include "library/ClientHost.h"
#include "library/Failure.h"
#include "library/SessionContext.h"
#include "plugin/PluginInstanceState.h"
#include <plugin-host/client.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class CreatePluginInstanceReply;
class PluginHostAsyncReplyHandler;

namespace client_library {

class PluginReports;
class StateFile;

struct PluginSettings {
    String path;
    String identifier;
    String presetPath;
    bool dpiAware = false;
    int32_t worker = 0;
    /// For the whole creation, in seconds.
    double timeLimit = 0;
    /// For one request, in seconds.
    double requestTimeLimit = 0;
    /// Whether the callback tells the end of the creation.
    bool isAsynchronous = false;
    /// The state to begin with, as a file; null for none.
    std::shared_ptr<StateFile> state;
};

/// What an audio thread touches of a plug-in: made with the instance, and kept until the last call is out.
struct PluginAudio {
    PluginAudio(const Ref<ClientHost>& host, const Ref<RemotePluginAudioContextProxy>& context,
                int32_t instanceId, int32_t worker);

    const Ref<ClientHost> host;
    const Ref<RemotePluginAudioContextProxy> context;
    const int32_t instanceId;
    WorkerTurn& turn;
    std::vector<float*> inputs;
    std::vector<const float*> outputs;
    /// Written with the worker's turn.
    std::atomic<bool> isStarted{false};
};

/// A plug-in of a session, from its creation to the last callback. Owned by its handle and the session. Any
/// thread.
class ClientPlugin : public Object {
public:
    ClientPlugin(const Ref<SessionContext>& context, const Ref<PluginReports>& reports,
                 const PluginSettings& settings, void* data);
    ~ClientPlugin() override;

    // The creation, in this order, each on one thread.

    /// Finds a host, perhaps by starting one, and sends the request. A failure ends the creation.
    using FindHost = std::function<Ref<ClientHost>(const base::core::EventDescriptor& cancellation)>;
    void create(const FindHost& findHost) noexcept;
    /// Waits for the end of the creation, and cancels it after its time. Throws `Failure`.
    void waitForCreation();
    /// Ends a creation that hasn't ended. False for one that has.
    bool cancel();

    /// Ends the plug-in, which doesn't play: no callback but the last begins any more. False for a second
    /// call.
    bool end();
    /// Stops what a worker renders, as the first step of the end. Throws `Failure` if a block doesn't end in
    /// time.
    void stopAudio();
    /// `end` without a request, for the end of the session: the caller makes the last callback.
    void abandon();

    /// By the host.
    void hostDied();
    /// By the listener: a new snapshot of the instance.
    void setContent(const Ref<PluginInstanceState>& content);
    /// Makes a callback unless the plug-in has been destroyed by then.
    void post(const std::function<void(const plugin_host_callbacks&, plugin_host_plugin*)>& call);

    // Requests; throw `Failure`.

    void setProgram(uint32_t index);
    void openEditor(uint64_t parentWindow, const String& title);
    void closeEditor();
    void setEditorTitle(const String& title);
    void setEditorPosition(int32_t x, int32_t y);
    void loadPreset(const String& path);
    void savePreset(const String& path);
    std::vector<uint8_t> saveState();
    void loadState(const void* bytes, size_t size);
    const plugin_host_description* describe();
    const plugin_host_description* refresh();
    void watchText(uint32_t index, bool isWatched);
    Ref<ClientHost> getHost() const;

    /// Null before the creation has ended. Real-time safe.
    PluginAudio* getAudio() const { return audio.load(std::memory_order_acquire); }

    Relaxed<void*> data;
    const PluginSettings settings;
    const Ref<SessionContext> context;
    // Set before anyone else has the plug-in.
    plugin_host_plugin* handle = nullptr;
    Ref<Object> session;

private:
    enum class Phase { creating, ready, failed, destroyed };

    class CreationHandler;

    struct State {
        Phase phase = Phase::creating;
        /// Why there is no plug-in.
        std::optional<Failure> failure;
        bool isCancelled = false;
        Ref<ClientHost> host;
        int32_t instanceId = 0;
        bool hasEditor = false;
        int32_t inputChannelCount = 0;
        int32_t outputChannelCount = 0;
        int32_t latency = 0;
        Ref<PluginInstanceState> content;
    };

    struct Target {
        Ref<ClientHost> host;
        int32_t instanceId;
    };

    void sendCreation(const Ref<ClientHost>& host);
    void created(const Ref<ClientHost>& host, const CreatePluginInstanceReply& reply);
    void failCreation(const Failure& failure);
    void reportCreation(plugin_host_status status, const std::string& error);
    void destroyInstance(const Target& target);

    Target requireReady() const;
    Ref<PluginInstanceState> getContent() const;
    void send(const char* name, const std::function<void(RemotePluginHostProxy&, int32_t)>& call);
    using RequestSender =
        std::function<void(RemotePluginHostProxy&, int32_t, const Ref<PluginHostAsyncReplyHandler>&)>;
    Ref<PluginHostReply> request(const char* name, const RequestSender& call);

    const Ref<PluginReports> reports;
    base::core::EventDescriptor cancellation;
    base::core::Condition changed;
    base::core::Guarded<State> state;
    std::unique_ptr<PluginAudio> ownedAudio;
    std::atomic<PluginAudio*> audio{nullptr};
};

} // namespace client_library
