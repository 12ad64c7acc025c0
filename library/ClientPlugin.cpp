#include "library/ClientPlugin.h"

#include "library/PluginListener.h"
#include "library/PluginReports.h"
#include "library/StateFile.h"
#include "plugin/PluginFile.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReplies.h"

#include <ctime>

namespace client_library {
namespace {

constexpr timespec turnPause{0, 500'000};

String quoted(const String& text) {
    return concat("\"", text, "\"");
}

} // namespace

PluginAudio::PluginAudio(const Ref<ClientHost>& host, const Ref<RemotePluginAudioContextProxy>& context,
                         int32_t instanceId, int32_t worker, const Ref<KeptState>& kept)
    : host(host), context(context), instanceId(instanceId), turn(host->getTurn(worker)), kept(kept) {
    shared = context->getMemory();
    silentChannel.resize(static_cast<size_t>(context->blockSize));
    droppedChannel.resize(static_cast<size_t>(context->blockSize));
    for (int32_t channel = 0; channel < context->inputChannelCount; ++channel)
        inputs.push_back(context->inputChannel(channel));
    for (int32_t channel = 0; channel < context->outputChannelCount; ++channel)
        outputs.push_back(context->outputChannel(channel));
    dropped.assign(inputs.size(), droppedChannel.data());
    silence.assign(outputs.size(), silentChannel.data());
    context->getTransport().sampleRate = host->settings.sampleRate;
}

/// Hands the host's answer to the thread that makes the plug-in.
class ClientPlugin::CreationHandler : public PluginHostAsyncReplyHandler {
public:
    CreationHandler(ClientPlugin& plugin, const Ref<ClientHost>& host) : plugin(&plugin), host(host) {}

    void onReply(PluginHostReply* reply) override {
        host->ended(number);
        plugin->takeReply(host, static_cast<CreatePluginInstanceReply*>(reply));
    }
    void onError(const String& message) override {
        host->ended(number);
        plugin->failCreation({PLUGIN_HOST_REFUSED, message});
    }

