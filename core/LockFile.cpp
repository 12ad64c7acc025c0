#include "core/LockFile.h"

#include "core/Exception.h"
#include "core/String.h"
#include "core/TrustedDirectory.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base::core {
namespace {

constexpr mode_t ownerOnly = 0600;
constexpr int openFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

[[noreturn]] void fail(const std::string& path) {
    throw IOException(concat("Could not lock \"", path.c_str(), "\": ", lastErrorMessage()));
}

/// Whether `open` has just failed because of what is there in the place of the file. Keeps `errno`.
bool isInTheWay(int32_t directory, const char* name) {
    const int failure = errno;
    struct stat found {};
    const bool isThere = fstatat(directory, name, &found, AT_SYMLINK_NOFOLLOW) == 0;
    errno = failure;
    return isThere && (failure == ELOOP || failure == EISDIR || failure == ENXIO || failure == EACCES ||
                       failure == EPERM);
}

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

enum class Outcome { locked, refused, replaced };

/// Locks an open file. `replaced`: its former holder has removed the name meanwhile.
Outcome lockOpened(int32_t directory, const char* name, int32_t file, const std::string& path) {
    struct stat opened {};
    if (fstat(file, &opened) != 0)
        fail(path);
    if (!S_ISREG(opened.st_mode) || opened.st_uid != geteuid() || opened.st_nlink > 1)
        return Outcome::refused;
    if (flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return Outcome::refused;
        fail(path);
    }
    // Without this, a new file of the name would have a holder as well.
    struct stat named {};
    if (fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) != 0 || !isSame(opened, named))
        return Outcome::replaced;
    // The umask may have cleared the owner's bits, which the next holder needs.
    fchmod(file, ownerOnly);
    return Outcome::locked;
}

} // namespace

LockFile::LockFile(const std::string& path, int32_t descriptor, bool created)
    : path(path), file(descriptor), created(created) {}

std::unique_ptr<LockFile> LockFile::tryLock(const TrustedDirectory& directory, const std::string& path) {
    return lock(directory, path, false);
}

std::unique_ptr<LockFile> LockFile::tryCreate(const TrustedDirectory& directory, const std::string& path) {
    return lock(directory, path, true);
}

std::unique_ptr<LockFile> LockFile::lock(const TrustedDirectory& directory, const std::string& path,
                                         bool create) {
    const char* name = path.c_str() + path.rfind('/') + 1;
    // Each further round follows another process's removal or creation of the file.
    for (;;) {
        int32_t descriptor = aboveConsole(openat(directory.get(), name, openFlags));
        if (descriptor < 0 && isInTheWay(directory.get(), name))
            return nullptr;
        const bool missing = descriptor < 0 && errno == ENOENT;
        if (missing && !create)
            return nullptr;
        if (missing) {
            descriptor = aboveConsole(openat(directory.get(), name, openFlags | O_CREAT | O_EXCL, ownerOnly));
            if (descriptor < 0 && errno == EEXIST)
                continue;
        }
        if (descriptor < 0)
            fail(path);
        std::unique_ptr<LockFile> opened(new LockFile(path, descriptor, missing));
        switch (lockOpened(directory.get(), name, descriptor, path)) {
        case Outcome::locked:
            return opened;
        case Outcome::refused:
            return nullptr;
        case Outcome::replaced:
            break;
        }
    }
}

std::string LockFile::read(size_t size) const {
    std::string text(size, '\0');
    const ssize_t count = pread(file.get(), text.data(), size, 0);
    text.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return text;
}

void LockFile::write(const std::string& text) const {
    [[maybe_unused]] const ssize_t written = pwrite(file.get(), text.data(), text.size(), 0);
}

void LockFile::clear() const {
    [[maybe_unused]] const int cleared = ftruncate(file.get(), 0);
}

void LockFile::remove() const {
    struct stat opened {};
    struct stat named {};
    if (fstat(file.get(), &opened) == 0 && lstat(path.c_str(), &named) == 0 && isSame(opened, named))
        unlink(path.c_str());
}

} // namespace base::core
