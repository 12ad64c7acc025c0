#include "app/PluginList.h"

#include "core/FileSystem.h"
#include "core/Log.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

using base::core::FileSystem;
using base::core::LocalFileSystem;
using base::core::logError;

namespace {

/// A path whose status can't be read counts as a file, so a broken link is listed.
bool isFolder(const String& path) {
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(path.toStdString(), failure);
    if (status.type() == std::filesystem::file_type::none)
        logError("Could not look at \"", path, "\": ", failure.message().c_str());
    return std::filesystem::is_directory(status);
}

/// Reads all names before going deeper: an open folder for each level could exhaust the descriptors.
std::vector<std::string> namesIn(const String& folder) {
    std::vector<std::string> names;
    std::error_code failure;
    std::filesystem::directory_iterator entry(folder.toStdString(), failure);
    while (entry != std::filesystem::directory_iterator()) {
        names.push_back(entry->path().filename().string());
        entry.increment(failure);
    }
    if (failure)
        logError("Could not read folder \"", folder, "\": ", failure.message().c_str());
    return names;
}

/// False for a name that isn't UTF-8, which no request could load either.
bool decodeName(const std::string& name, String& decoded) {
    try {
        decoded = name.c_str();
        return true;
    } catch (const IOException&) {
        return false;
    }
}

} // namespace

void listPlugins(const String& path, OutputStream& stream) {
    if (isFolder(path)) {
        for (const std::string& name : namesIn(path)) {
            String decoded;
            if (decodeName(name, decoded))
                listPlugins(LocalFileSystem::get().join(path, decoded), stream);
            else
                logError("Could not list \"", name.c_str(), "\" in \"", path, "\": Its name is no UTF-8");
        }
        return;
    }
    const int32_t separator = String::lastIndexOf(path, FileSystem::separator);
    const String name =
        separator == String::notFound ? path : String::substring(path, separator + 1, String::notFound);
    if (String::endsWith(name, ".so"))
        stream.printLine(path);
}
