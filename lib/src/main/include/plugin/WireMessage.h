#pragma once

#include "plugin/WireRecord.h"

/// The wire form of a reply or a request: `getType` from `Message::type`, `write` from the list
/// `Message::fields()`.
template <class Message, class Base>
class WireMessage : public Base {
public:
    using Base::Base;

    int32_t getType() const override { return Message::type; }
    void write(OutputStream& stream) const override {
        wire::write(stream, static_cast<const Message&>(*this));
    }
};

/// Classes that share a channel, distinguished by the `type` of each.
template <class... Messages>
struct WireFamily {
    /// An object of the class that has this type, made from the arguments; null if none has.
    template <class Base, class... Arguments>
    static Ref<Base> make(uint8_t type, Arguments&&... arguments) {
        Ref<Base> made;
        static_cast<void>(((Messages::type == type && (made = new Messages(arguments...), true)) || ...));
        return made;
    }

    /// Whether their types are 0, 1, 2 and so on, in the order of the list.
    static constexpr bool isInOrder() {
        uint8_t next = 0;
        return ((Messages::type == next++) && ...);
    }
};
