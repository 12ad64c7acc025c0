// A shell of effects that take their process along in a request, or hang in one: each by its number.

#include "plugins/Vst2Effect.h"
#include "plugins/dying/Deaths.h"
#include "plugins/vst2/TestEffect.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

enum Moment {
    setChunk = 1,
    getChunk = 2,
    openEditor = 3,
    ownThread = 4,
    hangs = 5,
    setProgram = 6,
    never = 7
};

class DiesByRequest : public Vst2Effect {
public:
    DiesByRequest(audioMasterCallback host, int32_t moment)
        : Vst2Effect(host, {.uniqueId = moment,
                            .name = "Dies by request",
                            .parameters = 1,
                            .programs = 1,
                            .flags = effFlagsCanReplacing | effFlagsProgramChunks,
                            .hasDials = true}),
          moment(moment) {
        if (moment == ownThread)
            thread = std::thread([this] {
                wish.wait(Wish::none);
                if (wish == Wish::death)
                    crash();
            });
    }
    ~DiesByRequest() override {
        tell(Wish::end);
        if (thread.joinable())
            thread.join();
    }

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if ((opcode == effSetChunk && moment == setChunk) || (opcode == effGetChunk && moment == getChunk) ||
            (opcode == effEditOpen && moment == openEditor) ||
            (opcode == effSetProgram && moment == setProgram))
            crash();
        if (opcode == effSetProgram && moment == hangs)
            hang();
        if (opcode == effSetProgram && moment == ownThread)
            tell(Wish::death);
        if (opcode == effGetChunk) {
            *static_cast<void**>(ptr) = chunk;
            return sizeof chunk;
        }
        return Vst2Effect::dispatch(opcode, index, value, ptr, opt);
    }

    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, 0.0F);
    }

private:
    const int32_t moment;
    char chunk[4] = {1, 2, 3, 4};
    enum class Wish : int32_t { none, death, end };

    void tell(Wish newWish) {
        wish = newWish;
        wish.notify_one();
    }

    std::atomic<Wish> wish{Wish::none};
    std::thread thread;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    static constexpr int32_t moments[] = {setChunk, getChunk,   openEditor, ownThread,
                                          hangs,    setProgram, never,      0};
    const auto moment = static_cast<int32_t>(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0));
    if (moment == 0)
        return (new ShellEffect(host, 1000, "Dies by request", moments))->getEffect();
    return (new DiesByRequest(host, moment))->getEffect();
}
