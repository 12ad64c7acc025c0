#pragma once

#include "core/InputStream.h"
#include "core/Mutex.h"
#include "core/OutputStream.h"

#include <iosfwd>
#include <string>
#include <string_view>

namespace base::core {

/// Reads from a stream of the standard library, which outlives it.
class StdInputStream : public InputStream {
public:
    explicit StdInputStream(std::istream* stream);

    size_t read(void* buffer, size_t size) override;

private:
    std::istream* stream;
};

/// Writes to a stream of the standard library, which outlives it. The only stream that several threads may
/// write to: each line reaches the device in one piece. A failed `write`, `flush` or line throws and is over
/// then: the next one is tried afresh.
class StdOutputStream : public OutputStream {
public:
    /// `flushOnWrite` hands each write to the device at once.
    explicit StdOutputStream(std::ostream* stream, bool flushOnWrite = false);

    void write(const void* buffer, size_t size) override;
    void writeLine(const String& text, const TextEncoding& textEncoding) override;
    void writeLine(const char* utf8, const TextEncoding& textEncoding) override;
    void flush() override;
    bool hasWholeLines() const override;

    /// Hands a text of the log to the device by itself, behind what was waiting. Never throws: a text that
    /// can't be written is dropped. If what was waiting can't be written, its writer's next call throws.
    void writeLogText(std::string_view text) noexcept;

private:
    template <class Text>
    void writeWholeLine(const Text& text, const TextEncoding& textEncoding);
    void throwFailure();

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

/// The console: descriptors 0, 1 and 2, with buffers of its own beside those of `std::cin`, `std::cout` and
/// `std::cerr`, which are left to plug-ins. Made on first use, on any thread, and never destroyed: `exit`
/// runs while other threads still write. Output waits for a `flush`; a line is flushed. The log has
/// operations of its own, see core/Log.h.
StdOutputStream& standardError();
StdOutputStream& standardOutput();
InputStream& standardInput();

/// Opens something at each of the descriptors 0, 1 and 2 that is closed, so that no file or pipe that is
/// opened later becomes the console. Using it fails as before. For `main`, before any other thread runs.
void occupyConsoleDescriptors();

} // namespace base::core
