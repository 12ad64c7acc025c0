#pragma once

#include <functional>
#include <unistd.h>
#include <vector>

/// Stands in for the pauses between the host's looks for a plug-in's window: each returns at once and is
/// recorded. In force for a scope, one at a time. The linker leads the calls here (`--wrap`).
class HostPauses {
public:
    /// `onPause` gets the number of pauses so far, from 1, on the thread that pauses.
    explicit HostPauses(std::function<void(size_t count)> onPause = {});
    ~HostPauses();
    HostPauses(const HostPauses&) = delete;
    HostPauses& operator=(const HostPauses&) = delete;

    void add(useconds_t length);

    /// In microseconds. For the thread that pauses, or after a wait for it.
    std::vector<useconds_t> lengths;

private:
    std::function<void(size_t count)> onPause;
};
