#include "render/Recording.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr mode_t allowedByUmask = 0666;

// A link stays, and its target is replaced.
fs::path behindLinks(const std::string& path) {
    std::error_code missing;
    fs::path target = fs::weakly_canonical(path, missing);
    return missing ? fs::path(path) : target;
}

} // namespace

Recording::Recording(const std::string& path, size_t channels, int32_t sampleRate)
    : name(path), target(behindLinks(path)), channels(channels) {
    std::error_code unknown;
    const bool inPlace = fs::exists(target, unknown) && !fs::is_regular_file(target, unknown);
    if (!inPlace)
        partial = target + "." + std::to_string(getpid()) + ".part";
    const int descriptor = inPlace
                               ? open(target.c_str(), O_WRONLY | O_CLOEXEC)
                               : open(partial.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, allowedByUmask);
    if (descriptor < 0) {
        const int reason = errno;
        partial.clear();
        fail(std::strerror(reason));
    }
    SF_INFO info{};
    info.channels = static_cast<int>(channels);
    info.samplerate = sampleRate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    file.reset(sf_open_fd(descriptor, SFM_WRITE, &info, SF_TRUE));
    if (file == nullptr) {
        const std::string reason = sf_strerror(nullptr);
        unlink(partial.c_str());
        fail(reason);
    }
    sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

Recording::~Recording() {
    if (!partial.empty())
        unlink(partial.c_str());
}

void Recording::add(const plugin_host::output& output, size_t frames) {
    interleaved.clear();
    for (size_t frame = 0; frame < frames; ++frame) {
        for (size_t channel = 0; channel < channels; ++channel)
            interleaved.push_back(output.channels[channel][frame]);
    }
    const auto count = static_cast<sf_count_t>(frames);
    if (sf_writef_float(file.get(), interleaved.data(), count) != count)
        fail(sf_strerror(file.get()));
}

void Recording::finish() {
    sf_command(file.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
    if (sf_error(file.get()) != SF_ERR_NO_ERROR)
        fail(sf_strerror(file.get()));
    if (const int error = sf_close(file.release()); error != SF_ERR_NO_ERROR)
        fail(sf_error_number(error));
    if (partial.empty())
        return;
    if (rename(partial.c_str(), target.c_str()) != 0)
        fail(std::strerror(errno));
    partial.clear();
}

void Recording::fail(const std::string& reason) const {
    throw std::runtime_error("Could not write " + name + ": " + reason);
}
