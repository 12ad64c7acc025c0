#pragma once

#include "client/MakingProcess.h"
#include "plugin/CoreNames.h"

#include <cstdint>
#include <memory>

namespace base::core {
class LockFile;
}

/// The number of one host, which names its pipes and audio blocks; no other process of this user holds it.
/// Within a process ids rise, and none is used twice.
///
/// A lock file beside the pipes is locked for as long as this lives, and at most as long as the process: the
/// id of a killed client is free once its host is gone. An id whose host runs without a lock counts as held,
/// for clients that lock nothing.
///
/// Owned by the proxy, whose pipes and child end before it. `USER` is that of its creation. Any thread may
/// make one; afterwards one thread at a time. In a fork of the process a copy removes nothing; if the
/// original is killed, the copy holds the id until it ends, too.
class HostIdClaim : public NonCopyable, public NonMovable {
public:
    /// Takes the process's next number that is free. Removes the pipes, audio blocks and lock files of all
    /// dead clients of this user. Never blocks. Throws `IOException`.
    HostIdClaim();
    /// Removes the audio blocks of all noted instances, and frees the id.
    ~HostIdClaim();

    int32_t getId() const { return id; }
    /// To be called with each new instance id before its request is sent. Keeps the highest in the lock file,
    /// so that the blocks can be removed if this process is killed; a full disk is ignored.
    void noteInstance(int32_t instanceId);

private:
    /// False if the id is held.
    bool take();

    const MakingProcess makingProcess;
    const String user;
    int32_t id = 0;
    std::unique_ptr<base::core::LockFile> lock;
    int32_t highestInstance = 0;
};
