// The instrument as a VST 3 module, with two features of that format: note expression, and MIDI controllers
// mapped to parameters.

#include "plugins/ToneSound.h"
#include "plugins/Vst3DialController.h"
#include "plugins/Vst3Factory.h"
#include "plugins/Vst3Twin.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <pluginterfaces/base/ustring.h>
#include <pluginterfaces/vst/ivstevents.h>
#include <pluginterfaces/vst/ivstmidicontrollers.h>
#include <pluginterfaces/vst/ivstnoteexpression.h>

namespace {

const FUID toneClass(0x4578616D, 0x706C6520, 0x576F726B, 0x546F6E30);
const FUID controllerClass(0x4578616D, 0x706C6520, 0x576F726B, 0x546F6E43);

/// The pitch wheel, after the visible parameters.
constexpr int32_t bendParameter = ToneSound::parameterCount;

constexpr double volumeScale = 4;   // a note's gain at 1, which is 12 dB
constexpr double tuningScale = 240; // semitones from 0 to 1
constexpr double tuningCentre = 0.5;

std::vector<Vst3Parameter> toneParameters() {
    std::vector<Vst3Parameter> parameters = twinParameters(ToneSound::parameterTexts);
    parameters.push_back({.id = twinParameterId(bendParameter),
                          .title = "Bend",
                          .defaultValue = 0.5,
                          .flags = Vst::ParameterInfo::kIsHidden});
    return parameters;
}

class Tone : public Vst3Component {
public:
    Tone()
        : Vst3Component({.controllerClass = controllerClass,
                         .buses = {Vst3Bus::eventInput(), Vst3Bus::audioOutput()},
                         .parameters = toneParameters()}) {}

    tresult PLUGIN_API setProcessing(Steinberg::TBool state) override {
        if (state)
            sound.start(static_cast<float>(setup.sampleRate));
        return kResultOk;
    }

    Steinberg::uint32 PLUGIN_API getTailSamples() override {
        return static_cast<Steinberg::uint32>(sound.getTail(getSettings()));
    }

protected:
    void render(Vst::ProcessData& data) override {
        if (!isStereo(data.outputs, data.numOutputs))
            return;
        float* output = data.outputs->channelBuffers32[0];
        const ToneSound::Settings settings = getSettings();
        const int32_t count = data.inputEvents != nullptr ? data.inputEvents->getEventCount() : 0;
        int32_t next = 0;
        for (int32_t i = 0; i < count; ++i) {
            Vst::Event event{};
            if (data.inputEvents->getEvent(i, event) != kResultOk)
                continue;
            const int32_t at = std::clamp(event.sampleOffset, next, data.numSamples);
            sound.render(settings, output + next, at - next);
            apply(event);
            next = at;
        }
        sound.render(settings, output + next, data.numSamples - next);
        std::copy_n(output, data.numSamples, data.outputs->channelBuffers32[1]);
    }

private:
    ToneSound::Settings getSettings() const {
        return {twinValue(parameters, ToneSound::volumeParameter),
                twinValue(parameters, ToneSound::releaseParameter), twinValue(parameters, bendParameter)};
    }

    void apply(const Vst::Event& event) {
        switch (event.type) {
        case Vst::Event::kNoteOnEvent:
            sound.noteOn(event.noteOn.pitch, event.noteOn.velocity, event.noteOn.noteId);
            break;
        case Vst::Event::kNoteOffEvent:
            sound.noteOff(event.noteOff.pitch);
            break;
        case Vst::Event::kNoteExpressionValueEvent:
            apply(event.noteExpressionValue);
            break;
        default:
            break;
        }
    }

    void apply(const Vst::NoteExpressionValueEvent& expression) {
        if (expression.typeId == Vst::kVolumeTypeID)
            sound.setNoteVolume(expression.noteId, expression.value * volumeScale);
        else if (expression.typeId == Vst::kTuningTypeID)
            sound.setNoteTuning(expression.noteId, (expression.value - tuningCentre) * tuningScale);
    }

