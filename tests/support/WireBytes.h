#pragma once

#include "core/StdStreams.h"
#include "plugin/PluginHostRequest.h"

#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>

namespace test_support {

// Bytes of the wire in tests: golden ones are written by hand as pairs of hexadecimal digits, or as text
// between single quotes, and bytes are compared in their hexadecimal form, which a failure shows.

/// The bytes of a golden text such as "00 00 00 03 'abc'".
inline std::string bytesOf(std::string_view golden) {
    std::string bytes;
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
    for (size_t i = 0; i < golden.size();) {
        if (golden[i] == '\'') {
            const size_t end = golden.find('\'', i + 1);
            bytes += golden.substr(i + 1, end - i - 1);
            i = end + 1;
        } else if (std::isspace(static_cast<unsigned char>(golden[i])) != 0) {
            ++i;
        } else {
            bytes += static_cast<char>(digit(golden[i]) * 16 + digit(golden[i + 1]));
            i += 2;
        }
    }
    return bytes;
}

inline std::string hexOf(std::string_view bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<uint8_t>(c);
        text += {digits[byte / 16], digits[byte % 16], ' '};
    }
    return text;
}

inline std::string hexOf(const void* memory, size_t size) {
    return hexOf(std::string_view(static_cast<const char*>(memory), size));
}

/// Golden bytes in the form in which bytes are compared.
inline std::string golden(std::string_view text) {
    return hexOf(bytesOf(text));
}

/// A stream of golden bytes, which the test expects to be read to its end.
class GoldenStream : public InputStream {
public:
    explicit GoldenStream(std::string_view golden) : bytes(bytesOf(golden)) {}

    /// The stream of the first `size` of some bytes.
    GoldenStream(const std::string& bytes, size_t size) : bytes(bytes.substr(0, size)) {}

    size_t read(void* buffer, size_t size) override {
        const size_t count = bytes.copy(static_cast<char*>(buffer), size, position);
        position += count;
        return count;
    }
    size_t available() override { return bytes.size() - position; }

private:
    std::string bytes;
    size_t position = 0;
};

/// What `write(stream)` writes.
template <class Write>
std::string writtenBy(Write write) {
    std::string bytes;
    base::core::StdStringOutputStream stream(&bytes);
    write(stream);
    return hexOf(bytes);
}

/// The payload of a reply, the bytes of a notification or of a state.
template <class Message>
std::string written(const Message& message) {
    return writtenBy([&](OutputStream& stream) { message.write(stream); });
}

/// The whole frame of a request, as a client sends it.
inline std::string writtenFrame(const PluginHostRequest& request) {
    return writtenBy([&](OutputStream& stream) {
        stream.writeByte(static_cast<uint8_t>(request.getType()));
        if (request.hasRequestId())
            stream.writeNativeInt32(request.requestId);
        request.write(stream);
    });
}

} // namespace test_support
