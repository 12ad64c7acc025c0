#include "process/StreamGenerator.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr uint8_t separator = '/';
constexpr int32_t knownInstance = 1;

} // namespace

StreamGenerator::StreamGenerator(uint32_t seed) : source(seed) {}

Bytes StreamGenerator::randomRequests() {
    return randomBytes();
}

Bytes StreamGenerator::randomCommands() {
    return randomBytes();
}

Bytes StreamGenerator::nearlyRightRequests() {
    Bytes stream;
    for (uint32_t frames = 1 + below(16); frames > 0; --frames) {
        Bytes frame = request();
        if (below(4) == 0)
            damage(frame);
        stream = stream + frame;
    }
    return stream;
}

Bytes StreamGenerator::nearlyRightCommands() {
    Bytes stream;
    for (uint32_t commands = 1 + below(16); commands > 0; --commands) {
        Bytes bytesOfOne = command();
        if (below(6) == 0)
            damage(bytesOfOne);
        stream = stream + bytesOfOne;
    }
    return stream;
}

uint32_t StreamGenerator::below(uint32_t limit) {
    return static_cast<uint32_t>(source()) % limit;
}

uint8_t StreamGenerator::anyByte() {
    const auto byte = static_cast<uint8_t>(below(256));
    return byte == separator ? uint8_t{0} : byte;
}

Bytes StreamGenerator::randomBytes() {
    // Small bytes are types and counts, and get further than others.
    const uint32_t smallShare = below(5);
    Bytes stream(1 + below(1500));
    for (uint8_t& byte : stream)
        byte = below(4) < smallShare ? static_cast<uint8_t>(below(16)) : anyByte();
    return stream;
}

Bytes StreamGenerator::request() {
    constexpr std::string_view files[] = {"echo.so", "tone.so", "trio.so", "none.so", "some.vst3", ""};
    constexpr std::string_view identifiers[] = {"", "1416776815", "1416779120", "0", "abc"};
    const auto requestId = static_cast<int32_t>(1 + below(40));
    const Bytes target = little(static_cast<int32_t>(1 + below(4)));
    switch (below(14)) {
    case 0:
    case 1:
    case 2:
        return bytes("00") + little(requestId) + target + text(files[below(6)]) +
               text(identifiers[below(5)]) + text(below(4) == 0 ? "bright.fxp" : "") +
               bytes(below(2) == 0 ? "00" : "01");
    case 3:
        return bytes("01") + target;
    case 4:
        return bytes("02") + target + little(1) + little(0) + bytes("01") + text("Title");
    case 5:
        return bytes("03") + target;
    case 6:
        return bytes("04") + little(requestId) + target;
    case 7:
        return bytes("05") + little(requestId) + target + text("bright.fxp");
    case 8:
        return bytes("06") + little(requestId) + target + text("bright.fxp");
    case 9:
        return bytes("07") + target + little(static_cast<int32_t>(below(5)));
    case 10:
        return bytes("08 09 0A 0B");
    case 11:
        return bytes("0D");
    case 12:
        return bytes("0E") + target + bytes("80 00 00 03 00'a' 00 E9 20 AC");
    default:
        return bytes("0F") + target + big(10) + big(20) + big(300) + big(200);
    }
}

Bytes StreamGenerator::command() {
    const Bytes target = little(knownInstance);
    switch (below(4)) {
    case 0:
        return bytes("00") + target;
    case 1:
        return bytes("01") + target;
    default:
        return bytes("02") + target + little(static_cast<int32_t>(below(300))) +
               bytes(below(2) == 0 ? "00" : "01") + bytes(below(2) == 0 ? "00" : "01");
    }
}

void StreamGenerator::damage(Bytes& stream) {
    const auto size = static_cast<uint32_t>(stream.size());
    const auto at = static_cast<ptrdiff_t>(below(size));
    switch (below(5)) {
    case 0: // one byte
        stream[static_cast<size_t>(at)] = anyByte();
        break;
    case 1: { // one bit
        const auto flipped = static_cast<uint8_t>(stream[static_cast<size_t>(at)] ^ 1U << below(8));
        stream[static_cast<size_t>(at)] = flipped == separator ? uint8_t{0} : flipped;
        break;
    }
    case 2: // cut short
        stream.resize(static_cast<size_t>(at));
        break;
    case 3: { // a great number where a count may lie
        const Bytes great = below(2) == 0 ? bytes("7F FF FF FF") : bytes("FF FF FF F0");
        const size_t room = std::min(great.size(), stream.size() - static_cast<size_t>(at));
        std::copy_n(great.begin(), room, stream.begin() + at);
        break;
    }
    default: // a byte too many
        stream.insert(stream.begin() + at, anyByte());
        break;
    }
}

bool namesUnknownInstance(const Bytes& commands) {
    size_t next = 0;
    while (next < commands.size()) {
        const uint8_t type = commands[next++];
        if (type > 2)
            continue;
        if (commands.size() - next < 4)
            return false;
        int32_t instanceId = 0;
        std::memcpy(&instanceId, commands.data() + next, sizeof instanceId);
        next += 4;
        if (type != 2) {
            if (instanceId != knownInstance)
                return true;
            continue;
        }
        // The number of frames and two flags come before the call.
        if (commands.size() - next < 6 || commands[next + 4] > 1 || commands[next + 5] > 1)
            return false;
        if (instanceId != knownInstance)
            return true;
        next += 6;
    }
    return false;
}
