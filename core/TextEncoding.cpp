#include "core/TextEncoding.h"

#include "core/Exception.h"
#include "core/InputStream.h"
#include "core/MemoryInputStream.h"
#include "core/OutputStream.h"

#include <cstdio>
#include <cstring>

namespace base::core {
namespace {

constexpr int32_t noLimit = -1;

} // namespace

constinit const UTF8Encoding UTF8Encoding::instance;
constinit const UTF16BEEncoding UTF16BEEncoding::instance;
constinit const UTF16LEEncoding UTF16LEEncoding::instance;
constinit const Latin1Encoding Latin1Encoding::instance;
constinit const ASCIIEncoding ASCIIEncoding::instance;

void TextEncoding::encodeText(const String& text, OutputStream& stream) const {
    for (int32_t i = 0; i < text.length(); ++i)
        encodeCharacter(text[i], stream);
}

void TextEncoding::encodeText(const char* utf8, OutputStream& stream) const {
    MemoryInputStream bytes(utf8, std::strlen(utf8));
    retain(&bytes);
    while (bytes.available() > 0)
        encodeCharacter(UTF8Encoding::instance.decodeCharacter(bytes), stream);
}

String TextEncoding::decodeText(InputStream& stream, int32_t maxCharacters) const {
    constexpr size_t pieceSize = 4096;
    char32_t piece[pieceSize];
    size_t gathered = 0;
    StringBuilder builder;
    for (int32_t count = 0; maxCharacters == noLimit || count < maxCharacters; ++count) {
        const char32_t codePoint = decodeCharacter(stream);
        if (codePoint == 0)
            break;
        piece[gathered++] = codePoint;
        if (gathered == pieceSize) {
            builder.append(piece, gathered);
            gathered = 0;
        }
    }
    builder.append(piece, gathered);
    return builder.toString();
}

String TextEncoding::decodeText(InputStream& stream, char32_t terminator, int32_t maxCharacters) const {
    StringBuilder builder;
    for (int32_t count = 0; maxCharacters == noLimit || count < maxCharacters; ++count) {
        const char32_t codePoint = decodeCharacter(stream);
        if (codePoint == terminator || codePoint == 0)
            break;
        builder.append(codePoint);
    }
    return builder.toString();
}

void UTF8Encoding::encodeCharacter(char32_t codePoint, OutputStream& stream) const {
    uint8_t bytes[4];
    size_t count = 0;
    const auto continuation = [&](int shift) {
        bytes[count++] = static_cast<uint8_t>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80) {
        bytes[count++] = static_cast<uint8_t>(codePoint);
    } else if (codePoint < 0x800) {
        bytes[count++] = static_cast<uint8_t>(0xC0 | (codePoint >> 6));
        continuation(0);
    } else if (codePoint < 0x10000) {
        bytes[count++] = static_cast<uint8_t>(0xE0 | (codePoint >> 12));
        continuation(6);
        continuation(0);
    } else if (codePoint <= 0x10FFFF) {
        bytes[count++] = static_cast<uint8_t>(0xF0 | (codePoint >> 18));
        continuation(12);
        continuation(6);
        continuation(0);
    }
    if (count > 0)
        stream.write(bytes, count);
}

char32_t UTF8Encoding::decodeCharacter(InputStream& stream) const {
    const uint8_t lead = stream.readByte();
    if (lead < 0x80)
        return lead;
    size_t continuations = 0;
    char32_t codePoint = 0;
    if ((lead & 0xE0) == 0xC0) {
        continuations = 1;
        codePoint = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        continuations = 2;
        codePoint = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        continuations = 3;
        codePoint = lead & 0x07;
    } else {
        throw IOException("Invalid UTF8 encoding");
    }
    // The whole sequence is consumed before it is checked.
    uint8_t bytes[3];
    stream.readFully(bytes, continuations);
    for (size_t i = 0; i < continuations; ++i) {
        if ((bytes[i] & 0xC0) != 0x80)
            throw IOException("Invalid UTF8 encoding");
        codePoint = (codePoint << 6) | (bytes[i] & 0x3F);
    }
    return codePoint;
}

size_t UTF8Encoding::byteLength(const void* data) const {
    return std::strlen(static_cast<const char*>(data));
}

void UTF16Encoding::encodeCharacter(char32_t codePoint, OutputStream& stream) const {
    if (codePoint < 0x10000) {
        writeUnit(codePoint, stream);
        return;
    }
    writeUnit(0xD800 | ((((codePoint >> 16) & 0x1F) - 1) << 6) | ((codePoint >> 10) & 0x3F), stream);
    writeUnit(0xDC00 | (codePoint & 0x3FF), stream);
}

char32_t UTF16Encoding::decodeCharacter(InputStream& stream) const {
    const uint32_t first = readUnit(stream);
    // Oddity lone-d800-decodes: 0xD800 begins no pair.
    if (first < 0xD801 || first > 0xDBFF)
        return first;
    const uint32_t second = readUnit(stream);
    return (second & 0x3FF) | ((first << 10) & 0xFFFF) | ((((first >> 6) & 0x1F) + 1) << 16);
}

size_t UTF16Encoding::byteLength(const void* data) const {
    const auto* bytes = static_cast<const uint8_t*>(data);
    size_t length = 0;
    while (bytes[length] != 0 || bytes[length + 1] != 0)
        length += 2;
    return length;
}

void UTF16Encoding::writeUnit(uint32_t unit, OutputStream& stream) const {
    const auto high = static_cast<uint8_t>(unit >> 8);
    const auto low = static_cast<uint8_t>(unit);
    const uint8_t bytes[2] = {bigEndian ? high : low, bigEndian ? low : high};
    stream.write(bytes, sizeof bytes);
}

uint32_t UTF16Encoding::readUnit(InputStream& stream) const {
    uint8_t bytes[2];
    stream.readFully(bytes, sizeof bytes);
    return bigEndian ? static_cast<uint32_t>(bytes[0] << 8 | bytes[1])
                     : static_cast<uint32_t>(bytes[1] << 8 | bytes[0]);
}

void Latin1Encoding::encodeCharacter(char32_t codePoint, OutputStream& stream) const {
    stream.writeByte(static_cast<uint8_t>(codePoint));
}

char32_t Latin1Encoding::decodeCharacter(InputStream& stream) const {
    return stream.readByte();
}

size_t Latin1Encoding::byteLength(const void* data) const {
    return std::strlen(static_cast<const char*>(data));
}

void ASCIIEncoding::encodeCharacter(char32_t codePoint, OutputStream& stream) const {
    if (codePoint >= 0x80)
        throw IOException(concat("Character '", codePoint, "' cannot be encoded in ASCII format"));
    stream.writeByte(static_cast<uint8_t>(codePoint));
}

char32_t ASCIIEncoding::decodeCharacter(InputStream& stream) const {
    const uint8_t byte = stream.readByte();
    if (byte > 0x7F) {
        char hexadecimal[40];
        std::snprintf(hexadecimal, sizeof hexadecimal, "%x", byte);
        throw IOException(concat("Invalid ASCII byte: ", hexadecimal));
    }
    return byte;
}

size_t ASCIIEncoding::byteLength(const void* data) const {
    return std::strlen(static_cast<const char*>(data));
}

} // namespace base::core
