#include "client/HostLeftovers.h"

#include "core/LockFile.h"
#include "core/NamedPipe.h"
#include "core/SharedMemory.h"
#include "core/TrustedDirectory.h"
#include "plugin/Channels.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using base::core::LockFile;
using base::core::TrustedDirectory;

namespace {

constexpr std::string_view hostPrefix = "plugin";
constexpr size_t longestNumber = 16;

bool areDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char digit) { return std::isdigit(digit) != 0; });
}

/// The id of a host whose directory has this name; 0 for another name.
int32_t hostIdOf(std::string_view name) {
    if (!name.starts_with(hostPrefix))
        return 0;
    const std::string_view number = name.substr(hostPrefix.size());
    int32_t hostId = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), hostId);
    const bool isWhole = result.ec == std::errc() && result.ptr == number.data() + number.size();
    return isWhole && hostId > 0 && std::to_string(hostId) == number ? hostId : 0;
}

/// Whether a FIFO of this name is one of a host's pipes.
bool isPipeName(std::string_view name) {
    for (const std::string_view end : {"-to-client", "-from-client"}) {
        if (!name.ends_with(end))
            continue;
        name.remove_suffix(end.size());
        constexpr std::string_view worker = "worker";
        return name == "main" || name == "async-replies" ||
               (name.starts_with(worker) && areDigits(name.substr(worker.size())));
    }
    return false;
}

void removePipes(const TrustedDirectory& directory) {
    for (const std::string& name : directory.listNames()) {
        struct stat status {};
        if (isPipeName(name) && fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISFIFO(status.st_mode) && status.st_uid == geteuid())
            unlinkat(directory.get(), name.c_str(), 0);
    }
}

/// 0 for another text than a number.
int32_t highestInstanceIn(const LockFile& lock) {
    const std::string text = lock.read(longestNumber);
    int32_t highest = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), highest);
    if (result.ec == std::errc::result_out_of_range)
        return highestLeftInstance;
    return std::clamp(highest, 0, highestLeftInstance);
}

void removeLeftoversOf(const String& user, int32_t hostId, const TrustedDirectory& hosts,
                       const std::string& path) {
    const TrustedDirectory directory(hosts, path);
    const auto lock = LockFile::tryLock(directory, path + "/" + hostLockName);
    if (lock == nullptr || isHostAlive(directory))
        return;
    removeLeftovers(user, hostId, directory, *lock);
    lock->remove();
}

} // namespace

void removeAudioBlocks(const String& user, int32_t hostId, int32_t highestInstance) {
    for (int32_t instanceId = 1; instanceId <= highestInstance; ++instanceId)
        base::core::SharedMemory::remove(user, audioBlockName(hostId, instanceId));
}

bool isHostAlive(const TrustedDirectory& directory) {
    return base::core::isPipeRead(directory, "main-to-client");
}

void removeLeftovers(const String& user, int32_t hostId, const TrustedDirectory& directory,
                     const LockFile& lock) {
    removeAudioBlocks(user, hostId, highestInstanceIn(lock));
    removePipes(directory);
}

void removeAllLeftovers(const String& user, const std::string& hostsPath) try {
    const TrustedDirectory hosts(hostsPath);
    for (const std::string& name : hosts.listNames()) {
        const int32_t hostId = hostIdOf(name);
        struct stat ignored {};
        if (hostId == 0 ||
            fstatat(hosts.get(), (name + "/" + hostLockName).c_str(), &ignored, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        try {
            removeLeftoversOf(user, hostId, hosts, std::string(hostsPath).append("/").append(name));
        } catch (const Exception&) {
            // The other directories are looked at all the same.
        }
    }
} catch (const Exception&) {
    // Tried again with the next host.
}
