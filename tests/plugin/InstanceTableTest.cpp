// The host's table of instances. If these fail, an audio worker that looks its instance up while the client
// adds or removes another one crashes, or renders somebody else's instance.

#include "plugin/InstanceTable.h"
#include "support/Eventually.h"
#include "support/FakePluginInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

using namespace test_support;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

class InstanceTableTest : public testing::Test {
protected:
    Ref<PluginInstance> make(int32_t id) { return new FakePluginInstance(nullptr, id, log); }

    std::vector<int32_t> walk() {
        std::vector<int32_t> ids;
        table.forEach([&](PluginInstance& instance) { ids.push_back(instance.instanceId); });
        return ids;
    }

    CallLog log;
    InstanceTable table;
};

} // namespace

TEST_F(InstanceTableTest, AnInstanceIsFoundByItsId) {
    EXPECT_TRUE(table.isEmpty());
    EXPECT_EQ(table.find(3), nullptr);
    const Ref<PluginInstance> instance = make(3);
    table.insert(3, instance);
    EXPECT_EQ(table.find(3), instance.get());
    EXPECT_EQ(table.find(4), nullptr);
    EXPECT_FALSE(table.isEmpty());
}

TEST_F(InstanceTableTest, AnyIntegerIsAnId) {
    for (const int32_t id :
         {0, -1, -64, 64, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()}) {
        const Ref<PluginInstance> instance = make(id);
        table.insert(id, instance);
        EXPECT_EQ(table.find(id), instance.get());
    }
    EXPECT_EQ(walk().size(), 6U);
}

TEST_F(InstanceTableTest, ManyInstancesAreEachFoundAndWalkedOnce) {
    for (int32_t id = 0; id < 1000; ++id)
        table.insert(id, make(id));
    for (int32_t id = 0; id < 1000; ++id)
        EXPECT_EQ(table.find(id)->instanceId, id);
    std::vector<int32_t> ids = walk();
    std::sort(ids.begin(), ids.end());
    ASSERT_EQ(ids.size(), 1000U);
    for (int32_t id = 0; id < 1000; ++id)
        EXPECT_EQ(ids[static_cast<size_t>(id)], id);
}

TEST_F(InstanceTableTest, AnIdInUseKeepsItsInstance) {
    const Ref<PluginInstance> first = make(3);
    table.insert(3, first);
    table.insert(3, make(3));
    EXPECT_EQ(table.find(3), first.get());
    EXPECT_THAT(log.all(), ElementsAre("~instance 3"));
}

TEST_F(InstanceTableTest, ARemovedInstanceIsDroppedAtOnce) {
    table.insert(3, make(3));
    table.remove(3);
    EXPECT_THAT(log.all(), ElementsAre("~instance 3"));
    EXPECT_EQ(table.find(3), nullptr);
    EXPECT_TRUE(table.isEmpty());
    table.remove(3);
    table.insert(3, make(3));
    EXPECT_NE(table.find(3), nullptr);
}

TEST_F(InstanceTableTest, RemovingOneLeavesTheOthersOfItsChain) {
    for (const int32_t id : {1, 65, 129, 193, 1025, 1048577})
        table.insert(id, make(id));
    table.remove(129);
    table.remove(1);
    table.remove(1048577);
    EXPECT_THAT(walk(), UnorderedElementsAre(65, 193, 1025));
    table.insert(1, make(1));
    EXPECT_THAT(walk(), UnorderedElementsAre(1, 65, 193, 1025));
}

TEST_F(InstanceTableTest, AWalkMayRemoveTheInstanceItStandsOnAndTheNext) {
    for (const int32_t id : {1, 65, 129, 193})
        table.insert(id, make(id));
    std::vector<int32_t> visited;
    table.forEach([&](PluginInstance& instance) {
        visited.push_back(instance.instanceId);
        if (visited.size() == 1) {
            table.remove(1);
            table.remove(65);
            EXPECT_EQ(log.count("~instance 1") + log.count("~instance 65"), 1U)
                << "the instance that is being visited was not held";
        }
    });
    EXPECT_EQ(log.count("~instance 1") + log.count("~instance 65"), 2U);
    EXPECT_THAT(walk(), UnorderedElementsAre(129, 193));
}

