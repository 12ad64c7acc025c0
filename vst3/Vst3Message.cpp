#include "vst3/Vst3Message.h"

#include "vst3/Vst3AttributeList.h"

Vst3Message::Vst3Message(Vst3Host* host, Vst3AttributeList* attributes)
    : attributes(attributes), host(host) {}

Vst3Message::~Vst3Message() {
    if (attributes != nullptr)
        attributes->release();
}

tresult Vst3Message::queryInterface(const TUID identifier, void** result) {
    if (isInterface(identifier, Vst::IMessage::iid) || isInterface(identifier, FUnknown::iid))
        return yieldInterface<Vst::IMessage>(this, result);
    *result = nullptr;
    return kNoInterface;
}

Steinberg::uint32 Vst3Message::addRef() {
    return ++refCount;
}

Steinberg::uint32 Vst3Message::release() {
    const uint32_t left = --refCount;
    if (left == 0)
        delete this;
    return left;
}

FIDString Vst3Message::getMessageID() {
    return messageId != nullptr ? messageId->c_str() : nullptr;
}

void Vst3Message::setMessageID(FIDString id) {
    messageId = id != nullptr ? std::make_unique<std::string>(id) : nullptr;
}

Vst::IAttributeList* Vst3Message::getAttributes() {
    if (attributes == nullptr) {
        attributes = new Vst3AttributeList(host);
        attributes->addRef();
    }
    return attributes;
}
