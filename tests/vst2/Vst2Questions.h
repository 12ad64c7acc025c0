#pragma once

#include "vst2/Vst2Fixture.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

/// An effect that answers what an instance asks of it on behalf of its client.
class Vst2Questions : public Vst2Test {
protected:
    std::vector<std::string> outputBuses() { return describe(instance->getOutputBuses()); }
    std::vector<std::string> inputBuses() { return describe(instance->getInputBuses()); }

    static std::vector<std::string> describe(const std::vector<Ref<PluginAudioBus>>& buses) {
        std::vector<std::string> texts;
        for (const Ref<PluginAudioBus>& bus : buses) {
            std::string text = bus->name.toStdString() + ":";
            for (const int32_t channel : bus->channels)
                text += " " + std::to_string(channel);
            texts.push_back(text);
        }
        return texts;
    }

    // Answers the pins from 0 on: 's' stereo, 'm' mono, named after its channel.
    void answerPins(VstInt32 opcode, const std::string& kinds) {
        effect.answer(opcode, [kinds](const test_support::DispatcherCall& call, void* ptr) -> VstIntPtr {
            const auto channel = static_cast<size_t>(call.index);
            if (channel >= kinds.size() || kinds[channel] == '-')
                return 0;
            auto& pin = *static_cast<VstPinProperties*>(ptr);
            std::strcpy(pin.label, ("Pin " + std::to_string(channel)).c_str());
            pin.flags = kinds[channel] == 's' ? kVstPinIsStereo : kVstPinIsActive | kVstPinUseSpeaker;
            return 1;
        });
    }

    void answerProperties(const VstParameterProperties& properties, VstIntPtr answer = 1) {
        effect.answer(effGetParameterProperties,
                      [properties, answer](const test_support::DispatcherCall&, void* ptr) -> VstIntPtr {
                          *static_cast<VstParameterProperties*>(ptr) = properties;
                          return answer;
                      });
    }

    void answerKeyName(const std::string& name, VstIntPtr answer) {
        effect.answer(effGetMidiKeyName,
                      [this, name, answer](const test_support::DispatcherCall&, void* ptr) -> VstIntPtr {
                          auto& key = *static_cast<MidiKeyName*>(ptr);
                          askedKey = key;
                          name.copy(key.keyName, sizeof key.keyName);
                          return answer;
                      });
    }

    std::string parameterName(int32_t index) {
        char buffer[256] = {};
        instance->getParameterName(index, buffer, sizeof buffer);
        return buffer;
    }

    ParameterProperties propertiesOf(int32_t index) {
        ParameterProperties properties;
        instance->getParameterProperties(index, properties);
        return properties;
    }

    MidiKeyName askedKey{};
};
