#include "plugin/PluginHostRequests.h"

#include "core/Assertion.h"
#include "core/FileSystem.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginInstance.h"

namespace {

Ref<PluginHostRequest> makeRequest(uint8_t type) {
    switch (static_cast<RequestType>(type)) {
    case RequestType::createPluginInstance:
        return new CreatePluginInstanceRequest;
    case RequestType::destroyPluginInstance:
        return new DestroyPluginInstanceRequest;
    case RequestType::openGui:
        return new OpenGUIRequest;
    case RequestType::closeGui:
        return new CloseGUIRequest;
    case RequestType::updateIo:
        return new UpdateIORequest;
    case RequestType::loadPreset:
        return new LoadPresetRequest;
    case RequestType::savePreset:
        return new SavePresetRequest;
    case RequestType::setCurrentProgram:
        return new SetCurrentProgramRequest;
    case RequestType::showAllGuis:
        return new ShowAllGUIsRequest;
    case RequestType::hideAllGuis:
        return new HideAllGUIsRequest;
    case RequestType::activateAppGui:
        return new ActivateAppGUIRequest;
    case RequestType::deactivateAppGui:
        return new DeactivateAppGUIRequest;
    case RequestType::shutdown:
        return new ShutdownRequest;
    case RequestType::ping:
        return new PingRequest;
    case RequestType::setWindowTitle:
        return new SetWindowTitleRequest;
    case RequestType::setWindowPosition:
        return new SetWindowPositionRequest;
    }
    throw IOException(concat("Unknown request type ", static_cast<int32_t>(type)));
}

} // namespace

Ref<PluginHostRequest> readRequest(const Ref<PluginHostProxyHandler>& handler, InputStream& stream) {
    Ref<PluginHostRequest> request = makeRequest(stream.readByte());
    request->handler = handler;
    if (request->hasRequestId())
        request->requestId = stream.readNativeInt32();
    request->read(stream);
    return request;
}

CreatePluginInstanceRequest::CreatePluginInstanceRequest() = default;

CreatePluginInstanceRequest::CreatePluginInstanceRequest(int32_t instanceId, const String& path,
                                                         const String& presetPath, const String& identifier,
                                                         bool dpiAware)
    : PluginInstanceRequest(instanceId), path(path), presetPath(presetPath), identifier(identifier),
      dpiAware(dpiAware) {}

CreatePluginInstanceRequest::~CreatePluginInstanceRequest() = default;

int32_t CreatePluginInstanceRequest::getType() const {
    return static_cast<int32_t>(RequestType::createPluginInstance);
}

