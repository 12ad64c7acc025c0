#pragma once

#include "plugin/PluginInstanceRequest.h"

/// The type bytes of requests.
enum class RequestType : uint8_t {
    createPluginInstance = 0,
    destroyPluginInstance = 1,
    openGui = 2,
    closeGui = 3,
    updateIo = 4,
    loadPreset = 5,
    savePreset = 6,
    setCurrentProgram = 7,
    showAllGuis = 8,
    hideAllGuis = 9,
    activateAppGui = 10,
    deactivateAppGui = 11,
    shutdown = 12,
    ping = 13,
    setWindowTitle = 14,
    setWindowPosition = 15,
};

/// Host side: reads a request that came through `handler`. An unknown type throws `IOException`, and the
/// stream is then out of step for good.
Ref<PluginHostRequest> readRequest(const Ref<PluginHostProxyHandler>& handler, InputStream& stream);

/// Brings up a plug-in. On the wire: `int32n` instanceId, `string` path, `string` identifier, `string`
/// presetPath, `bool` dpiAware. Answered by a `CreatePluginInstanceReply`, or by the words of an `Exception`
/// from loading the plug-in or its preset; an instance whose preset failed stays in the host's table, which
/// is deliberate.
class CreatePluginInstanceRequest : public PluginInstanceRequest {
public:
    CreatePluginInstanceRequest();
    /// `instanceId` is the client's choice and never used again. `identifier` names the plug-in within its
    /// file, `presetPath` may be empty.
    CreatePluginInstanceRequest(int32_t instanceId, const String& path, const String& presetPath,
                                const String& identifier, bool dpiAware);
    ~CreatePluginInstanceRequest() override;

    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
    bool needsReply() const override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;
    Ref<PluginHostReply> readReply(InputStream& stream) override;
    /// Never runs: there is no instance yet.
    void performOnInstance(PluginInstance& instance) override;

    String path;
    String presetPath;
    String identifier;
    bool dpiAware = false;
    /// Client side: kept for the length of the call.
    Ref<Object> callContext;
};

/// Terminates an instance and drops it. Payload: instanceId. No reply.
class DestroyPluginInstanceRequest : public PluginInstanceRequest {
public:
    using PluginInstanceRequest::PluginInstanceRequest;
    ~DestroyPluginInstanceRequest() override;

    int32_t getType() const override;
    void performOnInstance(PluginInstance& instance) override;
};

/// Opens the editor. On the wire: `int32n` instanceId, `int64n` parentWindow, `bool` openEditorFlag, `string`
/// title. No reply.
class OpenGUIRequest : public PluginInstanceRequest {
public:
    OpenGUIRequest();
    OpenGUIRequest(int32_t instanceId, int64_t parentWindow, bool openEditorFlag, const String& title);
    ~OpenGUIRequest() override;

    int32_t getType() const override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;
    void performOnInstance(PluginInstance& instance) override;

    /// The client's X window; its low 32 bits count.
    int64_t parentWindow = 0;
    bool openEditorFlag = false;
    String title;
};

/// Closes the editor. Payload: instanceId. No reply.
class CloseGUIRequest : public PluginInstanceRequest {
public:
    using PluginInstanceRequest::PluginInstanceRequest;
    ~CloseGUIRequest() override;

    int32_t getType() const override;
    void performOnInstance(PluginInstance& instance) override;
};

/// Asks for channels, latency and state; changes nothing, for all its name. Payload: instanceId. Answered by
/// a `DefineIoReply`.
class UpdateIORequest : public PluginInstanceRequest {
public:
    using PluginInstanceRequest::PluginInstanceRequest;
    ~UpdateIORequest() override;

    int32_t getType() const override;
    bool needsReply() const override;
    Ref<PluginHostReply> readReply(InputStream& stream) override;
    void performOnInstance(PluginInstance& instance) override;
};

