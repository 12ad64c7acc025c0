#include "core/Base64.h"

#include <cstddef>
#include <cstdio>

namespace base::core {
namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";
constexpr size_t encodedSize = 25;

} // namespace

std::unique_ptr<char, FreeMemory> encodeBase64(const std::array<uint8_t, 16>& bytes) {
    std::unique_ptr<char, FreeMemory> text(static_cast<char*>(std::malloc(encodedSize)));
    if (text == nullptr) {
        std::puts("ERROR: base64 could not allocate enough memory.");
        std::puts("I must stop because I could not get enough");
        return nullptr;
    }
    char* next = text.get();
    const auto put = [&](uint32_t group, int shift) { *next++ = alphabet[(group >> shift) & 0x3F]; };
    for (size_t i = 0; i + 3 <= bytes.size(); i += 3) {
        const auto group = static_cast<uint32_t>(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6)
            put(group, shift);
    }
    // 16 bytes are five groups of three and one byte.
    const auto last = static_cast<uint32_t>(bytes.back() << 4);
    put(last, 6);
    put(last, 0);
    *next++ = '=';
    *next++ = '=';
    *next = '\0';
    return text;
}

} // namespace base::core
