#pragma once

#include <cstdint>
#include <memory>
#include <plugin-host/client.hpp>
#include <sndfile.h>
#include <string>
#include <vector>

/// A block of a plug-in that has begun.
struct Block {
    plugin_host::plugin& plugin;
    plugin_host::input input;
    int32_t frames;
};

/// The input of a plug-in, block by block.
class Source {
public:
    virtual ~Source();

    /// Adds the next block's input audio and events, with silence past the end. Returns the frames that are
    /// left after it. Throws `std::runtime_error` if the file can't be read.
    virtual int64_t fill(const Block& block) = 0;
    virtual void rewind() = 0;
    /// In frames.
    virtual int64_t getLength() const = 0;
    /// In Hz.
    virtual int32_t getSampleRate() const = 0;
};

/// An audio file. Its channels go to the plug-in's of the same index, the last one also to all further ones.
class FileSource : public Source {
public:
    /// Throws `std::runtime_error` for a file that can't be read.
    explicit FileSource(const std::string& path);

    int64_t fill(const Block& block) override;
    void rewind() override;
    int64_t getLength() const override { return info.frames; }
    int32_t getSampleRate() const override { return info.samplerate; }

private:
    std::string path;
    SF_INFO info{};
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file;
    std::vector<float> interleaved;
    int64_t position = 0;
};

/// Three seconds of decaying pings, for effects.
class PingSource : public Source {
public:
    explicit PingSource(int32_t sampleRate) : sampleRate(sampleRate) {}

    int64_t fill(const Block& block) override;
    void rewind() override { position = 0; }
    int64_t getLength() const override { return int64_t{sampleRate} * 3; }
    int32_t getSampleRate() const override { return sampleRate; }

private:
    float sampleAt(int64_t frame) const;

    int32_t sampleRate;
    int64_t position = 0;
};

/// A short phrase of notes, for instruments.
class PhraseSource : public Source {
public:
    explicit PhraseSource(int32_t sampleRate) : sampleRate(sampleRate) {}

    int64_t fill(const Block& block) override;
    void rewind() override { position = 0; }
    int64_t getLength() const override;
    int32_t getSampleRate() const override { return sampleRate; }

private:
    int64_t noteFrames() const { return sampleRate / 4; }

    int32_t sampleRate;
    int64_t position = 0;
};
