#include "core/String.h"

#include "core/MemoryInputStream.h"
#include "core/StdStreams.h"
#include "core/TextEncoding.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace base::core {
namespace {

char32_t keepCase(char32_t codePoint) {
    return codePoint;
}

char32_t foldAsciiCase(char32_t codePoint) {
    return codePoint >= U'A' && codePoint <= U'Z' ? codePoint + (U'a' - U'A') : codePoint;
}

constexpr char32_t noCharacters[1] = {0};

} // namespace

String::String(const char* utf8) {
    if (utf8 == nullptr || *utf8 == '\0')
        return;
    StringBuilder builder(utf8);
    *this = builder.toString();
}

String::String(const char16_t* utf16) {
    if (utf16 == nullptr || *utf16 == 0)
        return;
    StringBuilder builder;
    builder.appendDecoded(utf16, UTF16LEEncoding::instance.byteLength(utf16), UTF16LEEncoding::instance);
    *this = builder.toString();
}

String::String(const void* bytes, size_t size, const TextEncoding& encoding) {
    StringBuilder builder;
    builder.appendDecoded(bytes, size, encoding);
    *this = builder.toString();
}

String::String(const String& other) : buffer(other.buffer) {
    if (buffer != nullptr)
        buffer->references.fetch_add(1);
}

String::String(String&& other) noexcept : buffer(std::exchange(other.buffer, nullptr)) {}

String::~String() {
    drop();
}

String& String::operator=(const String& other) {
    if (buffer != other.buffer) {
        String copy(other);
        std::swap(buffer, copy.buffer);
    }
    return *this;
}

String& String::operator=(String&& other) noexcept {
    std::swap(buffer, other.buffer);
    return *this;
}

String String::fromInteger(int32_t value) {
    return concat(value);
}

int32_t String::length() const {
    return buffer != nullptr ? buffer->length - 1 : 0;
}

const char32_t* String::characters() const {
    return buffer != nullptr ? buffer->characters : noCharacters;
}

std::string String::toStdString() const {
    std::string text;
    // On the stack: retained by hand, so that no release frees it.
    StdStringOutputStream stream(&text);
    retain(&stream);
    stream.writeText(*this);
    return text;
}

int32_t String::compareCharacters(const char32_t* a, size_t aLength, const char32_t* b, size_t bLength,
                                  char32_t (*fold)(char32_t)) {
    const size_t common = std::min(aLength, bLength);
    for (size_t i = 0; i < common; ++i) {
        const char32_t left = fold(a[i]);
        const char32_t right = fold(b[i]);
        if (left != right)
            return static_cast<int32_t>(left) - static_cast<int32_t>(right);
    }
    if (aLength == bLength)
        return 0;
    return aLength < bLength ? -1 : 1;
}

int32_t String::compare(const String& a, const String& b) {
    if (a.buffer == b.buffer)
        return 0;
    return compareCharacters(a.characters(), static_cast<size_t>(a.length()), b.characters(),
                             static_cast<size_t>(b.length()), keepCase);
}

int32_t String::compare(const String& text, const char* utf8) {
    const StringBuilder other(utf8);
    return compareCharacters(text.characters(), static_cast<size_t>(text.length()), other.characters(),
                             other.length(), keepCase);
}

int32_t String::compareIgnoreCase(const String& text, const char* utf8) {
    const StringBuilder other(utf8);
    return compareCharacters(text.characters(), static_cast<size_t>(text.length()), other.characters(),
                             other.length(), foldAsciiCase);
}

bool String::endsWith(const String& text, const String& suffix) {
    const int32_t start = text.length() - suffix.length();
    return start >= 0 &&
           std::equal(suffix.characters(), suffix.characters() + suffix.length(), text.characters() + start);
}

int32_t String::lastIndexOf(const String& text, char32_t codePoint) {
    for (int32_t i = text.length() - 1; i >= 0; --i) {
        if (text[i] == codePoint)
            return i;
    }
    return notFound;
}

String String::substring(const String& text, int32_t start, int32_t end) {
    const int32_t last = std::min(end, text.length());
    const int32_t first = std::max(start, 0);
    if (first >= last)
        return {};
    StringBuilder builder;
    builder.append(text.characters() + first, static_cast<size_t>(last - first));
    return builder.toString();
}

