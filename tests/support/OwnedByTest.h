#pragma once

#include "vst3/Vst3Names.h"

#include <algorithm>
#include <atomic>
#include <vector>

namespace test_support {

/// An object of a plug-in that the test holds by value: its references are counted and free nothing.
template <class First, class... Others>
class OwnedByTest : public First, public Others... {
public:
    OwnedByTest() = default;
    OwnedByTest(const OwnedByTest&) = delete;
    OwnedByTest& operator=(const OwnedByTest&) = delete;
    virtual ~OwnedByTest() = default;

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        *result = nullptr;
        if (isInterface(identifier, FUnknown::iid))
            *result = static_cast<First*>(this);
        offer<First>(identifier, result);
        (offer<Others>(identifier, result), ...);
        if (*result == nullptr)
            return kNoInterface;
        ++references;
        return kResultOk;
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return ++references; }
    Steinberg::uint32 PLUGIN_API release() override { return --references; }

    /// Has `queryInterface` refuse an interface from now on.
    void hide(const FUID& interface) { hidden.push_back(interface); }

    std::atomic<uint32_t> references = 0;

private:
    template <class Interface>
    void offer(const TUID identifier, void** result) {
        if (isInterface(identifier, Interface::iid) &&
            std::find(hidden.begin(), hidden.end(), Interface::iid) == hidden.end())
            *result = static_cast<Interface*>(this);
    }

    std::vector<FUID> hidden;
};

} // namespace test_support
