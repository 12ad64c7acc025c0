#pragma once

#include "core/InputStream.h"
#include "core/MemoryInputStream.h"
#include "core/Ref.h"
#include "core/StdStreams.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

/// A field of a message: its name and primitive as the document gives them, and its bytes.
struct WireField {
    std::string name;
    std::string primitive;
    std::string bytes;
};

using WireFields = std::vector<WireField>;

inline std::string integerBytes(uint64_t value, size_t size, bool bigEndian) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[bigEndian ? size - 1 - i : i] = static_cast<char>(value >> (8 * i));
    return bytes;
}

inline std::string int32nBytes(int32_t value) {
    return integerBytes(static_cast<uint32_t>(value), 4, false);
}

inline std::string int32bBytes(int32_t value) {
    return integerBytes(static_cast<uint32_t>(value), 4, true);
}

inline std::string floatBytes(float value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

inline std::string asciiBytes(const std::string& text) {
    return int32bBytes(static_cast<int32_t>(text.size())) + text;
}

inline WireField int32n(const std::string& name, int32_t value) {
    return {name, "int32n", int32nBytes(value)};
}

inline WireField int32b(const std::string& name, int32_t value) {
    return {name, "int32b", int32bBytes(value)};
}

inline WireField int64n(const std::string& name, int64_t value) {
    return {name, "int64n", integerBytes(static_cast<uint64_t>(value), 8, false)};
}

inline WireField boolean(const std::string& name, bool value) {
    return {name, "bool", std::string(1, value ? '\1' : '\0')};
}

inline WireField number(const std::string& name, float value) {
    return {name, "float", floatBytes(value)};
}

inline WireField ascii(const std::string& name, const std::string& text) {
    return {name, "string", asciiBytes(text)};
}

inline std::string bytesOf(const WireFields& fields) {
    std::string bytes;
    for (const WireField& field : fields)
        bytes += field.bytes;
    return bytes;
}

/// A stream over bytes that outlive it.
inline base::core::Ref<base::core::MemoryInputStream> streamOver(const std::string& bytes) {
    return new base::core::MemoryInputStream(bytes.data(), bytes.size());
}

/// The bytes that `write(OutputStream&)` writes.
template <class Write>
std::string written(const Write& write) {
    std::string bytes;
    base::core::StdStringOutputStream stream(&bytes);
    write(static_cast<base::core::OutputStream&>(stream));
    return bytes;
}

/// The class of an object, as the source spells it.
template <class T>
std::string className(const T& object) {
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(typeid(object).name(), nullptr, nullptr, nullptr), std::free);
    return text != nullptr ? text.get() : typeid(object).name();
}
