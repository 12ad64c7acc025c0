#pragma once

#include "plugin/PluginAudioContext.h"

#include <cstdint>
#include <memory>
#include <sndfile.h>
#include <string>
#include <vector>

/// The output file, in the plug-in's channels. It is written beside the file that it is to replace and takes
/// its name by `finish` alone, so a rendering that fails leaves an earlier one as it was. What is no regular
/// file, such as a device, is written in place.
class Recording {
public:
    /// Throws `std::runtime_error` for a file that can't be written, as the other operations do.
    Recording(const std::string& path, int32_t channels, int32_t sampleRate);
    /// Removes what `finish` hasn't completed.
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    void add(const PluginAudioContext& context, int32_t frames);
    /// Writes what is left and puts the file in its place.
    void finish();

private:
    [[noreturn]] void fail(const std::string& reason) const;

    std::string name;   // as the user has given it
    std::string target; // behind all links
    std::string partial;
    int32_t channels;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file{nullptr, sf_close};
    std::vector<float> interleaved;
};
