// An effect whose halves talk: when it is switched on, its component tells its controller something of each
// kind, and the controller answers. Both record what they hear.

#include "vst3/Identifiers.h"
#include "vst3/RecordingPlugin.h"

#include <pluginterfaces/vst/ivsthostapplication.h>

namespace {

constexpr Steinberg::int64 number = -123456789012345;
constexpr double share = 0.3;
constexpr const char* words = "sent as bytes";
constexpr Steinberg::uint32 wordsSize = 13;

void send(FUnknown* context, Vst::IConnectionPoint* other, const char* id) {
    const IPtr<Vst::IHostApplication> host = interfaceOf<Vst::IHostApplication>(context);
    TUID message;
    Vst::IMessage::iid.toTUID(message);
    void* made = nullptr;
    if (other == nullptr || !host || host->createInstance(message, message, &made) != kResultOk)
        return;
    const IPtr<Vst::IMessage> sent = Steinberg::owned(static_cast<Vst::IMessage*>(made));
    sent->setMessageID(id);
    Vst::IAttributeList* attributes = sent->getAttributes();
    attributes->setInt("number", number);
    attributes->setFloat("share", share);
    attributes->setString("text", u"a text");
    attributes->setBinary("words", words, wordsSize);
    other->notify(sent);
}

std::string describe(Vst::IMessage& message) {
    std::ostringstream text;
    Vst::IAttributeList* attributes = message.getAttributes();
    Steinberg::int64 heardNumber = 0;
    double heardShare = 0;
    Vst::TChar heardText[16] = {};
    const void* heardWords = nullptr;
    Steinberg::uint32 heardSize = 0;
    attributes->getInt("number", heardNumber);
    attributes->getFloat("share", heardShare);
    const bool hasText = attributes->getString("text", heardText, sizeof heardText) == kResultOk;
    attributes->getBinary("words", heardWords, heardSize);
    text << message.getMessageID() << ": " << heardNumber << ", " << heardShare << ", "
         << (hasText ? "a text" : "no text") << ", "
         << std::string(static_cast<const char*>(heardWords), heardSize);
    return text.str();
}

class Component : public RecordingComponent {
public:
    Component() : RecordingComponent({.controllerClass = controllerClass}) {}

    tresult PLUGIN_API setActive(Steinberg::TBool state) override {
        send(hostContext, otherHalf, "from the component");
        return RecordingComponent::setActive(state);
    }
    tresult PLUGIN_API notify(Vst::IMessage* message) override {
        return answerTo("hears " + describe(*message));
    }
};

class Controller : public RecordingController<> {
public:
    Controller() : RecordingController("controller") {}

    tresult PLUGIN_API notify(Vst::IMessage* message) override {
        const tresult answer = answerTo("hears " + describe(*message));
        send(hostContext, otherHalf, "from the controller");
        return answer;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<Component>(firstClass, "Talks To Itself"),
                                 vst3Class<Controller>(controllerClass, "Controller")});
}
