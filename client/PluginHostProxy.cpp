#include "client/PluginHostProxy.h"

#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequests.h"

PluginHostProxy::~PluginHostProxy() = default;

int32_t PluginHostProxy::createPluginInstance(const String& path, const String& presetPath,
                                              const String& identifier, bool dpiAware,
                                              const Ref<PluginHostNotificationListener>& listener,
                                              const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    const int32_t instanceId = nextInstanceId++;
    addPluginInstance(instanceId, listener);
    const Ref<CreatePluginInstanceRequest> request(
        new CreatePluginInstanceRequest(instanceId, path, presetPath, identifier, dpiAware));
    request->callContext = listener;
    try {
        sendRequest(request, replyHandler);
    } catch (...) {
        // The caller never gets the id.
        removePluginInstance(instanceId);
        throw;
    }
    return instanceId;
}

void PluginHostProxy::destroyPluginInstance(int32_t instanceId) {
    sendRequest(new DestroyPluginInstanceRequest(instanceId), nullptr);
}

void PluginHostProxy::openGUI(int32_t instanceId, int64_t parentWindow, bool openEditorFlag,
                              const String& title) {
    sendRequest(new OpenGUIRequest(instanceId, parentWindow, openEditorFlag, title), nullptr);
}

void PluginHostProxy::setWindowTitle(int32_t instanceId, const String& title) {
    sendRequest(new SetWindowTitleRequest(instanceId, title), nullptr);
}

void PluginHostProxy::setWindowPosition(int32_t instanceId, int32_t x, int32_t y, int32_t width,
                                        int32_t height) {
    sendRequest(new SetWindowPositionRequest(instanceId, x, y, width, height), nullptr);
}

void PluginHostProxy::closeGUI(int32_t instanceId) {
    sendRequest(new CloseGUIRequest(instanceId), nullptr);
}

void PluginHostProxy::updateIO(int32_t instanceId, const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    sendRequest(new UpdateIORequest(instanceId), replyHandler);
}

void PluginHostProxy::showAllGUIs() {
    sendRequest(new ShowAllGUIsRequest, nullptr);
}

void PluginHostProxy::hideAllGUIs() {
    sendRequest(new HideAllGUIsRequest, nullptr);
}

void PluginHostProxy::activateAppGUI() {
    sendRequest(new ActivateAppGUIRequest, nullptr);
}

void PluginHostProxy::deactivateAppGUI() {
    sendRequest(new DeactivateAppGUIRequest, nullptr);
}

void PluginHostProxy::loadPreset(int32_t instanceId, const String& path,
                                 const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    sendRequest(new LoadPresetRequest(instanceId, path), replyHandler);
}

void PluginHostProxy::savePreset(int32_t instanceId, const String& path,
                                 const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    sendRequest(new SavePresetRequest(instanceId, path), replyHandler);
}

void PluginHostProxy::setCurrentProgram(int32_t instanceId, int32_t program) {
    sendRequest(new SetCurrentProgramRequest(instanceId, program), nullptr);
}

void PluginHostProxy::shutdown() {
    sendRequest(new ShutdownRequest, nullptr);
}

void PluginHostProxy::ping() {
    sendRequest(new PingRequest, nullptr);
}
