#pragma once

#include <vector>

/// What is told of a measurement that was made again and again, in the unit of its samples.
struct Figures {
    double shortest = 0;
    double median = 0;
    double percentile99 = 0;
    double longest = 0;

    /// Of at least one sample.
    static Figures of(std::vector<double> samples);
    /// Of a quantity that was measured once.
    static Figures once(double value) { return {value, value, value, value}; }

    bool isSingle() const { return shortest == longest; }
};
