// The part of `Vst3PluginInstance` that reads and writes preset files, in the published vstpreset format. The
// SDK's own reader and writer work on a file that is opened here. Oddity preset-refused-silently: a file that
// isn't a preset, or is one of another class, leaves the plug-in as it was and is no failure, nor is a
// plug-in that refuses its state.

#include "vst3/Vst3PluginInstance.h"

#include <cstdio>
#include <fcntl.h>
#include <public.sdk/source/vst/vstpresetfile.h>
#include <unistd.h>

namespace {

/// A file that is overwritten. The last release closes it and can't report a failure: call `isWritten`
/// before.
class WrittenFile : public Vst::FileStream {
public:
    /// Null if the file can't be opened.
    static IPtr<WrittenFile> create(const String& path) {
        FILE* opened = std::fopen(path.toStdString().c_str(), "wb");
        return opened != nullptr ? Steinberg::owned(new WrittenFile(opened)) : IPtr<WrittenFile>();
    }

    /// Whether the system has taken all that was written, also where the writer ignored a failure.
    bool isWritten() { return std::fflush(file) == 0 && std::ferror(file) == 0 && closesWithoutFailure(); }

private:
    using FileStream::FileStream;

    // Network file systems may report a full disk only when a descriptor of the file is closed: a duplicate
    // of the stream's own will do.
    bool closesWithoutFailure() const {
        const int second = fcntl(fileno(file), F_DUPFD_CLOEXEC, 0);
        return second < 0 || close(second) == 0;
    }
};

} // namespace

void Vst3PluginInstance::savePreset(const String& path) {
    const IPtr<WrittenFile> stream = WrittenFile::create(path);
    if (!stream)
        throw IOException(concat("Error opening VST3 preset for writing: ", path));
    const bool isSaved = component && Vst::PresetFile::savePreset(stream, classId, component, controller);
    if (!isSaved || !stream->isWritten())
        throw IOException(concat("Error saving VST3 preset: ", path));
}

void Vst3PluginInstance::loadPreset(const String& path) {
    const IPtr<Steinberg::IBStream> stream =
        Steinberg::owned(Vst::FileStream::open(path.toStdString().c_str(), "rb"));
    if (!stream)
        throw IOException(concat("Error opening VST3 preset for reading: ", path));
    if (component)
        Vst::PresetFile::loadPreset(stream, classId, component, controller);
}
