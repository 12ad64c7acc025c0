// If these fail, the audio thread may wait for memory or for a lock, and the user hears clicks.

#include "support/CountedCalls.h"
#include "vst3-processing/Vst3ProcessingTest.h"

using namespace test_support;

namespace {

/// A plug-in that does nothing but count and answer: what is allocated is the instance's own.
class Vst3RealTime : public Vst3ProcessingTest {
protected:
    static constexpr int32_t parameters = 64;

    Vst3RealTime() {
        addStereo();
        addNoteInput();
        addNoteOutput();
        for (Vst::ParamID id = 0; id < parameters; ++id) {
            controller.addParameter(1000 + id);
            controller.values[1000 + id] = 0;
        }
        controller.mapping[{0, 7}] = 1000;
        controller.addNoteExpression(Vst::kVolumeTypeID, 0, 0.5, 1);
        startProcessing();
        std::fill_n(context->getRegions().parameterFlags, parameters, parameterWatched);
        component.isQuiet = controller.isQuiet = true;
        component.onProcess = [this](Vst::ProcessData& data) { countWork(data); };
    }

    /// A quarter of each kind; every other controller has a parameter.
    void fillEvents(int32_t count) {
        *context->getRegions().inputEventCount = 0;
        for (int32_t i = 0; i < count; i += 4) {
            context->addNote(i % blockSize, 0x90, 60, 100);
            context->addSystemExclusive(i % blockSize, {0xF0, 0xF7});
            context->addEvent(EventKind::noteExpression, 0).noteExpression = {0, 60, 0.5F, 0};
            context->addNote(i % blockSize, 0xB0, i % 8 == 0 ? 7 : 8, 100);
        }
    }

    void fillChanges(int32_t count, int32_t kinds = parameters) {
        *context->getRegions().parameterChangeCount = 0;
        for (int32_t i = 0; i < count; ++i)
            context->addParameterChange(i % kinds, 0.5F);
    }

    void countBlocks(int32_t blocks) {
        blocksSeen = eventsSeen = pointsSeen = queuesSeen = 0;
        countedCalls = {};
        for (int32_t i = 0; i < blocks; ++i) {
            *context->getRegions().outputEventCount = 0;
            instance->process(blockSize, i % 2 == 0, i % 3 == 0);
        }
        counted = countedCalls;
    }

    CountedCalls counted{-1, -1};
    int32_t blocksSeen = 0;
    int32_t eventsSeen = 0;
    int32_t pointsSeen = 0;
    int32_t queuesSeen = 0;

private:
    void countWork(Vst::ProcessData& data) {
        ++blocksSeen;
        const int32_t count = data.inputEvents->getEventCount();
        for (int32_t i = 0; i < count; ++i) {
            Vst::Event event;
            data.inputEvents->getEvent(i, event);
            data.outputEvents->addEvent(event);
            ++eventsSeen;
        }
        const int32_t queues = data.inputParameterChanges->getParameterCount();
        for (int32_t i = 0; i < queues; ++i)
            pointsSeen += data.inputParameterChanges->getParameterData(i)->getPointCount();
        queuesSeen += queues;
    }
};

} // namespace

TEST_F(Vst3RealTime, AnEmptyBlockAllocatesNothingAndLocksNothingFromTheFirstOn) {
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
}

TEST_F(Vst3RealTime, ChangesOf32ParametersAnd256EventsAllocateNothingFromTheFirstBlockOn) {
    fillEvents(256);
    fillChanges(4096, 32);
    countBlocks(1);
    EXPECT_EQ(eventsSeen, 192);
    EXPECT_EQ(queuesSeen, 32);
    EXPECT_EQ(pointsSeen, 32 * 128);
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
    fillChanges(33, 33);
    countBlocks(1);
    EXPECT_EQ(queuesSeen, 33);
    EXPECT_GT(counted.allocations, 0) << "a parameter more";
}

TEST_F(Vst3RealTime, ASteadyStreamOfFullBlocksAllocatesNothingAndLocksNothing) {
    fillEvents(256);
    fillChanges(1024);
    countBlocks(2);
    EXPECT_GT(counted.allocations, 0) << "the first blocks have nothing to use again";
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(eventsSeen, 100 * 192);
    EXPECT_EQ(queuesSeen, 100 * 64);
    EXPECT_EQ(pointsSeen, 100 * (1024 + 32));
    EXPECT_EQ(*context->getRegions().outputEventCount, 64);
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
}

TEST_F(Vst3RealTime, OnlyGrowthAllocates) {
    fillEvents(64);
    fillChanges(32);
    countBlocks(2);
    fillEvents(32);
    fillChanges(8);
    countBlocks(10);
    EXPECT_EQ(counted.allocations, 0) << "less work";
    fillEvents(64);
    fillChanges(32);
    countBlocks(10);
    EXPECT_EQ(counted.allocations, 0) << "as much as before";
    fillEvents(256);
    fillChanges(64);
    countBlocks(1);
    EXPECT_GT(counted.allocations, 0) << "more than ever";
    countBlocks(10);
    EXPECT_EQ(eventsSeen, 10 * 192);
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
}

TEST_F(Vst3RealTime, AFullQueueOf128PointsAllocatesNothing) {
    *context->getRegions().parameterChangeCount = 0;
    for (int32_t i = 0; i < 1000; ++i)
        context->addParameterChange(0, 0.5F);
    countBlocks(2);
    countBlocks(10);
    EXPECT_EQ(pointsSeen, 10 * 128);
    EXPECT_EQ(counted.allocations, 0);
    EXPECT_EQ(counted.locks, 0);
}
