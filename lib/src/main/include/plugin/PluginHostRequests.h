#pragma once

#include "plugin/PluginInstanceRequest.h"
#include "plugin/WireMessage.h"

/// The wire form of a request: the type byte from `Request::type`, reading and writing from the list
/// `Request::fields()`. `PluginHostRequests`, at the end of this file, lists all classes.
template <class Request, class Base = PluginInstanceRequest>
class WireRequest : public WireMessage<Request, Base> {
public:
    using WireMessage<Request, Base>::WireMessage;

    void read(InputStream& stream) override { wire::read(stream, static_cast<Request&>(*this)); }
};

/// Makes an instance of a plug-in. Answered by a `CreatePluginInstanceReply`, or by the message of an
/// `Exception` from loading the plug-in or its preset. Oddity create-keeps-instance: an instance whose preset
/// failed stays in the host's table.
class CreatePluginInstanceRequest : public WireRequest<CreatePluginInstanceRequest> {
public:
    static constexpr uint8_t type = 0;

    CreatePluginInstanceRequest();
    /// `instanceId` is chosen by the client and never reused. `identifier` selects the plug-in within its
    /// file, `presetPath` may be empty.
    CreatePluginInstanceRequest(int32_t instanceId, const String& path, const String& presetPath,
                                const String& identifier, bool dpiAware);

    void perform(PluginHostContext& host) override;
    bool needsReply() const override;
    Ref<PluginHostReply> readReply(InputStream& stream) override;
    /// Never runs: there is no instance yet.
    void performOnInstance(PluginInstance& instance) override;

    String path;
    String presetPath;
    String identifier;
    bool dpiAware = false;
    /// Client side: held during the call.
    Ref<Object> callContext;

    static constexpr auto fields() {
        return wire::extend(PluginInstanceRequest::fields(),
                            wire::string("path", &CreatePluginInstanceRequest::path),
                            wire::string("identifier", &CreatePluginInstanceRequest::identifier),
                            wire::string("presetPath", &CreatePluginInstanceRequest::presetPath),
                            wire::boolean("dpiAware", &CreatePluginInstanceRequest::dpiAware));
    }
};

/// Terminates an instance and drops it. No reply.
class DestroyPluginInstanceRequest : public WireRequest<DestroyPluginInstanceRequest> {
public:
    static constexpr uint8_t type = 1;

    using WireRequest::WireRequest;

    void performOnInstance(PluginInstance& instance) override;
};

/// Opens the editor. No reply.
class OpenGUIRequest : public WireRequest<OpenGUIRequest> {
public:
    static constexpr uint8_t type = 2;

    OpenGUIRequest();
    OpenGUIRequest(int32_t instanceId, int64_t parentWindow, bool openEditorFlag, const String& title);

    void performOnInstance(PluginInstance& instance) override;

    /// The client's X window; only the low 32 bits are used.
    int64_t parentWindow = 0;
    bool openEditorFlag = false;
    String title;

    static constexpr auto fields() {
        return wire::extend(PluginInstanceRequest::fields(),
                            wire::int64n("parentWindow", &OpenGUIRequest::parentWindow),
                            wire::boolean("openEditorFlag", &OpenGUIRequest::openEditorFlag),
                            wire::string("title", &OpenGUIRequest::title));
    }
};

/// Closes the editor. No reply.
class CloseGUIRequest : public WireRequest<CloseGUIRequest> {
public:
    static constexpr uint8_t type = 3;

    using WireRequest::WireRequest;

    void performOnInstance(PluginInstance& instance) override;
};

/// Asks for channels, latency and state. Oddity update-io-updates-nothing: changes none of them. Answered by
/// a `DefineIoReply`.
class UpdateIORequest : public WireRequest<UpdateIORequest> {
public:
    static constexpr uint8_t type = 4;

    using WireRequest::WireRequest;

    bool needsReply() const override;
    Ref<PluginHostReply> readReply(InputStream& stream) override;
    void performOnInstance(PluginInstance& instance) override;
};

/// The requests about a preset file.
class PresetRequest : public PluginInstanceRequest {
public:
    PresetRequest();
    PresetRequest(int32_t instanceId, const String& path);
    ~PresetRequest() override;

    bool needsReply() const override;

    String path;

    static constexpr auto fields() {
        return wire::extend(PluginInstanceRequest::fields(), wire::string("path", &PresetRequest::path));
    }
};

/// Loads a preset. Answered by a `LoadPresetReply`, or by the message of an `IOException`.
class LoadPresetRequest : public WireRequest<LoadPresetRequest, PresetRequest> {
public:
    static constexpr uint8_t type = 5;

    using WireRequest::WireRequest;

    Ref<PluginHostReply> readReply(InputStream& stream) override;
    void performOnInstance(PluginInstance& instance) override;
};

