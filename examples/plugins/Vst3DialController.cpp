#include "plugins/Vst3DialController.h"

#include <cstring>
#include <optional>
#include <pluginterfaces/gui/iplugview.h>

namespace {

/// The editor as an `IPlugView`. Runs on its own thread and uses no interface of the host.
class DialView : public Vst3Offering<Vst3Counted, Steinberg::IPlugView> {
public:
    /// Holds the controller, which a host may release first.
    DialView(FUnknown* controller, DialSource& source) : controller(controller), source(source) {}

    tresult PLUGIN_API isPlatformTypeSupported(FIDString type) override {
        return std::strcmp(type, Steinberg::kPlatformTypeX11EmbedWindowID) == 0 ? kResultOk : kResultFalse;
    }

    tresult PLUGIN_API attached(void* parent, FIDString type) override {
        if (isPlatformTypeSupported(type) != kResultOk)
            return kResultFalse;
        editor.emplace(source, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(parent)));
        return kResultOk;
    }

    tresult PLUGIN_API removed() override {
        editor.reset();
        return kResultOk;
    }

    tresult PLUGIN_API getSize(Steinberg::ViewRect* size) override {
        *size = {0, 0, DialEditor::getWidth(source.countDials()), DialEditor::getHeight()};
        return kResultOk;
    }

    tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect* size) override { return getSize(size); }
    tresult PLUGIN_API canResize() override { return kResultFalse; }
    tresult PLUGIN_API onWheel(float) override { return kResultFalse; }
    tresult PLUGIN_API onKeyDown(Steinberg::char16, Steinberg::int16, Steinberg::int16) override {
        return kResultFalse;
    }
    tresult PLUGIN_API onKeyUp(Steinberg::char16, Steinberg::int16, Steinberg::int16) override {
        return kResultFalse;
    }
    tresult PLUGIN_API onSize(Steinberg::ViewRect*) override { return kResultOk; }
    tresult PLUGIN_API onFocus(Steinberg::TBool) override { return kResultOk; }
    tresult PLUGIN_API setFrame(Steinberg::IPlugFrame*) override { return kResultOk; }

private:
    IPtr<FUnknown> controller;
    DialSource& source;
    std::optional<DialEditor> editor;
};

} // namespace

Vst3DialController::Vst3DialController(std::vector<Vst3Parameter> parameters)
    : Vst3Controller(std::move(parameters)) {
    for (int32_t i = 0; i < this->parameters.getCount(); ++i) {
        if ((this->parameters[i].flags & Vst::ParameterInfo::kIsHidden) == 0)
            dials.push_back(i);
    }
}

Steinberg::IPlugView* Vst3DialController::createView(FIDString name) {
    if (name == nullptr || std::strcmp(name, Vst::ViewType::kEditor) != 0)
        return nullptr;
    return new DialView(static_cast<Vst::IEditController*>(this), *this);
}

std::string Vst3DialController::getDialText(int32_t index) {
    const Vst3Parameter& dial = dialOf(index);
    char text[64] = {};
    display(dial.id, parameters.get(dial.id), text, sizeof text);
    return std::string(text) + " " + dial.units;
}

float Vst3DialController::getDialValue(int32_t index) {
    return static_cast<float>(parameters.get(dialOf(index).id));
}

void Vst3DialController::beginDrag(int32_t index) {
    if (handler)
        handler->beginEdit(dialOf(index).id);
}

void Vst3DialController::drag(int32_t index, float value) {
    const Vst::ParamID id = dialOf(index).id;
    setParamNormalized(id, value);
    if (handler)
        handler->performEdit(id, value);
}

void Vst3DialController::endDrag(int32_t index) {
    if (handler)
        handler->endEdit(dialOf(index).id);
}
