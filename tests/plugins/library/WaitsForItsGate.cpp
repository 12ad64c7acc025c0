// An effect that waits in its entry, or in each block, until a file exists: the one that PLUGIN_TEST_GATE or
// PLUGIN_TEST_BLOCK_GATE names, if they are set. What happens to it stands in the
// file that PLUGIN_TEST_RECORD names, a line each. In the process of a report it does neither.

#include "plugins/vst2/TestEffect.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

bool isReport() {
    std::ifstream file("/proc/self/cmdline");
    std::string word;
    std::getline(file, word, '\0');
    return std::getline(file, word, '\0') && word != "host";
}

void note(const std::string& line) {
    if (isReport())
        return;
    if (const char* record = std::getenv("PLUGIN_TEST_RECORD"))
        std::ofstream(record, std::ios::app) << line << std::endl;
}

void waitFor(const char* variable) {
    const char* gate = std::getenv(variable);
    if (gate == nullptr || isReport())
        return;
    note("waits");
    while (access(gate, F_OK) != 0)
        usleep(1000);
}

class WaitsForItsGate : public SilentEffect {
public:
    explicit WaitsForItsGate(audioMasterCallback host)
        : SilentEffect(host, {.uniqueId = 0x57616974, .name = "Waits", .parameters = 1}) {
        note("made");
    }
    ~WaitsForItsGate() override { note("closed"); }

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (opcode == effStartProcess)
            note("started");
        if (opcode == effStopProcess)
            note("stopped");
        return SilentEffect::dispatch(opcode, index, value, ptr, opt);
    }

    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        waitFor("PLUGIN_TEST_BLOCK_GATE");
        SilentEffect::processReplacing(inputs, outputs, frames);
    }
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    waitFor("PLUGIN_TEST_GATE");
    return (new WaitsForItsGate(host))->getEffect();
}
