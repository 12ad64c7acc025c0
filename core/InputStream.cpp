#include "core/InputStream.h"

#include "core/Exception.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

namespace base::core {
namespace {

constexpr char32_t lineFeed = U'\n';
constexpr int32_t noLimit = -1;
constexpr uint32_t wideTextFlag = 0x80000000u;

int32_t swapBytes(int32_t value) {
    return static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(value)));
}

[[noreturn]] void failToAllocateString(size_t byteCount) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(byteCount));
    throw IOException(concat("Could not allocate ", digits, " bytes for reading a string"));
}

} // namespace

InputStream::InputStream(const TextEncoding& encoding) : encoding(&encoding) {}

uint8_t InputStream::readByte() {
    uint8_t byte;
    readFully(&byte, 1);
    return byte;
}

void InputStream::skip(size_t count) {
    uint8_t scratch[1024];
    while (count > 0) {
        const size_t delivered = read(scratch, std::min(count, sizeof scratch));
        if (delivered == 0)
            throw EOSException();
        count -= delivered;
    }
}

const uint8_t* InputStream::readBuffered(size_t) {
    return nullptr;
}

size_t InputStream::available() {
    return 0;
}

void InputStream::close() {}

bool InputStream::hasDevice() {
    return true;
}

void InputStream::setTextEncoding(const TextEncoding& newEncoding) {
    encoding = &newEncoding;
}

char32_t InputStream::readCharacter(const TextEncoding& textEncoding) {
    return textEncoding.decodeCharacter(*this);
}

char32_t InputStream::readCharacter() {
    return readCharacter(*encoding);
}

String InputStream::readText(const TextEncoding& textEncoding, char32_t terminator, int32_t maxCharacters) {
    return textEncoding.decodeText(*this, terminator, maxCharacters);
}

String InputStream::readText(const TextEncoding& textEncoding, int32_t maxCharacters) {
    return textEncoding.decodeText(*this, maxCharacters);
}

String InputStream::readLine(const TextEncoding& textEncoding) {
    return readText(textEncoding, lineFeed, noLimit);
}

String InputStream::readLine() {
    return readLine(*encoding);
}

void InputStream::readFully(void* buffer, size_t size) {
    auto* target = static_cast<uint8_t*>(buffer);
    while (size > 0) {
        const size_t delivered = read(target, size);
        if (delivered == 0)
            throw EOSException();
        target += delivered;
        size -= delivered;
    }
}

int32_t InputStream::readNativeInt32() {
    return readNative<int32_t>(*this);
}

int32_t InputStream::readBigEndianInt32() {
    return swapBytes(readNativeInt32());
}

int32_t InputStream::readInt32(bool nativeOrder) {
    return nativeOrder ? readNativeInt32() : readBigEndianInt32();
}

int32_t InputStream::readInt32() {
    return readInt32(endianMode != bigEndianMode);
}

bool InputStream::boolOf(uint8_t value) {
    if (value > 1)
        throw IOException("Unexpected value for bool");
    return value == 1;
}

String InputStream::readString() {
    const auto header = static_cast<uint32_t>(readInt32());
    if ((header & ~wideTextFlag) == 0)
        return {};
    const bool wide = (header & wideTextFlag) != 0;
    // Oddity text-count-code-points: units are read by a count of code points, of which one may be two units.
    const size_t byteCount = wide ? header << 1 : header;
    const TextEncoding& textEncoding = wide ? static_cast<const TextEncoding&>(UTF16BEEncoding::instance)
                                            : static_cast<const TextEncoding&>(ASCIIEncoding::instance);
    char onStack[1024];
    if (byteCount < sizeof onStack) {
        readFully(onStack, byteCount);
        return {onStack, byteCount, textEncoding};
    }
    const std::unique_ptr<void, void (*)(void*)> onHeap(std::malloc(byteCount), std::free);
    if (onHeap == nullptr)
        failToAllocateString(byteCount);
    readFully(onHeap.get(), byteCount);
    try {
        return {onHeap.get(), byteCount, textEncoding};
    } catch (const std::bad_alloc&) {
        failToAllocateString(byteCount);
    }
}

} // namespace base::core
