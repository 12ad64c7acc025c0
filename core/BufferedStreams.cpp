#include "core/BufferedStreams.h"

#include "core/Exception.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace base::core {

BufferedInputStream::BufferedInputStream(const Ref<InputStream>& source, size_t capacity)
    : InputStream(source->getTextEncoding()), source(source), buffer(new uint8_t[capacity]),
      capacity(capacity) {}

uint8_t BufferedInputStream::readByte() {
    return position < limit ? buffer[position++] : InputStream::readByte();
}

size_t BufferedInputStream::read(void* target, size_t size) {
    if (position == limit) {
        position = 0;
        limit = 0;
        if (size > capacity)
            return source->read(target, size);
        limit = source->read(buffer.get(), capacity);
        if (limit == 0)
            return 0;
    }
    const size_t count = std::min(limit - position, size);
    std::memcpy(target, buffer.get() + position, count);
    position += count;
    return count;
}

const uint8_t* BufferedInputStream::readBuffered(size_t size) {
    if (limit - position < size)
        return nullptr;
    position += size;
    return buffer.get() + position - size;
}

size_t BufferedInputStream::available() {
    return limit - position + source->available();
}

void BufferedInputStream::close() {
    source->close();
}

bool BufferedInputStream::hasDevice() {
    return source->hasDevice();
}

void BufferedInputStream::setTextEncoding(const TextEncoding& newEncoding) {
    InputStream::setTextEncoding(newEncoding);
    source->setTextEncoding(newEncoding);
}

BufferedOutputStream::BufferedOutputStream(const Ref<OutputStream>& target, size_t capacity)
    : OutputStream(target->getTextEncoding()), target(target), buffer(new uint8_t[capacity]),
      capacity(capacity) {}

void BufferedOutputStream::write(const void* source, size_t size) {
    if (size < capacity - count) {
        std::memcpy(buffer.get() + count, source, size);
        count += size;
        return;
    }
    writeOut();
    if (size >= capacity) {
        target->write(source, size);
        return;
    }
    std::memcpy(buffer.get(), source, size);
    count = size;
}

void BufferedOutputStream::writeByte(uint8_t value) {
    if (capacity - count > 1)
        buffer[count++] = value;
    else
        OutputStream::writeByte(value);
}

void BufferedOutputStream::writeText(const String& text, const TextEncoding& textEncoding) {
    const auto length = static_cast<size_t>(text.length());
    const char32_t* begin = text.characters();
    const auto isAscii = [](char32_t codePoint) { return codePoint < 0x80; };
    if (length >= capacity - count || !textEncoding.hasAscii() ||
        !std::all_of(begin, begin + length, isAscii)) {
        OutputStream::writeText(text, textEncoding);
        return;
    }
    for (size_t i = 0; i < length; ++i)
        buffer[count++] = static_cast<uint8_t>(begin[i]);
}

void BufferedOutputStream::writeEach(const uint8_t* bytes, size_t size) {
    // The last byte of the buffer stays free, as in `write`.
    if (size >= capacity - count) {
        OutputStream::writeEach(bytes, size);
        return;
    }
    std::memcpy(buffer.get() + count, bytes, size);
    count += size;
}

bool BufferedOutputStream::hasDevice() {
    return target->hasDevice();
}

void BufferedOutputStream::setTextEncoding(const TextEncoding& newEncoding) {
    OutputStream::setTextEncoding(newEncoding);
    target->setTextEncoding(newEncoding);
}

void BufferedOutputStream::flush() {
    writeOut();
    target->flush();
}

void BufferedOutputStream::close() {
    try {
        flush();
    } catch (const IOException&) {
        try {
            target->close();
        } catch (const IOException&) {
            // Ignored: the caller gets the failed flush.
        }
        throw;
    }
    target->close();
}

void BufferedOutputStream::writeOut() {
    if (count == 0)
        return;
    // Emptied before the write: a retry after a failure would send part of it twice.
    const size_t pending = std::exchange(count, 0);
    target->write(buffer.get(), pending);
}

} // namespace base::core
