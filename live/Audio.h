#pragma once

#include <cstddef>
#include <span>
#include <vector>

/// Audio to read, from the frame `offset` of its channels on.
struct AudioSource {
    std::span<const float* const> channels;
    size_t offset = 0;
};

/// Fills channels from a source that may have another number of them. A mono source goes to the first two,
/// two become one by their mean; other channels keep their index, or are silent. Real-time safe.
void copyAudio(const AudioSource& from, std::span<float* const> to, size_t toOffset, size_t frames) noexcept;

/// Delays audio by a fixed number of frames. One thread at a time; only the constructor allocates.
class DelayLine {
public:
    /// For blocks and delays of up to `longest` frames.
    DelayLine(size_t channels, size_t longest);

    /// Silences the line.
    void setDelay(size_t frames) noexcept;
    /// A block of what was written `delay` frames earlier; valid until the next read. At most `delay` frames
    /// are ahead of what was written.
    AudioSource read(size_t frames) noexcept;
    /// Follows each read, with as many frames.
    void write(const AudioSource& block, size_t frames) noexcept;

private:
    size_t longest;
    size_t delay = 0;
    size_t place = 0; // where the next block is read
    std::vector<std::vector<float>> ring;
    std::vector<std::vector<float>> taken;
    std::vector<std::vector<float>> given;
    std::vector<const float*> takenChannels;
    std::vector<float*> givenChannels;
};
