// What the table of instances holds of removed ones. If this fails, a host that lives long grows with each
// instance that a client has had, or a worker walks over memory that was given back.

#include "plugin/InstanceTable.h"
#include "support/FakePluginInstance.h"
#include "support/HeapInUse.h"

#include <gtest/gtest.h>

using namespace test_support;

// Sanitizers have an allocator, and a search for leaks, of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST(InstanceTableMemoryTest, NodesAreKeptForOneRoundAndFreedInTheNext) {
    constexpr int32_t instances = 1000;
    constexpr ptrdiff_t smallestNodes = instances * ptrdiff_t{4 * sizeof(void*)};
    CallLog log;
    const Ref<PluginInstance> instance(new FakePluginInstance(nullptr, 1, log));
    InstanceTable table;
    const auto before = static_cast<ptrdiff_t>(heapInUse());
    const auto growth = [&] { return static_cast<ptrdiff_t>(heapInUse()) - before; };
    for (int32_t id = 0; id < instances; ++id) {
        table.insert(id, instance);
        table.remove(id);
    }
    EXPECT_GE(growth(), smallestNodes);
    table.freeRetired();
    EXPECT_GE(growth(), smallestNodes) << "a walk that has just reached a node finds it freed";
    table.freeRetired();
    EXPECT_LT(growth(), smallestNodes / 10);
}

#endif
