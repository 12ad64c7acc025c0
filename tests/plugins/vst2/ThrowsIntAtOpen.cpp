// Throws something that is no exception of a known kind when it is opened.

#include "Throwing.h"

namespace {

struct Number {
    int operator()() const { return 42; }
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ThrowingEffect<effOpen, Number>(host, {.uniqueId = 1, .name = "Throws"}))->getEffect();
}
