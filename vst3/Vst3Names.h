#pragma once

// Short names of the VST 3 SDK. Its namespace is never imported: it has a `String` and a `ParameterInfo` of
// its own.

#include <pluginterfaces/base/funknown.h>
#include <pluginterfaces/base/smartpointer.h>

namespace Steinberg::Vst {}

namespace Vst = Steinberg::Vst;

using Steinberg::FIDString;
using Steinberg::FUID;
using Steinberg::FUnknown;
using Steinberg::IPtr;
using Steinberg::kInvalidArgument;
using Steinberg::kNoInterface;
using Steinberg::kNotImplemented;
using Steinberg::kOutOfMemory;
using Steinberg::kResultFalse;
using Steinberg::kResultOk;
using Steinberg::tresult;
using Steinberg::TUID;

/// Queries an object for an interface. A pointer, which comes with a reference, is accepted with any result,
/// since plug-ins return wrong ones; null for a null object.
template <class Interface>
IPtr<Interface> interfaceOf(FUnknown* object, tresult* answer = nullptr) {
    void* found = nullptr;
    const tresult result =
        object != nullptr ? object->queryInterface(Interface::iid, &found) : tresult{kNoInterface};
    if (answer != nullptr)
        *answer = result;
    return Steinberg::owned(static_cast<Interface*>(found));
}

/// The same, but accepted only with `kResultOk`.
template <class Interface>
IPtr<Interface> checkedInterfaceOf(FUnknown* object) {
    tresult answer = kNoInterface;
    const IPtr<Interface> found = interfaceOf<Interface>(object, &answer);
    return answer == kResultOk ? found : IPtr<Interface>();
}

/// Yields an interface of `object`'s as the result of a `queryInterface`, with a reference for the caller.
template <class Interface>
tresult yieldInterface(Interface* object, void** result) {
    object->addRef();
    *result = object;
    return kResultOk;
}

/// Compares by content; a null identifier is 16 zero bytes.
bool isInterface(const char* identifier, const FUID& expected);
