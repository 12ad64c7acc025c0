// The part of `Vst2PluginInstance` that loads and saves preset files.

#include "core/FileSystem.h"
#include "plugin/MutedNotifications.h"
#include "vst2/Vst2PluginInstance.h"
#include "vst2/Vst2PresetReader.h"
#include "vst2/Vst2PresetWriter.h"

#include <limits>
#include <new>

namespace {

/// Bytes. Sizes in the published forms and of chunks are int32, and the reader appends one byte.
constexpr int64_t largestFile = std::numeric_limits<int32_t>::max() - 1;

std::vector<uint8_t> readFile(const String& path) {
    base::core::FileSystem& files = base::core::LocalFileSystem::get();
    const Ref<InputStream> stream = files.openForReading(path);
    const int64_t size = files.getFileSize(path);
    if (size > largestFile)
        throw IOException(concat("File is too large for a preset: ", path));
    std::vector<uint8_t> file;
    // The reader appends a zero.
    file.reserve(static_cast<size_t>(size) + 1);
    file.resize(static_cast<size_t>(size));
    stream->readFully(file.data(), file.size());
    return file;
}

String outOfMemory(const String& path) {
    return concat("Out of memory for ", path);
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
    // Unless the effect has reported the change itself.
    if (!allParametersChanged)
        notifyAllParametersChanged();
} catch (const std::bad_alloc&) {
    throw IOException(outOfMemory(path));
}

void Vst2PluginInstance::loadBankOrProgram(const String& path) try {
    const MutedNotifications muted(*this);
    Vst2PresetReader(*effect, readFile(path)).readBankOrProgram();
} catch (const Exception& exception) {
    throw IOException(concat("Error loading vst2 bank/preset: ", exception.getMessage()));
} catch (const std::bad_alloc&) {
    throw IOException(concat("Error loading vst2 bank/preset: ", outOfMemory(path)));
}

void Vst2PluginInstance::savePreset(const String& path) try {
    const MutedNotifications muted(*this);
    Vst2PresetWriter writer(*effect);
    writer.fetchChunk();
    const Ref<OutputStream> stream = base::core::LocalFileSystem::get().openForWriting(path, false);
    writer.writeBank(*stream);
    stream->close();
} catch (const Exception& exception) {
    throw IOException(concat("Error saving vst2 preset \"", path, "\": ", exception.getMessage()));
}
