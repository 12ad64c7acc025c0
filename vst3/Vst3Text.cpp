#include "vst3/Vst3Text.h"

#include "plugin/Extensions.h"
#include "plugin/PluginText.h"

#include <array>
#include <cstring>
#include <string>

namespace {

constexpr size_t textCapacity = sizeof(Vst::String128) / sizeof(Vst::TChar);
constexpr size_t classIdLength = 32;
constexpr char16_t replacement = 0xFFFD;

bool isHighSurrogate(char16_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

bool isLowSurrogate(char16_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

void cutBetweenCharacters(std::string& utf8, size_t room) {
    if (utf8.size() <= room)
        return;
    const auto continues = [&](size_t place) { return (static_cast<uint8_t>(utf8[place]) & 0xC0) == 0x80; };
    while (room > 0 && continues(room))
        --room;
    utf8.resize(room);
}

} // namespace

bool isInterface(const char* identifier, const FUID& expected) {
    constexpr TUID none{};
    return std::memcmp(identifier != nullptr ? identifier : none, expected.toTUID(), sizeof(TUID)) == 0;
}

String classIdText(const FUID& classId) {
    char text[classIdLength + 1] = {};
    classId.toString(text);
    return text;
}

FUID parseClassId(const String& text) {
    FUID classId;
    classId.fromString(text.toStdString().c_str());
    return classId;
}

String pluginText(const Vst::String128& text) {
    std::array<char16_t, textCapacity + 1> units{};
    for (size_t i = 0; i < textCapacity && text[i] != 0; ++i) {
        const bool startsPair =
            isHighSurrogate(text[i]) && i + 1 < textCapacity && isLowSurrogate(text[i + 1]);
        const bool endsPair = isLowSurrogate(text[i]) && i > 0 && isHighSurrogate(text[i - 1]);
        const bool isHalf = (isHighSurrogate(text[i]) || isLowSurrogate(text[i])) && !startsPair && !endsPair;
        units[i] = isHalf ? replacement : text[i];
    }
    const String decoded(units.data());
    return isEnabled(Extension::text) ? sendableText(decoded) : decoded;
}

void copyPluginText(const Vst::String128& text, char* buffer, int32_t size) {
    if (size <= 0)
        return;
    const auto room = static_cast<size_t>(size);
    std::string utf8 = pluginText(text).toStdString();
    if (isEnabled(Extension::text))
        cutBetweenCharacters(utf8, room);
    std::strncpy(buffer, utf8.c_str(), room);
}
