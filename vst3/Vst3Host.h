#pragma once

#include "core/Guarded.h"
#include "plugin/CallGate.h"
#include "vst3/Vst3Object.h"
#include "vst3/Vst3PlugFrame.h"
#include "vst3/Vst3RunLoop.h"

#include <atomic>
#include <functional>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <unordered_map>

class RunLoop;
class Vst3AttributeList;
class Vst3PluginInstance;

/// The host for an instance's plug-in: the host context, the handler to which the controller reports edits,
/// and the frame of its views.
///
/// Plug-ins keep these longer than their instance, some release them more often than they retained them, and
/// their threads may call at any time. So a host is never freed, and its reference count frees nothing: each
/// instance leaks its host and the attributes that messages share, about 200 bytes. All hosts of the process
/// are kept in a list. After `detach` no call reaches the instance.
///
/// Plug-ins call it on any thread, including audio threads. The lock of the index map is never held during a
/// call out.
class Vst3Host final : public Vst3Object,
                       public Vst::IHostApplication,
                       public Vst::IComponentHandler,
                       public Vst::IComponentHandler2 {
public:
    /// Never to be deleted.
    explicit Vst3Host(Vst3PluginInstance* instance);

    /// The interface that plug-ins get; they query it for the others.
    FUnknown* getContext() { return static_cast<Vst::IComponentHandler*>(this); }
    Vst::IComponentHandler* getComponentHandler() { return this; }

    Steinberg::IPlugFrame* getFrame() { return &frame; }

    /// Answers later calls without the instance. Waits for calls that have already reached it; false if one
    /// hasn't ended after 2 s: the instance must stay allocated then. Idempotent. Don't call it from inside
    /// of such a call.
    bool detach();

    Steinberg::uint32 PLUGIN_API addRef() override;
    /// Frees nothing at 0.
    Steinberg::uint32 PLUGIN_API release() override;
    /// `IUnitHandler`, `IComponentHandler3`, `IContextMenu`, `IProgress` and all other interfaces are
    /// refused, and `Linux::IRunLoop` without the extension `run-loop`. Oddity extensions-refused: so is each
    /// operation of `IComponentHandler2`.
    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;

    tresult PLUGIN_API getName(Vst::String128 name) override;
    /// Makes messages and attribute lists, with a count of 2. Oddity messages-never-freed: a plug-in's single
    /// `release` leaves them alive, and with them the attributes that all messages of this host share.
    tresult PLUGIN_API createInstance(TUID classId, TUID identifier, void** result) override;

    tresult PLUGIN_API beginEdit(Vst::ParamID id) override;
    /// `value` is normalised; one outside of 0 to 1 is refused, and a NaN is not.
    tresult PLUGIN_API performEdit(Vst::ParamID id, Vst::ParamValue value) override;
    tresult PLUGIN_API endEdit(Vst::ParamID id) override;
    /// Notifies the client of the whole state anew; the flags are ignored.
    tresult PLUGIN_API restartComponent(Steinberg::int32 flags) override;

    /// The run loop that plug-ins get, with the extension `run-loop`.
    Steinberg::Linux::IRunLoop* getRunLoop() { return &runLoop; }
    /// Calls `use` with the loop, and the owner of what it adds. `kResultFalse` without an instance, once
    /// that has terminated, and if the process is out of descriptors, which is logged.
    tresult useRunLoop(const std::function<tresult(RunLoop&, const void* owner)>& use);

    /// The view requests another size; ignored without an instance.
    void resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* newSize);

    // Oddity extensions-refused: these answer `kResultFalse`.

    tresult PLUGIN_API setDirty(Steinberg::TBool state) override;
    tresult PLUGIN_API requestOpenEditor(FIDString name) override;
    tresult PLUGIN_API startGroupEdit() override;
    tresult PLUGIN_API finishGroupEdit() override;

private:
    ~Vst3Host() override;

    /// Calls `act(instance, index)` for a parameter of the instance's; `kInvalidArgument` if there is none.
    template <class Act>
    tresult withParameter(Vst::ParamID id, const Act& act);

    /// The index of a parameter in the controller's list, -1 if it isn't there. Each lookup of an unknown id
    /// walks over all parameters.
    int32_t findParameterIndex(Vst3PluginInstance* owner, Vst::ParamID id);
    int32_t lookUpParameterIndex(Vst::ParamID id);

    std::atomic<uint32_t> refCount = 1;
    /// Never emptied before `detach`.
    base::core::Guarded<std::unordered_map<Vst::ParamID, int32_t>> parameterIndexes;
    /// Counts the calls that may reach the instance.
    CallGate calls;
    /// `detach` has begun: a call that returns from the plug-in's controller ends without the instance.
    std::atomic<bool> isDetaching = false;
    /// The owner; null once nothing reaches it any more.
    PublishedPointer<Vst3PluginInstance> instance;
    /// Shared by all messages that this host makes. Never released by it: messages release more references
    /// than they retain.
    Vst3AttributeList* const attributes;
    Vst3PlugFrame frame{*this};
    Vst3RunLoop runLoop{*this};
    /// The host that was made before this one.
    Vst3Host* previous;
};
