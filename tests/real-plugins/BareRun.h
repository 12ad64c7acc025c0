#pragma once

// What the bare loaders of both formats have in common: a run that says in one line how it went, whatever the
// plug-in does, and the buffers of a block.

#include "real-plugins/Score.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bare {

/// What is being done, for the line that a signal or an exit leaves behind.
extern const char* volatile stage;

[[noreturn]] void fail(const char* what);

/// What a plug-in is put to besides being played.
enum class Task { none, varyParameters, restoreState, openEditor };

/// What a plug-in is, and what came out of it.
struct Findings {
    const char* entry;
    std::int32_t inputs;
    std::int32_t outputs;
    std::int32_t parameters;
    std::int32_t programs;
    bool isInstrument;
    /// The largest magnitude.
    float peak;
    /// The parameters whose values didn't come back with the state.
    std::vector<std::int32_t> lost = {};
};

/// Runs a program: `[--vary|--preset|--editor] FILE`.
int run(int argc, char* argv[], Findings (*play)(const char* file, Task task));

/// A value in the other half of the range, which a switch knows too.
inline float otherValue(float value) {
    return value < 0.5F ? 0.75F : 0.25F;
}

/// The indices at which the values have become others.
std::vector<std::int32_t> findLost(const std::vector<float>& before, const std::vector<float>& after);

/// The buffers of some channels, each between two zones that nobody may write to.
class Channels {
public:
    explicit Channels(std::int32_t count);

    /// Never null, also with no channels: plug-ins look at the array before they look at the count.
    [[nodiscard]] float** array() { return pointers.empty() ? &none : pointers.data(); }

    template <typename Frame>
    void fill(Frame valueAt) {
        for (float* channel : pointers) {
            for (std::int32_t frame = 0; frame < score::blockSize; ++frame) {
                channel[frame] = valueAt(frame);
            }
        }
    }

    void check(const char* broken) const;

    /// The largest magnitude in the buffers.
    [[nodiscard]] float peak() const;

private:
    std::vector<std::vector<float>> storage;
    std::vector<float*> pointers;
    float* none = nullptr;
};

} // namespace bare
