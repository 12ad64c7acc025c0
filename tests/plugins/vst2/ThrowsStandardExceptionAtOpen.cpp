// Throws an exception of the standard library when it is opened.

#include "Throwing.h"

#include <stdexcept>

namespace {

struct StandardException {
    std::runtime_error operator()() const { return std::runtime_error("no licence file"); }
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ThrowingEffect<effOpen, StandardException>(host, {.uniqueId = 1, .name = "Throws"}))
        ->getEffect();
}
