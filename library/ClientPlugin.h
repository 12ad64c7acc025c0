#pragma once

#include "client/RemotePluginAudioContextProxy.h"
#include "core/EventDescriptor.h"
#include "core/Guarded.h"
#include "library/ClientHost.h"
#include "library/Failure.h"
#include "library/KeptState.h"
#include "library/SessionContext.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginInstanceState.h"
#include <plugin-host/client.h>

#include <atomic>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

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
    /// The application has named the host.
    bool hasChosenHost = false;
    /// The state to begin with, as a file; null for none. Taken by the thread that makes the plug-in, which
    /// removes the file.
    mutable std::shared_ptr<StateFile> state;

    std::shared_ptr<StateFile> takeState() const { return std::exchange(state, nullptr); }
};

/// What an application is given of a plug-in's block, with the memory behind it: it may use that until the
/// plug-in's next block begins, which may be one of the plug-in's next life.
struct BlockMemory {
    Ref<base::core::SharedMemory> shared;
    std::vector<float*> inputs;
    std::vector<const float*> outputs;
    /// What stands for them while the audio block is the worker's.
    std::vector<float*> dropped;
    std::vector<const float*> silence;
    std::vector<float> silentChannel;
    std::vector<float> droppedChannel;
};

/// What an audio thread touches of a plug-in: made with the instance, and kept until the last call is out.
struct PluginAudio : BlockMemory {
    PluginAudio(const Ref<ClientHost>& host, const Ref<RemotePluginAudioContextProxy>& context,
                int32_t instanceId, int32_t worker, const Ref<KeptState>& kept);

    const Ref<ClientHost> host;
    const Ref<RemotePluginAudioContextProxy> context;
    const int32_t instanceId;
    WorkerTurn& turn;
    /// May be null.
    const Ref<KeptState> kept;
    // Written with the worker's turn.
    std::atomic<bool> isStarted{false};
    Relaxed<bool> isInCycle = false;
    /// The last block was late, and no other has begun.
    Relaxed<bool> isLate = false;
    Relaxed<bool> hasOutput = false;
    /// A block has.
    Relaxed<bool> hasBegun = false;
};

/// In pixels; zeros while it isn't known.
struct EditorSize {
    int32_t width = 0;
    int32_t height = 0;
};

/// A plug-in of a session, from its creation to the last callback. Owned by its handle and the session. Any
/// thread.
class ClientPlugin : public Object {
public:
    ClientPlugin(const Ref<SessionContext>& context, const Ref<PluginReports>& reports,
                 const PluginSettings& settings, const Ref<KeptState>& kept, void* data);
    ~ClientPlugin() override;

    // The creation, in this order, each on one thread.

    /// Finds a host, perhaps by starting one, has it make the plug-in, and waits for that, at most until the
    /// creation's time is over. Blocks on the report on the file too if there is none yet.
    using FindHost = std::function<Ref<ClientHost>(const base::core::EventDescriptor& cancellation)>;
    void create(const FindHost& findHost) noexcept;
    /// Throws the `Failure` that a creation has ended with.
    void requireCreation() const;
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
    /// A size of zeros stands for the last one that was reported.
    void setEditorPosition(int32_t x, int32_t y, EditorSize size);
    /// By the listener.
    void setEditorPlace(int32_t x, int32_t y, EditorSize size);
    void setEditorClosed();
    void noteChange(uint32_t index, float value);
    void loadPreset(const String& path);
    void savePreset(const String& path);
    std::vector<uint8_t> saveState();
    void loadState(const void* bytes, size_t size);
    const plugin_host_description* describe();
    const plugin_host_description* refresh();
    void watchText(uint32_t index, bool isWatched);
    Ref<ClientHost> getHost() const;
    /// The same for one whose host is gone; null before it had one.
    Ref<ClientHost> getOwnHost() const { return state.lock()->host; }

    // For another life of it, in a session that keeps states.

    /// Keeps its state. Throws `Failure`, and what was kept stays.
    void keepState();
    /// Before the next life takes this one's place: gives it the changes since its state, the editor, and
    /// starts it if this one is.
    void prepareNext(ClientPlugin& next);
    /// Ends this life without a callback, unless it has ended. `next` has its handle from then on.
    bool handOver(ClientPlugin& next);
    /// The life behind this one, after `handOver`; else null.
    Ref<ClientPlugin> getNext() const { return state.lock()->next; }

    /// Null before the creation has ended. Real-time safe.
    PluginAudio* getAudio() const { return audio.load(std::memory_order_acquire); }
    /// What calls of audio answer without it: that the host died in the creation, or an invalid state.
    /// Real-time safe.
    plugin_host_status getMissingAudioStatus() const { return missingAudioStatus; }

    Relaxed<void*> data;
    const PluginSettings settings;
    /// What renders it; chosen before the creation.
    Relaxed<int32_t> worker;
    /// Null in a session that keeps no states.
    const Ref<KeptState> kept;
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
        /// The host's answer, until the thread that makes the plug-in takes it.
        Ref<CreatePluginInstanceReply> reply;
        Ref<ClientHost> host;
        int32_t instanceId = 0;
        bool hasEditor = false;
        int32_t inputChannelCount = 0;
        int32_t outputChannelCount = 0;
        int32_t latency = 0;
        Ref<PluginInstanceState> content;
        Ref<ClientPlugin> next;
    };

    struct Target {
        Ref<ClientHost> host;
        int32_t instanceId;
    };

    void createOn(const Ref<ClientHost>& host);
    Ref<CreatePluginInstanceReply> request(const Ref<ClientHost>& host, const String& identifier);
    Ref<CreatePluginInstanceReply> awaitReply();
    void takeReply(const Ref<ClientHost>& host, const Ref<CreatePluginInstanceReply>& reply);
    void adopt(const Ref<ClientHost>& host, const CreatePluginInstanceReply& reply);
    bool isRefused() const;
    void fail(State& current, const Failure& failure);
    void reportFailure();
    void failCreation(const Failure& failure);
    void reportCreation(plugin_host_status status, const std::string& error);
    void destroyInstance(const Target& target);
    void setOutdated();
    bool takeTurn(PluginAudio& playing);
    void replayChanges(PluginAudio& playing, bool isStarted);
    void reopenEditor();

    /// By the end of the former life.
    void keepMemory(ClientPlugin& former);

    Target requireReady() const;
    Ref<PluginInstanceState> getContent() const;
    Ref<PluginInstanceState> askForContent();
    void send(const char* name, const std::function<void(RemotePluginHostProxy&, int32_t)>& call);
    using RequestSender =
        std::function<void(RemotePluginHostProxy&, int32_t, const Ref<PluginHostAsyncReplyHandler>&)>;
    Ref<PluginHostReply> request(const char* name, const RequestSender& call);

    const Ref<PluginReports> reports;
    /// Of the creation.
    const timespec deadline;
    /// Of the thread that makes the plug-in.
    std::shared_ptr<StateFile> initialState;
    base::core::EventDescriptor cancellation;
    base::core::Condition changed;
    base::core::Guarded<State> state;
    base::core::Guarded<EditorSize> editorSize;
    std::unique_ptr<PluginAudio> ownedAudio;
    /// Of former lives, until a block of this one has begun: freed with this one.
    base::core::Guarded<std::vector<BlockMemory>> formerMemory;
    std::atomic<PluginAudio*> audio{nullptr};
    Relaxed<plugin_host_status> missingAudioStatus = PLUGIN_HOST_INVALID_STATE;
};

} // namespace client_library
