#include "library/Texts.h"

#include "core/Exception.h"
#include "library/Failure.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace client_library {
namespace {

Failure invalid(const char* what, const char* reason) {
    return {PLUGIN_HOST_INVALID_ARGUMENT, std::string(what) + " " + reason};
}

} // namespace

String readText(const char* text, const char* what) {
    if (text == nullptr)
        return {};
    String result;
    try {
        result = String(text);
    } catch (const IOException&) {
        throw invalid(what, "is no UTF-8");
    }
    const char32_t* characters = result.characters();
    const auto isSurrogate = [](char32_t c) { return c >= 0xD800 && c <= 0xDFFF; };
    // The decoder takes what other systems write: characters in more bytes than they need, and surrogates.
    if (result.toStdString() != text || std::any_of(characters, characters + result.length(), isSurrogate))
        throw invalid(what, "is no UTF-8");
    constexpr char32_t highest = 0xFFFF;
    if (std::any_of(characters, characters + result.length(), [](char32_t c) { return c > highest; }))
        throw invalid(what, "has a character above U+FFFF");
    return result;
}

String readPath(const char* path, const char* what) {
    if (path == nullptr || *path == '\0')
        throw invalid(what, "is missing");
    String text = readText(path, what);
    if (*path == '/')
        return text;
    return String(std::filesystem::absolute(path).c_str());
}

double readTime(int32_t milliseconds, double otherwise, const char* what) {
    if (milliseconds < 0)
        throw invalid(what, "is negative");
    return milliseconds == 0 ? otherwise : milliseconds / 1000.0;
}

int32_t readNumber(int32_t number, int32_t otherwise, int32_t highest, const char* what) {
    if (number < 0 || number > highest)
        throw invalid(what, "is out of range");
    return number == 0 ? otherwise : number;
}

} // namespace client_library
