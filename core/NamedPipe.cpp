#include "core/NamedPipe.h"

#include "core/BufferedStreams.h"
#include "core/CloseQuietly.h"
#include "core/Environment.h"
#include "core/Exception.h"
#include "core/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base::core {
namespace {

constexpr mode_t fifoMode = S_IFIFO | 0600;

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

const char* nameOf(const std::string& path) {
    return path.c_str() + path.rfind('/') + 1;
}

IOException failure(const char* operation, const std::string& path, const String& reason) {
    return IOException(concat("Could not ", operation, " named pipe \"", path.c_str(), "\": ", reason));
}

using Directory = std::unique_ptr<TrustedDirectory>;

Directory openDirectoryOf(const std::string& path, const char* operation) {
    try {
        return std::make_unique<TrustedDirectory>(directoryOf(path));
    } catch (const IOException& exception) {
        throw failure(operation, path, exception.getMessage());
    }
}

void createFifo(const TrustedDirectory& directory, const std::string& path) {
    // A dead process may have left one.
    struct stat stale {};
    if (fstatat(directory.get(), nameOf(path), &stale, 0) == 0)
        unlinkat(directory.get(), nameOf(path), 0);
    if (mknodat(directory.get(), nameOf(path), fifoMode, 0) != 0)
        throw failure("create", path, lastErrorMessage());
}

/// Opens what an `O_PATH` descriptor leads to, so that the file is the one that was checked. Close-on-exec.
int32_t openFound(const FileDescriptor& fifo, int flags) {
    const std::string found = "/proc/self/fd/" + std::to_string(fifo.get());
    return aboveConsole(open(found.c_str(), flags | O_CLOEXEC));
}

/// An `O_PATH` descriptor: opening another user's FIFO for reading or writing could block without end. -1,
/// with `errno`, without one.
int32_t findFifo(const std::string& path) {
    const Directory directory = openDirectoryOf(path, "open");
    return directory->get() < 0 ? -1
                                : openat(directory->get(), nameOf(path), O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

int32_t openFifo(const std::string& path, int flags) {
    const FileDescriptor fifo(findFifo(LocalFileSystem::get().normalize(path.c_str()).toStdString()));
    struct stat status {};
    if (fifo.get() < 0 || fstat(fifo.get(), &status) != 0)
        throw failure("open", path, lastErrorMessage());
    if (!S_ISFIFO(status.st_mode))
        throw failure("open", path, "it is no named pipe");
    if (status.st_uid != geteuid())
        throw failure("open", path, "it belongs to another user");
    const int32_t descriptor = openFound(fifo, flags);
    if (descriptor < 0)
        throw failure("open", path, lastErrorMessage());
    return descriptor;
}

Ref<NamedPipeInputStream> openForReading(const std::string& path) {
    return new NamedPipeInputStream(openFifo(path, O_RDONLY));
}

Ref<NamedPipeOutputStream> openForWriting(const std::string& path) {
    return new NamedPipeOutputStream(openFifo(path, O_WRONLY));
}

/// Zero once it has passed.
timespec timeUntil(const timespec& deadline) {
    constexpr long nanosecondsOfSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    timespec rest{deadline.tv_sec - now.tv_sec, deadline.tv_nsec - now.tv_nsec};
    if (rest.tv_nsec < 0) {
        rest.tv_sec -= 1;
        rest.tv_nsec += nanosecondsOfSecond;
    }
    return rest.tv_sec < 0 ? timespec{} : rest;
}

std::string systemPath(const String& name, bool toClient) {
    return namedPipePath(name, toClient).toStdString();
}

} // namespace

String namedPipePath(const String& name, bool toClient) {
    StringBuilder path("/tmp/pipes-");
    path.append(getEnvironmentVariable("USER"));
    path.append(FileSystem::separator);
    path.append(name);
    path.append(toClient ? "-to-client" : "-from-client");
    return path.toString();
}

Directory makePipeDirectory(const std::string& fifoPath) {
    // Checked first: nothing is created in another user's directory.
    Directory found = openDirectoryOf(fifoPath, "create");
    struct stat status {};
    if (found->get() >= 0 && fstat(found->get(), &status) == 0 && S_ISDIR(status.st_mode))
        return found;
    FileSystem& files = LocalFileSystem::get();
    try {
        files.createDirectories(files.getParent(fifoPath.c_str()));
    } catch (const IOException& exception) {
        throw IOException(
            concat("Could not create directory structure for named pipe: ", exception.getMessage()));
    }
    found = openDirectoryOf(fifoPath, "create");
    if (found->get() < 0)
        throw failure("create", fifoPath, lastErrorMessage());
    return found;
}

bool isPipeRead(const TrustedDirectory& directory, const char* name) {
    const FileDescriptor fifo(openat(directory.get(), name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (fifo.get() < 0)
        return errno != ENOENT;
    struct stat status {};
    if (fstat(fifo.get(), &status) != 0 || !S_ISFIFO(status.st_mode) || status.st_uid != geteuid())
        return false;
    const FileDescriptor writer(openFound(fifo, O_WRONLY | O_NONBLOCK));
    return writer.get() >= 0 || errno != ENXIO;
}

NamedPipeInputStream::NamedPipeInputStream(int32_t fileDescriptor) : fileDescriptor(fileDescriptor) {}

size_t NamedPipeInputStream::read(void* buffer, size_t size) {
    FileDescriptor::Use use(fileDescriptor);
    ssize_t count = ::read(use.get(), buffer, size);
    if (use.isClosed()) {
        // The data may contain the byte that woke this call: dropped.
        errno = EBADF;
        count = -1;
    }
    if (count < 0)
        throw IOException(concat("Error reading from named pipe: ", lastErrorMessage()));
    return static_cast<size_t>(count);
}

void NamedPipeInputStream::close() {
    if (!fileDescriptor.closeAndWakeReader())
        throw IOException(concat("Could not close named pipe: ", lastErrorMessage()));
}

NamedPipeOutputStream::NamedPipeOutputStream(int32_t fileDescriptor) : fileDescriptor(fileDescriptor) {}

void NamedPipeOutputStream::write(const void* buffer, size_t size) {
    FileDescriptor::Use use(fileDescriptor);
    const auto* source = static_cast<const uint8_t*>(buffer);
    while (size > 0) {
        const ssize_t count = ::write(use.get(), source, size);
        if (count == -1)
            throw IOException(concat("Error writing to named pipe: ", lastErrorMessage()));
        source += count;
        size -= static_cast<size_t>(count);
    }
}

void NamedPipeOutputStream::close() {
    if (!fileDescriptor.close())
        throw IOException(concat("Could not close named pipe: ", lastErrorMessage()));
}

NamedPipe::NamedPipe(const String& name, const Ref<NamedPipeInputStream>& source,
                     const Ref<NamedPipeOutputStream>& target)
    : source(source), target(target), input(source ? new BufferedInputStream(source.get()) : nullptr),
      output(target ? new BufferedOutputStream(target.get()) : nullptr), name(name) {}

NamedPipe::~NamedPipe() {
    closeQuietly(input);
    closeQuietly(output);
}

Ref<NamedPipe> NamedPipe::open(const String& name, bool duplex) {
    const std::string toClient = systemPath(name, true);
    const std::string fromClient = systemPath(name, false);
    const Ref<NamedPipeInputStream> source = duplex ? openForReading(toClient) : nullptr;
    return new NamedPipe(name, source, openForWriting(fromClient));
}

int32_t NamedPipe::duplicateInputDescriptor() const {
    if (!source)
        return -1;
    const FileDescriptor::Use use(source->getFileDescriptor());
    return aboveConsole(fcntl(use.get(), F_DUPFD_CLOEXEC, 0));
}

bool NamedPipe::waitForInput(const timespec& deadline) const {
    const FileDescriptor::Use use(source->getFileDescriptor());
    pollfd pipe{use.get(), POLLIN, 0};
    for (;;) {
        const timespec rest = timeUntil(deadline);
        const int count = ppoll(&pipe, 1, &rest, nullptr);
        if (count > 0)
            return true;
        if (count == 0 || errno != EINTR)
            return false;
    }
}

size_t NamedPipe::countUnreadInput() const {
    const FileDescriptor::Use use(source->getFileDescriptor());
    int count = 0;
    return ioctl(use.get(), FIONREAD, &count) == 0 && count > 0 ? static_cast<size_t>(count) : 0;
}

size_t NamedPipe::getCapacity() const {
    const auto capacityOf = [](FileDescriptor& descriptor) {
        const FileDescriptor::Use use(descriptor);
        const int capacity = fcntl(use.get(), F_GETPIPE_SZ);
        return capacity > 0 ? static_cast<size_t>(capacity) : size_t{PIPE_BUF};
    };
    return std::min(capacityOf(source->getFileDescriptor()), capacityOf(target->getFileDescriptor()));
}

NamedServerPipe::NamedServerPipe(const String& name, bool duplex, const std::string& toClientPath,
                                 const std::string& fromClientPath)
    : duplex(duplex), name(name), toClientPath(toClientPath), fromClientPath(fromClientPath),
      process(getpid()) {}

Ref<NamedServerPipe> NamedServerPipe::create(const String& name, bool duplex) {
    const std::string toClient = systemPath(name, true);
    const std::string fromClient = systemPath(name, false);
    const Directory directory = makePipeDirectory(duplex ? toClient : fromClient);
    Ref<NamedServerPipe> pipe(new NamedServerPipe(name, duplex, toClient, fromClient));
    if (duplex)
        createFifo(*directory, toClient);
    createFifo(*directory, fromClient);
    return pipe;
}

NamedServerPipe::~NamedServerPipe() {
    if (pipe) {
        closeQuietly(pipe->getInput());
        closeQuietly(pipe->getOutput());
        pipe = nullptr;
    }
    if (process != getpid())
        return;
    unlink(toClientPath.c_str());
    unlink(fromClientPath.c_str());
}

Ref<NamedPipe> NamedServerPipe::open() {
    const Ref<NamedPipeOutputStream> target = duplex ? openForWriting(toClientPath) : nullptr;
    const Ref<NamedPipeInputStream> source = readable ? openForReading(fromClientPath) : nullptr;
    pipe = new NamedPipe(name, source, target);
    return pipe;
}

void NamedServerPipe::openOtherEnds(std::vector<std::unique_ptr<FileDescriptor>>& ends) const {
    const auto openEnd = [&](const std::string& path) {
        try {
            // For both directions, which never blocks on a FIFO, whether or not the other side is there.
            ends.push_back(std::make_unique<FileDescriptor>(openFifo(path, O_RDWR | O_NONBLOCK)));
        } catch (const IOException&) {
            // Removed: an `open` fails then, too.
        }
    };
    if (duplex)
        openEnd(toClientPath);
    openEnd(fromClientPath);
}

} // namespace base::core
