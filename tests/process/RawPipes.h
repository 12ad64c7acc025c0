#pragma once

#include "process/Bytes.h"

#include <chrono>
#include <cstddef>
#include <string>

// What a `RawClient` does to the descriptors of its pipes, which don't block, and of its host's consoles.

/// How long the host may take for anything that is waited for.
constexpr std::chrono::seconds patience{20};

/// Throws `std::runtime_error` if the host is gone or doesn't take all in time.
void sendAll(int descriptor, const Bytes& data);
/// As much as fits.
void sendSome(int descriptor, const Bytes& data);
/// Throws `std::runtime_error`, which names the channel, if its end or the time comes first.
Bytes readExactly(int descriptor, size_t size, const char* channel);
/// All that the file holds, wherever its writer stands.
std::string readFile(int descriptor);
/// Closes what is open, and marks it as closed.
void closeDescriptor(int& descriptor);
