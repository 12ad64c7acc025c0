#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <concepts>
#include <cstdint>
#include <pluginterfaces/base/ipluginbase.h>
#include <pluginterfaces/vst/ivstmessage.h>

/// The reference count of a plug-in's object. Starts at 1, the creator's reference.
class Vst3Counted : public FUnknown {
public:
    Vst3Counted() = default;
    virtual ~Vst3Counted();
    Vst3Counted(const Vst3Counted&) = delete;
    Vst3Counted& operator=(const Vst3Counted&) = delete;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;

private:
    std::atomic<uint32_t> references = 1;
};

/// `Base` with further interfaces, all on one count: `class MyController : public
/// Vst3Offering<Vst3Controller, Vst::IMidiMapping>`.
template <class Base, class... Interfaces>
class Vst3Offering : public Base, public Interfaces... {
public:
    using Base::Base;

    /// An override refuses an interface by returning `refuse`.
    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if ((offer<Interfaces>(identifier, result) || ...))
            return kResultOk;
        return Base::queryInterface(identifier, result);
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return Base::addRef(); }
    Steinberg::uint32 PLUGIN_API release() override { return Base::release(); }

protected:
    static bool isAskedFor(const TUID identifier, const FUID& expected) {
        return FUID::fromTUID(identifier) == expected;
    }

    static tresult refuse(void** result) {
        *result = nullptr;
        return kNoInterface;
    }

private:
    template <class Interface>
    bool offer(const TUID identifier, void** result) {
        bool isMeant = isAskedFor(identifier, Interface::iid);
        if constexpr (std::derived_from<Interface, Steinberg::IPluginBase>)
            isMeant = isMeant || isAskedFor(identifier, Steinberg::IPluginBase::iid);
        return isMeant && yieldInterface<Interface>(this, result) == kResultOk;
    }
};

/// Common base of a plug-in's two halves, component and controller: the host, and the connection between
/// them.
template <class Main, class... Others>
class Vst3Half : public Vst3Offering<Vst3Counted, Main, Others..., Vst::IConnectionPoint> {
public:
    tresult PLUGIN_API initialize(FUnknown* context) override {
        hostContext = context;
        return kResultOk;
    }

    tresult PLUGIN_API terminate() override {
        hostContext = nullptr;
        return kResultOk;
    }

    tresult PLUGIN_API connect(Vst::IConnectionPoint* other) override {
        otherHalf = other;
        return kResultOk;
    }

    tresult PLUGIN_API disconnect(Vst::IConnectionPoint*) override {
        otherHalf = nullptr;
        return kResultOk;
    }

    tresult PLUGIN_API notify(Vst::IMessage*) override { return kResultFalse; }

protected:
    IPtr<FUnknown> hostContext;
    /// Not counted: two halves that hold each other would leak, since not every host disconnects them.
    Vst::IConnectionPoint* otherHalf = nullptr;
};
