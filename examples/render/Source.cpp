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

void addNote(PluginAudioContext& context, uint8_t status, uint8_t note, int64_t offset) {
    context.addMidiEvent(static_cast<uint16_t>(offset), status, note, velocity);
}

} // namespace

Source::~Source() = default;

FileSource::FileSource(const std::string& path)
    : path(path), file(sf_open(path.c_str(), SFM_READ, &info), sf_close) {
    if (file == nullptr)
        throw std::runtime_error("Could not read " + path + ": " + sf_strerror(nullptr));
}

int64_t FileSource::fill(PluginAudioContext& context) {
    const auto channels = static_cast<size_t>(info.channels);
    interleaved.assign(static_cast<size_t>(context.blockSize) * channels, 0.0F);
    const sf_count_t count = sf_readf_float(file.get(), interleaved.data(), context.blockSize);
    if (sf_error(file.get()) != SF_ERR_NO_ERROR)
        throw std::runtime_error("Could not read " + path + ": " + sf_strerror(file.get()));
    // A file shorter than its header says ends with its data.
    position = count < context.blockSize ? info.frames : position + count;
    for (int32_t channel = 0; channel < context.inputChannelCount; ++channel) {
        const size_t from = std::min(static_cast<size_t>(channel), channels - 1);
        for (int32_t frame = 0; frame < context.blockSize; ++frame)
            context.inputChannel(channel)[frame] = interleaved[static_cast<size_t>(frame) * channels + from];
    }
    return info.frames - position;
}

void FileSource::rewind() {
    position = 0;
    sf_seek(file.get(), 0, SEEK_SET);
}

int64_t PingSource::fill(PluginAudioContext& context) {
    for (int32_t frame = 0; frame < context.blockSize; ++frame, ++position) {
        for (int32_t channel = 0; channel < context.inputChannelCount; ++channel)
            context.inputChannel(channel)[frame] = sampleAt(position);
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

int64_t PhraseSource::fill(PluginAudioContext& context) {
    const int64_t end = position + context.blockSize;
    for (size_t i = 0; i < std::size(phrase); ++i) {
        const int64_t start = static_cast<int64_t>(i) * noteFrames();
        const int64_t stop = start + noteFrames();
        if (start >= position && start < end)
            addNote(context, noteOn, phrase[i], start - position);
        if (stop >= position && stop < end)
            addNote(context, noteOff, phrase[i], stop - position);
    }
    position = end;
    return std::max<int64_t>(getLength() - position, 0);
}

int64_t PhraseSource::getLength() const {
    return noteFrames() * static_cast<int64_t>(std::size(phrase)) + 1;
}
