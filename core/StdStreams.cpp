#include "core/StdStreams.h"

#include "core/ConsoleDevice.h"
#include "core/Exception.h"
#include "core/Ref.h"

#include <fcntl.h>
#include <istream>
#include <ostream>
#include <unistd.h>

namespace base::core {
namespace {

// Never freed, so that the stream outlives every static destructor.
template <class Stream, class LibraryStream>
const Ref<Stream>& makeConsole(int descriptor) {
    return *new Ref<Stream>(new Stream(new LibraryStream(new ConsoleDevice(descriptor))));
}

} // namespace

StdInputStream::StdInputStream(std::istream* stream) : stream(stream) {}

size_t StdInputStream::read(void* buffer, size_t size) {
    if (stream->eof())
        return 0;
    auto* target = static_cast<char*>(buffer);
    const auto wanted = static_cast<std::streamsize>(size);
    if (const std::streamsize count = stream->readsome(target, wanted); count > 0)
        return static_cast<size_t>(count);
    stream->peek();
    if (stream->eof())
        return 0;
    if (stream->fail())
        throw IOException("Error reading from stream");
    const std::streamsize count = stream->readsome(target, wanted);
    return count > 0 ? static_cast<size_t>(count) : 0;
}

StdOutputStream::StdOutputStream(std::ostream* stream, bool flushOnWrite)
    : stream(stream), flushOnWrite(flushOnWrite) {}

void StdOutputStream::write(const void* buffer, size_t size) {
    const ScopedLock lock(mutex);
    stream->write(static_cast<const char*>(buffer), static_cast<std::streamsize>(size));
    if (flushOnWrite)
        stream->flush();
    throwFailure();
}

void StdOutputStream::writeLine(const String& text, const TextEncoding& textEncoding) {
    writeWholeLine(text, textEncoding);
}

void StdOutputStream::writeLine(const char* utf8, const TextEncoding& textEncoding) {
    writeWholeLine(utf8, textEncoding);
}

void StdOutputStream::flush() {
    const ScopedLock lock(mutex);
    stream->flush();
    throwFailure();
}

bool StdOutputStream::hasWholeLines() const {
    return true;
}

void StdOutputStream::writeLogText(std::string_view text) noexcept {
    const ScopedLock lock(mutex);
    stream->flush();
    const std::ios::iostate before = stream->rdstate();
    stream->clear();
    stream->write(text.data(), static_cast<std::streamsize>(text.size()));
    stream->flush();
    stream->clear(before);
}

// Composed first: a text that can't be encoded writes nothing.
template <class Text>
void StdOutputStream::writeWholeLine(const Text& text, const TextEncoding& textEncoding) {
    std::string line;
    // On the stack: retained by hand, so that no release frees it.
    StdStringOutputStream composed(&line);
    retain(&composed);
    composed.OutputStream::writeLine(text, textEncoding);
    const ScopedLock lock(mutex);
    write(line.data(), line.size());
    flush();
}

void StdOutputStream::throwFailure() {
    if (stream->good())
        return;
    stream->clear();
    throw IOException("Error writing data");
}

StdStringOutputStream::StdStringOutputStream(std::string* text) : text(text) {}

void StdStringOutputStream::write(const void* buffer, size_t size) {
    text->append(static_cast<const char*>(buffer), size);
}

bool StdStringOutputStream::hasDevice() {
    return false;
}

StdOutputStream& standardError() {
    static const Ref<StdOutputStream>& stream = makeConsole<StdOutputStream, std::ostream>(STDERR_FILENO);
    return *stream;
}

StdOutputStream& standardOutput() {
    static const Ref<StdOutputStream>& stream = makeConsole<StdOutputStream, std::ostream>(STDOUT_FILENO);
    return *stream;
}

InputStream& standardInput() {
    static const Ref<StdInputStream>& stream = makeConsole<StdInputStream, std::istream>(STDIN_FILENO);
    return *stream;
}

void occupyConsoleDescriptors() {
    // Opened in the opposite direction, so that reads and writes fail: output that is lost is no success.
    constexpr int directions[] = {O_WRONLY, O_RDONLY, O_RDONLY};
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free number is this one, since those below are open.
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", directions[descriptor]);
    }
}

} // namespace base::core
