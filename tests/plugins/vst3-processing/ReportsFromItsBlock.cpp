// An effect that turns its second parameter by itself in every block, on the audio thread, and has everything
// told anew with the first.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

namespace {

class ReportsFromItsBlock : public Vst3SinglePlugin {
public:
    ReportsFromItsBlock()
        : Vst3SinglePlugin({.parameters = {{.id = 900, .title = "Still"}, {.id = 5, .title = "Turned"}}}) {}

protected:
    void render(Vst::ProcessData&) override {
        handler->beginEdit(5);
        handler->performEdit(5, 0.75);
        handler->endEdit(5);
        if (isFirst)
            handler->restartComponent(Vst::kParamValuesChanged);
        isFirst = false;
    }

private:
    bool isFirst = true;
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<ReportsFromItsBlock>(firstClass, "Reports From Its Block")});
}
