#pragma once

#include <chrono>
#include <cstdint>
#include <plugin-host/client.hpp>
#include <vector>

/// Loudness of the output, and the round-trip time of each block.
class Measurements {
public:
    using Duration = std::chrono::duration<double, std::micro>;

    void addBlock(const plugin_host::output& output, size_t frames, Duration roundTrip);
    /// Prints the figures to the standard output.
    void print() const;

private:
    double peak = 0;
    double sumOfSquares = 0;
    int64_t samples = 0;
    std::vector<Duration> roundTrips;
};

/// A progress bar on the terminal; none if stderr isn't a terminal.
class ProgressBar {
public:
    explicit ProgressBar(int64_t total);
    ~ProgressBar();

    void show(int64_t done);

private:
    int64_t total;
    bool onTerminal;
    int64_t shownPercent = -1;
};
