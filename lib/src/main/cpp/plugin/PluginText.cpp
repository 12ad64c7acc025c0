#include "plugin/PluginText.h"

#include "core/TextEncoding.h"
#include "plugin/Extensions.h"

#include <cstring>

using base::core::Latin1Encoding;
using base::core::UTF8Encoding;

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isHighSurrogate(char32_t codePoint) {
    return codePoint >= 0xD800 && codePoint <= 0xDBFF;
}

bool isLowSurrogate(char32_t codePoint) {
    return codePoint >= 0xDC00 && codePoint <= 0xDFFF;
}

String decode(const char* bytes, size_t size) {
    if (!isEnabled(Extension::text))
        return {bytes, size, UTF8Encoding::instance};
    try {
        return sendableText({bytes, size, UTF8Encoding::instance});
    } catch (const IOException&) {
        return {bytes, size, Latin1Encoding::instance};
    }
}

} // namespace

String pluginText(const char* buffer, int32_t size) {
    return decode(buffer, strnlen(buffer, static_cast<size_t>(size)));
}

String pluginText(const char* text) {
    return text != nullptr ? decode(text, std::strlen(text)) : String();
}

String sendableText(const String& text) {
    StringBuilder sendable;
    for (int32_t i = 0; i < text.length(); ++i) {
        const bool isPair = isHighSurrogate(text[i]) && i + 1 < text.length() && isLowSurrogate(text[i + 1]);
        const bool isSendable = text[i] <= 0xFFFF && !isHighSurrogate(text[i]) && !isLowSurrogate(text[i]);
        sendable.append(isSendable ? text[i] : replacement);
        if (isPair)
            ++i;
    }
    return sendable.toString();
}
