#pragma once

#include "core/InputStream.h"
#include "core/Mutex.h"
#include "core/OutputStream.h"

#include <iosfwd>
#include <string>
#include <string_view>

namespace base::core {

/// Reads from a borrowed stream of the standard library.
class StdInputStream : public InputStream {
public:
    explicit StdInputStream(std::istream* stream);

    size_t read(void* buffer, size_t size) override;

private:
    std::istream* stream;
};

/// Writes to a borrowed stream of the standard library. The only stream that several threads may write to:
/// each line is one write to the device. A failed `write`, `flush` or line throws, without an effect on later
/// ones.
class StdOutputStream : public OutputStream {
public:
    /// `flushOnWrite` flushes each write.
    explicit StdOutputStream(std::ostream* stream, bool flushOnWrite = false);

    void write(const void* buffer, size_t size) override;
    void writeLine(const String& text, const TextEncoding& textEncoding) override;
    void writeLine(const char* utf8, const TextEncoding& textEncoding) override;
    void flush() override;
    bool hasWholeLines() const override;

    /// Flushes buffered output, then writes a text of the log as one write. Never throws: a text that can't
    /// be written is dropped. If the buffered output can't be written, its writer's next call throws.
    void writeLogText(std::string_view text) noexcept;

private:
    template <class Text>
    void writeWholeLine(const Text& text, const TextEncoding& textEncoding);
    void throwFailure();

    std::ostream* stream;
    bool flushOnWrite;
    RecursiveMutex mutex;
};

/// Appends to a borrowed `std::string`.
class StdStringOutputStream : public OutputStream {
public:
    explicit StdStringOutputStream(std::string* text);

    void write(const void* buffer, size_t size) override;
    bool hasDevice() override;

private:
    std::string* text;
};

/// The console: descriptors 0, 1 and 2, with buffers separate from those of `std::cin`, `std::cout` and
/// `std::cerr`, which plug-ins use. Made on first use, on any thread, and never destroyed: other threads may
/// write during `exit`. Output is buffered until a `flush`; a line is flushed. For the log, see core/Log.h.
StdOutputStream& standardError();
StdOutputStream& standardOutput();
InputStream& standardInput();

/// Occupies each of the descriptors 0, 1 and 2 that is closed, so that no file or pipe that is opened later
/// becomes the console. Using it fails as before. For `main`, before other threads start.
void occupyConsoleDescriptors();

} // namespace base::core
