// A look-up in the table of instances, stopped behind each of its machine instructions. If this fails, a
// worker that is on its way to an instance in the moment of its removal renders an instance that is gone.

#include "plugin/InstanceTable.h"
#include "support/FakePluginInstance.h"
#include "support/Stepping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;

#if !defined(__SANITIZE_THREAD__)

TEST(InstanceTableStepsTest, ALookUpThatHasReachedARemovedInstanceComesBackWithoutIt) {
    constexpr int32_t id = 65; // behind 1 in its chain
    CallLog log;
    const Ref<PluginInstance> neighbour(new FakePluginInstance(nullptr, 1, log));
    const Ref<PluginInstance> removed(new FakePluginInstance(nullptr, id, log));
    const Ref<PluginInstance> successor(new FakePluginInstance(nullptr, id, log));
    int missed = 0;
    int before = 0;
    int behind = 0;
    for (int instructions = 0;; ++instructions) {
        ASSERT_LT(instructions, 100000) << "the look-up does not end";
        InstanceTable table;
        table.insert(1, neighbour);
        table.insert(id, removed);
        Stepping stepping([&] {
            table.remove(id);
            table.insert(id, successor);
        });
        const PluginInstance* found = nullptr;
        if (!stepping.run(instructions, [&] { found = table.find(id); }))
            break;
        before += found == successor.get();
        missed += found == nullptr;
        behind += found == removed.get();
        ASSERT_TRUE(missed == 0 || found != successor.get())
            << "a look-up left the removed node for its successor";
    }
    EXPECT_GT(before, 0);
    EXPECT_GT(missed, 0) << "a removed instance was found";
    EXPECT_GT(behind, 0);
}

#endif
