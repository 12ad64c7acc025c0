#pragma once

#include "library/ClientCycle.h"
#include "library/ClientHost.h"
#include "library/ClientPlugin.h"
#include "library/ClientScan.h"
#include "library/ClientSession.h"
#include "library/Failure.h"
#include "library/Handles.h"

#include <algorithm>
#include <cstring>

// What the functions of the interface have in common.

namespace client_library {

template <class Handle>
struct HandleOf;
template <>
struct HandleOf<plugin_host_session> {
    using Type = ClientSession;
    static constexpr HandleKind kind = HandleKind::session;
};
template <>
struct HandleOf<plugin_host_host> {
    using Type = ClientHost;
    static constexpr HandleKind kind = HandleKind::host;
};
template <>
struct HandleOf<plugin_host_plugin> {
    using Type = ClientPlugin;
    static constexpr HandleKind kind = HandleKind::plugin;
};
template <>
struct HandleOf<plugin_host_cycle> {
    using Type = ClientCycle;
    static constexpr HandleKind kind = HandleKind::cycle;
};
template <>
struct HandleOf<plugin_host_scan> {
    using Type = ClientScan;
    static constexpr HandleKind kind = HandleKind::scan;
};

/// The library's own lines about an object of a session.
template <class Owned>
Ref<base::core::LogReceiver> logOf(const Owned& object) {
    return new SessionLog(object.context);
}

/// The work of a call, without its types: the body of each call would be most of the library otherwise.
struct Work {
    HandleKind kind;
    const void* handle;
    Ref<base::core::LogReceiver> (*log)(Object& object);
    void (*run)(Object& object, const void* body);
    const void* body;
};

plugin_host_status answerWork(const Work& work) noexcept;

/// Does the work of a call with the object of its handle, and has the lines of the log go to its session.
template <class Handle, class Body>
plugin_host_status answerWith(Handle* handle, const Body& body) noexcept {
    using Type = typename HandleOf<Handle>::Type;
    return answerWork(
        {.kind = HandleOf<Handle>::kind,
         .handle = handle,
         .log = [](Object& object) { return logOf(static_cast<const Type&>(object)); },
         .run = [](Object& object,
                   const void* given) { (*static_cast<const Body*>(given))(static_cast<Type&>(object)); },
         .body = &body});
}

/// Makes a handle invalid, as the first step of its destruction. Throws `Failure` if another call has done
/// so.
template <class Handle>
void invalidate(Handle* handle) {
    if (!dropHandle(HandleOf<Handle>::kind, handle))
        throw Failure(PLUGIN_HOST_INVALID_HANDLE, "The handle was destroyed");
}

/// The session of a host, a plug-in or a scan.
template <class Owned>
ClientSession& sessionOf(Owned& object) {
    return static_cast<ClientSession&>(*object.session);
}

template <class T>
T& require(T* pointer, const char* what) {
    if (pointer == nullptr)
        throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, std::string(what) + " is null");
    return *pointer;
}

constexpr size_t largestStructure = 65536;

/// Whether a structure can have this size: a part of a pointer in it would be one to anywhere.
template <class Structure>
bool isSize(size_t size) {
    return size >= sizeof size && size <= largestStructure && size % alignof(Structure) == 0;
}

/// A structure of the application's, which may be older or newer than this library; null stands for one of
/// zeros. Throws `Failure` for a size that can't be right, and for a newer one that uses what isn't known
/// here.
template <class Structure>
Structure readStructure(const Structure* given, const char* what) {
    Structure result{};
    result.size = sizeof result;
    if (given == nullptr)
        return result;
    const size_t size = given->size;
    if (!isSize<Structure>(size))
        throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, std::string("The size of ") + what + " can't be right");
    const auto* bytes = reinterpret_cast<const char*>(given);
    for (size_t place = sizeof result; place < size; ++place) {
        if (bytes[place] != 0)
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT,
                          std::string(what) +
                              " uses something that this version of the library doesn't have");
    }
    std::memcpy(&result, bytes, std::min(size, sizeof result));
    result.size = sizeof result;
    return result;
}

/// Whether a structure of the application's can be filled.
template <class Structure>
bool canFill(const Structure* target) {
    return target != nullptr && isSize<Structure>(target->size);
}

/// Fills as much of a structure as the application has. Real-time safe.
template <class Structure>
void fill(Structure& target, Structure values) {
    values.size = std::min(target.size, sizeof values);
    std::memcpy(&target, &values, values.size);
}

} // namespace client_library
