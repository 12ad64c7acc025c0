// Programs of an instance that knows the units of its plug-in. Instances aren't given them, so no client
// meets any of this; if these fail, whoever gives them away has the plug-in play wrong programs.

#include "vst3-processing/ProgramList.h"
#include "vst3-processing/Vst3ProcessingTest.h"

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class InstanceWithUnits : public Vst3PluginInstance {
public:
    using Vst3PluginInstance::Vst3PluginInstance;

    void adopt(Vst::IUnitInfo& units) {
        unitInfo = &units;
        findProgramParameter();
    }
};

class Vst3ProgramListTest : public Vst3ProcessingTest {
protected:
    static constexpr Vst::ParamID programId = 900;
    static constexpr int32_t programCount = 9;

    Vst3ProgramListTest() {
        addStereo();
        controller.addParameter(programId, u"Program").flags = Vst::ParameterInfo::kIsProgramChange;
        controller.parameters[0].stepCount = programCount;
    }
    ~Vst3ProgramListTest() override {
        instance->terminate();
        instance = nullptr;
        EXPECT_EQ(programs.references, 0U);
    }

    /// As far as an instance comes before its first block.
    void start(Steinberg::int32 furtherFlags = 0) {
        controller.parameters[0].flags |= furtherFlags;
        startProcessing<InstanceWithUnits>();
        static_cast<InstanceWithUnits&>(*instance).adopt(programs);
    }

    std::string nameOf(int32_t index, int32_t size) {
        std::string buffer(8, '-');
        instance->getProgramName(index, buffer.data(), size);
        return buffer;
    }

    void expectNoProgramSet(int32_t index) {
        instance->setCurrentProgram(index);
        EXPECT_THAT(calls, IsEmpty());
        EXPECT_THAT(controller.changes, IsEmpty());
        EXPECT_THAT(process().changes, IsEmpty());
    }

    ProgramList programs;
};

} // namespace

TEST_F(Vst3ProgramListTest, ThereAreAsManyProgramsAsTheParameterHasSteps) {
    start();
    EXPECT_EQ(instance->getProgramCount(), programCount);
    controller.parameterAnswer = kResultFalse;
    EXPECT_EQ(instance->getProgramCount(), 0);
}

TEST_F(Vst3ProgramListTest, APlugInWithoutUnitsOrWithoutAListHasNoPrograms) {
    programs.unitCount = 0;
    start();
    EXPECT_EQ(instance->getProgramCount(), 0);
    programs.unitCount = 1;
    programs.rootList = Vst::kNoProgramListId;
    static_cast<InstanceWithUnits&>(*instance).adopt(programs);
    EXPECT_EQ(instance->getProgramCount(), 0);
}

TEST_F(Vst3ProgramListTest, AProgramHasTheNameOfTheList) {
    start();
    EXPECT_EQ(nameOf(3, 8), std::string("P44.3\0\0\0", 8));
    EXPECT_EQ(nameOf(3, 2), "P4------") << "written beyond the buffer";
}

TEST_F(Vst3ProgramListTest, AProgramThatIsAutomatableIsAPointOfTheNextBlock) {
    start(Vst::ParameterInfo::kCanAutomate);
    static_cast<Vst3PluginInstance&>(*instance).setCurrentProgram(5, 10);
    EXPECT_THAT(calls, ElementsAre("plainParamToNormalized"));
    EXPECT_THAT(controller.changes, IsEmpty());
    calls.clear();
    EXPECT_THAT(process().changes, ElementsAre(RecordedQueue{programId, {{10, 0.5}}}));
    EXPECT_EQ(instance->getCurrentProgram(), -1);
}

TEST_F(Vst3ProgramListTest, AProgramThatIsNotAutomatableIsSetAtOnce) {
    start();
    instance->setCurrentProgram(5);
    EXPECT_THAT(calls, ElementsAre("plainParamToNormalized"));
    EXPECT_THAT(controller.changes, ElementsAre(RecordingController::Change{programId, 0.5}));
    calls.clear();
    EXPECT_THAT(process().changes, IsEmpty());
}

TEST_F(Vst3ProgramListTest, AProgramThatThereIsNotIsPassedOver) {
    start();
    expectNoProgramSet(-1);
    expectNoProgramSet(programCount);
}

TEST_F(Vst3ProgramListTest, ABlockTakesNoMoreProgramsThanItsQueueHolds) {
    start(Vst::ParameterInfo::kCanAutomate);
    constexpr int32_t capacity = Vst3ParamValueQueue::capacity;
    for (int32_t offset = 0; offset <= capacity; ++offset)
        static_cast<Vst3PluginInstance&>(*instance).setCurrentProgram(5, offset);
    calls.clear();
    const RecordedBlock& block = process();
    ASSERT_EQ(block.changes.size(), 1U);
    ASSERT_EQ(block.changes[0].points.size(), size_t{capacity});
    EXPECT_EQ(block.changes[0].points.back().sampleOffset, capacity - 1);
}
