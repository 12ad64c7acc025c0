#include "vst3/Vst3Host.h"

#include "vst3/Vst3AttributeList.h"
#include "vst3/Vst3Message.h"
#include "vst3/Vst3PluginInstance.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

using base::core::ScopedLock;

namespace {

constexpr std::u16string_view productName = u"Tanvex Studio";
constexpr int32_t noParameter = -1;

} // namespace

Vst3Host::Vst3Host(Vst3PluginInstance* instance)
    : instance(instance), attributes(makeSharedAttributes(this)) {}

Vst3Host::~Vst3Host() = default;

Vst3AttributeList* Vst3Host::makeSharedAttributes(Vst3Host* host) {
    return new Vst3AttributeList(host);
}

Steinberg::uint32 Vst3Host::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3Host::release() {
    return --refCount;
}

tresult Vst3Host::queryInterface(const TUID identifier, void** result) {
    // By address, not by content: this is for the host's own code. The list comes without a reference.
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
    *result = nullptr;
    return kNoInterface;
}

tresult Vst3Host::getName(Vst::String128 name) {
    *std::copy(productName.begin(), productName.end(), name) = 0;
    return kResultOk;
}

tresult Vst3Host::createInstance(TUID classId, TUID identifier, void** result) {
    if (isInterface(classId, Vst::IMessage::iid) && isInterface(identifier, Vst::IMessage::iid))
        return yieldInterface<Vst::IMessage>(new Vst3Message(this, attributes), result);
    if (isInterface(classId, Vst::IAttributeList::iid) && isInterface(identifier, Vst::IAttributeList::iid))
        return yieldInterface<Vst::IAttributeList>(new Vst3AttributeList(this), result);
    *result = nullptr;
    return kResultFalse;
}

tresult Vst3Host::beginEdit(Vst::ParamID id) {
    Vst3PluginInstance* owner = instance;
    const int32_t index = findParameterIndex(owner, id);
    if (index < 0)
        return kInvalidArgument;
    owner->beginParameterEdit(index);
    return kResultOk;
}

tresult Vst3Host::performEdit(Vst::ParamID id, Vst::ParamValue value) {
    Vst3PluginInstance* owner = instance;
    const int32_t index = findParameterIndex(owner, id);
    if (index < 0 || value < 0.0 || value > 1.0)
        return kInvalidArgument;
    owner->parameterEdited(index, static_cast<float>(value));
    return kResultOk;
}

tresult Vst3Host::endEdit(Vst::ParamID id) {
    Vst3PluginInstance* owner = instance;
    const int32_t index = findParameterIndex(owner, id);
    if (index < 0)
        return kInvalidArgument;
    owner->endParameterEdit(index);
    return kResultOk;
}

tresult Vst3Host::restartComponent(Steinberg::int32) {
    Vst3PluginInstance* owner = instance;
    if (owner == nullptr)
        return kResultFalse;
    owner->everythingChanged();
    return kResultOk;
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
        const ScopedLock lock(parameterIndexesLock);
        for (size_t i = 0; i < ids.size(); ++i)
            parameterIndexes[ids[i]] = static_cast<int32_t>(i);
    }
    return lookUpParameterIndex(id);
}

int32_t Vst3Host::lookUpParameterIndex(Vst::ParamID id) {
    const ScopedLock lock(parameterIndexesLock);
    const auto found = parameterIndexes.find(id);
    return found != parameterIndexes.end() ? found->second : noParameter;
}
