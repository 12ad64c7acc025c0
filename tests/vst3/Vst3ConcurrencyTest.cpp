// If these fail, plug-ins that report from threads of their own while several play crash their host, or what
// they report is lost.

#include "plugin/PluginHostNotifications.h"
#include "support/LocalAudioContext.h"
#include "support/Meeting.h"
#include "support/StopHost.h"
#include "vst3/Vst3AttributeList.h"
#include "vst3/Vst3Fixture.h"

#include <functional>
#include <latch>
#include <map>
#include <memory>
#include <string>
#include <thread>

using namespace test_support;

namespace {

constexpr int32_t rounds = 300;
constexpr int32_t workerCount = 2;
constexpr int32_t instancesOfAWorker = 2;
constexpr int32_t instanceCount = workerCount * instancesOfAWorker;
constexpr int32_t parameterCount = 2;
constexpr Vst::ParamID edited = 700; // the first parameter

/// An instance that plays, and the way by which its plug-in reports.
struct Player {
    Ref<Vst3PluginInstance> instance;
    Ref<LocalAudioContext> context;
    Vst::IComponentHandler* handler;
};

class Vst3Concurrency : public Vst3Test {
protected:
    Vst3Concurrency() {
        const Ref<Vst3Plugin> plugin = load("records-its-calls");
        record->onProcess = [this](Vst::ProcessData& data) {
            data.outputs[0].channelBuffers32[0][0] = data.inputs[0].channelBuffers32[0][0] + 1;
            ++blocks;
        };
        host->handler = handler;
        for (int32_t id = 0; id < instanceCount; ++id)
            players.push_back(makePlayer(*plugin, id));
    }
    ~Vst3Concurrency() override {
        for (int32_t id = 0; id < instanceCount; ++id)
            host->instances.remove(id);
        host->handler = nullptr;
    }

    Player makePlayer(Vst3Plugin& plugin, int32_t id) {
        Ref<Vst3PluginInstance> instance(
            static_cast<Vst3PluginInstance*>(plugin.createInstance(id, firstClassText, false)));
        instance->initialize();
        Ref<LocalAudioContext> context(new LocalAudioContext(
            blockSize, instance->getInputChannelCount(), instance->getOutputChannelCount(), parameterCount));
        for (int32_t i = 0; i < parameterCount; ++i)
            context->getRegions().parameterFlags[i] = 1;
        instance->setAudioContext(context);
        instance->handler = handler.get();
        host->instances.insert(id, Ref<PluginInstance>(instance.get()));
        return {instance, context, record->handler};
    }

    // The instances of one worker in turn, block by block.
    void play(int32_t worker) {
        Player* mine = &players[static_cast<size_t>(worker * instancesOfAWorker)];
        for (int32_t i = 0; i < instancesOfAWorker; ++i)
            mine[i].instance->startProcessing();
        for (int32_t round = 0; round < rounds; ++round) {
            Player& player = mine[round % instancesOfAWorker];
            *player.context->getRegions().parameterChangeCount = 0;
            *player.context->getRegions().inputEventCount = 0;
            player.context->addParameterChange(1, static_cast<float>(round) / rounds);
            player.context->addNote(0, 0x90, 60, 100);
            player.instance->process(blockSize, round % 3 != 0, round % 2 == 0);
            player.instance->endWorkerTurn();
        }
        for (int32_t i = 0; i < instancesOfAWorker; ++i)
            mine[i].instance->stopProcessing();
    }

    // The workers, and a thread for each plug-in that runs `report` in rounds, all at once.
    template <class Report>
    void playAndReport(const Report& report) {
        std::latch start(workerCount + instanceCount);
        std::vector<std::thread> threads;
        for (int32_t worker = 0; worker < workerCount; ++worker)
            threads.emplace_back([this, worker, &start] {
                start.arrive_and_wait();
                play(worker);
            });
        for (Player& player : players)
            threads.emplace_back([&player, &report, &start] {
                start.arrive_and_wait();
                for (int32_t round = 0; round < rounds; ++round)
                    report(*player.handler, round);
            });
        runBeside(*host, threads);
    }

    // How many notifications of a kind each instance has sent.
    template <class Notification>
    std::map<int32_t, int32_t> countByInstance() {
        std::map<int32_t, int32_t> counts;
        for (const Ref<PluginHostNotification>& notification : handler->notifications) {
            if (dynamic_cast<Notification*>(notification.get()) != nullptr)
                ++counts[notification->instanceId];
        }
        return counts;
    }

