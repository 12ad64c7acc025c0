#include "process/Bytes.h"

#include <cstdio>
#include <stdexcept>

namespace {

int digit(char character) {
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    throw std::logic_error(std::string("no hexadecimal digit: ") + character);
}

} // namespace

Bytes bytes(std::string_view golden) {
    Bytes result;
    size_t i = 0;
    while (i < golden.size()) {
        if (golden[i] == ' ') {
            ++i;
        } else if (golden[i] == '\'') {
            const size_t end = golden.find('\'', i + 1);
            if (end == std::string_view::npos)
                throw std::logic_error("a text without its closing quote");
            result.insert(result.end(), golden.begin() + static_cast<ptrdiff_t>(i) + 1,
                          golden.begin() + static_cast<ptrdiff_t>(end));
            i = end + 1;
        } else {
            if (i + 1 == golden.size())
                throw std::logic_error("half a byte");
            result.push_back(static_cast<uint8_t>(digit(golden[i]) * 16 + digit(golden[i + 1])));
            i += 2;
        }
    }
    return result;
}

std::string readable(const Bytes& data) {
    std::string result;
    for (const uint8_t byte : data) {
        char two[4];
        std::snprintf(two, sizeof two, "%02X ", byte);
        result += two;
    }
    return result;
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes little(int32_t value) {
    const auto bits = static_cast<uint32_t>(value);
    return {static_cast<uint8_t>(bits), static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits >> 16),
            static_cast<uint8_t>(bits >> 24)};
}

Bytes big(int32_t value) {
    const auto bits = static_cast<uint32_t>(value);
    return {static_cast<uint8_t>(bits >> 24), static_cast<uint8_t>(bits >> 16),
            static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits)};
}

Bytes text(std::string_view ascii) {
    return big(static_cast<int32_t>(ascii.size())) + Bytes(ascii.begin(), ascii.end());
}

Bytes createFrame(int32_t requestId, int32_t instanceId, std::string_view path, std::string_view identifier,
                  std::string_view preset) {
    return bytes("00") + little(requestId) + little(instanceId) + text(path) + text(identifier) +
           text(preset) + bytes("00");
}

Bytes failureFrame(int32_t requestId, std::string_view message) {
    return little(requestId) + bytes("00") + text(message);
}

Bytes destroyFrame(int32_t instanceId) {
    return bytes("01") + little(instanceId);
}

Bytes updateIoFrame(int32_t requestId, int32_t instanceId) {
    return bytes("04") + little(requestId) + little(instanceId);
}

Bytes setProgramFrame(int32_t instanceId, int32_t program) {
    return bytes("07") + little(instanceId) + little(program);
}
