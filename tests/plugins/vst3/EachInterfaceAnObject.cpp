// An effect that hands out an object of its own for each interface that it is asked for. Each records its
// end.

#include "vst3/Identifiers.h"
#include "vst3/RecordingPlugin.h"
#include "vst3/TextlessNoteExpressions.h"

#include <pluginterfaces/gui/iplugview.h>
#include <pluginterfaces/gui/iplugviewcontentscalesupport.h>
#include <pluginterfaces/vst/ivstunits.h>

namespace {

/// Yields the one reference to a new object.
template <class Interface, class Object, class... Arguments>
tresult yieldNew(void** result, Arguments&&... arguments) {
    *result = static_cast<Interface*>(new RecordingEnd<Object>(std::forward<Arguments>(arguments)...));
    return kResultOk;
}

class UnitData : public Vst3Offering<Vst3Counted, Vst::IUnitData> {
public:
    tresult PLUGIN_API unitDataSupported(Vst::UnitID) override { return kResultFalse; }
    tresult PLUGIN_API getUnitData(Vst::UnitID, Steinberg::IBStream*) override { return kResultFalse; }
    tresult PLUGIN_API setUnitData(Vst::UnitID, Steinberg::IBStream*) override { return kResultFalse; }
};

class ProgramListData : public Vst3Offering<Vst3Counted, Vst::IProgramListData> {
public:
    tresult PLUGIN_API programDataSupported(Vst::ProgramListID) override { return kResultFalse; }
    tresult PLUGIN_API getProgramData(Vst::ProgramListID, Steinberg::int32, Steinberg::IBStream*) override {
        return kResultFalse;
    }
    tresult PLUGIN_API setProgramData(Vst::ProgramListID, Steinberg::int32, Steinberg::IBStream*) override {
        return kResultFalse;
    }
};

class SecondController : public Vst3Offering<Vst3Counted, Vst::IEditController2> {
public:
    tresult PLUGIN_API setKnobMode(Vst::KnobMode) override { return kResultFalse; }
    tresult PLUGIN_API openHelp(Steinberg::TBool) override { return kResultFalse; }
    tresult PLUGIN_API openAboutBox(Steinberg::TBool) override { return kResultFalse; }
};

class MidiMapping : public Vst3Offering<Vst3Counted, Vst::IMidiMapping> {
public:
    tresult PLUGIN_API getMidiControllerAssignment(Steinberg::int32, Steinberg::int16, Vst::CtrlNumber,
                                                   Vst::ParamID&) override {
        return kResultFalse;
    }
};

class NoteExpressions : public TextlessNoteExpressions<Vst3Counted> {
public:
    Steinberg::int32 PLUGIN_API getNoteExpressionCount(Steinberg::int32, Steinberg::int16) override {
        return 0;
    }
    tresult PLUGIN_API getNoteExpressionInfo(Steinberg::int32, Steinberg::int16, Steinberg::int32,
                                             Vst::NoteExpressionTypeInfo&) override {
        return kResultFalse;
    }
};

class ContentScale : public Vst3Offering<Vst3Counted, Steinberg::IPlugViewContentScaleSupport> {
public:
    tresult PLUGIN_API setContentScaleFactor(ScaleFactor) override { return kResultFalse; }
};

class View : public Vst3Offering<Vst3Counted, Steinberg::IPlugView> {
public:
    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (isAskedFor(identifier, Steinberg::IPlugViewContentScaleSupport::iid))
            return yieldNew<Steinberg::IPlugViewContentScaleSupport, ContentScale>(result, "content scale");
        return Vst3Offering::queryInterface(identifier, result);
    }
    tresult PLUGIN_API isPlatformTypeSupported(FIDString) override { return kResultFalse; }
    tresult PLUGIN_API attached(void*, FIDString) override { return kResultFalse; }
    tresult PLUGIN_API removed() override { return kResultOk; }
    tresult PLUGIN_API onWheel(float) override { return kResultFalse; }
    tresult PLUGIN_API onKeyDown(Steinberg::char16, Steinberg::int16, Steinberg::int16) override {
        return kResultFalse;
    }
    tresult PLUGIN_API onKeyUp(Steinberg::char16, Steinberg::int16, Steinberg::int16) override {
        return kResultFalse;
    }
    tresult PLUGIN_API getSize(Steinberg::ViewRect*) override { return kResultFalse; }
    tresult PLUGIN_API onSize(Steinberg::ViewRect*) override { return kResultFalse; }
    tresult PLUGIN_API onFocus(Steinberg::TBool) override { return kResultFalse; }
    tresult PLUGIN_API setFrame(Steinberg::IPlugFrame*) override { return kResultOk; }
    tresult PLUGIN_API canResize() override { return kResultFalse; }
    tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect*) override { return kResultFalse; }
};

class Component : public RecordingEnd<Vst3Component> {
public:
    Component() : RecordingEnd("component", Vst3ComponentTraits{.controllerClass = controllerClass}) {}

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (isAskedFor(identifier, Vst::IAudioProcessor::iid))
            return yieldNew<Vst::IAudioProcessor, Vst3Component>(result, "processor", Vst3ComponentTraits{});
        if (isAskedFor(identifier, Vst::IUnitData::iid))
            return yieldNew<Vst::IUnitData, UnitData>(result, "unit data");
        if (isAskedFor(identifier, Vst::IProgramListData::iid))
            return yieldNew<Vst::IProgramListData, ProgramListData>(result, "program list data");
        if (isAskedFor(identifier, Vst::IConnectionPoint::iid))
            return yieldNew<Vst::IConnectionPoint, Vst3Controller>(result, "component's connection");
        return RecordingEnd::queryInterface(identifier, result);
    }
};

class Controller : public RecordingEnd<Vst3Controller> {
public:
    Controller() : RecordingEnd("controller") {}

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (isAskedFor(identifier, Vst::IEditController2::iid))
            return yieldNew<Vst::IEditController2, SecondController>(result, "second controller");
        if (isAskedFor(identifier, Vst::IMidiMapping::iid))
            return yieldNew<Vst::IMidiMapping, MidiMapping>(result, "MIDI mapping");
        if (isAskedFor(identifier, Vst::INoteExpressionController::iid))
            return yieldNew<Vst::INoteExpressionController, NoteExpressions>(result, "note expressions");
        if (isAskedFor(identifier, Vst::IConnectionPoint::iid))
            return yieldNew<Vst::IConnectionPoint, Vst3Controller>(result, "controller's connection");
        return RecordingEnd::queryInterface(identifier, result);
    }
    Steinberg::IPlugView* PLUGIN_API createView(FIDString) override { return new RecordingEnd<View>("view"); }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Component>(firstClass, "Each Interface An Object"),
                            vst3Class<Controller>(controllerClass, "Controller")});
}