    RequestLog::Number number = 0;

private:
    const Ref<ClientPlugin> plugin;
    const Ref<ClientHost> host;
};

ClientPlugin::ClientPlugin(const Ref<SessionContext>& context, const Ref<PluginReports>& reports,
                           const PluginSettings& settings, const Ref<KeptState>& kept, void* data)
    : data(data), settings(settings), worker(settings.worker), kept(kept), context(context), reports(reports),
      deadline(base::core::monotonicDeadline(settings.timeLimit)), initialState(this->settings.takeState()) {}

ClientPlugin::~ClientPlugin() {
    if (const Ref<ClientHost> host = state.lock()->host)
        host->removePlugin(*this);
    if (const Ref<ClientPlugin> next = getNext(); next && ownedAudio)
        next->keepMemory(*this);
}

void ClientPlugin::create(const FindHost& findHost) noexcept {
    try {
        const Ref<ClientHost> host = findHost(cancellation);
        if (settings.worker >= host->settings.workerCount)
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "The host has no such worker");
        createOn(host);
    } catch (...) {
        failCreation(currentFailure());
    }
    initialState = nullptr;
}

void ClientPlugin::createOn(const Ref<ClientHost>& host) {
    {
        const auto current = state.lock();
        if (current->phase != Phase::creating)
            return;
        current->host = host;
    }
    host->addPlugin(*this);
    // Without an identifier a host makes no plug-in of a file that has several.
    const PluginChoice kept = reports->chooseKept(settings.path, settings.identifier);
    const String identifier = kept.isKnown ? kept.identifier : settings.identifier;
    const String preset = initialState ? initialState->getPath() : settings.presetPath;
    if (!preset.isEmpty() && isVst3Path(settings.path))
        requireVst3Preset(preset, identifier);
    Ref<CreatePluginInstanceReply> reply = request(host, identifier);
    if (!reply)
        return;
    const PluginChoice choice =
        kept.isKnown ? kept : reports->choose(settings.path, settings.identifier, deadline);
    if (choice.isMissing) {
        destroyInstance({host, reply->instanceId});
        throw Failure(PLUGIN_HOST_NOT_FOUND,
                      concat(quoted(settings.path), " has no plug-in ", quoted(settings.identifier)));
    }
    if (identifier.isEmpty() && choice.isOneOfSeveral) {
        destroyInstance({host, reply->instanceId});
        reply = request(host, choice.identifier);
        if (!reply)
            return;
    }
    adopt(host, *reply);
}

/// Null if the creation has failed.
Ref<CreatePluginInstanceReply> ClientPlugin::request(const Ref<ClientHost>& host, const String& identifier) {
    const Ref<CreationHandler> handler(new CreationHandler(*this, host));
    const Ref<PluginHostNotificationListener> listener(new PluginListener(*this));
    const String preset = initialState ? initialState->getPath() : settings.presetPath;
    int32_t instanceId = 0;
    host->sendWithReply(
        "CreatePluginInstance", RequestLog::noInstance,
        [&](RemotePluginHostProxy& proxy, RequestLog::Number number) {
            handler->number = number;
            instanceId =
                proxy.createPluginInstance(settings.path, preset, wireIdentifier(settings.path, identifier),
                                           settings.dpiAware, listener, handler);
            host->setInstance(*this, instanceId);
        },
        this);
    // A host that died before it knew of the plug-in doesn't report to it.
    if (host->isDead())
        hostDied();
    Ref<CreatePluginInstanceReply> reply = awaitReply();
    if (reply || !isRefused())
        return reply; // one that is late is destroyed as it comes
    if (preset.isEmpty())
        host->getProxy()->dropListener(instanceId);
    else
        destroyInstance({host, instanceId}); // a host keeps an instance whose preset it refuses
    return nullptr;
}

Ref<CreatePluginInstanceReply> ClientPlugin::awaitReply() {
    Ref<CreatePluginInstanceReply> reply;
    {
        const auto current = state.lock();
        bool isInTime = true;
        while (current->phase == Phase::creating && !current->reply && isInTime)
            isInTime = current.waitUntil(changed, deadline);
        std::swap(reply, current->reply);
        if (reply || current->phase != Phase::creating)
            return reply;
        fail(*current, {PLUGIN_HOST_TIMED_OUT, concat("Creating ", quoted(settings.path), " took too long")});
    }
    reportFailure();
    return nullptr;
}

void ClientPlugin::takeReply(const Ref<ClientHost>& host, const Ref<CreatePluginInstanceReply>& reply) {
    {
        const auto current = state.lock();
        if (current->phase == Phase::creating) {
            current->reply = reply;
            changed.broadcast();
            return;
        }
    }
    destroyInstance({host, reply->instanceId});
}

void ClientPlugin::adopt(const Ref<ClientHost>& host, const CreatePluginInstanceReply& reply) {
    try {
        const Ref<RemotePluginAudioContextProxy> block(
            new RemotePluginAudioContextProxy(host->getProxy().get(), reply, worker));
        if (kept)
            kept->setParameterCount(static_cast<size_t>(block->parameterCount));
        auto made = std::make_unique<PluginAudio>(host, block, reply.instanceId, worker, kept);
        const auto current = state.lock();
        if (current->phase == Phase::creating) {
            current->instanceId = reply.instanceId;
            current->hasEditor = reply.hasEditor;
            current->inputChannelCount = reply.inputChannelCount;
            current->outputChannelCount = reply.outputChannelCount;
            current->latency = reply.latency;
            current->content = reply.state;
            current->phase = Phase::ready;
            ownedAudio = std::move(made);
            audio.store(ownedAudio.get(), std::memory_order_release);
            changed.broadcast();
        }
    } catch (...) {
        failCreation(currentFailure());
    }
    if (getAudio() != nullptr) {
        setOutdated();
        reportCreation(PLUGIN_HOST_OK, {});
    } else {
        destroyInstance({host, reply.instanceId}); // cancelled, or without a block
    }
}

bool ClientPlugin::isRefused() const {
    const auto current = state.lock();
    return current->failure && current->failure->status == PLUGIN_HOST_REFUSED;
}

void ClientPlugin::fail(State& current, const Failure& failure) {
    current.phase = Phase::failed;
    current.failure.emplace(failure);
    if (failure.status == PLUGIN_HOST_DEAD)
        missingAudioStatus = failure.status;
    changed.broadcast();
}

void ClientPlugin::reportFailure() {
    std::optional<Failure> failure;
    {
        const auto current = state.lock();
        if (current->failure)
            failure.emplace(*current->failure);
    }
    if (failure)
        reportCreation(failure->status, failure->text);
}

void ClientPlugin::failCreation(const Failure& failure) {
    {
        const auto current = state.lock();
        if (current->phase != Phase::creating)
            return;
        fail(*current, failure);
    }
    reportCreation(failure.status, failure.text);
}

void ClientPlugin::reportCreation(plugin_host_status status, const std::string& error) {
    if (!settings.isAsynchronous)
        return;
    post([status, error](const plugin_host_callbacks& callbacks, plugin_host_plugin* plugin) {
        if (callbacks.plugin_created != nullptr)
            callbacks.plugin_created(callbacks.user_data, plugin, status, error.c_str());
    });
}

void ClientPlugin::requireCreation() const {
    const auto current = state.lock();
    if (current->failure)
        throw Failure(*current->failure);
}

bool ClientPlugin::cancel() {
    if (state.lock()->phase != Phase::creating)
        return false;
    cancellation.signal();
    failCreation({PLUGIN_HOST_CANCELLED, concat("Creating ", quoted(settings.path), " was cancelled")});
    return true;
}

bool ClientPlugin::end() {
    cancellation.signal();
    Target target;
    {
        const auto current = state.lock();
        if (current->phase == Phase::destroyed)
            return false;
        if (current->phase == Phase::ready)
            target = {current->host, current->instanceId};
        current->phase = Phase::destroyed;
        current->failure.emplace(PLUGIN_HOST_INVALID_HANDLE, "The plug-in was destroyed");
        changed.broadcast();
    }
    if (target.host) {
        target.host->removePlugin(*this);
        destroyInstance(target);
    }
    return true;
}

void ClientPlugin::abandon() {
    cancellation.signal();
    const auto current = state.lock();
    current->phase = Phase::destroyed;
    current->failure.emplace(PLUGIN_HOST_INVALID_HANDLE, "The plug-in was destroyed");
    changed.broadcast();
}

void ClientPlugin::destroyInstance(const Target& target) {
    if (target.host->isDead())
        return;
    try {
        target.host->send("DestroyPluginInstance", target.instanceId, [&](RemotePluginHostProxy& proxy) {
            proxy.destroyPluginInstance(target.instanceId);
            proxy.dropListener(target.instanceId);
        });
    } catch (const Failure&) {
        // The host has died, and the instance with it.
    } catch (const IOException&) {
    }
}

// The audio thread may be in a block of this or of another plug-in of the worker. False if the host is gone.
bool ClientPlugin::takeTurn(PluginAudio& playing) {
    const timespec begin = monotonicTime();
    while (!playing.turn.take(this)) {
        if (playing.host->isDead())
            return false;
        if (secondsSince(begin) > settings.requestTimeLimit)
            throw Failure(PLUGIN_HOST_TIMED_OUT,
                          concat("A block of the worker of ", quoted(settings.path), " doesn't end"));
        nanosleep(&turnPause, nullptr);
    }
    return true;
}

void ClientPlugin::stopAudio() {
    PluginAudio* playing = getAudio();
    if (playing == nullptr)
        return;
    if (!takeTurn(*playing))
        return;
    try {
        if (!playing->host->isDead() && playing->isStarted.exchange(false)) {
            playing->context->stopProcessing();
            playing->context->drain();
        }
    } catch (const IOException&) {
        playing->host->reportLoss();
    }
    playing->turn.leave();
}

void ClientPlugin::hostDied() {
    failCreation(
        {PLUGIN_HOST_DEAD, concat("The plug-in host died while it created ", quoted(settings.path))});
}

ClientPlugin::Target ClientPlugin::requireReady() const {
    const auto current = state.lock();
    if (current->phase == Phase::creating)
        throw Failure(PLUGIN_HOST_INVALID_STATE, "The plug-in is still being made");
    if (current->failure)
        throw Failure(*current->failure);
    current->host->requireLife();
    return {current->host, current->instanceId};
}

Ref<ClientHost> ClientPlugin::getHost() const {
    return requireReady().host;
}

void ClientPlugin::post(const std::function<void(const plugin_host_callbacks&, plugin_host_plugin*)>& call) {
    const Ref<ClientPlugin> self(this);
    context->post([self, call](const plugin_host_callbacks& callbacks) {
        if (self->state.lock()->phase != Phase::destroyed)
            call(callbacks, self->handle);
    });
}

} // namespace client_library