/// The requests about a preset file. On the wire: `int32n` instanceId, `string` path.
class PresetRequest : public PluginInstanceRequest {
public:
    PresetRequest();
    PresetRequest(int32_t instanceId, const String& path);
    ~PresetRequest() override;

    bool needsReply() const override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;

    String path;
};

/// Loads a preset. Answered by a `LoadPresetReply`, or by the words of an `IOException`.
class LoadPresetRequest : public PresetRequest {
public:
    using PresetRequest::PresetRequest;
    ~LoadPresetRequest() override;

    int32_t getType() const override;
    Ref<PluginHostReply> readReply(InputStream& stream) override;
    void performOnInstance(PluginInstance& instance) override;
};

/// Saves a preset, making the directories above it. Answered by a `SavePresetReply`, or by the words of an
/// `IOException`.
class SavePresetRequest : public PresetRequest {
public:
    using PresetRequest::PresetRequest;
    ~SavePresetRequest() override;

    int32_t getType() const override;
    Ref<PluginHostReply> readReply(InputStream& stream) override;
    void performOnInstance(PluginInstance& instance) override;
};

/// Chooses a program. On the wire: `int32n` instanceId, `int32n` program. No reply.
class SetCurrentProgramRequest : public PluginInstanceRequest {
public:
    SetCurrentProgramRequest();
    SetCurrentProgramRequest(int32_t instanceId, int32_t program);
    ~SetCurrentProgramRequest() override;

    int32_t getType() const override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;
    void performOnInstance(PluginInstance& instance) override;

    int32_t program = 0;
};

/// Shows every editor that is hidden, at its last place. No payload, no reply.
class ShowAllGUIsRequest : public PluginHostRequest {
public:
    ~ShowAllGUIsRequest() override;
    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
};

/// Hides every open editor. No payload, no reply.
class HideAllGUIsRequest : public PluginHostRequest {
public:
    ~HideAllGUIsRequest() override;
    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
};

/// Does nothing. Deliberate: clients may send it. No payload, no reply.
class ActivateAppGUIRequest : public PluginHostRequest {
public:
    ~ActivateAppGUIRequest() override;
    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
};

/// Does nothing, like `ActivateAppGUIRequest`.
class DeactivateAppGUIRequest : public PluginHostRequest {
public:
    ~DeactivateAppGUIRequest() override;
    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
};

/// Ends the host; the process exits inside of it. No payload, no reply.
class ShutdownRequest : public PluginHostRequest {
public:
    ~ShutdownRequest() override;
    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
};

/// Asks whether the main thread answers: the one request whose reply, empty, comes on the main channel. No
/// payload.
class PingRequest : public PluginHostRequest {
public:
    ~PingRequest() override;
    int32_t getType() const override;
    void perform(PluginHostContext& host) override;
    bool needsReply() const override;
    bool isAsync() const override;
};

/// Titles the editor window. On the wire: `int32n` instanceId, `string` title. No reply.
class SetWindowTitleRequest : public PluginInstanceRequest {
public:
    SetWindowTitleRequest();
    SetWindowTitleRequest(int32_t instanceId, const String& title);
    ~SetWindowTitleRequest() override;

    int32_t getType() const override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;
    void performOnInstance(PluginInstance& instance) override;

    String title;
};

/// Stores where the editor is to stand when it is opened or shown; moves nothing now. On the wire: `int32n`
/// instanceId, then `int32b` x, y, width and height, big-endian unlike everything else. No reply.
class SetWindowPositionRequest : public PluginInstanceRequest {
public:
    SetWindowPositionRequest();
    /// In pixels of the screen.
    SetWindowPositionRequest(int32_t instanceId, int32_t x, int32_t y, int32_t width, int32_t height);
    ~SetWindowPositionRequest() override;

    int32_t getType() const override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;
    void performOnInstance(PluginInstance& instance) override;

    int32_t x = -1;
    int32_t y = -1;
    int32_t width = -1;
    int32_t height = -1;
};
