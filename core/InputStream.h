#pragma once

#include "core/Object.h"
#include "core/String.h"
#include "core/TextEncoding.h"

#include <cstddef>
#include <cstdint>

namespace base::core {

/// Byte order of `readInt32` and `writeInt32`. Every stream of the program is made with `bigEndianMode`.
constexpr int32_t bigEndianMode = 0;
constexpr int32_t littleEndianMode = 1;
constexpr int32_t machineEndianMode = 2;

/// An abstract source of bytes. Not thread-safe. Failures are `IOException`; a stream that ends where a value
/// is expected throws `EOSException`. No sticky error state.
class InputStream : public Object {
public:
    explicit InputStream(const TextEncoding& encoding = UTF8Encoding::instance);

    virtual uint8_t readByte();
    /// Reads 1 to `size` bytes and returns their number; 0 is the end of the stream.
    virtual size_t read(void* buffer, size_t size) = 0;
    /// Discards `count` bytes; throws `EOSException` if the stream ends before.
    virtual void skip(size_t count);
    /// The number of bytes that can be read without blocking.
    virtual size_t available();
    virtual void close();
    virtual bool hasDevice();
    virtual void setTextEncoding(const TextEncoding& newEncoding);
    virtual char32_t readCharacter(const TextEncoding& textEncoding);
    virtual char32_t readCharacter();
    /// Reads up to `terminator`, the code point 0 or `maxCharacters` (-1: no limit).
    virtual String readText(const TextEncoding& textEncoding, char32_t terminator, int32_t maxCharacters);
    virtual String readText(const TextEncoding& textEncoding, int32_t maxCharacters);
    /// A line without its line feed; a carriage return stays in the text.
    virtual String readLine(const TextEncoding& textEncoding);
    virtual String readLine();
    /// Reads exactly `size` bytes that a buffer has, which stay there until the next read; null, and nothing
    /// is read, if it doesn't have all of them.
    virtual const uint8_t* readBuffered(size_t size);

    /// Reads exactly `size` bytes; throws `EOSException` if the stream ends before.
    void readFully(void* buffer, size_t size);
    /// 4 bytes in the machine's order.
    int32_t readNativeInt32();
    int32_t readBigEndianInt32();
    /// 4 bytes in the machine's order, or, with false, swapped.
    int32_t readInt32(bool nativeOrder);
    /// 4 bytes by the stream's `endianMode`.
    int32_t readInt32();
    /// One byte; anything but 0 and 1 throws "Unexpected value for bool".
    bool readBool() { return boolOf(readByte()); }
    static bool boolOf(uint8_t value);
    /// The text that `OutputStream::writeString` writes.
    String readString();

    const TextEncoding& getTextEncoding() const { return *encoding; }
    void setEndianMode(int32_t mode) { endianMode = mode; }

private:
    const TextEncoding* encoding;
    int32_t endianMode = bigEndianMode;
};

/// A value as the bytes that it has in memory.
template <class T>
T readNative(InputStream& stream) {
    T value;
    stream.readFully(&value, sizeof value);
    return value;
}

} // namespace base::core