void String::split(const String& text, char32_t separator, std::vector<String>& list) {
    int32_t start = 0;
    while (start < text.length()) {
        const char32_t* begin = text.characters();
        const char32_t* found = std::find(begin + start, begin + text.length(), separator);
        const auto end = static_cast<int32_t>(found - begin);
        list.push_back(substring(text, start, end));
        start = end + 1;
    }
}

String::Buffer* String::makeBuffer(const char32_t* characters, size_t length) {
    auto* copy = new char32_t[length + 1];
    std::copy_n(characters, length, copy);
    copy[length] = 0;
    return new Buffer{copy, static_cast<int32_t>(length + 1), 1};
}

void String::drop() {
    if (buffer != nullptr && buffer->references.fetch_sub(1) == 1) {
        delete[] buffer->characters;
        delete buffer;
    }
    buffer = nullptr;
}

StringBuilder::StringBuilder() {
    inlineText[0] = 0;
}

StringBuilder::StringBuilder(const char* utf8) : StringBuilder() {
    append(utf8);
}

StringBuilder::StringBuilder(const String& text) : StringBuilder() {
    append(text);
}

StringBuilder::~StringBuilder() {
    delete[] heap;
}

void StringBuilder::append(char32_t codePoint) {
    append(&codePoint, 1);
}

void StringBuilder::append(const char32_t* codePoints, size_t count) {
    reserve(count);
    char32_t* target = text();
    std::copy_n(codePoints, count, target + textLength);
    textLength += count;
    target[textLength] = 0;
}

void StringBuilder::append(const char* utf8) {
    if (utf8 != nullptr)
        appendDecoded(utf8, std::strlen(utf8), UTF8Encoding::instance);
}

void StringBuilder::append(const String& text) {
    append(text.characters(), static_cast<size_t>(text.length()));
}

void StringBuilder::append(const StringBuilder& other) {
    // Growing may move this builder's text, and with it `other`'s if they are the same.
    reserve(other.length());
    append(other.characters(), other.length());
}

void StringBuilder::append(int32_t value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%d", value);
    append(digits);
}

void StringBuilder::appendDecoded(const void* bytes, size_t size, const TextEncoding& encoding) {
    reserve(size / static_cast<size_t>(encoding.minBytesPerCharacter()));
    size_t plain = 0;
    if (encoding.hasAscii()) {
        const auto* begin = static_cast<const uint8_t*>(bytes);
        char32_t* target = text() + textLength;
        for (; plain < size && begin[plain] != 0 && begin[plain] < 0x80; ++plain)
            target[plain] = begin[plain];
        target[plain] = 0;
        textLength += plain;
        if (plain == size)
            return;
    }
    MemoryInputStream stream(static_cast<const char*>(bytes) + plain, size - plain);
    retain(&stream);
    while (stream.available() > 0) {
        const char32_t codePoint = encoding.decodeCharacter(stream);
        if (codePoint == 0)
            break;
        append(codePoint);
    }
}

void StringBuilder::reserve(size_t count) {
    const size_t needed = textLength + count;
    if (needed < textCapacity)
        return;
    const size_t grown = std::max(textCapacity * 4, needed * 2);
    auto* larger = new char32_t[grown];
    std::copy_n(characters(), textLength + 1, larger);
    delete[] heap;
    heap = larger;
    textCapacity = grown;
}

String StringBuilder::toString() const {
    String result;
    if (textLength > 0)
        result.buffer = String::makeBuffer(characters(), textLength);
    return result;
}

void TextPart::appendTo(StringBuilder& builder) const {
    switch (kind) {
    case Kind::utf8:
        return builder.append(static_cast<const char*>(text));
    case Kind::string:
        return builder.append(*static_cast<const String*>(text));
    case Kind::builder:
        return builder.append(*static_cast<const StringBuilder*>(text));
    case Kind::number:
        return builder.append(number);
    case Kind::codePoint:
        return builder.append(codePoint);
    }
}

String join(std::initializer_list<TextPart> parts) {
    StringBuilder builder;
    for (const TextPart& part : parts)
        part.appendTo(builder);
    return builder.toString();
}

} // namespace base::core
