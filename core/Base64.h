#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace base::core {

/// Frees what comes from `malloc`.
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// The base64 form (RFC 4648) of 16 bytes, with "-" where the published alphabet has a slash, so that the
/// text is safe in the name of a shared-memory object: 22 characters, "==" and a terminator. Null without
/// memory for it, which is logged to stdout.
std::unique_ptr<char, FreeMemory> encodeBase64(const std::array<uint8_t, 16>& bytes);

} // namespace base::core
