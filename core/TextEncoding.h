#pragma once

#include "core/String.h"

#include <cstddef>
#include <cstdint>

namespace base::core {

class InputStream;
class OutputStream;

/// Converts between code points and bytes. Each encoding has one static object, which streams point to.
/// Stateless: any thread.
class TextEncoding {
public:
    /// Throws `IOException` for a code point outside of the encoding.
    virtual void encodeCharacter(char32_t codePoint, OutputStream& stream) const = 0;
    virtual void encodeText(const String& text, OutputStream& stream) const;
    /// Decodes zero-terminated UTF-8 and encodes each code point.
    virtual void encodeText(const char* utf8, OutputStream& stream) const;
    /// Throws `IOException` for bytes that are no text, `EOSException` at the end of the stream.
    virtual char32_t decodeCharacter(InputStream& stream) const = 0;
    /// Reads up to the code point 0, which is consumed and not part of the text, or `maxCharacters`; -1 is no
    /// limit.
    virtual String decodeText(InputStream& stream, int32_t maxCharacters) const;
    /// The same, and also ends at `terminator`.
    virtual String decodeText(InputStream& stream, char32_t terminator, int32_t maxCharacters) const;
    virtual int32_t minBytesPerCharacter() const = 0;
    /// Whether each code point below 128 is that one byte.
    bool hasAscii() const { return minBytesPerCharacter() == 1; }
    /// A fixed value; single characters may take more.
    virtual int32_t maxBytesPerCharacter() const = 0;
    /// The length in bytes of zero-terminated encoded data.
    virtual size_t byteLength(const void* data) const = 0;

protected:
    constexpr TextEncoding() = default;
    ~TextEncoding() = default;
};

/// UTF-8 (RFC 3629), but decodes overlong forms, surrogates and values above U+10FFFF.
class UTF8Encoding final : public TextEncoding {
public:
    static const UTF8Encoding instance;

    void encodeCharacter(char32_t codePoint, OutputStream& stream) const override;
    char32_t decodeCharacter(InputStream& stream) const override;
    int32_t minBytesPerCharacter() const override { return 1; }
    int32_t maxBytesPerCharacter() const override { return 4; }
    size_t byteLength(const void* data) const override;
};

/// UTF-16 (RFC 2781), but the second unit of a pair isn't tested. Oddity lone-d800-decodes: a unit of 0xD800
/// is a code point of its own when decoding.
class UTF16Encoding : public TextEncoding {
public:
    void encodeCharacter(char32_t codePoint, OutputStream& stream) const override;
    char32_t decodeCharacter(InputStream& stream) const override;
    int32_t minBytesPerCharacter() const override { return 2; }
    int32_t maxBytesPerCharacter() const override { return 2; }
    size_t byteLength(const void* data) const override;

protected:
    constexpr explicit UTF16Encoding(bool bigEndian) : bigEndian(bigEndian) {}
    ~UTF16Encoding() = default;

private:
    void writeUnit(uint32_t unit, OutputStream& stream) const;
    uint32_t readUnit(InputStream& stream) const;

    bool bigEndian;
};

class UTF16BEEncoding final : public UTF16Encoding {
public:
    static const UTF16BEEncoding instance;
    constexpr UTF16BEEncoding() : UTF16Encoding(true) {}
};

class UTF16LEEncoding final : public UTF16Encoding {
public:
    static const UTF16LEEncoding instance;
    constexpr UTF16LEEncoding() : UTF16Encoding(false) {}
};

/// ISO 8859-1: writes the low 8 bits of the code point without a check.
class Latin1Encoding final : public TextEncoding {
public:
    static const Latin1Encoding instance;

    void encodeCharacter(char32_t codePoint, OutputStream& stream) const override;
    char32_t decodeCharacter(InputStream& stream) const override;
    int32_t minBytesPerCharacter() const override { return 1; }
    int32_t maxBytesPerCharacter() const override { return 4; }
    size_t byteLength(const void* data) const override;
};

/// 7-bit text; anything above throws `IOException` in both directions.
class ASCIIEncoding final : public TextEncoding {
public:
    static const ASCIIEncoding instance;

    void encodeCharacter(char32_t codePoint, OutputStream& stream) const override;
    char32_t decodeCharacter(InputStream& stream) const override;
    int32_t minBytesPerCharacter() const override { return 1; }
    int32_t maxBytesPerCharacter() const override { return 1; }
    size_t byteLength(const void* data) const override;
};

} // namespace base::core
