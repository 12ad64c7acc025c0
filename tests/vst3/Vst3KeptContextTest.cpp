// If these fail, a plug-in that keeps what its host gave it, as most plug-ins do, crashes the host some time
// after its user has removed it.

#include "plugin/PluginHostAction.h"
#include "plugins/vst3/KeptContext.h"
#include "support/Eventually.h"
#include "support/StopHost.h"
#include "vst3/Vst3Fixture.h"

using namespace test_support;

namespace {

constexpr int32_t rounds = 1000;

class Vst3KeptContext : public Vst3Test {
protected:
    Vst3KeptContext() { host->handler = handler; }
    ~Vst3KeptContext() override { host->handler = nullptr; }

    // An instance as a client has it, and its end as a client orders it.
    void createAndAnnounce() {
        instance = create(plugin);
        instance->initialize();
        instance->handler = handler.get();
        host->instances.insert(instanceId, Ref<PluginInstance>(instance.get()));
    }
    void destroyInstance() {
        instance->terminate();
        host->instances.remove(instanceId);
        instance = nullptr;
    }

    KeptContext& kept = *exportedBy<KeptContext*()>(testModule("keeps-its-context"), "keptContext")();
    Ref<Vst3Plugin> plugin = getPlugin(testModule("keeps-its-context"));
    Ref<Vst3PluginInstance> instance;
};

/// Destroys the instance of the round before and creates the next, as long as there are rounds.
class Round : public PluginHostAction {
public:
    explicit Round(std::function<bool()> next) : next(std::move(next)) {}

    void run() override {
        if (next())
            PluginHost::getCurrent()->post(new Round(next));
    }

private:
    std::function<bool()> next;
};

} // namespace

TEST_F(Vst3KeptContext, APluginThatIsCalledAfterItsEndReachesNoInstance) {
    const int64_t acceptedBefore = kept.accepted;
    const int64_t refusedBefore = kept.refused;
    for (int32_t round = 0; round < rounds; ++round) {
        createAndAnnounce();
        destroyInstance();
        kept.callLatest();
    }
    EXPECT_EQ(kept.accepted, acceptedBefore);
    EXPECT_EQ(kept.refused, refusedBefore + 4 * rounds);
    EXPECT_EQ(kept.others, 0);
    EXPECT_TRUE(handler->notifications.empty());
}

TEST_F(Vst3KeptContext, AThreadOfThePluginsCallsWhileItsInstancesAreCreatedAndDestroyed) {
    int32_t left = rounds;
    const int32_t former = kept.made;
    bool isStuck = false;
    const auto next = [&] {
        if (left < rounds) {
            // The thread is at work in this instance.
            isStuck = !eventually([&] { return kept.lastAccepted >= kept.made - 1; }, longBound);
            destroyInstance();
        }
        if (left == 0 || isStuck) {
            host->stopRequested = true;
            return false;
        }
        --left;
        createAndAnnounce();
        handler->notifications.clear();
        return true;
    };
    kept.start();
    host->post(new Round(next));
    host->run();
    kept.stop();
    EXPECT_FALSE(isStuck) << "the plug-in's thread does nothing";
    EXPECT_EQ(kept.made, former + rounds);
    EXPECT_GE(kept.accepted, rounds);
    EXPECT_GT(kept.refused, 0);
    EXPECT_EQ(kept.others, 0);
}
