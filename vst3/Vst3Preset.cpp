// The part of `Vst3PluginInstance` that reads and writes preset files, in the published vstpreset format. The
// SDK's own reader and writer work on a file that is opened here. A file that isn't a preset, or is one of
// another class, leaves the plug-in as it was without a word, as does a plug-in that refuses its state:
// deliberate, users try presets out.

#include "vst3/Vst3PluginInstance.h"

#include <public.sdk/source/vst/vstpresetfile.h>

namespace {

/// Closes the file with its last release.
IPtr<Steinberg::IBStream> openFile(const String& path, const char* mode) {
    return Steinberg::owned(Vst::FileStream::open(path.toStdString().c_str(), mode));
}

} // namespace

void Vst3PluginInstance::savePreset(const String& path) {
    const IPtr<Steinberg::IBStream> stream = openFile(path, "wb");
    if (!stream)
        throw IOException(concat("Error opening VST3 preset for writing: ", path));
    if (!component || !Vst::PresetFile::savePreset(stream, classId, component, controller))
        throw IOException(concat("Error saving VST3 preset: ", path));
}

void Vst3PluginInstance::loadPreset(const String& path) {
    const IPtr<Steinberg::IBStream> stream = openFile(path, "rb");
    if (!stream)
        throw IOException(concat("Error opening VST3 preset for reading: ", path));
    if (component)
        Vst::PresetFile::loadPreset(stream, classId, component, controller);
}