void CreatePluginInstanceRequest::perform(PluginHostContext& host) {
    // Held here: an instance whose id is in use isn't in the table.
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
            // The instance stays in the table although the client is told of a failure. Deliberate.
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

void CreatePluginInstanceRequest::read(InputStream& stream) {
    PluginInstanceRequest::read(stream);
    path = stream.readString();
    identifier = stream.readString();
    presetPath = stream.readString();
    dpiAware = stream.readBool();
}

void CreatePluginInstanceRequest::write(OutputStream& stream) const {
    PluginInstanceRequest::write(stream);
    stream.writeString(path);
    stream.writeString(identifier);
    stream.writeString(presetPath);
    stream.writeByte(dpiAware);
}

Ref<PluginHostReply> CreatePluginInstanceRequest::readReply(InputStream& stream) {
    return new CreatePluginInstanceReply(stream);
}

void CreatePluginInstanceRequest::performOnInstance(PluginInstance&) {
    BASE_FAIL(concat("Illegal state: ", "Should not be called"));
}

DestroyPluginInstanceRequest::~DestroyPluginInstanceRequest() = default;

int32_t DestroyPluginInstanceRequest::getType() const {
    return static_cast<int32_t>(RequestType::destroyPluginInstance);
}

void DestroyPluginInstanceRequest::performOnInstance(PluginInstance& instance) {
    instance.terminate();
    handler->host->instances.remove(instanceId);
}

OpenGUIRequest::OpenGUIRequest() = default;

OpenGUIRequest::OpenGUIRequest(int32_t instanceId, int64_t parentWindow, bool openEditorFlag,
                               const String& title)
    : PluginInstanceRequest(instanceId), parentWindow(parentWindow), openEditorFlag(openEditorFlag),
      title(title) {}

OpenGUIRequest::~OpenGUIRequest() = default;

int32_t OpenGUIRequest::getType() const {
    return static_cast<int32_t>(RequestType::openGui);
}

void OpenGUIRequest::read(InputStream& stream) {
    PluginInstanceRequest::read(stream);
    parentWindow = readNative<int64_t>(stream);
    openEditorFlag = stream.readBool();
    title = stream.readString();
}

void OpenGUIRequest::write(OutputStream& stream) const {
    PluginInstanceRequest::write(stream);
    writeNative(stream, parentWindow);
    stream.writeByte(openEditorFlag);
    stream.writeString(title);
}

void OpenGUIRequest::performOnInstance(PluginInstance& instance) {
    instance.openEditor(static_cast<uint32_t>(parentWindow), openEditorFlag, title);
}

CloseGUIRequest::~CloseGUIRequest() = default;

int32_t CloseGUIRequest::getType() const {
    return static_cast<int32_t>(RequestType::closeGui);
}

void CloseGUIRequest::performOnInstance(PluginInstance& instance) {
    instance.closeEditor();
}

UpdateIORequest::~UpdateIORequest() = default;

int32_t UpdateIORequest::getType() const {
    return static_cast<int32_t>(RequestType::updateIo);
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

void PresetRequest::read(InputStream& stream) {
    PluginInstanceRequest::read(stream);
    path = stream.readString();
}

void PresetRequest::write(OutputStream& stream) const {
    PluginInstanceRequest::write(stream);
    stream.writeString(path);
}

LoadPresetRequest::~LoadPresetRequest() = default;

int32_t LoadPresetRequest::getType() const {
    return static_cast<int32_t>(RequestType::loadPreset);
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

SavePresetRequest::~SavePresetRequest() = default;

int32_t SavePresetRequest::getType() const {
    return static_cast<int32_t>(RequestType::savePreset);
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
    : PluginInstanceRequest(instanceId), program(program) {}

SetCurrentProgramRequest::~SetCurrentProgramRequest() = default;

int32_t SetCurrentProgramRequest::getType() const {
    return static_cast<int32_t>(RequestType::setCurrentProgram);
}

void SetCurrentProgramRequest::read(InputStream& stream) {
    PluginInstanceRequest::read(stream);
    program = stream.readNativeInt32();
}

void SetCurrentProgramRequest::write(OutputStream& stream) const {
    PluginInstanceRequest::write(stream);
    stream.writeNativeInt32(program);
}

void SetCurrentProgramRequest::performOnInstance(PluginInstance& instance) {
    instance.setCurrentProgram(program);
}

ShowAllGUIsRequest::~ShowAllGUIsRequest() = default;

int32_t ShowAllGUIsRequest::getType() const {
    return static_cast<int32_t>(RequestType::showAllGuis);
}

void ShowAllGUIsRequest::perform(PluginHostContext& host) {
    host.instances.forEach([](PluginInstance& instance) {
        PluginWindow* window = instance.window;
        if (window == nullptr || !instance.windowHidden)
            return;
        instance.beginWindowChange();
        window->show();
        // To 0, 0 where no place is known. Deliberate.
        window->move(instance.windowX, instance.windowY);
        instance.endWindowChange();
    });
}

HideAllGUIsRequest::~HideAllGUIsRequest() = default;

int32_t HideAllGUIsRequest::getType() const {
    return static_cast<int32_t>(RequestType::hideAllGuis);
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

ActivateAppGUIRequest::~ActivateAppGUIRequest() = default;

int32_t ActivateAppGUIRequest::getType() const {
    return static_cast<int32_t>(RequestType::activateAppGui);
}

void ActivateAppGUIRequest::perform(PluginHostContext&) {}

DeactivateAppGUIRequest::~DeactivateAppGUIRequest() = default;

int32_t DeactivateAppGUIRequest::getType() const {
    return static_cast<int32_t>(RequestType::deactivateAppGui);
}

void DeactivateAppGUIRequest::perform(PluginHostContext&) {}

ShutdownRequest::~ShutdownRequest() = default;

int32_t ShutdownRequest::getType() const {
    return static_cast<int32_t>(RequestType::shutdown);
}

void ShutdownRequest::perform(PluginHostContext&) {
    handler->shutdown();
}

PingRequest::~PingRequest() = default;

int32_t PingRequest::getType() const {
    return static_cast<int32_t>(RequestType::ping);
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
    : PluginInstanceRequest(instanceId), title(title) {}

SetWindowTitleRequest::~SetWindowTitleRequest() = default;

int32_t SetWindowTitleRequest::getType() const {
    return static_cast<int32_t>(RequestType::setWindowTitle);
}

void SetWindowTitleRequest::read(InputStream& stream) {
    PluginInstanceRequest::read(stream);
    title = stream.readString();
}

void SetWindowTitleRequest::write(OutputStream& stream) const {
    PluginInstanceRequest::write(stream);
    stream.writeString(title);
}

void SetWindowTitleRequest::performOnInstance(PluginInstance& instance) {
    instance.setWindowTitle(title);
}

SetWindowPositionRequest::SetWindowPositionRequest() = default;

SetWindowPositionRequest::SetWindowPositionRequest(int32_t instanceId, int32_t x, int32_t y, int32_t width,
                                                   int32_t height)
    : PluginInstanceRequest(instanceId), x(x), y(y), width(width), height(height) {}

SetWindowPositionRequest::~SetWindowPositionRequest() = default;

int32_t SetWindowPositionRequest::getType() const {
    return static_cast<int32_t>(RequestType::setWindowPosition);
}

void SetWindowPositionRequest::read(InputStream& stream) {
    PluginInstanceRequest::read(stream);
    x = stream.readInt32();
    y = stream.readInt32();
    width = stream.readInt32();
    height = stream.readInt32();
}

void SetWindowPositionRequest::write(OutputStream& stream) const {
    PluginInstanceRequest::write(stream);
    stream.writeInt32(x);
    stream.writeInt32(y);
    stream.writeInt32(width);
    stream.writeInt32(height);
}

void SetWindowPositionRequest::performOnInstance(PluginInstance& instance) {
    instance.windowX = x;
    instance.windowY = y;
    instance.windowWidth = width;
    instance.windowHeight = height;
    instance.hasWindowPosition = true;
}
