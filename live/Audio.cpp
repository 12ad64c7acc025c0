#include "Audio.h"

#include <algorithm>

void copyAudio(const AudioSource& from, std::span<float* const> to, size_t toOffset, size_t frames) noexcept {
    const auto source = [&](size_t channel) { return from.channels[channel] + from.offset; };
    const bool isMono = from.channels.size() == 1;
    for (size_t channel = 0; channel < to.size(); ++channel) {
        float* const target = to[channel] + toOffset;
        if (to.size() == 1 && from.channels.size() > 1)
            std::transform(source(0), source(0) + frames, source(1), target,
                           [](float left, float right) { return (left + right) / 2; });
        else if (channel < from.channels.size() || (isMono && channel == 1))
            std::copy_n(source(isMono ? 0 : channel), frames, target);
        else
            std::fill_n(target, frames, 0.0F);
    }
}

DelayLine::DelayLine(size_t channels, size_t longest)
    : longest(longest), ring(channels, std::vector<float>(2 * longest)),
      taken(channels, std::vector<float>(longest)), given(taken) {
    for (size_t channel = 0; channel < channels; ++channel) {
        takenChannels.push_back(taken[channel].data());
        givenChannels.push_back(given[channel].data());
    }
}

void DelayLine::setDelay(size_t frames) noexcept {
    delay = std::min(frames, longest);
    place = 0;
    for (std::vector<float>& channel : ring)
        std::fill(channel.begin(), channel.end(), 0.0F);
}

AudioSource DelayLine::read(size_t frames) noexcept {
    const size_t size = 2 * longest;
    for (size_t channel = 0; channel < ring.size(); ++channel) {
        for (size_t frame = 0; frame < frames; ++frame)
            taken[channel][frame] = ring[channel][(place + frame) % size];
    }
    return {takenChannels, 0};
}

void DelayLine::write(const AudioSource& block, size_t frames) noexcept {
    const size_t size = 2 * longest;
    copyAudio(block, givenChannels, 0, frames);
    for (size_t channel = 0; channel < ring.size(); ++channel) {
        for (size_t frame = 0; frame < frames; ++frame)
            ring[channel][(place + delay + frame) % size] = given[channel][frame];
    }
    place = (place + frames) % size;
}
