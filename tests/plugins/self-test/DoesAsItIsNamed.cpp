// An effect that does what its file's name says, as in "crashes-at-save.so": tests give copies of it names.
// One with an "editor" in its name has one. Any other name is that of an effect that behaves. What it is
// called with stands, a line for each call, in a file beside its own, with ".calls" behind the name.

#include "plugins/ClockTurn.h"
#include "plugins/dying/Deaths.h"
#include "plugins/vst2/TestEffect.h"

#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <string>

namespace {

constexpr int32_t programCount = 3;
constexpr VstIntPtr programNameSize = 24;

std::string ownPath() {
    Dl_info info{};
    dladdr(reinterpret_cast<void*>(&ownPath), &info);
    return info.dli_fname;
}

bool isNamed(const std::string& words) {
    const std::string path = ownPath();
    return path.find(words, path.rfind('/')) != std::string::npos;
}

void note(const std::string& call) {
    std::ofstream(ownPath() + ".calls", std::ios::app) << call << '\n';
}

/// What a name can say of this moment.
void arriveAt(const std::string& moment) {
    if (isNamed("crashes-at-" + moment))
        crash();
    if (isNamed("aborts-at-" + moment))
        std::abort();
    if (isNamed("exits-at-" + moment))
        leave();
    if (isNamed("hangs-at-" + moment)) {
        turnClock();
        hang();
    }
}

class DoesAsItIsNamed : public SilentEffect {
public:
    explicit DoesAsItIsNamed(audioMasterCallback host)
        : SilentEffect(host, {.uniqueId = 0x4e616d65,
                              .name = "Does As It Is Named",
                              .parameters = 1,
                              .programs = programCount,
                              .flags = effFlagsCanReplacing | effFlagsProgramChunks,
                              .hasDials = isNamed("editor")}),
          chunk("the state") {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        switch (opcode) {
        case effEditOpen:
            note("open editor");
            arriveAt("editor");
            break;
        case effEditClose:
            note("close editor");
            break;
        case effGetChunk:
            note("save");
            arriveAt("save");
            *static_cast<void**>(ptr) = chunk.data();
            return static_cast<VstIntPtr>(chunk.size());
        case effSetChunk:
            note("load " + std::string(static_cast<char*>(ptr), static_cast<size_t>(value)));
            arriveAt("load");
            return 1;
        case effSetProgram:
            note("program " + std::to_string(value));
            arriveAt("program");
            return 0;
        case effGetProgramNameIndexed:
            std::snprintf(static_cast<char*>(ptr), programNameSize, "Program %d", index);
            return 1;
        case effClose:
            note("close after " + std::to_string(frames) + " frames");
            arriveAt("destroy");
            break;
        default:
            break;
        }
        return SilentEffect::dispatch(opcode, index, value, ptr, opt);
    }

    void processReplacing(float** inputs, float** outputs, int32_t blockFrames) override {
        SilentEffect::processReplacing(inputs, outputs, blockFrames);
        frames += blockFrames;
        arriveAtProcess();
    }

    const char* getParameterName(int32_t) override { return "Only"; }

private:
    /// The name is read once: a test waits for many blocks.
    static void arriveAtProcess() {
        static const bool isMeant = isNamed("-at-process");
        if (isMeant)
            arriveAt("process");
    }

    std::string chunk;
    std::atomic<int32_t> frames = 0;
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    note("create " + std::to_string(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0)));
    arriveAt("create");
    return (new DoesAsItIsNamed(host))->getEffect();
}
