#pragma once

#include "core/String.h"

namespace base::core {

/// Appends zero-terminated UTF-8 for messages: each byte that belongs to no character (RFC 3629) becomes
/// U+FFFD, where `StringBuilder::append` throws.
void appendReadable(StringBuilder& text, const char* utf8);
inline void appendReadable(StringBuilder& text, const String& other) {
    text.append(other);
}
inline void appendReadable(StringBuilder& text, const StringBuilder& other) {
    text.append(other);
}
inline void appendReadable(StringBuilder& text, char32_t codePoint) {
    text.append(codePoint);
}
inline void appendReadable(StringBuilder& text, int32_t value) {
    text.append(value);
}
void appendReadable(StringBuilder& text, char) = delete;

/// `concat` by `appendReadable`.
template <class... Parts>
String concatReadable(const Parts&... parts) {
    StringBuilder builder;
    (appendReadable(builder, parts), ...);
    return builder.toString();
}

} // namespace base::core
