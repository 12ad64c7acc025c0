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

inline std::string int64nBytes(int64_t value) {
    return integerBytes(static_cast<uint64_t>(value), 8, false);
}

inline std::string boolByte(bool value) {
    return std::string(1, value ? '\1' : '\0');
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

/// The name of a type, as the source spells it.
inline std::string typeName(const std::type_info& type) {
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), std::free);
    return text != nullptr ? text.get() : type.name();
}

/// The class of an object.
template <class T>
std::string className(const T& object) {
    return typeName(typeid(object));
}
