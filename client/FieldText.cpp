#include "client/FieldText.h"

#include <charconv>
#include <system_error>

namespace {

/// False if `text` isn't wholly a number.
template <class Number>
bool parseNumber(std::string_view text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [parsed, failure] = std::from_chars(text.data(), end, number);
    return failure == std::errc() && parsed == end;
}

} // namespace

void FieldWriter::write(std::string_view field) {
    text.append(std::to_string(field.size())).append(":").append(field).append(",");
}

void FieldWriter::write(int64_t number) {
    write(std::string_view(std::to_string(number)));
}

std::string FieldReader::readText() {
    const size_t colon = rest.find(':');
    size_t size = 0;
    damaged = damaged || colon == std::string_view::npos || !parseNumber(rest.substr(0, colon), size) ||
              size >= rest.size() - colon - 1 || rest[colon + 1 + size] != ',';
    if (damaged)
        return {};
    const std::string_view field = rest.substr(colon + 1, size);
    rest.remove_prefix(colon + 1 + size + 1);
    return std::string(field);
}

int64_t FieldReader::readNumber() {
    int64_t number = 0;
    damaged = !parseNumber(readText(), number) || damaged;
    return number;
}
