#include "core/StdStreams.h"

#include "core/Exception.h"
#include "core/Ref.h"

#include <iostream>

namespace base::core {
namespace {

// Never freed, so that the stream outlives every static destructor. Untied: a device that is used would flush
// another one, past the lock of those who write to that.
template <class Stream, class Device>
const Ref<Stream>& makeConsole(Device* device) {
    device->tie(nullptr);
    return *new Ref<Stream>(new Stream(device));
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
    if (!stream->good())
        throw IOException("Error writing data");
}

void StdOutputStream::writeLine(const String& text, const TextEncoding& textEncoding) {
    const ScopedLock lock(mutex);
    OutputStream::writeLine(text, textEncoding);
}

void StdOutputStream::writeLine(const char* utf8, const TextEncoding& textEncoding) {
    const ScopedLock lock(mutex);
    OutputStream::writeLine(utf8, textEncoding);
}

void StdOutputStream::flush() {
    const ScopedLock lock(mutex);
    stream->flush();
}

AbstractMutex* StdOutputStream::lineMutex() {
    return &mutex;
}

StdStringOutputStream::StdStringOutputStream(std::string* text) : text(text) {}

void StdStringOutputStream::write(const void* buffer, size_t size) {
    text->append(static_cast<const char*>(buffer), size);
}

bool StdStringOutputStream::hasDevice() {
    return false;
}

OutputStream& standardError() {
    static const Ref<StdOutputStream>& stream = makeConsole<StdOutputStream>(&std::cerr);
    return *stream;
}

OutputStream& standardOutput() {
    static const Ref<StdOutputStream>& stream = makeConsole<StdOutputStream>(&std::cout);
    return *stream;
}

InputStream& standardInput() {
    static const Ref<StdInputStream>& stream = makeConsole<StdInputStream>(&std::cin);
    return *stream;
}

} // namespace base::core
