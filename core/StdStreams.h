#pragma once

#include "core/InputStream.h"
#include "core/Mutex.h"
#include "core/OutputStream.h"

#include <iosfwd>
#include <string>

namespace base::core {

/// Reads from a stream of the standard library, which outlives it. Needs `std::ios::sync_with_stdio(false)`
/// for the console.
class StdInputStream : public InputStream {
public:
    explicit StdInputStream(std::istream* stream);

    size_t read(void* buffer, size_t size) override;

private:
    std::istream* stream;
};

/// Writes to a stream of the standard library, which outlives it. The only stream that several threads may
/// write to: whole lines never interleave.
class StdOutputStream : public OutputStream {
public:
    /// `flushOnWrite` hands each write to the device at once.
    explicit StdOutputStream(std::ostream* stream, bool flushOnWrite = false);

    void write(const void* buffer, size_t size) override;
    void writeLine(const String& text, const TextEncoding& textEncoding) override;
    void writeLine(const char* utf8, const TextEncoding& textEncoding) override;
    void flush() override;
    AbstractMutex* lineMutex() override;

private:
    std::ostream* stream;
    bool flushOnWrite;
    RecursiveMutex mutex;
};

/// Appends to a text of the standard library, which outlives it.
class StdStringOutputStream : public OutputStream {
public:
    explicit StdStringOutputStream(std::string* text);

    void write(const void* buffer, size_t size) override;
    bool hasDevice() override;

private:
    std::string* text;
};

/// The console. Made on first use, on any thread, and never destroyed: `exit` runs while other threads still
/// write. Failures and warnings go to the standard error stream, progress to the standard output stream.
OutputStream& standardError();
OutputStream& standardOutput();
InputStream& standardInput();

} // namespace base::core
