#include "plugins/Vst3Factory.h"

#include <utility>

namespace {

constexpr const char* vendor = "Example Works";
constexpr const char* version = "1.0.0";
constexpr const char* sdkVersion = "VST 3.7";

} // namespace

Vst3Factory::Vst3Factory(std::vector<Vst3Class> classes) : classes(std::move(classes)) {}

tresult Vst3Factory::queryInterface(const TUID identifier, void** result) {
    if (isAskedFor(identifier, Steinberg::IPluginFactory::iid))
        return yieldInterface<Steinberg::IPluginFactory>(this, result);
    return Vst3Offering::queryInterface(identifier, result);
}

tresult Vst3Factory::getFactoryInfo(Steinberg::PFactoryInfo* info) {
    *info = {vendor, "", "", Steinberg::PFactoryInfo::kUnicode};
    return kResultOk;
}

Steinberg::int32 Vst3Factory::countClasses() {
    return static_cast<Steinberg::int32>(classes.size());
}

tresult Vst3Factory::getClassInfo(Steinberg::int32 index, Steinberg::PClassInfo* info) {
    if (index < 0 || index >= countClasses())
        return kInvalidArgument;
    const Vst3Class& entry = classes[static_cast<size_t>(index)];
    *info = {entry.id, Steinberg::PClassInfo::kManyInstances, entry.category, entry.name};
    return kResultOk;
}

tresult Vst3Factory::createInstance(FIDString classId, FIDString identifier, void** result) {
    *result = nullptr;
    for (const Vst3Class& entry : classes) {
        if (FUID::fromTUID(classId) != entry.id)
            continue;
        const IPtr<FUnknown> object = Steinberg::owned(entry.create());
        return object->queryInterface(identifier, result);
    }
    return kInvalidArgument;
}

tresult Vst3Factory::getClassInfo2(Steinberg::int32 index, Steinberg::PClassInfo2* info) {
    if (index < 0 || index >= countClasses())
        return kInvalidArgument;
    const Vst3Class& entry = classes[static_cast<size_t>(index)];
    *info = {entry.id,
             Steinberg::PClassInfo::kManyInstances,
             entry.category,
             entry.name,
             0,
             entry.subcategories,
             vendor,
             version,
             sdkVersion};
    return kResultOk;
}
