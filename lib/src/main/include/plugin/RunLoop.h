#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

/// What plug-ins have the main thread call: when a descriptor is readable, and at intervals. For formats
/// whose plug-ins have no loop of their own. All calls of one are one action of the main thread, so none
/// begins inside of another call into a plug-in.
///
/// What is watched has an owner and a key, by which it is removed: addresses that this never uses. Any
/// thread, also from inside of a call, except for `callFor`.
class RunLoop : public NonMovable, public NonCopyable {
public:
    virtual ~RunLoop() = default;

    /// A function of a plug-in's. Held until it is removed, or for the call that it is removed in.
    class Handler : public Object {
    public:
        /// On the main thread.
        virtual void call() = 0;
    };

    /// Calls `handler` whenever `descriptor` is readable: again only once the call before has returned. One
    /// that isn't open, or whose other end is gone with nothing left to read, is called once at most from
    /// then on. Throws `IOException` if the process is out of descriptors.
    virtual void addDescriptor(const void* owner, const void* key, int32_t descriptor,
                               const Ref<Handler>& handler) = 0;
    /// Calls `handler` every so many milliseconds, with 0 as 1. A call that comes late is followed by the
    /// next one a whole interval later. Throws the same.
    virtual void addTimer(const void* owner, const void* key, uint64_t interval,
                          const Ref<Handler>& handler) = 0;

    /// No call begins afterwards; one on the main thread may be in progress. False if there was none.
    virtual bool removeDescriptors(const void* owner, const void* key) = 0;
    virtual bool removeTimers(const void* owner, const void* key) = 0;
    virtual void removeAll(const void* owner) = 0;

    /// Makes the calls for so many microseconds, and no other actions. Main thread.
    virtual void callFor(int64_t microseconds) = 0;
};
