#pragma once

#include "core/Object.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace base::core {

class StringBuilder;
class TextEncoding;

/// The text type: a shared, immutable array of code points; null is the empty text.
///
/// Copying shares the buffer by an atomic count: any thread may copy a `String` that isn't being assigned to.
/// Conversions use a `TextEncoding`; 8-bit text is UTF-8 unless another encoding is given.
class String {
public:
    /// As a result: no such place. As an argument: the end of the text.
    static constexpr int32_t notFound = 0x7FFFFFFF;

    String() = default;
    /// Decodes zero-terminated UTF-8; null gives the empty text. Throws `IOException` for invalid bytes.
    String(const char* utf8);
    /// Decodes zero-terminated UTF-16, little-endian; null gives the empty text.
    explicit String(const char16_t* utf16);
    /// Decodes `size` bytes by `encoding`, up to the first code point 0. Throws `IOException`.
    String(const void* bytes, size_t size, const TextEncoding& encoding);
    String(const String& other);
    String(String&& other) noexcept;
    ~String();
    String& operator=(const String& other);
    String& operator=(String&& other) noexcept;

    /// Decimal, by "%d".
    static String fromInteger(int32_t value);

    /// The number of code points.
    int32_t length() const;
    bool isEmpty() const { return buffer == nullptr; }
    char32_t operator[](int32_t index) const { return buffer->characters[index]; }
    /// The code points, ended by a 0; valid as long as this text.
    const char32_t* characters() const;

    /// UTF-8, also of every path or name that goes to the operating system.
    std::string toStdString() const;

    /// 0 if equal; the code-point difference at the first place that differs; -1 if `a` is a proper prefix of
    /// `b`, 1 if `b` is one of `a`. A null text equals an empty one.
    static int32_t compare(const String& a, const String& b);
    static int32_t compare(const String& text, const char* utf8);
    /// The same with "A" to "Z" folded to lower case on both sides; no other code point is folded.
    static int32_t compareIgnoreCase(const String& text, const char* utf8);
    /// Every text ends with a null suffix.
    static bool endsWith(const String& text, const String& suffix);
    /// The index of the last occurrence, or `notFound`.
    static int32_t lastIndexOf(const String& text, char32_t codePoint);
    /// From `start` up to, and not including, `end`; `notFound` as `end` means the end of the text. Places
    /// outside of the text are clamped to it.
    static String substring(const String& text, int32_t start, int32_t end);
    /// Appends the pieces between occurrences of `separator`, with empty ones, except one behind a
    /// `separator` at the end.
    static void split(const String& text, char32_t separator, std::vector<String>& list);

    friend bool operator==(const String& a, const String& b) { return compare(a, b) == 0; }
    friend bool operator==(const String& a, const char* b) { return compare(a, b) == 0; }

private:
    friend class StringBuilder;

    struct Buffer {
        char32_t* characters;
        int32_t length; // with the terminator
        std::atomic<int32_t> references;
    };

    static Buffer* makeBuffer(const char32_t* characters, size_t length);
    static int32_t compareCharacters(const char32_t* a, size_t aLength, const char32_t* b, size_t bLength,
                                     char32_t (*fold)(char32_t));
    void drop();

    Buffer* buffer = nullptr;
};

/// Composes text on the stack: the first 2048 code points need no heap. Not shared between threads.
class StringBuilder : public NonCopyable, public NonMovable {
public:
    StringBuilder();
    explicit StringBuilder(const char* utf8);
    explicit StringBuilder(const String& text);
    ~StringBuilder();

    void append(char32_t codePoint);
    void append(const char32_t* codePoints, size_t count);
    /// Throws `IOException` for invalid UTF-8.
    void append(const char* utf8);
    void append(const String& text);
    void append(const StringBuilder& other);
    /// Decimal, by "%d".
    void append(int32_t value);
    void append(char) = delete;

    /// Decodes `size` bytes up to their end or the first code point 0. Throws `IOException` for bytes that
    /// are no text, `std::bad_alloc` if there is no room.
    void appendDecoded(const void* bytes, size_t size, const TextEncoding& encoding);

    /// Makes room for `count` more code points.
    void reserve(size_t count);

    size_t length() const { return textLength; }
    size_t capacity() const { return textCapacity; }
    const char32_t* characters() const { return heap != nullptr ? heap : inlineText; }

    /// A `String` of exactly this size; the empty text gives a null one.
    String toString() const;

private:
    static constexpr size_t inlineCapacity = 2048;

    char32_t* text() { return heap != nullptr ? heap : inlineText; }

    char32_t inlineText[inlineCapacity];
    char32_t* heap = nullptr;
    size_t textLength = 0;
    size_t textCapacity = inlineCapacity;
};

/// What `concat` joins, for the length of its call.
class TextPart {
public:
    TextPart(const char* utf8) : kind(Kind::utf8), text(utf8) {}
    TextPart(const String& string) : kind(Kind::string), text(&string) {}
    TextPart(const StringBuilder& builder) : kind(Kind::builder), text(&builder) {}
    TextPart(int32_t number) : kind(Kind::number), number(number) {}
    TextPart(char32_t codePoint) : kind(Kind::codePoint), codePoint(codePoint) {}
    TextPart(char) = delete;

    void appendTo(StringBuilder& builder) const;

private:
    enum class Kind : uint8_t { utf8, string, builder, number, codePoint };

    Kind kind;
    union {
        const void* text;
        int32_t number;
        char32_t codePoint;
    };
};

String join(std::initializer_list<TextPart> parts);

/// Joins texts, zero-terminated UTF-8, code points and integers to one `String`.
template <class... Parts>
String concat(const Parts&... parts) {
    return join({TextPart(parts)...});
}

} // namespace base::core
