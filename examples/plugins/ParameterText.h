#pragma once

/// What is told of a parameter in either format. The value is normalised.
struct ParameterText {
    const char* name;
    const char* label;
    float defaultValue;
};
