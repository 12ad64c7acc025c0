#pragma once

#include <cstdint>
#include <memory>
#include <plugin-host/client.hpp>
#include <sndfile.h>
#include <string>
#include <vector>

/// The output file, in the plug-in's channels. Written to a temporary file beside its place and renamed by
/// `finish`, so a failed rendering leaves an earlier one as it was. Anything but a regular file, such as a
/// device, is written in place.
class Recording {
public:
    /// Throws `std::runtime_error` for a file that can't be written, as all operations.
    Recording(const std::string& path, size_t channels, int32_t sampleRate);
    /// Removes the temporary file unless `finish` has renamed it.
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    void add(const plugin_host::output& output, size_t frames);
    /// Writes the rest and renames the file.
    void finish();

private:
    [[noreturn]] void fail(const std::string& reason) const;

    std::string name;   // as the user has given it
    std::string target; // behind all links
    std::string partial;
    size_t channels;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file{nullptr, sf_close};
    std::vector<float> interleaved;
};
