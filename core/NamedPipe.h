#pragma once

#include "core/FileDescriptor.h"
#include "core/InputStream.h"
#include "core/OutputStream.h"
#include "core/Ref.h"
#include "core/String.h"
#include "core/TrustedDirectory.h"

#include <ctime>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace base::core {

/// The path of one direction of a named pipe: "/tmp/pipes-" with `USER`, then the logical name, then
/// "-to-client" for the direction from the creator to the opener or "-from-client" for the other.
/// Oddity to-client-leads-to-host: the creator is the client, the opener its host.
String namedPipePath(const String& name, bool toClient);

/// Opens the directory of a FIFO, and makes what is missing of it. Throws `IOException`, as
/// `NamedServerPipe::create` does.
std::unique_ptr<TrustedDirectory> makePipeDirectory(const std::string& fifoPath);

/// Whether a process has this user's FIFO open for reading, or waits for a writer in its `open`. Never
/// blocks. Without descriptors or /proc it counts as read.
bool isPipeRead(const TrustedDirectory& directory, const char* name);

/// The reading end of a FIFO. A read is one `read` call: it blocks without a time-out, isn't restarted after
/// a signal, and returns 0 once the writer is gone.
class NamedPipeInputStream : public InputStream {
public:
    /// Takes over the descriptor.
    explicit NamedPipeInputStream(int32_t fileDescriptor);

    size_t read(void* buffer, size_t size) override;
    /// Any thread; a `read` that is blocked on another thread throws `IOException`. A second call throws too.
    void close() override;
    FileDescriptor& getFileDescriptor() { return fileDescriptor; }

private:
    FileDescriptor fileDescriptor;
};

/// The writing end of a FIFO. With `SIGPIPE` ignored, writing to a FIFO whose reader is gone throws.
class NamedPipeOutputStream : public OutputStream {
public:
    /// Takes over the descriptor.
    explicit NamedPipeOutputStream(int32_t fileDescriptor);

    void write(const void* buffer, size_t size) override;
    /// Any thread. A second call throws `IOException`.
    void close() override;
    FileDescriptor& getFileDescriptor() { return fileDescriptor; }

private:
    FileDescriptor fileDescriptor;
};

/// One open pipe, on its opener's side or, by `NamedServerPipe`, its creator's. Both streams are buffered:
/// writers `flush`. One reader and one writer thread at a time.
class NamedPipe : public Object {
public:
    /// Each may be null.
    NamedPipe(const String& name, const Ref<NamedPipeInputStream>& source,
              const Ref<NamedPipeOutputStream>& target);
    /// Closes what is still open.
    ~NamedPipe() override;

    /// The opener's side: reads "-to-client" if `duplex`, and writes "-from-client". Blocks until the creator
    /// opens them in the same order. Throws `IOException`, also for another user's FIFO, without opening it,
    /// and for a directory on the path that belongs neither to this user nor to root.
    static Ref<NamedPipe> open(const String& name, bool duplex);

    /// Null on the opener's side of a pipe that isn't duplex.
    const Ref<InputStream>& getInput() const { return input; }
    /// Null on the creator's side of a pipe that isn't duplex.
    const Ref<OutputStream>& getOutput() const { return output; }
    const String& getName() const { return name; }
    /// A descriptor of its own that polls as the input does, close-on-exec; -1 without an input, or with
    /// `errno` if there is none left. The caller's.
    int32_t duplicateInputDescriptor() const;
    /// Waits until the pipe has bytes for the input, which may have some already, or its writer is gone, at
    /// most until `deadline` by `CLOCK_MONOTONIC`; one that has passed only has a look. False if that passes.
    /// A `close` ends it, a signal doesn't. Real-time safe.
    bool waitForInput(const timespec& deadline) const;
    /// The number of bytes in the pipe, which the input hasn't read. Any thread. Real-time safe.
    size_t countUnreadInput() const;
    /// How many bytes the direction with less room holds. A system that is short of memory for pipes gives
    /// them less than usual.
    size_t getCapacity() const;

private:
    Ref<NamedPipeInputStream> source;
    Ref<NamedPipeOutputStream> target;
    Ref<InputStream> input;
    Ref<OutputStream> output;
    String name;
};

/// The creator's handle on a named pipe. Owns the FIFO files and removes them at its end, but not in a fork
/// of this process. The directory stays.
class NamedServerPipe : public Object {
public:
    /// Makes the FIFO files, with mode 0600, in the place of stale ones; opens none. Throws `IOException`,
    /// also for a directory on the path that belongs neither to this user nor to root.
    static Ref<NamedServerPipe> create(const String& name, bool duplex);
    ~NamedServerPipe() override;

    /// Opens what `create` made, "-to-client" first. Blocks until the opener has opened both: start it
    /// before. Throws `IOException`.
    Ref<NamedPipe> open();
    /// Opens the ends that the opener would, without blocking, and appends them to `ends`: this wakes an
    /// `open`, and makes a later one return at once. Ends that can't be opened are left out. Any thread.
    void openOtherEnds(std::vector<std::unique_ptr<FileDescriptor>>& ends) const;

    /// Null before `open`.
    const Ref<NamedPipe>& getPipe() const { return pipe; }

private:
    NamedServerPipe(const String& name, bool duplex, const std::string& toClientPath,
                    const std::string& fromClientPath);

    bool duplex;
    bool readable = true;
    String name;
    Ref<NamedPipe> pipe;
    /// Fixed at the creation: `USER` may change later.
    std::string toClientPath;
    std::string fromClientPath;
    /// The process that made this.
    pid_t process;
};

} // namespace base::core
