#pragma once

#include "core/Mutex.h"
#include "vst3/Vst3Object.h"

#include <atomic>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <unordered_map>

class Vst3AttributeList;
class Vst3PluginInstance;

/// What an instance's plug-in knows of its host: the host context, and the handler that the controller tells
/// of edits. A member of its instance, with a count of its own that frees nothing: plug-ins release a context
/// more often than they retained it. Once the instance is terminated it answers without reaching anything.
///
/// Plug-ins call it on any thread, their audio thread too. The lock of the index map is never held across a
/// call out.
class Vst3Host final : public Vst3Object,
                       public Vst::IHostApplication,
                       public Vst::IComponentHandler,
                       public Vst::IComponentHandler2 {
public:
    explicit Vst3Host(Vst3PluginInstance* instance);
    ~Vst3Host() override;

    /// The interface that plug-ins are given; they ask it for the others.
    FUnknown* getContext() { return static_cast<Vst::IComponentHandler*>(this); }
    Vst::IComponentHandler* getComponentHandler() { return this; }

    /// From now on nothing reaches the instance.
    void detach() { instance = nullptr; }

    Steinberg::uint32 PLUGIN_API addRef() override;
    /// Frees nothing at 0.
    Steinberg::uint32 PLUGIN_API release() override;
    /// `Linux::IRunLoop`, `IUnitHandler`, `IComponentHandler3`, `IContextMenu`, `IProgress` and all other
    /// extensions are refused on purpose.
    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;

    tresult PLUGIN_API getName(Vst::String128 name) override;
    /// Makes messages and attribute lists, with a count of 2. Deliberate: a plug-in's single `release` leaves
    /// them alive, and with them the attributes that all messages of this host share.
    tresult PLUGIN_API createInstance(TUID classId, TUID identifier, void** result) override;

    tresult PLUGIN_API beginEdit(Vst::ParamID id) override;
    /// `value` is normalised; one outside of 0 to 1 is refused, and a NaN is not.
    tresult PLUGIN_API performEdit(Vst::ParamID id, Vst::ParamValue value) override;
    tresult PLUGIN_API endEdit(Vst::ParamID id) override;
    /// Has the client told of everything anew, whatever the flags say: none of them is looked at.
    tresult PLUGIN_API restartComponent(Steinberg::int32 flags) override;

    // Refused, deliberately.

    tresult PLUGIN_API setDirty(Steinberg::TBool state) override;
    tresult PLUGIN_API requestOpenEditor(FIDString name) override;
    tresult PLUGIN_API startGroupEdit() override;
    tresult PLUGIN_API finishGroupEdit() override;

private:
    static Vst3AttributeList* makeSharedAttributes(Vst3Host* host);

    /// The place of a parameter in the controller's list, -1 if it has none. An id that isn't known costs a
    /// walk over all parameters each time.
    int32_t findParameterIndex(Vst3PluginInstance* owner, Vst::ParamID id);
    int32_t lookUpParameterIndex(Vst::ParamID id);

    std::atomic<uint32_t> refCount = 1;
    base::core::Mutex parameterIndexesLock;
    /// Under its lock; never emptied.
    std::unordered_map<Vst::ParamID, int32_t> parameterIndexes;
    /// The owner; null once that is terminated.
    PublishedPointer<Vst3PluginInstance> instance;
    /// Shared by all messages that this host makes. Never released: messages count it carelessly.
    Vst3AttributeList* const attributes;
};
