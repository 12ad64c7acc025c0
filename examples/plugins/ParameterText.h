#pragma once

/// The texts of a parameter, for both formats. The value is normalised.
struct ParameterText {
    const char* name;
    const char* label;
    float defaultValue;
};
