// If these fail, plug-ins that play at once on several audio threads, or that report from a thread of their
// own, crash their host or get each other's changes.

#include "support/StopHost.h"
#include "vst3-processing/Vst3ProcessingTest.h"

#include "plugin/PluginHostNotifications.h"

#include <atomic>
#include <thread>

using namespace test_support;

namespace {

constexpr int32_t rounds = 300;
constexpr int32_t blockSize = 64;
constexpr Vst::ParamID firstId = 1000;
constexpr int32_t parameters = 8;

/// Counts what comes and finds what isn't its own: each plug-in is sent values that only it has.
class PlayingComponent : public RecordingComponent {
public:
    using RecordingComponent::RecordingComponent;

    tresult PLUGIN_API process(Vst::ProcessData& data) override {
        ++rendered;
        const int32_t queues = data.inputParameterChanges->getParameterCount();
        for (int32_t i = 0; i < queues; ++i) {
            Vst::IParamValueQueue& queue = *data.inputParameterChanges->getParameterData(i);
            for (int32_t k = 0; k < queue.getPointCount(); ++k) {
                Steinberg::int32 offset = 0;
                Vst::ParamValue given = 0;
                queue.getPoint(k, offset, given);
                ++points;
                strangers += given == value ? 0 : 1;
            }
        }
        events += data.inputEvents->getEventCount();
        handler->performEdit(firstId, value);
        return kResultOk;
    }

    Vst::IComponentHandler* handler = nullptr;
    double value = 0;
    int32_t rendered = 0;
    int32_t points = 0;
    int32_t strangers = 0;
    int32_t events = 0;
};

/// Values that any thread may set and read.
class SharedController : public RecordingController {
public:
    using RecordingController::RecordingController;

    Vst::ParamValue PLUGIN_API getParamNormalized(Vst::ParamID) override { return value; }
    tresult PLUGIN_API setParamNormalized(Vst::ParamID, Vst::ParamValue newValue) override {
        value = newValue;
        ++sets;
        return kResultOk;
    }
    tresult PLUGIN_API getParamStringByValue(Vst::ParamID, Vst::ParamValue, Vst::String128) override {
        return kResultFalse;
    }

    std::atomic<double> value = 0;
    std::atomic<int32_t> sets = 0;
};

/// A plug-in of its own behind an instance.
class Player {
public:
    Player(PluginHost& host, int32_t instanceId) {
        component.controllerClass = RecordingFactory::controllerClass;
        component.isQuiet = true;
        component.value = instanceId / 8.0;
        component.addBus(Vst::kEvent, Vst::kInput, 16);
        for (int32_t i = 0; i < parameters; ++i)
            controller.addParameter(firstId + static_cast<Vst::ParamID>(i));
        plugin = new Vst3Plugin(&host, "playing.vst3");
        plugin->factory = IPtr<Steinberg::IPluginFactory>(&factory);
        instance =
            new Vst3PluginInstance(&host, plugin.get(), instanceId, RecordingFactory::componentText, false);
        instance->createComponents();
        instance->initialize();
        component.handler = controller.handler;
        context = new LocalAudioContext(blockSize, 0, 0, parameters);
        instance->setAudioContext(context);
        std::fill_n(context->getRegions().parameterFlags, parameters, parameterWatched);
        instance->startProcessing();
    }
    ~Player() { instance->terminate(); }

    void render() {
        *context->getRegions().parameterChangeCount = 0;
        *context->getRegions().inputEventCount = 0;
        for (int32_t i = 0; i < parameters; ++i)
            context->addParameterChange(i, static_cast<float>(component.value));
        context->addNote(0, 0x90, 60, 100);
        instance->process(blockSize, false, true);
    }

    void report() {
        controller.handler->beginEdit(firstId + 1);
        controller.handler->performEdit(firstId + 1, 0.25);
        controller.handler->endEdit(firstId + 1);
    }

    std::vector<std::string> calls;
    PlayingComponent component{calls};
    SharedController controller{calls};
    RecordingFactory factory{component, controller};
    Ref<Vst3Plugin> plugin;
    Ref<LocalAudioContext> context;
    Ref<Vst3PluginInstance> instance;
};

class Vst3Concurrency : public testing::Test {
protected:
    Vst3Concurrency() {
        for (int32_t id = 1; id <= 4; ++id) {
            players.push_back(std::make_unique<Player>(*host, id));
            players.back()->instance->handler = handler.get();
            host->instances.insert(id, Ref<PluginInstance>(players.back()->instance.get()));
        }
    }
    ~Vst3Concurrency() override {
        handler->notifications.clear();
        for (int32_t id = 1; id <= 4; ++id)
            host->instances.remove(id);
    }

    template <class Notification>
    int32_t count() {
        int32_t found = 0;
        for (const Ref<PluginHostNotification>& notification : handler->notifications)
            found += dynamic_cast<Notification*>(notification.get()) != nullptr ? 1 : 0;
        return found;
    }

    Ref<PluginHost> host{new PluginHost(48000, blockSize)};
    Ref<RecordingHandler> handler{new RecordingHandler};
    std::vector<std::unique_ptr<Player>> players;
};

} // namespace

TEST_F(Vst3Concurrency, TwoWorkersWithTwoInstancesEachPlayWhilePluginsReportAndAreAsked) {
    std::vector<std::thread> threads;
    for (const size_t first : {0, 2}) {
        threads.emplace_back([&, first] {
            for (int32_t i = 0; i < rounds; ++i) {
                players[first]->render();
                players[first + 1]->render();
            }
        });
    }
    threads.emplace_back([&] {
        for (int32_t i = 0; i < rounds; ++i) {
            for (const std::unique_ptr<Player>& player : players)
                player->report();
            if (i % 50 == 0)
                players[0]->controller.handler->restartComponent(Vst::kParamValuesChanged);
        }
    });
    std::thread last([&] {
        for (std::thread& thread : threads)
            thread.join();
        host->post(new StopHost(*host));
    });
    host->run();
    last.join();

    for (const std::unique_ptr<Player>& player : players) {
        EXPECT_EQ(player->component.rendered, rounds);
        EXPECT_EQ(player->component.events, rounds);
        EXPECT_EQ(player->component.points, rounds * parameters);
        EXPECT_EQ(player->component.strangers, 0);
        // All but those of the parameter that is in edit meanwhile.
        EXPECT_GE(player->controller.sets, rounds * (parameters - 1));
        EXPECT_LE(player->controller.sets, rounds * parameters);
        EXPECT_TRUE(player->context->areGuardsIntact());
    }
    // All but what came while a snapshot muted the first one.
    EXPECT_GE(count<UpdateParameterNotification>(), 6 * rounds);
    EXPECT_LE(count<UpdateParameterNotification>(), 8 * rounds);
    EXPECT_GE(count<BeginOrEndEditParameterNotification>(), 6 * rounds);
    EXPECT_LE(count<BeginOrEndEditParameterNotification>(), 8 * rounds);
    EXPECT_GT(count<UpdateAllParametersNotification>(), 0);
    EXPECT_LE(count<UpdateAllParametersNotification>(), rounds / 50);
}
