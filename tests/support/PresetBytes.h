#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test_support {

// Preset files as the tests lay them out by hand.

inline std::string littleEndian(uint64_t value, size_t width) {
    std::string bytes;
    for (size_t i = 0; i < width; ++i)
        bytes += static_cast<char>(value >> 8 * i);
    return bytes;
}

inline std::string int32Bytes(int64_t value) {
    return littleEndian(static_cast<uint64_t>(value), 4);
}

inline std::string int64Bytes(int64_t value) {
    return littleEndian(static_cast<uint64_t>(value), 8);
}

/// An entry of the list of chunks.
struct PresetEntry {
    std::string id;
    int64_t offset;
    int64_t size;
};

struct PresetParts {
    std::string classText = "00112233445566778899AABBCCDDEEFF";
    std::string chunks;
    std::vector<PresetEntry> entries;
    int32_t version = 1;
};

constexpr int64_t presetHeaderSize = 48;

/// The bytes of a whole file, whose list stands behind its chunks.
inline std::string presetFile(const PresetParts& parts) {
    std::string bytes = "VST3" + int32Bytes(parts.version) + parts.classText +
                        int64Bytes(presetHeaderSize + static_cast<int64_t>(parts.chunks.size())) +
                        parts.chunks + "List" + int32Bytes(static_cast<int64_t>(parts.entries.size()));
    for (const PresetEntry& entry : parts.entries)
        bytes += entry.id + int64Bytes(entry.offset) + int64Bytes(entry.size);
    return bytes;
}

/// A good preset: the component's state is "component!", the controller's is "ctrl".
inline std::string goodPreset() {
    return presetFile({.chunks = "component!ctrl", .entries = {{"Comp", 48, 10}, {"Cont", 58, 4}}});
}

} // namespace test_support
