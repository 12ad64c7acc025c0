#pragma once

#include "core/InputStream.h"
#include "core/OutputStream.h"
#include "core/Ref.h"

#include <memory>

namespace base::core {

/// Bytes in the buffer of every buffered stream of the program.
constexpr size_t streamBufferCapacity = 1024;

/// Reads ahead from another stream, with its encoding.
class BufferedInputStream : public InputStream {
public:
    explicit BufferedInputStream(const Ref<InputStream>& source, size_t capacity = streamBufferCapacity);

    uint8_t readByte() override;
    /// Returns what the buffer holds, even if it is less than `size`; reads the wrapped stream once if it is
    /// empty.
    size_t read(void* target, size_t size) override;
    const uint8_t* readBuffered(size_t size) override;
    size_t available() override;
    /// Any thread, if the wrapped stream's `close` may be called on any.
    void close() override;
    bool hasDevice() override;
    void setTextEncoding(const TextEncoding& newEncoding) override;

private:
    Ref<InputStream> source;
    std::unique_ptr<uint8_t[]> buffer;
    size_t capacity;
    size_t position = 0;
    size_t limit = 0;
};

/// Gathers small writes for another stream, with its encoding. The destructor doesn't flush.
class BufferedOutputStream : public OutputStream {
public:
    explicit BufferedOutputStream(const Ref<OutputStream>& target, size_t capacity = streamBufferCapacity);

    void writeByte(uint8_t value) override;
    void write(const void* source, size_t size) override;
    using OutputStream::writeText;
    void writeText(const String& text, const TextEncoding& textEncoding) override;
    void writeEach(const uint8_t* bytes, size_t size) override;
    bool hasDevice() override;
    void setTextEncoding(const TextEncoding& newEncoding) override;
    void flush() override;
    /// Flushes and closes the wrapped stream. Closes it even if the flush fails, and then throws that
    /// failure.
    void close() override;

private:
    void writeOut();

    Ref<OutputStream> target;
    std::unique_ptr<uint8_t[]> buffer;
    size_t count = 0;
    size_t capacity;
};

} // namespace base::core
