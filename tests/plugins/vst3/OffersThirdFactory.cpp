// A module whose factory has a third interface. It records what is asked of that, and counts the references
// to the factory.

#include "vst3/Identifiers.h"
#include "vst3/RecordingPlugin.h"

extern "C" {
__attribute__((visibility("default"))) uint32_t factoryReferences = 1;
}

namespace {

class Factory : public Vst3Offering<Vst3Factory, Steinberg::IPluginFactory3> {
public:
    using Vst3Offering::Vst3Offering;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        record.add("factory queryInterface " + interfaceName(identifier));
        return Vst3Offering::queryInterface(identifier, result);
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return factoryReferences = Vst3Offering::addRef(); }
    Steinberg::uint32 PLUGIN_API release() override { return factoryReferences = Vst3Offering::release(); }
    tresult PLUGIN_API getFactoryInfo(Steinberg::PFactoryInfo* info) override {
        return Vst3Factory::getFactoryInfo(info);
    }
    Steinberg::int32 PLUGIN_API countClasses() override { return Vst3Factory::countClasses(); }
    tresult PLUGIN_API getClassInfo(Steinberg::int32 index, Steinberg::PClassInfo* info) override {
        return Vst3Factory::getClassInfo(index, info);
    }
    tresult PLUGIN_API createInstance(FIDString classId, FIDString identifier, void** result) override {
        return Vst3Factory::createInstance(classId, identifier, result);
    }
    tresult PLUGIN_API getClassInfo2(Steinberg::int32 index, Steinberg::PClassInfo2* info) override {
        return Vst3Factory::getClassInfo2(index, info);
    }
    tresult PLUGIN_API getClassInfoUnicode(Steinberg::int32, Steinberg::PClassInfoW*) override {
        record.add("factory getClassInfoUnicode");
        return kNotImplemented;
    }
    tresult PLUGIN_API setHostContext(FUnknown*) override {
        record.add("factory setHostContext");
        return kResultOk;
    }

private:
    ModuleRecord& record = *moduleRecord();
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    // Known to the module for good: the host keeps a reference that it never lets go of.
    static Vst3Factory* factory = nullptr;
    factory = new Factory({vst3Class<Vst3Controller>(controllerClass, "Controller")});
    return factory;
}
