// What a plug-in is asked for once it is there.

#include "client/ReplyWaiter.h"
#include "library/ClientPlugin.h"
#include "library/Description.h"
#include "library/PluginReports.h"
#include "library/StateFile.h"
#include "plugin/PluginFile.h"
#include "plugin/PluginHostReplies.h"

namespace client_library {
namespace {

/// The outcome of a request, which the host has then done with.
class RequestWaiter : public ReplyWaiter {
public:
    RequestWaiter(const RemotePluginHostProxy& proxy, const Ref<ClientHost>& host)
        : ReplyWaiter(proxy), host(host) {}

    void onReply(PluginHostReply* reply) override {
        host->ended(number);
        ReplyWaiter::onReply(reply);
    }
    void onError(const String& message) override {
        host->ended(number);
        ReplyWaiter::onError(message);
    }

    RequestLog::Number number = 0;

private:
    const Ref<ClientHost> host;
};

void requireIndex(uint32_t index, size_t count, const char* what) {
    if (index >= count)
        throw Failure(PLUGIN_HOST_NOT_FOUND, concat("There is no ", what, " ", static_cast<int32_t>(index)));
}

} // namespace

void ClientPlugin::send(const char* name, const std::function<void(RemotePluginHostProxy&, int32_t)>& call) {
    const Target target = requireReady();
    target.host->send(name, target.instanceId,
                      [&](RemotePluginHostProxy& proxy) { call(proxy, target.instanceId); });
}

Ref<PluginHostReply> ClientPlugin::request(const char* name, const RequestSender& call) {
    const Target target = requireReady();
    const Ref<RequestWaiter> waiter(new RequestWaiter(*target.host->getProxy(), target.host));
    target.host->sendWithReply(name, target.instanceId,
                               [&](RemotePluginHostProxy& proxy, RequestLog::Number number) {
                                   waiter->number = number;
                                   call(proxy, target.instanceId, waiter.get());
                               });
    return waiter->wait(settings.requestTimeLimit);
}

void ClientPlugin::setProgram(uint32_t index) {
    requireIndex(index, getContent()->programs.size(), "program");
    send("SetCurrentProgram", [&](RemotePluginHostProxy& proxy, int32_t instanceId) {
        proxy.setCurrentProgram(instanceId, static_cast<int32_t>(index));
    });
    setOutdated();
}

void ClientPlugin::openEditor(uint64_t parentWindow, const String& title) {
    const Target target = requireReady();
    if (!state.lock()->hasEditor)
        throw Failure(PLUGIN_HOST_NOT_FOUND, "The plug-in has no editor");
    const String text = title.isEmpty() ? reports->find(settings.path, settings.identifier).name : title;
    send("OpenGUI", [&](RemotePluginHostProxy& proxy, int32_t instanceId) {
        proxy.openGUI(instanceId, static_cast<int64_t>(parentWindow), true, text);
    });
    if (kept) {
        const auto editor = kept->editor.lock();
        editor->isOpen = true;
        editor->parentWindow = parentWindow;
        editor->title = text;
    }
}

void ClientPlugin::closeEditor() {
    send("CloseGUI", [](RemotePluginHostProxy& proxy, int32_t instanceId) { proxy.closeGUI(instanceId); });
    setEditorClosed();
}

void ClientPlugin::setEditorTitle(const String& title) {
    send("SetWindowTitle",
         [&](RemotePluginHostProxy& proxy, int32_t instanceId) { proxy.setWindowTitle(instanceId, title); });
    if (kept)
        kept->editor.lock()->title = title;
}

void ClientPlugin::setEditorPosition(int32_t x, int32_t y, EditorSize size) {
    requireReady();
    const EditorSize used = size.width > 0 ? size : *editorSize.lock();
    // The host gives it to the view.
    if (used.width == 0 && isVst3Path(settings.path))
        throw Failure(PLUGIN_HOST_INVALID_STATE, "The size of the editor isn't known yet");
    send("SetWindowPosition", [&](RemotePluginHostProxy& proxy, int32_t instanceId) {
        proxy.setWindowPosition(instanceId, x, y, used.width, used.height);
    });
    setEditorPlace(x, y, used);
}

void ClientPlugin::loadPreset(const String& path) {
    requireReady();
    if (isVst3Path(settings.path))
        requireVst3Preset(path, reports->find(settings.path, settings.identifier).identifier);
    request("LoadPreset", [&](RemotePluginHostProxy& proxy, int32_t instanceId,
                              const Ref<PluginHostAsyncReplyHandler>& handler) {
        proxy.loadPreset(instanceId, path, handler);
    });
    setOutdated();
}

void ClientPlugin::savePreset(const String& path) {
    requireReady();
    requireWritable(path);
    request("SavePreset", [&](RemotePluginHostProxy& proxy, int32_t instanceId,
                              const Ref<PluginHostAsyncReplyHandler>& handler) {
        proxy.savePreset(instanceId, path, handler);
    });
    if (isVst3Path(settings.path) || !isBankWithoutPrograms(path))
        return;
    std::vector<float> values;
    const Ref<PluginInstanceState> content = askForContent();
    for (const Ref<ParameterInfo>& parameter : content->parameters)
        values.push_back(parameter->value);
    if (!values.empty())
        writeProgram(path, values);
}

std::vector<uint8_t> ClientPlugin::saveState() {
    const StateFile file(StateFile::suffixFor(settings.path));
    savePreset(file.getPath());
    return file.read();
}

void ClientPlugin::loadState(const void* bytes, size_t size) {
    const StateFile file(StateFile::suffixFor(settings.path));
    file.write(bytes, size);
    loadPreset(file.getPath());
    if (!kept)
        return;
    // What was set before is no longer so.
    kept->takeChanges();
    const auto* begin = static_cast<const uint8_t*>(bytes);
    kept->setState({begin, begin + size});
}

const plugin_host_description* ClientPlugin::describe() {
    requireReady();
    // Asked for without the lock: it may take its time.
    const Identity identity = reports->find(settings.path, settings.identifier);
    const auto current = state.lock();
    if (!current->content)
        throw Failure(PLUGIN_HOST_INVALID_STATE, "The plug-in is gone");
    return makeDescription({settings.path, settings.identifier, identity, current->hasEditor,
                            current->inputChannelCount, current->outputChannelCount, current->latency,
                            *current->content});
}

const plugin_host_description* ClientPlugin::refresh() {
    askForContent();
    return describe();
}

Ref<PluginInstanceState> ClientPlugin::askForContent() {
    const Ref<PluginHostReply> reply =
        request("UpdateIO",
                [](RemotePluginHostProxy& proxy, int32_t instanceId,
                   const Ref<PluginHostAsyncReplyHandler>& handler) { proxy.updateIO(instanceId, handler); });
    const auto& answer = static_cast<const DefineIoReply&>(*reply);
    const auto current = state.lock();
    current->inputChannelCount = answer.inputChannelCount;
    current->outputChannelCount = answer.outputChannelCount;
    current->latency = answer.latency;
    current->content = answer.state;
    return answer.state;
}

void ClientPlugin::setContent(const Ref<PluginInstanceState>& content) {
    const auto current = state.lock();
    current->content = content;
    current->latency = content->latency;
}

Ref<PluginInstanceState> ClientPlugin::getContent() const {
    requireReady();
    return state.lock()->content;
}

void ClientPlugin::watchText(uint32_t index, bool isWatched) {
    requireIndex(index, getContent()->parameters.size(), "parameter");
    const auto number = static_cast<int32_t>(index);
    if (isWatched)
        getAudio()->context->setParameterFlag(number, parameterWatched);
    else
        getAudio()->context->clearParameterFlag(number, parameterWatched);
}

} // namespace client_library
