#pragma once

#include "ClientTest.h"

#include "client/RemotePluginAudioContextProxy.h"
#include "core/SharedMemory.h"
#include "plugin/Channels.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// Ten parameters of the shortest kind: empty texts, value 0, id 0, no flags, no range.
inline std::string parameters(int count) {
    std::string hex = "0a000000";
    for (int i = 0; i < count; ++i)
        hex += "00000000"
               "00000000"
               "00000000"
               "00000000"
               "00000000"
               "00000000"
               "00000000"
               "000000"
               "00000000"
               "00000000";
    return hex;
}

// Instance 1 with two inputs, two outputs and ten parameters.
inline std::string createReply() {
    return " write:async-replies:"
           "01000000"
           "01"
           "01000000"
           "02000000"
           "02000000"
           "00000000"
           "00"
           "00000000"
           "00000000" +
           parameters(10) +
           "00000000"
           "00"
           "00000000"
           "000000";
}

constexpr int32_t blockBytes = 138016;

/// A stand-in that has made an instance, the block of which is this process's own.
class AudioProxyTest : public ClientTest {
protected:
    void begin(const std::string& script) {
        standIn.emplace("connect read:main:22" + createReply() + " " + script);
        proxy = startStandIn();
        block = base::core::SharedMemory::create(audioBlockName(proxy->getHostId(), 1), blockBytes);
        const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
        proxy->createPluginInstance("", "", "", false, nullptr, created);
        reply = created->waitFor<CreatePluginInstanceReply>(patience);
        context = new RemotePluginAudioContextProxy(proxy, *reply);
    }

    void TearDown() override {
        context = nullptr;
        block = nullptr;
        proxy = nullptr;
        ClientTest::TearDown();
    }

    std::byte* at(size_t offset) const { return static_cast<std::byte*>(block->getData()) + offset; }
    ptrdiff_t offsetOf(const void* pointer) const {
        return static_cast<const std::byte*>(pointer) -
               static_cast<const std::byte*>(context->getRegions().memory);
    }

    std::optional<StandIn> standIn;
    Ref<RemotePluginHostProxy> proxy;
    Ref<base::core::SharedMemory> block;
    Ref<CreatePluginInstanceReply> reply;
    Ref<RemotePluginAudioContextProxy> context;
};
