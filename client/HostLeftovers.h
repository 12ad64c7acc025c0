#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <string>

namespace base::core {
class LockFile;
class TrustedDirectory;
} // namespace base::core

// What the client of a host leaves behind if it is killed: the lock file and the pipes of a `HostIdClaim`,
// and the host's audio blocks. `user` is the value of `USER`.

/// A lock file holds the highest instance id of its host, as decimal text with a line feed. Blocks of ids
/// above this bound stay: a damaged file must not keep its finder busy.
constexpr int32_t highestLeftInstance = 16384;

/// The name of the lock file in the directory of a host's pipes.
constexpr const char* hostLockName = "lock";

/// Removes the blocks of the instances 1 to `highestInstance` of a host that is gone.
void removeAudioBlocks(const String& user, int32_t hostId, int32_t highestInstance);

/// Whether the host of these pipes runs, be it with or without a lock of its client.
bool isHostAlive(const base::core::TrustedDirectory& directory);

/// Removes the blocks and the pipes of a dead client's host. `lock` is held by the caller, and stays.
void removeLeftovers(const String& user, int32_t hostId, const base::core::TrustedDirectory& directory,
                     const base::core::LockFile& lock);

/// Removes the lock files, too, of all dead clients below the directory of all hosts. Failures are ignored.
void removeAllLeftovers(const String& user, const std::string& hostsPath);
