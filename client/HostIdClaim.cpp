#include "client/HostIdClaim.h"

#include "client/HostLeftovers.h"
#include "core/Environment.h"
#include "core/LockFile.h"
#include "core/NamedPipe.h"
#include "core/TrustedDirectory.h"
#include "plugin/Channels.h"

#include <atomic>
#include <string>

using base::core::LockFile;

namespace {

std::atomic<int32_t> nextHostId{1};

std::string parentOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

std::string mainPipePath(int32_t hostId) {
    return base::core::namedPipePath(mainChannelName(hostId), true).toStdString();
}

} // namespace

HostIdClaim::HostIdClaim() : user(base::core::getEnvironmentVariable("USER")) {
    do {
        id = nextHostId++;
    } while (!take());
    removeAllLeftovers(user, parentOf(parentOf(mainPipePath(id))));
}

HostIdClaim::~HostIdClaim() {
    if (makingProcess.isCopied())
        return;
    removeAudioBlocks(user, id, highestInstance);
    lock->remove();
}

void HostIdClaim::noteInstance(int32_t instanceId) {
    if (instanceId <= highestInstance || makingProcess.isCopied())
        return;
    highestInstance = instanceId;
    lock->write(std::to_string(instanceId) + "\n");
}

bool HostIdClaim::take() {
    const std::string pipe = mainPipePath(id);
    const auto directory = base::core::makePipeDirectory(pipe);
    lock = LockFile::tryCreate(*directory, parentOf(pipe) + "/" + hostLockName);
    if (lock == nullptr)
        return false;
    if (isHostAlive(*directory)) {
        // A dead client's file has the number of its blocks, which its host still uses.
        if (lock->isNew())
            lock->remove();
        lock = nullptr;
        return false;
    }
    removeLeftovers(user, id, *directory, *lock);
    lock->clear();
    return true;
}