    ToneSound sound;
};

/// A note expression of the instrument.
struct Expression {
    Vst::NoteExpressionTypeID type;
    const char* title;
    const char* units;
    double defaultValue;
    int32_t flags;
};

constexpr Expression expressions[] = {
    {Vst::kVolumeTypeID, "Volume", "dB", 1 / volumeScale, 0},
    {Vst::kTuningTypeID, "Tuning", "semitones", tuningCentre, Vst::NoteExpressionTypeInfo::kIsBipolar},
};

constexpr auto textCapacity = static_cast<int32_t>(sizeof(Vst::String128) / sizeof(Vst::TChar));

/// Reads a text that is one number.
bool readNumber(const Vst::TChar* text, double& number) {
    char ascii[textCapacity] = {};
    for (size_t i = 0; i + 1 < std::size(ascii) && text[i] != 0; ++i)
        ascii[i] = text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
    char* end = ascii;
    number = std::strtod(ascii, &end);
    return end != ascii && *end == 0;
}

class ToneController
    : public Vst3Offering<Vst3DialController, Vst::IMidiMapping, Vst::INoteExpressionController> {
public:
    ToneController() : Vst3Offering(toneParameters()) {}

    tresult PLUGIN_API getMidiControllerAssignment(Steinberg::int32 bus, Steinberg::int16,
                                                   Vst::CtrlNumber controller, Vst::ParamID& id) override {
        if (bus != 0)
            return kResultFalse;
        switch (controller) {
        case Vst::kCtrlVolume:
            id = twinParameterId(ToneSound::volumeParameter);
            return kResultOk;
        case Vst::kPitchBend:
            id = twinParameterId(bendParameter);
            return kResultOk;
        default:
            return kResultFalse;
        }
    }

    Steinberg::int32 PLUGIN_API getNoteExpressionCount(Steinberg::int32 bus, Steinberg::int16) override {
        return bus == 0 ? static_cast<Steinberg::int32>(std::size(expressions)) : 0;
    }

    tresult PLUGIN_API getNoteExpressionInfo(Steinberg::int32 bus, Steinberg::int16 channel,
                                             Steinberg::int32 index,
                                             Vst::NoteExpressionTypeInfo& info) override {
        if (index < 0 || index >= getNoteExpressionCount(bus, channel))
            return kInvalidArgument;
        const Expression& expression = expressions[index];
        info = {};
        info.typeId = expression.type;
        Steinberg::UString(info.title, textCapacity).fromAscii(expression.title);
        Steinberg::UString(info.units, textCapacity).fromAscii(expression.units);
        info.unitId = -1;
        info.valueDesc = {expression.defaultValue, 0, 1, 0};
        info.associatedParameterId = Vst::kNoParamId;
        info.flags = expression.flags;
        return kResultOk;
    }

    tresult PLUGIN_API getNoteExpressionStringByValue(Steinberg::int32, Steinberg::int16,
                                                      Vst::NoteExpressionTypeID type,
                                                      Vst::NoteExpressionValue value,
                                                      Vst::String128 text) override {
        if (type != Vst::kVolumeTypeID && type != Vst::kTuningTypeID)
            return kInvalidArgument;
        char shown[textCapacity];
        std::snprintf(shown, sizeof shown, "%.1f",
                      type == Vst::kVolumeTypeID ? 20 * std::log10(value * volumeScale)
                                                 : (value - tuningCentre) * tuningScale);
        Steinberg::UString(text, textCapacity).fromAscii(shown);
        return kResultOk;
    }

    tresult PLUGIN_API getNoteExpressionValueByString(Steinberg::int32, Steinberg::int16,
                                                      Vst::NoteExpressionTypeID type, const Vst::TChar* text,
                                                      Vst::NoteExpressionValue& value) override {
        if (text == nullptr || (type != Vst::kVolumeTypeID && type != Vst::kTuningTypeID))
            return kInvalidArgument;
        double shown = 0;
        if (!readNumber(text, shown))
            return kResultFalse;
        const double meant = type == Vst::kVolumeTypeID ? std::pow(10.0, shown / 20) / volumeScale
                                                        : shown / tuningScale + tuningCentre;
        // The text has the rounded value.
        constexpr double rounding = 0.006;
        if (!(meant >= -rounding && meant <= 1 + rounding))
            return kResultFalse;
        value = std::clamp(meant, 0.0, 1.0);
        return kResultOk;
    }

protected:
    void display(Vst::ParamID id, double value, char* text, size_t size) override {
        if (id == twinParameterId(bendParameter))
            Vst3Controller::display(id, value, text, size);
        else
            ToneSound::displayParameter(parameters.find(id), static_cast<float>(value), text, size);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Tone>(toneClass, "Tone", "Instrument|Synth"),
                            vst3Class<ToneController>(controllerClass, "Tone")});
}
