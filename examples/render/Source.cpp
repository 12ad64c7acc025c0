#include "render/Source.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

namespace {

constexpr uint8_t noteOn = 0x90;
constexpr uint8_t noteOff = 0x80;
constexpr uint8_t velocity = 100;
constexpr uint8_t phrase[] = {60, 64, 67, 72, 76, 72, 67, 64, 60};
constexpr double fullCircle = 6.283185307179586;

void addNote(const Block& block, uint8_t status, uint8_t note, int64_t offset) {
    block.plugin.add_midi(static_cast<uint32_t>(offset), status, note, velocity);
}

} // namespace

Source::~Source() = default;

FileSource::FileSource(const std::string& path)
    : path(path), file(sf_open(path.c_str(), SFM_READ, &info), sf_close) {
    if (file == nullptr)
        throw std::runtime_error("Could not read " + path + ": " + sf_strerror(nullptr));
}

int64_t FileSource::fill(const Block& block) {
    const auto channels = static_cast<size_t>(info.channels);
    interleaved.assign(static_cast<size_t>(block.frames) * channels, 0.0F);
    const sf_count_t count = sf_readf_float(file.get(), interleaved.data(), block.frames);
    if (sf_error(file.get()) != SF_ERR_NO_ERROR)
        throw std::runtime_error("Could not read " + path + ": " + sf_strerror(file.get()));
    // A file shorter than its header says ends with its data.
    position = count < block.frames ? info.frames : position + count;
    for (size_t channel = 0; channel < block.input.channels.size(); ++channel) {
        const size_t from = std::min(channel, channels - 1);
        for (int32_t frame = 0; frame < block.frames; ++frame)
            block.input.channels[channel][frame] = interleaved[static_cast<size_t>(frame) * channels + from];
    }
    return info.frames - position;
}

void FileSource::rewind() {
    position = 0;
    sf_seek(file.get(), 0, SEEK_SET);
}

int64_t PingSource::fill(const Block& block) {
    for (int32_t frame = 0; frame < block.frames; ++frame, ++position) {
        for (float* channel : block.input.channels)
            channel[frame] = sampleAt(position);
    }
    return std::max<int64_t>(getLength() - position, 0);
}

float PingSource::sampleAt(int64_t frame) const {
    if (frame >= getLength())
        return 0;
    constexpr double pitches[] = {440, 554.37, 659.26}; // Hz
    const int64_t spacing = sampleRate / 2;
    const double seconds = static_cast<double>(frame % spacing) / sampleRate;
    const double pitch = pitches[static_cast<size_t>(frame / spacing) % std::size(pitches)];
    return static_cast<float>(0.5 * std::exp(-12 * seconds) * std::sin(fullCircle * pitch * seconds));
}

int64_t PhraseSource::fill(const Block& block) {
    const int64_t end = position + block.frames;
    for (size_t i = 0; i < std::size(phrase); ++i) {
        const int64_t start = static_cast<int64_t>(i) * noteFrames();
        const int64_t stop = start + noteFrames();
        if (start >= position && start < end)
            addNote(block, noteOn, phrase[i], start - position);
        if (stop >= position && stop < end)
            addNote(block, noteOff, phrase[i], stop - position);
    }
    position = end;
    return std::max<int64_t>(getLength() - position, 0);
}

int64_t PhraseSource::getLength() const {
    return noteFrames() * static_cast<int64_t>(std::size(phrase)) + 1;
}
