#pragma once

#include "plugin/CoreNames.h"
#include "plugin/PluginInstance.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

/// The instances of a host by id. Only the main thread changes the table; audio workers look instances up
/// concurrently without a lock: the buckets are fixed, links are published atomically, and a removed node is
/// freed only in a later idle round, so that a walk that has just reached it can continue.
///
/// The reference to an instance is dropped at once. The client's order of commands ensures that no worker is
/// inside the instance then.
class InstanceTable : public NonCopyable, public NonMovable {
public:
    InstanceTable();
    ~InstanceTable();

    /// An existing key keeps its entry. Main thread.
    void insert(int32_t instanceId, const Ref<PluginInstance>& instance);
    /// Main thread.
    void remove(int32_t instanceId);
    /// Drops all instances, whose destructors may use the table. Main thread, when no worker is left.
    void clear();
    /// Null if there is none. Any thread; lock-free.
    PluginInstance* find(int32_t instanceId) const;
    bool isEmpty() const;

    /// Frees the nodes that were removed before the previous round. Main thread, once in an idle round.
    void freeRetired();

    /// Calls `visit(PluginInstance&)` for each instance, in the table's order, with a reference held during
    /// the call. `visit` may remove instances. Main thread.
    template <class Visit>
    void forEach(Visit visit) const {
        for (const Bucket& bucket : buckets) {
            for (Node* node = bucket.load(std::memory_order_acquire); node != nullptr;
                 node = node->next.load(std::memory_order_acquire)) {
                if (const Ref<PluginInstance> instance = node->reference)
                    visit(*instance);
            }
        }
    }

private:
    struct Node {
        int32_t instanceId;
        Ref<PluginInstance> reference;
        /// What `reference` holds, for the workers.
        std::atomic<PluginInstance*> instance;
        std::atomic<Node*> next{nullptr};
    };

    using Bucket = std::atomic<Node*>;
    static constexpr size_t bucketCount = 64;

    Bucket& bucketOf(int32_t instanceId) { return buckets[static_cast<uint32_t>(instanceId) % bucketCount]; }
    const Bucket& bucketOf(int32_t instanceId) const {
        return buckets[static_cast<uint32_t>(instanceId) % bucketCount];
    }

    std::array<Bucket, bucketCount> buckets;
    std::vector<std::unique_ptr<Node>> retired;
    std::vector<std::unique_ptr<Node>> retiredBefore;
};
