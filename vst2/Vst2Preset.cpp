// The part of `Vst2PluginInstance` that loads and saves preset files.

#include "core/FileSystem.h"
#include "vst2/Vst2PluginInstance.h"
#include "vst2/Vst2PresetReader.h"
#include "vst2/Vst2PresetWriter.h"

#include <new>

namespace {

/// Lets no notification out of an instance while the host drives its plug-in.
class Muting : public NonCopyable, public NonMovable {
public:
    explicit Muting(PluginInstance& instance) : instance(instance) { instance.notificationsMuted = true; }
    ~Muting() { instance.notificationsMuted = false; }

private:
    PluginInstance& instance;
};

std::vector<uint8_t> readFile(const String& path) {
    base::core::FileSystem& files = base::core::LocalFileSystem::get();
    const Ref<InputStream> stream = files.openForReading(path);
    std::vector<uint8_t> file(static_cast<size_t>(files.getFileSize(path)));
    stream->readFully(file.data(), file.size());
    return file;
}

bool endsWith(const String& path, const char* ending) {
    return String::endsWith(path, ending);
}

} // namespace

void Vst2PluginInstance::loadPreset(const String& path) try {
    allParametersChanged = false;
    if (endsWith(path, ".fxp") || endsWith(path, ".fxb"))
        loadBankOrProgram(path);
    else if (endsWith(path, ".h2p"))
        Vst2PresetReader(*effect, readFile(path)).readText();
    else if (endsWith(path, ".nksf"))
        Vst2PresetReader(*effect, readFile(path)).readRiff();
    else
        Vst2PresetReader(*effect, readFile(path)).readChunk();
    // An effect that has reported by itself has already had the client told.
    if (!allParametersChanged)
        notifyAllParametersChanged();
} catch (const std::bad_alloc&) {
    throw IOException(concat("Out of memory for ", path));
}

void Vst2PluginInstance::loadBankOrProgram(const String& path) try {
    const Muting muting(*this);
    Vst2PresetReader(*effect, readFile(path)).readBankOrProgram();
} catch (const Exception& exception) {
    throw IOException(concat("Error loading vst2 bank/preset: ", exception.getMessage()));
}

void Vst2PluginInstance::savePreset(const String& path) try {
    const Muting muting(*this);
    Vst2PresetWriter writer(*effect);
    writer.fetchChunk();
    const Ref<OutputStream> stream = base::core::LocalFileSystem::get().openForWriting(path, false);
    writer.writeBank(*stream);
    stream->close();
} catch (const Exception& exception) {
    throw IOException(concat("Error saving vst2 preset \"", path, "\": ", exception.getMessage()));
}
