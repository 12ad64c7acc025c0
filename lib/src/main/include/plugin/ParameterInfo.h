#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

/// What the client knows of one parameter.
class ParameterInfo : public Object {
public:
    ~ParameterInfo() override;

    String name;
    /// The unit, as in "dB".
    String label;
    /// The current value as text.
    String display;
    /// Normalised.
    float value = 0;
    bool canBeAutomated = false;
    /// Two states only.
    bool isSwitch = false;
    /// Whether `minInteger` and `maxInteger` hold.
    bool usesIntegerRange = false;
    /// The number that the client shows the parameter under.
    int32_t id = 0;
    int32_t minInteger = 0;
    int32_t maxInteger = 0;
    /// Group heading; VST 2 only.
    String category;
    /// VST 3 only.
    String shortName;
};

/// The part of `ParameterInfo` that an instance answers in one go.
struct ParameterProperties {
    bool canBeAutomated = false;
    int32_t id = 0;
    bool usesIntegerRange = false;
    bool isSwitch = false;
    int32_t minInteger = 0;
    int32_t maxInteger = 0;
    String category;
    String shortName;
};
