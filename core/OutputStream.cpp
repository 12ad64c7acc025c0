#include "core/OutputStream.h"

#include "core/Assertion.h"
#include "core/InputStream.h"

#include <algorithm>
#include <cstring>

namespace base::core {
namespace {

constexpr char32_t lineFeed = U'\n';
constexpr uint32_t wideTextFlag = 0x80000000u;

} // namespace

OutputStream::OutputStream(const TextEncoding& encoding) : encoding(&encoding), endianMode(bigEndianMode) {}

void OutputStream::writeByte(uint8_t value) {
    write(&value, 1);
}

void OutputStream::writeEach(const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i)
        writeByte(bytes[i]);
}

bool OutputStream::hasDevice() {
    return true;
}

void OutputStream::setTextEncoding(const TextEncoding& newEncoding) {
    encoding = &newEncoding;
}

void OutputStream::writeText(const String& text, const TextEncoding& textEncoding) {
    textEncoding.encodeText(text, *this);
}

void OutputStream::writeText(const String& text) {
    writeText(text, *encoding);
}

void OutputStream::writeText(const char* utf8, const TextEncoding& textEncoding) {
    textEncoding.encodeText(utf8, *this);
}

void OutputStream::writeText(const char* utf8) {
    writeText(utf8, *encoding);
}

void OutputStream::writeCharacter(char32_t codePoint, const TextEncoding& textEncoding) {
    textEncoding.encodeCharacter(codePoint, *this);
}

void OutputStream::writeCharacter(char32_t codePoint) {
    writeCharacter(codePoint, *encoding);
}

void OutputStream::writeLine(const String& text, const TextEncoding& textEncoding) {
    writeText(text, textEncoding);
    writeCharacter(lineFeed, textEncoding);
    flush();
}

void OutputStream::writeLine(const char* utf8, const TextEncoding& textEncoding) {
    writeText(utf8, textEncoding);
    writeCharacter(lineFeed, textEncoding);
    flush();
}

void OutputStream::flush() {}

void OutputStream::close() {}

bool OutputStream::hasWholeLines() const {
    return false;
}

void OutputStream::writeNativeInt32(int32_t value) {
    writeNative(*this, value);
}

void OutputStream::writeBigEndianInt32(int32_t value) {
    const uint32_t swapped = __builtin_bswap32(static_cast<uint32_t>(value));
    uint8_t bytes[sizeof swapped];
    std::memcpy(bytes, &swapped, sizeof bytes);
    writeEach(bytes, sizeof bytes);
}

void OutputStream::writeInt32(int32_t value) {
    switch (endianMode) {
    case bigEndianMode:
        writeBigEndianInt32(value);
        break;
    case littleEndianMode:
        for (int shift = 0; shift <= 24; shift += 8)
            writeByte(static_cast<uint8_t>(static_cast<uint32_t>(value) >> shift));
        break;
    case machineEndianMode:
        writeNativeInt32(value);
        break;
    default:
        BASE_FAIL(concat("Illegal state: ", "Unknown endian mode"));
    }
}

void OutputStream::writeString(const String& text) {
    const char32_t* begin = text.characters();
    const char32_t* end = begin + text.length();
    const bool wide = std::any_of(begin, end, [](char32_t codePoint) { return codePoint > 127; });
    writeInt32(static_cast<int32_t>(static_cast<uint32_t>(text.length()) | (wide ? wideTextFlag : 0)));
    if (wide)
        writeText(text, UTF16BEEncoding::instance);
    else
        writeText(text, ASCIIEncoding::instance);
}

void OutputStream::printLine(const char* utf8) {
    writeLine(utf8, *encoding);
}

void OutputStream::printLine(const String& text) {
    writeLine(text, *encoding);
}

void OutputStream::printLine(const StringBuilder& text) {
    if (hasWholeLines()) {
        writeLine(text.toString(), *encoding);
        return;
    }
    writeText(text.toString());
    flush();
    writeCharacter(lineFeed);
    flush();
}

} // namespace base::core
