#include "app/PluginList.h"

#include "core/FileSystem.h"

using base::core::FileSystem;
using base::core::LocalFileSystem;

void listPlugins(const String& path, OutputStream& stream) {
    FileSystem& files = LocalFileSystem::get();
    if (files.isDirectory(path)) {
        for (const String& name : files.listFiles(path))
            listPlugins(files.join(path, name), stream);
        return;
    }
    const int32_t separator = String::lastIndexOf(path, FileSystem::separator);
    const String name =
        separator == String::notFound ? path : String::substring(path, separator + 1, String::notFound);
    if (String::endsWith(name, ".so"))
        stream.printLine(path);
}
