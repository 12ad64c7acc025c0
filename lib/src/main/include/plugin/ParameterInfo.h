#pragma once

#include "plugin/WireRecord.h"

#include <cstdint>

/// One parameter, as sent to the client.
class ParameterInfo : public Object {
public:
    static constexpr const char* wireName = "parameter";

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
    /// Whether `minInteger` and `maxInteger` are valid.
    bool usesIntegerRange = false;
    /// The number that the client shows for the parameter.
    int32_t id = 0;
    int32_t minInteger = 0;
    int32_t maxInteger = 0;
    /// Group heading; VST 2 only.
    String category;
    /// VST 3 only.
    String shortName;

    static constexpr auto fields() {
        using Info = ParameterInfo;
        return wire::fields(
            wire::string("name", &Info::name), wire::string("shortName", &Info::shortName),
            wire::string("display", &Info::display), wire::string("label", &Info::label),
            wire::string("category", &Info::category), wire::number("value", &Info::value),
            wire::int32n("id", &Info::id), wire::boolean("canBeAutomated", &Info::canBeAutomated),
            wire::boolean("isSwitch", &Info::isSwitch),
            wire::boolean("usesIntegerRange", &Info::usesIntegerRange),
            wire::int32n("minInteger", &Info::minInteger), wire::int32n("maxInteger", &Info::maxInteger));
    }
};

/// The part of `ParameterInfo` that an instance fills in one call.
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
