#include "render/Measurements.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <span>
#include <string>
#include <unistd.h>

namespace {

double decibels(double amplitude) {
    return 20 * std::log10(std::max(amplitude, 1e-10));
}

} // namespace

void Measurements::addBlock(const plugin_host::output& output, size_t frames, Duration roundTrip) {
    roundTrips.push_back(roundTrip);
    for (const float* channel : output.channels) {
        for (const double sample : std::span(channel, frames)) {
            peak = std::max(peak, std::abs(sample));
            sumOfSquares += sample * sample;
        }
        samples += static_cast<int64_t>(frames);
    }
}

void Measurements::print() const {
    if (roundTrips.empty())
        return;
    std::vector<Duration> sorted = roundTrips;
    std::sort(sorted.begin(), sorted.end());
    const Duration total = std::accumulate(sorted.begin(), sorted.end(), Duration(0));
    const double rms = samples > 0 ? std::sqrt(sumOfSquares / static_cast<double>(samples)) : 0;
    std::printf("peak              %8.2f dBFS\n", decibels(peak));
    std::printf("RMS               %8.2f dBFS\n", decibels(rms));
    std::printf("blocks a second   %8.0f\n", static_cast<double>(sorted.size()) / (total.count() / 1e6));
    std::printf("block round trip  %8.1f us median, %.1f us 99th percentile, %.1f us longest\n",
                sorted[sorted.size() / 2].count(), sorted[sorted.size() * 99 / 100].count(),
                sorted.back().count());
}

ProgressBar::ProgressBar(int64_t total) : total(std::max<int64_t>(total, 1)), onTerminal(isatty(2) != 0) {}

ProgressBar::~ProgressBar() {
    if (onTerminal)
        std::fputs("\r\033[K", stderr);
}

void ProgressBar::show(int64_t done) {
    constexpr int64_t width = 50;
    const int64_t percent = std::clamp<int64_t>(done * 100 / total, 0, 100);
    if (!onTerminal || percent == shownPercent)
        return;
    shownPercent = percent;
    const auto filled = static_cast<size_t>(percent * width / 100);
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
    std::fprintf(stderr, "\r[%s] %3d%%", bar.c_str(), static_cast<int>(percent));
}
