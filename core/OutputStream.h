#pragma once

#include "core/Object.h"
#include "core/String.h"
#include "core/TextEncoding.h"

#include <cstddef>
#include <cstdint>

namespace base::core {

/// An abstract sink of bytes. Not thread-safe, except `StdOutputStream`. Failures are `IOException`. Buffered
/// streams write at `flush`.
class OutputStream : public Object {
public:
    explicit OutputStream(const TextEncoding& encoding = UTF8Encoding::instance);

    virtual void writeByte(uint8_t value);
    /// Writes all the bytes or throws.
    virtual void write(const void* buffer, size_t size) = 0;
    virtual bool hasDevice();
    virtual void setTextEncoding(const TextEncoding& newEncoding);
    virtual void writeText(const String& text, const TextEncoding& textEncoding);
    virtual void writeText(const String& text);
    /// The zero-terminated forms take UTF-8.
    virtual void writeText(const char* utf8, const TextEncoding& textEncoding);
    virtual void writeText(const char* utf8);
    virtual void writeCharacter(char32_t codePoint, const TextEncoding& textEncoding);
    virtual void writeCharacter(char32_t codePoint);
    /// The text, a line feed and a `flush`.
    virtual void writeLine(const String& text, const TextEncoding& textEncoding);
    virtual void writeLine(const char* utf8, const TextEncoding& textEncoding);
    virtual void flush();
    virtual void close();
    /// Whether each line is one write to the device. False for a stream of one thread.
    virtual bool hasWholeLines() const;
    /// By a `writeByte` for each byte, or as if.
    virtual void writeEach(const uint8_t* bytes, size_t size);

    /// 4 bytes in the machine's order, by one `write`.
    void writeNativeInt32(int32_t value);
    void writeBigEndianInt32(int32_t value);
    /// 4 bytes by the stream's `endianMode`.
    void writeInt32(int32_t value);
    /// The text of the wire: a length word by `writeInt32`, with bit 31 for "wide", then the code points as
    /// ASCII, or as big-endian UTF-16 if one of them is above 127. Oddity text-count-code-points: the length
    /// counts code points and never surrogates.
    void writeString(const String& text);

    /// The text in the stream's own encoding, a line feed, a `flush`.
    void printLine(const char* utf8);
    void printLine(const String& text);
    /// Oddity print-line-flushes-twice: also flushes between the text and the line feed, unless the stream
    /// `hasWholeLines`.
    void printLine(const StringBuilder& text);

    const TextEncoding& getTextEncoding() const { return *encoding; }
    void setEndianMode(int32_t mode) { endianMode = mode; }

private:
    const TextEncoding* encoding;
    int32_t endianMode;
};

/// A value as the bytes that it has in memory.
template <class T>
void writeNative(OutputStream& stream, const T& value) {
    stream.write(&value, sizeof value);
}

} // namespace base::core
