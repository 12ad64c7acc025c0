#include "support/Figures.h"

#include <algorithm>
#include <stdexcept>

Figures Figures::of(std::vector<double> samples) {
    if (samples.empty())
        throw std::logic_error("Nothing was measured");
    std::sort(samples.begin(), samples.end());
    const size_t count = samples.size();
    return {samples.front(), samples[count / 2], samples[count * 99 / 100], samples.back()};
}
