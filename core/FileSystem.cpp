#include "core/FileSystem.h"

#include "core/BufferedStreams.h"
#include "core/Exception.h"
#include "core/FileStreams.h"

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace base::core {
namespace {

// Oddity directory-mode-0776: others may read and write such a directory, but not enter it.
constexpr mode_t directoryMode = 0776;

bool queryStatus(const String& path, struct stat& status) {
    return stat(path.toStdString().c_str(), &status) == 0;
}

IOException openFailure(const String& path, const char* purpose) {
    return IOException(concat("Could not open file \"", path, "\" for ", purpose, ": ", lastErrorMessage()));
}

} // namespace

LocalFileSystem& LocalFileSystem::get() {
    static const Ref<LocalFileSystem>& fileSystem = *new Ref<LocalFileSystem>(new LocalFileSystem);
    return *fileSystem;
}

String LocalFileSystem::join(const String& directory, const String& name) {
    StringBuilder path(directory);
    if (!directory.isEmpty() && directory[directory.length() - 1] != separator)
        path.append(separator);
    path.append(name);
    return path.toString();
}

std::vector<String> LocalFileSystem::listFiles(const String& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.toStdString().c_str()), closedir);
    if (entries == nullptr)
        throw IOException("listFiles failed, opendir returned nullptr");
    std::vector<String> names;
    while (const dirent* entry = readdir(entries.get())) {
        const String name(entry->d_name);
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

String LocalFileSystem::getParent(const String& path) {
    const int32_t last = String::lastIndexOf(path, separator);
    if (last == String::notFound)
        return {};
    return String::substring(path, 0, last == 0 ? 1 : last);
}

String LocalFileSystem::normalize(const String& path) {
    std::vector<String> given;
    String::split(isAbsolutePath(path) ? path : join(currentDirectory(), path), separator, given);
    std::vector<String> kept;
    for (const String& part : given) {
        if (part == "..") {
            if (!kept.empty())
                kept.pop_back();
        } else if (!part.isEmpty() && part != ".") {
            kept.push_back(part);
        }
    }
    StringBuilder normalized;
    for (const String& part : kept) {
        normalized.append(separator);
        normalized.append(part);
    }
    if (kept.empty())
        normalized.append(separator);
    return normalized.toString();
}

bool LocalFileSystem::exists(const String& path) {
    struct stat status {};
    return queryStatus(path, status);
}

bool LocalFileSystem::isFile(const String& path) {
    struct stat status {};
    return queryStatus(path, status) && S_ISREG(status.st_mode);
}

void LocalFileSystem::deleteFile(const String& path) {
    unlink(path.toStdString().c_str());
}

int64_t LocalFileSystem::getFileSize(const String& path) {
    struct stat status {};
    if (!queryStatus(path, status))
        throw IOException(concat("Could not determine size of file ", path, ": ", lastErrorMessage()));
    return status.st_size;
}

bool LocalFileSystem::isDirectory(const String& path) {
    struct stat status {};
    return queryStatus(path, status) && S_ISDIR(status.st_mode);
}

void LocalFileSystem::createDirectory(const String& path) {
    if (mkdir(path.toStdString().c_str(), directoryMode) != 0)
        throw IOException(concat("Could not create directory ", path, ": ", lastErrorMessage()));
}

void LocalFileSystem::createDirectories(const String& path) {
    if (path.isEmpty() || isDirectory(path))
        return;
    createDirectories(getParent(path));
    try {
        createDirectory(path);
    } catch (const IOException&) {
        // It may exist by now: made by another process, or as the parent in a path such as "a/b/".
        if (!isDirectory(path))
            throw;
    }
}

void LocalFileSystem::deleteDirectory(const String& path) {
    if (rmdir(path.toStdString().c_str()) != 0)
        throw IOException(concat("Could not delete directory ", path, ": ", lastErrorMessage()));
}

bool LocalFileSystem::isAbsolutePath(const String& path) {
    return !path.isEmpty() && path[0] == separator;
}

Ref<InputStream> LocalFileSystem::openForReading(const String& path) {
    FILE* file = std::fopen(path.toStdString().c_str(), "rb");
    if (file == nullptr)
        throw openFailure(path, "reading");
    return new BufferedInputStream(new FileInputStream(path, file));
}

String LocalFileSystem::currentDirectory() {
    const std::unique_ptr<char, void (*)(void*)> path(getcwd(nullptr, 0), std::free);
    if (path == nullptr)
        throw IOException(concat("Could not determine current working directory: ", lastErrorMessage()));
    return path.get();
}

Ref<OutputStream> LocalFileSystem::openForWriting(const String& path, bool append) {
    FILE* file = std::fopen(path.toStdString().c_str(), append ? "ab" : "wb");
    if (file == nullptr)
        throw openFailure(path, "writing");
    return new BufferedOutputStream(new FileOutputStream(path, file));
}

} // namespace base::core
