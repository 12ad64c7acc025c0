// If these fail, an effect whose texts are Latin-1, or have a symbol, still fails the questions of its
// client.

#include "plugin/Extensions.h"
#include "vst2/Vst2Questions.h"

using namespace test_support;

namespace {

constexpr const char* latin1 = "Fl\xFCgel";
constexpr const char* wing = "Fl\xC3\xBCgel";
constexpr const char* clef = "\xF0\x9D\x84\x9E!";
constexpr const char* replaced = "\xEF\xBF\xBD!";

class Vst2TextExtension : public Vst2Questions {
protected:
    const ScopedExtensions extensions{ExtensionSet{Extension::text}};
};

} // namespace

TEST_F(Vst2TextExtension, NamesAndVendorsOfAnyEncodingAreTexts) {
    effect.answerText(effGetEffectName, latin1);
    effect.answerText(effGetVendorString, clef);
    EXPECT_EQ(instance->getName(), wing);
    EXPECT_EQ(instance->getVendor(), replaced);
}

TEST_F(Vst2TextExtension, ANameThatFillsItsBufferIsReadToItsEnd) {
    effect.answerText(effGetEffectName, std::string(127, 'n') + "\xFC");
    EXPECT_EQ(instance->getName().toStdString(), std::string(127, 'n') + "\xC3\xBC");
}

TEST_F(Vst2TextExtension, BusesKeysAndCategoriesAreTexts) {
    effect.effect.numInputs = 1;
    effect.answer(effGetInputProperties, [](const DispatcherCall&, void* ptr) -> VstIntPtr {
        std::strcpy(static_cast<VstPinProperties*>(ptr)->label, latin1);
        return 1;
    });
    EXPECT_EQ(inputBuses(), std::vector<std::string>{std::string(wing) + ": 0"});
    answerKeyName(latin1, 1);
    EXPECT_EQ(instance->getNoteName(38), wing);
    answerKeyName("---", 1);
    EXPECT_TRUE(instance->getNoteName(38).isEmpty());
    VstParameterProperties properties{};
    properties.flags = kVstParameterSupportsDisplayCategory;
    std::strcpy(properties.categoryLabel, clef);
    answerProperties(properties);
    EXPECT_EQ(propertiesOf(0).category, replaced);
}
