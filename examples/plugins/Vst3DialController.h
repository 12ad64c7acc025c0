#pragma once

#include "plugins/DialEditor.h"
#include "plugins/Vst3Controller.h"

#include <vector>

/// A controller whose editor has a dial for each parameter that isn't hidden.
class Vst3DialController : public Vst3Controller, private DialSource {
public:
    explicit Vst3DialController(std::vector<Vst3Parameter> parameters);

    Steinberg::IPlugView* PLUGIN_API createView(FIDString name) override;

private:
    int32_t countDials() override { return static_cast<int32_t>(dials.size()); }
    std::string getDialName(int32_t index) override { return dialOf(index).title; }
    std::string getDialText(int32_t index) override;
    float getDialValue(int32_t index) override;
    void beginDrag(int32_t index) override;
    void drag(int32_t index, float value) override;
    void endDrag(int32_t index) override;

    const Vst3Parameter& dialOf(int32_t index) const { return parameters[dials[static_cast<size_t>(index)]]; }

    /// Indices of parameters.
    std::vector<int32_t> dials;
};
