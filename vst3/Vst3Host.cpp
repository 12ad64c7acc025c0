#include "vst3/Vst3Host.h"

#include "core/Exception.h"
#include "core/LeftAllocated.h"
#include "core/Log.h"
#include "plugin/Extensions.h"
#include "plugin/PluginHostContext.h"
#include "vst3/Vst3AttributeList.h"
#include "vst3/Vst3Message.h"
#include "vst3/Vst3PluginInstance.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::u16string_view productName = u"Tanvex Studio";
constexpr int32_t noParameter = -1;

/// All hosts, newest first: leak checkers find those whose plug-ins have gone.
std::atomic<Vst3Host*> newestHost = nullptr;

} // namespace

Vst3Host::Vst3Host(Vst3PluginInstance* instance)
    : instance(instance), attributes(new Vst3AttributeList(this)), previous(newestHost) {
    while (!newestHost.compare_exchange_weak(previous, this)) {
    }
}

Vst3Host::~Vst3Host() = default;

bool Vst3Host::detach() {
    isDetaching = true;
    calls.close();
    if (!calls.waitForCalls(CallGate::longestWait))
        return false;
    instance = nullptr;
    *parameterIndexes.lock() = {};
    return true;
}

Steinberg::uint32 Vst3Host::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3Host::release() {
    return --refCount;
}

tresult Vst3Host::queryInterface(const TUID identifier, void** result) {
    // By address, not by content: this is for the host's own code. The list is returned without a reference.
    if (identifier == Vst::IAttributeList::iid.toTUID()) {
        *result = attributes;
        return kResultOk;
    }
    if (isInterface(identifier, Vst::IComponentHandler::iid))
        return yieldInterface<Vst::IComponentHandler>(this, result);
    if (isInterface(identifier, Vst::IComponentHandler2::iid))
        return yieldInterface<Vst::IComponentHandler2>(this, result);
    if (isInterface(identifier, Vst::IHostApplication::iid))
        return yieldInterface<Vst::IHostApplication>(this, result);
    if (isInterface(identifier, FUnknown::iid))
        return yieldInterface<Vst::IComponentHandler>(this, result);
    if (isInterface(identifier, Steinberg::Linux::IRunLoop::iid) && isEnabled(Extension::runLoop))
        return yieldInterface<Steinberg::Linux::IRunLoop>(&runLoop, result);
    *result = nullptr;
    return kNoInterface;
}

tresult Vst3Host::getName(Vst::String128 name) {
    *std::copy(productName.begin(), productName.end(), name) = 0;
    return kResultOk;
}

tresult Vst3Host::createInstance(TUID classId, TUID identifier, void** result) {
    // Both are made with an extra reference, so plug-ins hardly ever release the last one.
    if (isInterface(classId, Vst::IMessage::iid) && isInterface(identifier, Vst::IMessage::iid)) {
        auto* message = new Vst3Message(this, attributes);
        base::core::leaveAllocated(message);
        return yieldInterface<Vst::IMessage>(message, result);
    }
    if (isInterface(classId, Vst::IAttributeList::iid) && isInterface(identifier, Vst::IAttributeList::iid)) {
        auto* list = new Vst3AttributeList(this);
        base::core::leaveAllocated(list);
        return yieldInterface<Vst::IAttributeList>(list, result);
    }
    *result = nullptr;
    return kResultFalse;
}

template <class Act>
tresult Vst3Host::withParameter(Vst::ParamID id, const Act& act) {
    const CallGate::Call call(calls);
    if (!call)
        return kInvalidArgument;
    Vst3PluginInstance* owner = instance;
    const int32_t index = findParameterIndex(owner, id);
    if (index < 0 || isDetaching)
        return kInvalidArgument;
    return act(*owner, index);
}

tresult Vst3Host::beginEdit(Vst::ParamID id) {
    return withParameter(id, [](Vst3PluginInstance& owner, int32_t index) -> tresult {
        owner.beginParameterEdit(index);
        return kResultOk;
    });
}

tresult Vst3Host::performEdit(Vst::ParamID id, Vst::ParamValue value) {
    return withParameter(id, [value](Vst3PluginInstance& owner, int32_t index) -> tresult {
        if (value < 0.0 || value > 1.0)
            return kInvalidArgument;
        owner.parameterEdited(index, static_cast<float>(value));
        return kResultOk;
    });
}

tresult Vst3Host::endEdit(Vst::ParamID id) {
    return withParameter(id, [](Vst3PluginInstance& owner, int32_t index) -> tresult {
        owner.endParameterEdit(index);
        return kResultOk;
    });
}

tresult Vst3Host::restartComponent(Steinberg::int32) {
    const CallGate::Call call(calls);
    Vst3PluginInstance* owner = instance;
    if (!call || owner == nullptr)
        return kResultFalse;
    owner->everythingChanged();
    return kResultOk;
}

tresult Vst3Host::useRunLoop(const std::function<tresult(RunLoop&, const void*)>& use) try {
    const CallGate::Call call(calls);
    Vst3PluginInstance* owner = instance;
    if (!call || owner == nullptr)
        return kResultFalse;
    return use(owner->PluginInstance::host->getRunLoop(), owner);
} catch (const IOException& exception) {
    base::core::logError("Error with the run loop of VST plug-in: ", exception.getMessage());
    return kResultFalse;
}

void Vst3Host::resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* newSize) {
    const CallGate::Call call(calls);
    Vst3PluginInstance* owner = instance;
    if (call && owner != nullptr)
        owner->resizeView(view, newSize);
}

tresult Vst3Host::setDirty(Steinberg::TBool) {
    return kResultFalse;
}

tresult Vst3Host::requestOpenEditor(FIDString) {
    return kResultFalse;
}

tresult Vst3Host::startGroupEdit() {
    return kResultFalse;
}

tresult Vst3Host::finishGroupEdit() {
    return kResultFalse;
}

int32_t Vst3Host::findParameterIndex(Vst3PluginInstance* owner, Vst::ParamID id) {
    Vst::IEditController* controller = owner != nullptr ? owner->getController() : nullptr;
    if (controller == nullptr)
        return noParameter;
    if (const int32_t known = lookUpParameterIndex(id); known >= 0)
        return known;
    std::vector<Vst::ParamID> ids;
    const int32_t count = controller->getParameterCount();
    for (int32_t i = 0; i < count; ++i) {
        Vst::ParameterInfo info{};
        controller->getParameterInfo(i, info);
        ids.push_back(info.id);
    }
    {
        const auto indexes = parameterIndexes.lock();
        for (size_t i = 0; i < ids.size(); ++i)
            (*indexes)[ids[i]] = static_cast<int32_t>(i);
    }
    return lookUpParameterIndex(id);
}

int32_t Vst3Host::lookUpParameterIndex(Vst::ParamID id) {
    const auto indexes = parameterIndexes.lock();
    const auto found = indexes->find(id);
    return found != indexes->end() ? found->second : noParameter;
}