    void expectWholeBlocks() {
        EXPECT_EQ(blocks, workerCount * rounds);
        for (const Player& player : players) {
            EXPECT_TRUE(player.context->areGuardsIntact());
            EXPECT_EQ(player.context->outputChannel(0)[0], 1.0F);
        }
    }

    std::atomic<int32_t> blocks = 0;
    std::vector<Player> players;
};

} // namespace

TEST_F(Vst3Concurrency, TwoWorkersPlayTwoInstancesEachWhilePluginsEdit) {
    playAndReport([](Vst::IComponentHandler& plugins, int32_t) {
        plugins.beginEdit(edited);
        plugins.performEdit(edited, 0.5);
        plugins.endEdit(edited);
    });
    expectWholeBlocks();
    const std::map<int32_t, int32_t> once{{0, rounds}, {1, rounds}, {2, rounds}, {3, rounds}};
    const std::map<int32_t, int32_t> twice{
        {0, 2 * rounds}, {1, 2 * rounds}, {2, 2 * rounds}, {3, 2 * rounds}};
    EXPECT_EQ(countByInstance<UpdateParameterNotification>(), once);
    EXPECT_EQ(countByInstance<BeginOrEndEditParameterNotification>(), twice);
}

TEST_F(Vst3Concurrency, TwoWorkersPlayTwoInstancesEachWhilePluginsRestart) {
    playAndReport([](Vst::IComponentHandler& plugins, int32_t round) {
        plugins.performEdit(edited, 0.5);
        if (round % 50 == 0)
            plugins.restartComponent(Vst::kReloadComponent);
        plugins.performEdit(1, 0.5); // isn't there
    });
    expectWholeBlocks();
    // What comes while a state is taken is swallowed; the first of each comes before there is one.
    for (const auto& [id, count] : countByInstance<UpdateAllParametersNotification>())
        EXPECT_LE(count, rounds / 50) << "instance " << id;
    EXPECT_EQ(countByInstance<UpdateAllParametersNotification>().size(), size_t{instanceCount});
    EXPECT_EQ(countByInstance<UpdateParameterNotification>().size(), size_t{instanceCount});
}

TEST_F(Vst3Concurrency, TwoThreadsOfAPluginReportParametersThatItsHostHasNotMet) {
    Vst::IComponentHandler& plugin = *players[0].handler;
    Meeting meeting(2);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&, thread] {
            for (int32_t round = 0; round < rounds; ++round) {
                meeting.arrive();
                // Unknown ones have the host read them all anew.
                plugin.performEdit(static_cast<Vst::ParamID>(1000 + 2 * round + thread), 0.5);
                plugin.performEdit(edited, 0.5);
            }
        });
    }
    runBeside(*host, threads);
    const std::map<int32_t, int32_t> ofBoth{{0, 2 * rounds}};
    EXPECT_EQ(countByInstance<UpdateParameterNotification>(), ofBoth);
}

TEST(Vst3AttributeListThreads, ThreadsOfAPluginUseOneListAtOnce) {
    const IPtr<Vst3AttributeList> list = Steinberg::owned(new Vst3AttributeList(nullptr));
    const std::vector<std::function<void(const char*)>> uses{
        [&](const char* id) { list->setInt(id, 1); },
        [&](const char* id) {
            Steinberg::int64 value = 0;
            list->getInt(id, value);
        },
        [&](const char* id) { list->setFloat(id, 0.5); },
        [&](const char* id) {
            double value = 0;
            list->getFloat(id, value);
        },
        [&](const char* id) { list->setBinary(id, "data", 4); },
        [&](const char* id) {
            Vst::TChar text[4];
            list->getString(id, text, sizeof text);
        },
        [&](const char* id) { list->setString(id, u"text"); },
    };
    Meeting meeting(static_cast<int>(uses.size()));
    std::vector<std::thread> threads;
    for (const auto& use : uses) {
        threads.emplace_back([&] {
            for (int32_t round = 0; round < rounds; ++round) {
                meeting.arrive();
                use(std::to_string(round % 10).c_str());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // Whoever came last, the list is whole.
    EXPECT_EQ(list->setInt("0", 5), kResultOk);
    Steinberg::int64 value = 0;
    EXPECT_EQ(list->getInt("0", value), kResultOk);
    EXPECT_EQ(value, 5);
}
