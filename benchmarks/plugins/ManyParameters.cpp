// A plug-in with PARAMETER_COUNT parameters, each with a name and a text of its own.

#include "plugins/Vst2Effect.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

class ManyParameters : public Vst2Effect {
public:
    explicit ManyParameters(audioMasterCallback host)
        : Vst2Effect(host,
                     {.uniqueId = 0x4d616e79, .name = "Many Parameters", .parameters = PARAMETER_COUNT}) {
        for (int32_t index = 0; index < PARAMETER_COUNT; ++index)
            names.push_back("Parameter " + std::to_string(index));
    }

protected:
    void processReplacing(float**, float**, int32_t) override {}
    float getParameter(int32_t index) override {
        return static_cast<float>(index) / static_cast<float>(PARAMETER_COUNT);
    }
    const char* getParameterName(int32_t index) override { return names[static_cast<size_t>(index)].c_str(); }
    void getParameterDisplay(int32_t index, char* text, size_t size) override {
        std::snprintf(text, size, "%d", index);
    }

private:
    std::vector<std::string> names;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ManyParameters(host))->getEffect();
}
