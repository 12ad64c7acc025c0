#include "core/NamedPipe.h"

#include "core/BufferedStreams.h"
#include "core/CloseQuietly.h"
#include "core/Environment.h"
#include "core/Exception.h"
#include "core/FileSystem.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace base::core {
namespace {

constexpr mode_t fifoMode = S_IFIFO | 0600;

void createFifo(const String& path) {
    FileSystem& files = LocalFileSystem::get();
    try {
        files.createDirectories(files.getParent(path));
    } catch (const IOException& exception) {
        throw IOException(
            concat("Could not create directory structure for named pipe: ", exception.getMessage()));
    }
    // A FIFO of a dead process must not get in the way.
    if (files.exists(path))
        files.deleteFile(path);
    if (mknod(path.toStdString().c_str(), fifoMode, 0) != 0)
        throw IOException(concat("Could not create named pipe \"", path, "\": ", lastErrorMessage()));
}

int32_t openFifo(const String& path, int flags) {
    const std::string systemPath = LocalFileSystem::get().normalize(path).toStdString();
    const int descriptor = open(systemPath.c_str(), flags);
    const int openError = errno;
    // No pipe leaks into a child process.
    const int descriptorFlags = fcntl(descriptor, F_GETFD);
    fcntl(descriptor, F_SETFD, descriptorFlags | FD_CLOEXEC);
    errno = openError;
    if (descriptor < 0)
        throw IOException(concat("Could not open named pipe \"", path, "\": ", lastErrorMessage()));
    return descriptor;
}

Ref<InputStream> openForReading(const String& name, bool toClient) {
    return new BufferedInputStream(
        new NamedPipeInputStream(openFifo(namedPipePath(name, toClient), O_RDONLY)));
}

Ref<OutputStream> openForWriting(const String& name, bool toClient) {
    return new BufferedOutputStream(
        new NamedPipeOutputStream(openFifo(namedPipePath(name, toClient), O_WRONLY)));
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

NamedPipeInputStream::NamedPipeInputStream(int32_t fileDescriptor) : fileDescriptor(fileDescriptor) {}

size_t NamedPipeInputStream::read(void* buffer, size_t size) {
    FileDescriptor::Use use(fileDescriptor);
    ssize_t count = ::read(use.get(), buffer, size);
    if (use.isClosed()) {
        // Whatever came, the byte that woke this call may be part of it.
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

NamedPipe::NamedPipe(const String& name, const Ref<InputStream>& input, const Ref<OutputStream>& output)
    : input(input), output(output), name(name) {}

NamedPipe::~NamedPipe() {
    closeQuietly(input);
    closeQuietly(output);
}

Ref<NamedPipe> NamedPipe::open(const String& name, bool duplex) {
    const Ref<InputStream> input = duplex ? openForReading(name, true) : nullptr;
    const Ref<OutputStream> output = openForWriting(name, false);
    return new NamedPipe(name, input, output);
}

NamedServerPipe::NamedServerPipe(const String& name, bool duplex) : duplex(duplex), name(name) {}

Ref<NamedServerPipe> NamedServerPipe::create(const String& name, bool duplex) {
    Ref<NamedServerPipe> pipe(new NamedServerPipe(name, duplex));
    if (duplex)
        createFifo(namedPipePath(name, true));
    createFifo(namedPipePath(name, false));
    return pipe;
}

NamedServerPipe::~NamedServerPipe() {
    if (pipe) {
        closeQuietly(pipe->getInput());
        closeQuietly(pipe->getOutput());
        pipe = nullptr;
    }
    FileSystem& files = LocalFileSystem::get();
    files.deleteFile(namedPipePath(name, true));
    files.deleteFile(namedPipePath(name, false));
}

Ref<NamedPipe> NamedServerPipe::open() {
    const Ref<OutputStream> output = duplex ? openForWriting(name, true) : nullptr;
    const Ref<InputStream> input = readable ? openForReading(name, false) : nullptr;
    pipe = new NamedPipe(name, input, output);
    return pipe;
}

} // namespace base::core