/// Saves a preset, creating its parent directories. Answered by a `SavePresetReply`, or by the message of an
/// `IOException`.
class SavePresetRequest : public WireRequest<SavePresetRequest, PresetRequest> {
public:
    static constexpr uint8_t type = 6;

    using WireRequest::WireRequest;

    Ref<PluginHostReply> readReply(InputStream& stream) override;
    void performOnInstance(PluginInstance& instance) override;
};

/// Selects a program. No reply.
class SetCurrentProgramRequest : public WireRequest<SetCurrentProgramRequest> {
public:
    static constexpr uint8_t type = 7;

    SetCurrentProgramRequest();
    SetCurrentProgramRequest(int32_t instanceId, int32_t program);

    void performOnInstance(PluginInstance& instance) override;

    int32_t program = 0;

    static constexpr auto fields() {
        return wire::extend(PluginInstanceRequest::fields(),
                            wire::int32n("program", &SetCurrentProgramRequest::program));
    }
};

/// Shows every editor that is hidden, at its last place. No reply.
class ShowAllGUIsRequest : public WireRequest<ShowAllGUIsRequest, PluginHostRequest> {
public:
    static constexpr uint8_t type = 8;

    void perform(PluginHostContext& host) override;
};

/// Hides every open editor. No reply.
class HideAllGUIsRequest : public WireRequest<HideAllGUIsRequest, PluginHostRequest> {
public:
    static constexpr uint8_t type = 9;

    void perform(PluginHostContext& host) override;
};

/// Oddity app-gui-requests-ignored: does nothing. No reply.
class ActivateAppGUIRequest : public WireRequest<ActivateAppGUIRequest, PluginHostRequest> {
public:
    static constexpr uint8_t type = 10;

    void perform(PluginHostContext& host) override;
};

/// Oddity app-gui-requests-ignored: does nothing, like `ActivateAppGUIRequest`.
class DeactivateAppGUIRequest : public WireRequest<DeactivateAppGUIRequest, PluginHostRequest> {
public:
    static constexpr uint8_t type = 11;

    void perform(PluginHostContext& host) override;
};

/// Ends the host: the process exits while this runs. No reply.
class ShutdownRequest : public WireRequest<ShutdownRequest, PluginHostRequest> {
public:
    static constexpr uint8_t type = 12;

    void perform(PluginHostContext& host) override;
};

/// Checks that the main thread responds: the only request whose reply, which is empty, comes on the main
/// channel.
class PingRequest : public WireRequest<PingRequest, PluginHostRequest> {
public:
    static constexpr uint8_t type = 13;

    void perform(PluginHostContext& host) override;
    bool needsReply() const override;
    bool isAsync() const override;
};

/// Sets the title of the editor window. No reply.
class SetWindowTitleRequest : public WireRequest<SetWindowTitleRequest> {
public:
    static constexpr uint8_t type = 14;

    SetWindowTitleRequest();
    SetWindowTitleRequest(int32_t instanceId, const String& title);

    void performOnInstance(PluginInstance& instance) override;

    String title;

    static constexpr auto fields() {
        return wire::extend(PluginInstanceRequest::fields(),
                            wire::string("title", &SetWindowTitleRequest::title));
    }
};

/// Stores the editor's place and size, for its next opening or showing; doesn't move an open window. No
/// reply. Oddity big-endian-fields: place and size are big-endian.
class SetWindowPositionRequest : public WireRequest<SetWindowPositionRequest> {
public:
    static constexpr uint8_t type = 15;

    SetWindowPositionRequest();
    /// In pixels of the screen.
    SetWindowPositionRequest(int32_t instanceId, int32_t x, int32_t y, int32_t width, int32_t height);

    void performOnInstance(PluginInstance& instance) override;

    int32_t x = -1;
    int32_t y = -1;
    int32_t width = -1;
    int32_t height = -1;

    static constexpr auto fields() {
        return wire::extend(PluginInstanceRequest::fields(), wire::int32b("x", &SetWindowPositionRequest::x),
                            wire::int32b("y", &SetWindowPositionRequest::y),
                            wire::int32b("width", &SetWindowPositionRequest::width),
                            wire::int32b("height", &SetWindowPositionRequest::height));
    }
};

/// All requests, in the order of their types.
using PluginHostRequests =
    WireFamily<CreatePluginInstanceRequest, DestroyPluginInstanceRequest, OpenGUIRequest, CloseGUIRequest,
               UpdateIORequest, LoadPresetRequest, SavePresetRequest, SetCurrentProgramRequest,
               ShowAllGUIsRequest, HideAllGUIsRequest, ActivateAppGUIRequest, DeactivateAppGUIRequest,
               ShutdownRequest, PingRequest, SetWindowTitleRequest, SetWindowPositionRequest>;

static_assert(PluginHostRequests::isInOrder());
