#include "library/StateFolder.h"

#include "core/Exception.h"
#include "core/LockFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using base::core::FileDescriptor;
using base::core::LockFile;

namespace client_library {
namespace {

constexpr mode_t othersMode = S_IRWXG | S_IRWXO;
constexpr std::string_view lockPrefix = "session-";
constexpr std::string_view lockSuffix = ".lock";

const std::string& madeFolder(const std::string& path) {
    mkdir(path.c_str(), S_IRWXU); // one that is there is looked at once it is open
    return path;
}

bool writeAll(int32_t file, const StateFolder::Bytes& bytes) {
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR)
            return false;
        written += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

bool readAll(int32_t file, StateFolder::Bytes& bytes) {
    struct stat status {};
    if (fstat(file, &status) != 0)
        return false;
    bytes.resize(static_cast<size_t>(status.st_size));
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(file, bytes.data() + done, bytes.size() - done);
        if (count == 0 || (count < 0 && errno != EINTR))
            return false;
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

} // namespace

StateFolder::StateFolder(const std::string& path) : path(path), directory(madeFolder(path)) {
    struct stat status {};
    if (directory.get() < 0 || fstat(directory.get(), &status) != 0)
        fail("open", path);
    if (status.st_uid != geteuid() || (status.st_mode & othersMode) != 0)
        throw IOException(concat("Others may enter \"", path.c_str(), "\""));
    removeLeftovers();
    for (int number = 1; lock == nullptr; ++number) {
        lockName = std::string(lockPrefix) + std::to_string(number);
        lock = LockFile::tryCreate(directory, path + "/" + lockName + std::string(lockSuffix));
    }
    // A process that was killed since.
    removeFilesOf(lockName);
}

StateFolder::~StateFolder() {
    if (!makingProcess.isCopied())
        lock->remove();
}

std::string StateFolder::makeName() {
    return lockName + "-" + std::to_string(++lastState);
}

void StateFolder::write(const std::string& name, const Bytes& bytes) const {
    const std::string unfinished = name + ".new";
    unlinkat(directory.get(), unfinished.c_str(), 0);
    FileDescriptor file(openat(directory.get(), unfinished.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    const bool isWritten = file.get() >= 0 && writeAll(file.get(), bytes) && file.close() &&
                           renameat(directory.get(), unfinished.c_str(), directory.get(), name.c_str()) == 0;
    if (isWritten)
        return;
    const int reason = errno;
    unlinkat(directory.get(), unfinished.c_str(), 0);
    errno = reason;
    fail("write", path + "/" + name);
}

StateFolder::Bytes StateFolder::read(const std::string& name) const {
    const FileDescriptor file(openat(directory.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    Bytes bytes;
    if (file.get() < 0 || !readAll(file.get(), bytes))
        fail("read", path + "/" + name);
    return bytes;
}

void StateFolder::remove(const std::string& name) const noexcept {
    if (!makingProcess.isCopied())
        unlinkat(directory.get(), name.c_str(), 0);
}

void StateFolder::removeLeftovers() const {
    for (const std::string& name : directory.listNames()) {
        if (!name.starts_with(lockPrefix) || !name.ends_with(lockSuffix))
            continue;
        const auto left = LockFile::tryLock(directory, path + "/" + name);
        if (left == nullptr)
            continue;
        removeFilesOf(name.substr(0, name.size() - lockSuffix.size()));
        left->remove();
    }
}

void StateFolder::removeFilesOf(const std::string& owner) const {
    for (const std::string& name : directory.listNames()) {
        if (name.starts_with(owner + "-"))
            unlinkat(directory.get(), name.c_str(), 0);
    }
}

void StateFolder::fail(const char* operation, const std::string& name) const {
    throw IOException(
        concat("Could not ", operation, " \"", name.c_str(), "\": ", base::core::lastErrorMessage()));
}

} // namespace client_library
