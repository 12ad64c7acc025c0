#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <memory>
#include <pluginterfaces/vst/ivstmessage.h>
#include <string>

class Vst3AttributeList;
class Vst3Host;

/// A message between a component and its controller. Made by `Vst3Host`, frees itself with its last
/// reference. Used by one thread at a time.
class Vst3Message final : public Vst::IMessage {
public:
    /// Starts with a count of 1. `attributes` may be null; it is released at the end and not retained here.
    Vst3Message(Vst3Host* host, Vst3AttributeList* attributes);
    virtual ~Vst3Message();

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;
    /// Null until it is set; valid until it is set again.
    FIDString PLUGIN_API getMessageID() override;
    void PLUGIN_API setMessageID(FIDString id) override;
    /// Never null: a message without attributes gets a list of its own, with an extra reference.
    Vst::IAttributeList* PLUGIN_API getAttributes() override;

private:
    std::atomic<uint32_t> refCount = 1;
    std::unique_ptr<std::string> messageId;
    Vst3AttributeList* attributes;
    Vst3Host* host;
};
