#pragma once

// Common to the VST 3 twins of this tree's examples.

#include "plugins/ParameterText.h"
#include "plugins/Vst3Component.h"

#include <span>

/// The id of a twin's parameter. Differs from its index, so that a host which confuses the two fails.
constexpr Vst::ParamID twinParameterId(int32_t index) {
    return 1000 + static_cast<Vst::ParamID>(index);
}

inline std::vector<Vst3Parameter> twinParameters(std::span<const ParameterText> texts) {
    std::vector<Vst3Parameter> parameters;
    for (const ParameterText& text : texts)
        parameters.push_back({.id = twinParameterId(static_cast<int32_t>(parameters.size())),
                              .title = text.name,
                              .units = text.label,
                              .defaultValue = text.defaultValue});
    return parameters;
}

inline float twinValue(const Vst3Parameters& parameters, int32_t index) {
    return static_cast<float>(parameters.get(twinParameterId(index)));
}

/// Whether a block's first bus has two channels. A host may send a block without audio, for the parameters
/// alone.
inline bool isStereo(const Vst::AudioBusBuffers* buses, int32_t count) {
    return count > 0 && buses->numChannels == 2;
}
