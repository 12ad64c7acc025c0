#include "core/TrustedDirectory.h"

#include "core/Exception.h"
#include "core/Log.h"

#include <algorithm>
#include <atomic>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base::core {
namespace {

using Descriptor = std::unique_ptr<FileDescriptor>;

void warnOnce(const std::string& path) {
    static std::atomic<bool> warned{false};
    if (!warned.exchange(true))
        logError("Warning: other users may write to the directory \"", path.c_str(), "\"");
}

/// Opens one part of a path; null on failure. `path` is the path up to and with it.
Descriptor openPart(int32_t parent, const std::string& name, int flags, const std::string& path,
                    struct stat& status) {
    const int32_t part = openat(parent, name.c_str(), flags | O_PATH | O_CLOEXEC);
    if (part < 0)
        return nullptr;
    Descriptor opened = std::make_unique<FileDescriptor>(part);
    if (fstat(part, &status) != 0)
        return nullptr;
    if (status.st_uid != geteuid() && status.st_uid != 0)
        throw IOException(concat("\"", path.c_str(), "\" belongs to another user"));
    constexpr mode_t writableForOthers = S_IWGRP | S_IWOTH;
    if (S_ISDIR(status.st_mode) && (status.st_mode & writableForOthers) != 0 &&
        (status.st_mode & S_ISVTX) == 0)
        warnOnce(path);
    return opened;
}

Descriptor openDirectory(int32_t parent, const std::string& name, const std::string& path) {
    struct stat status {};
    Descriptor opened = openPart(parent, name, O_NOFOLLOW, path, status);
    // A link of a trusted owner is followed, and its target is checked as well.
    if (opened != nullptr && S_ISLNK(status.st_mode))
        opened = openPart(parent, name, 0, path, status);
    return opened;
}

} // namespace

TrustedDirectory::TrustedDirectory(const std::string& path) : descriptor(openDirectory(AT_FDCWD, "/", "/")) {
    size_t start = 0;
    while (descriptor != nullptr && start < path.size()) {
        const size_t end = std::min(path.find('/', start), path.size());
        if (end > start)
            descriptor =
                openDirectory(descriptor->get(), path.substr(start, end - start), path.substr(0, end));
        start = end + 1;
    }
}

TrustedDirectory::TrustedDirectory(const TrustedDirectory& parent, const std::string& path)
    : descriptor(openDirectory(parent.get(), path.substr(path.rfind('/') + 1), path)) {}

std::vector<std::string> TrustedDirectory::listNames() const {
    std::vector<std::string> names;
    const int32_t readable = openat(get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (readable < 0)
        return names;
    DIR* const opened = fdopendir(readable);
    if (opened == nullptr) {
        close(readable);
        return names;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> list(opened, closedir);
    while (const dirent* entry = readdir(opened))
        names.emplace_back(entry->d_name);
    return names;
}

} // namespace base::core
