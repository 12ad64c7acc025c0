#include "core/ReadableText.h"

namespace base::core {
namespace {

constexpr char32_t replacement = 0xFFFD;

/// The character at the start of `bytes`, and the number of its bytes; 0 bytes if there is none.
struct Decoded {
    char32_t codePoint;
    size_t size;
};

Decoded decode(const char* bytes) {
    const auto byte = [bytes](size_t place) { return static_cast<uint8_t>(bytes[place]); };
    const uint8_t lead = byte(0);
    if (lead < 0x80)
        return {lead, 1};
    const size_t size = lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
    if (size == 0)
        return {0, 0};
    char32_t codePoint = lead & (0x7Fu >> size);
    // The terminator is no continuation byte: never reads past it.
    for (size_t place = 1; place < size; ++place) {
        if ((byte(place) & 0xC0) != 0x80)
            return {0, 0};
        codePoint = codePoint << 6 | (byte(place) & 0x3F);
    }
    constexpr char32_t least[] = {0x80, 0x800, 0x10000};
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (codePoint < least[size - 2] || codePoint > 0x10FFFF || surrogate)
        return {0, 0};
    return {codePoint, size};
}

} // namespace

void appendReadable(StringBuilder& text, const char* utf8) {
    if (utf8 == nullptr)
        return;
    while (*utf8 != '\0') {
        const auto [codePoint, size] = decode(utf8);
        text.append(size > 0 ? codePoint : replacement);
        utf8 += size > 0 ? size : 1;
    }
}

} // namespace base::core
