#include "plugin/InstanceTable.h"

InstanceTable::InstanceTable() {
    for (Bucket& bucket : buckets)
        bucket.store(nullptr, std::memory_order_relaxed);
}

InstanceTable::~InstanceTable() {
    for (Bucket& bucket : buckets) {
        Node* node = bucket.load(std::memory_order_relaxed);
        while (node != nullptr)
            delete std::exchange(node, node->next.load(std::memory_order_relaxed));
    }
}

void InstanceTable::insert(int32_t instanceId, const Ref<PluginInstance>& instance) {
    Bucket* link = &bucketOf(instanceId);
    while (Node* node = link->load(std::memory_order_relaxed)) {
        if (node->instanceId == instanceId)
            return;
        link = &node->next;
    }
    link->store(new Node{instanceId, instance, instance.get()}, std::memory_order_release);
}

void InstanceTable::remove(int32_t instanceId) {
    Bucket* link = &bucketOf(instanceId);
    while (Node* node = link->load(std::memory_order_relaxed)) {
        if (node->instanceId == instanceId) {
            // The node keeps its link: a walk that has reached it continues from there.
            link->store(node->next.load(std::memory_order_relaxed), std::memory_order_release);
            node->instance.store(nullptr, std::memory_order_release);
            retired.emplace_back(node);
            node->reference = nullptr;
            return;
        }
        link = &node->next;
    }
}

void InstanceTable::clear() {
    std::vector<Ref<PluginInstance>> dropped;
    for (Bucket& bucket : buckets) {
        while (Node* node = bucket.load(std::memory_order_relaxed)) {
            dropped.push_back(node->reference);
            remove(node->instanceId);
        }
    }
}

PluginInstance* InstanceTable::find(int32_t instanceId) const {
    for (const Node* node = bucketOf(instanceId).load(std::memory_order_acquire); node != nullptr;
         node = node->next.load(std::memory_order_acquire)) {
        if (node->instanceId == instanceId)
            return node->instance.load(std::memory_order_acquire);
    }
    return nullptr;
}

bool InstanceTable::isEmpty() const {
    for (const Bucket& bucket : buckets) {
        if (bucket.load(std::memory_order_relaxed) != nullptr)
            return false;
    }
    return true;
}

void InstanceTable::freeRetired() {
    retiredBefore = std::exchange(retired, {});
}
