#include "plugin/PluginHostRequests.h"

#include "core/Assertion.h"
#include "core/FileSystem.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginInstance.h"

CreatePluginInstanceRequest::CreatePluginInstanceRequest() = default;

CreatePluginInstanceRequest::CreatePluginInstanceRequest(int32_t instanceId, const String& path,
                                                         const String& presetPath, const String& identifier,
                                                         bool dpiAware)
    : WireRequest(instanceId), path(path), presetPath(presetPath), identifier(identifier),
      dpiAware(dpiAware) {}

void CreatePluginInstanceRequest::perform(PluginHostContext& host) {
    // Held here. Oddity duplicate-id-unreachable: an instance whose id is in use isn't in the table.
    Ref<PluginInstance> instance;
    try {
        instance = host.createPluginInstance(instanceId, path, identifier, dpiAware);
    } catch (const Exception& exception) {
        handler->sendError(*this, exception.getMessage());
        return;
    }
    instance->notificationsMuted = true;
    instance->activate();
    if (!presetPath.isEmpty()) {
        try {
            instance->loadPreset(presetPath);
        } catch (const Exception& exception) {
            // Oddity create-keeps-instance: it stays in the table although the client gets a failure.
            handler->sendError(*this, exception.getMessage());
            return;
        }
    }
    handler->setUpAudio(*instance);
    instance->notificationsMuted = false;
    instance->handler = handler.get();
    const Ref<CreatePluginInstanceReply> reply(new CreatePluginInstanceReply(*instance));
    handler->sendReply(*this, *reply);
}

bool CreatePluginInstanceRequest::needsReply() const {
    return true;
}

Ref<PluginHostReply> CreatePluginInstanceRequest::readReply(InputStream& stream) {
    return new CreatePluginInstanceReply(stream);
}

void CreatePluginInstanceRequest::performOnInstance(PluginInstance&) {
    BASE_FAIL(concat("Illegal state: ", "Should not be called"));
}

void DestroyPluginInstanceRequest::performOnInstance(PluginInstance& instance) {
    instance.terminate();
    handler->host->instances.remove(instanceId);
}

OpenGUIRequest::OpenGUIRequest() = default;

OpenGUIRequest::OpenGUIRequest(int32_t instanceId, int64_t parentWindow, bool openEditorFlag,
                               const String& title)
    : WireRequest(instanceId), parentWindow(parentWindow), openEditorFlag(openEditorFlag), title(title) {}

void OpenGUIRequest::performOnInstance(PluginInstance& instance) {
    instance.openEditor(static_cast<uint32_t>(parentWindow), openEditorFlag, title);
}

void CloseGUIRequest::performOnInstance(PluginInstance& instance) {
    instance.closeEditor();
}

bool UpdateIORequest::needsReply() const {
    return true;
}

Ref<PluginHostReply> UpdateIORequest::readReply(InputStream& stream) {
    return new DefineIoReply(stream);
}

void UpdateIORequest::performOnInstance(PluginInstance& instance) {
    const Ref<DefineIoReply> reply(new DefineIoReply(instance));
    handler->sendReply(*this, *reply);
}

PresetRequest::PresetRequest() = default;

PresetRequest::PresetRequest(int32_t instanceId, const String& path)
    : PluginInstanceRequest(instanceId), path(path) {}

PresetRequest::~PresetRequest() = default;

bool PresetRequest::needsReply() const {
    return true;
}

Ref<PluginHostReply> LoadPresetRequest::readReply(InputStream&) {
    return new LoadPresetReply(instanceId, path);
}

void LoadPresetRequest::performOnInstance(PluginInstance& instance) {
    try {
        instance.loadPreset(path);
    } catch (const IOException& exception) {
        handler->sendError(*this, exception.getMessage());
        return;
    }
    const Ref<LoadPresetReply> reply(new LoadPresetReply(instanceId, path));
    handler->sendReply(*this, *reply);
}

Ref<PluginHostReply> SavePresetRequest::readReply(InputStream&) {
    return new SavePresetReply(instanceId, path);
}

void SavePresetRequest::performOnInstance(PluginInstance& instance) {
    try {
        base::core::FileSystem& files = base::core::LocalFileSystem::get();
        files.createDirectories(files.getParent(files.normalize(path)));
        instance.savePreset(path);
    } catch (const IOException& exception) {
        handler->sendError(*this, exception.getMessage());
        return;
    }
    const Ref<SavePresetReply> reply(new SavePresetReply(instanceId, path));
    handler->sendReply(*this, *reply);
}

SetCurrentProgramRequest::SetCurrentProgramRequest() = default;

SetCurrentProgramRequest::SetCurrentProgramRequest(int32_t instanceId, int32_t program)
    : WireRequest(instanceId), program(program) {}

void SetCurrentProgramRequest::performOnInstance(PluginInstance& instance) {
    instance.setCurrentProgram(program);
}

void ShowAllGUIsRequest::perform(PluginHostContext& host) {
    host.instances.forEach([](PluginInstance& instance) {
        PluginWindow* window = instance.window;
        if (window == nullptr || !instance.windowHidden)
            return;
        instance.beginWindowChange();
        window->show();
        // Oddity show-moves-to-origin: to 0, 0 if no place is stored.
        window->move(instance.windowX, instance.windowY);
        instance.endWindowChange();
    });
}

void HideAllGUIsRequest::perform(PluginHostContext& host) {
    host.instances.forEach([](PluginInstance& instance) {
        PluginWindow* window = instance.window;
        if (window == nullptr || instance.windowHidden)
            return;
        instance.windowHidden = true;
        window->hide();
    });
}

void ActivateAppGUIRequest::perform(PluginHostContext&) {}

void DeactivateAppGUIRequest::perform(PluginHostContext&) {}

void ShutdownRequest::perform(PluginHostContext&) {
    handler->shutdown();
}

void PingRequest::perform(PluginHostContext&) {
    handler->sendEmptyReply(*this);
}

bool PingRequest::needsReply() const {
    return true;
}

bool PingRequest::isAsync() const {
    return false;
}

SetWindowTitleRequest::SetWindowTitleRequest() = default;

SetWindowTitleRequest::SetWindowTitleRequest(int32_t instanceId, const String& title)
    : WireRequest(instanceId), title(title) {}

void SetWindowTitleRequest::performOnInstance(PluginInstance& instance) {
    instance.setWindowTitle(title);
}

SetWindowPositionRequest::SetWindowPositionRequest() = default;

SetWindowPositionRequest::SetWindowPositionRequest(int32_t instanceId, int32_t x, int32_t y, int32_t width,
                                                   int32_t height)
    : WireRequest(instanceId), x(x), y(y), width(width), height(height) {}

void SetWindowPositionRequest::performOnInstance(PluginInstance& instance) {
    instance.windowX = x;
    instance.windowY = y;
    instance.windowWidth = width;
    instance.windowHeight = height;
    instance.hasWindowPosition = true;
}
