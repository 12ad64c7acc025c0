#include "plugin/PluginBundle.h"

#include "core/FileSystem.h"

#include <vector>

using base::core::FileSystem;
using base::core::LocalFileSystem;

namespace {

constexpr int32_t bundleSuffixLength = 5;
constexpr const char* fixedFolder = "x86_64-linux";

/// The folders that a host of `width` has to itself; a 64-bit host's is the fixed one.
std::vector<const char*> foldersOf(HostWidth width) {
    if (width == HostWidth::bits32)
        return {"i386-linux", "i686-linux"};
    return {fixedFolder};
}

} // namespace

bool isVst3Path(const String& path) {
    return String::endsWith(path, "vst3");
}

String vst3Library(const String& path, HostWidth width, bool ownFolders) {
    FileSystem& files = LocalFileSystem::get();
    if (files.isFile(path))
        return path;
    std::vector<String> parts;
    String::split(path, U'/', parts);
    if (parts.empty() || parts.back().length() < bundleSuffixLength)
        return path;
    const String& last = parts.back();
    // Oddity bundle-library-path: cut by count, without a look at the suffix, and in the folder of the other
    // architecture, also for a 32-bit host.
    const String name = concat(String::substring(last, 0, last.length() - bundleSuffixLength), ".so");
    const String contents = files.join(path, "Contents");
    if (ownFolders) {
        for (const char* folder : foldersOf(width)) {
            String library = files.join(files.join(contents, folder), name);
            if (files.isFile(library))
                return library;
        }
    }
    return files.join(files.join(contents, fixedFolder), name);
}