TEST_F(InstanceTableTest, TheTableDropsWhatIsLeftAtItsEnd) {
    {
        InstanceTable other;
        other.insert(1, make(1));
        other.insert(65, make(65));
        other.insert(2, make(2));
        other.remove(65);
    }
    EXPECT_THAT(log.all(), UnorderedElementsAre("~instance 1", "~instance 2", "~instance 65"));
}

TEST_F(InstanceTableTest, WorkersFindTheirInstanceWhileOthersOfItsChainComeAndGo) {
    // All in one chain, in whatever way ids are spread: the spread is a power of two at most 2^16.
    constexpr int32_t stride = 1 << 16;
    constexpr int32_t ownId = 5 * stride;
    constexpr int rounds = 3000;
    const Ref<PluginInstance> own = make(ownId);
    const Ref<PluginInstance> others[] = {make(0), make(stride), make(2 * stride), make(8 * stride)};
    table.insert(0, others[0]);
    table.insert(ownId, own);

    constexpr size_t workerCount = 2;
    std::atomic<bool> stop = false;
    std::atomic<int64_t> lookUps[workerCount] = {};
    std::atomic<int64_t> misses = 0;
    std::atomic<int64_t> strangers = 0;
    std::vector<std::thread> workers;
    for (std::atomic<int64_t>& counter : lookUps) {
        workers.emplace_back([&] {
            while (!stop) {
                if (table.find(ownId) != own.get())
                    ++misses;
                for (const Ref<PluginInstance>& other : others) {
                    const PluginInstance* found = table.find(other->instanceId);
                    if (found != nullptr && found != other.get())
                        ++strangers;
                }
                ++counter;
            }
        });
    }
    const auto allBegan = [&] {
        return std::all_of(std::begin(lookUps), std::end(lookUps),
                           [](const auto& count) { return count > 0; });
    };
    EXPECT_TRUE(eventually(allBegan)) << "a worker did not start";

    // A node may be freed once every worker has ended the look-up that it was in when the node went, which an
    // idle round's length gives in the program and which is waited for here.
    const auto everyWorkerMovedOn = [&] {
        int64_t before[workerCount];
        std::copy(std::begin(lookUps), std::end(lookUps), before);
        return eventually([&] {
            for (size_t i = 0; i < workerCount; ++i) {
                if (lookUps[i] < before[i] + 2)
                    return false;
            }
            return true;
        });
    };
    for (int round = 0; round < rounds; ++round) {
        const size_t index = static_cast<size_t>(round) % std::size(others);
        const Ref<PluginInstance>& other = others[index];
        if (table.find(other->instanceId) != nullptr)
            table.remove(other->instanceId);
        else
            table.insert(other->instanceId, other);
        if (round % 100 == 0) {
            table.freeRetired();
            ASSERT_TRUE(everyWorkerMovedOn()) << "a worker stands still";
        }
    }
    stop = true;
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(misses, 0);
    EXPECT_EQ(strangers, 0);
    for (const auto& count : lookUps)
        EXPECT_GT(count, 50);
}

TEST_F(InstanceTableTest, ATableIsEmptyWhenTheInstancesThatItDropsEnd) {
    class Last : public FakePluginInstance {
    public:
        Last(InstanceTable& table, bool& wasEmpty, CallLog& log)
            : FakePluginInstance(nullptr, 70, log), table(table), wasEmpty(wasEmpty) {}
        ~Last() override { wasEmpty = table.isEmpty() && table.find(6) == nullptr; }

    private:
        InstanceTable& table;
        bool& wasEmpty;
    };

    bool wasEmpty = false;
    table.insert(6, make(6));
    table.insert(70, new Last(table, wasEmpty, log)); // in the same bucket
    table.insert(7, make(7));
    table.clear();
    EXPECT_TRUE(wasEmpty);
    EXPECT_EQ(walk(), std::vector<int32_t>{});
    EXPECT_THAT(log.all(), UnorderedElementsAre("~instance 6", "~instance 7", "~instance 70"));
    table.insert(6, make(6));
    EXPECT_THAT(walk(), ElementsAre(6));
}
