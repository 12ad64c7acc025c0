// If these fail, authors who copy the examples copy plug-ins that other hosts refuse or can't ask.

#include "vst3/Vst3Fixture.h"

#include <pluginterfaces/base/ustring.h>
#include <pluginterfaces/vst/ivstnoteexpression.h>

using testing::DoubleNear;

namespace {

class Vst3Examples : public testing::TestWithParam<std::string> {};

/// An object of each class of a module that makes one with the interface.
template <class Interface>
std::vector<IPtr<Interface>> makeAll(const std::string& module) {
    std::vector<IPtr<Interface>> made;
    auto* getFactory = exportedBy<Steinberg::IPluginFactory*()>(
        EXAMPLE_PLUGIN_DIRECTORY "/" + module + ".vst3", "GetPluginFactory");
    if (getFactory == nullptr)
        return made;
    const IPtr<Steinberg::IPluginFactory> factory = Steinberg::owned(getFactory());
    for (int32_t i = 0; i < factory->countClasses(); ++i) {
        Steinberg::PClassInfo info{};
        factory->getClassInfo(i, &info);
        void* object = nullptr;
        if (factory->createInstance(info.cid, Interface::iid, &object) == kResultOk)
            made.push_back(Steinberg::owned(static_cast<Interface*>(object)));
    }
    return made;
}

class NoteExpressions : public testing::Test {
protected:
    std::u16string textOf(Vst::NoteExpressionTypeID type, double value) {
        Vst::String128 text = {};
        EXPECT_EQ(controller->getNoteExpressionStringByValue(0, 0, type, value, text), kResultOk);
        return text;
    }
    tresult read(Vst::NoteExpressionTypeID type, const char16_t* text) {
        return controller->getNoteExpressionValueByString(0, 0, type, text, value);
    }

    IPtr<Vst::INoteExpressionController> controller = makeAll<Vst::INoteExpressionController>("tone").at(0);
    double value = -1;
};

} // namespace

TEST_P(Vst3Examples, EachComponentHasWhatTheFormatCallsMandatory) {
    const auto components = makeAll<Vst::IComponent>(GetParam());
    EXPECT_FALSE(components.empty());
    for (const IPtr<Vst::IComponent>& component : components) {
        EXPECT_TRUE(interfaceOf<Vst::IAudioProcessor>(component));
        const auto needs = interfaceOf<Vst::IProcessContextRequirements>(component);
        ASSERT_TRUE(needs);
        EXPECT_EQ(needs->getProcessContextRequirements(), 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Modules, Vst3Examples, testing::Values("echo", "tone", "trio"),
                         [](const auto& parameter) { return parameter.param; });

TEST_F(NoteExpressions, AShownValueIsReadBack) {
    for (const Vst::NoteExpressionTypeID type : {Vst::kVolumeTypeID, Vst::kTuningTypeID}) {
        for (const double original : {0.0, 0.25, 0.5, 0.7, 1.0}) {
            EXPECT_EQ(read(type, textOf(type, original).c_str()), kResultOk) << original;
            EXPECT_THAT(value, DoubleNear(original, 0.006));
        }
    }
}

TEST_F(NoteExpressions, ATextIsReadInItsUnit) {
    EXPECT_EQ(read(Vst::kVolumeTypeID, u"0"), kResultOk);
    EXPECT_DOUBLE_EQ(value, 0.25);
    EXPECT_EQ(read(Vst::kTuningTypeID, u"-12"), kResultOk);
    EXPECT_DOUBLE_EQ(value, 0.45);
}

TEST_F(NoteExpressions, WhatIsNoValueIsRefusedAndLeavesItAlone) {
    for (const char16_t* text : {u"", u"loud", u"3 dB", u"13", u"nan", u"\u0663"})
        EXPECT_EQ(read(Vst::kVolumeTypeID, text), kResultFalse);
    for (const char16_t* text : {u"121.6", u"-200", u"inf"})
        EXPECT_EQ(read(Vst::kTuningTypeID, text), kResultFalse);
    EXPECT_EQ(read(Vst::kPanTypeID, u"0"), kInvalidArgument);
    EXPECT_EQ(read(Vst::kVolumeTypeID, nullptr), kInvalidArgument);
    EXPECT_EQ(value, -1);
}
