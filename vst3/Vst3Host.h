#pragma once

#include "core/Guarded.h"
#include "plugin/CallGate.h"
#include "vst3/Vst3Object.h"
#include "vst3/Vst3PlugFrame.h"

#include <atomic>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <unordered_map>

class Vst3AttributeList;
class Vst3PluginInstance;

/// What an instance's plug-in sees of its host: the host context, the handler that the controller reports
/// edits to, and the frame of its views.
///
/// Plug-ins keep these after their instance, some release them more often than they retained them, and
/// threads of theirs go on calling. So a host is never freed, and its count frees nothing: each instance
/// leaves its host and the attributes that messages share behind, about 200 bytes. All hosts of the process
/// are kept in a list. From `detach` on nothing reaches the instance any more.
///
/// Plug-ins call it on any thread, their audio thread too. The lock of the index map is never held across a
/// call out.
class Vst3Host final : public Vst3Object,
                       public Vst::IHostApplication,
                       public Vst::IComponentHandler,
                       public Vst::IComponentHandler2 {
public:
    /// Never to be deleted.
    explicit Vst3Host(Vst3PluginInstance* instance);

    /// The interface that plug-ins are given; they ask it for the others.
    FUnknown* getContext() { return static_cast<Vst::IComponentHandler*>(this); }
    Vst::IComponentHandler* getComponentHandler() { return this; }

    Steinberg::IPlugFrame* getFrame() { return &frame; }

    /// From now on plug-ins are answered without the instance. Waits for calls that have already reached it;
    /// false if one hasn't ended after 2 s: the instance must stay allocated then. Once is enough, and more
    /// often is harmless. Not from inside of such a call.
    bool detach();

    Steinberg::uint32 PLUGIN_API addRef() override;
    /// Frees nothing at 0.
    Steinberg::uint32 PLUGIN_API release() override;
    /// `Linux::IRunLoop`, `IUnitHandler`, `IComponentHandler3`, `IContextMenu`, `IProgress` and all other
    /// extensions are refused. Oddity extensions-refused: so is each operation of `IComponentHandler2`.
    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;

    tresult PLUGIN_API getName(Vst::String128 name) override;
    /// Makes messages and attribute lists, with a count of 2. Oddity messages-never-freed: a plug-in's single
    /// `release` leaves them alive, and with them the attributes that all messages of this host share.
    tresult PLUGIN_API createInstance(TUID classId, TUID identifier, void** result) override;

    tresult PLUGIN_API beginEdit(Vst::ParamID id) override;
    /// `value` is normalised; one outside of 0 to 1 is refused, and a NaN is not.
    tresult PLUGIN_API performEdit(Vst::ParamID id, Vst::ParamValue value) override;
    tresult PLUGIN_API endEdit(Vst::ParamID id) override;
    /// Has the client told of everything anew, whatever the flags say: none of them is looked at.
    tresult PLUGIN_API restartComponent(Steinberg::int32 flags) override;

    /// The view asks for another size; passed over without an instance.
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

    /// The place of a parameter in the controller's list, -1 if it has none. An id that isn't known costs a
    /// walk over all parameters each time.
    int32_t findParameterIndex(Vst3PluginInstance* owner, Vst::ParamID id);
    int32_t lookUpParameterIndex(Vst::ParamID id);

    std::atomic<uint32_t> refCount = 1;
    /// Never emptied before `detach`.
    base::core::Guarded<std::unordered_map<Vst::ParamID, int32_t>> parameterIndexes;
    /// Whoever reaches the instance is counted here.
    CallGate calls;
    /// `detach` has begun: a call that comes back from the plug-in's controller goes no further.
    std::atomic<bool> isDetaching = false;
    /// The owner; null once nothing reaches it any more.
    PublishedPointer<Vst3PluginInstance> instance;
    /// Shared by all messages that this host makes. Never released: messages count it carelessly.
    Vst3AttributeList* const attributes;
    Vst3PlugFrame frame{*this};
    /// The host that was made before this one.
    Vst3Host* previous;
};
