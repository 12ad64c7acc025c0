#pragma once

#include <vector>

/// Summary of a repeated measurement, in the unit of its samples.
struct Figures {
    double shortest = 0;
    double median = 0;
    double percentile99 = 0;
    double longest = 0;

    /// Of at least one sample.
    static Figures of(std::vector<double> samples);
    /// Of a single measurement.
    static Figures once(double value) { return {value, value, value, value}; }

    bool isSingle() const { return shortest == longest; }
};
